// Both bench programs on a pseudo-terminal: adaptersim plays a scenario, canhost loads the
// plugin on the other end, and canhost --json must show what each scenario makes of it.
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

#include "tool.h"

#include <memory>

namespace {

// The fields of an event without its time, for comparing two runs.
QJsonObject timeless(QJsonObject o)
{
    o.remove("time");
    return o;
}

} // namespace

class tst_EndToEnd : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void linkComesUp();
    void startInAnyOrder();
    void climateKeyRoundTrip();
    void badInputIsNamed();
    void pluginsThatAreRefused_data();
    void pluginsThatAreRefused();
    void defaultDriveRecordedAndReplayed();
    void canhostAcrossSimulatorRestart();
    void viewInATerminal();
    void replayCheckAndJunit();
    void dissectorAgreesWithCanhost();

private:
    QString scenario(const QByteArray &text);
    void startPairSimulator(Tool &sim, const QString &link, const QStringList &simArgs);
    // Starts the simulator on a new pseudo-terminal, then canhost --json on it.
    void startPair(Tool &sim, Tool &host, const QStringList &simArgs,
                   const QStringList &hostArgs = {});

    std::unique_ptr<QTemporaryDir> mDir;
    int mFiles = 0;
};

void tst_EndToEnd::init()
{
    mDir = std::make_unique<QTemporaryDir>();
    QVERIFY(mDir->isValid());
}

QString tst_EndToEnd::scenario(const QByteArray &text)
{
    const QString path = mDir->filePath(QStringLiteral("scenario%1").arg(++mFiles));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return path;
}

void tst_EndToEnd::startPairSimulator(Tool &sim, const QString &link, const QStringList &simArgs)
{
    sim.start(QStringList{"--pty", link} + simArgs);
    QTRY_VERIFY_WITH_TIMEOUT(
        QFileInfo(link).isSymLink() || sim.process.state() == QProcess::NotRunning, Slow);
    QVERIFY2(QFileInfo(link).isSymLink(), qPrintable(sim.out() + sim.err()));
}

void tst_EndToEnd::startPair(Tool &sim, Tool &host, const QStringList &simArgs,
                             const QStringList &hostArgs)
{
    const QString link = mDir->filePath(QStringLiteral("tty%1").arg(++mFiles));
    startPairSimulator(sim, link, simArgs);
    host.start(QStringList{"--port", link, "--json"} + hostArgs);
}

void tst_EndToEnd::linkComesUp()
{
    Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
    startPair(sim, host,
              {scenario("0 expect 1 carselect 00 ff\n"
                        "0 frame version \"V1.0\"\n"
                        "+0 expect 1 ack version\n")});
    QTRY_VERIFY_WITH_TIMEOUT(!host.events("version").isEmpty(), Slow);
    const QList<QJsonObject> events = host.events();
    QCOMPARE(events.size(), 4);
    QCOMPARE(events.at(0).value("event").toString(), QStringLiteral("plugin"));
    QCOMPARE(events.at(0).value("className").toString(), QStringLiteral("SimpleService"));
    QCOMPARE(events.at(1).value("event").toString(), QStringLiteral("port"));
    QVERIFY(events.at(1).value("open").toBool());
    QCOMPARE(
        timeless(events.at(2)),
        (QJsonObject{
            {"event", "link"}, {"signal", "notifyCanbusStatus"}, {"status", 3}, {"up", true}}));
    QCOMPARE(events.at(3).value("version").toString(), QStringLiteral("V1.0"));
    QCOMPARE(sim.exitCode(), 0);
    QVERIFY(sim.out().contains("<- car select: model 0 (second byte 0xff)"));
    QVERIFY(sim.out().contains("expectations: 2 met, 0 failed"));

    host.send("quit");
    QCOMPARE(host.exitCode(), 0);
}

