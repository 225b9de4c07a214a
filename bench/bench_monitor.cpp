// Monitor benchmark: canmonitor's core and window offscreen, on a pseudo-terminal whose other
// end plays an adapter writing frames of every kind with changing values. First paced at
// 1,000 frames a second, then as fast as the plugin takes them (at most 64 frames in flight).
// For each: frames the plugin handled per second, refreshes and car repaints per second, and
// the event loop's latency, as how late a 5 ms timer fires.
#include "carview.h"
#include "links.h"
#include "monitorcore.h"
#include "monitorwindow.h"
#include "protocol.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

#ifndef QVX_PLUGIN_PATH
#define QVX_PLUGIN_PATH ""
#endif

namespace {

FILE *gOut = stdout;

// Frame i of an endless drive: mostly radar, then climate, tyres, engine and doors.
QByteArray frame(int i)
{
    namespace cmd = protocol::cmd;
    namespace len = protocol::len;
    switch (i % 8) {
    case 1: {
        QByteArray d(len::Climate, 0);
        d[protocol::climate::Left] = char(40 + i % 10);
        d[protocol::climate::Right] = char(44 + i % 4);
        d[protocol::climate::Fan] = char(i % 7);
        return protocol::build(cmd::Climate, d);
    }
    case 3: {
        QByteArray d(len::Tyres, 0);
        d[protocol::tyres::Status] = char(protocol::tyres::DataValid);
        for (int w = 0; w < 4; ++w)
            d[protocol::tyres::Pressures + 2 * w + 1] = char(200 + (i + w) % 40);
        return protocol::build(cmd::Tyres, d);
    }
    case 5: {
        QByteArray d(len::CarInfo, 0);
        const int rpm = 800 + i * 13 % 3000;
        d[protocol::carinfo::Rotate] = char(rpm >> 8);
        d[protocol::carinfo::Rotate + 1] = char(rpm);
        d[protocol::carinfo::Coolant] = char(protocol::carinfo::CoolantOffset + 80 + i % 10);
        return protocol::build(cmd::CarInfo, d);
    }
    case 7: {
        QByteArray d(len::Body, 0);
        d[protocol::body::Doors] = char((i / 64) % 2 ? protocol::body::RearDoor : 0);
        return protocol::build(cmd::Body, d);
    }
    default: {
        QByteArray d(len::Radar, 0);
        for (int s = 0; s < 8; ++s)
            d[s] = char((i * 7 + s * 31) % 256);
        return protocol::build(cmd::Radar, d);
    }
    }
}

struct Result
{
    double seconds;
    qint64 sent, handled;
    int refreshes, paints;
    std::vector<double> lateMs;
};

int handled(const monitor::MonitorCore &core)
{
    int n = 0;
    for (const tools::LinkCounters::Frames &f : core.counters().frames())
        n += f.count;
    return n;
}

// Runs for `seconds`, writing `perSecond` frames a second, or as fast as they are taken (0).
Result run(monitor::MonitorCore &core, const monitor::CarView &view, tools::AdapterLink &adapter,
           int perSecond, double seconds)
{
    Result r{seconds, 0, 0, 0, 0, {}};
    const int handled0 = handled(core), refreshes0 = core.refreshes(), paints0 = view.paints();
    QElapsedTimer clock;
    clock.start();
    QTimer feed;
    feed.setTimerType(Qt::PreciseTimer);
    QObject::connect(&feed, &QTimer::timeout, [&] {
        const qint64 due = perSecond ? clock.nsecsElapsed() * perSecond / 1000000000
                                     : handled(core) - handled0 + 64;
        QByteArray bytes;
        for (; r.sent < due; ++r.sent)
            bytes += frame(int(r.sent));
        if (!bytes.isEmpty())
            adapter.write(bytes);
    });
    feed.start(perSecond ? 1 : 0);
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    double expected = 5;
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const double now = clock.nsecsElapsed() / 1e6;
        r.lateMs.push_back(std::max(0.0, now - expected));
        expected = now + 5;
    });
    probe.start(5);
    QEventLoop loop;
    QTimer::singleShot(int(seconds * 1000), &loop, &QEventLoop::quit);
    loop.exec();
    feed.stop();
    r.handled = handled(core) - handled0;
    r.refreshes = core.refreshes() - refreshes0;
    r.paints = view.paints() - paints0;
    return r;
}

void report(const char *name, Result r)
{
    std::sort(r.lateMs.begin(), r.lateMs.end());
    const auto at = [&r](double q) {
        return r.lateMs.empty() ? 0.0 : r.lateMs[size_t(q * double(r.lateMs.size() - 1))];
    };
    fprintf(gOut, "%-10s %8lld %10.0f %10.1f %9.1f %7.1f %7.1f %7.1f\n", name, (long long)r.sent,
            double(r.handled) / r.seconds, r.refreshes / r.seconds, r.paints / r.seconds, at(0.5),
            at(0.99), r.lateMs.empty() ? 0.0 : r.lateMs.back());
    fflush(gOut);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The results go to the standard output the benchmark was started with; the plugin's
    // own lines go nowhere.
    gOut = fdopen(dup(STDOUT_FILENO), "w");
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    QApplication app(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption seconds("seconds", "Seconds for each run (default 5).", "s", "5");
    parser.addOption(seconds);
    parser.addHelpOption();
    parser.process(app);
    const double each = std::max(1.0, parser.value(seconds).toDouble());

    QTemporaryDir dir;
    QString error;
    std::unique_ptr<tools::PtyLink> adapter =
        tools::PtyLink::create(dir.path() + "/adapter", &error);
    if (!adapter) {
        fprintf(stderr, "bench_monitor: %s\n", qPrintable(error));
        return 1;
    }
    monitor::Options options;
    options.plugin = QStringLiteral(QVX_PLUGIN_PATH);
    options.port = adapter->devicePath();
    monitor::MonitorCore core;
    if (!core.open(options, &error)) {
        fprintf(stderr, "bench_monitor: %s\n", qPrintable(error));
        return 1;
    }
    monitor::MonitorWindow window(&core);
    window.show();
    QElapsedTimer up;
    up.start();
    adapter->write(frame(0));
    while (!core.linkUp() && up.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    if (!core.linkUp()) {
        fprintf(stderr, "bench_monitor: the link did not come up\n");
        return 1;
    }
    fprintf(gOut, "canmonitor offscreen, %s, refresh every %d ms; %.0f s a run\n",
            qPrintable(QGuiApplication::platformName()), core.refreshInterval(), each);
    fprintf(gOut, "%-10s %8s %10s %10s %9s %7s %7s %7s\n", "feed", "sent", "frames/s", "refresh/s",
            "paints/s", "p50 ms", "p99 ms", "max ms");
    report("1000/s", run(core, *window.carView(), *adapter, 1000, each));
    report("flat out", run(core, *window.carView(), *adapter, 0, each));
    return 0;
}
