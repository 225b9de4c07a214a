// Soak: plays the adapter on a pseudo-terminal and pushes frames of every adapter command,
// about 5 % of them with a bad checksum, in chunks of random size, into a host process
// (canhost with the plugin) as fast as the line takes them. Checks that the answers are
// exactly one ACK per good frame and one NAK per corrupt one, in order, and that the
// host's resident memory stays within a bound of its value after the first 10,000 frames.
//
//   qvx_soak [--frames N] [--seed S] [--corrupt PERCENT] -- HOST [ARGS...]
// The host finds the line in $CANSERVICE_SERIAL_PORT. Exit status 0 when every check held.

#include "reader.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStringList>
#include <QVector>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr quint8 Ack = protocol::cmd::Ack;
constexpr quint8 Nak = protocol::cmd::Nak;
constexpr quint8 Probe = 0x55; // a command no adapter frame of the stream uses
constexpr int Baseline = 10000;
constexpr qint64 RssSlackKb = 1024;

// A frame with its checksum, plus `skew` (0 for a good frame).
QByteArray frame(quint8 cmd, const QByteArray &data, quint8 skew = 0)
{
    QByteArray out = protocol::build(cmd, data);
    out[out.size() - 1] = char(quint8(out.back()) + skew);
    return out;
}

struct Sent
{
    quint8 answer; // Ack or Nak
    quint8 cmd;
};

// Frames of every adapter command with their own lengths, now and then one of a wrong
// length (acknowledged, then refused by its decoder), and never a length of 0, which no
// checksum ever ends.
class Stream
{
public:
    Stream(quint32 seed, int corruptPercent) : mRandom(seed), mCorrupt(corruptPercent) {}

    QByteArray next(Sent &sent)
    {
        // Every adapter command with its own length; the version text any length.
        int n = 0;
        const protocol::Command *table = protocol::commands(&n);
        QVector<const protocol::Command *> adapter;
        for (int i = 0; i < n; ++i) {
            if (table[i].direction == protocol::ToHeadUnit)
                adapter.append(&table[i]);
        }
        const protocol::Command &c = *adapter[mRandom.bounded(adapter.size())];
        int length = c.length != protocol::len::Any ? c.length : 1 + mRandom.bounded(24);
        if (mRandom.bounded(50) == 0)
            length = qBound(1, length + (mRandom.bounded(2) ? 1 : -1), 255);
        QByteArray data(length, '\0');
        for (char &b : data)
            b = char(mRandom.bounded(256));
        if (c.id == protocol::cmd::Wheel) // keys: mostly presses and releases
            data[protocol::wheel::Action] = char(mRandom.bounded(3));
        if (c.id == protocol::cmd::Panel)
            data[protocol::panel::Action] = char(mRandom.bounded(3));
        const bool corrupt = int(mRandom.bounded(100)) < mCorrupt;
        sent = {corrupt ? Nak : Ack, c.id};
        return frame(c.id, data, corrupt ? quint8(1 + mRandom.bounded(255)) : 0);
    }
    int chunk() { return 1 + mRandom.bounded(mRandom.bounded(8) == 0 ? 1024 : 64); }

private:
    QRandomGenerator mRandom;
    int mCorrupt;
};

