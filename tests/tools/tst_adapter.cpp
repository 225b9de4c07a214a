// The simulated adapter in-process: its frame reader and descriptions, its climate panel,
// and the simulator on a link that the test plays the head unit on.
#include "climatemodel.h"
#include "links.h"
#include "protocol.h"
#include "reader.h"
#include "simulator.h"
#include "wire.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

using protocol::build;

namespace {

class FakeLink : public tools::AdapterLink
{
public:
    void write(const QByteArray &bytes) override { writes << bytes; }
    QString description() const override { return QStringLiteral("test link"); }
    void fromHost(const QByteArray &bytes) { emit received(bytes); }
    QByteArray all() const { return writes.join(); }
    QList<QByteArray> writes;
};

struct Run
{
    explicit Run(const QString &scenarioText, bool waitForHost = false)
        : out(&text), simulator(&link, out, options(waitForHost)),
          finished(&simulator, &tools::AdapterSimulator::finished)
    {
        clock.start();
        tools::ParseError error;
        parsed = tools::Scenario::parse(scenarioText, &scenario, &error);
        simulator.setScenario(scenario, QStringLiteral("test"));
    }
    static tools::AdapterSimulator::Options options(bool waitForHost)
    {
        tools::AdapterSimulator::Options o;
        o.waitForHost = waitForHost;
        o.settle = 0.05;
        return o;
    }
    // The head unit's answer to every frame the adapter wrote so far that it has not answered.
    void acknowledgeAll()
    {
        const QList<QByteArray> writes = link.writes;
        for (int i = answered; i < writes.size(); ++i) {
            for (const protocol::Reader::Item &item : reader.feed(writes.at(i), clock.elapsed())) {
                if (item.kind == protocol::Reader::Item::Frame ||
                    item.kind == protocol::Reader::Item::BadChecksum)
                    link.fromHost(build(item.kind == protocol::Reader::Item::Frame
                                            ? protocol::cmd::Ack
                                            : protocol::cmd::Nak,
                                        QByteArray(1, char(item.cmd))));
            }
        }
        answered = writes.size();
    }

    FakeLink link;
    QString text;
    QTextStream out;
    tools::Scenario scenario;
    bool parsed = false;
    tools::AdapterSimulator simulator;
    QSignalSpy finished;
    protocol::Reader reader; // the head unit's own rules
    QElapsedTimer clock;
    int answered = 0;
};

} // namespace

class tst_Adapter : public QObject
{
    Q_OBJECT
private slots:
    void describeHost_data();
    void describeHost();
    void describeAdapter();
    void climateCommands_data();
    void climateCommands();
    void climateModeCycle();
    void climateFanScales();
    void answersClimateKeysAndRequests();
    void expectationsAndSummary();
    void expectationWindow();
    void unacknowledgedFrames();
    void chunksAndCutOffFrames();
    void waitsForTheHead();
    void wordsAndFaults();
    void replay();
};

void tst_Adapter::describeHost_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("ack") << 0xFF << QByteArray::fromHex("31") << "ACK climate (0x31)";
    QTest::newRow("nak of an unknown command") << 0xFE << QByteArray::fromHex("55") << "NAK 0x55";
    QTest::newRow("ack of a bad length") << 0xFF << QByteArray::fromHex("3131")
                                         << "ACK climate (0x31) [2 data bytes, expected 1: 31 31]";
    QTest::newRow("car select") << 0x2A << QByteArray::fromHex("05ff")
                                << "car select: model 5 (second byte 0xff)";
    QTest::newRow("request") << 0x90 << QByteArray::fromHex("3100")
                             << "request 0x31 0x00 (climate)";
    QTest::newRow("request of nothing known")
        << 0x90 << QByteArray::fromHex("0102") << "request 0x01 0x02";
    QTest::newRow("climate toggle")
        << 0x3B << QByteArray::fromHex("0201") << "climate command 2 (AC) value 1";
    QTest::newRow("climate mode") << 0x3B << QByteArray::fromHex("22ff")
                                  << "climate command 34 value 0xff";
    QTest::newRow("source") << 0x91 << QByteArray::fromHex("0101") + "87.50       "
                            << "source status: code 1, text \"87.50       \"";
    QTest::newRow("start") << 0x60 << QByteArray::fromHex("05051a") << "start 05 05 1a";
    QTest::newRow("other") << 0x77 << QByteArray::fromHex("01") << "command 0x77: 01";
}

