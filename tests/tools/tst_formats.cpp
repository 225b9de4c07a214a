// The bench's formats: scenario lines (fuzz_scenario throws garbage at them), what each line
// becomes on the wire; captures as the host stand-in's port records them; captures as pcapng.
// A bad line of either text format gets a clear error with its line number. Numbers as users
// type them, everywhere.
#include "capture.h"
#include "links.h"
#include "number.h"
#include "pcapng.h"
#include "protocol.h"
#include "scenario.h"
#include "serialport.h"
#include "tool.h"

#include <QSignalSpy>
#include <QTemporaryDir>

using tools::CaptureRecord;
using tools::Scenario;
using tools::ScenarioStep;

class tst_Formats : public QObject
{
    Q_OBJECT
private slots:
    void frames_data();
    void frames();
    void times();
    void badLines_data();
    void badLines();
    void patterns_data();
    void patterns();
    void capture();
    void portRecordsBothDirections();
    void number_data();
    void number();
    void numberFromTheEnvironment();
};

void tst_Formats::frames_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("wire");
    const auto row = [](const char *line, const char *wire) {
        QTest::newRow(line) << QString(line) << QByteArray::fromHex(wire);
    };
    row("0 frame body 00 00 40 00 00 00 00 00 00 00", "5aa50a12000040000000000000005b");
    row("0 frame 21 15 1", "5aa50221150138"); // an id, and a byte of one digit
    row("0 frame 0x55", "5aa5005554");        // no data for an unknown id
    row("0 frame version \"V1.02\"", "5aa505f056312e30320b");
    row("0 corrupt panel 15 01", "5aa50221150139"); // the checksum off by one
    row("0 corrupt 0x01", "5aa5000101");            // and wrapping
    row("0 raw 5a a5 0a 12", "5aa50a12");
    row("0 empty body", "5aa5001211"); // no data, whatever the command takes
}

void tst_Formats::frames()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, wire);
    Scenario scenario;
    tools::ParseError error;
    QVERIFY2(Scenario::parse(line, &scenario, &error), qPrintable(error.message));
    QCOMPARE(scenario.steps.size(), 1);
    const ScenarioStep &step = scenario.steps.first();
    QCOMPARE(step.bytes.toHex(), wire.toHex());
    QCOMPARE(step.cmd, step.kind == ScenarioStep::Raw ? -1 : int(quint8(wire.at(3))));
}

// Times absolute or after the last; each step's line, time, chunk size and gap, and window.
void tst_Formats::times()
{
    Scenario scenario;
    tools::ParseError error;
    QVERIFY(Scenario::parse("# start\n\n0.5 chunk 4 0.2\n+0.25 raw 00\n+0 chunk 2\n"
                            "2 expect 1.5 request 31 ??\n+1 end\n",
                            &scenario, &error));
    QStringList steps;
    for (const ScenarioStep &s : scenario.steps)
        steps << QString::asprintf("%d: %g %d %g %g", s.line, s.time, s.chunkSize, s.chunkGap,
                                   s.within);
    QCOMPARE(steps.join(", "),
             "3: 0.5 4 0.2 0, 4: 0.75 0 0 0, 5: 0.75 2 0.05 0, 6: 2 0 0 1.5, 7: 3 0 0 0");
    QCOMPARE(scenario.steps.last().kind, ScenarioStep::End);
    QCOMPARE(scenario.duration(), 3.0);
}

