#include "serialport.h"

#include "number.h"

#include <QtDebug>

namespace {

// Unset: 0. Anything else but a number is refused with a warning, and 0 it is.
int envInt(const char *name)
{
    const QString text = qEnvironmentVariable(name);
    int value = 0;
    if (!text.isEmpty() && !qvx::parseNumber(text, &value))
        qWarning().noquote() << qvx::numberError(QString::fromLatin1(name), text) + "; using 0";
    return value;
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
