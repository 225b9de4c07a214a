// Receive-path benchmark. The plugin is loaded as a host loads it, and a long, realistic byte
// stream goes through the very slot that the serial port's read signal drives, under three
// logging setups: Qt's default handler into /dev/null, a handler that drops every line, and
// debug output switched off by logging rules. For the first two, a floor replays the same
// number of lines of the same lengths through QMessageLogger alone, so the ratio shows what
// the plugin costs beyond the lines it is obliged to write.
#include "canservicebase.h"
#include "protocol.h"
#include "serialport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPluginLoader>
#include <QProcess>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#ifndef QVX_PLUGIN_PATH
#define QVX_PLUGIN_PATH ""
#endif
#ifndef QVX_BENCH_BUILD_TYPE
#define QVX_BENCH_BUILD_TYPE ""
#endif

namespace {

using Clock = std::chrono::steady_clock;
namespace cmd = protocol::cmd;
namespace body = protocol::body;
namespace carinfo = protocol::carinfo;
namespace fuel = protocol::fuel;
namespace mileage = protocol::mileage;
namespace panel = protocol::panel;
namespace tyres = protocol::tyres;
namespace wheel = protocol::wheel;

// The results go to the descriptors the benchmark was started with; the plugin's own
// standard output and standard error go to /dev/null, as a quiet host would have them.
FILE *gOut = stdout;
FILE *gErr = stderr;

void redirectPluginOutput()
{
    fflush(stdout);
    fflush(stderr);
    gOut = fdopen(dup(STDOUT_FILENO), "w");
    gErr = fdopen(dup(STDERR_FILENO), "w");
    setvbuf(gErr, nullptr, _IONBF, 0);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    close(null);
}

long rssKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

// ---------------------------------------------------------------------------------------
// Input: what an adapter in a moving car sends, deterministic from a fixed seed.

struct Input
{
    QByteArray bytes;
    std::vector<int> frameEnds; // offset just past each frame
    int good = 0;
    int bad = 0;
    long noise = 0;
    int frames() const { return good + bad; }
    // Offset of the first frame end at or after `at`: a place where the parser is idle.
    int boundaryAfter(int at) const
    {
        const auto it = std::lower_bound(frameEnds.begin(), frameEnds.end(), at);
        return it == frameEnds.end() ? bytes.size() : *it;
    }
};

class Car
{
public:
    explicit Car(quint32 seed) : mRng(seed)
    {
        mClimate = QByteArray::fromHex("a0302c2c00041c1c00000000");
        mBody = QByteArray::fromHex("00000000000000000000");
        mRadar = QByteArray::fromHex("605a5a6064707064000000000");
        mRadar.resize(12);
    }

    // Weights of a busy minute: radar, climate and body status often, version rarely.
    QByteArray nextFrame(quint8 &id)
    {
        static const struct
        {
            quint8 cmd;
            int weight;
        } mix[] = {{cmd::Radar, 300}, {cmd::Climate, 200}, {cmd::Body, 200}, {cmd::CarInfo, 80},
                   {cmd::Tyres, 50},  {cmd::Mileage, 40},  {cmd::Fuel, 40},  {cmd::Wheel, 40},
                   {cmd::Panel, 20},  {cmd::Version, 2}};
        int total = 0;
        for (const auto &m : mix)
            total += m.weight;
        int pick = int(mRng() % quint32(total));
        for (const auto &m : mix) {
            if (pick < m.weight) {
                id = m.cmd;
                return data(m.cmd);
            }
            pick -= m.weight;
        }
        id = cmd::Radar;
        return data(cmd::Radar);
    }

    int below(int n) { return int(mRng() % quint32(n)); }

private:
    char drift(char value, int step, int low, int high)
    {
        const int v = std::clamp(quint8(value) + below(2 * step + 1) - step, low, high);
        return char(v);
    }

