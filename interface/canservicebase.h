#pragma once

// The head unit's service interface. The host calls these operations by their
// place in the virtual table: their order is binding and must never change.

#include "records.h"

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtPlugin>

#define CanServiceBase_iid "com.norvane.canservicebase/1.0"

class CanServiceBase : public QObject
{
    Q_OBJECT
public:
    CanServiceBase() : QObject(nullptr) {}
    ~CanServiceBase() override {}

    virtual void start() = 0;
    virtual void stop() = 0;
    virtual int request(int, int) = 0;
    virtual QString version() = 0;
    virtual void requestSpeed() {}
    virtual float getSpeed() { return 0.0f; }
    virtual QString getSpeedUnit() { return QString(); }
    virtual QString getTemperatureStr() { return QString(); }
    virtual float getTemperature() { return -1.0f; }
    virtual QString getTemperatureUnit() { return QStringLiteral(""); }
    virtual float getTimeAllMileage() { return -1.0f; }
    virtual float getOilAllMileage() { return -1.0f; }
    virtual int requestDrivingData() = 0;
    virtual int requestMaintenanceData() { return -1; }
    virtual int getVehicleData(QMap<QString, QString> &) = 0;
    virtual int setSettings(int, int) { return -1; }
    virtual int getEarGlonass() { return -1; }
    virtual int getMileageUnits() { return -1; }
    virtual int flushDebugFile() { return -1; }
    virtual int getRotate() = 0;
    virtual int getCoolantTemp() = 0;
    virtual QString getCoolantTempUnit() = 0;
    virtual int getDoorStatus() = 0;
    virtual bool isFrontDoorOpen() = 0;
    virtual bool isRearDoorOpen() = 0;
    virtual bool isLeftRearDoorOpen() = 0;
    virtual bool isRightRearDoorOpen() = 0;
    virtual bool isLeftFrontDoorOpen() = 0;
    virtual bool isRightFrontDoorOpen() = 0;
    virtual int isRadarStatus() { return 1; }
    virtual int getTireAlertType() = 0;
    virtual int getTireStatusFR() = 0;
    virtual int getTireStatusFL() = 0;
    virtual int getTireStatusRL() = 0;
    virtual int getTireStatusRR() = 0;
    virtual float getTirePressureValueFR() = 0;
    virtual float getTirePressureValueFL() = 0;
    virtual float getTirePressureValueRL() = 0;
    virtual float getTirePressureValueRR() = 0;
    virtual QString getTireUnit() = 0;
    virtual float getBatteryVoltageValue() = 0;
    virtual QString getBatteryVoltageUnit() = 0;
    virtual int getBatteryVoltageAlertType() = 0;
    virtual int isPowerOff() = 0;
    virtual int isPowerOffRear() = 0;
    virtual int isRearClimate() = 0;
    virtual int isAcMax() = 0;
    virtual int isAc() = 0;
    virtual int isInside() = 0;
    virtual int isAuto() = 0;
    virtual int isDual() = 0;
    virtual int isRearDefrost() = 0;
    virtual int isFrontDefrost() = 0;
    virtual int getAcFrontLeftHeat() = 0;
    virtual int getAcFrontRightHeat() = 0;
    virtual int getAcRearLeftHeat() = 0;
    virtual int getAcRearRightHeat() = 0;
    virtual int isAcSwcHeat() = 0;
    virtual int isAcGlassHeat() = 0;
    virtual int isAirCareActive() = 0;
    virtual int getAirConProfile() = 0;
    virtual int getLeftVentilation() = 0;
    virtual int getRightVentilation() = 0;
    virtual int getAcWindMode() = 0;
    virtual int getAcWindScale() = 0;
    virtual int getAcWindModeRear() = 0;
    virtual int getAcWindScaleRear() = 0;
    virtual int getAcShowRequest() { return -1; }
    virtual float getAcTemperature() = 0;
    virtual float getAcRightTemperature() = 0;
    virtual float getAcRearTemperature() = 0;
    virtual QString getAcTemperatureUnit() = 0;
    virtual QString getAcRightTemperatureUnit() = 0;
    virtual int getAcAirClearStatus() { return -1; }
    virtual int sendAcKey(int, int) = 0;
    virtual int sendCarSettingKey(int, int) { return -1; }
    virtual int sendCameraKey(int, CameraData) { return -1; }
    virtual int getManualClimateMode() { return -1; }
    virtual int getDualControllableState() { return 1; }
    virtual int getFrontRadarLeftDistance() = 0;
    virtual int getFrontRadarMiddleLeftDistance() = 0;
    virtual int getFrontRadarMiddleRightDistance() = 0;
    virtual int getFrontRadarRightDistance() = 0;
    virtual int getRearRadarLeftDistance() = 0;
    virtual int getRearRadarMiddleLeftDistance() = 0;
    virtual int getRearRadarMiddleRightDistance() = 0;
    virtual int getRearRadarRightDistance() = 0;
    virtual int getLeftRadarFrontDistance() = 0;
    virtual int getLeftRadarMiddleFrontDistance() = 0;
    virtual int getLeftRadarMiddleRearDistance() = 0;
    virtual int getLeftRadarRearDistance() = 0;
    virtual int getRightRadarFrontDistance() = 0;
    virtual int getRightRadarMiddleFrontDistance() = 0;
    virtual int getRightRadarMiddleRearDistance() = 0;
    virtual int getRightRadarRearDistance() = 0;
    virtual int getCameraMode() { return -1; }
    virtual int getAmbientStatus() { return 1; }
    virtual CarSettingData getCarSettingData() { return CarSettingData(); }
    virtual int getDrivingData(DrivingData &) = 0;
    virtual QString getDrivingDataTitle1() { return QStringLiteral(""); }
    virtual QString getDrivingDataTitle2() { return QStringLiteral(""); }
    virtual QString getDrivingDataTitle3() { return QStringLiteral(""); }
    virtual void setDrivingDataPage(int) {}
    virtual int getMaintenanceData(VehicleMaintenanceData &) { return -1; }
    virtual int getFuelConsumptionData(FuelConsumptionData &) = 0;
    virtual int getUnitData(UnitData &) { return -1; }
    virtual void setUnitCmd(int) {}
    virtual int getOtherInfoData(OtherInfoData &) = 0;
    virtual void onRadioSourceInformation(QString, QStringList, int) = 0;
    virtual void setCanDrivingPosition(int) {}
    virtual int getCanDrivingPosition() { return -1; }
    virtual void requsetGauges() {}
    virtual void requsetClimate() {}
    virtual void requsetParkAssist() {}
    virtual void requsetVehicleInfo() {}
    virtual void requsetCarSetting() {}
    virtual void requsetDrinvingData() {}
    virtual void requsetMaintenance() {}
    virtual void requsetFuel() {}
    virtual void requsetUnitSettings() {}
    virtual void requsetOtherInfo() {}
    virtual GPSTimePacket GPSTimeSend(GPSTime &) { return GPSTimePacket(); }
    virtual void sendAnyData(QByteArray &) {}

signals:
    void notifyCanbusStatus(int status);
    void acStatusChanged();
    void doorChanged();
    void batteryVoltageAlert();
    void sigRadarChanged();
    void tireAlert();
    void tireDataChanged();
    void keyEvent(int keyCode, int keyState, bool fromSteeringWheel);
    void rotateChanged();
    void coolantemChanged();
    void otherInfoDataChanged();
    void fuelDataChanged();
    void drivingDataChanged();
    void sigVersionData();
};

Q_DECLARE_INTERFACE(CanServiceBase, CanServiceBase_iid)
