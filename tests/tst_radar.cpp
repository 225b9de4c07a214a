// Parking radar: raw distances in, bands out through the sixteen getters.
#include "testsupport.h"

namespace {
// A radar frame: rear sensors in bytes 0-3, front sensors in 4-7, 8-11 unread.
QByteArray radar(const QByteArray &rearThenFront, const QByteArray &tail = QByteArray(4, 0))
{
    return rearThenFront + tail;
}

// Front left, middle left, middle right, right, then rear in the same order.
QVector<int> frontAndRear(canservice::SimpleService *s)
{
    return {s->getFrontRadarLeftDistance(),        s->getFrontRadarMiddleLeftDistance(),
            s->getFrontRadarMiddleRightDistance(), s->getFrontRadarRightDistance(),
            s->getRearRadarLeftDistance(),         s->getRearRadarMiddleLeftDistance(),
            s->getRearRadarMiddleRightDistance(),  s->getRearRadarRightDistance()};
}

QVector<int> sides(canservice::SimpleService *s)
{
    return {s->getLeftRadarFrontDistance(),       s->getLeftRadarMiddleFrontDistance(),
            s->getLeftRadarMiddleRearDistance(),  s->getLeftRadarRearDistance(),
            s->getRightRadarFrontDistance(),      s->getRightRadarMiddleFrontDistance(),
            s->getRightRadarMiddleRearDistance(), s->getRightRadarRearDistance()};
}

} // namespace

class tst_Radar : public QObject
{
    Q_OBJECT
private slots:
    void bands_data();
    void bands();
    void slotLayout();
    void changeDetection();
    void wrongLength_data();
    void wrongLength();
};

void tst_Radar::bands_data()
{
    QTest::addColumn<int>("raw");
    QTest::addColumn<int>("level");
    QTest::newRow("0 is no reading") << 0 << 255;
    const int bounds[][3] = {{1, 38, 1},    {39, 69, 2},   {70, 100, 3},  {101, 131, 4},
                             {132, 162, 5}, {163, 193, 6}, {194, 224, 7}, {225, 255, 8}};
    for (const auto &b : bounds) {
        QTest::addRow("%d", b[0]) << b[0] << b[2];
        QTest::addRow("%d", b[1]) << b[1] << b[2];
    }
}

// Every sensor position maps the same way; the first all-zero frame changes nothing.
void tst_Radar::bands()
{
    QFETCH(int, raw);
    QFETCH(int, level);
    ServiceHarness h;
    QSignalSpy changed(h.service.get(), &CanServiceBase::sigRadarChanged);

    h.feedFrame(0x41, radar(QByteArray(8, char(raw))));

    QCOMPARE(changed.count(), raw == 0 ? 0 : 1);
    QCOMPARE(frontAndRear(h.service.get()), QVector<int>(8, level));
    QCOMPARE(sides(h.service.get()), QVector<int>(8, 255));
}

void tst_Radar::slotLayout()
{
    LogCapture log;
    ServiceHarness h;
    QCOMPARE(frontAndRear(h.service.get()), QVector<int>(8, 255));

    // One raw value per band 0 to 7, rear sensors first; the unread tail is not zero.
    h.feedFrame(0x41, radar(QByteArray::fromHex("012746658aa3c2e1"), QByteArray(4, char(0xFF))));

    QCOMPARE(frontAndRear(h.service.get()), (QVector<int>{5, 6, 7, 8, 1, 2, 3, 4}));
    QCOMPARE(sides(h.service.get()), QVector<int>(8, 255));
    // The copy's slot 4 before and after the rear sensors, then its slot 0.
    QCOMPARE(LogCapture::debugOf("doRadar"),
             (QStringList{"\"012746658aa3c2e1ffffffff\"", "255 19", "0 19", "4 19"}));
}

void tst_Radar::changeDetection()
{
    ServiceHarness h;
    QSignalSpy changed(h.service.get(), &CanServiceBase::sigRadarChanged);
    const QByteArray near = QByteArray::fromHex("2800000000000000"); // rear left 40

    h.feedFrame(0x41, radar(near));
    QCOMPARE(changed.count(), 1);
    h.feedFrame(0x41, radar(near));
    QCOMPARE(changed.count(), 1);
    h.feedFrame(0x41, radar(near, QByteArray::fromHex("01020304")));
    QCOMPARE(changed.count(), 1);
    h.feedFrame(0x41, radar(QByteArray::fromHex("4500000000000000"))); // 69: the same band
    QCOMPARE(changed.count(), 1);
    QCOMPARE(h.service->getRearRadarLeftDistance(), 2);

    h.feedFrame(0x41, radar(QByteArray::fromHex("4500000000000064"))); // front right 100
    QCOMPARE(changed.count(), 2);
    QCOMPARE(h.service->getFrontRadarRightDistance(), 3);
    QCOMPARE(h.service->getRearRadarLeftDistance(), 2);

    h.feedFrame(0x41, radar(QByteArray(8, 0))); // every sensor back to no reading
    QCOMPARE(changed.count(), 3);
    QCOMPARE(frontAndRear(h.service.get()), QVector<int>(8, 255));
}

void tst_Radar::wrongLength_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("11 bytes") << 11;
    QTest::newRow("13 bytes") << 13;
}

void tst_Radar::wrongLength()
{
    QFETCH(int, length);
    ServiceHarness h;
    h.feedFrame(0x41, radar(QByteArray(8, 0x01)));
    QSignalSpy changed(h.service.get(), &CanServiceBase::sigRadarChanged);
    LogCapture log;

    h.feedFrame(0x41, QByteArray(length, char(0xE0)));

    QCOMPARE(log.criticalCount("doRadar"), 1);
    QCOMPARE(changed.count(), 0);
    QCOMPARE(frontAndRear(h.service.get()), QVector<int>(8, 1));
}

QTEST_GUILESS_MAIN(tst_Radar)
#include "tst_radar.moc"
