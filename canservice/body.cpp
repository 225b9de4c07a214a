// Body status: doors and the battery-voltage alert.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

namespace canservice {

int SimpleService::getDoorStatus()
{
    return mDoorStatus;
}

bool SimpleService::isFrontDoorOpen()
{
    return mDoorStatus & protocol::body::FrontDoor;
}

bool SimpleService::isRearDoorOpen()
{
    return mDoorStatus & protocol::body::RearDoor;
}

bool SimpleService::isLeftRearDoorOpen()
{
    return mDoorStatus & protocol::body::LeftRearDoor;
}

bool SimpleService::isRightRearDoorOpen()
{
    return mDoorStatus & protocol::body::RightRearDoor;
}

// The setting is read at every query, so a changed driver position applies without a new frame.
bool SimpleService::isLeftFrontDoorOpen()
{
    QVX_DBG << mem::SettingsUtil::instance()->getDriverPosition();
    return mDoorStatus &
           (mem::SettingsUtil::instance()->getDriverPosition() ? protocol::body::LeftFrontDoor
                                                               : protocol::body::RightFrontDoor);
}

bool SimpleService::isRightFrontDoorOpen()
{
    QVX_DBG << mem::SettingsUtil::instance()->getDriverPosition();
    return mDoorStatus &
           (mem::SettingsUtil::instance()->getDriverPosition() ? protocol::body::RightFrontDoor
                                                               : protocol::body::LeftFrontDoor);
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
    if (data.size() != protocol::len::Body) {
        QVX_ERR;
        return;
    }
    const int doors = protocol::u8(data, protocol::body::Doors);
    if (doors != mDoorStatus) {
        mDoorStatus = doors;
        emit doorChanged();
    }
}

void SimpleService::doBatteryVoltage(int, QByteArray &data)
{
    if (data.size() != protocol::len::Body) {
        QVX_ERR;
        return;
    }
    const int alert =
        (protocol::u8(data, protocol::body::Alerts) & protocol::body::BatteryAlert) ? 1 : 0;
    QVX_DBG << alert << mBatteryAlertType;
    if (alert != mBatteryAlertType) {
        mBatteryAlertType = alert;
        emit batteryVoltageAlert();
    }
}

} // namespace canservice