    QByteArray data(quint8 cmd)
    {
        switch (cmd) {
        case cmd::Radar: // eight distances drifting while parking, four status bytes
            for (int i = 0; i < 8; ++i)
                mRadar[i] = drift(mRadar[i], 3, 0, 255);
            return mRadar;
        case cmd::Climate: // the panel changes now and then
            if (below(20) == 0)
                mClimate[1 + below(11)] = char(below(256));
            return mClimate;
        case cmd::Body: // a door opens or closes now and then; battery alert or fuel warning
            if (below(50) == 0)
                mBody[body::Doors] = char(quint8(mBody[body::Doors]) ^ (1 << below(8)));
            if (below(100) == 0)
                mBody[body::Alerts] = char(quint8(mBody[body::Alerts]) ^
                                           (below(2) ? body::BatteryAlert : body::FuelWarning));
            return mBody;
        case cmd::CarInfo: { // engine speed and coolant
            mRpm = std::clamp(mRpm + below(201) - 100, 700, 6000);
            QByteArray d(protocol::len::CarInfo, 0);
            d[carinfo::Rotate] = char(mRpm >> 8);
            d[carinfo::Rotate + 1] = char(mRpm);
            d[carinfo::OtherInfo] = char(below(2));
            d[carinfo::Coolant] = char(80 + below(5));
            return d;
        }
        case cmd::Tyres: { // tyre monitoring with pressures around 2.3 bar
            QByteArray d(protocol::len::Tyres, 0);
            d[tyres::Status] = char(tyres::DataValid);
            for (int w = 0; w < 4; ++w) {
                const int p = 225 + below(10);
                d[tyres::Pressures + 2 * w] = char(p >> 8);
                d[tyres::Pressures + 2 * w + 1] = char(p);
            }
            if (below(20) == 0)
                d[tyres::Alerts + below(4)] = char(tyres::AlertReported | tyres::AlertSecondKind);
            return d;
        }
        case cmd::Mileage: { // odometer and driving time
            mMileage += below(3);
            QByteArray d(protocol::len::Mileage, 0);
            d[mileage::Mileage] = char(mMileage >> 8);
            d[mileage::Mileage + 1] = char(mMileage);
            d[mileage::Time] = 0;
            d[mileage::Time + 1] = char(mMileage / 60);
            d[mileage::Minutes] = char(mMileage % 60);
            return d;
        }
        case cmd::Fuel: { // trip computer figures
            QByteArray d(protocol::len::Fuel, 0);
            for (int k :
                 {fuel::Consumption1, fuel::Consumption4, fuel::Consumption5, fuel::Consumption6}) {
                const int v = 50 + below(100);
                d[k] = char(v >> 8);
                d[k + 1] = char(v);
            }
            d[fuel::DrivingA] = 0x01;
            d[fuel::DrivingA + 1] = char(below(256));
            d[fuel::DrivingB + 1] = 0x10;
            d[fuel::DrivingB + 2] = char(below(256));
            return d;
        }
        case cmd::Wheel: { // steering-wheel key: press, then release
            QByteArray d(protocol::len::Wheel, 0);
            if (!mSwcDown)
                mSwcKey = 1 + below(20);
            d[wheel::Code] = char(mSwcKey);
            d[wheel::Action] = char(mSwcDown ? protocol::key::Release : protocol::key::Press);
            mSwcDown = !mSwcDown;
            return d;
        }
        case cmd::Panel: { // panel key: press, then release
            QByteArray d(protocol::len::Panel, 0);
            if (!mPanelDown)
                mPanelKey = 1 + below(30);
            d[panel::Code] = char(mPanelKey);
            d[panel::Action] = char(mPanelDown ? protocol::key::Release : protocol::key::Press);
            mPanelDown = !mPanelDown;
            return d;
        }
        default: // the adapter's version text, zero padded
            return QByteArray("LSN305-V1.02.17", 16);
        }
    }