void tst_Adapter::describeHost()
{
    QFETCH(int, cmd);
    QFETCH(QByteArray, data);
    QFETCH(QString, text);
    QCOMPARE(tools::describeHostFrame(cmd, data), text);
}

void tst_Adapter::describeAdapter()
{
    QCOMPARE(tools::describeAdapterFrame(0x11, QByteArray::fromHex("00000301000000000000")),
             QStringLiteral("wheel key 0x03 press"));
    QCOMPARE(tools::describeAdapterFrame(0x21, QByteArray::fromHex("1500")),
             QStringLiteral("panel key 0x15 release"));
    QCOMPARE(tools::describeAdapterFrame(0x21, QByteArray::fromHex("1502")),
             QStringLiteral("panel key 0x15 action 2"));
    QCOMPARE(tools::describeAdapterFrame(0x21, QByteArray::fromHex("15")),
             QStringLiteral("panel 15"));
    QCOMPARE(tools::describeAdapterFrame(0xF0, "V1.02"), QStringLiteral("version \"V1.02\""));
    QCOMPARE(tools::describeAdapterFrame(0x55, QByteArray::fromHex("0102")),
             QStringLiteral("0x55 01 02"));
}

void tst_Adapter::climateCommands_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("byte");
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("after");
    QTest::newRow("power off") << 1 << 1 << 0 << 0x00 << 0x40;
    QTest::newRow("AC on") << 2 << 1 << 0 << 0x40 << 0x41;
    QTest::newRow("AC off") << 2 << 0 << 0 << 0x41 << 0x40;
    QTest::newRow("auto") << 4 << 1 << 0 << 0x00 << 0x10;
    QTest::newRow("dual on from field 2") << 15 << 1 << 0 << 0x08 << 0x04;
    QTest::newRow("dual off") << 15 << 0 << 0 << 0x05 << 0x01;
    QTest::newRow("rear climate toggles") << 23 << 0xFF << 0 << 0x20 << 0x00;
    QTest::newRow("front defrost") << 5 << 1 << 2 << 0x03 << 0x13;
    QTest::newRow("rear defrost off") << 6 << 0 << 2 << 0x30 << 0x10;
    QTest::newRow("inside air") << 7 << 1 << 1 << 0x00 << 0x10;
    QTest::newRow("left warmer") << 12 << 1 << 6 << 44 << 45;
    QTest::newRow("right cooler") << 13 << 2 << 7 << 44 << 43;
    QTest::newRow("left at the top") << 12 << 1 << 6 << 0xFD << 0xFD;
    QTest::newRow("rear cooler at the bottom") << 22 << 2 << 10 << 0 << 0;
    QTest::newRow("rear fan up") << 21 << 1 << 9 << 3 << 4;
    QTest::newRow("rear fan at the top") << 21 << 1 << 9 << 7 << 7;
}

void tst_Adapter::climateCommands()
{
    QFETCH(int, command);
    QFETCH(int, value);
    QFETCH(int, byte);
    QFETCH(int, before);
    QFETCH(int, after);
    tools::ClimateModel model;
    QByteArray state = model.state();
    state[byte] = char(before);
    model.setState(state);
    QVERIFY(model.apply(command, value));
    state[byte] = char(after);
    QCOMPARE(model.state().toHex(), state.toHex()); // no other byte moves
}

// The mode key sends the command that the current mode code calls for: the panel must go
// round all five air-flow modes and come back.
void tst_Adapter::climateModeCycle()
{
    const auto commandFor = [](int code) {
        switch (code & 0x0F) {
        case 3:
            return 9;
        case 5:
            return 34;
        case 6:
            return 8;
        case 11:
            return 33;
        case 12:
            return 10;
        default:
            return 10;
        }
    };
    tools::ClimateModel model;
    QList<int> seen;
    for (int press = 0; press < 6; ++press) {
        QVERIFY(model.apply(commandFor(quint8(model.state().at(4))), 0xFF));
        seen << quint8(model.state().at(4));
    }
    QCOMPARE(seen, (QList<int>{3, 5, 11, 12, 6, 3}));
    QVERIFY(!model.apply(3, 1));
    QVERIFY(!model.apply(99, 1));
}