// canhost before the simulator: its port finds the device when it appears, a key typed
// meanwhile is marked as not sent, and the simulator starts although the head unit, which
// spoke before it was there, stays silent.
void tst_EndToEnd::startInAnyOrder()
{
    Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
    const QString link = mDir->filePath(QStringLiteral("later"));
    host.start({"--port", link, "--json"});
    QTRY_VERIFY_WITH_TIMEOUT(!host.events("port").isEmpty(), Slow);
    host.send("key ac");
    QTRY_VERIFY_WITH_TIMEOUT(!host.events("command").isEmpty(), Slow);
    QCOMPARE(host.events("command").first().value("sent").toBool(true), false);

    sim.start({"--pty", link, scenario("0 frame version \"V1.0\"\n+0 expect 1 ack version\n")});
    QTRY_VERIFY_WITH_TIMEOUT(!host.events("version").isEmpty(), Slow);
    QCOMPARE(sim.exitCode(), 0);
    QVERIFY2(sim.out().contains("has not spoken for 2 s; starting anyway"), qPrintable(sim.out()));
    host.send("quit");
    QCOMPARE(host.exitCode(), 0);
}

// A key pressed in canhost reaches the adapter, which changes its climate and reports it:
// the getters show the change.
void tst_EndToEnd::climateKeyRoundTrip()
{
    Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
    startPair(sim, host,
              {"--linger", scenario("0 frame climate 00 00 00 00 06 04 2c 2c 00 00 2c 00\n")});
    QTRY_COMPARE_WITH_TIMEOUT(host.events("climate").size(), 1, Slow);
    QJsonObject climate = host.events("climate").last();
    QCOMPARE(climate.value("ac").toBool(), false);
    QCOMPARE(climate.value("temperature").toDouble(), 22.0);

    host.send("key ac");
    QTRY_COMPARE_WITH_TIMEOUT(host.events("climate").size(), 2, Slow);
    climate = host.events("climate").last();
    QCOMPARE(climate.value("ac").toBool(), true);
    QVERIFY(sim.out().contains("<- climate command 2 (AC) value 1"));

    host.send("key 19");
    QTRY_COMPARE_WITH_TIMEOUT(host.events("climate").size(), 3, Slow);
    QCOMPARE(host.events("climate").last().value("temperature").toDouble(), 22.5);
    QCOMPARE(host.events("climate").last().value("ac").toBool(), true);

    host.send("key ac");
    QTRY_COMPARE_WITH_TIMEOUT(host.events("climate").size(), 4, Slow);
    QCOMPARE(host.events("climate").last().value("ac").toBool(), false);
    QVERIFY(sim.out().contains("<- climate command 2 (AC) value 0"));

    host.send("source 0 FM1 87.50");
    host.send("request 0x31 0");
    QTRY_COMPARE_WITH_TIMEOUT(host.events("climate").size(), 5, Slow);
    QVERIFY(sim.out().contains("<- source status: code 1, text \"87.50       \""));
    QVERIFY(sim.out().contains("<- request 0x31 0x00 (climate)"));
    const QList<QJsonObject> commands = host.events("command");
    QCOMPARE(commands.size(), 5);
    QCOMPARE(commands.first().value("result").toInt(), 0);

    host.send("quit");
    QCOMPARE(host.exitCode(), 0);
    sim.process.terminate();
    QCOMPARE(sim.exitCode(), 0);
    QVERIFY2(sim.out().contains("summary: 5 frames sent (0 with a bad checksum); 5 ACKs and 0 NAKs "
                                "received; 6 other head-unit frames"),
             qPrintable(sim.out()));
}

