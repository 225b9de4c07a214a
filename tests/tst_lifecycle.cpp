// What the host finds before the adapter has said anything.
#include "drive.h"

#include <cstring>

class tst_Lifecycle : public QObject
{
    Q_OBJECT
private slots:
    void drive_data();
    QVX_DRIVE_ROWS
    void carSettingDataBytes();
    void recordsHandedOutWhole();
};

void tst_Lifecycle::drive_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("nothing reported, nothing written")
        << "sent=; answers=; getDoorStatus=0; doors=; radar=255 255 255 255 | 255 255 255 255 | "
           "255 255 255 255 255 255 255 255; tyres=0 0 0 0 0; pressures=0 0 0 0; getTireUnit=; "
           "climateFlags=; getAcTemperature=0; getAcRightTemperature=0; getAcRearTemperature=0; "
           "getAcWindMode=0; getAcWindScale=0; getRotate=0; getCoolantTemp=0; "
           "getCoolantTempUnit=°C; version=; fuel=; driving=; other=; "
           "getBatteryVoltageAlertType=0; getBatteryVoltageValue=-2; getBatteryVoltageUnit=V";
}

void tst_Lifecycle::carSettingDataBytes()
{
    qvxtest::Drive d;
    const CarSettingData data = d.service->getCarSettingData();
    unsigned char ambient[sizeof(AmbientLightData)];
    std::memcpy(ambient, &data.ambientLight, sizeof ambient);
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(ambient), sizeof ambient).toHex(),
             QByteArray("01ffff0101"));
    QCOMPARE(data.evr.rgb, QByteArray("16777215"));
    QCOMPARE(QByteArray(reinterpret_cast<const char *>(&data.evr.level), 4).toHex(),
             QByteArray("ff010101"));
    QCOMPARE(data.evr.state, 1);
}

// A record handed to the host is overwritten whole, the flag too; the map is left alone.
void tst_Lifecycle::recordsHandedOutWhole()
{
    qvxtest::Drive d;
    DrivingData driving;
    driving.item18 = "old";
    OtherInfoData other;
    other.item9 = "old";
    other.flag = false;
    QMap<QString, QString> map{{"a", "b"}};
    QCOMPARE(d.service->getDrivingData(driving) + d.service->getOtherInfoData(other) +
                 d.service->getVehicleData(map) + d.service->requestDrivingData(),
             0);
    QVERIFY(driving.item18.isEmpty() && other.item9.isEmpty() && other.flag);
    QCOMPARE(map, (QMap<QString, QString>{{"a", "b"}}));
}

QVX_VIRTUAL_TIME_MAIN(tst_Lifecycle)
#include "tst_lifecycle.moc"
