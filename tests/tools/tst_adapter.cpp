// The simulated adapter in-process: its frame descriptions, its climate panel, and the
// simulator on a link that the test plays the head unit on.
#include "capture.h"
#include "climatemodel.h"
#include "links.h"
#include "protocol.h"
#include "simulator.h"
#include "wire.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

using protocol::build;

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

// The head unit's end of the link, and the simulator on the other end.
struct Run : tools::AdapterLink
{
    explicit Run(const QString &scenarioText, bool waitForHost = false)
        : out(&text), simulator(this, out, options(waitForHost)),
          finished(&simulator, &tools::AdapterSimulator::finished)
    {
        clock.start();
        tools::Scenario scenario;
        tools::ParseError error;
        QVERIFY2(tools::Scenario::parse(scenarioText, &scenario, &error),
                 qPrintable(error.message));
        simulator.setScenario(scenario, QStringLiteral("test"));
    }
    static tools::AdapterSimulator::Options options(bool waitForHost)
    {
        tools::AdapterSimulator::Options o;
        o.waitForHost = waitForHost;
        o.settle = 0.05;
        return o;
    }
    void write(const QByteArray &bytes) override { writes << bytes; }
    QString description() const override { return QStringLiteral("test link"); }
    void fromHost(const QByteArray &bytes) { emit received(bytes); }
    // The head unit's answer to every whole frame the adapter wrote that it has not answered.
    void acknowledgeAll()
    {
        for (; answered < writes.size(); ++answered) {
            const QByteArray w = writes.at(answered);
            const bool good = w == build(quint8(w.at(3)), w.mid(4, w.size() - 5));
            fromHost(build(good ? protocol::cmd::Ack : protocol::cmd::Nak, w.mid(3, 1)));
        }
    }
    // Run to its end, with the exit code; then each piece of text is in what it printed.
    void finishes(int exitCode, std::initializer_list<const char *> said)
    {
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(finished.first().first().toInt(), exitCode);
        for (const char *piece : said)
            QVERIFY2(text.contains(QLatin1String(piece)), qPrintable(text));
    }

    QList<QByteArray> writes;
    QString text;
    QTextStream out;
    tools::AdapterSimulator simulator;
    QSignalSpy finished;
    QElapsedTimer clock;
    int answered = 0;
};

// A climate command on a panel of the fan scale: the byte it moves, before and after.
struct ClimateStep
{
    int fanScale, command, value, byte, before, after;
};

} // namespace

Q_DECLARE_METATYPE(ClimateStep)

class tst_Adapter : public QObject
{
    Q_OBJECT
private slots:
    void describe_data();
    void describe();
    void climate_data();
    void climate();
    void answersTheHeadUnit();
    void expectations();
    void unacknowledgedFrames();
    void writes();
    void replay();
};

void tst_Adapter::describe_data()
{
    QTest::addColumn<bool>("fromHost");
    QTest::addColumn<QByteArray>("frame"); // the command, then the data
    QTest::addColumn<QString>("text");
    // Those the bench runs show (car select, request, AC, source, version) are left to them.
    const auto row = [](bool fromHost, const char *frame, const char *text) {
        QTest::newRow(text) << fromHost << hex(frame) << QString(text);
    };
    row(true, "ff3131", "ACK climate (0x31) [2 data bytes, expected 1: 31 31]");
    row(true, "fe55", "NAK 0x55");
    row(true, "900102", "request 0x01 0x02");
    row(true, "3b22ff", "climate command 34 value 0xff");
    row(true, "6005051a", "start 05 05 1a");
    row(true, "7701", "command 0x77: 01");
    row(false, "1100000301000000000000", "wheel key 0x03 press");
    row(false, "211500", "panel key 0x15 release");
    row(false, "211502", "panel key 0x15 action 2");
    row(false, "2115", "panel 15");
    row(false, "550102", "0x55 01 02");
}

void tst_Adapter::describe()
{
    QFETCH(bool, fromHost);
    QFETCH(QByteArray, frame);
    QFETCH(QString, text);
    const int cmd = quint8(frame.at(0));
    QCOMPARE(fromHost ? tools::describeHostFrame(cmd, frame.mid(1))
                      : tools::describeAdapterFrame(cmd, frame.mid(1)),
             text);
}

