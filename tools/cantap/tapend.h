#pragma once

// One end of the tap: the port of the adapter box or of the head unit, or a pseudo-terminal a
// head unit under test opens. A device that goes away is reopened every half second, as the
// head unit's own port does, while the other end stays open.

#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>

class QSerialPort;

namespace tools {
class PtyLink;
}

namespace cantap {

class TapEnd : public QObject
{
    Q_OBJECT
public:
    // A serial device at 38400 8N1; read-only ends never write (a listening tap).
    TapEnd(const QString &name, const QString &device, bool readOnly, QObject *parent = nullptr);
    // A pseudo-terminal linked at path (an existing symbolic link there is replaced).
    static std::unique_ptr<TapEnd> pty(const QString &name, const QString &path, QString *error);
    ~TapEnd() override;

    // Starts opening; a device that is not there yet is retried.
    void open();
    bool isOpen() const;
    // False when the end is closed and the bytes were lost.
    bool write(const QByteArray &bytes);
    QString name() const { return mName; }
    QString device() const { return mDevice; }

signals:
    void received(const QByteArray &bytes);
    // Opened, gone, cannot open: one line for the tap's output.
    void event(const QString &text);

private:
    TapEnd(const QString &name, QObject *parent);
    void tryOpen();
    void gone(const QString &why);

    QString mName;
    QString mDevice;
    bool mReadOnly = false;
    QSerialPort *mPort = nullptr;
    std::unique_ptr<tools::PtyLink> mPty;
    QTimer mRetry;
    QString mLastFailure; // said once until the next success
};

} // namespace cantap
