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

// A pcapng file's blocks in order: an interface's link type or a packet's direction flags (in
// flags), a packet's time and bytes; a block whose two lengths disagree ends them as type 0.
struct Block
{
    quint32 type = 0, flags = 0;
    qint64 usecs = 0;
    QByteArray bytes;
};
inline QList<Block> pcapngBlocks(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray f = file.readAll();
    const auto u32 = [&f](int at) { return qFromLittleEndian<quint32>(f.constData() + at); };
    QList<Block> blocks;
    for (int at = 0, size = 0; at + 12 <= f.size(); at += size) {
        size = int(u32(at + 4));
        if (size < 12 || size % 4 || at + size > f.size() || int(u32(at + size - 4)) != size)
            return blocks << Block{};
        Block b;
        b.type = u32(at);
        if (b.type == 1)
            b.flags = u32(at + 8) & 0xFFFF;
        if (b.type == 6) {
            b.bytes = f.mid(at + 28, int(u32(at + 20)));
            b.flags = u32(at + 28 + ((b.bytes.size() + 3) & ~3) + 4);
            b.usecs = qint64(quint64(u32(at + 12)) << 32 | u32(at + 16));
        }
        blocks << b;
    }
    return blocks;
}

} // namespace
