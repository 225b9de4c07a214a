// Climate: the stored climate frame, the queries that decode it, the climate keys.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

int SimpleService::isPowerOff()
{
    return 0;
}

int SimpleService::isPowerOffRear()
{
    return 0;
}

int SimpleService::isRearClimate()
{
    return 0;
}

int SimpleService::isAcMax()
{
    return 0;
}

int SimpleService::isAc()
{
    return 0;
}

int SimpleService::isInside()
{
    return 0;
}

int SimpleService::isAuto()
{
    return 0;
}

int SimpleService::isDual()
{
    return 0;
}

int SimpleService::isRearDefrost()
{
    return 0;
}

int SimpleService::isFrontDefrost()
{
    return 0;
}

int SimpleService::getAcFrontLeftHeat()
{
    return 0;
}

int SimpleService::getAcFrontRightHeat()
{
    return 0;
}

int SimpleService::getAcRearLeftHeat()
{
    return 0;
}

int SimpleService::getAcRearRightHeat()
{
    return 0;
}

int SimpleService::isAcSwcHeat()
{
    return 0;
}

int SimpleService::isAcGlassHeat()
{
    return 0;
}

int SimpleService::isAirCareActive()
{
    return 0;
}

int SimpleService::getAirConProfile()
{
    return 0;
}

int SimpleService::getLeftVentilation()
{
    return 0;
}

int SimpleService::getRightVentilation()
{
    return 0;
}

int SimpleService::getAcWindMode()
{
    return 0;
}

int SimpleService::getAcWindScale()
{
    return 0;
}

int SimpleService::getAcWindModeRear()
{
    return 0;
}

int SimpleService::getAcWindScaleRear()
{
    return 0;
}

float SimpleService::getAcTemperature()
{
    return 0.0f;
}

float SimpleService::getAcRightTemperature()
{
    return 0.0f;
}

float SimpleService::getAcRearTemperature()
{
    return 0.0f;
}

QString SimpleService::getAcTemperatureUnit()
{
    return QString();
}

QString SimpleService::getAcRightTemperatureUnit()
{
    return QString();
}

int SimpleService::sendAcKey(int, int)
{
    return 0;
}

bool SimpleService::isSupportAc()
{
    return false;
}

int SimpleService::getAcTemperatureIndex()
{
    return 0;
}

int SimpleService::getAcRightTemperatureIndex()
{
    return 0;
}

int SimpleService::getAcRearTemperatureIndex()
{
    return 0;
}

void SimpleService::sendAcSet(unsigned char, unsigned char) {}

void SimpleService::doClimate(int, QByteArray &) {}

} // namespace canservice
