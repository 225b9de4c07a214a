// cantap between adaptersim and canhost on pseudo-terminals: the head unit decodes the drive
// as it does without the tap, the recordings hold every byte both ways, a listening tap hears
// the same frames, faults typed into the tap reach the head unit, and the tap opens the
// adapter again when it comes back. The faults themselves in-process, chunk by chunk.
#include "capture.h"
#include "protocol.h"
#include "pty.h"
#include "tap.h"
#include "tool.h"

#include <QTemporaryDir>

namespace {

QList<tools::CaptureRecord> captureRecords(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QList<tools::CaptureRecord> records;
    tools::ParseError error;
    if (!tools::parseCapture(QString::fromUtf8(file.readAll()), &records, &error))
        qWarning() << error.toString(path);
    return records;
}

// The bytes of each direction, [0] from the adapter and [1] from the head unit: of a capture,
// or of a pcapng file's packets by their direction flag.
QVector<QByteArray> recorded(const QString &path)
{
    QVector<QByteArray> both(2);
    if (path.endsWith(".pcapng")) {
        for (const Block &b : pcapngBlocks(path))
            both[b.flags == 1 ? 0 : 1] += b.bytes; // only packets hold bytes
        return both;
    }
    for (const tools::CaptureRecord &r : captureRecords(path))
        both[r.received ? 0 : 1] += r.bytes;
    return both;
}

// The lines after the time: of a state dump (without the tap's "plugin" column), or all the
// others but the plugin's path and the port's name.
QStringList lines(const QString &out, bool state)
{
    QStringList lines;
    for (const QString &line : out.split('\n', Qt::SkipEmptyParts)) {
        const QString rest = line.mid(9);
        if (state && line.startsWith("   state "))
            lines << QString(rest).remove(QRegularExpression("^plugin +"));
        else if (!state && !line.startsWith("   state") && !rest.startsWith("plugin") &&
                 !rest.startsWith("port"))
            lines << rest;
    }
    return lines;
}

// The tap's lines about frames, by direction, without answer latencies.
QVector<QStringList> frameLines(const QString &out)
{
    QVector<QStringList> both(2);
    for (const QString &line : out.split('\n')) {
        const QString who = line.mid(9, 9).trimmed();
        if ((who == "adapter" || who == "headunit") && !line.mid(19, 10).trimmed().isEmpty() &&
            !line.contains("UNANSWERED"))
            both[who == "adapter" ? 0 : 1]
                << line.mid(19).remove(QRegularExpression("   \\S+ ms$"));
    }
    return both;
}

} // namespace

class tst_CanTap : public QObject
{
    Q_OBJECT
private slots:
    void init() { QVERIFY(mDir.isValid()); }
    void faults_data();
    void faults();
    void inTheMiddle();
    void faultsAndReopening();

private:
    QString path(const QString &name) const { return mDir.filePath(name); }
    QTemporaryDir mDir;
};

void tst_CanTap::faults_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("chunks");    // from the adapter, or "h:" from the head unit
    QTest::addColumn<QByteArray>("adapterGot"); // what reached the adapter
    QTest::addColumn<QByteArray>("headUnitGot");
    QTest::addColumn<QString>("printed");
    using namespace protocol;
    const QByteArray body = build(cmd::Body, QByteArray(10, 0));
    const QByteArray door = build(cmd::Body, QByteArray(2, 0) + '\x40' + QByteArray(7, 0));
    const QByteArray ack = build(cmd::Ack, QByteArray(1, char(cmd::Body)));
    const QByteArray key = build(cmd::ClimateKey, QByteArray::fromHex("0201"));
    QByteArray badBody = body;
    badBody[badBody.size() - 1] = char(badBody.back() + 1);
    const auto hex = [](const QByteArray &b) { return QString::fromLatin1(b.toHex()); };
    // A frame cut across chunks is held back whole, then hit; the next goes on as it came.
    QTest::newRow("corrupt held") << "corrupt next adapter"
                                  << QStringList{"11" + hex(body.left(6)), hex(body.mid(6) + door)}
                                  << QByteArray() << "\x11" + badBody + door
                                  << "hit adapter body: checksum";
    QTest::newRow("truncate") << "truncate next adapter 5" << QStringList{hex(body + door)}
                              << QByteArray() << body.left(5) + door << "5 of its 15 bytes";
    QTest::newRow("split") << "split next adapter 4 20" << QStringList{hex(body)} << QByteArray()
                           << body << "4 bytes go on, the other 11 20 ms later";
    QTest::newRow("drop an ack") << "drop next headunit ack"
                                 << QStringList{"h:" + hex(key + ack), "h:" + hex(ack)} << key + ack
                                 << QByteArray() << "hit headunit ack: dropped";
    // Noise first: compared apart.
    QTest::newRow("noise") << "noise adapter 3" << QStringList{hex(door)} << QByteArray() << door
                           << "3 bytes of noise";
    QTest::newRow("delay") << "delay headunit 30" << QStringList{"h:" + hex(ack)} << ack
                           << QByteArray() << "goes on 30 ms late";
    QTest::newRow("cut") << "cut 0.05" << QStringList{hex(body)} << QByteArray() << QByteArray()
                         << "line cut both ways";
}

