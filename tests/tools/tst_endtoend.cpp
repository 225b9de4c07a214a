// The bench programs on pseudo-terminals, as the bench runs them: adaptersim plays the drive
// or a capture, canhost loads the plugin on the other end, cantap sits in the line or listens
// on it. What the parts do alone is tested in-process; here, only what takes the real
// processes and the terminals between them.
#include "capture.h"
#include "pty.h"
#include "tool.h"

#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace {

// The lines after the time: of a state dump (without the tap's "plugin" column), or the events
// (not the plugin's path, the port's name, a command typed or the counters).
QStringList lines(const QString &out, bool state)
{
    QStringList lines;
    const QRegularExpression notEvents("^(plugin|port|command|counters) ");
    for (const QString &line : out.split('\n', Qt::SkipEmptyParts)) {
        const QString rest = line.mid(9);
        if (state && line.startsWith("   state "))
            lines << QString(rest).remove(QRegularExpression("^plugin +"));
        else if (!state && !line.startsWith("   state") && !rest.contains(notEvents))
            lines << rest;
    }
    return lines;
}

// The tap's lines about frames, the adapter's and then the head unit's, without what an
// answer's timing adds (its latency, or that it came too late for its frame).
QString frameLines(const QString &out)
{
    QString both[2];
    const QRegularExpression timing("   (\\S+ ms|\\(answers no frame seen\\))$");
    for (const QString &line : out.split('\n')) {
        const QString who = line.mid(9, 9).trimmed();
        if ((who == "adapter" || who == "headunit") && !line.mid(19, 10).trimmed().isEmpty() &&
            !line.contains("UNANSWERED"))
            both[who == "adapter" ? 0 : 1] += line.mid(19).remove(timing) + '\n';
    }
    return both[0] + both[1];
}

} // namespace

class tst_EndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void init() { QVERIFY(mDir.isValid()); }
    void refused_data();
    void refused();
    void defaultDrive();
    void viewInATerminal();

private:
    QString path(const QString &name) const { return mDir.filePath(name); }
    QTemporaryDir mDir;
};

// Refused at the start (exit code 2); a key that could not go, marked; a bad line of input
// named, and the next ones run.
void tst_EndToEnd::refused_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QByteArray>("input");
    const auto row = [](const QStringList &args, const char *message,
                        const QByteArray &input = {}) {
        QTest::newRow(message) << args << QString(message) << input;
    };
    row({"--plugin", "/nonexistent/libqvx.so"}, "no plugin at /nonexistent/libqvx.so");
    row({"--plugin", QVX_SOURCE_DIR "/scenarios/default"}, "cannot load");
    row({"--plugin", QVX_NOTASERVICE_PATH}, "is not a CanServiceBase");
    row({"--log", "loud"}, "--log is all, errors or off, not 'loud'");
    row({"--model-id", "12x"}, "--model-id: '12x' is not a number");
    row({"--driver", "middle"}, "--driver is left or right, not 'middle'");
    row({"--port", "/nonexistent/tty"}, "(not sent: port closed)", "key ac\n");
    row({"--port", "/nonexistent/tty", "--json"},
        R"("event":"command","key":2,"result":0,"sent":false)", "key ac\n");
    row({"--port", "/nonexistent/tty"},
        "input line 2: 'warmer' is not a key code or name (decimal or 0x-hex)\n"
        "canhost: input line 3: usage: quit",
        "state\nkey warmer\nquit 1\n");
}

void tst_EndToEnd::refused()
{
    QFETCH(QStringList, args);
    QFETCH(QString, message);
    QFETCH(QByteArray, input);
    Tool host(QVX_CANHOST_PATH);
    host.start(args << "--exit-on-eof");
    host.process.write(input);
    host.process.closeWriteChannel();
    QCOMPARE(host.exitCode(), input.isEmpty() ? 2 : 0);
    QVERIFY2((host.out() + host.err()).contains(message), qPrintable(host.out() + host.err()));
}

