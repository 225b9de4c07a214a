// The adapter's cable pulled and plugged back: the host's serial port notices, closes the
// dead device, looks for it at the same path every second and carries on when it is back.
#include "drive.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace {

// An adapter on a pseudo-terminal, reached through a fixed path (a symbolic link to the
// terminal) the way a device node keeps its name across unplugging.
class Adapter
{
public:
    explicit Adapter(const QString &link) : mLink(link) {}
    ~Adapter() { unplug(); }
    Adapter(const Adapter &) = delete;
    Adapter &operator=(const Adapter &) = delete;

    bool plug()
    {
        mMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (mMaster < 0 || grantpt(mMaster) != 0 || unlockpt(mMaster) != 0)
            return false;
        termios tio;
        tcgetattr(mMaster, &tio);
        cfmakeraw(&tio);
        tcsetattr(mMaster, TCSANOW, &tio);
        // Replace the link in one step, as a new device node appears.
        const QByteArray fresh = (mLink + QStringLiteral(".new")).toLocal8Bit();
        ::unlink(fresh.constData());
        return symlink(ptsname(mMaster), fresh.constData()) == 0 &&
               rename(fresh.constData(), mLink.toLocal8Bit().constData()) == 0;
    }
    // The terminal goes with its master end, and its name with it, as a device node's does. A
    // link left behind would name a /dev/pts number that any other process's new terminal
    // may take, and the port would reopen that one.
    void unplug()
    {
        if (mMaster >= 0)
            ::close(mMaster);
        mMaster = -1;
        ::unlink(mLink.toLocal8Bit().constData());
    }
    void write(const QByteArray &bytes)
    {
        QCOMPARE(::write(mMaster, bytes.constData(), bytes.size()), ssize_t(bytes.size()));
    }
    QByteArray readAvailable()
    {
        QByteArray out;
        char buf[512];
        ssize_t n;
        while (mMaster >= 0 && (n = ::read(mMaster, buf, sizeof buf)) > 0)
            out.append(buf, int(n));
        return out;
    }

private:
    QString mLink;
    int mMaster = -1;
};

} // namespace

class tst_Replug : public QObject
{
    Q_OBJECT
private slots:
    void portComesBackAtTheSamePath();
    void portAppearsAfterOpen();
    void closedPortStaysClosed();
    void serviceAnswersAfterReplug();
    void canhostAcrossSimulatorRestart();
};

// The host started before the adapter's device exists looks for it as after an unplug.
void tst_Replug::portAppearsAfterOpen()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("adapter"));
    Adapter adapter(path);
    qvxtest::Messages log;
    canservice::SerialPort port;
    QVERIFY(!port.open(path, 38400));
    QCOMPARE(log.lines.size(), 1);
    QVERIFY2(log.lines[0].contains(path) && log.lines[0].contains("looking for it every second"),
             qPrintable(log.lines[0]));

    QVERIFY(adapter.plug());
    QTRY_VERIFY_WITH_TIMEOUT(port.isOpen(), 2500);
    QCOMPARE(log.lines.size(), 2);
    QVERIFY2(log.lines[1].contains(path) && log.lines[1].contains("is back"), qPrintable(log.lines[1]));
    QSignalSpy read(&port, &canservice::SerialPort::read);
    adapter.write("hello");
    QTRY_COMPARE(read.count(), 1);
    port.close();
}

