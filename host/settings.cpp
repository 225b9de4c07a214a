#include "serialport.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace mem {

// Read afresh at every call, so an edited file takes effect at the next query.
bool SettingsExe::getValue(QString key, QString file, bool defaultValue)
{
    QString path = file;
    const QString root = qEnvironmentVariable("CANSERVICE_NVM_ROOT");
    if (!root.isEmpty() && QDir::isAbsolutePath(file))
        path = root + file;
    if (!QFileInfo::exists(path))
        return defaultValue;
    QSettings settings(path, QSettings::IniFormat);
    const QVariant value = settings.value(key);
    return value.isValid() ? value.toBool() : defaultValue;
}

SettingsUtil *SettingsUtil::instance()
{
    static SettingsUtil util;
    return &util;
}

SettingsExe *SettingsUtil::getSaver()
{
    return &mSaver;
}

} // namespace mem