// One row per message; a row's line number is where the error is told.
void tst_Formats::badLines_data()
{
    QTest::addColumn<bool>("capture");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("message"); // a part of the message
    bool capture = false;
    const auto row = [&capture](const QString &text, int line, const char *message) {
        QTest::addRow("%s%s", capture ? "capture: " : "", message)
            << capture << text << line << QString(message);
    };
    const QString ok = QStringLiteral("# fine\n0 frame panel 15 01\n");
    row(ok + "1 sned 00", 3, "unknown action 'sned'");
    row(ok + "frame body 00", 3, "'frame' is not a time");
    row("1e3 raw 00", 1, "'1e3' is not a time");
    row("2 raw 00\n1 raw 00", 2, "goes back");
    row(ok + "\n3", 4, "without an action");
    row("\"1\" raw 00", 1, "starts with its time");
    row("0 frame", 1, "needs a command");
    row("0 frame body 00", 1, "body takes 10 data bytes, not 1 (raw writes any bytes)");
    row("0 door sunroof open", 1, "'sunroof' is one of: bonnet, boot, front-left");
    row("0 climate temp-left 22.3", 1, "half degrees");
    row("0 radar rear-right 2ear 3", 1, "no more words");
    row("0 next split", 1, "next corrupt, next split");
    row("0 frame doors 00", 1, "unknown command 'doors' (a hexadecimal id or one of: wheel");
    row("0 frame 1234", 1, "unknown command '1234'");
    row(ok + "0 frame body 0a0", 3, "odd number of hexadecimal digits");
    row("0 frame body zz", 1, "'zz' is not a hexadecimal byte");
    row("0 frame body " + QString("00 ").repeated(256), 1, "a frame holds at most 255");
    row(ok + "0 frame version \"V1", 3, "unterminated");
    row("0 raw", 1, "raw needs at least one byte");
    row("0 chunk -2", 1, "chunk takes a size");
    row("0 chunk 2 soon", 1, "'soon' is not a gap");
    row("0 expect ack body", 1, "seconds to wait");
    row("0 expect 1", 1, "needs a head-unit command");
    row("0 expect 1 request 3g", 1, "'3g' is not a hexadecimal byte");
    row("0 end now", 1, "end takes nothing");
    row("0 end\n# a comment is fine\n1 raw 00", 3, "nothing may follow the end line");
    row("0 noise 0", 1, "noise takes a number of bytes from 1 to 4096");
    row("0 empty", 1, "empty takes a command");
    capture = true;
    const QString rx = QStringLiteral("# capture\n0.1 rx 00\n");
    row(rx + "0.2 rx", 3, "expected <seconds> rx|tx <hex bytes>");
    row(rx + "soon rx 00", 3, "'soon' is not a time");
    row(rx + "0.05 tx 00", 3, "goes back");
    row(rx + "0.2 in 00", 3, "'in' is not a direction");
    row("0.2 rx 5a xy", 1, "'xy' is not a hexadecimal byte");
    row(rx + "0.2 rx \"hi\"", 3, "not quoted text");
    row("0.2 rx \"hi", 1, "unterminated");
}

void tst_Formats::badLines()
{
    QFETCH(bool, capture);
    QFETCH(QString, text);
    QFETCH(int, line);
    QFETCH(QString, message);
    Scenario scenario;
    QList<CaptureRecord> records;
    tools::ParseError error;
    QVERIFY(!(capture ? tools::parseCapture(text, &records, &error)
                      : Scenario::parse(text, &scenario, &error)));
    QCOMPARE(error.line, line);
    QVERIFY2(error.message.contains(message), qPrintable(error.message));
}

// What an expectation's pattern takes, beyond a command and its first byte (tst_adapter).
void tst_Formats::patterns_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("matches");
    const auto row = [](const char *pattern, int cmd, const QByteArray &data, bool matches) {
        QTest::addRow("%s on %x %s", pattern, cmd, data.toHex().constData())
            << QString(pattern) << cmd << data << matches;
    };
    const auto hex = [](const char *h) { return QByteArray::fromHex(h); };
    row("climatekey 02", 0x3B, hex("0201"), true); // a prefix
    row("climatekey ?? 01", 0x3B, hex("0501"), true);
    row("climatekey ?? 01", 0x3B, hex("0500"), false);
    row("request 31 00 00", 0x90, hex("3100"), false); // longer than the frame
    row("source 01 01 \"87.50\"", 0x91, hex("0101") + "87.50       ", true);
    row("3b 02 01", 0x3B, hex("0201"), true); // a head-unit command by its id
}

void tst_Formats::patterns()
{
    QFETCH(QString, pattern);
    QFETCH(int, cmd);
    QFETCH(QByteArray, data);
    QFETCH(bool, matches);
    Scenario scenario;
    tools::ParseError error;
    QVERIFY2(Scenario::parse("0 expect 1 " + pattern, &scenario, &error),
             qPrintable(error.message));
    QCOMPARE(scenario.steps.first().pattern.matches(cmd, data), matches);
}

