// The simulator's scenario format (fuzz_scenario throws garbage at it): what each line
// becomes on the wire, and a clear error with the line number for every kind of bad line.
#include "protocol.h"
#include "scenario.h"

#include <QtTest>

using tools::Scenario;
using tools::ScenarioStep;

class tst_Scenario : public QObject
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
};

void tst_Scenario::frames_data()
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
}

void tst_Scenario::frames()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, wire);
    Scenario scenario;
    tools::ParseError error;
    QVERIFY2(Scenario::parse(line, &scenario, &error), qPrintable(error.message));
    QCOMPARE(scenario.steps.size(), 1);
    QCOMPARE(scenario.steps.first().line, 1);
    const ScenarioStep &step = scenario.steps.first();
    QCOMPARE(step.bytes.toHex(), wire.toHex());
    QCOMPARE(step.cmd, step.kind == ScenarioStep::Raw ? -1 : int(quint8(wire.at(3))));
}

void tst_Scenario::times()
{
    Scenario scenario;
    tools::ParseError error;
    QVERIFY(Scenario::parse("# start\n"
                            "\n"
                            "0.5 chunk 4 0.2\n"
                            "+0.25 raw 00\n"
                            "+0 raw 01\n"
                            "2 expect 1.5 request 31 ??\n"
                            "+1 end\n",
                            &scenario, &error));
    QCOMPARE(scenario.steps.size(), 5);
    QCOMPARE(scenario.steps.at(0).line, 3);
    QCOMPARE(scenario.steps.at(0).chunkSize, 4);
    QCOMPARE(scenario.steps.at(0).chunkGap, 0.2);
    QCOMPARE(scenario.steps.at(1).time, 0.75);
    QCOMPARE(scenario.steps.at(2).time, 0.75);
    QCOMPARE(scenario.steps.at(3).time, 2.0);
    QCOMPARE(scenario.steps.at(3).within, 1.5);
    QCOMPARE(scenario.steps.at(4).line, 7);
    QCOMPARE(scenario.steps.at(4).kind, ScenarioStep::End);
    QCOMPARE(scenario.duration(), 3.0);

    QVERIFY(Scenario::parse("0 chunk 2", &scenario, &error));
    QCOMPARE(scenario.steps.first().chunkGap, 0.05); // the default
}

// One row per message; a row's line number is where the error is told.
void tst_Scenario::badLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("message"); // a part of the message
    const auto row = [](const QString &text, int line, const char *message) {
        QTest::newRow(message) << text << line << QString(message);
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
}

void tst_Scenario::badLines()
{
    QFETCH(QString, text);
    QFETCH(int, line);
    QFETCH(QString, message);
    Scenario scenario;
    tools::ParseError error;
    QVERIFY(!Scenario::parse(text, &scenario, &error));
    QCOMPARE(error.line, line);
    QVERIFY2(error.message.contains(message), qPrintable(error.message));
}

void tst_Scenario::patterns_data()
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
    row("ack body", 0xFF, hex("12"), true);
    row("ack body", 0xFF, hex("31"), false);
    row("ack body", 0xFE, hex("12"), false); // a NAK is no ACK
    row("ack 55", 0xFF, hex("55"), true);
    row("climatekey 02", 0x3B, hex("0201"), true); // a prefix
    row("climatekey ?? 01", 0x3B, hex("0501"), true);
    row("climatekey ?? 01", 0x3B, hex("0500"), false);
    row("request 31 00 00", 0x90, hex("3100"), false); // longer than the frame
    row("source 01 01 \"87.50\"", 0x91, hex("0101") + "87.50       ", true);
    row("3b 02 01", 0x3B, hex("0201"), true); // a head-unit command by its id
}

void tst_Scenario::patterns()
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

QTEST_GUILESS_MAIN(tst_Scenario)
#include "tst_scenario.moc"
