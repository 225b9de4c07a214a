// The adapter link as the adapter sees it: bytes in, ACK/NAK out, dispatch and watchdog.
#include "testsupport.h"

#include <QLoggingCategory>

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

const QByteArray carSelect = QByteArray::fromHex("5aa5022a05ff2f"); // unknown to the dispatcher
const QByteArray carSelectAck = QByteArray::fromHex("5aa501ff2a29");

// Message items of the dispatcher's own lines: "<cmd> \"<hex data>\"".
QStringList dispatches(const LogCapture &log)
{
    QStringList out;
    for (const auto &line : LogCapture::lines()) {
        if (line.second.contains("dispatchEvent(int, QByteArray&)") &&
            !line.second.contains("ID IS ERROR!") && !line.second.contains("start heartBeat"))
            out << line.second.mid(line.second.indexOf(" -- ") + 4);
    }
    Q_UNUSED(log);
    return out;
}

} // namespace

class tst_Link : public QObject
{
    Q_OBJECT
private slots:
    void splitAnywhere_data();
    void splitAnywhere();
    void headerRules_data();
    void headerRules();
    void ackPrecedesDispatch();
    void parseOutTimerDropsUnfinishedFrame_data();
    void parseOutTimerDropsUnfinishedFrame();
    void parseOutTimerOnlyForFramesLeftOpen();
    void lenZeroIsSwallowedUntilParseOut();
    void lenZeroDoesNotGrow();
    void decodersInDispatchOrder_data();
    void decodersInDispatchOrder();
    void unknownCommandStillFeedsWatchdog();
    void watchdog();
    void stoppedServiceIgnoresBytes();
    void standardOutputLinePerChunk();
};

void tst_Link::splitAnywhere_data()
{
    QTest::addColumn<QList<int>>("cuts");
    QTest::newRow("whole") << QList<int>{};
    for (int at = 1; at < carSelect.size(); ++at)
        QTest::newRow(qPrintable(QString("after byte %1").arg(at))) << QList<int>{at};
    QTest::newRow("byte by byte") << QList<int>{1, 2, 3, 4, 5, 6};
    QTest::newRow("three pieces") << QList<int>{2, 5};
}

void tst_Link::splitAnywhere()
{
    QFETCH(QList<int>, cuts);
    LogCapture log;
    ServiceHarness h;
    int from = 0;
    for (int cut : cuts + QList<int>{carSelect.size()}) {
        h.feed(carSelect.mid(from, cut - from));
        from = cut;
    }
    QCOMPARE(h.written(), QList<QByteArray>{carSelectAck});
    QCOMPARE(dispatches(log), QStringList{"42 \"05ff\""});
    QCOMPARE(h.writes[0].flag, true);
}

void tst_Link::headerRules_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QList<QByteArray>>("answers");
    QTest::addColumn<QStringList>("dispatched");
    QTest::addColumn<int>("checksumErrors");

    const QByteArray nak = QByteArray::fromHex("5aa501fe2a28");
    QTest::newRow("noise before the header")
        << QByteArray::fromHex("0011a5ff") + carSelect << QList<QByteArray>{carSelectAck}
        << QStringList{"42 \"05ff\""} << 0;
    QTest::newRow("5A xx A5 is a header")
        << QByteArray::fromHex("5a1122a5022a05ff2f") << QList<QByteArray>{carSelectAck}
        << QStringList{"42 \"05ff\""} << 0;
    QTest::newRow("bad checksum: NAK, no dispatch")
        << QByteArray::fromHex("5aa5022a05ff30") << QList<QByteArray>{nak} << QStringList{} << 1;
    QTest::newRow("bad then good: state back at 0")
        << QByteArray::fromHex("5aa5022a05ff30") + carSelect << QList<QByteArray>{nak, carSelectAck}
        << QStringList{"42 \"05ff\""} << 1;
    QTest::newRow("two frames in one chunk")
        << carSelect + QByteArray::fromHex("5aa501550156")
        << QList<QByteArray>{carSelectAck, QByteArray::fromHex("5aa501ff5554")}
        << QStringList{"42 \"05ff\"", "85 \"01\""} << 0;
    QTest::newRow("LEN 255") << protocol::build(0x77, QByteArray(255, char(0xFF)))
                             << QList<QByteArray>{QByteArray::fromHex("5aa501ff7776")}
                             << QStringList{"119 \"" + QByteArray(255, char(0xFF)).toHex() + "\""}
                             << 0;
    QTest::newRow("header bytes inside data are data")
        << protocol::build(0x13, QByteArray::fromHex("5aa55aa5"))
        << QList<QByteArray>{QByteArray::fromHex("5aa501ff1312")} << QStringList{"19 \"5aa55aa5\""}
        << 0;
}

