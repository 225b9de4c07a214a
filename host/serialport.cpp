#include "serialport.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSerialPort>
#include <QTimer>
#include <QtDebug>

#include <link.h>
#include <poll.h>

#include <memory>

namespace canservice {

namespace {
SerialPort *sLatest = nullptr;

bool hungUp(qintptr fd)
{
    pollfd p{int(fd), POLLIN, 0};
    return poll(&p, 1, 0) == 1 && (p.revents & (POLLHUP | POLLERR | POLLNVAL));
}

struct Recorder
{
    std::unique_ptr<QFile> file;
    QElapsedTimer clock;
};

Recorder &recorder()
{
    static Recorder r;
    return r;
}

// Flushed line by line, so a capture survives the process being killed.
void record(bool received, const QByteArray &bytes)
{
    Recorder &r = recorder();
    if (!r.file || bytes.isEmpty())
        return;
    const QByteArray line = QByteArray::number(r.clock.nsecsElapsed() / 1e9, 'f', 6) +
                            (received ? " rx " : " tx ") + bytes.toHex(' ') + '\n';
    r.file->write(line);
    r.file->flush();
}
} // namespace

bool SerialPort::startRecording(const QString &path, QString *error)
{
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        if (error)
            *error = file->errorString();
        return false;
    }
    file->write("# serial capture: <seconds> rx|tx <bytes>; rx is adapter to head unit\n");
    Recorder &r = recorder();
    r.file = std::move(file);
    r.clock.start();
    return true;
}

void SerialPort::stopRecording()
{
    recorder().file.reset();
}

SerialPort::SerialPort(QObject *parent)
    : QObject(parent), mPort(new QSerialPort(this)), mReopenTimer(new QTimer(this))
{
    sLatest = this;
    connect(mPort, &QSerialPort::readyRead, this, &SerialPort::onReadyRead);
    connect(mPort, &QSerialPort::errorOccurred, this,
            [this](QSerialPort::SerialPortError error) { onPortError(error); });
    mReopenTimer->setInterval(1000);
    connect(mReopenTimer, &QTimer::timeout, this, &SerialPort::tryReopen);
}

SerialPort::~SerialPort()
{
    if (sLatest == this)
        sLatest = nullptr;
}

SerialPort *SerialPort::latest()
{
    return sLatest;
}

bool SerialPort::open(QString portName, int baudRate)
{
    mPortName = portName;
    if (mPortName.isEmpty())
        mPortName = qEnvironmentVariable("CANSERVICE_SERIAL_PORT", QStringLiteral("/dev/ttyUSB0"));
    const QString recordPath = qEnvironmentVariable("CANSERVICE_SERIAL_RECORD");
    if (!recordPath.isEmpty() && !recorder().file) {
        QString error;
        if (!startRecording(recordPath, &error))
            qWarning().noquote() << "serial port: cannot record to" << recordPath << "-" << error;
    }
    mKeepOpen = false;
    mReopenTimer->stop();
    if (mPort->isOpen())
        mPort->close();
    mPort->setPortName(mPortName);
    mPort->setBaudRate(baudRate);
    mPort->setDataBits(QSerialPort::Data8);
    mPort->setParity(QSerialPort::NoParity);
    mPort->setStopBits(QSerialPort::OneStop);
    mPort->setFlowControl(QSerialPort::NoFlowControl);
    mKeepOpen = true;
    if (!mPort->open(QIODevice::ReadWrite)) {
        // Whoever starts first on a bench, the adapter's device may appear later.
        qWarning().noquote() << "serial port: cannot open" << mPortName << "-"
                             << mPort->errorString() + "; looking for it every second";
        mReopenTimer->start();
        return false;
    }
    return true;
}

void SerialPort::close()
{
    mKeepOpen = false;
    mReopenTimer->stop();
    mPort->close();
}

bool SerialPort::isOpen() const
{
    return mPort->isOpen();
}

qint64 SerialPort::writeData(const QByteArray &data, bool flag)
{
    emit written(data, flag);
    if (!mPort->isOpen())
        return -1;
    const qint64 n = mPort->write(data);
    if (n != data.size()) {
        qWarning().noquote() << "serial port: cannot write to" << mPortName << "-"
                             << mPort->errorString();
        return n;
    }
    record(false, data);
    if (flag)
        mPort->flush();
    return n;
}

void SerialPort::onReadyRead()
{
    const QByteArray chunk = mPort->readAll();
    record(true, chunk);
    if (!chunk.isEmpty())
        emit read(chunk);
}

void SerialPort::onPortError(int error)
{
    // QtSerialPort's word for a device that vanished is a resource error; a hang-up shows
    // only as a read error, which is believed when the descriptor says it hung up.
    if (!mKeepOpen || !mPort->isOpen())
        return;
    QString why;
    if (error == QSerialPort::ResourceError)
        why = mPort->errorString();
    else if (error == QSerialPort::ReadError && hungUp(mPort->handle()))
        why = QStringLiteral("hung up");
    else
        return;
    // Not from inside QSerialPort's own signal: it still works on its buffers after it.
    QMetaObject::invokeMethod(
        this, [this, why] { onDeviceGone(why); }, Qt::QueuedConnection);
}

void SerialPort::onDeviceGone(const QString &why)
{
    if (!mKeepOpen || !mPort->isOpen())
        return;
    mPort->close();
    qWarning().noquote() << "serial port:" << mPortName << "went away (" + why + ");"
                         << "trying to reopen it every second";
    mReopenTimer->start();
}

void SerialPort::tryReopen()
{
    if (!mKeepOpen) {
        mReopenTimer->stop();
        return;
    }
    if (!mPort->open(QIODevice::ReadWrite))
        return; // still away: say nothing until it is back
    mReopenTimer->stop();
    qInfo().noquote() << "serial port:" << mPortName << "is back";
}

ConfigManager *ConfigManager::instance()
{
    static ConfigManager manager;
    return &manager;
}

QString ConfigManager::getPluginFullPath()
{
    QString path;
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *data) {
            const QString name = QFile::decodeName(info->dlpi_name);
            if (QFileInfo(name).fileName().startsWith(QLatin1String("libqvx_")))
                *static_cast<QString *>(data) = QFileInfo(name).absoluteFilePath();
            return 0;
        },
        &path);
    return path;
}

} // namespace canservice
