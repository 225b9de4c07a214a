#include "lineinput.h"

#include <QSocketNotifier>

#include <cerrno>
#include <unistd.h>

namespace tools {

LineInput::LineInput(QObject *parent)
    : QObject(parent), mNotifier(new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this))
{
    connect(mNotifier, &QSocketNotifier::activated, this, &LineInput::read);
}

LineInput::~LineInput()
{
    if (mRaw)
        tcsetattr(STDIN_FILENO, TCSANOW, &mMode);
}

void LineInput::takeKeys()
{
    mKeys = true;
    if (!mRaw && isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &mMode) == 0) {
        termios keys = mMode;
        keys.c_lflag &= tcflag_t(~(ICANON | ECHO));
        mRaw = tcsetattr(STDIN_FILENO, TCSANOW, &keys) == 0;
    }
}

void LineInput::read()
{
    char buffer[4096];
    const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
    if (n > 0 && mKeys) {
        emit keys(QByteArray(buffer, int(n)));
        return;
    }
    if (n > 0) {
        mBuffer.append(buffer, int(n));
    } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
        mEnded = true;
        mNotifier->setEnabled(false);
        if (!mBuffer.isEmpty())
            mBuffer.append('\n');
    }
    QStringList complete;
    int at;
    while ((at = mBuffer.indexOf('\n')) >= 0) {
        complete << QString::fromUtf8(mBuffer.left(at));
        mBuffer.remove(0, at + 1);
    }
    if (!complete.isEmpty())
        emit lines(complete);
    if (mEnded)
        emit ended();
}

} // namespace tools
