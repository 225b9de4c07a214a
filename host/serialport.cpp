#include "serialport.h"

#include <QSerialPort>
#include <QtDebug>

namespace canservice {

namespace {
SerialPort *sLatest = nullptr;
}

SerialPort::SerialPort(QObject *parent) : QObject(parent), mPort(new QSerialPort(this))
{
    sLatest = this;
    connect(mPort, &QSerialPort::readyRead, this, &SerialPort::onReadyRead);
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

bool SerialPort::open(const QString &portName, int baudRate)
{
    mPortName = portName;
    if (mPortName.isEmpty())
        mPortName = qEnvironmentVariable("CANSERVICE_SERIAL_PORT", QStringLiteral("/dev/ttyUSB0"));
    if (mPort->isOpen())
        mPort->close();
    mPort->setPortName(mPortName);
    mPort->setBaudRate(baudRate);
    mPort->setDataBits(QSerialPort::Data8);
    mPort->setParity(QSerialPort::NoParity);
    mPort->setStopBits(QSerialPort::OneStop);
    mPort->setFlowControl(QSerialPort::NoFlowControl);
    if (!mPort->open(QIODevice::ReadWrite)) {
        qWarning().noquote() << "serial port: cannot open" << mPortName << "-"
                             << mPort->errorString();
        return false;
    }
    return true;
}

void SerialPort::close()
{
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
    if (flag)
        mPort->flush();
    return n;
}

void SerialPort::onReadyRead()
{
    const QByteArray chunk = mPort->readAll();
    if (!chunk.isEmpty())
        emit read(chunk);
}

ConfigManager *ConfigManager::instance()
{
    static ConfigManager manager;
    return &manager;
}

QString ConfigManager::getPluginFullPath()
{
    return mPluginFullPath;
}

void ConfigManager::setPluginFullPath(const QString &path)
{
    mPluginFullPath = path;
}

} // namespace canservice
