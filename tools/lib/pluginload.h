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

// What the plugin prints on standard output goes to standard error when kept, else nowhere:
// a tool's own standard output carries its lines alone (take a copy of it first).
void divertPluginOutput(bool keep);

} // namespace tools