void tst_Adapter::climateFanScales()
{
    tools::ClimateModel wide(18);
    QList<int> codes;
    for (int i = 0; i < 9; ++i) {
        wide.apply(11, 1);
        codes << quint8(wide.state().at(5));
    }
    QCOMPARE(codes, (QList<int>{6, 9, 12, 15, 18, 18, 18, 18, 18}));
    QByteArray state = wide.state();
    state[5] = 10; // between two levels: down goes to the level below the one it shows
    wide.setState(state);
    wide.apply(11, 2);
    QCOMPARE(int(wide.state().at(5)), 6);

    tools::ClimateModel direct(7);
    for (int i = 0; i < 9; ++i)
        direct.apply(11, 2);
    QCOMPARE(int(direct.state().at(5)), 0);
    direct.apply(11, 1);
    QCOMPARE(int(direct.state().at(5)), 1);

    direct.setState(QByteArray(11, 0)); // not a climate frame: ignored
    QCOMPARE(direct.state().size(), 12);
}

void tst_Adapter::answersClimateKeysAndRequests()
{
    Run run(QStringLiteral("0 frame climate 00 00 00 00 06 04 2c 2c 00 00 2c 00\n"
                           "0.3 end\n"));
    QVERIFY(run.parsed);
    run.simulator.start();
    QCOMPARE(run.link.writes.size(), 1);

    run.link.fromHost(build(0x3B, QByteArray::fromHex("0201"))); // AC on
    QCOMPARE(run.link.writes.size(), 2);
    const QByteArray on = QByteArray::fromHex("010000000604"
                                              "2c2c00002c00");
    QCOMPARE(run.link.writes.last().toHex(), build(0x31, on).toHex());

    run.link.fromHost(build(0x90, QByteArray::fromHex("3100"))); // ask for it again
    QCOMPARE(run.link.writes.last().toHex(), build(0x31, on).toHex());
    run.link.fromHost(build(0x90, QByteArray::fromHex("4100"))); // nothing to repeat
    run.link.fromHost(build(0x3B, QByteArray::fromHex("03ff"))); // not a panel command
    QCOMPARE(run.link.writes.size(), 3);
    QVERIFY(run.text.contains("<- climate command 2 (AC) value 1"));
    QVERIFY(run.text.contains("nothing changes"));

    run.acknowledgeAll();
    QTRY_COMPARE(run.finished.count(), 1);
    QCOMPARE(run.finished.first().first().toInt(), 0);
    QVERIFY2(run.text.contains("summary: 3 frames sent (0 with a bad checksum); 3 ACKs and 0 NAKs "
                               "received; 4 other head-unit frames"),
             qPrintable(run.text));
    QVERIFY(!run.text.contains("not acknowledged"));
}

void tst_Adapter::expectationsAndSummary()
{
    Run run(QStringLiteral("0 frame body 00 00 40 00 00 00 00 00 00 00\n"
                           "0 corrupt body 00 00 00 00 00 00 00 00 00 00\n"
                           "0 expect 0.5 ack body\n"
                           "0 expect 0.5 nak body\n"
                           "0 expect 0.1 request 31\n"));
    QVERIFY(run.parsed);
    QElapsedTimer clock;
    clock.start();
    run.simulator.start();
    run.acknowledgeAll();
    QTRY_COMPARE(run.finished.count(), 1);
    QVERIFY(clock.elapsed() < 400); // ends once the last expectation is settled
    QCOMPARE(run.finished.first().first().toInt(), 1);
    QCOMPARE(run.simulator.exitCode(), 1);
    QVERIFY2(run.text.contains("!! expected request 31 within 0.1 s (line 5): not seen"),
             qPrintable(run.text));
    QVERIFY(run.text.contains("summary: 2 frames sent (1 with a bad checksum); 1 ACK and 1 NAK "
                              "received\n"));
    QVERIFY(run.text.contains("expectations: 2 met, 1 failed"));
}

