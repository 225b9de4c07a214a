#pragma once
// The service as the host and the adapter see it, driven by a script of steps separated by
// ';'. A step is one of
//
//   CC hex.. [..PP] [@N hex..]  an adapter frame with command CC: the data bytes; "..PP" pads
//                               them with byte PP (default 00) to the command's length; "@N"
//                               writes the following bytes from data byte N on
//   raw hex..                   bytes from the adapter as they are, in one chunk
//   wait MS                     moves the virtual clock on (the test runs on one)
//   model N | index N | driver true|false|none   the car model id and index; the driver's side
//   acKey A B | request A B | start | stop | source TYPE NAME [INFO]   host calls
//   NAME=VALUE                  an expectation: a getter (isAc, getRotate, ..., version),
//                               a record (fuel, driving, other: texts joined by '|'),
//                               doors (the open ones), radar (front | rear | sides levels),
//                               tyres (alert type, then FL FR RL RR), pressures (FL FR RL RR),
//                               climateFlags (those not zero), returned (what the last acKey
//                               or request call returned), or what happened since it was
//                               last asked:
//                                 signals  the service's signals, in order, the link's aside
//                                 link     the link states reported (3 up, 0 down)
//                                 sent     frames written to the adapter, ACK and NAK aside;
//                                          ~ marks one written without the push-now flag
//                                 answers  the ACK and NAK frames, as ack:CC / nak:CC
//                                 errors   critical lines, as function[: message]
//
// A test compares run(script) with expected(script): the expectation steps as the service
// answered them and as the script wrote them.
#include "protocol.h"
#include "serialport.h"
#include "simpleservice.h"
#include "virtualclock.h"

#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

namespace qvxtest {

class Drive
{
public:
    // quiet: debug lines off and critical lines collected as errors; otherwise the messages
    // go wherever the test sends them.
    explicit Drive(bool quiet = true);
    ~Drive();

    QStringList run(const QString &script);
    static QStringList expected(const QString &script);

    void feed(const QByteArray &bytes) { emit port->read(bytes); }
    // The NAME=VALUE rendering of one expectation name.
    QString value(const QString &name);

    std::unique_ptr<canservice::SimpleService> service;
    canservice::SerialPort *port = nullptr;
    QStringList signalsSeen, link, sent, answers, errors;

private:
    void step(const QString &text, QStringList *out);
    QTemporaryDir mNvm;
    bool mQuiet;
    QtMessageHandler mPreviousHandler = nullptr;
    int mReturned = 0;
};

// Every message while alive, as the handler received it.
class Messages
{
public:
    struct Context
    {
        QtMsgType type;
        QString file, function, category;
        int line;
    };
    Messages();
    ~Messages();
    QStringList lines;
    QList<Context> contexts; // one for each line

private:
    QtMessageHandler mPrevious;
};

// Frame data for command cmd from the frame-step notation above ("00 40..", "..ff @11 0a").
QByteArray frameData(quint8 cmd, const QString &notation);

// What fn writes on standard output.
QByteArray standardOutput(const std::function<void()> &fn);

} // namespace qvxtest

// A test whose rows are scripts: drive_data() adds a "script" column, drive() runs each row.
#define QVX_DRIVE_ROWS                                                                             \
    void drive()                                                                                   \
    {                                                                                              \
        QFETCH(QString, script);                                                                   \
        qvxtest::Drive d;                                                                          \
        QCOMPARE(d.run(script), qvxtest::Drive::expected(script));                                 \
    }

// main() for a test whose timers run on a clock it moves itself.
#define QVX_VIRTUAL_TIME_MAIN(TestObject)                                                          \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        QCoreApplication::setEventDispatcher(new qvxtest::VirtualClock);                           \
        QCoreApplication app(argc, argv);                                                          \
        TestObject test;                                                                           \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

namespace qvxtest {
// A test that is nothing but rows: rows() adds them under the "script" column.
class ScriptRows : public QObject
{
    Q_OBJECT
public:
    explicit ScriptRows(void (*rows)()) : mRows(rows) {}

private slots:
    void drive_data()
    {
        QTest::addColumn<QString>("script");
        mRows();
    }
    QVX_DRIVE_ROWS

private:
    void (*mRows)();
};
} // namespace qvxtest

// main() for a ScriptRows test on the virtual clock.
#define QVX_SCRIPT_ROWS_MAIN(rows)                                                                 \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        QCoreApplication::setEventDispatcher(new qvxtest::VirtualClock);                           \
        QCoreApplication app(argc, argv);                                                          \
        qvxtest::ScriptRows test(rows);                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }
