// Tyre monitoring: alerts and pressures.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

int SimpleService::getTireAlertType()
{
    return 0;
}

int SimpleService::getTireStatusFR()
{
    return 0;
}

int SimpleService::getTireStatusFL()
{
    return 0;
}

int SimpleService::getTireStatusRL()
{
    return 0;
}

int SimpleService::getTireStatusRR()
{
    return 0;
}

float SimpleService::getTirePressureValueFR()
{
    return 0.0f;
}

float SimpleService::getTirePressureValueFL()
{
    return 0.0f;
}

float SimpleService::getTirePressureValueRL()
{
    return 0.0f;
}

float SimpleService::getTirePressureValueRR()
{
    return 0.0f;
}

QString SimpleService::getTireUnit()
{
    return QString();
}

void SimpleService::doTireAlert(int, QByteArray &) {}

void SimpleService::doTireData(int, QByteArray &) {}

} // namespace canservice
