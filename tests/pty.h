#pragma once
// The adapter's end of a pseudo-terminal: the head unit's port opens the other end, either by
// its /dev/pts name or through a fixed link that, like a device node, goes when the adapter
// is unplugged and comes back when it is plugged in again.
#include <QByteArray>
#include <QString>

namespace qvxtest {

class Pty
{
public:
    explicit Pty(const QString &link = QString());
    ~Pty() { unplug(); }
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    // A new terminal, in raw mode, behind the link if there is one.
    bool plug();
    // The terminal goes with its master end and the link with it: a link left behind would
    // name a /dev/pts number that another process's new terminal may take.
    void unplug();
    QString path() const { return mLink.isEmpty() ? mName : mLink; }
    bool write(const QByteArray &bytes);
    // Whatever the head unit has written since the last call.
    QByteArray readAvailable();

private:
    QString mLink;
    QString mName;
    int mMaster = -1;
};

} // namespace qvxtest
