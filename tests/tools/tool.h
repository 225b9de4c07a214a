#pragma once
// One of the bench programs run by a test, started through $QVX_TEST_EMULATOR when set.
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

namespace {

constexpr int Slow = 20000; // generous: the suite may run under an emulator or sanitizers

class Tool
{
public:
    explicit Tool(const QString &path) : mPath(path) {}
    ~Tool()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
        }
    }

    void start(const QStringList &args)
    {
        QStringList command = QString::fromLocal8Bit(qgetenv("QVX_TEST_EMULATOR"))
                                  .split(QLatin1Char(' '), Qt::SkipEmptyParts);
        command << mPath << args;
        process.setProgram(command.takeFirst());
        process.setArguments(command);
        process.start();
        QVERIFY2(process.waitForStarted(), qPrintable(mPath));
    }
    // Written at once: a test that then blocks on another process runs no event loop.
    void send(const QByteArray &line)
    {
        process.write(line + '\n');
        process.waitForBytesWritten();
    }
    QString out()
    {
        mOut += QString::fromUtf8(process.readAllStandardOutput());
        return mOut;
    }
    QString err()
    {
        mErr += QString::fromUtf8(process.readAllStandardError());
        return mErr;
    }
    // canhost --json: one object a line; anything else is a fault.
    QList<QJsonObject> events()
    {
        QList<QJsonObject> list;
        for (const QString &line : out().split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QJsonObject o = QJsonDocument::fromJson(line.toUtf8()).object();
            if (o.isEmpty())
                qWarning() << "not a JSON object:" << line;
            list << o;
        }
        return list;
    }
    // Events of this name whose field key holds value.
    int count(const QString &name, const QString &key, int value)
    {
        int n = 0;
        for (const QJsonObject &e : events(name))
            n += e.value(key).toInt() == value;
        return n;
    }
    QList<QJsonObject> events(const QString &name)
    {
        QList<QJsonObject> list;
        for (const QJsonObject &o : events()) {
            if (o.value("event").toString() == name)
                list << o;
        }
        return list;
    }
    int exitCode(int ms = Slow)
    {
        if (!process.waitForFinished(ms))
            return -1000;
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2000;
    }

    QProcess process;

private:
    QString mPath;
    QString mOut;
    QString mErr;
};

} // namespace