// Comments, blank lines, bytes in any grouping, equal times; written back in one form. As
// pcapng: one packet per frame or run of other bytes, each direction cut by the head unit's
// rules.
void tst_Formats::capture()
{
    QList<CaptureRecord> records;
    tools::ParseError error;
    const QString body = protocol::build(0x12, QByteArray(10, 0)).toHex();
    const QString radar = protocol::build(0x41, QByteArray(12, 0x28)).toHex();
    QVERIFY(tools::parseCapture(QString("# a capture\n0.0 tx 5a a5 02 2a 05 ff 2f\n\n"
                                        "0.1 rx 0011 %1 %2\n0.1 rx %3\n0.3 rx 5aa5 0a12\n")
                                    .arg(body, radar.left(6), radar.mid(6)),
                                &records, &error));
    QCOMPARE(records.size(), 4);
    QCOMPARE(records.at(3).line, 6);
    QCOMPARE(tools::formatCaptureRecord(records.at(3)), "0.300000 rx 5a a5 0a 12");
    QCOMPARE(tools::formatCaptureRecord({0, 12.3456789, true, QByteArray(1, '\0')}),
             "12.345679 rx 00");

    QTemporaryDir dir;
    QString message;
    QVERIFY(tools::writePcapng(records, 1000000, dir.filePath("p.pcapng"), &message));
    // Direction flags: 1 from the adapter, 2 to it.
    QCOMPARE(pcapngBlocks(dir.filePath("p.pcapng")).join('\n'),
             QString("a0d0d0a 0 0 \n1 147 0 \n6 2 1000000 5aa5022a05ff2f\n6 1 1100000 0011\n"
                     "6 1 1100000 %1\n6 1 1100000 %2\n6 1 1300000 5aa50a12")
                 .arg(body, radar));
}

// A port on a pseudo-terminal, recording as the environment asks: what it writes and what
// arrives, in the form the simulator replays; nothing once it is closed.
void tst_Formats::portRecordsBothDirections()
{
    QTemporaryDir dir;
    QString error;
    QVERIFY(!canservice::SerialPort::startRecording("/nonexistent/dir/capture", &error) &&
            !error.isEmpty());
    auto adapter = tools::PtyLink::create(dir.filePath("tty"), &error);
    QVERIFY2(adapter, qPrintable(error));
    qputenv("CANSERVICE_SERIAL_RECORD", QFile::encodeName(dir.filePath("capture")));
    canservice::SerialPort port;
    QVERIFY(port.open(dir.filePath("tty"), 38400));
    qunsetenv("CANSERVICE_SERIAL_RECORD");
    QSignalSpy fromHost(adapter.get(), &tools::AdapterLink::received);
    QSignalSpy fromAdapter(&port, &canservice::SerialPort::read);
    port.writeData(QByteArray::fromHex("5aa5022a05ff2f"), true);
    QTRY_VERIFY(!fromHost.isEmpty());
    adapter->write(QByteArray::fromHex("5aa50a12"));
    QTRY_VERIFY(!fromAdapter.isEmpty());
    port.close();
    port.writeData(QByteArray::fromHex("00"), true); // not open: nothing reached a device
    canservice::SerialPort::stopRecording();
    QFile file(dir.filePath("capture"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = file.readAll();
    QVERIFY2(QRegularExpression("^#.*\n[0-9.]+ tx 5a a5 02 2a 05 ff 2f\n[0-9.]+ rx 5a a5 0a 12\n$")
                 .match(text)
                 .hasMatch(),
             qPrintable(text));
}

// Numbers as users type them: decimal or 0x-hex, leading zeros decimal, anything else refused.
void tst_Formats::number_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("value");
    QTest::newRow("decimal") << "52" << true << 52;
    QTest::newRow("leading zero, not octal") << "060" << true << 60;
    QTest::newRow("hex") << "0x3c" << true << 60;
    QTest::newRow("hex upper") << "0X5E" << true << 94;
    QTest::newRow("negative") << "-1" << true << -1;
    QTest::newRow("int max") << "2147483647" << true << 2147483647;
    QTest::newRow("bare 0x") << "0x" << false << 0;
    QTest::newRow("letter in decimal") << "09x" << false << 0;
    QTest::newRow("plus") << "+5" << false << 0;
    QTest::newRow("negative hex") << "-0x5" << false << 0;
    QTest::newRow("overflow") << "2147483648" << false << 0;
    QTest::newRow("other script digits") << QString::fromUtf8("\u0663") << false << 0;
}

void tst_Formats::number()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(int, value);
    int parsed = 0;
    QCOMPARE(qvx::parseNumber(text, &parsed), ok);
    QCOMPARE(parsed, value);
}

// The host stand-in reads the car model from its environment with the same rules.
void tst_Formats::numberFromTheEnvironment()
{
    qputenv("CANSERVICE_CAR_MODEL_ID", "094");
    qputenv("CANSERVICE_CAR_MODEL_INDEX", "12a");
    QTest::ignoreMessage(
        QtWarningMsg,
        "CANSERVICE_CAR_MODEL_INDEX: '12a' is not a number (decimal or 0x-hex); using 0");
    QCOMPARE(CanBusManager::instance()->getCarModelId(), 94);
    QCOMPARE(CanBusManager::instance()->getQvxCarModelIndex(), 0);
}

QTEST_GUILESS_MAIN(tst_Formats)
#include "tst_formats.moc"
