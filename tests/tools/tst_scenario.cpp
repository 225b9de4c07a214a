// The simulator's scenario format (fuzz_scenario throws garbage at it): what each line
// becomes on the wire, and a clear error with the line number for every kind of bad line.
#include "protocol.h"
#include "scenario.h"
#include "textparse.h"
#include "wire.h"

#include <QFile>
#include <QSet>
#include <QtTest>

using tools::Scenario;
using tools::ScenarioStep;

Q_DECLARE_METATYPE(ScenarioStep::Kind)

class tst_Scenario : public QObject
{
    Q_OBJECT
private slots:
    void steps_data();
    void steps();
    void times();
    void badLines_data();
    void badLines();
    void patterns_data();
    void patterns();
    void shippedScenario();
};

void tst_Scenario::steps_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<ScenarioStep::Kind>("kind");
    QTest::addColumn<QByteArray>("wire");
    QTest::addColumn<int>("cmd");

    QTest::newRow("frame by name")
        << "0 frame body 00 00 40 00 00 00 00 00 00 00" << ScenarioStep::Frame
        << protocol::build(0x12, QByteArray::fromHex("00004000000000000000")) << 0x12;
    QTest::newRow("frame by id") << "0 frame 21 15 01" << ScenarioStep::Frame
                                 << QByteArray::fromHex("5aa502211501"
                                                        "38")
                                 << 0x21;
    QTest::newRow("unknown id, no data")
        << "0 frame 0x55" << ScenarioStep::Frame << QByteArray::fromHex("5aa5005554") << 0x55;
    QTest::newRow("quoted version") << "0 frame version \"V1.02\"" << ScenarioStep::Frame
                                    << protocol::build(0xF0, "V1.02") << 0xF0;
    QTest::newRow("corrupt: checksum off by one") << "0 corrupt panel 15 01" << ScenarioStep::Frame
                                                  << QByteArray::fromHex("5aa502211501"
                                                                         "39")
                                                  << 0x21;
    QTest::newRow("corrupt wraps") << "0 corrupt 0x01" << ScenarioStep::Frame
                                   << QByteArray::fromHex("5aa50001"
                                                          "01")
                                   << 0x01;
    QTest::newRow("raw") << "0 raw 5a a5 0a 12" << ScenarioStep::Raw
                         << QByteArray::fromHex("5aa50a12") << -1;
    QTest::newRow("chunk") << "0 chunk 3" << ScenarioStep::Chunk << QByteArray() << -1;
    QTest::newRow("expect") << "0 expect 1 ack body" << ScenarioStep::Expect << QByteArray() << -1;
    QTest::newRow("end") << "0 end" << ScenarioStep::End << QByteArray() << -1;
}

void tst_Scenario::steps()
{
    QFETCH(QString, line);
    QFETCH(ScenarioStep::Kind, kind);
    QFETCH(QByteArray, wire);
    QFETCH(int, cmd);
    Scenario scenario;
    tools::ParseError error;
    QVERIFY2(Scenario::parse(line, &scenario, &error), qPrintable(error.message));
    QCOMPARE(scenario.steps.size(), 1);
    const ScenarioStep &step = scenario.steps.first();
    QCOMPARE(step.kind, kind);
    QCOMPARE(step.line, 1);
    QCOMPARE(step.bytes.toHex(), wire.toHex());
    QCOMPARE(step.cmd, cmd);
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
    QCOMPARE(scenario.duration(), 3.0);

    QVERIFY(Scenario::parse("0 chunk 2", &scenario, &error));
    QCOMPARE(scenario.steps.first().chunkGap, 0.05); // the default
    QVERIFY(Scenario::parse("", &scenario, &error));
    QVERIFY(scenario.steps.isEmpty());
    QCOMPARE(scenario.duration(), 0.0);
}

