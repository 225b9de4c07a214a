#include "hostsetup.h"

#include "number.h"
#include "serialport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdio>
#include <memory>

namespace tools {

namespace {

enum class LogLevel { All, Errors, Off };
LogLevel sLogLevel = LogLevel::Errors;
QElapsedTimer sLogClock;

void logHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (sLogLevel == LogLevel::Off || (sLogLevel == LogLevel::Errors && type == QtDebugMsg))
        return;
    const QByteArray line = QString::asprintf("[%8.3f] ", sLogClock.nsecsElapsed() / 1e9).toUtf8() +
                            message.toUtf8() + '\n';
    fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

} // namespace

HostOptions::HostOptions(const char *tool)
    : plugin("plugin", QStringLiteral("Plugin file (default: the one built beside %1).").arg(tool),
             "path"),
      port("port", "Serial device of the adapter.", "device"),
      modelIndex("model-index", "Vehicle model index sent at start.", "n"),
      modelId("model-id", "Vehicle model id.", "id"),
      driver("driver", "Driver position: left or right.", "side"),
      translations("translations", "Translations file (JSON, id: text).", "file"),
      log("log", "Plugin diagnostics on standard error: all, errors, off (default errors).",
          "which", "errors")
{}

void HostOptions::addTo(QCommandLineParser &parser) const
{
    parser.addOptions({plugin, port, modelIndex, modelId, driver, translations, log});
}

bool setPluginLog(const QString &which, QString *error)
{
    if (which == QLatin1String("all")) {
        sLogLevel = LogLevel::All;
    } else if (which == QLatin1String("errors")) {
        sLogLevel = LogLevel::Errors;
    } else if (which == QLatin1String("off")) {
        sLogLevel = LogLevel::Off;
    } else {
        *error = QStringLiteral("--log is all, errors or off, not '%1'").arg(which);
        return false;
    }
    sLogClock.start();
    qInstallMessageHandler(logHandler);
    // The plugin skips building its debug lines when the category is off.
    QLoggingCategory::setFilterRules(
        sLogLevel == LogLevel::All ? QString() : QStringLiteral("default.debug=false"));
    return true;
}

bool setVehicleModel(const QString &index, const QString &id, QString *error)
{
    int value = 0;
    if (!index.isEmpty()) {
        if (!qvx::parseNumber(index, &value)) {
            *error = qvx::numberError(QStringLiteral("--model-index"), index);
            return false;
        }
        CanBusManager::instance()->setQvxCarModelIndex(value);
    }
    if (!id.isEmpty()) {
        if (!qvx::parseNumber(id, &value)) {
            *error = qvx::numberError(QStringLiteral("--model-id"), id);
            return false;
        }
        CanBusManager::instance()->setCarModelId(value);
    }
    return true;
}

bool setDriverPosition(bool leftHand, QString *error)
{
    static std::unique_ptr<QTemporaryDir> root;
    if (!root) {
        root = std::make_unique<QTemporaryDir>();
        if (!root->isValid()) {
            *error = QStringLiteral("cannot make a settings folder: %1").arg(root->errorString());
            root.reset();
            return false;
        }
        qputenv("CANSERVICE_NVM_ROOT", QFile::encodeName(root->path()));
    }
    const QString file = root->path() + QStringLiteral("/media/flash/nvm/factory/settings.ini");
    QDir().mkpath(QFileInfo(file).path());
    QSettings settings(file, QSettings::IniFormat);
    settings.setValue(QStringLiteral("DriverPosition"), leftHand);
    settings.sync();
    if (settings.status() != QSettings::NoError) {
        *error = QStringLiteral("cannot write the driver position to %1").arg(file);
        return false;
    }
    return true;
}

void setTranslations(const QString &file)
{
    qputenv("CANSERVICE_TRANSLATIONS", QFile::encodeName(file));
    Translator::reload();
}

} // namespace tools