    std::mt19937 mRng;
    QByteArray mClimate;
    QByteArray mBody;
    QByteArray mRadar;
    int mRpm = 800;
    int mMileage = 12000;
    int mSwcKey = 1;
    int mPanelKey = 1;
    bool mSwcDown = false;
    bool mPanelDown = false;
};

// Frames in the adapter's layout; about 5 % with a wrong checksum, some noise between frames.
Input makeInput(int minBytes)
{
    Input in;
    Car car(0x5eed);
    in.bytes.reserve(minBytes + 512);
    while (in.bytes.size() < minBytes) {
        if (car.below(10) == 0) {
            for (int n = 1 + car.below(6); n > 0; --n) {
                int b = car.below(255);
                in.bytes.append(char(b >= protocol::Header1 ? b + 1 : b)); // never a header byte
                ++in.noise;
            }
        }
        quint8 cmd = 0;
        const QByteArray data = car.nextFrame(cmd);
        QByteArray frame = protocol::build(cmd, data);
        if (car.below(20) == 0) {
            frame[frame.size() - 1] = char(quint8(frame.back()) + 1 + car.below(255));
            ++in.bad;
        } else {
            ++in.good;
        }
        in.bytes.append(frame);
        in.frameEnds.push_back(in.bytes.size());
    }
    return in;
}

// ---------------------------------------------------------------------------------------
// Feeding. Each chunk is a fresh array, as the port's readAll() gives one.

Q_NEVER_INLINE void feedChunks(canservice::SerialPort *port, const char *data, int size, int chunk)
{
    for (int at = 0; at < size; at += chunk)
        emit port->read(QByteArray(data + at, std::min(chunk, size - at)));
}

// Feeds the input's first 64 KB or so, up to a frame end, so that the parser is left idle.
// Separate from feedChunks so that callgrind's toggle leaves the warm-up out.
Q_NEVER_INLINE void warmUp(canservice::SerialPort *port, const Input &in, int chunk)
{
    const int size = in.boundaryAfter(64 * 1024);
    for (int at = 0; at < size; at += chunk)
        emit port->read(QByteArray(in.bytes.constData() + at, std::min(chunk, size - at)));
}

// ---------------------------------------------------------------------------------------
// Logging setups.

enum Setup { DefaultHandler, DroppingHandler, DebugOff, SetupCount };
const char *const kSetupNames[] = {"default-handler", "dropping-handler", "debug-off"};

void dropLine(QtMsgType, const QMessageLogContext &, const QString &) {}

bool applySetup(Setup setup)
{
    qInstallMessageHandler(setup == DroppingHandler ? dropLine : nullptr);
    QLoggingCategory::setFilterRules(setup == DebugOff ? QStringLiteral("default.debug=false")
                                                       : QStringLiteral("default.debug=true"));
    return QLoggingCategory::defaultCategory()->isDebugEnabled() == (setup != DebugOff);
}

// Every line the plugin writes, by level and length; packed to keep millions of them small.
std::vector<quint32> *gCaptured = nullptr;

void captureLine(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    gCaptured->push_back(quint32(message.size()) << 3 | quint32(type));
}

// ---------------------------------------------------------------------------------------
// The floor: the captured lines again, in the plugin's format, through QMessageLogger alone.

class Floor
{
public:
    explicit Floor(const std::vector<quint32> &lines) : mLines(lines)
    {
        int longest = 0;
        for (const quint32 line : lines)
            longest = std::max(longest, int(line >> 3));
        mFiller = QByteArray(longest + 1, 'x');
        mFiller[longest] = 0;
    }

    Q_NEVER_INLINE void run(size_t count = SIZE_MAX) const
    {
        count = std::min(count, mLines.size());
        for (size_t i = 0; i < count; ++i)
            write(QtMsgType(mLines[i] & 7), int(mLines[i] >> 3));
    }

private:
    static constexpr const char *kFunction =
        "void canservice::SimpleService::onDataReady(QByteArray)";
    static constexpr int kLine = 55;

    static int digits(long n)
    {
        int d = 1;
        for (; n >= 10; n /= 10)
            ++d;
        return d;
    }

    // The filler string of exactly n characters.
    const char *text(int n) const { return mFiller.constData() + (mFiller.size() - 1 - n); }

    void write(QtMsgType type, int length) const
    {
        const long tid = syscall(SYS_gettid);
        const int fixed = 5 + 1 + digits(tid) + 1 + 1 + digits(kLine) + 1 + 2;
        const int functionLength = int(strlen(kFunction));
        const int rest = length - fixed; // for the function, and a blank and the message
        const char *function = kFunction;
        const char *message = nullptr;
        if (rest >= functionLength + 2)
            message = text(rest - functionLength - 1);
        else if (rest != functionLength)
            function = text(std::max(1, rest));
        QMessageLogger logger("simpleservice.cpp", kLine, function);
        QDebug line = type == QtCriticalMsg  ? logger.critical()
                      : type == QtWarningMsg ? logger.warning()
                      : type == QtInfoMsg    ? logger.info()
                                             : logger.debug();
        line << (type == QtCriticalMsg ? "[ERR]" : "[DBG]") << tid << function << kLine << "--";
        if (message)
            line << message;
    }

    const std::vector<quint32> &mLines;
    QByteArray mFiller;
};

// ---------------------------------------------------------------------------------------

struct Options
{
    QString plugin;
    std::vector<int> chunks{1, 16, 256, 4096};
    int bytes = 1000000;
    int reps = 3;
    bool json = false;
    bool callgrind = false;
    bool emulated = false;
    std::vector<Setup> setups{DefaultHandler, DroppingHandler, DebugOff};
    int callgrindChild = 0; // chunk size when running as callgrind's guest
};

struct Result
{
    Setup setup;
    int chunk;
    double ns = 1e300;      // best of the runs, per received byte
    double floorNs = 1e300; // same, for the floor
    bool hasFloor = false;
    size_t lines = 0; // log lines the plugin writes per pass over the input
    int runs = 0;
    long rssBefore = 0;
    long rssAfter = 0;
};

struct SendResult
{
    Setup setup;
    double climateUs = -1; // negative: the call wrote nothing
    double sourceUs = -1;
};

double nsPerByte(Clock::duration d, int bytes)
{
    return std::chrono::duration<double, std::nano>(d).count() / bytes;
}

class Bench
{
public:
    Bench(const Options &options, CanServiceBase *service, canservice::SerialPort *port)
        : mOptions(options), mService(service), mPort(port), mInput(makeInput(options.bytes))
    {}

