#pragma once
// One of the bench programs run by a test, started through $QVX_TEST_EMULATOR when set.
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
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
    // canhost --json, one object a line (a line that is not JSON, an empty one).
    QList<QJsonObject> events()
    {
        QList<QJsonObject> list;
        for (const QString &line : out().split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            list << QJsonDocument::fromJson(line.toUtf8()).object();
        return list;
    }
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

} // namespace
