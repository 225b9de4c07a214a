// The service as the host finds it right after construction.
#include "testsupport.h"

#include <cstring>

class tst_Lifecycle : public QObject
{
    Q_OBJECT
private slots:
    void initialState();
    void carSettingDataBytes();
    void recordsStartEmpty();
};

void tst_Lifecycle::initialState()
{
    ServiceHarness h;
    CanServiceBase *s = h.service.get();
    QVERIFY(h.writes.isEmpty());
    QCOMPARE(s->getBatteryVoltageValue(), -2.0f);
    QCOMPARE(s->getBatteryVoltageUnit(), Translator::translate(339));
    QCOMPARE(s->getBatteryVoltageAlertType(), 0);
    QCOMPARE(s->getDoorStatus(), 0);
    QVERIFY(!s->isLeftFrontDoorOpen() && !s->isRightFrontDoorOpen() && !s->isFrontDoorOpen());
    const QList<int> radar{
        s->getFrontRadarLeftDistance(),        s->getFrontRadarMiddleLeftDistance(),
        s->getFrontRadarMiddleRightDistance(), s->getFrontRadarRightDistance(),
        s->getRearRadarLeftDistance(),         s->getRearRadarMiddleLeftDistance(),
        s->getRearRadarMiddleRightDistance(),  s->getRearRadarRightDistance(),
        s->getLeftRadarFrontDistance(),        s->getLeftRadarMiddleFrontDistance(),
        s->getLeftRadarMiddleRearDistance(),   s->getLeftRadarRearDistance(),
        s->getRightRadarFrontDistance(),       s->getRightRadarMiddleFrontDistance(),
        s->getRightRadarMiddleRearDistance(),  s->getRightRadarRearDistance()};
    for (int distance : radar)
        QCOMPARE(distance, 255);
    QCOMPARE(s->getTireAlertType(), 0);
    QCOMPARE(s->getTirePressureValueFL(), 0.0f);
    QVERIFY(s->getTireUnit().isEmpty());
    QCOMPARE(s->isPowerOff(), 0);
    QCOMPARE(s->getAcTemperature(), 0.0f);
    QCOMPARE(s->getAcWindMode(), 0);
    QCOMPARE(s->getRotate(), 0);
    QCOMPARE(s->getCoolantTemp(), 0);
    QVERIFY(s->version().isEmpty());
}

void tst_Lifecycle::carSettingDataBytes()
{
    ServiceHarness h;
    const CarSettingData data = h.service->getCarSettingData();
    unsigned char ambient[sizeof(AmbientLightData)];
    std::memcpy(ambient, &data.ambientLight, sizeof ambient);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(ambient), sizeof ambient).toHex(),
             QByteArray("01ffff0101"));
    QCOMPARE(data.evr.rgb, QByteArray("16777215"));
    QCOMPARE(int(data.evr.level), 0xFF);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(data.evr.flags), 3).toHex(),
             QByteArray("010101"));
    QCOMPARE(data.evr.state, 1);
}

void tst_Lifecycle::recordsStartEmpty()
{
    ServiceHarness h;
    FuelConsumptionData fuel;
    fuel.item1 = "old";
    QCOMPARE(h.service->getFuelConsumptionData(fuel), 0);
    QVERIFY(fuel.item1.isEmpty() && fuel.item6.isEmpty());
    DrivingData driving;
    driving.item18 = "old";
    QCOMPARE(h.service->getDrivingData(driving), 0);
    QVERIFY(driving.item1.isEmpty() && driving.item18.isEmpty());
    OtherInfoData other;
    other.flag = false;
    QCOMPARE(h.service->getOtherInfoData(other), 0);
    QVERIFY(other.item1.isEmpty() && other.item9.isEmpty());
    QCOMPARE(other.flag, true);
    QMap<QString, QString> map{{"a", "b"}};
    QCOMPARE(h.service->getVehicleData(map), 0);
    QCOMPARE(map, (QMap<QString, QString>{{"a", "b"}}));
    QCOMPARE(h.service->requestDrivingData(), 0);
    QVERIFY(h.writes.isEmpty());
}

QTEST_GUILESS_MAIN(tst_Lifecycle)
#include "tst_lifecycle.moc"
