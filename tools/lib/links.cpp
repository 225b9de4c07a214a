#include "links.h"

#include <QFileInfo>
#include <QSerialPort>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace tools {

std::unique_ptr<PtyLink> PtyLink::create(const QString &linkPath, QString *error)
{
    std::unique_ptr<PtyLink> link(new PtyLink);
    const auto fail = [&](const QString &what) {
        *error = QStringLiteral("%1: %2").arg(what, QString::fromLocal8Bit(strerror(errno)));
        return nullptr;
    };
    link->mMaster = posix_openpt(O_RDWR | O_NOCTTY);
    if (link->mMaster < 0)
        return fail(QStringLiteral("cannot create a pseudo-terminal"));
    char name[256];
    if (grantpt(link->mMaster) != 0 || unlockpt(link->mMaster) != 0 ||
        ptsname_r(link->mMaster, name, sizeof name) != 0)
        return fail(QStringLiteral("cannot unlock the pseudo-terminal"));
    link->mDevice = QString::fromLocal8Bit(name);
    link->mSlave = ::open(name, O_RDWR | O_NOCTTY);
    if (link->mSlave < 0)
        return fail(QStringLiteral("cannot open %1").arg(link->mDevice));
    // No echo and no line editing until the head unit sets its own mode.
    termios tio;
    if (tcgetattr(link->mSlave, &tio) == 0) {
        cfmakeraw(&tio);
        cfsetispeed(&tio, B38400);
        cfsetospeed(&tio, B38400);
        tcsetattr(link->mSlave, TCSANOW, &tio);
    }
    fcntl(link->mMaster, F_SETFL, fcntl(link->mMaster, F_GETFL) | O_NONBLOCK);

    const QByteArray path = QFile::encodeName(linkPath);
    const QFileInfo existing(linkPath);
    if (existing.isSymLink()) {
        ::unlink(path.constData());
    } else if (existing.exists()) {
        *error =
            QStringLiteral("%1 exists and is not a symbolic link; not replacing it").arg(linkPath);
        return nullptr;
    }
    if (::symlink(name, path.constData()) != 0)
        return fail(QStringLiteral("cannot link %1 to %2").arg(linkPath, link->mDevice));
    link->mLinkPath = linkPath;

    PtyLink *self = link.get();
    link->mReadNotifier = new QSocketNotifier(link->mMaster, QSocketNotifier::Read, self);
    QObject::connect(link->mReadNotifier, &QSocketNotifier::activated, self,
                     [self] { self->onReadable(); });
    link->mWriteNotifier = new QSocketNotifier(link->mMaster, QSocketNotifier::Write, self);
    link->mWriteNotifier->setEnabled(false);
    QObject::connect(link->mWriteNotifier, &QSocketNotifier::activated, self,
                     [self] { self->onWritable(); });
    return link;
}

PtyLink::~PtyLink()
{
    if (!mLinkPath.isEmpty()) {
        // Only our own link: someone may have put another in its place meanwhile.
        if (QFileInfo(mLinkPath).symLinkTarget() == mDevice)
            ::unlink(QFile::encodeName(mLinkPath).constData());
    }
    delete mReadNotifier;
    delete mWriteNotifier;
    if (mSlave >= 0)
        ::close(mSlave);
    if (mMaster >= 0)
        ::close(mMaster);
}

QString PtyLink::description() const
{
    return QStringLiteral("pseudo-terminal %1 -> %2").arg(mLinkPath, mDevice);
}

void PtyLink::onReadable()
{
    QByteArray chunk;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(mMaster, buffer, sizeof buffer);
        if (n > 0) {
            chunk.append(buffer, int(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break;
    }
    if (!chunk.isEmpty())
        emit received(chunk);
}

void PtyLink::write(const QByteArray &bytes)
{
    mPending.append(bytes);
    onWritable();
}

void PtyLink::onWritable()
{
    while (!mPending.isEmpty()) {
        const ssize_t n = ::write(mMaster, mPending.constData(), size_t(mPending.size()));
        if (n > 0) {
            mPending.remove(0, int(n));
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        break; // full: the head unit is not reading yet
    }
    mWriteNotifier->setEnabled(!mPending.isEmpty());
}

std::unique_ptr<SerialLink> SerialLink::open(const QString &device, QString *error)
{
    std::unique_ptr<SerialLink> link(new SerialLink);
    SerialLink *self = link.get();
    link->mPort = new QSerialPort(device, self);
    link->mPort->setBaudRate(38400);
    link->mPort->setDataBits(QSerialPort::Data8);
    link->mPort->setParity(QSerialPort::NoParity);
    link->mPort->setStopBits(QSerialPort::OneStop);
    link->mPort->setFlowControl(QSerialPort::NoFlowControl);
    if (!link->mPort->open(QIODevice::ReadWrite)) {
        *error = QStringLiteral("cannot open %1: %2").arg(device, link->mPort->errorString());
        return nullptr;
    }
    QObject::connect(link->mPort, &QSerialPort::readyRead, self,
                     [self] { emit self->received(self->mPort->readAll()); });
    return link;
}

SerialLink::~SerialLink() = default;

void SerialLink::write(const QByteArray &bytes)
{
    mPort->write(bytes);
    mPort->flush();
}

QString SerialLink::description() const
{
    return QStringLiteral("serial device %1, 38400 8N1").arg(mPort->portName());
}

} // namespace tools
