// The capture format: what the host stand-in's port records, read back line by line.
#include "capture.h"
#include "links.h"
#include "protocol.h"
#include "serialport.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

using tools::CaptureRecord;

class tst_Capture : public QObject
{
    Q_OBJECT
private slots:
    void parse();
    void badLines_data();
    void badLines();
    void formatRoundTrip_data();
    void formatRoundTrip();
    void portRecordsBothDirections();
    void environmentStartsRecording();
    void unwritableFile();

private:
    static QList<CaptureRecord> readCapture(const QString &path);
};

QList<CaptureRecord> tst_Capture::readCapture(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<CaptureRecord> records;
    tools::ParseError error;
    if (!tools::parseCapture(QString::fromUtf8(file.readAll()), &records, &error))
        qWarning() << error.toString(path);
    return records;
}

// Comments, blank lines, bytes in any grouping, equal times.
void tst_Capture::parse()
{
    QList<CaptureRecord> records;
    tools::ParseError error;
    QVERIFY(tools::parseCapture("# a capture\n0.5 tx 5a a5 02 2a 00 ff 2a\n\n0.5 rx 5aa5 0a12\n",
                                &records, &error));
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.at(1).line, 4);
    QCOMPARE(records.at(1).bytes, QByteArray::fromHex("5aa50a12"));
    QVERIFY(!records.at(0).received && records.at(1).received);
}

void tst_Capture::badLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("message");
    const QString ok = QStringLiteral("# capture\n0.1 rx 00\n");
    QTest::newRow("too few words") << ok + "0.2 rx" << 3 << "expected <seconds> rx|tx <hex bytes>";
    QTest::newRow("bad time") << ok + "soon rx 00" << 3 << "'soon' is not a time";
    QTest::newRow("negative time") << "-0.1 rx 00" << 1 << "not a time";
    QTest::newRow("time goes back") << ok + "0.05 tx 00" << 3 << "goes back";
    QTest::newRow("direction") << ok + "0.2 in 00" << 3 << "'in' is not a direction";
    QTest::newRow("upper-case direction") << "0.2 RX 00" << 1 << "not a direction";
    QTest::newRow("odd hex") << ok + "0.2 rx 5a0" << 3 << "odd number";
    QTest::newRow("not hex") << "0.2 rx 5a xy" << 1 << "'xy' is not a hexadecimal byte";
    QTest::newRow("quoted text") << ok + "0.2 rx \"hi\"" << 3 << "not quoted text";
    QTest::newRow("unterminated quote") << "0.2 rx \"hi" << 1 << "unterminated";
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

void tst_Capture::formatRoundTrip_data()
{
    QTest::addColumn<double>("time");
    QTest::addColumn<bool>("received");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("line");
    QTest::newRow("tx") << 0.0 << false << QByteArray::fromHex("5aa5022a05ff2f")
                        << "0.000000 tx 5a a5 02 2a 05 ff 2f";
    QTest::newRow("rx, microseconds")
        << 12.3456789 << true << QByteArray(1, '\0') << "12.345679 rx 00";
}

void tst_Capture::formatRoundTrip()
{
    QFETCH(double, time);
    QFETCH(bool, received);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, line);
    CaptureRecord record;
    record.time = time;
    record.received = received;
    record.bytes = bytes;
    QCOMPARE(tools::formatCaptureRecord(record), line);
    QList<CaptureRecord> back;
    tools::ParseError error;
    QVERIFY(tools::parseCapture(line, &back, &error));
    QCOMPARE(back.size(), 1);
    QCOMPARE(back.first().received, received);
    QCOMPARE(back.first().bytes, bytes);
    QVERIFY(qAbs(back.first().time - time) < 1e-6);
}

// A port on a pseudo-terminal: what it writes and what arrives are recorded in order, with
// growing times, in the form the simulator replays.
void tst_Capture::portRecordsBothDirections()
{
    QTemporaryDir dir;
    QString error;
    auto adapter = tools::PtyLink::create(dir.filePath("tty"), &error);
    QVERIFY2(adapter, qPrintable(error));
    const QString capture = dir.filePath("capture");
    QVERIFY(canservice::SerialPort::startRecording(capture, &error));

    canservice::SerialPort port;
    QVERIFY(port.open(dir.filePath("tty"), 38400));
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

    QFile raw(capture);
    QVERIFY(raw.open(QIODevice::ReadOnly));
    QVERIFY(raw.readLine().startsWith("#"));
    const QList<CaptureRecord> records = readCapture(capture);
    QCOMPARE(records.size(), 2);
    QVERIFY(!records.at(0).received);
    QCOMPARE(records.at(0).bytes, carSelect);
    QVERIFY(records.at(1).received);
    QCOMPARE(records.at(1).bytes, doors);
    QVERIFY(records.at(1).time - records.at(0).time >= 0.015);
}

void tst_Capture::environmentStartsRecording()
{
    QTemporaryDir dir;
    QString error;
    auto adapter = tools::PtyLink::create(dir.filePath("tty"), &error);
    QVERIFY2(adapter, qPrintable(error));
    const QString capture = dir.filePath("capture");
    qputenv("CANSERVICE_SERIAL_RECORD", QFile::encodeName(capture));
    {
        canservice::SerialPort port;
        QVERIFY(port.open(dir.filePath("tty"), 38400));
        qunsetenv("CANSERVICE_SERIAL_RECORD");
        port.writeData(QByteArray::fromHex("5aa501ff1211"), true);
    }
    canservice::SerialPort::stopRecording();
    const QList<CaptureRecord> records = readCapture(capture);
    QCOMPARE(records.size(), 1);
    QCOMPARE(records.first().bytes, QByteArray::fromHex("5aa501ff1211"));
}

void tst_Capture::unwritableFile()
{
    QString error;
    QVERIFY(!canservice::SerialPort::startRecording("/nonexistent/dir/capture", &error));
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(tst_Capture)
#include "tst_capture.moc"
