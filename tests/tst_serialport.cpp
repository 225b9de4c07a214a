// The host stand-ins: the serial port on a real pseudo-terminal, and the host's settings.
#include "drive.h"

#include <QJsonDocument>
#include <QTemporaryFile>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace {

// The adapter's end of a pseudo-terminal; the slave device is what the service opens.
class Pty
{
public:
    Pty()
    {
        mMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (mMaster < 0 || grantpt(mMaster) != 0 || unlockpt(mMaster) != 0)
            return;
        termios tio;
        tcgetattr(mMaster, &tio);
        cfmakeraw(&tio);
        tcsetattr(mMaster, TCSANOW, &tio);
        mSlave = QString::fromLocal8Bit(ptsname(mMaster));
    }
    ~Pty()
    {
        if (mMaster >= 0)
            ::close(mMaster);
    }
    bool isValid() const { return !mSlave.isEmpty(); }
    QString slave() const { return mSlave; }
    void write(const QByteArray &bytes)
    {
        QCOMPARE(::write(mMaster, bytes.constData(), bytes.size()), ssize_t(bytes.size()));
    }
    // Whatever the head unit has written so far.
    QByteArray readAvailable()
    {
        QByteArray out;
        char buf[512];
        ssize_t n;
        while ((n = ::read(mMaster, buf, sizeof buf)) > 0)
            out.append(buf, int(n));
        return out;
    }

private:
    int mMaster = -1;
    QString mSlave;
};

} // namespace

class tst_SerialPort : public QObject
{
    Q_OBJECT
private slots:
    void adapterFramesAnsweredOverPty();
    void unopenableDeviceIsQuiet();
    void translations_data();
    void translations();
    void carModelSetters();
};

void tst_SerialPort::adapterFramesAnsweredOverPty()
{
    Pty pty;
    QVERIFY(pty.isValid());
    qputenv("CANSERVICE_SERIAL_PORT", pty.slave().toUtf8());
    canservice::SimpleService service;
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
    QSignalSpy status(&service, &CanServiceBase::notifyCanbusStatus);

    CanBusManager::instance()->setQvxCarModelIndex(5);
    service.start();
    QByteArray received;
    QTRY_COMPARE((received += pty.readAvailable()).toHex(), QByteArray("5aa5022a05ff2f"));

    // A frame split over two writes, then a corrupt one: ACK then NAK, in order.
    pty.write(QByteArray::fromHex("5aa5015501"));
    QTest::qWait(20);
    pty.write(QByteArray::fromHex("56"));
    pty.write(QByteArray::fromHex("5aa5015501ff"));
    received.clear();
    QTRY_COMPARE((received += pty.readAvailable()).toHex(), QByteArray("5aa501ff55545aa501fe5553"));
    QCOMPARE(status.count(), 1);

    service.stop();
    pty.write(QByteArray::fromHex("5aa501550156"));
    QTest::qWait(100);
    QCOMPARE(pty.readAvailable(), QByteArray());
    CanBusManager::instance()->setQvxCarModelIndex(0);
}

void tst_SerialPort::unopenableDeviceIsQuiet()
{
    qvxtest::Messages log;
    canservice::SerialPort port;
    QVERIFY(!port.open("/nonexistent/ttyUSB9", 38400));
    QCOMPARE(port.writeData(QByteArray::fromHex("5aa5"), true), qint64(-1));
    QCOMPARE(log.lines.size(), 1);
    QVERIFY(log.lines[0].contains("/nonexistent/ttyUSB9"));
}

void tst_SerialPort::translations_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("text339");
    QTest::addColumn<QString>("text990");
    QTest::addColumn<int>("warnings");
    QTest::newRow("built-in") << QByteArray() << "V"
                              << "°C" << 0;
    QTest::newRow("replaced") << QByteArray(R"({"339": "Volt", "990": "Grad"})") << "Volt"
                              << "Grad" << 0;
    QTest::newRow("malformed") << QByteArray("{339: V") << "V"
                               << "°C" << 1;
    QTest::newRow("not an object") << QByteArray("[1, 2]") << "V"
                                   << "°C" << 1;
    QTest::newRow("bad id") << QByteArray(R"({"x": "V"})") << "V"
                            << "°C" << 1;
}

void tst_SerialPort::translations()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, text339);
    QFETCH(QString, text990);
    QFETCH(int, warnings);
    QTemporaryFile json;
    if (!file.isNull()) {
        QVERIFY(json.open());
        json.write(file);
        json.flush();
        qputenv("CANSERVICE_TRANSLATIONS", json.fileName().toUtf8());
    }
    qvxtest::Messages log;
    Translator::reload();
    qunsetenv("CANSERVICE_TRANSLATIONS");
    QCOMPARE(Translator::translate(339), text339);
    QCOMPARE(Translator::translate(990), text990);
    QCOMPARE(Translator::translate(12345), QString());
    QCOMPARE(log.lines.size(), warnings);
    Translator::reload();
}

void tst_SerialPort::carModelSetters()
{
    CanBusManager *manager = CanBusManager::instance();
    manager->setCarModelId(94);
    manager->setQvxCarModelIndex(0x105);
    QCOMPARE(manager->getCarModelId(), 94);
    QCOMPARE(manager->getQvxCarModelIndex(), 0x105);
    manager->setCarModelId(0);
    manager->setQvxCarModelIndex(0);
}

QTEST_GUILESS_MAIN(tst_SerialPort)
#include "tst_serialport.moc"