    const Input &input() const { return mInput; }

    // Feeds the whole input once at `chunk`, keeps every line's length and checks that each
    // frame was answered: an ACK for each good one, a NAK for each bad one.
    bool calibrate(int chunk, std::vector<quint32> &lines, QString &error)
    {
        int acks = 0, naks = 0;
        const auto tap = QObject::connect(mPort, &canservice::SerialPort::written,
                                          [&](const QByteArray &bytes, bool) {
                                              const char cmd = bytes.size() > 3 ? bytes[3] : 0;
                                              acks += cmd == char(protocol::cmd::Ack);
                                              naks += cmd == char(protocol::cmd::Nak);
                                          });
        lines.clear();
        lines.reserve(size_t(mInput.bytes.size()) * (chunk == 1 ? 4 : 2));
        gCaptured = &lines;
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=true"));
        qInstallMessageHandler(captureLine);
        feedChunks(mPort, mInput.bytes.constData(), mInput.bytes.size(), chunk);
        qInstallMessageHandler(nullptr);
        gCaptured = nullptr;
        QObject::disconnect(tap);
        int critical = 0;
        for (const quint32 line : lines)
            critical += QtMsgType(line & 7) == QtCriticalMsg;
        // Only the NAK'd frames should be reported: more means a decoder rejects the input.
        if (critical != mInput.bad)
            fprintf(gErr, "bench_receive: note: %d critical lines for %d bad frames at chunk %d\n",
                    critical, mInput.bad, chunk);
        if (acks != mInput.good || naks != mInput.bad) {
            error = QStringLiteral("chunk %1: %2 ACK and %3 NAK frames for %4 good and %5 bad")
                        .arg(chunk)
                        .arg(acks)
                        .arg(naks)
                        .arg(mInput.good)
                        .arg(mInput.bad);
            return false;
        }
        return true;
    }

    Result measure(Setup setup, int chunk, const std::vector<quint32> &lines)
    {
        Result r{setup, chunk};
        r.hasFloor = setup != DebugOff;
        r.lines = lines.size();
        const Floor floor(lines);
        applySetup(setup);
        const char *data = mInput.bytes.constData();
        const int size = mInput.bytes.size();
        warmUp(mPort, mInput, chunk);
        if (r.hasFloor)
            floor.run(64 * 1024);
        // The warm-up ended between frames, and so does the input: every run starts idle.
        r.rssBefore = rssKb();
        // A fast setup's pass takes a few tens of milliseconds, too short for a best-of-three
        // to dodge other processes on a shared machine: such passes are repeated for a second.
        Clock::duration spent{};
        for (int rep = 0; rep < mOptions.reps || (spent < std::chrono::seconds(1) && rep < 50);
             ++rep) {
            Clock::time_point t0 = Clock::now();
            feedChunks(mPort, data, size, chunk);
            spent += Clock::now() - t0;
            ++r.runs;
            r.ns = std::min(r.ns, nsPerByte(Clock::now() - t0, size));
            if (r.hasFloor) {
                t0 = Clock::now();
                floor.run();
                r.floorNs = std::min(r.floorNs, nsPerByte(Clock::now() - t0, size));
            }
        }
        r.rssAfter = rssKb();
        return r;
    }

    // From the host's call to the frame's writeData, per call.
    SendResult measureSend(Setup setup)
    {
        SendResult r{setup};
        applySetup(setup);
        const QStringList info{QStringLiteral("87.50")};
        const QString band = QStringLiteral("FM1");
        r.climateUs = timeCall(protocol::cmd::ClimateKey, [&] { mService->sendAcKey(6, 1); });
        r.sourceUs = timeCall(protocol::cmd::Source,
                              [&] { mService->onRadioSourceInformation(band, info, 0); });
        return r;
    }

private:
    template <typename Call> double timeCall(char cmd, Call call)
    {
        int wrote = 0;
        const auto tap = QObject::connect(
            mPort, &canservice::SerialPort::written,
            [&](const QByteArray &bytes, bool) { wrote += bytes.size() > 3 && bytes[3] == cmd; });
        call();
        QObject::disconnect(tap);
        if (wrote != 1)
            return -1;
        constexpr int calls = 20000;
        double best = 1e300;
        for (int rep = 0; rep < mOptions.reps; ++rep) {
            const Clock::time_point t0 = Clock::now();
            for (int i = 0; i < calls; ++i)
                call();
            best = std::min(best, nsPerByte(Clock::now() - t0, calls) / 1000.0);
        }
        return best;
    }

