// Trip computer, car information, fuel status and the adapter version.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

QString SimpleService::version()
{
    return QString();
}

int SimpleService::requestDrivingData()
{
    return 0;
}

int SimpleService::getVehicleData(QMap<QString, QString> &)
{
    return 0;
}

int SimpleService::getRotate()
{
    return 0;
}

int SimpleService::getCoolantTemp()
{
    return 0;
}

QString SimpleService::getCoolantTempUnit()
{
    return QString();
}

int SimpleService::getDrivingData(DrivingData &)
{
    return 0;
}

int SimpleService::getFuelConsumptionData(FuelConsumptionData &)
{
    return 0;
}

int SimpleService::getOtherInfoData(OtherInfoData &)
{
    return 0;
}

void SimpleService::doRotate(int, QByteArray &) {}

void SimpleService::doCarInformationData(int, QByteArray &) {}

void SimpleService::doFuelStatus(int, QByteArray &) {}

void SimpleService::doFuelConsumption(int, QByteArray &) {}

void SimpleService::doCurrentMileage(int, QByteArray &) {}

void SimpleService::doVersion(int, QByteArray &) {}

} // namespace canservice