void tst_EndToEnd::badInputIsNamed()
{
    Tool badScenario(QVX_ADAPTERSIM_PATH);
    const QString path = scenario("0 door bonnet open\n0 frame bogus 00\n");
    badScenario.start({"--pty", mDir->filePath("tty"), path});
    QCOMPARE(badScenario.exitCode(), 2);
    QCOMPARE(
        badScenario.err().trimmed(),
        QStringLiteral("adaptersim: %1:2: unknown command 'bogus' (a hexadecimal id or one "
                       "of: wheel, body, mileage, panel, climate, carinfo, fuel, radar, tyres, "
                       "version)")
            .arg(path));
    QVERIFY(!QFileInfo(mDir->filePath("tty")).exists());

    Tool badCapture(QVX_ADAPTERSIM_PATH);
    const QString capture = scenario("# capture\n0.1 rx 5a a5\n0.05 rx 00\n");
    badCapture.start({"--pty", mDir->filePath("tty"), "--replay", capture});
    QCOMPARE(badCapture.exitCode(), 2);
    QVERIFY2(badCapture.err().contains(capture + ":3: time 0.05 goes back"),
             qPrintable(badCapture.err()));

    Tool noLink(QVX_ADAPTERSIM_PATH);
    noLink.start({path});
    QCOMPARE(noLink.exitCode(), 2);
    QVERIFY(noLink.err().contains("give either --pty PATH or --port DEVICE"));

    // canhost names the bad line of its input and goes on with the next.
    Tool host(QVX_CANHOST_PATH);
    host.start({"--json", "--port", mDir->filePath("absent"), "--exit-on-eof"});
    host.send("state");
    host.send("key warmer");
    host.send("model 94");
    host.process.closeWriteChannel();
    QCOMPARE(host.exitCode(), 0);
    QVERIFY2(host.err().contains("canhost: input line 2: 'warmer' is not a key code or name"),
             qPrintable(host.err()));
    QVERIFY(host.err().contains("cannot open " + mDir->filePath("absent")));
    QCOMPARE(host.events("command").size(), 1);
    QCOMPARE(host.events("link").size(), 1); // from the state dump
    QCOMPARE(host.events("port").first().value("open").toBool(), false);
}

void tst_EndToEnd::pluginsThatAreRefused_data()
{
    QTest::addColumn<QString>("plugin");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing") << "/nonexistent/libqvx.so"
                             << "no plugin at /nonexistent/libqvx.so";
    QTest::newRow("not a library") << QVX_SOURCE_DIR "/scenarios/default"
                                   << "cannot load";
    QTest::newRow("another interface") << QVX_NOTASERVICE_PATH << "is not a CanServiceBase";
}

void tst_EndToEnd::pluginsThatAreRefused()
{
    QFETCH(QString, plugin);
    QFETCH(QString, message);
    Tool host(QVX_CANHOST_PATH);
    host.start({"--plugin", plugin, "--exit-on-eof"});
    QCOMPARE(host.exitCode(), 2);
    QVERIFY2(host.err().contains(message), qPrintable(host.err()));
    QCOMPARE(host.out(), QString());
}

