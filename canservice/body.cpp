// Body status: doors and the battery-voltage alert.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

int SimpleService::getDoorStatus()
{
    return 0;
}

bool SimpleService::isFrontDoorOpen()
{
    return false;
}

bool SimpleService::isRearDoorOpen()
{
    return false;
}

bool SimpleService::isLeftRearDoorOpen()
{
    return false;
}

bool SimpleService::isRightRearDoorOpen()
{
    return false;
}

bool SimpleService::isLeftFrontDoorOpen()
{
    return false;
}

bool SimpleService::isRightFrontDoorOpen()
{
    return false;
}

float SimpleService::getBatteryVoltageValue()
{
    return 0.0f;
}

QString SimpleService::getBatteryVoltageUnit()
{
    return QString();
}

int SimpleService::getBatteryVoltageAlertType()
{
    return 0;
}

void SimpleService::doDoor(int, QByteArray &) {}

void SimpleService::doBatteryVoltage(int, QByteArray &) {}

} // namespace canservice
