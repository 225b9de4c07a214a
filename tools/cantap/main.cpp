// cantap: sits between the adapter box and the head unit, passes every byte on, says what
// crossed in words, records both directions and breaks the link on purpose.

#include "canservicebase.h"
#include "hostevents.h"
#include "lineinput.h"
#include "links.h"
#include "pluginload.h"
#include "quitsignals.h"
#include "tap.h"
#include "tapend.h"
#include "terminalview.h"
#include "toolmain.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

using cantap::FromAdapter;
using cantap::FromHeadUnit;

bool sPluginLog = false;

void logHandler(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtDebugMsg && !sPluginLog)
        return;
    const QByteArray line = "plugin: " + message.toUtf8() + '\n';
    fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

class CanTap : public QObject
{
public:
    CanTap(QTextStream &out, int outFd, QTextStream &err) : mOut(out), mOutFd(outFd), mErr(err) {}
    ~CanTap() override;
    int run(QCoreApplication &app);

private:
    int usage(const QString &why)
    {
        mErr << "cantap: " << why << '\n';
        return 2;
    }
    bool startPlugin(const QString &path, QString *error);
    void runCommands(const QStringList &lines);
    void quit() { QCoreApplication::exit(0); }

    QTextStream &mOut;
    int mOutFd;
    QTextStream &mErr;
    QFile mNowhere; // the tap's lines while the view has the screen
    std::unique_ptr<QTextStream> mNowhereOut;
    std::unique_ptr<cantap::Tap> mTap;
    std::unique_ptr<cantap::TapEnd> mEnds[2];
    std::unique_ptr<tools::TerminalView> mView;
    // --plugin: the plugin on a pseudo-terminal of its own that hears the adapter's bytes.
    QTemporaryDir mPluginDir;
    std::unique_ptr<tools::PtyLink> mPluginLink;
    QPluginLoader mLoader;
    CanServiceBase *mService = nullptr;
    std::unique_ptr<tools::EventPrinter> mPrinter;
    protocol::Reader mPluginWrites;
    int mPluginFrames = 0;
    tools::LineInput mInput;
    int mInputLine = 0;
};

CanTap::~CanTap()
{
    mView.reset();
    if (mService)
        mService->stop();
    if (mService)
        delete mLoader.instance();
    if (mTap)
        mTap->finish();
}

