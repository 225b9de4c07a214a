// canmonitor: the plugin in a window. Loads it as the head unit does and shows the car it
// decodes, its values over time and the frames on the line; with --simulate it also plays
// the adapter and lets the car be driven by clicking.

#include "monitorcore.h"
#include "monitorwindow.h"
#include "pluginload.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTextStream>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("canmonitor"));
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Loads the plugin as the head unit does and shows what it decodes: the car at a glance, "
        "values over time, the frames on the line. --simulate plays the adapter in-process and "
        "lets the car be driven from a side panel."));
    parser.addHelpOption();
    const QCommandLineOption plugin(
        "plugin", "Plugin file (default: the one built beside canmonitor).", "path");
    const QCommandLineOption port("port", "Serial device of the adapter.", "device");
    const QCommandLineOption modelIndex("model-index", "Vehicle model index sent at start.", "n");
    const QCommandLineOption modelId("model-id", "Vehicle model id.", "id");
    const QCommandLineOption driver("driver", "Driver position: left or right.", "side");
    const QCommandLineOption translations("translations", "Translations file (JSON, id: text).",
                                          "file");
    const QCommandLineOption log(
        "log", "Plugin diagnostics on standard error: all, errors, off (default errors).", "which",
        "errors");
    const QCommandLineOption simulate("simulate",
                                      "Play the adapter in-process on a pseudo-terminal.");
    const QCommandLineOption scenario(
        "scenario", "With --simulate: a scenario for the adapter to play.", "file");
    parser.addOptions(
        {plugin, port, modelIndex, modelId, driver, translations, log, simulate, scenario});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty()) {
        err << "canmonitor: unexpected argument '" << parser.positionalArguments().first() << "'\n";
        return 2;
    }

    monitor::Options options;
    options.plugin = parser.isSet(plugin) ? parser.value(plugin) : tools::defaultPluginPath();
    options.port = parser.value(port);
    options.modelIndex = parser.value(modelIndex);
    options.modelId = parser.value(modelId);
    options.driver = parser.value(driver);
    options.translations = parser.value(translations);
    options.log = parser.value(log);
    options.simulate = parser.isSet(simulate);
    options.scenario = parser.value(scenario);

    tools::divertPluginOutput(options.log == QLatin1String("all"));
    monitor::MonitorCore core;
    QString error;
    if (!core.open(options, &error)) {
        err << "canmonitor: " << error << '\n';
        return 2;
    }
    monitor::MonitorWindow window(&core);
    window.show();
    return app.exec();
}
