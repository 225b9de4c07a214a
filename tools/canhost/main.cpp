// canhost: loads the plugin the way the head unit does, prints what it decodes and passes
// typed commands to it.

#include "canservicebase.h"
#include "hostcommands.h"
#include "hostevents.h"
#include "hostsetup.h"
#include "lineinput.h"
#include "linkcounters.h"
#include "number.h"
#include "pcapng.h"
#include "pluginload.h"
#include "quitsignals.h"
#include "serialport.h"
#include "terminalview.h"
#include "toolmain.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QPluginLoader>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

class CanHost : public QObject
{
public:
    CanHost(QTextStream &out, int outFd, QTextStream &err) : mOut(out), mOutFd(outFd), mErr(err) {}
    ~CanHost() override;

    int run(QCoreApplication &app);

private:
    void runCommands();
    void execute(const tools::HostCommand &command);
    // A command that writes to the adapter; marked when the port is closed and nothing went.
    void noteSent(QJsonObject fields, QString words);
    void quit(int code = 0);

    QTextStream &mOut;
    int mOutFd;
    QTextStream &mErr;
    std::unique_ptr<tools::TerminalView> mView;
    QFile mNowhere; // the event lines while the view has the screen
    std::unique_ptr<QTextStream> mNowhereOut;
    QPluginLoader mLoader;
    QObject *mInstance = nullptr;
    CanServiceBase *mService = nullptr;
    std::unique_ptr<tools::EventPrinter> mPrinter;
    tools::LinkCounters mCounters;
    tools::PcapngWriter mPcapng;
    qint64 mEpochUsecs = 0; // when mClock started
    qint64 mLastInbound = 0;
    QElapsedTimer mClock;
    tools::LineInput mInput;
    QStringList mPending;
    int mInputLine = 0;
    bool mExitOnEof = false;
    bool mJson = false;
    QTimer mWait;
};

CanHost::~CanHost()
{
    mPcapng.close(mEpochUsecs + mClock.nsecsElapsed() / 1000);
    mView.reset();
    if (mService)
        mService->stop();
    delete mInstance; // the host owns the service
    canservice::SerialPort::stopRecording();
}