void tst_Link::headerRules()
{
    QFETCH(QByteArray, stream);
    QFETCH(QList<QByteArray>, answers);
    QFETCH(QStringList, dispatched);
    QFETCH(int, checksumErrors);

    LogCapture log;
    ServiceHarness h;
    h.feed(stream);
    QCOMPARE(h.written(), answers);
    QCOMPARE(dispatches(log), dispatched);
    QCOMPARE(log.messages("[ERR]").count("checksum err!"), checksumErrors);
}

void tst_Link::ackPrecedesDispatch()
{
    LogCapture log;
    ServiceHarness h;
    QStringList order;
    QObject::connect(h.port, &canservice::SerialPort::written,
                     [&](const QByteArray &b, bool) { order << "write " + b.toHex(); });
    QObject::connect(h.service.get(), &CanServiceBase::notifyCanbusStatus,
                     [&](int s) { order << QString("status %1").arg(s); });
    h.feed(carSelect);
    QCOMPARE(order, (QStringList{"write 5aa501ff2a29", "status 3"}));
    QVERIFY(log.messages().contains("ID IS ERROR! 42"));
}

// A frame left unfinished by one chunk arms the 500 ms timer at the next; when it fires the
// rest of the old frame is noise and a whole new frame is answered, before it is not.
void tst_Link::parseOutTimerDropsUnfinishedFrame_data()
{
    QTest::addColumn<int>("ms");
    QTest::addColumn<QList<QByteArray>>("written");
    QTest::newRow("499 ms: the old frame goes on")
        << 499 << QList<QByteArray>{carSelectAck, carSelectAck};
    QTest::newRow("500 ms: dropped") << 500 << QList<QByteArray>{carSelectAck};
}

void tst_Link::parseOutTimerDropsUnfinishedFrame()
{
    QFETCH(int, ms);
    QFETCH(QList<QByteArray>, written);
    ServiceHarness h;
    h.feed(carSelect.left(4)); // 5A A5 LEN CMD: waiting for data
    h.feed(carSelect.mid(4, 1));
    qvxtest::VirtualClock::instance()->advance(ms);
    h.feed(carSelect.mid(5) + carSelect);
    QCOMPARE(h.written(), written);
}

void tst_Link::parseOutTimerOnlyForFramesLeftOpen()
{
    LogCapture log;
    ServiceHarness h;
    // A frame that begins inside a chunk arms nothing; one finished by a later chunk stops it.
    h.feed(carSelect.left(3));
    h.feed(carSelect.mid(3));
    QCOMPARE(h.written(), QList<QByteArray>{carSelectAck});
    h.feed(carSelect.left(5));
    qvxtest::VirtualClock::instance()->advance(700);
    h.feed(carSelect.mid(5));
    QCOMPARE(h.written().size(), 2);
}

void tst_Link::lenZeroIsSwallowedUntilParseOut()
{
    LogCapture log;
    ServiceHarness h;
    h.feedHex("5aa50055");
    h.feed(carSelect); // taken as the endless data of the LEN 0 frame
    qvxtest::VirtualClock::instance()->advance(499);
    h.feed(carSelect);
    QVERIFY(h.writes.isEmpty());
    qvxtest::VirtualClock::instance()->advance(1);
    h.feed(carSelect);
    QCOMPARE(h.written(), QList<QByteArray>{carSelectAck});
}

static long residentKb()
{
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void tst_Link::lenZeroDoesNotGrow()
{
#if defined(__SANITIZE_ADDRESS__)
    QSKIP("the sanitizer's quarantine keeps freed memory resident; the native build checks this");
#endif
    QLoggingCategory::setFilterRules("default.debug=false");
    ServiceHarness h;
    h.feedHex("5aa50055");
    const QByteArray garbage(4096, char(0x11));
    for (int i = 0; i < 64; ++i) // warm up
        h.feed(garbage);
    const long before = residentKb();
    for (int i = 0; i < 4096; ++i) // 16 MiB, far faster than the parse-out timer
        h.feed(garbage);
    const long grown = residentKb() - before;
    QLoggingCategory::setFilterRules(QString());
    QVERIFY2(grown < 4096, qPrintable(QString("grew by %1 kB").arg(grown)));
    QVERIFY(h.writes.isEmpty());
}

void tst_Link::decodersInDispatchOrder_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QStringList>("decoders");
    QTest::newRow("0x11") << 0x11 << QStringList{"doRotate", "doSwc"};
    QTest::newRow("0x12") << 0x12 << QStringList{"doDoor", "doBatteryVoltage", "doFuelStatus"};
    QTest::newRow("0x13") << 0x13 << QStringList{"doCurrentMileage"};
    QTest::newRow("0x21") << 0x21 << QStringList{"doPanelKey"};
    QTest::newRow("0x31") << 0x31 << QStringList{"doClimate"};
    QTest::newRow("0x32") << 0x32 << QStringList{"doCarInformationData"};
    QTest::newRow("0x34") << 0x34 << QStringList{"doFuelConsumption"};
    QTest::newRow("0x41") << 0x41 << QStringList{"doRadar"};
    QTest::newRow("0x68") << 0x68 << QStringList{"doTireAlert", "doTireData"};
}

