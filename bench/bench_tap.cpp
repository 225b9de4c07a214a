// What cantap adds to the line: the bench plays both ends on pseudo-terminals, cantap in the
// middle. Each round writes one adapter frame and waits until all of it has come out at the
// head unit's end, then answers with an ACK the other way; every byte is compared, so a byte
// lost or out of order ends the run. The same rounds without the tap (one pseudo-terminal,
// end to end) give the floor that the tap's latency is measured against.
//
//   bench_tap [--frames N] [--cantap PATH]
#include "protocol.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <random>
#include <termios.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Pty
{
    int master = -1, slave = -1;
    QString name;
    bool open()
    {
        char path[256];
        termios raw{};
        cfmakeraw(&raw);
        cfsetspeed(&raw, B38400);
        if (openpty(&master, &slave, path, &raw, nullptr) != 0)
            return false;
        name = QString::fromLocal8Bit(path);
        return true;
    }
};

int openRaw(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY);
    termios raw{};
    if (fd >= 0 && tcgetattr(fd, &raw) == 0) {
        cfmakeraw(&raw);
        tcsetattr(fd, TCSANOW, &raw);
    }
    return fd;
}

// Writes bytes at `to`, reads them at `from`; the microseconds until the last one arrived, or
// -1 when they did not arrive whole and in order within a second.
double roundTrip(int to, int from, const QByteArray &bytes)
{
    const Clock::time_point start = Clock::now();
    if (::write(to, bytes.constData(), size_t(bytes.size())) != bytes.size())
        return -1;
    QByteArray got;
    while (got.size() < bytes.size()) {
        pollfd p{from, POLLIN, 0};
        if (poll(&p, 1, 1000) <= 0)
            return -1;
        char buffer[512];
        const ssize_t n = ::read(from, buffer, sizeof buffer);
        if (n <= 0)
            return -1;
        got.append(buffer, int(n));
    }
    const double us = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    return got == bytes ? us : -1;
}

struct Stats
{
    std::vector<double> us;
    double at(double q)
    {
        std::sort(us.begin(), us.end());
        return us.empty() ? 0 : us[std::min(us.size() - 1, size_t(q * us.size()))];
    }
};

// Adapter frames of every kind the adapter sends, with random data.
std::vector<QByteArray> frames(int n)
{
    std::mt19937 random(305);
    int count = 0;
    const protocol::Command *table = protocol::commands(&count);
    std::vector<QByteArray> out;
    while (int(out.size()) < n) {
        const protocol::Command &c = table[random() % unsigned(count)];
        if (c.direction != protocol::ToHeadUnit)
            continue;
        QByteArray data(c.length == protocol::len::Any ? 5 : c.length, 0);
        for (char &b : data)
            b = char(random());
        out.push_back(protocol::build(c.id, data));
    }
    return out;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    int n = 100000;
    QString cantap = QStringLiteral(QVX_CANTAP_PATH);
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args.at(i) == QLatin1String("--frames"))
            n = args.at(i + 1).toInt();
        else if (args.at(i) == QLatin1String("--cantap"))
            cantap = args.at(i + 1);
    }
    if (n <= 0) {
        fprintf(stderr, "usage: bench_tap [--frames N] [--cantap PATH]\n");
        return 2;
    }
    const std::vector<QByteArray> sent = frames(n);

    // The floor: the same rounds through one pseudo-terminal.
    Pty direct;
    if (!direct.open())
        return 1;
    Stats floorIn, floorOut;
    for (int i = 0; i < std::min(n, 20000); ++i) {
        floorIn.us.push_back(roundTrip(direct.master, direct.slave, sent[size_t(i)]));
        floorOut.us.push_back(roundTrip(
            direct.slave, direct.master,
            protocol::build(protocol::cmd::Ack, sent[size_t(i)].mid(protocol::CommandAt, 1))));
    }

    QTemporaryDir dir;
    Pty adapter;
    if (!dir.isValid() || !adapter.open() ||
        !QFile::link(adapter.name, dir.filePath(QStringLiteral("adapter"))))
        return 1;
    QProcess tap;
    tap.setStandardOutputFile(QProcess::nullDevice()); // it prints every frame, as in use
    tap.setStandardInputFile(QProcess::nullDevice());
    tap.start(cantap,
              {"--adapter", dir.filePath("adapter"), "--headunit-pty", dir.filePath("headunit")});
    for (int i = 0; i < 100 && !QFile::exists(dir.filePath("headunit")); ++i)
        QThread::msleep(20);
    const int headUnit = openRaw(dir.filePath(QStringLiteral("headunit")));
    if (headUnit < 0) {
        fprintf(stderr, "bench_tap: cantap did not start (%s)\n", qPrintable(cantap));
        return 1;
    }
    QThread::msleep(300); // both of its ends open
    Stats in, out;
    for (int i = 0; i < n; ++i) {
        const QByteArray ack =
            protocol::build(protocol::cmd::Ack, sent[size_t(i)].mid(protocol::CommandAt, 1));
        const double a = roundTrip(adapter.master, headUnit, sent[size_t(i)]);
        const double b = roundTrip(headUnit, adapter.master, ack);
        if (a < 0 || b < 0) {
            fprintf(stderr, "bench_tap: round %d: bytes lost or out of order\n", i);
            return 1;
        }
        in.us.push_back(a);
        out.us.push_back(b);
    }
    tap.terminate();
    tap.waitForFinished();

    printf("cantap, %d frames each way, every byte arrived in order\n", n);
    printf("%-28s %10s %10s %10s\n", "microseconds per chunk", "median", "99%", "worst");
    printf("%-28s %10.1f %10.1f %10.1f\n", "adapter -> head unit", in.at(0.5), in.at(0.99),
           in.at(1));
    printf("%-28s %10.1f %10.1f %10.1f\n", "head unit -> adapter", out.at(0.5), out.at(0.99),
           out.at(1));
    printf("%-28s %10.1f %10.1f %10.1f\n", "floor (no tap), to h.u.", floorIn.at(0.5),
           floorIn.at(0.99), floorIn.at(1));
    printf("%-28s %10.1f %10.1f %10.1f\n", "floor (no tap), to adapter", floorOut.at(0.5),
           floorOut.at(0.99), floorOut.at(1));
    printf("added by the tap, median: %.1f us to the head unit, %.1f us to the adapter\n",
           in.at(0.5) - floorIn.at(0.5), out.at(0.5) - floorOut.at(0.5));
    return 0;
}
