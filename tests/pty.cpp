#include "pty.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

namespace qvxtest {

Pty::Pty(const QString &link) : mLink(link)
{
    if (mLink.isEmpty())
        plug();
}

bool Pty::plug()
{
    mMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (mMaster < 0 || grantpt(mMaster) != 0 || unlockpt(mMaster) != 0)
        return false;
    termios tio;
    tcgetattr(mMaster, &tio);
    cfmakeraw(&tio);
    tcsetattr(mMaster, TCSANOW, &tio);
    mName = QString::fromLocal8Bit(ptsname(mMaster));
    if (mLink.isEmpty())
        return true;
    // Replace the link in one step, as a new device node appears.
    const QByteArray fresh = (mLink + QStringLiteral(".new")).toLocal8Bit();
    ::unlink(fresh.constData());
    return symlink(ptsname(mMaster), fresh.constData()) == 0 &&
           rename(fresh.constData(), mLink.toLocal8Bit().constData()) == 0;
}

void Pty::unplug()
{
    if (mMaster >= 0)
        ::close(mMaster);
    mMaster = -1;
    if (!mLink.isEmpty())
        ::unlink(mLink.toLocal8Bit().constData());
}

bool Pty::write(const QByteArray &bytes)
{
    return ::write(mMaster, bytes.constData(), size_t(bytes.size())) == bytes.size();
}

QByteArray Pty::readAvailable()
{
    QByteArray out;
    char buf[512];
    ssize_t n;
    while (mMaster >= 0 && (n = ::read(mMaster, buf, sizeof buf)) > 0)
        out.append(buf, int(n));
    return out;
}

} // namespace qvxtest
