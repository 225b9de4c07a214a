// The capture format: what the host stand-in's port records, read back line by line, and the
// same records as pcapng.
#include "capture.h"
#include "links.h"
#include "pcapng.h"
#include "protocol.h"
#include "serialport.h"
#include "tool.h"

#include <QSignalSpy>
#include <QTemporaryDir>

using tools::CaptureRecord;

class tst_Capture : public QObject
{
    Q_OBJECT
private slots:
    void parseAndFormat();
    void badLines_data();
    void badLines();
    void portRecordsBothDirections();
    void pcapng();
};

// Comments, blank lines, bytes in any grouping, equal times; written back in one form.
void tst_Capture::parseAndFormat()
{
    QList<CaptureRecord> records;
    tools::ParseError error;
    QVERIFY(tools::parseCapture("# a capture\n0.5 tx 5a a5 02 2a 00 ff 2a\n\n0.5 rx 5aa5 0a12\n",
                                &records, &error));
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.at(1).line, 4);
    QCOMPARE(records.at(1).bytes, QByteArray::fromHex("5aa50a12"));
    QVERIFY(!records.at(0).received && records.at(1).received);
    QCOMPARE(tools::formatCaptureRecord(records.at(0)), "0.500000 tx 5a a5 02 2a 00 ff 2a");
    QCOMPARE(tools::formatCaptureRecord({0, 12.3456789, true, QByteArray(1, '\0')}),
             "12.345679 rx 00");
}

void tst_Capture::badLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("message");
    const auto row = [](const QString &text, int line, const char *message) {
        QTest::newRow(message) << text << line << QString(message);
    };
    const QString ok = QStringLiteral("# capture\n0.1 rx 00\n");
    row(ok + "0.2 rx", 3, "expected <seconds> rx|tx <hex bytes>");
    row(ok + "soon rx 00", 3, "'soon' is not a time");
    row(ok + "0.05 tx 00", 3, "goes back");
    row(ok + "0.2 in 00", 3, "'in' is not a direction");
    row("0.2 rx 5a xy", 1, "'xy' is not a hexadecimal byte");
    row(ok + "0.2 rx \"hi\"", 3, "not quoted text");
    row("0.2 rx \"hi", 1, "unterminated");
}

void tst_Capture::badLines()
{
    QFETCH(QString, text);
    QFETCH(int, line);
    QFETCH(QString, message);
    QList<CaptureRecord> records;
    tools::ParseError error;
    QVERIFY(!tools::parseCapture(text, &records, &error));
    QCOMPARE(error.line, line);
    QVERIFY2(error.message.contains(message), qPrintable(error.message));
}

// A port on a pseudo-terminal, recording as the environment asks: what it writes and what
// arrives are recorded in order, with growing times, in the form the simulator replays.
void tst_Capture::portRecordsBothDirections()
{
    QTemporaryDir dir;
    QString error;
    QVERIFY(!canservice::SerialPort::startRecording("/nonexistent/dir/capture", &error));
    QVERIFY(!error.isEmpty());
    auto adapter = tools::PtyLink::create(dir.filePath("tty"), &error);
    QVERIFY2(adapter, qPrintable(error));
    const QString capture = dir.filePath("capture");
    qputenv("CANSERVICE_SERIAL_RECORD", QFile::encodeName(capture));
    canservice::SerialPort port;
    QVERIFY(port.open(dir.filePath("tty"), 38400));
    qunsetenv("CANSERVICE_SERIAL_RECORD");
    QSignalSpy fromHost(adapter.get(), &tools::AdapterLink::received);
    QSignalSpy fromAdapter(&port, &canservice::SerialPort::read);
    const QByteArray carSelect = QByteArray::fromHex("5aa5022a05ff2f");
    port.writeData(carSelect, true);
    QTRY_VERIFY(!fromHost.isEmpty());
    QTest::qWait(20); // the two lines must be apart in time
    const QByteArray doors = protocol::build(0x12, QByteArray::fromHex("00004000000000000000"));
    adapter->write(doors);
    QTRY_VERIFY(!fromAdapter.isEmpty());
    port.close();
    port.writeData(QByteArray::fromHex("00"), true); // not open: nothing reached a device
    canservice::SerialPort::stopRecording();
    port.writeData(carSelect, true);

    QFile file(capture);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY(text.startsWith("#"));
    QList<CaptureRecord> records;
    tools::ParseError parseError;
    QVERIFY2(tools::parseCapture(text, &records, &parseError), qPrintable(parseError.message));
    QCOMPARE(records.size(), 2);
    QVERIFY(!records.at(0).received);
    QCOMPARE(records.at(0).bytes, carSelect);
    QVERIFY(records.at(1).received);
    QCOMPARE(records.at(1).bytes, doors);
    QVERIFY(records.at(1).time - records.at(0).time >= 0.015);
}

// One packet per frame or run of other bytes, each direction cut by the head unit's rules.
void tst_Capture::pcapng()
{
    QList<CaptureRecord> records;
    tools::ParseError error;
    const QString body = protocol::build(0x12, QByteArray(10, 0)).toHex();
    const QString radar = protocol::build(0x41, QByteArray(12, 0x28)).toHex();
    QVERIFY(tools::parseCapture(QString("0.0 tx 5aa5022a05ff2f\n0.1 rx 0011 %1 %2\n0.2 rx %3\n"
                                        "0.3 rx 5aa50a12\n")
                                    .arg(body, radar.left(6), radar.mid(6)),
                                &records, &error));
    QTemporaryDir dir;
    QString message;
    QVERIFY(tools::writePcapng(records, 1000000, dir.filePath("p.pcapng"), &message));
    QString blocks; // type, link type or direction (1 from the adapter, 2 to it), time, bytes
    for (const Block &b : pcapngBlocks(dir.filePath("p.pcapng")))
        blocks +=
            QString::asprintf("%x %u %lld ", b.type, b.flags, b.usecs) + b.bytes.toHex() + '\n';
    QCOMPARE(blocks,
             QString("a0d0d0a 0 0 \n1 147 0 \n6 2 1000000 5aa5022a05ff2f\n6 1 1100000 0011\n"
                     "6 1 1100000 %1\n6 1 1200000 %2\n6 1 1300000 5aa50a12\n")
                 .arg(body, radar));
}

QTEST_GUILESS_MAIN(tst_Capture)
#include "tst_capture.moc"
