// cantap between adaptersim and canhost on pseudo-terminals: the head unit decodes the drive
// as it does without the tap, the recording holds every byte both ways, faults typed into the
// tap reach the head unit, a listening tap hears the same frames.
#include "capture.h"
#include "protocol.h"
#include "tap.h"
#include "pty.h"
#include "reader.h"
#include "tool.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtEndian>

namespace {

// The bytes of each direction in a capture: [0] from the adapter, [1] from the head unit.
QVector<QByteArray> captureBytes(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QList<tools::CaptureRecord> records;
    tools::ParseError error;
    if (!tools::parseCapture(QString::fromUtf8(file.readAll()), &records, &error))
        qWarning() << error.toString(path);
    QVector<QByteArray> both(2);
    for (const tools::CaptureRecord &r : records)
        both[r.received ? 0 : 1] += r.bytes;
    return both;
}

// The same from a pcapng file: enhanced packets with their direction flag.
QVector<QByteArray> pcapngBytes(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray f = file.readAll();
    QVector<QByteArray> both(2);
    const auto u32 = [&f](int at) { return qFromLittleEndian<quint32>(f.constData() + at); };
    for (int at = 0; at + 12 <= f.size(); at += int(u32(at + 4))) {
        if (u32(at) != 6 || u32(at + 4) < 32)
            continue;
        const int length = int(u32(at + 20));
        const int flags = int(u32(at + 28 + ((length + 3) & ~3) + 4));
        both[flags == 1 ? 0 : 1] += f.mid(at + 28, length);
    }
    return both;
}

// The tap's lines about frames, by direction, without times and answer latencies.
QVector<QStringList> frameLines(const QString &out)
{
    QVector<QStringList> both(2);
    for (const QString &line : out.split('\n')) {
        const QString who = line.mid(9, 9).trimmed();
        const QString what = line.mid(19, 10).trimmed();
        if ((who == "adapter" || who == "headunit") && !what.isEmpty() &&
            !line.contains("UNANSWERED"))
            both[who == "adapter" ? 0 : 1]
                << line.mid(19).remove(QRegularExpression("   \\S+ ms$"));
    }
    return both;
}

// Lines of a state dump, without the tap's prefix.
QStringList dump(const QString &out)
{
    QStringList lines;
    for (const QString &line : out.split('\n')) {
        if (line.startsWith("   state "))
            lines << line.mid(9).remove(QRegularExpression("^plugin +"));
    }
    return lines;
}

// canhost's event lines without times, the plugin's path and the port's name.
QStringList events(const QString &out)
{
    QStringList lines;
    for (const QString &line : out.split('\n')) {
        const QString event = line.mid(9);
        if (!line.startsWith("   state") && !event.startsWith("plugin") &&
            !event.startsWith("port") && !line.isEmpty())
            lines << event;
    }
    return lines;
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
    void waitForLink(Tool &tool, const QString &link)
    {
        QTRY_VERIFY_WITH_TIMEOUT(
            QFileInfo(link).isSymLink() || tool.process.state() == QProcess::NotRunning, Slow);
        QVERIFY2(QFileInfo(link).isSymLink(), qPrintable(tool.out() + tool.err()));
    }
    QTemporaryDir mDir;
};

void tst_CanTap::faults_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("chunks"); // from the adapter, or "h:" from the head unit
    QTest::addColumn<QByteArray>("adapterGot"); // what reached the adapter
    QTest::addColumn<QByteArray>("headUnitGot");
    QTest::addColumn<QString>("printed");
    const QByteArray body = protocol::build(protocol::cmd::Body, QByteArray(10, 0));
    const QByteArray door = protocol::build(protocol::cmd::Body, QByteArray(2, 0) + '\x40' + QByteArray(7, 0));
    const QByteArray ack = protocol::build(protocol::cmd::Ack, QByteArray(1, char(protocol::cmd::Body)));
    const QByteArray key = protocol::build(protocol::cmd::ClimateKey, QByteArray::fromHex("0201"));
    QByteArray badBody = body;
    badBody[badBody.size() - 1] = char(badBody.back() + 1);
    const auto hex = [](const QByteArray &b) { return QString::fromLatin1(b.toHex()); };
    QTest::newRow("corrupt") << "corrupt next adapter" << QStringList{hex(body), hex(door)}
                             << QByteArray() << badBody + door << "hit adapter body: checksum";
    // A frame cut across chunks is held back whole, then hit.
    QTest::newRow("corrupt held") << "corrupt next adapter"
                                  << QStringList{"11" + hex(body.left(6)), hex(body.mid(6))}
                                  << QByteArray() << "\x11" + badBody << "hit adapter body";
    QTest::newRow("truncate") << "truncate next adapter 5" << QStringList{hex(body + door)}
                              << QByteArray() << body.left(5) + door << "5 of its 15 bytes";
    QTest::newRow("split") << "split next adapter 4 20" << QStringList{hex(body)} << QByteArray()
                           << body << "4 bytes go on, the other 11 20 ms later";
    QTest::newRow("drop an ack") << "drop next headunit ack"
                                 << QStringList{"h:" + hex(key + ack), "h:" + hex(ack)}
                                 << key + ack << QByteArray() << "hit headunit ack: dropped";
    QTest::newRow("noise") << "noise adapter 3" << QStringList{hex(door)} << QByteArray()
                           << QByteArray() << "3 bytes of noise";
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
    QVERIFY2(cantap::parseTapCommand(command, &c, &error) && tap.apply(c, &error), qPrintable(error));
    for (const QString &chunk : chunks) {
        const bool fromHeadUnit = chunk.startsWith("h:");
        tap.arrived(fromHeadUnit ? cantap::FromHeadUnit : cantap::FromAdapter,
                    QByteArray::fromHex(chunk.mid(fromHeadUnit ? 2 : 0).toLatin1()));
    }
    if (command.startsWith("noise")) {
        QCOMPARE(got[cantap::FromHeadUnit].size(), 3 + 15);
        QVERIFY(!got[cantap::FromHeadUnit].left(3).contains('\x5a'));
        got[cantap::FromHeadUnit].remove(0, 3);
        headUnitGot = QByteArray::fromHex(chunks.first().toLatin1());
    }
    if (command.startsWith("split") || command.startsWith("delay"))
        QVERIFY(got[0].size() + got[1].size() < headUnitGot.size() + adapterGot.size());
    QTRY_COMPARE(got[cantap::FromAdapter].toHex(' '), adapterGot.toHex(' '));
    QTRY_COMPARE(got[cantap::FromHeadUnit].toHex(' '), headUnitGot.toHex(' '));
    QVERIFY2(out.contains(printed), qPrintable(out));
}