    const Options &mOptions;
    CanServiceBase *mService;
    canservice::SerialPort *mPort;
    Input mInput;
};

// ---------------------------------------------------------------------------------------
// Instructions per received byte with debug output off, counted by callgrind in a guest run.

struct CallgrindResult
{
    int chunk;
    double instructionsPerByte = -1;
};

std::vector<CallgrindResult> runCallgrind(const Options &options, const QString &plugin, int bytes,
                                          QString &note)
{
    std::vector<CallgrindResult> out;
    const QString valgrind = QStandardPaths::findExecutable(QStringLiteral("valgrind"));
    if (valgrind.isEmpty()) {
        note = QStringLiteral("valgrind is not installed: no instruction counts");
        return out;
    }
    QTemporaryDir dir;
    for (const int chunk : options.chunks) {
        fprintf(gErr, "bench_receive: callgrind, debug-off, chunk %d\n", chunk);
        const QString file = dir.filePath(QStringLiteral("callgrind.%1").arg(chunk));
        QProcess guest;
        guest.setStandardOutputFile(QProcess::nullDevice());
        guest.setStandardErrorFile(QProcess::nullDevice());
        guest.start(valgrind,
                    {QStringLiteral("--tool=callgrind"),
                     QStringLiteral("--callgrind-out-file=") + file,
                     QStringLiteral("--collect-atstart=no"),
                     QStringLiteral("--toggle-collect=*feedChunks*"),
                     QCoreApplication::applicationFilePath(), QStringLiteral("--callgrind-guest"),
                     QString::number(chunk), QStringLiteral("--bytes"),
                     QString::number(options.bytes), QStringLiteral("--plugin"), plugin});
        CallgrindResult r{chunk};
        if (guest.waitForFinished(-1) && guest.exitCode() == 0) {
            QFile f(file);
            if (f.open(QIODevice::ReadOnly)) {
                for (const QByteArray &line : f.readAll().split('\n')) {
                    if (line.startsWith("summary:"))
                        r.instructionsPerByte = line.mid(8).trimmed().toDouble() / bytes;
                }
            }
        }
        if (r.instructionsPerByte < 0)
            note = QStringLiteral("callgrind run failed at chunk %1").arg(chunk);
        out.push_back(r);
    }
    return out;
}

// ---------------------------------------------------------------------------------------
// Report.

QString machine()
{
    QString cpu;
    QFile info(QStringLiteral("/proc/cpuinfo"));
    if (info.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : info.readAll().split('\n')) {
            if (line.startsWith("model name") || line.startsWith("Hardware")) {
                cpu = QString::fromLatin1(line.mid(line.indexOf(':') + 1).trimmed());
                break;
            }
        }
    }
    return QStringLiteral("%1, %2, %3 cores, Linux %4, Qt %5, %6 build")
        .arg(QSysInfo::currentCpuArchitecture(),
             cpu.isEmpty() ? QStringLiteral("unknown CPU") : cpu)
        .arg(QThread::idealThreadCount())
        .arg(QSysInfo::kernelVersion(), QString::fromLatin1(qVersion()),
             QStringLiteral(QVX_BENCH_BUILD_TYPE));
}

struct Target
{
    QString name;
    bool met;
    QString detail;
};

std::vector<Target> checkTargets(const std::vector<Result> &results)
{
    auto find = [&](Setup s, int chunk) -> const Result * {
        for (const Result &r : results) {
            if (r.setup == s && r.chunk == chunk)
                return &r;
        }
        return nullptr;
    };
    std::vector<Target> out;

    double worstRatio = 0;
    QString where;
    for (const Result &r : results) {
        if (r.hasFloor && r.chunk >= 16 && r.ns / r.floorNs > worstRatio) {
            worstRatio = r.ns / r.floorNs;
            where = QStringLiteral("%1 at chunk %2").arg(kSetupNames[r.setup]).arg(r.chunk);
        }
    }
    if (!where.isEmpty())
        out.push_back({QStringLiteral("default-handler and dropping-handler within 1.2x of their "
                                      "floor at chunks of 16 and more"),
                       worstRatio <= 1.2,
                       QStringLiteral("worst %1x, %2").arg(worstRatio, 0, 'f', 2).arg(where)});

    if (const Result *off = find(DebugOff, 256))
        out.push_back({QStringLiteral("debug-off at most 50 ns per byte at chunk 256"),
                       off->ns <= 50, QStringLiteral("%1 ns").arg(off->ns, 0, 'f', 1)});

    double worstSpeedup = 1e300;
    int worstChunk = 0;
    for (const Result &r : results) {
        const Result *def = find(DefaultHandler, r.chunk);
        if (r.setup == DebugOff && def && def->ns / r.ns < worstSpeedup) {
            worstSpeedup = def->ns / r.ns;
            worstChunk = r.chunk;
        }
    }
    if (worstChunk)
        out.push_back({QStringLiteral("debug-off at least 10x faster than default-handler"),
                       worstSpeedup >= 10,
                       QStringLiteral("worst %1x, at chunk %2")
                           .arg(worstSpeedup, 0, 'f', 1)
                           .arg(worstChunk)});

    long worstGrowth = LONG_MIN;
    for (const Result &r : results)
        worstGrowth = std::max(worstGrowth, r.rssAfter - r.rssBefore);
    if (!results.empty())
        out.push_back({QStringLiteral("resident memory grows by at most 1024 kB in every setup"),
                       worstGrowth <= 1024, QStringLiteral("worst %1 kB").arg(worstGrowth)});
    return out;
}