// An expectation counts head-unit frames from the adapter's previous write on.
void tst_Adapter::expectationWindow()
{
    Run run(QStringLiteral("0 frame body 00 00 40 00 00 00 00 00 00 00\n"
                           "0.1 frame panel 15 01\n"
                           "0.1 expect 0.2 ack body\n"
                           "0.1 expect 0.2 ack panel\n"));
    run.simulator.start();
    run.acknowledgeAll(); // the body frame's ACK, before the panel frame
    QTRY_COMPARE(run.link.writes.size(), 2);
    run.acknowledgeAll();
    QTRY_COMPARE(run.finished.count(), 1);
    QVERIFY2(run.text.contains("expected ack 12 within 0.2 s (line 3): not seen"),
             qPrintable(run.text));
    QVERIFY(run.text.contains("expectations: 1 met, 1 failed"));
}

void tst_Adapter::unacknowledgedFrames()
{
    Run run(QStringLiteral("0 frame body 00 00 40 00 00 00 00 00 00 00\n"
                           "0 frame radar 26 27 00 ff 64 00 00 00 00 00 00 00\n"));
    run.simulator.start();
    run.link.fromHost(build(0xFF, QByteArray(1, 0x12)));
    run.link.fromHost(build(0xFF, QByteArray(1, 0x12))); // one too many
    run.link.fromHost(build(0xFE, QByteArray(1, 0x41))); // a NAK for a good frame
    QTRY_COMPARE(run.finished.count(), 1);
    QCOMPARE(run.finished.first().first().toInt(), 0); // no expectations: only a report
    QVERIFY2(run.text.contains("2 ACKs and 1 NAK received; 1 answer to no frame"),
             qPrintable(run.text));
    QVERIFY(run.text.contains("(NAK for a frame sent with a good checksum, line 2)"));

    Run silent(QStringLiteral("0 frame radar 26 27 00 ff 64 00 00 00 00 00 00 00\n"));
    silent.simulator.start();
    QTRY_COMPARE(silent.finished.count(), 1);
    QVERIFY2(silent.text.contains(QRegularExpression(
                 "not acknowledged: radar \\(0x41\\) sent at 0\\.0\\d\\d s \\(line 1\\)")),
             qPrintable(silent.text));

    // A LEN 0 frame never ends; the head unit swallows the next frame until it gives up.
    Run swallowed(QStringLiteral("0 frame 55\n"
                                 "0.1 frame body 00 00 40 00 00 00 00 00 00 00\n"));
    swallowed.simulator.start();
    QTRY_COMPARE(swallowed.finished.count(), 1);
    QVERIFY2(swallowed.text.contains(QRegularExpression(
                 "not acknowledged: 0x55 sent at 0\\.0\\d\\d s \\(line 1\\): the head unit "
                 "dropped it unfinished at 0\\.6\\d\\d s\n"
                 "  not acknowledged: body \\(0x12\\) sent at 0\\.1\\d\\d s \\(line 2\\): "
                 "the head unit dropped it unfinished at 0\\.6\\d\\d s")),
             qPrintable(swallowed.text));
}

void tst_Adapter::chunksAndCutOffFrames()
{
    Run run(QStringLiteral("0 chunk 3 0.01\n"
                           "0 frame panel 15 01\n" // 7 bytes: 3 + 3 + 1
                           "0 chunk 0\n"
                           "0 frame panel 15 00\n"
                           "0.05 raw 5a a5 0a 12 00\n"
                           "0.1 raw 00\n"));
    run.simulator.start();
    QTRY_COMPARE(run.finished.count(), 1);
    QCOMPARE(run.link.writes.size(), 6);
    QCOMPARE(run.link.writes.at(0), build(0x21, "\x15\x01").left(3));
    QCOMPARE(run.link.writes.at(2).size(), 1);
    QCOMPARE(run.link.writes.at(3), build(0x21, QByteArray::fromHex("1500"))); // after the pieces
    QVERIFY2(run.text.contains("(the head unit drops the unfinished frame 5a a5 0a 12 00 00)"),
             qPrintable(run.text));
    // The cut-off frame never counts as sent.
    QVERIFY(run.text.contains("summary: 2 frames sent"));
}

