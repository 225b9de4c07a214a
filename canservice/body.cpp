// Body status: doors and the battery-voltage alert.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

namespace {
constexpr int BodyStatusLength = 10;
constexpr int DoorByte = 2;
constexpr int AlertByte = 6;

constexpr int FrontDoor = 0x04;
constexpr int RearDoor = 0x08;
constexpr int RightRearDoor = 0x10;
constexpr int LeftRearDoor = 0x20;
// The front doors as the adapter places them for driver position true; false swaps them.
constexpr int LeftFrontDoor = 0x40;
constexpr int RightFrontDoor = 0x80;

constexpr int BatteryAlert = 0x40;
} // namespace

int SimpleService::getDoorStatus()
{
    return mDoorStatus;
}

bool SimpleService::isFrontDoorOpen()
{
    return mDoorStatus & FrontDoor;
}

bool SimpleService::isRearDoorOpen()
{
    return mDoorStatus & RearDoor;
}

bool SimpleService::isLeftRearDoorOpen()
{
    return mDoorStatus & LeftRearDoor;
}

bool SimpleService::isRightRearDoorOpen()
{
    return mDoorStatus & RightRearDoor;
}

// The setting is read at every query, so a changed driver position applies without a new frame.
bool SimpleService::isLeftFrontDoorOpen()
{
    QVX_DBG << mem::SettingsUtil::instance()->getDriverPosition();
    return mDoorStatus &
           (mem::SettingsUtil::instance()->getDriverPosition() ? LeftFrontDoor : RightFrontDoor);
}

bool SimpleService::isRightFrontDoorOpen()
{
    QVX_DBG << mem::SettingsUtil::instance()->getDriverPosition();
    return mDoorStatus &
           (mem::SettingsUtil::instance()->getDriverPosition() ? RightFrontDoor : LeftFrontDoor);
}

// The adapter sends no voltage value, only the alert flag.
float SimpleService::getBatteryVoltageValue()
{
    return mBatteryVoltage;
}

QString SimpleService::getBatteryVoltageUnit()
{
    return mBatteryVoltageUnit;
}

int SimpleService::getBatteryVoltageAlertType()
{
    return mBatteryAlertType;
}

void SimpleService::doDoor(int, QByteArray &data)
{
    if (data.size() != BodyStatusLength) {
        QVX_ERR;
        return;
    }
    const int doors = frame::u8(data, DoorByte);
    if (doors != mDoorStatus) {
        mDoorStatus = doors;
        emit doorChanged();
    }
}

void SimpleService::doBatteryVoltage(int, QByteArray &data)
{
    if (data.size() != BodyStatusLength) {
        QVX_ERR;
        return;
    }
    const int alert = (frame::u8(data, AlertByte) & BatteryAlert) ? 1 : 0;
    QVX_DBG << alert << mBatteryAlertType;
    if (alert != mBatteryAlertType) {
        mBatteryAlertType = alert;
        emit batteryVoltageAlert();
    }
}

} // namespace canservice