QString fixed(double v, int decimals)
{
    return QString::number(v, 'f', decimals);
}

void printTable(const Options &options, const Input &in, const std::vector<Result> &results,
                const std::vector<SendResult> &sends, const std::vector<CallgrindResult> &counts,
                const QString &callgrindNote, const std::vector<Target> &targets, long rssStart,
                long rssEnd)
{
    QString t;
    t += QStringLiteral("bench_receive: %1 bytes, %2 frames (%3 with a bad checksum), %4 noise "
                        "bytes; best of %5 runs or more\n")
             .arg(in.bytes.size())
             .arg(in.frames())
             .arg(in.bad)
             .arg(in.noise)
             .arg(options.reps);
    t += QStringLiteral("machine: %1\n").arg(machine());
    if (options.emulated)
        t += QStringLiteral("EMULATED: run under an instruction-set emulator; these numbers are "
                            "not timings of the target and no target is checked\n");
    t += QStringLiteral("\n%1 %2 %3 %4 %5 %6 %7\n")
             .arg(QStringLiteral("setup"), -17)
             .arg(QStringLiteral("chunk"), 6)
             .arg(QStringLiteral("ns/byte"), 9)
             .arg(QStringLiteral("floor"), 9)
             .arg(QStringLiteral("ratio"), 6)
             .arg(QStringLiteral("frames/s"), 10)
             .arg(QStringLiteral("RSS kB before -> after"), 24);
    for (const Result &r : results) {
        const double seconds = r.ns * in.bytes.size() / 1e9;
        t += QStringLiteral("%1 %2 %3 %4 %5 %6 %7\n")
                 .arg(QLatin1String(kSetupNames[r.setup]), -17)
                 .arg(r.chunk, 6)
                 .arg(fixed(r.ns, 1), 9)
                 .arg(r.hasFloor ? fixed(r.floorNs, 1) : QStringLiteral("-"), 9)
                 .arg(r.hasFloor ? fixed(r.ns / r.floorNs, 2) : QStringLiteral("-"), 6)
                 .arg(qRound64(in.frames() / seconds), 10)
                 .arg(QStringLiteral("%1 -> %2 (%3%4)")
                          .arg(r.rssBefore)
                          .arg(r.rssAfter)
                          .arg(r.rssAfter >= r.rssBefore ? "+" : "")
                          .arg(r.rssAfter - r.rssBefore),
                      24);
    }
    t += QStringLiteral("log lines the plugin writes per pass (debug on):");
    int lastChunk = 0;
    for (const Result &r : results) {
        if (r.chunk != lastChunk)
            t += QStringLiteral(" chunk %1: %2;").arg(r.chunk).arg(r.lines);
        lastChunk = r.chunk;
    }
    t += QStringLiteral("\nwhole run: resident memory %1 kB -> %2 kB\n").arg(rssStart).arg(rssEnd);
    if (!counts.empty() || !callgrindNote.isEmpty()) {
        t += QStringLiteral("\ncallgrind, debug-off, instructions per received byte:");
        for (const CallgrindResult &c : counts)
            t += QStringLiteral(" chunk %1: %2;").arg(c.chunk).arg(fixed(c.instructionsPerByte, 1));
        if (!callgrindNote.isEmpty())
            t += QStringLiteral(" (%1)").arg(callgrindNote);
        t += QLatin1Char('\n');
    }
    if (!sends.empty()) {
        t += QStringLiteral("\nsend path, microseconds per call (host call to writeData):\n");
        t += QStringLiteral("%1").arg(QString(), -17);
        for (const SendResult &s : sends)
            t += QStringLiteral(" %1").arg(QLatin1String(kSetupNames[s.setup]), 17);
        t += QLatin1Char('\n');
        auto row = [&](const char *name, double SendResult::*field) {
            t += QStringLiteral("%1").arg(QLatin1String(name), -17);
            for (const SendResult &s : sends) {
                t += QStringLiteral(" %1").arg(
                    s.*field < 0 ? QStringLiteral("no write") : fixed(s.*field, 2), 17);
            }
            t += QLatin1Char('\n');
        };
        row("climate command", &SendResult::climateUs);
        row("source status", &SendResult::sourceUs);
    }
    if (!options.emulated && !targets.empty()) {
        t += QStringLiteral("\ntargets:\n");
        for (const Target &target : targets)
            t += QStringLiteral("  [%1] %2: %3\n")
                     .arg(target.met ? QStringLiteral("met") : QStringLiteral("MISSED"),
                          target.name, target.detail);
    }
    fputs(t.toUtf8().constData(), gOut);
}