void tst_Link::decodersInDispatchOrder()
{
    QFETCH(int, cmd);
    QFETCH(QStringList, decoders);

    // One data byte is the wrong length for every decoder here: each rejects it with its own
    // critical line, so the lines show which decoders ran and in which order.
    LogCapture log;
    ServiceHarness h;
    bool statusFirst = false;
    QObject::connect(h.service.get(), &CanServiceBase::notifyCanbusStatus,
                     [&] { statusFirst = log.criticalCount() == 0; });
    h.feedFrame(cmd, QByteArray(1, 0));
    QStringList ran;
    for (const auto &line : LogCapture::lines()) {
        if (line.first != QtCriticalMsg)
            continue;
        const int open = line.second.indexOf('(');
        const int name = line.second.lastIndexOf("::", open) + 2;
        ran << line.second.mid(name, open - name);
    }
    QCOMPARE(ran, decoders);
    QVERIFY(statusFirst); // the watchdog is fed before any decoder
    QCOMPARE(log.messages().filter("ID IS ERROR!").size(), 0);
}

void tst_Link::unknownCommandStillFeedsWatchdog()
{
    LogCapture log;
    ServiceHarness h;
    QSignalSpy status(h.service.get(), &CanServiceBase::notifyCanbusStatus);
    h.feedHex("5aa501550156");
    QCOMPARE(h.written(), QList<QByteArray>{QByteArray::fromHex("5aa501ff5554")});
    QVERIFY(log.messages().contains("ID IS ERROR! 85"));
    QCOMPARE(status.count(), 1);
    QCOMPARE(status[0][0].toInt(), 3);
}

void tst_Link::watchdog()
{
    // Bad frames meanwhile must not feed it, and a stopped service must never report the
    // link lost.
    qvxtest::VirtualClock *clock = qvxtest::VirtualClock::instance();
    LogCapture log;
    ServiceHarness h;
    QSignalSpy status(h.service.get(), &CanServiceBase::notifyCanbusStatus);
    ServiceHarness stopped;
    QSignalSpy stoppedStatus(stopped.service.get(), &CanServiceBase::notifyCanbusStatus);

    h.feed(carSelect);
    stopped.feed(carSelect);
    stopped.service->stop();
    for (int i = 0; i < 5; ++i) {
        clock->advance(2000);
        h.feed(carSelect); // good frames every 2 s: no second status
    }
    QCOMPARE(status.count(), 1);
    QTimer noise;
    QObject::connect(&noise, &QTimer::timeout, [&] { h.feedHex("5aa5022a05ff30"); });
    noise.start(3000);

    clock->advance(29999);
    QCOMPARE(status.count(), 1);
    clock->advance(1);
    QCOMPARE(status.count(), 2);
    QCOMPARE(status[1][0].toInt(), 0);
    QVERIFY(log.messages().contains("stop heartBeat"));
    QCOMPARE(log.messages().count("start heartBeat"), 2); // both services once

    h.feed(carSelect);
    QCOMPARE(status.count(), 3);
    QCOMPARE(status[2][0].toInt(), 3);
    QCOMPARE(stoppedStatus.count(), 1);
    QCOMPARE(stoppedStatus[0][0].toInt(), 3);
}

void tst_Link::stoppedServiceIgnoresBytes()
{
    ServiceHarness h;
    h.service->stop();
    h.feed(carSelect);
    QVERIFY(h.writes.isEmpty());
}

void tst_Link::standardOutputLinePerChunk()
{
    LogCapture log; // QtTest would print the log lines to standard output too
    ServiceHarness h;
    char path[] = "/tmp/qvx-stdout-XXXXXX";
    const int file = mkstemp(path);
    QVERIFY(file >= 0);
    fflush(stdout);
    const int saved = dup(1);
    dup2(file, 1);
    h.feedHex("5aa5022a");
    h.feedHex("05ff2f");
    fflush(stdout);
    dup2(saved, 1);
    ::close(saved);
    ::close(file);
    QFile out(path);
    QVERIFY(out.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = out.readAll().split('\n');
    out.remove();
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines[0].startsWith("onDataReady:"));
    QVERIFY(lines[0].endsWith(" 5a a5 02 2a "));
    QVERIFY(lines[1].endsWith(" 05 ff 2f "));
    QCOMPARE(lines[2], QByteArray());
}

QVX_VIRTUAL_TIME_MAIN(tst_Link)
#include "tst_link.moc"
