#include "pluginload.h"

#include "canservicebase.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace tools {

QString defaultPluginPath()
{
    const QString dir = QCoreApplication::applicationDirPath();
    const QString beside = dir + QStringLiteral("/libqvx_LSN305.so.1");
    if (QFileInfo::exists(beside))
        return beside;
    const QString installed =
        dir + QStringLiteral("/../" QVX_INSTALLED_PLUGIN_DIR "/libqvx_LSN305.so.1");
    if (QFileInfo::exists(installed))
        return installed;
    return QStringLiteral(QVX_DEFAULT_PLUGIN);
}

CanServiceBase *loadService(const QString &path, QPluginLoader *loader, QString *error)
{
    loader->setFileName(path);
    if (!QFileInfo::exists(path)) {
        *error = QStringLiteral("no plugin at %1").arg(path);
        return nullptr;
    }
    const QJsonObject meta = loader->metaData();
    if (!loader->load()) {
        *error = QStringLiteral("cannot load %1: %2").arg(path, loader->errorString());
        return nullptr;
    }
    QObject *instance = loader->instance();
    if (!instance) {
        *error = QStringLiteral("%1 has no plugin instance: %2").arg(path, loader->errorString());
        return nullptr;
    }
    auto *service = qobject_cast<CanServiceBase *>(instance);
    if (!service) {
        *error = QStringLiteral("%1 is not a CanServiceBase (%2 %3, interface %4 wanted)")
                     .arg(path, meta.value("className").toString(), meta.value("IID").toString(),
                          QStringLiteral(CanServiceBase_iid));
        delete instance;
    }
    return service;
}

void divertPluginOutput(bool keep)
{
    fflush(stdout);
    const int target = keep ? dup(STDERR_FILENO) : ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (target >= 0) {
        dup2(target, STDOUT_FILENO);
        ::close(target);
    }
}

} // namespace tools