void tst_Scenario::badLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("message"); // a part of the message

    const QString ok = QStringLiteral("# fine\n0 frame panel 15 01\n");
    QTest::newRow("unknown action") << ok + "1 sned 00" << 3 << "unknown action 'sned'";
    QTest::newRow("no time") << ok + "frame body 00" << 3 << "'frame' is not a time";
    QTest::newRow("negative time") << "-1 raw 00" << 1 << "not a time";
    QTest::newRow("nan time") << "nan raw 00" << 1 << "not a time";
    QTest::newRow("exponent time") << "1e3 raw 00" << 1 << "not a time";
    QTest::newRow("time goes back") << "2 raw 00\n1 raw 00" << 2 << "goes back";
    QTest::newRow("time alone") << ok + "\n3" << 4 << "without an action";
    QTest::newRow("quoted time") << "\"1\" raw 00" << 1 << "starts with its time";
    QTest::newRow("frame without command") << "0 frame" << 1 << "needs a command";
    QTest::newRow("frame of the wrong length")
        << "0 frame body 00" << 1 << "body takes 10 data bytes, not 1 (raw writes any bytes)";
    QTest::newRow("word out of the vocabulary")
        << "0 door sunroof open" << 1 << "'sunroof' is one of: bonnet, boot, front-left";
    QTest::newRow("word without its value") << "0 climate temp-left 22.3" << 1 << "half degrees";
    QTest::newRow("word with one too many") << "0 radar rear-right 2ear 3" << 1 << "no more words";
    QTest::newRow("next without a fault") << "0 next split" << 1 << "next corrupt, next split";
    QTest::newRow("unknown command name")
        << "0 frame doors 00" << 1 << "unknown command 'doors' (a hexadecimal id or one of: wheel";
    QTest::newRow("command of two bytes") << "0 frame 1234" << 1 << "unknown command '1234'";
    QTest::newRow("host command in a frame") << "0 frame ack 12" << 1 << "unknown command 'ack'";
    QTest::newRow("odd hex") << ok + "0 frame body 0a0" << 3 << "odd number of hexadecimal digits";
    QTest::newRow("not hex") << "0 frame body zz" << 1 << "'zz' is not a hexadecimal byte";
    QTest::newRow("too long") << "0 frame body " + QString("00 ").repeated(256) << 1
                              << "256 data bytes; a frame holds at most 255";
    QTest::newRow("unterminated quote") << ok + "0 frame version \"V1" << 3 << "unterminated";
    QTest::newRow("raw without bytes") << "0 raw" << 1 << "raw needs at least one byte";
    QTest::newRow("chunk without size") << "0 chunk" << 1 << "chunk takes a size";
    QTest::newRow("chunk negative") << "0 chunk -2" << 1 << "chunk takes a size";
    QTest::newRow("chunk bad gap") << "0 chunk 2 soon" << 1 << "'soon' is not a gap";
    QTest::newRow("expect without seconds") << "0 expect ack body" << 1 << "seconds to wait";
    QTest::newRow("expect without command") << "0 expect 1" << 1 << "needs a head-unit command";
    QTest::newRow("expect adapter command") << "0 expect 1 body" << 1 << "unknown command 'body'";
    QTest::newRow("expect bad byte") << "0 expect 1 request 3g" << 1 << "not a hexadecimal byte";
    QTest::newRow("end with words") << "0 end now" << 1 << "end takes nothing";
    QTest::newRow("after the end")
        << "0 end\n# a comment is fine\n1 raw 00" << 3 << "nothing may follow the end line";
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
    QCOMPARE(error.toString("drive"), QStringLiteral("drive:%1: %2").arg(line).arg(error.message));
}

void tst_Scenario::patterns_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("matches");
    QTest::newRow("ack by name") << "ack body" << 0xFF << QByteArray::fromHex("12") << true;
    QTest::newRow("ack of another") << "ack body" << 0xFF << QByteArray::fromHex("31") << false;
    QTest::newRow("nak is not ack") << "ack body" << 0xFE << QByteArray::fromHex("12") << false;
    QTest::newRow("ack by id") << "ack 55" << 0xFF << QByteArray::fromHex("55") << true;
    QTest::newRow("command alone") << "carselect" << 0x2A << QByteArray::fromHex("05ff") << true;
    QTest::newRow("prefix") << "climatekey 02" << 0x3B << QByteArray::fromHex("0201") << true;
    QTest::newRow("wildcard") << "climatekey ?? 01" << 0x3B << QByteArray::fromHex("0501") << true;
    QTest::newRow("wildcard, wrong value")
        << "climatekey ?? 01" << 0x3B << QByteArray::fromHex("0500") << false;
    QTest::newRow("longer than the frame")
        << "request 31 00 00" << 0x90 << QByteArray::fromHex("3100") << false;
    QTest::newRow("text") << "source 01 01 \"87.50\"" << 0x91
                          << QByteArray::fromHex("0101") + "87.50       " << true;
    QTest::newRow("host command by id")
        << "3b 02 01" << 0x3B << QByteArray::fromHex("0201") << true;
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

// The demo's drive speaks every command the plugin decodes in words, and goes wrong on purpose.
void tst_Scenario::shippedScenario()
{
    QFile file(QStringLiteral(QVX_SOURCE_DIR "/scenarios/default"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    Scenario scenario;
    tools::ParseError error;
    QVERIFY2(Scenario::parse(QString::fromUtf8(file.readAll()), &scenario, &error),
             qPrintable(error.toString("scenarios/default")));
    QSet<int> commands;
    QSet<int> faults;
    int raw = 0, expects = 0;
    for (const ScenarioStep &step : scenario.steps) {
        if (step.kind == ScenarioStep::Words)
            commands.insert(step.cmd);
        if (step.kind == ScenarioStep::Next)
            faults.insert(step.fault);
        raw += step.kind == ScenarioStep::Raw;
        expects += step.kind == ScenarioStep::Expect;
    }
    for (const QString &name : tools::adapterCommandNames())
        QVERIFY2(commands.contains(tools::adapterCommandByName(name)), qPrintable(name));
    QCOMPARE(faults, (QSet<int>{ScenarioStep::Corrupt, ScenarioStep::Split}));
    QVERIFY(raw >= 2);
    QVERIFY(expects >= 1);
    QVERIFY(scenario.duration() < 15.0); // the demo must stay short
}

QTEST_GUILESS_MAIN(tst_Scenario)
#include "tst_scenario.moc"