qint64 rssKb(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

int usage()
{
    fprintf(stderr,
            "usage: qvx_soak [--frames N] [--seed S] [--corrupt PERCENT] -- HOST [ARGS...]\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    qint64 frames = 1000000;
    quint32 seed = 1;
    int corrupt = 5;
    while (!args.isEmpty() && args.first() != QLatin1String("--")) {
        const QString option = args.takeFirst();
        if (args.isEmpty())
            return usage();
        const QString value = args.takeFirst();
        if (option == QLatin1String("--frames"))
            frames = value.toLongLong();
        else if (option == QLatin1String("--seed"))
            seed = value.toUInt();
        else if (option == QLatin1String("--corrupt"))
            corrupt = value.toInt();
        else
            return usage();
    }
    if (args.size() < 2 || frames < 1)
        return usage();
    args.removeFirst();

    // The adapter's end. The other end stays open here too, raw, so that nothing written
    // before the host sets its own mode is echoed or edited.
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        perror("qvx_soak: pseudo-terminal");
        return 1;
    }
    const QByteArray device = ptsname(master);
    const int slave = ::open(device.constData(), O_RDWR | O_NOCTTY);
    termios tio;
    if (slave < 0 || tcgetattr(slave, &tio) != 0) {
        perror("qvx_soak: pseudo-terminal");
        return 1;
    }
    cfmakeraw(&tio);
    tcsetattr(slave, TCSANOW, &tio);
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);

    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("CANSERVICE_SERIAL_PORT"), QString::fromLocal8Bit(device));
    host.setProcessEnvironment(env);
    host.setStandardOutputFile(QProcess::nullDevice());
    host.setStandardErrorFile(QProcess::nullDevice());
    host.start(args.first(), args.mid(1));
    if (!host.waitForStarted(10000)) {
        fprintf(stderr, "qvx_soak: cannot start %s: %s\n", qPrintable(args.first()),
                qPrintable(host.errorString()));
        return 1;
    }
    const qint64 pid = host.processId();

    // The host's writes, read as the head unit's own rules read a stream.
    protocol::Reader reader;
    QElapsedTimer wire;
    wire.start();
    QList<protocol::Reader::Item> rx;
    const auto readAnswers = [&](int timeoutMs) {
        pollfd p{master, POLLIN, 0};
        if (poll(&p, 1, timeoutMs) <= 0)
            return;
        char buf[65536];
        ssize_t n;
        while ((n = ::read(master, buf, sizeof buf)) > 0) {
            for (const protocol::Reader::Item &item :
                 reader.feed(QByteArray(buf, int(n)), wire.elapsed())) {
                if (item.kind == protocol::Reader::Item::Frame)
                    rx.append(item);
            }
        }
    };
    const auto takeFrame = [&rx](quint8 &cmd, QByteArray &data) {
        if (rx.isEmpty())
            return false;
        const protocol::Reader::Item item = rx.takeFirst();
        cmd = quint8(item.cmd);
        data = item.data;
        return true;
    };

    // Wait until the host answers at all: a probe frame every half second.
    bool ready = false;
    QElapsedTimer clock;
    clock.start();
    const QByteArray probe = frame(Probe, QByteArray(1, '\0'));
    while (!ready && clock.elapsed() < 20000 && host.state() == QProcess::Running) {
        if (::write(master, probe.constData(), size_t(probe.size())) < 0 && errno != EAGAIN)
            break;
        QElapsedTimer wait;
        wait.start();
        while (!ready && wait.elapsed() < 500) {
            readAnswers(50);
            quint8 cmd;
            QByteArray data;
            while (takeFrame(cmd, data))
                ready = ready || (cmd == Ack && data == QByteArray(1, char(Probe)));
        }
    }
    if (!ready) {
        fprintf(stderr, "qvx_soak: the host never answered on %s\n", device.constData());
        host.kill();
        host.waitForFinished();
        return 1;
    }
    readAnswers(200); // late answers to extra probes
    rx.clear();

    Stream stream(seed, corrupt);
    QVector<Sent> expected;
    expected.reserve(int(qMin<qint64>(frames, 1 << 24)));
    QByteArray tx;
    qint64 generated = 0;
    qint64 answered = 0;
    qint64 good = 0;
    qint64 bad = 0;
    qint64 mismatches = 0;
    qint64 others = 0;
    qint64 baseline = -1;
    qint64 lowest = -1;
    qint64 highest = -1;
    qint64 nextSample = Baseline;
    QString firstMismatch;

    clock.restart();
    QElapsedTimer progress;
    progress.start();
    qint64 lastAnswered = 0;
    while (answered < frames) {
        while (tx.size() < 65536 && generated < frames) {
            Sent s;
            tx += stream.next(s);
            expected.append(s);
            ++generated;
        }
        pollfd p{master, short(POLLIN | (tx.isEmpty() ? 0 : POLLOUT)), 0};
        if (poll(&p, 1, 1000) < 0 && errno != EINTR)
            break;
        if (p.revents & POLLOUT) {
            const int n = qMin(tx.size(), stream.chunk());
            const ssize_t w = ::write(master, tx.constData(), size_t(n));
            if (w > 0)
                tx.remove(0, int(w));
        }
        if (p.revents & POLLIN)
            readAnswers(0);
        quint8 cmd;
        QByteArray data;
        while (takeFrame(cmd, data)) {
            if ((cmd != Ack && cmd != Nak) || data.size() != 1) {
                ++others; // the host's own frames
                continue;
            }
            if (quint8(data[0]) == Probe)
                continue;
            if (answered >= expected.size()) {
                ++mismatches;
                continue;
            }
            const Sent &want = expected[int(answered)];
            if (want.answer != cmd || want.cmd != quint8(data[0])) {
                if (firstMismatch.isEmpty())
                    firstMismatch = QStringLiteral("answer %1: got %2 for %3, expected %4 for %5")
                                        .arg(answered)
                                        .arg(cmd, 2, 16)
                                        .arg(quint8(data[0]), 2, 16)
                                        .arg(want.answer, 2, 16)
                                        .arg(want.cmd, 2, 16);
                ++mismatches;
            }
            (cmd == Ack ? good : bad) += 1;
            ++answered;
            if (answered == nextSample) {
                const qint64 rss = rssKb(pid);
                if (baseline < 0)
                    baseline = lowest = highest = rss;
                lowest = qMin(lowest, rss);
                highest = qMax(highest, rss);
                nextSample += Baseline;
            }
        }
        if (answered != lastAnswered) {
            lastAnswered = answered;
            progress.restart();
        } else if (progress.elapsed() > 10000 || host.state() != QProcess::Running) {
            break; // stalled, or the host is gone
        }
    }
    const double seconds = clock.nsecsElapsed() / 1e9;
    const bool alive = host.state() == QProcess::Running;
    host.terminate();
    if (!host.waitForFinished(5000)) {
        host.kill();
        host.waitForFinished();
    }
    ::close(slave);
    ::close(master);

    qint64 wantGood = 0;
    for (int i = 0; i < expected.size() && i < generated; ++i)
        wantGood += expected[i].answer == Ack;
    const bool complete = answered == frames && generated == frames;
    const bool exact = complete && mismatches == 0 && good == wantGood;
    // Too short a run for a baseline proves nothing either way about memory.
    const bool steady = frames < Baseline || (baseline > 0 && highest - baseline <= RssSlackKb);
    printf("soak: %lld frames (%lld good, %lld corrupt) in %.1f s: %.0f frames/s\n",
           static_cast<long long>(generated), static_cast<long long>(wantGood),
           static_cast<long long>(generated - wantGood), seconds, answered / seconds);
    printf("soak: answers %lld ACK, %lld NAK, %lld out of order or unexpected%s%s\n",
           static_cast<long long>(good), static_cast<long long>(bad),
           static_cast<long long>(mismatches),
           firstMismatch.isEmpty() ? "" : "; first: ", qPrintable(firstMismatch));
    printf("soak: resident memory after %d frames %lld kB, then %lld..%lld kB (%+lld kB)\n",
           Baseline, static_cast<long long>(baseline), static_cast<long long>(lowest),
           static_cast<long long>(highest), static_cast<long long>(highest - baseline));
    if (!alive)
        printf("soak: the host exited before the end\n");
    if (!complete)
        printf("soak: only %lld of %lld frames were answered\n", static_cast<long long>(answered),
               static_cast<long long>(frames));
    const bool pass = alive && exact && steady;
    printf("soak: %s\n", pass ? "PASS" : "FAIL");
    return pass ? 0 : 1;
}
