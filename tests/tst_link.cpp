// The adapter link: framing, ACK and NAK, the parse-out timer, dispatch and the watchdog.
#include "drive.h"

#include <fstream>
#include <unistd.h>

namespace {
// A body-status frame opening the bonnet: its dispatch shows as doors=front.
const QString bonnet = protocol::build(0x12, QByteArray::fromHex("00000400000000000000")).toHex();
} // namespace

class tst_Link : public QObject
{
    Q_OBJECT
private slots:
    void drive_data();
    QVX_DRIVE_ROWS
    void answerThenLinkThenDecoders();
    void lenZeroDoesNotGrow();
    void standardOutputLinePerChunk();
};

void tst_Link::drive_data()
{
    QTest::addColumn<QString>("script");
    QString byByte;
    for (int i = 0; i < bonnet.size(); i += 2)
        byByte += "raw " + bonnet.mid(i, 2) + "; ";
    QTest::newRow("byte by byte") << byByte + "answers=ack:12; doors=front";
    QTest::newRow("noise before the header") << "raw 0011a5ff" + bonnet + "; answers=ack:12";
    QTest::newRow("5A xx A5 is a header")
        << "raw 5a1122" + bonnet.mid(2) + "; answers=ack:12; doors=front";
    QTest::newRow("bad checksum: NAK, no dispatch, then the next frame")
        << "raw 5aa50a12000004000000000000001b; answers=nak:12; doors=; "
           "errors=onDataReady: checksum err!; raw " +
               bonnet + "; answers=ack:12; doors=front";
    QTest::newRow("two frames in one chunk")
        << "raw " + bonnet + "5aa501550156; answers=ack:12 ack:55";
    QTest::newRow("LEN 255") << "raw " +
                                    protocol::build(0x77, QByteArray(255, char(0xFF))).toHex() +
                                    QString("; answers=ack:77");
    QTest::newRow("header bytes inside data are data")
        << "12 00005aa5 ..; answers=ack:12; getDoorStatus=90";
    QTest::newRow("every command reaches its decoders, in order")
        << "11 00; 12 00; 13 00; 21 00; 31 00; 32 00; 34 00; 41 00; 68 00; "
           "errors=doRotate, doSwc, doDoor, doBatteryVoltage, doFuelStatus, doCurrentMileage, "
           "doPanelKey, doClimate, doCarInformationData, doFuelConsumption, doRadar, "
           "doTireAlert, doTireData";
    QTest::newRow("an unknown command still feeds the watchdog")
        << "55 01; answers=ack:55; link=3; errors=";
    // A frame left unfinished by one chunk arms the timer at the next.
    QTest::newRow("parse-out: 499 ms and the old frame goes on")
        << "raw 5aa50a12; raw 00; wait 499; raw " + bonnet.mid(10) + bonnet +
               "; answers=ack:12 ack:12";
    QTest::newRow("parse-out: at 500 ms the rest is noise")
        << "raw 5aa50a12; raw 00; wait 500; raw " + bonnet.mid(10) + bonnet + "; answers=ack:12";
    QTest::newRow("parse-out: nothing armed for a frame begun inside a chunk")
        << "raw " + bonnet.left(12) + "; wait 700; raw " + bonnet.mid(12) + "; answers=ack:12";
    QTest::newRow("LEN 0 swallows everything until parse-out")
        << "raw 5aa50055; raw " + bonnet + "; wait 499; raw " + bonnet +
               "; answers=; wait 1; raw " + bonnet + "; answers=ack:12";
    QTest::newRow("watchdog: 30 s after the last good frame, bad ones aside")
        << "2a 05ff; link=3; " + QString("wait 2000; 2a 05ff; ").repeated(5) +
               QString("wait 3000; raw 5aa5022a05ff30; ").repeated(9) +
               "wait 2999; link=; wait 1; link=0; 2a 05ff; link=3";
    QTest::newRow("a stopped service answers nothing and never reports the link lost")
        << "2a 05ff; stop; 2a 05ff; answers=ack:2a; wait 60000; link=3";
}

// The ACK is written before the link is reported up and before any decoder runs.
void tst_Link::answerThenLinkThenDecoders()
{
    qvxtest::Drive d;
    QStringList order;
    QObject::connect(d.port, &canservice::SerialPort::written, [&] { order << "answer"; });
    QObject::connect(d.service.get(), &CanServiceBase::notifyCanbusStatus,
                     [&] { order << "link"; });
    QObject::connect(d.service.get(), &CanServiceBase::doorChanged, [&] { order << "doors"; });
    d.run("raw " + bonnet);
    QCOMPARE(order, (QStringList{"answer", "link", "doors"}));
}

static long residentKb()
{
    long pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

// A LEN 0 frame's endless data is not kept.
void tst_Link::lenZeroDoesNotGrow()
{
#if defined(__SANITIZE_ADDRESS__)
    QSKIP("the sanitizer's quarantine keeps freed memory resident; the native build checks this");
#endif
    qvxtest::Drive d;
    d.run("raw 5aa50055");
    const QByteArray garbage(4096, char(0x11));
    for (int i = 0; i < 64; ++i) // warm up
        d.feed(garbage);
    const long before = residentKb();
    for (int i = 0; i < 4096; ++i) // 16 MiB, far faster than the parse-out timer
        d.feed(garbage);
    const long grown = residentKb() - before;
    QVERIFY2(grown < 4096, qPrintable(QString("grew by %1 kB").arg(grown)));
    QCOMPARE(d.answers, QStringList());
}

// One line on standard output per chunk received.
void tst_Link::standardOutputLinePerChunk()
{
    qvxtest::Drive d;
    QCOMPARE(qvxtest::standardOutput([&d] { d.run("raw 5aa5022a; raw 05ff2f"); }),
             QByteArray("onDataReady:48 5a a5 02 2a \nonDataReady:48 05 ff 2f \n"));
}

QVX_VIRTUAL_TIME_MAIN(tst_Link)
#include "tst_link.moc"