// The panel's answer to each climate command: one byte moves, within its bounds.
void tst_Adapter::climate_data()
{
    QTest::addColumn<ClimateStep>("step");
    const auto row = [](const char *name, ClimateStep step) { QTest::newRow(name) << step; };
    row("power off", {18, 1, 1, 0, 0x00, 0x40});
    row("auto", {18, 4, 1, 0, 0x00, 0x10});
    row("dual on from field 2", {18, 15, 1, 0, 0x08, 0x04});
    row("dual off", {18, 15, 0, 0, 0x05, 0x01});
    row("rear climate toggles", {18, 23, 0xFF, 0, 0x20, 0x00});
    row("front defrost", {18, 5, 1, 2, 0x03, 0x13});
    row("rear defrost off", {18, 6, 0, 2, 0x30, 0x10});
    row("inside air", {18, 7, 1, 1, 0x00, 0x10});
    row("left warmer", {18, 12, 1, 6, 44, 45});
    row("right cooler", {18, 13, 2, 7, 44, 43});
    row("left at the top", {18, 12, 1, 6, 0xFD, 0xFD});
    row("rear cooler at the bottom", {18, 22, 2, 10, 0, 0});
    row("rear fan up", {18, 21, 1, 9, 3, 4});
    row("rear fan at the top", {18, 21, 1, 9, 7, 7});
    // The mode key's commands, each to its air-flow code: the head unit picks the next by it.
    row("mode code 3", {18, 8, 0xFF, 4, 6, 3});
    row("mode code 5", {18, 9, 0xFF, 4, 3, 5});
    row("mode code 11", {18, 34, 0xFF, 4, 5, 11});
    row("mode code 12", {18, 33, 0xFF, 4, 11, 12});
    row("mode code 6", {18, 10, 0xFF, 4, 12, 6});
    row("wide fan up", {18, 11, 1, 5, 6, 9});
    row("wide fan at the top", {18, 11, 1, 5, 18, 18});
    row("wide fan down from between levels", {18, 11, 2, 5, 10, 6});
    row("direct fan up", {7, 11, 1, 5, 0, 1});
    row("direct fan at the bottom", {7, 11, 2, 5, 0, 0});
}

void tst_Adapter::climate()
{
    QFETCH(ClimateStep, step);
    tools::ClimateModel model(step.fanScale);
    QByteArray state = model.state();
    state[step.byte] = char(step.before);
    model.setState(state);
    QVERIFY(model.apply(step.command, step.value));
    state[step.byte] = char(step.after);
    QCOMPARE(model.state().toHex(), state.toHex()); // no other byte moves
}

// The clock starts when the head unit first speaks, and its car select counts; climate keys
// and data requests are answered as the adapter would.
void tst_Adapter::answersTheHeadUnit()
{
    Run run(QStringLiteral("0 expect 1 carselect\n"
                           "0 frame climate 00 00 00 00 06 04 2c 2c 00 00 2c 00\n0.3 end\n"),
            true);
    run.simulator.start();
    QTest::qWait(50);
    QVERIFY(run.writes.isEmpty());
    run.fromHost(build(0x2A, hex("05ff")));
    run.fromHost(build(0x3B, hex("0201"))); // AC on
    run.fromHost(build(0x90, hex("3100"))); // ask for it again
    run.fromHost(build(0x90, hex("4100"))); // nothing to repeat
    run.fromHost(build(0x3B, hex("03ff"))); // not a panel command
    const QByteArray on = build(0x31, hex("0100000006042c2c00002c00"));
    QCOMPARE(run.writes, (QList<QByteArray>{build(0x31, hex("0000000006042c2c00002c00")), on, on}));
    run.acknowledgeAll();
    run.finishes(0,
                 {"(no such climate command here: nothing changes)",
                  "summary: 3 frames sent (0 with a bad checksum); 3 ACKs and 0 NAKs received; 5 "
                  "other head-unit frames\n  expectations: 1 met, 0 failed\n"});
}

// One head-unit frame meets one expectation, however many would take it; an expectation
// counts frames from the adapter's previous write on. The run ends once the last is settled.
void tst_Adapter::expectations()
{
    Run run(QStringLiteral("0 frame body 00 00 40 00 00 00 00 00 00 00\n"
                           "0 corrupt body 00 00 00 00 00 00 00 00 00 00\n"
                           "0 frame panel 15 01\n"
                           "0 expect 1 ack body\n"
                           "0 expect 1 nak body\n"
                           "0 expect 0.1 request 31\n"
                           "0 expect 0.1 ack body\n"
                           "0.2 frame body 00 00 00 00 00 00 00 00 00 00\n"
                           "0.2 expect 0.2 ack panel\n"
                           "0.2 expect 0.2 ack body\n"));
    run.simulator.start();
    run.acknowledgeAll();
    QTRY_COMPARE(run.writes.size(), 4);
    run.acknowledgeAll();
    run.finishes(1, {"!! expected request 31 within 0.1 s (line 6): not seen\n",
                     "!! expected ack 12 within 0.1 s (line 7): not seen\n",
                     "!! expected ack 21 within 0.2 s (line 9): not seen\n",
                     "\nsummary: 4 frames sent (1 with a bad checksum); 3 ACKs and 1 NAK received\n"
                     "  expectations: 3 met, 3 failed\n"});
    QVERIFY(run.clock.elapsed() < 800); // not the second the first two allow
}