void tst_Replug::portComesBackAtTheSamePath()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("adapter"));
    Adapter adapter(path);
    QVERIFY(adapter.plug());

    qvxtest::Messages log;
    canservice::SerialPort port;
    QVERIFY(port.open(path, 38400));
    QSignalSpy read(&port, &canservice::SerialPort::read);
    adapter.write("before");
    QTRY_COMPARE(read.count(), 1);
    QCOMPARE(port.writeData("first", true), qint64(5));
    QByteArray received;
    QTRY_COMPARE(received += adapter.readAvailable(), QByteArray("first"));

    adapter.unplug();
    QTRY_VERIFY(!port.isOpen());
    QCOMPARE(log.lines.size(), 1);
    QVERIFY2(log.lines[0].contains(path) && log.lines[0].contains("went away"), qPrintable(log.lines[0]));
    QCOMPARE(port.writeData("lost", true), qint64(-1));

    // At least one attempt finds nothing, and says nothing.
    QTest::qWait(1200);
    QCOMPARE(log.lines.size(), 1);
    QVERIFY(!port.isOpen());

    QVERIFY(adapter.plug());
    QTRY_VERIFY_WITH_TIMEOUT(port.isOpen(), 2500);
    QCOMPARE(log.lines.size(), 2);
    QVERIFY2(log.lines[1].contains(path) && log.lines[1].contains("is back"), qPrintable(log.lines[1]));
    QCOMPARE(port.portName(), path);

    adapter.write("after");
    QTRY_COMPARE(read.count(), 2);
    QCOMPARE(read[1][0].toByteArray(), QByteArray("after"));
    QCOMPARE(port.writeData("answer", true), qint64(6));
    received.clear();
    QTRY_COMPARE(received += adapter.readAvailable(), QByteArray("answer"));
}

void tst_Replug::closedPortStaysClosed()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("adapter"));
    Adapter adapter(path);
    QVERIFY(adapter.plug());

    qvxtest::Messages log;
    canservice::SerialPort port;
    QVERIFY(port.open(path, 38400));
    port.close();
    adapter.unplug();
    QVERIFY(adapter.plug());
    // The owner closed it: nothing brings it back, nothing is said.
    QTest::qWait(1200);
    QVERIFY(!port.isOpen());
    QCOMPARE(log.lines, QStringList());
}

void tst_Replug::serviceAnswersAfterReplug()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("adapter"));
    Adapter adapter(path);
    QVERIFY(adapter.plug());
    qputenv("CANSERVICE_SERIAL_PORT", path.toLocal8Bit());
    canservice::SimpleService service;
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
    canservice::SerialPort *port = canservice::SerialPort::latest();
    QVERIFY(port && port->isOpen());
    QSignalSpy status(&service, &CanServiceBase::notifyCanbusStatus);
    const QByteArray ack = QByteArray::fromHex("5aa501ff1211");

    adapter.write(protocol::build(0x12, QByteArray::fromHex("00000400000000000000")));
    QByteArray received;
    QTRY_VERIFY((received += adapter.readAvailable()).contains(ack));
    QCOMPARE(service.getDoorStatus(), 0x04);

    adapter.unplug();
    QTRY_VERIFY(!port->isOpen());
    QVERIFY(adapter.plug());
    QTRY_VERIFY_WITH_TIMEOUT(port->isOpen(), 2500);

    adapter.write(protocol::build(0x12, QByteArray::fromHex("00000800000000000000")));
    received.clear();
    QTRY_VERIFY((received += adapter.readAvailable()).contains(ack));
    QCOMPARE(service.getDoorStatus(), 0x08);
    // The link was down for less than the watchdog's 30 s: one report of 3 in all.
    QCOMPARE(status.count(), 1);
    QCOMPARE(status[0][0].toInt(), 3);
}

