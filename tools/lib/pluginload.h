#pragma once

// Loading the plugin as the head unit does, for every tool that hosts it.

#include <QJsonObject>
#include <QPluginLoader>
#include <QString>

class CanServiceBase;

namespace tools {

// The plugin beside the running program, else the installed one, else the one built with it.
QString defaultPluginPath();

// Loads path with loader; the service, or null with *error saying why.
CanServiceBase *loadService(const QString &path, QPluginLoader *loader, QString *error);

} // namespace tools
