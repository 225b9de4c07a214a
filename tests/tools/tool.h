#pragma once
// One of the bench programs run by a test, started through $QVX_TEST_EMULATOR when set.
#include <QFileInfo>
#include <QProcess>
#include <QtEndian>
#include <QtTest>

namespace {

constexpr int Slow = 20000; // generous: the suite may run under an emulator or sanitizers

struct Tool
{
    explicit Tool(const QString &path) : path(path) {}
    ~Tool()
    {
        process.kill();
        process.waitForFinished();
    }

    void start(const QStringList &args)
    {
        QStringList command = QString::fromLocal8Bit(qgetenv("QVX_TEST_EMULATOR"))
                                  .split(QLatin1Char(' '), Qt::SkipEmptyParts)
                              << path << args;
        process.start(command.takeFirst(), command);
        QVERIFY2(process.waitForStarted(), qPrintable(path));
    }
    // For the programs that make a pseudo-terminal: back once its link is there.
    void startWithLink(const QString &link, const QStringList &args)
    {
        start(args);
        QTRY_VERIFY_WITH_TIMEOUT(
            QFileInfo(link).isSymLink() || process.state() == QProcess::NotRunning, Slow);
        QVERIFY2(QFileInfo(link).isSymLink(), qPrintable(out() + err()));
    }
    // Written at once: a test that then blocks on another process runs no event loop.
    void send(const QByteArray &line)
    {
        process.write(line + '\n');
        process.waitForBytesWritten();
    }
    QString out() { return mOut += QString::fromUtf8(process.readAllStandardOutput()); }
    QString err() { return mErr += QString::fromUtf8(process.readAllStandardError()); }
    // -1 for a crash, or still running after ms.
    int exitCode(int ms = Slow)
    {
        const bool ended = process.waitForFinished(ms) || process.state() == QProcess::NotRunning;
        return ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    QProcess process;
    QString path;

private:
    QString mOut, mErr;
};

// A pcapng file's blocks in order, as "<type> <flags> <time> <bytes>": an interface's link
// type or a packet's direction flags, a packet's time in microseconds and bytes in hex. A block
// whose two lengths disagree ends them as "bad".
inline QStringList pcapngBlocks(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray f = file.readAll();
    const auto u32 = [&f](int at) { return qFromLittleEndian<quint32>(f.constData() + at); };
    QStringList blocks;
    for (int at = 0, size = 0; at + 12 <= f.size(); at += size) {
        size = int(u32(at + 4));
        if (size < 12 || size % 4 || at + size > f.size() || int(u32(at + size - 4)) != size)
            return blocks << "bad";
        const quint32 type = u32(at);
        const int length = type == 6 ? int(u32(at + 20)) : 0;
        quint32 flags = type == 1 ? u32(at + 8) & 0xFFFF : 0;
        quint64 usecs = 0;
        if (type == 6) {
            flags = u32(at + 28 + ((length + 3) & ~3) + 4);
            usecs = quint64(u32(at + 12)) << 32 | u32(at + 16);
        }
        blocks << QString::asprintf("%x %u %llu ", type, flags, usecs) +
                      f.mid(at + 28, length).toHex();
    }
    return blocks;
}

} // namespace
