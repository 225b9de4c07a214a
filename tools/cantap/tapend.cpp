#include "tapend.h"

#include "links.h"

#include <QSerialPort>

namespace cantap {

namespace {
const int RetryMs = 500;
}

TapEnd::TapEnd(const QString &name, QObject *parent) : QObject(parent), mName(name)
{
    mRetry.setSingleShot(true);
    mRetry.setInterval(RetryMs);
    connect(&mRetry, &QTimer::timeout, this, &TapEnd::tryOpen);
}

TapEnd::TapEnd(const QString &name, const QString &device, bool readOnly, QObject *parent)
    : TapEnd(name, parent)
{
    mDevice = device;
    mReadOnly = readOnly;
    mPort = new QSerialPort(this);
    mPort->setPortName(device);
    connect(mPort, &QSerialPort::readyRead, this, [this] { emit received(mPort->readAll()); });
    connect(mPort, &QSerialPort::errorOccurred, this, [this](QSerialPort::SerialPortError e) {
        // A device unplugged fails with a resource error; a terminal whose other end closed
        // reads nothing though it is readable, which the port calls a read error.
        if ((e == QSerialPort::ResourceError || e == QSerialPort::ReadError) && mPort->isOpen())
            gone(e == QSerialPort::ReadError ? QStringLiteral("hung up") : mPort->errorString());
    });
}

std::unique_ptr<TapEnd> TapEnd::pty(const QString &name, const QString &path, QString *error)
{
    std::unique_ptr<TapEnd> end(new TapEnd(name, nullptr));
    end->mPty = tools::PtyLink::create(path, error);
    if (!end->mPty)
        return nullptr;
    end->mDevice = path;
    TapEnd *self = end.get();
    connect(end->mPty.get(), &tools::AdapterLink::received, self,
            [self](const QByteArray &bytes) { emit self->received(bytes); });
    return end;
}

TapEnd::~TapEnd() = default;

void TapEnd::open()
{
    if (mPty)
        emit event(QStringLiteral("%1 is %2").arg(mDevice, mPty->description()));
    else
        tryOpen();
}

bool TapEnd::isOpen() const
{
    return mPty || mPort->isOpen();
}

bool TapEnd::write(const QByteArray &bytes)
{
    if (mPty) {
        mPty->write(bytes);
        return true;
    }
    if (mReadOnly || !mPort->isOpen())
        return false;
    return mPort->write(bytes) == bytes.size();
}

void TapEnd::tryOpen()
{
    if (mPort->open(mReadOnly ? QIODevice::ReadOnly : QIODevice::ReadWrite) &&
        mPort->setBaudRate(38400) && mPort->setDataBits(QSerialPort::Data8) &&
        mPort->setParity(QSerialPort::NoParity) && mPort->setStopBits(QSerialPort::OneStop) &&
        mPort->setFlowControl(QSerialPort::NoFlowControl)) {
        mLastFailure.clear();
        emit event(QStringLiteral("%1 open%2").arg(mDevice, mReadOnly ? " (listening)" : ""));
        return;
    }
    const QString why = mPort->errorString();
    mPort->close();
    if (why != mLastFailure)
        emit event(QStringLiteral("cannot open %1: %2; trying again every %3 ms")
                       .arg(mDevice, why)
                       .arg(RetryMs));
    mLastFailure = why;
    mRetry.start();
}

void TapEnd::gone(const QString &why)
{
    mPort->close();
    emit event(QStringLiteral("%1 went away (%2); reopening").arg(mDevice, why));
    mLastFailure = why;
    mRetry.start();
}

} // namespace cantap
