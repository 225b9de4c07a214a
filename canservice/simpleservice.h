#pragma once

#include "canservicebase.h"
#include "serialport.h"

#include <QByteArray>
#include <QTimer>

namespace canservice {

// The vehicle-bus service: talks to the CAN-bus adapter box over the serial line and
// answers the head unit through CanServiceBase. Everything runs on the host's event loop.
class SimpleService : public CanServiceBase
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.norvane.CanServicePlugin")
    Q_INTERFACES(CanServiceBase)

public:
    SimpleService();
    ~SimpleService() override;

    // lifecycle
    void start() override;
    void stop() override;
    int request(int a, int b) override;
    void initData();

    // link
    int getCheckSum(QByteArray &bytes);
    void dispatchEvent(int cmd, QByteArray &data);
    void doHeartBeat();
    void sendStart();
    void sendCarSelect(unsigned char model, unsigned char second);
    void sendRequest(unsigned char a, unsigned char b);
    QString toString(unsigned char byte);
    QString toString(QByteArray &bytes);

    // climate
    int isPowerOff() override;
    int isPowerOffRear() override;
    int isRearClimate() override;
    int isAcMax() override;
    int isAc() override;
    int isInside() override;
    int isAuto() override;
    int isDual() override;
    int isRearDefrost() override;
    int isFrontDefrost() override;
    int getAcFrontLeftHeat() override;
    int getAcFrontRightHeat() override;
    int getAcRearLeftHeat() override;
    int getAcRearRightHeat() override;
    int isAcSwcHeat() override;
    int isAcGlassHeat() override;
    int isAirCareActive() override;
    int getAirConProfile() override;
    int getLeftVentilation() override;
    int getRightVentilation() override;
    int getAcWindMode() override;
    int getAcWindScale() override;
    int getAcWindModeRear() override;
    int getAcWindScaleRear() override;
    float getAcTemperature() override;
    float getAcRightTemperature() override;
    float getAcRearTemperature() override;
    QString getAcTemperatureUnit() override;
    QString getAcRightTemperatureUnit() override;
    int sendAcKey(int key, int value) override;
    bool isSupportAc();
    int getAcTemperatureIndex();
    int getAcRightTemperatureIndex();
    int getAcRearTemperatureIndex();
    void sendAcSet(unsigned char command, unsigned char value);
    void doClimate(int cmd, QByteArray &data);

    // body: doors and battery
    int getDoorStatus() override;
    bool isFrontDoorOpen() override;
    bool isRearDoorOpen() override;
    bool isLeftRearDoorOpen() override;
    bool isRightRearDoorOpen() override;
    bool isLeftFrontDoorOpen() override;
    bool isRightFrontDoorOpen() override;
    float getBatteryVoltageValue() override;
    QString getBatteryVoltageUnit() override;
    int getBatteryVoltageAlertType() override;
    void doDoor(int cmd, QByteArray &data);
    void doBatteryVoltage(int cmd, QByteArray &data);

    // radar
    int getFrontRadarLeftDistance() override;
    int getFrontRadarMiddleLeftDistance() override;
    int getFrontRadarMiddleRightDistance() override;
    int getFrontRadarRightDistance() override;
    int getRearRadarLeftDistance() override;
    int getRearRadarMiddleLeftDistance() override;
    int getRearRadarMiddleRightDistance() override;
    int getRearRadarRightDistance() override;
    int getLeftRadarFrontDistance() override;
    int getLeftRadarMiddleFrontDistance() override;
    int getLeftRadarMiddleRearDistance() override;
    int getLeftRadarRearDistance() override;
    int getRightRadarFrontDistance() override;
    int getRightRadarMiddleFrontDistance() override;
    int getRightRadarMiddleRearDistance() override;
    int getRightRadarRearDistance() override;
    void doRadar(int cmd, QByteArray &data);

    // tyres
    int getTireAlertType() override;
    int getTireStatusFR() override;
    int getTireStatusFL() override;
    int getTireStatusRL() override;
    int getTireStatusRR() override;
    float getTirePressureValueFR() override;
    float getTirePressureValueFL() override;
    float getTirePressureValueRL() override;
    float getTirePressureValueRR() override;
    QString getTireUnit() override;
    void doTireAlert(int cmd, QByteArray &data);
    void doTireData(int cmd, QByteArray &data);

    // keys
    void doSwc(int cmd, QByteArray &data);
    void doPanelKey(int cmd, QByteArray &data);
    void doKeyEvent(int cmd, QByteArray &data);

    // trip computer, car information and version
    QString version() override;
    int requestDrivingData() override;
    int getVehicleData(QMap<QString, QString> &data) override;
    int getRotate() override;
    int getCoolantTemp() override;
    QString getCoolantTempUnit() override;
    int getDrivingData(DrivingData &data) override;
    int getFuelConsumptionData(FuelConsumptionData &data) override;
    int getOtherInfoData(OtherInfoData &data) override;
    void doRotate(int cmd, QByteArray &data);
    void doCarInformationData(int cmd, QByteArray &data);
    void doFuelStatus(int cmd, QByteArray &data);
    void doFuelConsumption(int cmd, QByteArray &data);
    void doCurrentMileage(int cmd, QByteArray &data);
    void doVersion(int cmd, QByteArray &data);

    // source status
    void onRadioSourceInformation(QString name, QStringList info, int sourceType) override;
    void sendNaviStatus(QString name, QStringList info, int sourceType);

private slots:
    void onDataReady(QByteArray buf);
    void onLongPressTimeout();
    void onHeartBeatTimeout();
    void onmParseOutTmrout();

private:
    // Builds LEN, CMD, data and checksum behind the header and writes the frame in one call.
    void sendFrame(unsigned char cmd, const QByteArray &data, bool flag);
    // Press and release of either key source; one key is followed at a time.
    void handleKey(int code, int action, bool fromSwc);

    SerialPort mSerialPort;
    QTimer mParseOutTimer;
    QTimer mHeartBeatTimer;
    QTimer mLongPressTimer;
    QByteArray mParseData;
    QByteArray mClimateData;
    QByteArray mRadarData;
    FuelConsumptionData mFuelConsumptionData;
    DrivingData mDrivingData;
    OtherInfoData mOtherInfoData;
    QString mTireUnit;
    QString mBatteryVoltageUnit;
    QString mVersion;
    int mDoorStatus;
    int mParseState;
    int mParseCmd;
    int mParseLen;
    int mParseSum;
    int mKeyCode;
    int mTireAlertType;
    int mTireStatus[4];     // front left, front right, rear left, rear right
    float mTirePressure[4]; // same order
    int mRotate;
    int mCoolantTemp;
    int mOtherInfoValue;
    float mBatteryVoltage;
    int mBatteryAlertType;
    int mFuelStatus;
    bool mKeyFromSwc;
    bool mKeyPressed;
};

} // namespace canservice
