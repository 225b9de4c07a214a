// Parking radar: distance bands per sensor slot.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

int SimpleService::getFrontRadarLeftDistance()
{
    return 0;
}

int SimpleService::getFrontRadarMiddleLeftDistance()
{
    return 0;
}

int SimpleService::getFrontRadarMiddleRightDistance()
{
    return 0;
}

int SimpleService::getFrontRadarRightDistance()
{
    return 0;
}

int SimpleService::getRearRadarLeftDistance()
{
    return 0;
}

int SimpleService::getRearRadarMiddleLeftDistance()
{
    return 0;
}

int SimpleService::getRearRadarMiddleRightDistance()
{
    return 0;
}

int SimpleService::getRearRadarRightDistance()
{
    return 0;
}

int SimpleService::getLeftRadarFrontDistance()
{
    return 0;
}

int SimpleService::getLeftRadarMiddleFrontDistance()
{
    return 0;
}

int SimpleService::getLeftRadarMiddleRearDistance()
{
    return 0;
}

int SimpleService::getLeftRadarRearDistance()
{
    return 0;
}

int SimpleService::getRightRadarFrontDistance()
{
    return 0;
}

int SimpleService::getRightRadarMiddleFrontDistance()
{
    return 0;
}

int SimpleService::getRightRadarMiddleRearDistance()
{
    return 0;
}

int SimpleService::getRightRadarRearDistance()
{
    return 0;
}

void SimpleService::doRadar(int, QByteArray &) {}

} // namespace canservice
