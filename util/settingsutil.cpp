#include "serialport.h"

namespace mem {

bool SettingsUtil::getDriverPosition(bool flag)
{
    return getSaver()->getValue(QStringLiteral("DriverPosition"),
                                QStringLiteral("/media/flash/nvm/factory/settings.ini"), flag);
}

bool SettingsUtil::getDriverPosition()
{
    return getDriverPosition(true);
}

} // namespace mem