int CanTap::run(QCoreApplication &app)
{
    // --plugin takes its path as --plugin=PATH, so that it may stand without one.
    QStringList args = app.arguments();
    QString pluginPath;
    bool plugin = false;
    for (int i = 1; i < args.size(); ++i) {
        if (args.at(i) == QLatin1String("--plugin")) {
            plugin = true;
            args.removeAt(i--);
        } else if (args.at(i).startsWith(QLatin1String("--plugin="))) {
            plugin = true;
            pluginPath = args.at(i).mid(9);
            args.removeAt(i--);
        }
    }
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Sits in the serial line between the adapter box and the head unit: passes every byte "
        "on at once, prints each frame in words with its direction, times and answers, records "
        "both directions and, typed on standard input, breaks the link on purpose.\n"
        "  cantap --adapter DEVICE --headunit DEVICE|--headunit-pty PATH [options]\n"
        "  cantap --listen ADAPTER_TX_DEVICE [HEADUNIT_TX_DEVICE] [options]\n"
        "--plugin[=PATH] also feeds the adapter's bytes to our plugin (the one built beside "
        "cantap by default), which only listens, and prints what it decodes."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const QCommandLineOption adapter("adapter", "The adapter box's serial device.", "device");
    const QCommandLineOption headunit("headunit", "The head unit's serial device.", "device");
    const QCommandLineOption headunitPty(
        "headunit-pty", "Create a pseudo-terminal for a head unit on this machine, linked at path.",
        "path");
    const QCommandLineOption listen(
        "listen", "Only listen: the adapter's transmit wire (and the head unit's, as an argument).",
        "device");
    const QCommandLineOption record(
        "record", "Record both directions; pcapng when the name ends in .pcapng.", "file");
    const QCommandLineOption view("view", "One screen: decoded state, frames, bytes; q quits.");
    const QCommandLineOption log("log", "The plugin's debug lines on standard error.");
    const QCommandLineOption duration("duration", "Stop after this many seconds.", "seconds");
    parser.addOptions({adapter, headunit, headunitPty, listen, record, view, log, duration});
    if (!parser.parse(args))
        return usage(parser.errorText());
    if (parser.isSet(helpOption)) {
        mOut << parser.helpText() << '\n' << cantap::tapCommandHelp();
        return 0;
    }
    const bool listening = parser.isSet(listen);
    const QStringList rest = parser.positionalArguments();
    if (listening) {
        if (parser.isSet(adapter) || parser.isSet(headunit) || parser.isSet(headunitPty))
            return usage(QStringLiteral("--listen hears the line; it takes no other ends"));
        if (rest.size() > 1)
            return usage(QStringLiteral("--listen takes one or two devices"));
    } else {
        if (!rest.isEmpty())
            return usage(QStringLiteral("unexpected argument '%1'").arg(rest.first()));
        if (!parser.isSet(adapter) || parser.isSet(headunit) == parser.isSet(headunitPty))
            return usage(QStringLiteral("give --adapter and one of --headunit and --headunit-pty, "
                                        "or --listen (--help shows how)"));
    }
    double seconds = 0;
    bool ok = true;
    if (parser.isSet(duration)) {
        seconds = parser.value(duration).toDouble(&ok);
        if (!ok || seconds <= 0)
            return usage(QStringLiteral("--duration takes a positive number of seconds"));
    }
    sPluginLog = parser.isSet(log);

    QTextStream *lines = &mOut;
    if (parser.isSet(view)) {
        mNowhere.setFileName(QStringLiteral("/dev/null"));
        mNowhere.open(QIODevice::WriteOnly);
        mNowhereOut = std::make_unique<QTextStream>(&mNowhere);
        lines = mNowhereOut.get();
    }
    mTap = std::make_unique<cantap::Tap>(*lines, listening);
    mTap->setHearsHeadUnit(!listening || rest.size() == 1);
    if (parser.isSet(record)) {
        QString error;
        if (!mTap->record(parser.value(record), &error))
            return usage(
                QStringLiteral("cannot record to %1: %2").arg(parser.value(record), error));
    }

    if (listening) {
        mEnds[FromAdapter] =
            std::make_unique<cantap::TapEnd>(QStringLiteral("adapter"), parser.value(listen), true);
        if (rest.size() == 1)
            mEnds[FromHeadUnit] =
                std::make_unique<cantap::TapEnd>(QStringLiteral("headunit"), rest.first(), true);
    } else {
        mEnds[FromAdapter] = std::make_unique<cantap::TapEnd>(QStringLiteral("adapter"),
                                                              parser.value(adapter), false);
        if (parser.isSet(headunit)) {
            mEnds[FromHeadUnit] = std::make_unique<cantap::TapEnd>(QStringLiteral("headunit"),
                                                                   parser.value(headunit), false);
        } else {
            QString error;
            mEnds[FromHeadUnit] =
                cantap::TapEnd::pty(QStringLiteral("headunit"), parser.value(headunitPty), &error);
            if (!mEnds[FromHeadUnit])
                return usage(error);
        }
    }
    for (cantap::Side s : {FromAdapter, FromHeadUnit}) {
        cantap::TapEnd *end = mEnds[s].get();
        if (!end)
            continue;
        connect(end, &cantap::TapEnd::received, mTap.get(),
                [this, s](const QByteArray &bytes) { mTap->arrived(s, bytes); });
        connect(end, &cantap::TapEnd::event, mTap.get(),
                [this, end](const QString &text) { mTap->note(end->name(), text); });
        mTap->setWriter(s, [end](const QByteArray &bytes) { return end->write(bytes); });
    }

    if (plugin) {
        QString error;
        if (!startPlugin(pluginPath.isEmpty() ? tools::defaultPluginPath()
                                              : QFileInfo(pluginPath).absoluteFilePath(),
                         &error))
            return usage(error);
    }
    for (auto &end : mEnds) {
        if (end)
            end->open();
    }

    if (parser.isSet(view)) {
        mView = std::make_unique<tools::TerminalView>(mService, &mTap->counters(), mOut,
                                                      isatty(mOutFd) ? mOutFd : -1);
        mView->setTitle(QStringLiteral("cantap --view   q quits"));
        if (!mService) {
            mView->setState([this] {
                QList<QPair<QString, QString>> rows;
                for (const QString &line :
                     mTap->car().describe().split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
                    const int at = line.indexOf(QRegularExpression(QStringLiteral("[: ]")));
                    rows.append({line.left(at), line.mid(at + 1).trimmed()});
                }
                return rows;
            });
        }
        mInput.takeKeys(); // q quits
    }
    connect(&mInput, &tools::LineInput::keys, this, [this](const QByteArray &keys) {
        if (keys.contains('q'))
            quit();
    });
    connect(&mInput, &tools::LineInput::lines, this, &CanTap::runCommands);
    if (seconds > 0)
        QTimer::singleShot(int(seconds * 1000), this, [this] { quit(); });
    tools::onQuitSignals(this, [this] { quit(); });
    return app.exec();
}