// The tap in-process: chunks arrive from either side, the typed fault changes what goes on.
void tst_CanTap::faults()
{
    QFETCH(QString, command);
    QFETCH(QStringList, chunks);
    QFETCH(QByteArray, adapterGot);
    QFETCH(QByteArray, headUnitGot);
    QFETCH(QString, printed);
    QString out;
    QTextStream stream(&out);
    cantap::Tap tap(stream, false);
    QByteArray got[2];
    for (cantap::Side s : {cantap::FromAdapter, cantap::FromHeadUnit})
        tap.setWriter(s, [&got, s](const QByteArray &b) { return got[s].append(b), true; });
    cantap::TapCommand c;
    QString error;
    QVERIFY2(cantap::parseTapCommand(command, &c, &error) && tap.apply(c, &error),
             qPrintable(error));
    for (const QString &chunk : chunks) {
        const bool fromHeadUnit = chunk.startsWith("h:");
        tap.arrived(fromHeadUnit ? cantap::FromHeadUnit : cantap::FromAdapter,
                    QByteArray::fromHex(chunk.mid(fromHeadUnit ? 2 : 0).toLatin1()));
    }
    QByteArray &toAdapter = got[cantap::FromAdapter], &toHeadUnit = got[cantap::FromHeadUnit];
    if (command.startsWith("noise")) {
        QCOMPARE(toHeadUnit.size(), 3 + headUnitGot.size());
        QVERIFY(!toHeadUnit.left(3).contains('\x5a'));
        toHeadUnit.remove(0, 3);
    }
    // What goes on late has not gone yet.
    if (command.startsWith("split") || command.startsWith("delay"))
        QVERIFY(toHeadUnit.size() + toAdapter.size() < headUnitGot.size() + adapterGot.size());
    QTRY_COMPARE(toAdapter.toHex(' '), adapterGot.toHex(' '));
    QTRY_COMPARE(toHeadUnit.toHex(' '), headUnitGot.toHex(' '));
    QVERIFY2(out.contains(printed), qPrintable(out));
}

