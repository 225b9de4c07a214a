// canmonitor: the plugin in a window. Loads it as the head unit does and shows the car it
// decodes, its values over time and the frames on the line; with --simulate it also plays
// the adapter and lets the car be driven by clicking.

#include "hostsetup.h"
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
    const tools::HostOptions host("canmonitor");
    const QCommandLineOption simulate("simulate",
                                      "Play the adapter in-process on a pseudo-terminal.");
    const QCommandLineOption scenario(
        "scenario", "With --simulate: a scenario for the adapter to play.", "file");
    host.addTo(parser);
    parser.addOptions({simulate, scenario});
    parser.process(app);
    if (!parser.positionalArguments().isEmpty()) {
        err << "canmonitor: unexpected argument '" << parser.positionalArguments().first() << "'\n";
        return 2;
    }

    monitor::Options options;
    options.plugin =
        parser.isSet(host.plugin) ? parser.value(host.plugin) : tools::defaultPluginPath();
    options.port = parser.value(host.port);
    options.modelIndex = parser.value(host.modelIndex);
    options.modelId = parser.value(host.modelId);
    options.driver = parser.value(host.driver);
    options.translations = parser.value(host.translations);
    options.log = parser.value(host.log);
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