int CanHost::run(QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Loads the plugin as the head unit does, prints one line per signal with "
                       "the state it concerns, and reads commands from standard input."));
    const QCommandLineOption helpOption = parser.addHelpOption();
    const tools::HostOptions host("canhost");
    const QCommandLineOption json("json", "One JSON object per signal.");
    const QCommandLineOption record(
        "record", "Record the serial line to a capture file; pcapng when it ends in .pcapng.",
        "file");
    const QCommandLineOption duration("duration", "Stop after this many seconds.", "seconds");
    const QCommandLineOption exitOnEof("exit-on-eof", "Stop when standard input ends.");
    const QCommandLineOption view("view",
                                  "One screen: decoded state, frames, bytes both ways; q quits. "
                                  "Plain text once a second when not on a terminal.");
    host.addTo(parser);
    parser.addOptions({json, record, duration, exitOnEof, view});
    if (!parser.parse(app.arguments())) {
        mErr << "canhost: " << parser.errorText() << '\n';
        return 2;
    }
    if (parser.isSet(helpOption)) {
        mOut << parser.helpText() << '\n' << tools::hostCommandHelp();
        return 0;
    }
    const auto usage = [this](const QString &why) {
        mErr << "canhost: " << why << '\n';
        return 2;
    };
    if (!parser.positionalArguments().isEmpty())
        return usage(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));

    QString error;
    if (!tools::setPluginLog(parser.value(host.log), &error) ||
        !tools::setVehicleModel(parser.value(host.modelIndex), parser.value(host.modelId), &error))
        return usage(error);
    tools::divertPluginOutput(parser.value(host.log) == QLatin1String("all"));
    if (parser.isSet(host.driver)) {
        const QString side = parser.value(host.driver);
        if (side != QLatin1String("left") && side != QLatin1String("right"))
            return usage(QStringLiteral("--driver is left or right, not '%1'").arg(side));
        if (!tools::setDriverPosition(side == QLatin1String("left"), &error))
            return usage(error);
    }
    if (parser.isSet(host.translations))
        tools::setTranslations(parser.value(host.translations));
    if (parser.isSet(host.port))
        qputenv("CANSERVICE_SERIAL_PORT", QFile::encodeName(parser.value(host.port)));
    double seconds = 0;
    if (parser.isSet(duration)) {
        bool ok = false;
        seconds = parser.value(duration).toDouble(&ok);
        if (!ok || seconds <= 0)
            return usage(QStringLiteral("--duration takes a positive number of seconds"));
    }
    mEpochUsecs = QDateTime::currentMSecsSinceEpoch() * 1000;
    mClock.start();
    const bool pcapng = parser.value(record).endsWith(QLatin1String(".pcapng"));
    if (parser.isSet(record) && pcapng) {
        if (!mPcapng.open(parser.value(record), &error))
            return usage(
                QStringLiteral("cannot record to %1: %2").arg(parser.value(record), error));
    } else if (parser.isSet(record)) {
        if (!canservice::SerialPort::startRecording(parser.value(record), &error))
            return usage(
                QStringLiteral("cannot record to %1: %2").arg(parser.value(record), error));
    }
    mJson = parser.isSet(json);
    mExitOnEof = parser.isSet(exitOnEof);

    const QString path = QFileInfo(parser.isSet(host.plugin) ? parser.value(host.plugin)
                                                             : tools::defaultPluginPath())
                             .absoluteFilePath();
    mService = tools::loadService(path, &mLoader, &error);
    if (!mService)
        return usage(error);
    mInstance = mLoader.instance();
    const QJsonObject meta = mLoader.metaData();

    QTextStream *events = &mOut;
    if (parser.isSet(view)) {
        mNowhere.setFileName(QStringLiteral("/dev/null"));
        mNowhere.open(QIODevice::WriteOnly);
        mNowhereOut = std::make_unique<QTextStream>(&mNowhere);
        events = mNowhereOut.get();
    }
    mPrinter = std::make_unique<tools::EventPrinter>(mService, *events, mJson);
    mPrinter->note(
        QStringLiteral("plugin"),
        {{"path", path},
         {"className", meta.value("className")},
         {"iid", meta.value("IID")},
         {"metaData", meta.value("MetaData")}},
        QStringLiteral("%1: %2, %3")
            .arg(path, meta.value("className").toString(), meta.value("IID").toString()));
    canservice::SerialPort *serial = canservice::SerialPort::latest();
    const bool open = serial && serial->isOpen();
    const QString portName = serial ? serial->portName() : QString();
    mPrinter->note(QStringLiteral("port"), {{"name", portName}, {"open", open}},
                   open ? portName : QStringLiteral("%1 is not open").arg(portName));
    mPrinter->connectSignals();
    if (serial && mPcapng.isOpen()) {
        // The plugin answers inside the port's read signal, before this host hears of the
        // bytes: its writes are recorded once the bytes they answer are, and not earlier.
        const auto now = [this] { return mEpochUsecs + mClock.nsecsElapsed() / 1000; };
        connect(serial, &canservice::SerialPort::read, this, [this, now](const QByteArray &bytes) {
            mLastInbound = now();
            mPcapng.chunk(mLastInbound, true, bytes);
        });
        connect(serial, &canservice::SerialPort::written, this,
                [this, now, serial](const QByteArray &bytes) {
                    if (!serial->isOpen())
                        return; // what reached the adapter only
                    const qint64 at = now();
                    QMetaObject::invokeMethod(
                        this,
                        [this, at, bytes] { mPcapng.chunk(qMax(at, mLastInbound), false, bytes); },
                        Qt::QueuedConnection);
                });
    }
    if (serial) {
        connect(serial, &canservice::SerialPort::read, &mCounters,
                &tools::LinkCounters::fromAdapter);
        connect(serial, &canservice::SerialPort::written, &mCounters,
                [this](const QByteArray &bytes) { mCounters.fromHeadUnit(bytes); });
    }
    connect(mService, &CanServiceBase::notifyCanbusStatus, &mCounters,
            &tools::LinkCounters::linkStatus);
    mService->start();
    if (parser.isSet(view)) {
        mView = std::make_unique<tools::TerminalView>(mService, &mCounters, mOut,
                                                      isatty(mOutFd) ? mOutFd : -1);
        mInput.takeKeys(); // q quits
    }

    mWait.setSingleShot(true);
    connect(&mWait, &QTimer::timeout, this, &CanHost::runCommands);
    connect(&mInput, &tools::LineInput::keys, this, [this](const QByteArray &keys) {
        if (keys.contains('q'))
            quit();
    });
    connect(&mInput, &tools::LineInput::lines, this, [this](const QStringList &lines) {
        mPending << lines;
        runCommands();
    });
    connect(&mInput, &tools::LineInput::ended, this, &CanHost::runCommands);
    if (seconds > 0)
        QTimer::singleShot(int(seconds * 1000), this, [this] { quit(); });
    tools::onQuitSignals(this, [this] { quit(); });
    return app.exec();
}

