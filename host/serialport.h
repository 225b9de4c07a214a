#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class QSerialPort;
class QTimer;

namespace canservice {

// The head unit's serial port, played by QSerialPort: raw 8N1, no flow control.
class SerialPort : public QObject
{
    Q_OBJECT
public:
    explicit SerialPort(QObject *parent = nullptr);
    ~SerialPort() override;

    // A null or empty name takes $CANSERVICE_SERIAL_PORT, else /dev/ttyUSB0. A device that is
    // not there yet is looked for every second, as after an unplug. The name is taken by value,
    // as the head unit's class does: the plugin imports exactly this symbol.
    bool open(QString portName, int baudRate);
    void close();
    // flag true: push the bytes to the device now (link frames the adapter waits for);
    // false: leave them to the event loop like any other write.
    qint64 writeData(const QByteArray &data, bool flag);

    bool isOpen() const;
    QString portName() const { return mPortName; }

    // The most recently constructed port that is still alive. Lets a host-side
    // tool or test reach the port that the plugin created for itself.
    static SerialPort *latest();

    // Records both directions of every port with time stamps, one line per chunk
    // ("<seconds> rx|tx <hex bytes>"), until stopRecording(). The first open() also starts
    // it when $CANSERVICE_SERIAL_RECORD names a file.
    static bool startRecording(const QString &path, QString *error = nullptr);
    static void stopRecording();

signals:
    void read(QByteArray data); // each received chunk, in order
    void written(QByteArray data,
                 bool flag); // every writeData call, whether or not it reached a device

private:
    void onReadyRead();
    // A device that goes away (cable pulled, adapter gone) is closed and looked for again
    // at the same path every second until it is back.
    void onPortError(int error);
    void onDeviceGone(const QString &why);
    void tryReopen();

    QSerialPort *mPort;
    QString mPortName;
    QTimer *mReopenTimer;
    bool mKeepOpen = false; // opened, and not closed by the owner since
};

class ConfigManager
{
public:
    static ConfigManager *instance();
    // Absolute path of the loaded plugin file (the last library named libqvx_* that this
    // process has loaded), found by itself as the head unit's does.
    QString getPluginFullPath();
};

} // namespace canservice

class CanBusManager
{
public:
    static CanBusManager *instance();
    int getQvxCarModelIndex();
    int getCarModelId();
    void setQvxCarModelIndex(int index);
    void setCarModelId(int id);

private:
    CanBusManager();
    int mCarModelIndex;
    int mCarModelId;
};

class Translator
{
public:
    static QString translate(int id);
    // Reloads the texts: built-in English, replaced by $CANSERVICE_TRANSLATIONS when set.
    static void reload();
};

namespace mem {

class SettingsExe
{
public:
    bool getValue(QString key, QString file, bool defaultValue); // by value, as on the head unit
};

class SettingsUtil
{
public:
    static SettingsUtil *instance();
    SettingsExe *getSaver();
    bool getDriverPosition(bool flag); // defined by the plugin's util/
    bool getDriverPosition();

private:
    SettingsExe mSaver;
};

} // namespace mem
