#pragma once

// What a head unit sets up before it loads the plugin, for every tool that hosts it: the
// plugin's diagnostics, the vehicle model, the driver's side in the head unit's settings,
// the translations. Each takes the text as typed and says what is wrong with it.

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>

namespace tools {

// The options of every tool that hosts the plugin, spelled alike in each.
struct HostOptions
{
    explicit HostOptions(const char *tool);
    void addTo(QCommandLineParser &parser) const;

    QCommandLineOption plugin, port, modelIndex, modelId, driver, translations, log;
};

// The plugin's diagnostics on standard error, each line after its time: "all", "errors"
// (warnings and worse) or "off".
bool setPluginLog(const QString &which, QString *error);

// --model-index and --model-id as typed; an empty text leaves that one as it is.
bool setVehicleModel(const QString &index, const QString &id, QString *error);

// Written where the plugin reads it: a settings file in a folder of this process's own.
bool setDriverPosition(bool leftHand, QString *error);

void setTranslations(const QString &file);

} // namespace tools