void printJson(const Options &options, const Input &in, const std::vector<Result> &results,
               const std::vector<SendResult> &sends, const std::vector<CallgrindResult> &counts,
               const std::vector<Target> &targets, long rssStart, long rssEnd)
{
    QJsonArray setups;
    for (const Result &r : results) {
        const double seconds = r.ns * in.bytes.size() / 1e9;
        setups.append(QJsonObject{
            {"name", kSetupNames[r.setup]},
            {"chunk", r.chunk},
            {"ns_per_byte", std::round(r.ns * 10) / 10},
            {"floor_ns_per_byte",
             r.hasFloor ? QJsonValue(std::round(r.floorNs * 10) / 10) : QJsonValue()},
            {"ratio",
             r.hasFloor ? QJsonValue(std::round(r.ns / r.floorNs * 1000) / 1000) : QJsonValue()},
            {"frames_per_second", qRound64(in.frames() / seconds)},
            {"log_lines", qint64(r.lines)},
            {"runs", r.runs},
            {"rss_before_kb", qint64(r.rssBefore)},
            {"rss_after_kb", qint64(r.rssAfter)},
            {"rss_growth_kb", qint64(r.rssAfter - r.rssBefore)},
        });
    }
    QJsonObject root{{"bytes", in.bytes.size()},
                     {"frames", in.frames()},
                     {"bad_frames", in.bad},
                     {"runs", options.reps},
                     {"machine", machine()},
                     {"emulated", options.emulated},
                     {"rss_whole_run_kb", QJsonArray{qint64(rssStart), qint64(rssEnd)}},
                     {"setups", setups}};
    QJsonArray send;
    for (const SendResult &s : sends) {
        auto us = [](double v) {
            return v < 0 ? QJsonValue() : QJsonValue(std::round(v * 100) / 100);
        };
        send.append(QJsonObject{{"name", kSetupNames[s.setup]},
                                {"climate_command_us", us(s.climateUs)},
                                {"source_status_us", us(s.sourceUs)}});
    }
    root.insert(QStringLiteral("send_path"), send);
    if (!counts.empty()) {
        QJsonArray cg;
        for (const CallgrindResult &c : counts)
            cg.append(QJsonObject{{"name", "debug-off"},
                                  {"chunk", c.chunk},
                                  {"instructions_per_byte",
                                   c.instructionsPerByte < 0
                                       ? QJsonValue()
                                       : QJsonValue(std::round(c.instructionsPerByte * 10) / 10)}});
        root.insert(QStringLiteral("callgrind"), cg);
    }
    if (!options.emulated) {
        QJsonArray t;
        bool all = true;
        for (const Target &target : targets) {
            t.append(QJsonObject{
                {"target", target.name}, {"met", target.met}, {"detail", target.detail}});
            all = all && target.met;
        }
        root.insert(QStringLiteral("targets"), t);
        root.insert(QStringLiteral("targets_met"), all);
    }
    fputs(QJsonDocument(root).toJson(QJsonDocument::Indented).constData(), gOut);
}