void CanHost::runCommands()
{
    while (!mWait.isActive() && !mPending.isEmpty()) {
        const QString line = mPending.takeFirst();
        ++mInputLine;
        tools::HostCommand command;
        QString error;
        if (!tools::parseHostCommand(line, &command, &error)) {
            mErr << "canhost: input line " << mInputLine << ": " << error << '\n';
            mErr.flush();
            continue;
        }
        execute(command);
    }
    if (mInput.atEnd() && mPending.isEmpty() && !mWait.isActive() && mExitOnEof)
        quit();
}

void CanHost::noteSent(QJsonObject fields, QString words)
{
    const canservice::SerialPort *port = canservice::SerialPort::latest();
    const bool sent = port && port->isOpen();
    fields.insert(QStringLiteral("sent"), sent);
    if (!sent)
        words += QStringLiteral(" (not sent: port closed)");
    mPrinter->note(QStringLiteral("command"), fields, words);
}

void CanHost::execute(const tools::HostCommand &c)
{
    using tools::HostCommand;
    switch (c.kind) {
    case HostCommand::None:
        break;
    case HostCommand::Help:
        (mJson ? mErr : mOut) << tools::hostCommandHelp();
        (mJson ? mErr : mOut).flush();
        break;
    case HostCommand::Key: {
        const int result = mService->sendAcKey(c.a, c.b);
        noteSent(
            {{"command", "key"}, {"key", c.a}, {"value", c.b}, {"result", result}},
            QStringLiteral("climate key %1 value %2 (result %3)").arg(c.a).arg(c.b).arg(result));
        break;
    }
    case HostCommand::Source:
        mService->onRadioSourceInformation(c.name, c.info, c.a);
        noteSent({{"command", "source"},
                  {"type", c.a},
                  {"name", c.name},
                  {"info", QJsonArray::fromStringList(c.info)}},
                 QStringLiteral("source type %1, name \"%2\", texts \"%3\"")
                     .arg(c.a)
                     .arg(c.name, c.info.join(QStringLiteral("\", \""))));
        break;
    case HostCommand::Request: {
        const int result = mService->request(c.a, c.b);
        noteSent({{"command", "request"}, {"a", c.a}, {"b", c.b}, {"result", result}},
                 QStringLiteral("request 0x%1 0x%2")
                     .arg(c.a, 2, 16, QLatin1Char('0'))
                     .arg(c.b, 2, 16, QLatin1Char('0')));
        break;
    }
    case HostCommand::Model:
        CanBusManager::instance()->setCarModelId(c.a);
        mPrinter->note(QStringLiteral("command"), {{"command", "model"}, {"id", c.a}},
                       QStringLiteral("vehicle model id %1").arg(c.a));
        break;
    case HostCommand::Driver: {
        QString error;
        if (!tools::setDriverPosition(c.leftHand, &error)) {
            mErr << "canhost: " << error << '\n';
            mErr.flush();
        } else {
            mPrinter->note(QStringLiteral("command"),
                           {{"command", "driver"}, {"side", c.leftHand ? "left" : "right"}},
                           QStringLiteral("driver on the %1").arg(c.leftHand ? "left" : "right"));
        }
        break;
    }
    case HostCommand::State:
        mPrinter->dumpState();
        mPrinter->note(QStringLiteral("counters"), mCounters.json(), mCounters.text());
        break;
    case HostCommand::Wait:
        mWait.start(int(c.seconds * 1000));
        break;
    case HostCommand::Quit:
        quit();
        break;
    }
}

void CanHost::quit(int code)
{
    QCoreApplication::exit(code);
}

} // namespace

int main(int argc, char **argv)
{
    return tools::hostToolMain<CanHost>(argc, argv, "canhost");
}