// The demo's drive, recorded by canhost, then replayed from the capture to a fresh canhost:
// the second run shows the same events as the first.
void tst_EndToEnd::defaultDriveRecordedAndReplayed()
{
    if (qEnvironmentVariableIsSet("QVX_SKIP_DRIVE"))
        QSKIP("run on its own (tst_endtoend_drive)");
    const QString capture = mDir->filePath("capture");
    QList<QJsonObject> first;
    {
        Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
        startPair(sim, host, {"--quiet", QVX_SOURCE_DIR "/scenarios/default"},
                  {"--record", capture});
        // A key once the drive's climate words are in: the answer is in the capture too.
        QTRY_VERIFY_WITH_TIMEOUT(host.events("climate").size() >= 6, Slow);
        host.send("key ac");
        QCOMPARE(sim.exitCode(), 0);
        QVERIFY2(sim.out().contains("expectations: 4 met, 0 failed"), qPrintable(sim.out()));
        QVERIFY(!sim.out().contains("not acknowledged"));
        host.send("quit");
        QCOMPARE(host.exitCode(), 0);
        for (const QJsonObject &e : host.events()) {
            const QString name = e.value("event").toString();
            if (name != "plugin" && name != "port" && name != "command")
                first << timeless(e);
        }
    }

    // What each frame means is the plugin's tests' business; here: every kind arrived.
    QSet<QString> kinds;
    for (const QJsonObject &e : first)
        kinds << e.value("event").toString();
    QCOMPARE(kinds,
             (QSet<QString>{"link", "version", "rotate", "coolant", "doors", "climate", "tyres",
                            "tyreAlert", "battery", "radar", "key", "info", "fuel", "driving"}));
    Tool replay(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
    startPair(replay, host, {"--replay", capture});
    QCOMPARE(replay.exitCode(), 0);
    QVERIFY(replay.out().contains("-> version \"V1.02\""));
    QTRY_COMPARE_WITH_TIMEOUT(host.events().size(), first.size() + 2, Slow);
    host.send("quit");
    QCOMPARE(host.exitCode(), 0);
    QList<QJsonObject> second;
    for (const QJsonObject &e : host.events().mid(2))
        second << timeless(e);
    QCOMPARE(second, first);
}

// The adapter goes away under a running canhost and comes back at the same path.
void tst_EndToEnd::canhostAcrossSimulatorRestart()
{
    Tool host(QVX_CANHOST_PATH), first(QVX_ADAPTERSIM_PATH), second(QVX_ADAPTERSIM_PATH);
    const QString link = mDir->filePath(QStringLiteral("adapter"));
    first.start({"--pty", link, "--linger",
                 scenario("0.2 frame body 00 00 04 00 00 00 00 00 00 00\n"
                          "+0 expect 1 ack body\n+0.1 end\n")});
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(link).isSymLink(), Slow);
    host.start({"--port", link, "--json", "--log", "errors"});
    QTRY_COMPARE_WITH_TIMEOUT(host.count("doors", "status", 4), 1, Slow);
    first.process.terminate();
    QVERIFY(first.process.waitForFinished());
    QTRY_VERIFY_WITH_TIMEOUT(host.err().contains("went away"), Slow);
    second.start({"--pty", link, "--no-wait",
                  scenario("1.5 frame body 00 00 08 00 00 00 00 00 00 00\n"
                           "+0 expect 1 ack body\n"
                           "+0.2 corrupt radar 26 27 ff 00 64 c8 e1 01 00 00 00 00\n"
                           "+0 expect 1 nak radar\n"
                           "+0.2 frame radar 26 27 ff 00 64 c8 e1 01 00 00 00 00\n"
                           "+0 expect 1 ack radar\n+0.2 end\n")});
    QTRY_VERIFY_WITH_TIMEOUT(host.err().contains("is back"), Slow);
    QTRY_COMPARE_WITH_TIMEOUT(host.count("doors", "status", 8), 1, Slow);
    QCOMPARE(second.exitCode(), 0);
    QVERIFY2(second.out().contains("expectations: 3 met, 0 failed"), qPrintable(second.out()));
    QVERIFY2(host.err().count("went away") == 1 && host.err().count("is back") == 1,
             qPrintable(host.err()));
    // Down for less than the watchdog's 30 s: the link was never reported lost.
    QCOMPARE(host.count("link", "status", 0), 0);
    host.send("quit");
    QCOMPARE(host.exitCode(), 0);
}

// canhost --view in a tmux pane of 80x24: the screen read back with capture-pane.
void tst_EndToEnd::viewInATerminal()
{
    const QString tmux = QStandardPaths::findExecutable("tmux");
    if (tmux.isEmpty())
        QSKIP("tmux is not installed (scripts/setup installs it)");
    const QString socket = mDir->filePath("tmux");
    QString screen;
    const auto tmuxRun = [&](const QStringList &args) {
        QProcess p;
        p.start(tmux, QStringList{"-S", socket} + args);
        p.waitForFinished(Slow);
        screen = QString::fromUtf8(p.readAllStandardOutput());
        return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    };
    Tool sim(QVX_ADAPTERSIM_PATH);
    const QString link = mDir->filePath("adapter");
    startPairSimulator(sim, link,
                       {"--linger", scenario("0 door front-left open\n0 climate ac on\n"
                                             "0 radar rear-left 3\n+0.3 door front-left closed\n"
                                             "+0.1 tyres pressures 230 230 180 230\n")});
    const QString command = (qEnvironmentVariable("QVX_TEST_EMULATOR") +
                             " " QVX_CANHOST_PATH " --port " + link + " --view")
                                .trimmed();
    QVERIFY(tmuxRun({"new-session", "-d", "-x", "80", "-y", "24", "-s", "view", command}));
    QTRY_VERIFY_WITH_TIMEOUT(tmuxRun({"capture-pane", "-p", "-t", "view"}) &&
                                 screen.contains("FL 230, FR 230, RL 180"),
                             Slow);
    const QStringList lines = screen.split('\n');
    QVERIFY2(lines.size() <= 25, qPrintable(screen)); // 24 rows and the last newline
    for (const QString &line : lines)
        QVERIFY2(line.size() <= 80, qPrintable(line));
    QVERIFY2(screen.contains("  doors    all closed (0x00)") && screen.contains("-- frames") &&
                 screen.contains("-- bytes") && screen.contains("< 5a a5 10 68 80"),
             qPrintable(screen));
    // The bytes of the body frame that changed, in reverse video.
    QVERIFY(tmuxRun({"capture-pane", "-e", "-p", "-t", "view"}));
    QVERIFY2(screen.contains("\x1b[7m"), "no changed bytes marked");
    tmuxRun({"send-keys", "-t", "view", "q"});
    QTRY_VERIFY_WITH_TIMEOUT(!tmuxRun({"has-session", "-t", "view"}), Slow);
    tmuxRun({"kill-server"});
}