// The demo's drive through the tap, with a key typed into canhost, recorded by both. Then the
// head unit's capture replayed to a fresh canhost that records pcapng, and at once played
// onto two transmit wires that a listening tap hears. Without the tap, the replay decodes the
// drive as the head unit did through it; its check finds the one answer edited in the
// capture; tshark's dissector reads the drive's values.
void tst_EndToEnd::defaultDrive()
{
    if (qEnvironmentVariableIsSet("QVX_SKIP_DRIVE"))
        QSKIP("run on its own (tst_endtoend_drive)");
    // The head unit answers within milliseconds: no need for the default half second of
    // settling after the last frame, twice.
    Tool sim(QVX_ADAPTERSIM_PATH), tap(QVX_CANTAP_PATH), host(QVX_CANHOST_PATH);
    sim.startWithLink(path("a"), {"--pty", path("a"), "--quiet", "--settle", "0.25",
                                  QVX_SOURCE_DIR "/scenarios/default"});
    tap.startWithLink(path("h"), {"--adapter", path("a"), "--headunit-pty", path("h"), "--plugin",
                                  "--record", path("tap.pcapng")});
    host.start({"--port", path("h"), "--record", path("capture")});
    // Once the drive's climate words are in: the adapter's answer is in the capture.
    QTRY_VERIFY_WITH_TIMEOUT(host.out().count(" climate ") >= 6, Slow);
    host.send("key 19"); // the left side warmer
    QTRY_VERIFY_WITH_TIMEOUT(sim.out().contains("<- climate command 12 value 1"), Slow);
    QCOMPARE(sim.exitCode(), 0);
    for (Tool *t : {&host, &tap})
        t->send("state");
    QTRY_VERIFY_WITH_TIMEOUT(
        host.out().contains("counters") && tap.out().contains("plugin    wrote"), Slow);
    for (Tool *t : {&host, &tap})
        t->send("quit");
    QCOMPARE(host.exitCode(), 0);
    QCOMPARE(tap.exitCode(), 0);
    // The tap's copy of the plugin ends where the head unit's does; every byte went on.
    QCOMPARE(lines(tap.out(), true), lines(host.out(), true));
    QVERIFY2(!tap.out().contains("UNANSWERED"), qPrintable(tap.out()));
    QVERIFY(
        tap.out().contains(QRegularExpression("headunit  nak        NAK body \\(0x12\\)   \\+")));
    QVERIFY(tap.out().contains("adapter   body       door front-left open\n"));
    // What each frame means is the plugin's tests' business; here: every kind arrived.
    QStringList kinds;
    for (const QString &line : lines(host.out(), false))
        kinds << line.left(10).trimmed();
    kinds.removeDuplicates();
    kinds.sort();
    QCOMPARE(kinds.join(' '), "battery climate coolant doors driving fuel info key link radar "
                              "rotate tyreAlert tyres version");

    QFile file(path("capture"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QString text = QString::fromUtf8(file.readAll());
    QList<tools::CaptureRecord> records;
    tools::ParseError error;
    QVERIFY2(tools::parseCapture(text, &records, &error), qPrintable(error.message));
    QVector<QByteArray> head(2), tapped(2); // [0] from the adapter, [1] from the head unit
    for (const tools::CaptureRecord &r : records)
        head[r.received ? 0 : 1] += r.bytes;
    for (const QString &b : pcapngBlocks(path("tap.pcapng"))) // only packets hold bytes
        tapped[b.section(' ', 1, 1) == "1" ? 0 : 1] +=
            QByteArray::fromHex(b.section(' ', 3).toLatin1());
    QCOMPARE(tapped, head);

    // Nobody types the key again; the first ACK of a climate frame made a NAK.
    const QRegularExpression key("^\\S+ tx 5a a5 02 3b .*\n", QRegularExpression::MultilineOption);
    QCOMPARE(text.count(key), 1);
    text.remove(key);
    const int ack = text.indexOf(" tx 5a a5 01 ff 31 30\n");
    QVERIFY(ack > 0);
    text.replace(ack, 21, " tx 5a a5 01 fe 31 2f");
    QVERIFY(file.resize(0) && file.write(text.toUtf8()) > 0);
    file.close();

    Tool replay(QVX_ADAPTERSIM_PATH), again(QVX_CANHOST_PATH), listener(QVX_CANTAP_PATH);
    replay.startWithLink(path("b"), {"--pty", path("b"), "--replay", path("capture"), "--settle",
                                     "0.25", "--check", "--junit", path("check.xml")});
    again.start({"--port", path("b"), "--record", path("replay.pcapng")});
    qvxtest::Pty adapterTx, headUnitTx;
    QVERIFY(adapterTx.plug() && headUnitTx.plug());
    listener.start({"--listen", adapterTx.path(), headUnitTx.path()});
    QTRY_VERIFY_WITH_TIMEOUT(listener.out().count(" open (listening)") == 2, Slow);
    double last = 0;
    for (const tools::CaptureRecord &r : records) {
        // Chunk by chunk, as the head unit's reader counts its parse-out from the second chunk
        // of a frame; a long pause stays long enough for it to give up on a frame.
        QTest::qWait(r.time - last > 0.3 ? 600 : 5);
        last = r.time;
        (r.received ? adapterTx : headUnitTx).write(r.bytes);
    }
    QTRY_COMPARE_WITH_TIMEOUT(frameLines(listener.out()), frameLines(tap.out()), Slow);

    QCOMPARE(replay.exitCode(), 1);
    const QRegularExpressionMatch check =
        QRegularExpression("  check: frame \\d+: wrote ACK climate \\(0x31\\) where the capture's "
                           "line \\d+ has NAK climate \\(0x31\\)\n"
                           "  check: (\\d+) head-unit frames in the capture, 1 differences\n")
            .match(replay.out());
    QVERIFY2(check.hasMatch(), qPrintable(replay.out()));
    QTRY_COMPARE_WITH_TIMEOUT(lines(again.out(), false), lines(host.out(), false), Slow);
    again.send("quit");
    QCOMPARE(again.exitCode(), 0);

    QFile junit(path("check.xml"));
    QVERIFY(junit.open(QIODevice::ReadOnly));
    const QString report = QString::fromUtf8(junit.readAll());
    QCOMPARE(report.count("<testcase "), check.captured(1).toInt());
    QVERIFY2(report.contains(QRegularExpression(
                 "<testsuites tests=\"\\d+\" failures=\"1\">.*<failure message=\"differs\">wrote "
                 "ACK climate",
                 QRegularExpression::DotMatchesEverythingOption)),
             qPrintable(report));

    const QString tshark = QStandardPaths::findExecutable("tshark");
    if (tshark.isEmpty())
        QSKIP("tshark is not installed (scripts/setup installs it)");
    // Per packet: its direction flag (1 from the adapter, 2 to it), name, bytes in no frame,
    // faults; then the values.
    QStringList args{"-r", path("replay.pcapng"),
                     "-T", "fields",
                     "-X", "lua_script:" QVX_SOURCE_DIR "/tools/wireshark/qvx.lua"};
    for (const char *f :
         {"frame.packet_flags_direction", "qvx.name", "qvx.noframe", "_ws.malformed",
          "_ws.lua.text", "qvx.body.doors", "qvx.carinfo.rotate", "qvx.carinfo.coolant",
          "qvx.version", "qvx.tyres.pressure", "qvx.radar.band", "qvx.climate.temp_left"})
        args << "-e" << f;
    QProcess p;
    p.start(tshark, args);
    QVERIFY(p.waitForFinished(Slow));
    QVector<QString> values(7);
    QStringList named;
    for (const QString &line : QString(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
        const QStringList f = line.split('\t');
        QVERIFY2(!f.value(1).isEmpty() || !f.value(2).isEmpty(), qPrintable("unnamed: " + line));
        QVERIFY2(f.value(3).isEmpty() && f.value(4).isEmpty(), qPrintable("malformed: " + line));
        named << (f.value(0).toUInt(nullptr, 16) == 2 ? "> " : "< ") + f.value(1);
        for (int i = 5; i < f.size(); ++i)
            values[i - 5] = f.at(i).isEmpty() ? values.at(i - 5) : f.at(i);
    }
    // The drive's last word on each: doors, rpm, coolant, version, tyres, radar, left side.
    QCOMPARE(QStringList(values.toList()).join(" | "),
             "0x00 | 900 | 90 | V1.02 | 230,230,180,230 | none,none,none,none,none,none,none,none "
             "| 22.5");
    named.removeDuplicates();
    named.sort();
    QCOMPARE(named.join(", "),
             "< , < body status, < car information, < climate, < fuel consumption, "
             "< mileage, < panel key, < parking radar, < tyres, < unknown 0x55, "
             "< version, < wheel key, > ACK, > NAK, > car select"); // "< ": noise
}

// canhost --view in a tmux pane of 80x24: the screen read back with capture-pane.
void tst_EndToEnd::viewInATerminal()
{
    const QString tmux = QStandardPaths::findExecutable("tmux");
    if (tmux.isEmpty())
        QSKIP("tmux is not installed (scripts/setup installs it)");
    QString screen;
    const auto run = [&](const QStringList &args) {
        QProcess p;
        p.start(tmux, QStringList{"-S", path("tmux")} + args);
        p.waitForFinished(Slow);
        screen = QString::fromUtf8(p.readAllStandardOutput());
        return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    };
    const auto noServerLeft = qScopeGuard([&] { run({"kill-server"}); }); // when a check fails
    Tool sim(QVX_ADAPTERSIM_PATH);
    QFile scenario(path("view"));
    QVERIFY(scenario.open(QIODevice::WriteOnly));
    scenario.write("0 door front-left open\n0 climate ac on\n0 radar rear-left 3\n"
                   "+0.3 door front-left closed\n+0.1 tyres pressures 230 230 180 230\n");
    scenario.close();
    sim.startWithLink(path("c"), {"--pty", path("c"), "--linger", path("view")});
    const QString command = (qEnvironmentVariable("QVX_TEST_EMULATOR") +
                             " " QVX_CANHOST_PATH " --port " + path("c") + " --view")
                                .trimmed();
    QVERIFY(run({"new-session", "-d", "-x", "80", "-y", "24", "-s", "view", command}));
    QTRY_VERIFY_WITH_TIMEOUT(run({"capture-pane", "-p", "-t", "view"}) &&
                                 screen.contains("FL 230, FR 230, RL 180"),
                             Slow);
    // Title, link, doors: a view taller or wider than the pane would have scrolled.
    QVERIFY2(screen.section('\n', 2, 2).startsWith("  doors    all closed (0x00)") &&
                 screen.contains("-- frames") && screen.contains("< 5a a5 10 68 80"),
             qPrintable(screen));
    // The bytes of the body frame that changed, in reverse video.
    QVERIFY(run({"capture-pane", "-e", "-p", "-t", "view"}));
    QVERIFY2(screen.contains("\x1b[7m"), "no changed bytes marked");
    run({"send-keys", "-t", "view", "q"});
    QTRY_VERIFY_WITH_TIMEOUT(!run({"has-session", "-t", "view"}), Slow);
}

QTEST_GUILESS_MAIN(tst_EndToEnd)
#include "tst_endtoend.moc"
