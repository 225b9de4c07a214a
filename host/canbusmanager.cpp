#include "serialport.h"

namespace {

// Decimal or 0x-hex, else 0.
int envInt(const char *name)
{
    bool ok = false;
    const int value = qEnvironmentVariable(name).trimmed().toInt(&ok, 0);
    return ok ? value : 0;
}

} // namespace

CanBusManager::CanBusManager()
    : mCarModelIndex(envInt("CANSERVICE_CAR_MODEL_INDEX")),
      mCarModelId(envInt("CANSERVICE_CAR_MODEL_ID"))
{}

CanBusManager *CanBusManager::instance()
{
    static CanBusManager manager;
    return &manager;
}

int CanBusManager::getQvxCarModelIndex()
{
    return mCarModelIndex;
}

int CanBusManager::getCarModelId()
{
    return mCarModelId;
}

void CanBusManager::setQvxCarModelIndex(int index)
{
    mCarModelIndex = index;
}

void CanBusManager::setCarModelId(int id)
{
    mCarModelId = id;
}