void tst_Adapter::waitsForTheHead()
{
    Run run(QStringLiteral("0 expect 1 carselect\n0 frame version \"V1\"\n"), true);
    run.simulator.start();
    QTest::qWait(50);
    QVERIFY(run.link.writes.isEmpty());
    QVERIFY(run.text.contains("waiting for the head unit"));
    run.link.fromHost(build(0x2A, QByteArray::fromHex("05ff")));
    QCOMPARE(run.link.writes.size(), 1);
    run.acknowledgeAll();
    QTRY_COMPARE(run.finished.count(), 1);
    QCOMPARE(run.simulator.exitCode(), 0); // the car select that started the clock counts
}

void tst_Adapter::replay()
{
    QList<tools::CaptureRecord> capture;
    const auto add = [&](double time, bool received, const QByteArray &bytes) {
        tools::CaptureRecord r;
        r.time = time;
        r.received = received;
        r.bytes = bytes;
        r.line = capture.size() + 1;
        capture << r;
    };
    add(10.0, false, build(0x2A, QByteArray::fromHex("00ff")));
    add(10.1, true, build(0x21, "\x15\x01").left(4));
    add(10.2, true, build(0x21, "\x15\x01").mid(4));
    add(10.4, true, build(0x3B, "\x02\x01")); // even what looks like a key is only replayed
    FakeLink link;
    QString text;
    QTextStream out(&text);
    tools::AdapterSimulator::Options options;
    options.waitForHost = false;
    options.settle = 0.01;
    tools::AdapterSimulator simulator(&link, out, options);
    QSignalSpy finished(&simulator, &tools::AdapterSimulator::finished);
    simulator.setReplay(capture, 2.0, QStringLiteral("capture"));
    QElapsedTimer clock;
    clock.start();
    simulator.start();
    QTRY_COMPARE(finished.count(), 1);
    QVERIFY(clock.elapsed() >= 190 && clock.elapsed() < 600); // 0.4 s at twice the speed
    QCOMPARE(link.writes.size(), 3);
    QCOMPARE(link.writes.at(0), capture.at(1).bytes);
    QVERIFY2(text.contains("-> panel key 0x15 press"), qPrintable(text));
    QVERIFY(text.contains("the capture held 1 head-unit writes"));
    link.fromHost(build(0x3B, QByteArray::fromHex("0201")));
    QCOMPARE(link.writes.size(), 3); // a replay answers nothing
}

// Words build on the car as it is; a fault changes the next frame only.
void tst_Adapter::wordsAndFaults()
{
    Run run(QStringLiteral("0 next split 4 0.01\n"
                           "0 door bonnet open\n"
                           "0.05 next truncate 3\n"
                           "0.05 battery low\n"
                           "0.1 next corrupt\n"
                           "0.1 door boot open\n"
                           "0.15 door bonnet closed\n"
                           "0.2 empty body\n"));
    QVERIFY(run.parsed);
    run.simulator.start();
    QTRY_COMPARE(run.finished.count(), 1);
    const QByteArray bonnet = build(0x12, QByteArray::fromHex("00000400000000000000"));
    QByteArray corrupt = build(0x12, QByteArray::fromHex("00000c00000040000000"));
    corrupt[corrupt.size() - 1] = char(quint8(corrupt.back()) + 1);
    QCOMPARE(run.link.writes,
             (QList<QByteArray>{bonnet.left(4), bonnet.mid(4),
                                build(0x12, QByteArray::fromHex("00000400000040000000")).left(3),
                                corrupt, build(0x12, QByteArray::fromHex("00000800000040000000")),
                                QByteArray::fromHex("5aa5001211")}));
}

QTEST_GUILESS_MAIN(tst_Adapter)
#include "tst_adapter.moc"