void tst_Adapter::unacknowledgedFrames()
{
    Run run(QStringLiteral("0 frame body 00 00 40 00 00 00 00 00 00 00\n"
                           "0 frame radar 26 27 00 ff 64 00 00 00 00 00 00 00\n"
                           "0 frame panel 15 01\n"));
    run.simulator.start();
    run.fromHost(build(0xFF, hex("12")));
    run.fromHost(build(0xFF, hex("12"))); // one too many
    run.fromHost(build(0xFE, hex("41"))); // a NAK for a good frame
    run.finishes(0, {"(NAK for a frame sent with a good checksum, line 2)"});
    QVERIFY2(run.text.contains(QRegularExpression(
                 "2 ACKs and 1 NAK received; 1 answer to no frame\n"
                 "  not acknowledged: panel \\(0x21\\) sent at 0\\.0\\d\\d s \\(line 3\\)\n")),
             qPrintable(run.text));
}

// Frames in chunks, and changed by the fault of the next frame; words build on the car as it
// is, a fault changes the next frame only. What the truncated frame swallows is a frame of
// its own; a LEN 0 frame never ends, and the head unit swallows the next until it gives up.
void tst_Adapter::writes()
{
    Run run(QStringLiteral("0 chunk 3 0.01\n"
                           "0 frame panel 15 01\n"
                           "0 chunk 0\n"
                           "0 next split 4 0.01\n"
                           "0 door bonnet open\n"
                           "0.05 next truncate 3\n"
                           "0.05 battery low\n"
                           "0.1 next corrupt\n"
                           "0.1 door boot open\n"
                           "0.15 door bonnet closed\n"
                           "0.2 frame 55\n"
                           "0.25 frame panel 15 00\n"));
    run.simulator.start();
    run.finishes(0,
                 {"(the head unit drops the unfinished frame 5a a5 00 55 54 5a a5 02 21 15 00 37)",
                  "summary: 6 frames sent (1 with a bad checksum)"});
    QVERIFY2(run.text.contains(QRegularExpression(
                 "not acknowledged: 0x55 sent at [\\d.]+ s \\(line 11\\): the head unit dropped it "
                 "unfinished at [\\d.]+ s\n  not acknowledged: panel \\(0x21\\) sent at [\\d.]+ s "
                 "\\(line 12\\): the head unit dropped it unfinished")),
             qPrintable(run.text));
    const QByteArray panel = build(0x21, hex("1501"));
    const QByteArray bonnet = build(0x12, hex("00000400000000000000"));
    QByteArray corrupt = build(0x12, hex("00000c00000040000000"));
    corrupt[corrupt.size() - 1] = char(quint8(corrupt.back()) + 1);
    QCOMPARE(run.writes,
             (QList<QByteArray>{panel.left(3), panel.mid(3, 3), panel.mid(6), bonnet.left(4),
                                bonnet.mid(4), build(0x12, hex("00000400000040000000")).left(3),
                                corrupt, build(0x12, hex("00000800000040000000")),
                                hex("5aa5005554"), build(0x21, hex("1500"))}));
}

// The adapter's side of a capture, in its own time at twice the speed; nothing answered.
void tst_Adapter::replay()
{
    QList<tools::CaptureRecord> capture;
    tools::ParseError error;
    QVERIFY(tools::parseCapture("10.0 tx 5aa5022a00ff2a\n"
                                "10.1 rx 5aa50221\n"
                                "10.2 rx 150138\n"
                                "10.4 rx 5aa5023b02013f\n", // even what looks like a key
                                &capture, &error));
    Run run{QString()};
    run.simulator.setReplay(capture, 2.0, QStringLiteral("capture"));
    run.simulator.start();
    run.finishes(0, {"-> panel key 0x15 press", "the capture held 1 head-unit writes"});
    QVERIFY(run.clock.elapsed() >= 190 && run.clock.elapsed() < 600);
    run.fromHost(build(0x3B, hex("0201")));
    QCOMPARE(run.writes,
             (QList<QByteArray>{hex("5aa50221"), hex("150138"), hex("5aa5023b02013f")}));
}

QTEST_GUILESS_MAIN(tst_Adapter)
#include "tst_adapter.moc"
