#pragma once

// The adapter's end of the serial line: a pseudo-terminal whose device a symbolic link
// names, or a real serial device.

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

class QSerialPort;
class QSocketNotifier;

namespace tools {

class AdapterLink : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    virtual void write(const QByteArray &bytes) = 0;
    virtual QString description() const = 0;

signals:
    void received(QByteArray bytes);
};

class PtyLink : public AdapterLink
{
    Q_OBJECT
public:
    ~PtyLink() override;
    // Creates the pseudo-terminal, raw at 38400 baud, and links `linkPath` to its device.
    // An existing symbolic link at that path is replaced; any other file is refused.
    static std::unique_ptr<PtyLink> create(const QString &linkPath, QString *error);

    void write(const QByteArray &bytes) override;
    QString description() const override;
    QString devicePath() const { return mDevice; }

private:
    PtyLink() = default;
    void onReadable();
    void onWritable();

    int mMaster = -1;
    // Held open so that reads do not fail while no head unit has the device open.
    int mSlave = -1;
    QString mDevice;
    QString mLinkPath;
    QByteArray mPending;
    QSocketNotifier *mReadNotifier = nullptr;
    QSocketNotifier *mWriteNotifier = nullptr;
};

class SerialLink : public AdapterLink
{
    Q_OBJECT
public:
    ~SerialLink() override;
    // 38400 8N1, no flow control.
    static std::unique_ptr<SerialLink> open(const QString &device, QString *error);

    void write(const QByteArray &bytes) override;
    QString description() const override;

private:
    SerialLink() = default;
    QSerialPort *mPort = nullptr;
};

} // namespace tools
