// cantap's faults in-process, chunk by chunk; then between adaptersim and canhost on
// pseudo-terminals: faults typed into the tap reach the head unit, and the tap opens the
// adapter again when it comes back. The default drive through the tap: tst_endtoend.
#include "protocol.h"
#include "tap.h"
#include "tool.h"

#include <QTemporaryDir>

class tst_CanTap : public QObject
{
    Q_OBJECT
private slots:
    void init() { QVERIFY(mDir.isValid()); }
    void faults_data();
    void faults();
    void faultsAndReopening();

private:
    QString path(const QString &name) const { return mDir.filePath(name); }
    QTemporaryDir mDir;
};

void tst_CanTap::faults_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("chunks"); // from the adapter, or "h:" from the head unit
    QTest::addColumn<QByteArray>("wentOn");  // what reached the other side
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
                                  << "\x11" + badBody + door << "hit adapter body: checksum";
    QTest::newRow("truncate") << "truncate next adapter 5" << QStringList{hex(body + door)}
                              << body.left(5) + door << "5 of its 15 bytes";
    QTest::newRow("split") << "split next adapter 4 20" << QStringList{hex(body)} << body
                           << "4 bytes go on, the other 11 20 ms later";
    QTest::newRow("drop an ack") << "drop next headunit ack"
                                 << QStringList{"h:" + hex(key + ack), "h:" + hex(ack)} << key + ack
                                 << "hit headunit ack: dropped";
    // Noise first: compared apart.
    QTest::newRow("noise") << "noise adapter 3" << QStringList{hex(door)} << door
                           << "3 bytes of noise";
    QTest::newRow("delay") << "delay headunit 30" << QStringList{"h:" + hex(ack)} << ack
                           << "goes on 30 ms late";
    QTest::newRow("cut") << "cut 0.05" << QStringList{hex(body)} << QByteArray()
                         << "line cut both ways";
}

// The tap in-process: chunks arrive from one side, the typed fault changes what goes on.
void tst_CanTap::faults()
{
    QFETCH(QString, command);
    QFETCH(QStringList, chunks);
    QFETCH(QByteArray, wentOn);
    QFETCH(QString, printed);
    QString out;
    QTextStream stream(&out);
    cantap::Tap tap(stream, false);
    QByteArray got[2]; // written to each side
    for (cantap::Side s : {cantap::FromAdapter, cantap::FromHeadUnit})
        tap.setWriter(s, [&got, s](const QByteArray &b) { return got[s].append(b), true; });
    cantap::TapCommand c;
    QString error;
    QVERIFY2(cantap::parseTapCommand(command, &c, &error) && tap.apply(c, &error),
             qPrintable(error));
    const bool fromHeadUnit = chunks.first().startsWith("h:");
    const cantap::Side from = fromHeadUnit ? cantap::FromHeadUnit : cantap::FromAdapter;
    for (const QString &chunk : chunks)
        tap.arrived(from, QByteArray::fromHex(chunk.mid(fromHeadUnit ? 2 : 0).toLatin1()));
    QByteArray &there = got[fromHeadUnit ? cantap::FromAdapter : cantap::FromHeadUnit];
    if (command.startsWith("noise")) {
        QCOMPARE(there.size(), 3 + wentOn.size());
        QVERIFY(!there.left(3).contains('\x5a'));
        there.remove(0, 3);
    }
    // What goes on late has not gone yet.
    if (command.startsWith("split") || command.startsWith("delay"))
        QVERIFY(there.size() < wentOn.size());
    QTRY_COMPARE(there.toHex(' '), wentOn.toHex(' '));
    QVERIFY(got[from].isEmpty());
    QVERIFY2(out.contains(printed), qPrintable(out));
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
    QVERIFY2(tap.out().contains("adapter   BAD        body with checksum"), qPrintable(tap.out()));

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