int usage(const QString &error)
{
    fprintf(gErr,
            "%s\nusage: bench_receive [--json] [--callgrind] [--runs N] [--bytes N] "
            "[--chunks 1,16,256,4096]\n    [--setups default-handler,dropping-handler,debug-off] "
            "[--plugin PATH] [--emulated]\n",
            qPrintable(error));
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    // The benchmark decides the logging setup itself; nothing from the environment may
    // switch lines off or change their form behind its back.
    qunsetenv("QT_LOGGING_RULES");
    qunsetenv("QT_LOGGING_CONF");
    qunsetenv("QT_MESSAGE_PATTERN");
    // No device may open: the port stays a stand-in whose read signal we drive.
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-bench-port");
    QCoreApplication app(argc, argv);

    Options options;
    options.plugin = QStringLiteral(QVX_PLUGIN_PATH);
    options.emulated = qEnvironmentVariableIntValue("QVX_BENCH_EMULATED") != 0;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        const QString &a = args[i];
        const bool hasValue = i + 1 < args.size();
        bool ok = true;
        if (a == QLatin1String("--json")) {
            options.json = true;
        } else if (a == QLatin1String("--callgrind")) {
            options.callgrind = true;
        } else if (a == QLatin1String("--emulated")) {
            options.emulated = true;
        } else if (a == QLatin1String("--runs") && hasValue) {
            options.reps = args[++i].toInt(&ok);
            ok = ok && options.reps > 0;
        } else if (a == QLatin1String("--bytes") && hasValue) {
            options.bytes = args[++i].toInt(&ok);
            ok = ok && options.bytes > 0;
        } else if (a == QLatin1String("--plugin") && hasValue) {
            options.plugin = args[++i];
        } else if (a == QLatin1String("--chunks") && hasValue) {
            options.chunks.clear();
            for (const QString &c : args[++i].split(QLatin1Char(','))) {
                options.chunks.push_back(c.toInt(&ok));
                if (!ok || options.chunks.back() <= 0)
                    break;
            }
        } else if (a == QLatin1String("--setups") && hasValue) {
            options.setups.clear();
            for (const QString &name : args[++i].split(QLatin1Char(','))) {
                const auto *end = std::end(kSetupNames);
                const auto *it = std::find(std::begin(kSetupNames), end, name);
                ok = ok && it != end;
                if (it != end)
                    options.setups.push_back(Setup(it - std::begin(kSetupNames)));
            }
        } else if (a == QLatin1String("--callgrind-guest") && hasValue) {
            options.callgrindChild = args[++i].toInt(&ok);
        } else {
            return usage(QStringLiteral("unknown argument %1").arg(a));
        }
        if (!ok)
            return usage(QStringLiteral("bad value for %1").arg(a));
    }

    redirectPluginOutput();

    // As a host does: load, tell the service where it lives, create it, cast it, start it.
    const QString path = QFileInfo(options.plugin).absoluteFilePath();
    QPluginLoader loader(path);
    if (!loader.load())
        return usage(QStringLiteral("cannot load %1: %2").arg(path, loader.errorString()));
    auto *service = qobject_cast<CanServiceBase *>(loader.instance());
    canservice::SerialPort *port = canservice::SerialPort::latest();
    if (!service || !port)
        return usage(QStringLiteral("%1 gives no CanServiceBase with a serial port").arg(path));
    service->start();

    Bench bench(options, service, port);
    const Input &in = bench.input();

    if (options.callgrindChild > 0) {
        applySetup(DebugOff);
        warmUp(port, in, options.callgrindChild);
        feedChunks(port, in.bytes.constData(), in.bytes.size(), options.callgrindChild);
        return 0;
    }

    for (const Setup s : {DefaultHandler, DroppingHandler, DebugOff}) {
        if (!applySetup(s)) {
            fprintf(gErr, "bench_receive: cannot set up %s\n", kSetupNames[s]);
            return 1;
        }
    }

    std::vector<Result> results;
    std::vector<quint32> lines;
    const long rssStart = rssKb();
    for (const int chunk : options.chunks) {
        QString error;
        if (!bench.calibrate(chunk, lines, error)) {
            fprintf(gErr, "bench_receive: the plugin missed frames: %s\n", qPrintable(error));
            return 1;
        }
        for (const Setup s : options.setups) {
            fprintf(gErr, "bench_receive: %s, chunk %d\n", kSetupNames[s], chunk);
            results.push_back(bench.measure(s, chunk, lines));
        }
    }
    lines = std::vector<quint32>();
    std::vector<SendResult> sends;
    for (const Setup s : options.setups)
        sends.push_back(bench.measureSend(s));
    const long rssEnd = rssKb();
    qInstallMessageHandler(nullptr);

    std::vector<CallgrindResult> counts;
    QString callgrindNote;
    if (options.callgrind)
        counts = runCallgrind(options, path, in.bytes.size(), callgrindNote);

    const std::vector<Target> targets = checkTargets(results);
    if (options.json)
        printJson(options, in, results, sends, counts, targets, rssStart, rssEnd);
    else
        printTable(options, in, results, sends, counts, callgrindNote, targets, rssStart, rssEnd);
    fflush(gOut);
    return 0;
}
