#pragma once

// Shared test doubles: a service whose serial port is tapped (frames injected through the
// port's read signal, every write captured) and a capture of the plugin's log lines.

#include "protocol.h"
#include "serialport.h"
#include "simpleservice.h"
#include "virtualclock.h"

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QtTest>

#include <memory>

// Collects every message while alive; lines also go to the previous handler when asked.
class LogCapture
{
public:
    explicit LogCapture(bool passThrough = false)
    {
        sPassThrough = passThrough;
        sLines.clear();
        mPrevious = qInstallMessageHandler(&LogCapture::handler);
        sPrevious = mPrevious;
    }
    ~LogCapture() { qInstallMessageHandler(mPrevious); }

    static QList<QPair<QtMsgType, QString>> &lines() { return sLines; }
    void clear() { sLines.clear(); }

    // The message items after "--" of every line of the given level ("[DBG]" or "[ERR]").
    QStringList messages(const QString &tag = QStringLiteral("[DBG]")) const
    {
        QStringList out;
        for (const auto &line : sLines) {
            if (!line.second.startsWith(tag))
                continue;
            const int at = line.second.indexOf(QLatin1String(" -- "));
            out << (at < 0 ? QString() : line.second.mid(at + 4));
        }
        return out;
    }
    // The message items of the debug lines that `function` wrote.
    static QStringList debugOf(const QString &function)
    {
        QStringList out;
        for (const auto &line : sLines) {
            if (line.second.startsWith(QLatin1String("[DBG]")) && line.second.contains(function))
                out << line.second.mid(line.second.indexOf(QLatin1String(" -- ")) + 4);
        }
        return out;
    }
    // Critical lines whose function signature names `function`.
    int criticalCount(const QString &function = QString()) const
    {
        int n = 0;
        for (const auto &line : sLines) {
            if (line.first == QtCriticalMsg && line.second.startsWith(QLatin1String("[ERR]")) &&
                line.second.contains(function))
                ++n;
        }
        return n;
    }

private:
    static void handler(QtMsgType type, const QMessageLogContext &context, const QString &msg)
    {
        sLines.append({type, msg});
        if (sPassThrough && sPrevious)
            sPrevious(type, context, msg);
    }
    QtMessageHandler mPrevious = nullptr;
    static inline QList<QPair<QtMsgType, QString>> sLines;
    static inline QtMessageHandler sPrevious = nullptr;
    static inline bool sPassThrough = false;
};

// A service constructed as the plugin entry would, on a port that opens no device.
struct ServiceHarness
{
    struct Write
    {
        QByteArray bytes;
        bool flag;
    };

    ServiceHarness()
    {
        qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
        service = std::make_unique<canservice::SimpleService>();
        port = canservice::SerialPort::latest();
        QObject::connect(port, &canservice::SerialPort::written,
                         [this](const QByteArray &bytes, bool flag) {
                             writes.append({bytes, flag});
                         });
    }

    // Bytes as the adapter sends them, in one chunk.
    void feed(const QByteArray &bytes) { emit port->read(bytes); }
    void feedHex(const char *hex) { feed(QByteArray::fromHex(hex)); }
    // A well-formed adapter frame with the given command and data bytes.
    void feedFrame(int cmd, const QByteArray &data)
    {
        feed(protocol::build(quint8(cmd), data));
    }

    // Every write, ACK and NAK frames included.
    QList<QByteArray> written() const
    {
        QList<QByteArray> out;
        for (const Write &w : writes)
            out << w.bytes;
        return out;
    }
    // Writes other than the ACK and NAK answers.
    QList<QByteArray> sent() const
    {
        QList<QByteArray> out;
        for (const Write &w : writes) {
            const quint8 cmd = protocol::u8(w.bytes, 3);
            if (cmd != protocol::cmd::Ack && cmd != protocol::cmd::Nak)
                out << w.bytes;
        }
        return out;
    }

    std::unique_ptr<canservice::SimpleService> service;
    canservice::SerialPort *port = nullptr;
    QList<Write> writes;
};

// main() for a test whose timers run on a clock it moves itself: the service keeps its
// QTimers, and VirtualClock::instance()->advance(ms) fires them in deadline order.
#define QVX_VIRTUAL_TIME_MAIN(TestObject)                                                        \
    int main(int argc, char *argv[])                                                           \
    {                                                                                          \
        QCoreApplication::setEventDispatcher(new qvxtest::VirtualClock);                       \
        QCoreApplication app(argc, argv);                                                      \
        TestObject test;                                                                       \
        return QTest::qExec(&test, argc, argv);                                                \
    }