namespace {
// The report read by a strict parser: "tests failures" of the suite and each failed case's
// "name: message: text".
QStringList junit(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {"cannot read " + path};
    QXmlStreamReader xml(&file);
    QStringList out;
    QString name;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QXmlStreamAttributes a = xml.attributes();
        if (xml.name() == QLatin1String("testsuite"))
            out << a.value("tests").toString() + " " + a.value("failures").toString();
        else if (xml.name() == QLatin1String("testcase"))
            name = a.value("name").toString();
        else if (xml.name() == QLatin1String("failure"))
            out << name + ": " + a.value("message").toString() + ": " + xml.readElementText();
    }
    if (xml.hasError())
        out << "not well-formed: " + xml.errorString();
    return out;
}
} // namespace

// A capture taken with canhost becomes a test: its replay checks what the head unit writes,
// passes as it was and fails once the capture is edited; both in the JUnit report too.
void tst_EndToEnd::replayCheckAndJunit()
{
    const QString capture = mDir->filePath("capture");
    {
        Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
        startPair(sim, host,
                  {scenario("0 expect 1 carselect\n0.1 door bonnet open\n0.2 climate ac on\n"
                            "0.3 radar rear-left 3\n0.4 expect 0.2 request 31\n0.5 end\n"),
                   "--junit", mDir->filePath("drive.xml")},
                  {"--record", capture});
        QCOMPARE(sim.exitCode(), 1); // nobody asked for the climate
        host.send("quit");
        QCOMPARE(host.exitCode(), 0);
    }
    QCOMPARE(junit(mDir->filePath("drive.xml")),
             (QStringList{"2 1", "line 5: request 31 within 0.2 s: not seen: arrived instead: "
                                 "ACK radar (0x41)"}));

    const auto replay = [&](const QString &file) {
        Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
        startPair(sim, host, {"--replay", file, "--check", "--junit", file + ".xml"});
        const int code = sim.exitCode();
        host.send("quit");
        host.exitCode();
        return QString("%1 %2").arg(code).arg(sim.out().section("  check: ", -1).trimmed());
    };
    QCOMPARE(replay(capture), QString("0 4 head-unit frames in the capture, 0 differences"));
    QCOMPARE(junit(capture + ".xml"), QStringList{"4 0"});

    QFile file(capture);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QString text = QString::fromUtf8(file.readAll());
    text.replace(" tx 5a a5 01 ff 31 30", " tx 5a a5 01 fe 31 2f"); // the ACK as a NAK
    QVERIFY(file.resize(0) && file.write(text.toUtf8()) > 0);
    file.close();
    QCOMPARE(replay(capture), QString("1 4 head-unit frames in the capture, 1 differences"));
    const QStringList report = junit(capture + ".xml");
    QCOMPARE(report.size(), 2);
    QVERIFY2(report.at(1).startsWith("frame 3 (capture line ") &&
                 report.at(1).contains("NAK climate (0x31): differs: wrote ACK climate (0x31) "
                                       "where the capture's line"),
             qPrintable(report.join('\n')));
}

