// adaptersim: a CAN-bus adapter box on a pseudo-terminal or a real serial device.

#include "capture.h"
#include "links.h"
#include "number.h"
#include "quitsignals.h"
#include "scenario.h"
#include "simulator.h"
#include "textparse.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>
#include <QTextStream>

#include <unistd.h>

#include <memory>

namespace {

bool readText(const QString &path, QString *text, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    *text = QString::fromUtf8(file.readAll());
    return true;
}

int run(QCoreApplication &app, QTextStream &out, QTextStream &err)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Plays the CAN-bus adapter's side of the serial line: a scenario, a capture, or, with "
        "neither, just answers the head unit until stopped."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption pty("pty", "Create a pseudo-terminal and link its device to path.",
                                 "path");
    const QCommandLineOption port("port", "Use a real serial device (38400 8N1).", "device");
    const QCommandLineOption replay("replay", "Play the adapter's side of a capture.", "capture");
    const QCommandLineOption speed("speed", "Replay this many times faster (default 1).", "factor",
                                   "1");
    const QCommandLineOption noWait("no-wait",
                                    "Start at once instead of when the head unit first speaks.");
    const QCommandLineOption wait("wait",
                                  "Start after this many seconds when the head unit stays silent "
                                  "(default 2).",
                                  "seconds", "2");
    const QCommandLineOption quiet("quiet", "Do not print what the adapter writes.");
    const QCommandLineOption linger("linger", "After the summary, keep answering until stopped.");
    const QCommandLineOption settle(
        "settle", "Seconds left for answers after the last write (default 0.5).", "seconds", "0.5");
    const QCommandLineOption fanScale("fan-scale", "Fan codes run 0..18 (18, default) or 0..7 (7).",
                                      "top", "18");
    const QCommandLineOption check("check",
                                   "With --replay: compare the head unit's frames with the "
                                   "capture's, frame by frame; exit 1 on any difference.");
    const QCommandLineOption junit("junit", "Write the expectations (and the check) as JUnit XML.",
                                   "file");
    parser.addOptions(
        {pty, port, replay, speed, noWait, wait, quiet, linger, settle, fanScale, check, junit});
    parser.addPositionalArgument("scenario", "Scenario file to play.", "[scenario]");
    if (!parser.parse(app.arguments())) {
        err << "adaptersim: " << parser.errorText() << '\n';
        return 2;
    }
    if (parser.isSet(helpOption)) {
        out << parser.helpText() << '\n' << tools::Scenario::help();
        return 0;
    }
    const auto usage = [&err](const QString &why) {
        err << "adaptersim: " << why << '\n';
        return 2;
    };
    if (parser.isSet(pty) == parser.isSet(port))
        return usage(QStringLiteral("give either --pty PATH or --port DEVICE"));
    const QStringList positional = parser.positionalArguments();
    if (positional.size() > 1)
        return usage(QStringLiteral("one scenario at a time"));
    if (!positional.isEmpty() && parser.isSet(replay))
        return usage(QStringLiteral("a scenario or --replay, not both"));

    if (parser.isSet(check) && !parser.isSet(replay))
        return usage(QStringLiteral("--check compares a replay: give --replay CAPTURE"));
    tools::AdapterSimulator::Options options;
    options.check = parser.isSet(check);
    options.junit = parser.value(junit);
    options.waitForHost = !parser.isSet(noWait);
    options.quiet = parser.isSet(quiet);
    options.linger = parser.isSet(linger) || (positional.isEmpty() && !parser.isSet(replay));
    if (!tools::parseSeconds(parser.value(wait), &options.hostSilence))
        return usage(QStringLiteral("--wait takes seconds, not '%1'").arg(parser.value(wait)));
    if (!tools::parseSeconds(parser.value(settle), &options.settle))
        return usage(QStringLiteral("--settle takes seconds"));
    if (!qvx::parseNumber(parser.value(fanScale), &options.fanScale) ||
        (options.fanScale != 7 && options.fanScale != 18))
        return usage(
            QStringLiteral("--fan-scale is 7 or 18, not '%1'").arg(parser.value(fanScale)));
    double factor = 1;
    if (!tools::parseSeconds(parser.value(speed), &factor) || factor <= 0)
        return usage(QStringLiteral("--speed takes a positive number"));

    tools::Scenario scenario;
    QList<tools::CaptureRecord> capture;
    QString text;
    QString error;
    tools::ParseError parseError;
    if (!positional.isEmpty()) {
        if (!readText(positional.first(), &text, &error))
            return usage(error);
        if (!tools::Scenario::parse(text, &scenario, &parseError))
            return usage(parseError.toString(positional.first()));
    } else if (parser.isSet(replay)) {
        if (!readText(parser.value(replay), &text, &error))
            return usage(error);
        if (!tools::parseCapture(text, &capture, &parseError))
            return usage(parseError.toString(parser.value(replay)));
    }

    std::unique_ptr<tools::AdapterLink> link;
    if (parser.isSet(pty))
        link = tools::PtyLink::create(parser.value(pty), &error);
    else
        link = tools::SerialLink::open(parser.value(port), &error);
    if (!link)
        return usage(error);

    tools::AdapterSimulator simulator(link.get(), out, options);
    if (!positional.isEmpty())
        simulator.setScenario(scenario, positional.first());
    else if (parser.isSet(replay))
        simulator.setReplay(capture, factor, parser.value(replay));
    QObject::connect(&simulator, &tools::AdapterSimulator::finished, &app,
                     [](int code) { QCoreApplication::exit(code); });
    tools::onQuitSignals(&simulator, [&simulator] { simulator.stop(); });
    // Lines on standard input: help, state, or a scenario action without its time.
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray typed;
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[1024];
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            input.setEnabled(false);
            return;
        }
        typed.append(buffer, int(n));
        for (int end; (end = typed.indexOf('\n')) >= 0; typed.remove(0, end + 1))
            simulator.command(QString::fromUtf8(typed.left(end)));
    });
    simulator.start();
    return app.exec();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("adaptersim"));
    QTextStream out(stdout);
    out.setCodec("UTF-8");
    QTextStream err(stderr);
    err.setCodec("UTF-8");
    const int code = run(app, out, err);
    out.flush();
    err.flush();
    return code;
}