bool CanTap::startPlugin(const QString &path, QString *error)
{
    qInstallMessageHandler(logHandler);
    tools::divertPluginOutput(sPluginLog);
    if (!sPluginLog)
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QString link = mPluginDir.path() + QStringLiteral("/adapter");
    mPluginLink = tools::PtyLink::create(link, error);
    if (!mPluginLink)
        return false;
    qputenv("CANSERVICE_SERIAL_PORT", QFile::encodeName(link));
    mService = tools::loadService(path, &mLoader, error);
    if (!mService)
        return false;
    // Its writes go nowhere: they are counted.
    connect(mPluginLink.get(), &tools::AdapterLink::received, this, [this](const QByteArray &b) {
        for (const auto &item : mPluginWrites.feed(b, 0))
            mPluginFrames += item.kind == protocol::Reader::Item::Frame;
    });
    connect(mTap.get(), &cantap::Tap::delivered, this,
            [this](cantap::Side from, const QByteArray &bytes) {
                if (from == FromAdapter)
                    mPluginLink->write(bytes);
            });
    connect(mService, &CanServiceBase::notifyCanbusStatus, &mTap->counters(),
            &tools::LinkCounters::linkStatus);
    QTextStream *lines = mNowhereOut ? mNowhereOut.get() : &mOut;
    mPrinter = std::make_unique<tools::EventPrinter>(mService, *lines, false);
    mPrinter->setPrefix(QStringLiteral("plugin    "));
    mPrinter->note(QStringLiteral("loaded"), {}, QStringLiteral("%1, listening only").arg(path));
    mPrinter->connectSignals();
    mService->start();
    return true;
}

void CanTap::runCommands(const QStringList &lines)
{
    for (const QString &line : lines) {
        ++mInputLine;
        cantap::TapCommand command;
        QString error;
        if (!cantap::parseTapCommand(line, &command, &error) || !mTap->apply(command, &error)) {
            mErr << "cantap: input line " << mInputLine << ": " << error << '\n';
            mErr.flush();
            continue;
        }
        if (command.kind == cantap::TapCommand::Quit)
            quit();
        if (command.kind == cantap::TapCommand::State && mPrinter) {
            mPrinter->dumpState();
            mPrinter->note(QStringLiteral("wrote"), {},
                           QStringLiteral("%1 frames, which went nowhere").arg(mPluginFrames));
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    return tools::hostToolMain<CanTap>(argc, argv, "cantap");
}