// The default drive twice at once, one pair straight, one through the tap; then the head
// unit's capture played onto two transmit wires that a listening tap hears.
void tst_CanTap::inTheMiddle()
{
    if (qEnvironmentVariableIsSet("QVX_SKIP_DRIVE"))
        QSKIP("run on its own (tst_cantap_drive)");
    Tool simA(QVX_ADAPTERSIM_PATH), hostA(QVX_CANHOST_PATH), simB(QVX_ADAPTERSIM_PATH),
        tap(QVX_CANTAP_PATH), hostB(QVX_CANHOST_PATH);
    const QString drive = QVX_SOURCE_DIR "/scenarios/default";
    simA.startWithLink(path("a"), {"--pty", path("a"), "--quiet", "--settle", "0.25", drive});
    simB.startWithLink(path("b"), {"--pty", path("b"), "--quiet", "--settle", "0.25", drive});
    tap.startWithLink(path("h"), {"--adapter", path("b"), "--headunit-pty", path("h"), "--plugin",
                                  "--record", path("tap.pcapng")});
    hostA.start({"--port", path("a")});
    hostB.start({"--port", path("h"), "--record", path("b.cap")});
    QCOMPARE(simA.exitCode(), 0);
    QCOMPARE(simB.exitCode(), 0);
    for (Tool *t : {&hostA, &hostB, &tap})
        t->send("state");
    QTRY_VERIFY_WITH_TIMEOUT(hostA.out().contains("counters") && hostB.out().contains("counters") &&
                                 tap.out().contains("plugin    wrote"),
                             Slow);
    for (Tool *t : {&hostA, &hostB, &tap})
        t->send("quit");
    QCOMPARE(tap.exitCode(), 0);

    QCOMPARE(lines(hostB.out(), false), lines(hostA.out(), false));
    // The tap's copy of the plugin ends where the head unit's does.
    QCOMPARE(lines(tap.out(), true), lines(hostB.out(), true));
    QVERIFY(lines(tap.out(), true).size() >= 13);
    const QVector<QByteArray> head = recorded(path("b.cap"));
    QVERIFY(head[0].size() > 500 && head[1].size() > 200);
    QCOMPARE(recorded(path("tap.pcapng")), head);
    QVERIFY2(!tap.out().contains("UNANSWERED"), qPrintable(tap.out()));
    QVERIFY(
        tap.out().contains(QRegularExpression("headunit  nak        NAK body \\(0x12\\)   \\+")));
    QVERIFY(tap.out().contains("adapter   body       door front-left open\n"));

    qvxtest::Pty adapterTx, headUnitTx;
    QVERIFY(adapterTx.plug() && headUnitTx.plug());
    Tool listener(QVX_CANTAP_PATH);
    listener.start({"--listen", adapterTx.path(), headUnitTx.path()});
    QTRY_VERIFY_WITH_TIMEOUT(listener.out().count(" open (listening)") == 2, Slow);
    double last = 0;
    for (const tools::CaptureRecord &r : captureRecords(path("b.cap"))) {
        // Chunk by chunk, as the head unit's reader counts its parse-out from the second chunk
        // of a frame; a long pause stays long enough for it to give up on a frame.
        QTest::qWait(r.time - last > 0.3 ? 600 : 5);
        last = r.time;
        (r.received ? adapterTx : headUnitTx).write(r.bytes);
    }
    QTRY_COMPARE_WITH_TIMEOUT(frameLines(listener.out()), frameLines(tap.out()), Slow);
}

void tst_CanTap::faultsAndReopening()
{
    Tool sim(QVX_ADAPTERSIM_PATH), tap(QVX_CANTAP_PATH), host(QVX_CANHOST_PATH);
    QFile scenario(path("scenario"));
    QVERIFY(scenario.open(QIODevice::WriteOnly));
    scenario.write("0 door front-left open\n0.1 door rear-left open\n0.2 battery low\n");
    scenario.close();
    sim.startWithLink(path("a"), {"--pty", path("a"), "--settle", "0.2", path("scenario")});
    tap.startWithLink(path("h"), {"--adapter", path("a"), "--headunit-pty", path("h")});
    tap.send("corrupt next car");
    tap.send("corrupt next adapter");
    host.start({"--port", path("h")});
    QCOMPARE(sim.exitCode(), 0);
    QVERIFY2(sim.out().contains("2 ACKs and 1 NAK received"), qPrintable(sim.out()));
    QTRY_VERIFY_WITH_TIMEOUT(tap.out().contains("went away"), Slow);
    QVERIFY(tap.err().contains("cantap: input line 1: usage: corrupt next adapter|headunit"));
    QVERIFY2(tap.out().contains("fault     corrupt next adapter hit adapter body: checksum"),
             qPrintable(tap.out()));
    QVERIFY(tap.out().contains("adapter   BAD        body with checksum"));

    // The adapter comes back at the same path: the tap opens it again, the head unit hears it.
    Tool again(QVX_ADAPTERSIM_PATH);
    again.startWithLink(path("a"), {"--pty", path("a"), "--no-wait"});
    QTRY_COMPARE_WITH_TIMEOUT(tap.out().count(path("a") + " open"), 2, Slow);
    again.send("version \"V2.00\"");
    QTRY_VERIFY_WITH_TIMEOUT(host.out().contains("\"V2.00\""), Slow);
    host.send("quit");
    tap.send("quit");
    QCOMPARE(tap.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_CanTap)
#include "tst_cantap.moc"