// The default drive recorded as pcapng, dissected by tshark with the Lua dissector (written
// from the frame tables) and decoded by canhost through the plugin: two decoders, one answer.
void tst_EndToEnd::dissectorAgreesWithCanhost()
{
    if (qEnvironmentVariableIsSet("QVX_SKIP_DRIVE"))
        QSKIP("run on its own (tst_endtoend_drive)");
    const QString tshark = QStandardPaths::findExecutable("tshark");
    if (tshark.isEmpty())
        QSKIP("tshark is not installed (scripts/setup installs it)");
    const QString capture = mDir->filePath("drive.pcapng");
    Tool sim(QVX_ADAPTERSIM_PATH), host(QVX_CANHOST_PATH);
    startPair(sim, host, {"--quiet", QVX_SOURCE_DIR "/scenarios/default"}, {"--record", capture});
    // The head unit's own commands too, as the demo types them.
    QTRY_VERIFY_WITH_TIMEOUT(!host.events("version").isEmpty(), Slow);
    host.send("request 0x32 0");
    host.send("source 0 FM1 87.50");
    QTRY_VERIFY_WITH_TIMEOUT(host.events("climate").size() >= 6, Slow);
    host.send("key 19");
    QCOMPARE(sim.exitCode(), 0);
    host.send("quit");
    QCOMPARE(host.exitCode(), 0);
    // canhost's last word on each value.
    QHash<QString, QJsonObject> last;
    for (const QJsonObject &e : host.events())
        last.insert(e.value("event").toString(), e);
    const auto radar = [](const QJsonArray &levels) {
        QStringList out;
        for (const QJsonValue &v : levels)
            out << (v.toInt() == 255 ? QString("none") : QString::number(v.toInt()));
        return out;
    };
    const QJsonObject tyres = last.value("tyres");
    const QStringList canhost = {
        QString::asprintf("0x%02x", last.value("doors").value("status").toInt()),
        QString::number(last.value("rotate").value("rotate").toInt()),
        QString::number(last.value("coolant").value("temperature").toInt()),
        last.value("version").value("version").toString(),
        QStringList{
            QString::number(tyres.value("fl").toInt()), QString::number(tyres.value("fr").toInt()),
            QString::number(tyres.value("rl").toInt()), QString::number(tyres.value("rr").toInt())}
            .join(','),
        (radar(last.value("radar").value("rear").toArray()) +
         radar(last.value("radar").value("front").toArray()))
            .join(','),
        QString::number(last.value("climate").value("temperature").toDouble(), 'f', 1)};

    const QStringList fields = {"qvx.body.doors",       "qvx.carinfo.rotate", "qvx.carinfo.coolant",
                                "qvx.version",          "qvx.tyres.pressure", "qvx.radar.band",
                                "qvx.climate.temp_left"};
    QStringList args = {"-X", "lua_script:" QVX_SOURCE_DIR "/tools/wireshark/qvx.lua",
                        "-r", capture,
                        "-T", "fields",
                        "-e", "qvx.name",
                        "-e", "qvx.noframe",
                        "-e", "_ws.malformed",
                        "-e", "_ws.lua.text"};
    for (const QString &f : fields)
        args << "-e" << f;
    QProcess p;
    p.start(tshark, args);
    QVERIFY(p.waitForFinished(60000));
    QVector<QString> dissected(fields.size());
    QSet<QString> named;
    for (const QString &line : QString(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
        const QStringList f = line.split('\t');
        QVERIFY2(!f.value(0).isEmpty() || !f.value(1).isEmpty(), qPrintable("unnamed: " + line));
        QVERIFY2(f.value(2).isEmpty() && f.value(3).isEmpty(), qPrintable("malformed: " + line));
        named << f.value(0);
        for (int i = 0; i < fields.size(); ++i) {
            if (!f.value(4 + i).isEmpty())
                dissected[i] = f.value(4 + i);
        }
    }
    QCOMPARE(QStringList(dissected.toList()), canhost);
    for (const char *name :
         {"wheel key", "body status", "mileage", "panel key", "climate", "car information",
          "fuel consumption", "parking radar", "tyres", "version", "car select", "ACK", "NAK"})
        QVERIFY2(named.contains(name), name);
}

QTEST_GUILESS_MAIN(tst_EndToEnd)
#include "tst_endtoend.moc"