namespace {

// A bench tool run for the test, its output collected as it comes.
struct Tool
{
    explicit Tool(const QString &name)
        : program(QStringLiteral(QVX_BINARY_DIR "/tools/%1/%1").arg(name))
    {}
    ~Tool()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
        }
    }
    // Through $QVX_TEST_EMULATOR when set: a cross-built tool cannot run here on its own.
    bool start(const QStringList &args)
    {
        QStringList command =
            qEnvironmentVariable("QVX_TEST_EMULATOR").split(QLatin1Char(' '), Qt::SkipEmptyParts);
        command << program << args;
        process.setProgram(command.takeFirst());
        process.setArguments(command);
        process.start();
        return process.waitForStarted();
    }
    QString out()
    {
        stdoutText += QString::fromUtf8(process.readAllStandardOutput());
        return stdoutText;
    }
    QString err()
    {
        stderrText += QString::fromUtf8(process.readAllStandardError());
        return stderrText;
    }
    // canhost --json: the events, one object a line.
    QList<QJsonObject> events()
    {
        QList<QJsonObject> list;
        for (const QString &line : out().split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            list << QJsonDocument::fromJson(line.toUtf8()).object();
        return list;
    }
    int count(const QString &event, const QString &key, int value)
    {
        int n = 0;
        for (const QJsonObject &e : events())
            n += e.value("event").toString() == event && e.value(key).toInt() == value;
        return n;
    }

    QString program;
    QProcess process;
    QString stdoutText;
    QString stderrText;
};

} // namespace

void tst_Replug::canhostAcrossSimulatorRestart()
{
    Tool host(QStringLiteral("canhost"));
    Tool first(QStringLiteral("adaptersim"));
    Tool second(QStringLiteral("adaptersim"));
    QVERIFY2(QFileInfo::exists(host.program) && QFileInfo::exists(first.program),
             "build canhost and adaptersim first");
    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("adapter"));

    // The adapter answers; the host comes up on it and sees the first door frame.
    QFile before(dir.filePath(QStringLiteral("before.scenario")));
    QVERIFY(before.open(QIODevice::WriteOnly));
    before.write("0.2 frame body 00 00 04 00 00 00 00 00 00 00\n"
                 "+0 expect 1 ack body\n"
                 "+0.1 end\n");
    before.close();
    QVERIFY(first.start({"--pty", link, "--linger", before.fileName()}));
    QTRY_VERIFY(QFileInfo(link).isSymLink());
    QVERIFY(host.start({"--port", link, "--json", "--log", "errors"}));
    QTRY_COMPARE_WITH_TIMEOUT(host.count("doors", "status", 4), 1, 10000);
    QCOMPARE(host.count("link", "status", 3), 1);

    // The adapter goes away: the host says so once, and carries on.
    first.process.terminate();
    QVERIFY(first.process.waitForFinished());
    QTRY_VERIFY_WITH_TIMEOUT(host.err().contains("went away"), 5000);
    QCOMPARE(host.process.state(), QProcess::Running);

    // It comes back at the same path; what it sends then is answered and decoded.
    QFile after(dir.filePath(QStringLiteral("after.scenario")));
    QVERIFY(after.open(QIODevice::WriteOnly));
    after.write("1.5 frame body 00 00 08 00 00 00 00 00 00 00\n"
                "+0 expect 1 ack body\n"
                "+0.2 corrupt radar 26 27 ff 00 64 c8 e1 01 00 00 00 00\n"
                "+0 expect 1 nak radar\n"
                "+0.2 frame radar 26 27 ff 00 64 c8 e1 01 00 00 00 00\n"
                "+0 expect 1 ack radar\n"
                "+0.2 end\n");
    after.close();
    QVERIFY(second.start({"--pty", link, "--no-wait", "--linger", after.fileName()}));
    QTRY_VERIFY_WITH_TIMEOUT(host.err().contains("is back"), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(host.count("doors", "status", 8), 1, 5000);
    QTRY_VERIFY(second.out().contains("ACK radar"));
    QVERIFY2(host.err().count("went away") == 1 && host.err().count("is back") == 1,
             qPrintable(host.err()));
    // Down for less than the watchdog's 30 s: the link was never reported lost.
    QCOMPARE(host.count("link", "status", 0), 0);
    QCOMPARE(host.process.state(), QProcess::Running);
    second.process.terminate();
    QVERIFY(second.process.waitForFinished());
    QVERIFY2(second.out().contains("expectations: 3 met, 0 failed"), qPrintable(second.out()));

    host.process.terminate();
    QVERIFY(host.process.waitForFinished());
    QCOMPARE(host.process.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_Replug)
#include "tst_replug.moc"