// The default drive twice at once, one pair straight, one through the tap.
void tst_CanTap::inTheMiddle()
{
    if (qEnvironmentVariableIsSet("QVX_SKIP_DRIVE"))
        QSKIP("run on its own (tst_cantap_drive)");
    Tool simA(QVX_ADAPTERSIM_PATH), hostA(QVX_CANHOST_PATH), simB(QVX_ADAPTERSIM_PATH),
        tap(QVX_CANTAP_PATH), hostB(QVX_CANHOST_PATH);
    const QString drive = QVX_SOURCE_DIR "/scenarios/default";
    simA.start({"--pty", path("a"), "--quiet", drive});
    simB.start({"--pty", path("b"), "--quiet", drive});
    waitForLink(simA, path("a"));
    waitForLink(simB, path("b"));
    tap.start({"--adapter", path("b"), "--headunit-pty", path("h"), "--plugin", "--record",
               path("tap.pcapng")});
    waitForLink(tap, path("h"));
    hostA.start({"--port", path("a")});
    hostB.start({"--port", path("h"), "--record", path("b.cap")});
    simA.exitCode();
    simB.exitCode();
    for (Tool *t : {&hostA, &hostB, &tap})
        t->send("state");
    QTRY_VERIFY_WITH_TIMEOUT(hostA.out().contains("counters") && hostB.out().contains("counters") &&
                                 tap.out().contains("plugin    wrote"),
                             Slow);
    for (Tool *t : {&hostA, &hostB, &tap})
        t->send("quit");
    QCOMPARE(tap.exitCode(), 0);

    QCOMPARE(events(hostB.out()), events(hostA.out()));
    QCOMPARE(dump(tap.out()), dump(hostB.out()));
    QVERIFY(dump(tap.out()).size() >= 13);
    const QVector<QByteArray> head = captureBytes(path("b.cap"));
    QVERIFY2(head[0].size() > 500 && head[1].size() > 200,
             qPrintable(QString::number(head[0].size()) + " " + QString::number(head[1].size())));
    QCOMPARE(pcapngBytes(path("tap.pcapng")), head);
    QVERIFY2(!tap.out().contains("UNANSWERED"), qPrintable(tap.out()));
    QVERIFY(
        tap.out().contains(QRegularExpression("headunit  nak        NAK body \\(0x12\\)   \\+")));
    QVERIFY(tap.out().contains("adapter   body       door front-left open\n"));

    // The same bytes on two transmit wires, heard by a tap that listens: the same frames.
    qvxtest::Pty adapterTx, headUnitTx;
    QVERIFY(adapterTx.plug() && headUnitTx.plug());
    Tool listener(QVX_CANTAP_PATH);
    listener.start({"--listen", adapterTx.path(), headUnitTx.path()});
    QTRY_VERIFY_WITH_TIMEOUT(listener.out().count(" open (listening)") == 2, Slow);
    QFile file(path("b.cap"));
    file.open(QIODevice::ReadOnly);
    QList<tools::CaptureRecord> records;
    tools::ParseError error;
    QVERIFY(tools::parseCapture(QString::fromUtf8(file.readAll()), &records, &error));
    double last = 0;
    for (const tools::CaptureRecord &r : records) {
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
    sim.start({"--pty", path("a"), path("scenario")});
    waitForLink(sim, path("a"));
    tap.start({"--adapter", path("a"), "--headunit-pty", path("h")});
    tap.send("corrupt next car");
    tap.send("corrupt next adapter");
    waitForLink(tap, path("h"));
    host.start({"--port", path("h"), "--record", path("h.cap")});
    QCOMPARE(sim.exitCode(), 0);
    QVERIFY2(sim.out().contains("2 ACKs and 1 NAK received"), qPrintable(sim.out()));
    QTRY_VERIFY_WITH_TIMEOUT(tap.out().contains("went away"), Slow);
    QVERIFY(tap.err().contains("cantap: input line 1: usage: corrupt next adapter|headunit"));
    QVERIFY2(tap.out().contains("fault     corrupt next adapter hit adapter body: checksum"),
             qPrintable(tap.out()));
    QVERIFY(tap.out().contains("adapter   BAD        body with checksum"));
    QVERIFY(tap.out().contains("headunit  nak        NAK body (0x12)"));
    int naks = 0;
    protocol::Reader reader;
    for (const auto &item : reader.feed(captureBytes(path("h.cap"))[1], 0))
        naks += item.kind == protocol::Reader::Item::Frame && item.cmd == protocol::cmd::Nak;
    QCOMPARE(naks, 1);

    // The adapter comes back at the same path: the tap opens it again, the head unit hears it.
    Tool again(QVX_ADAPTERSIM_PATH);
    QFile next(path("next"));
    QVERIFY(next.open(QIODevice::WriteOnly));
    next.write("0 version \"V2.00\"\n");
    next.close();
    again.start({"--pty", path("a"), "--no-wait", path("next")});
    QTRY_VERIFY_WITH_TIMEOUT(host.out().contains("\"V2.00\""), Slow);
    QCOMPARE(tap.out().count(path("a") + " open"), 2);
    host.send("quit");
    tap.send("quit");
    QCOMPARE(tap.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_CanTap)
#include "tst_cantap.moc"
