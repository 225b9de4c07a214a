// The host creates and deletes the service many times over a life: each round, on a real
// pseudo-terminal and through the plugin entry, must give back every byte and descriptor.
// Under AddressSanitizer the leak check runs here, after the rounds, as well as at exit.
#include "canservicebase.h"
#include "protocol.h"
#include "pty.h"
#include "serialport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QPluginLoader>
#include <QTimer>
#include <QtTest>

// Present only under LeakSanitizer.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace {

// Runs the event loop until `done` holds, sleeping in between: returns at the first event
// that makes it true, or false after `ms`.
template <typename Pred> bool waitFor(Pred done, int ms)
{
    QElapsedTimer clock;
    clock.start();
    QTimer wake;
    wake.start(ms);
    while (!done()) {
        if (clock.hasExpired(ms))
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

QStringList openDescriptors()
{
    QStringList out;
    for (const QFileInfo &fd :
         QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::Files | QDir::System))
        out << fd.fileName() + QStringLiteral(" -> ") + fd.symLinkTarget();
    return out;
}

} // namespace

class tst_Leaks : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void createAndDeleteOnPseudoTerminals();

private:
    QPluginLoader mPlugin{QStringLiteral(QVX_PLUGIN_PATH)};
};

void tst_Leaks::initTestCase()
{
    QVERIFY2(mPlugin.load(), qPrintable(mPlugin.errorString()));
    // The plugin logs every byte and every bad checksum: a thousand rounds of that tell
    // nothing here.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
}

void tst_Leaks::createAndDeleteOnPseudoTerminals()
{
    const int rounds = qEnvironmentVariableIntValue("QVX_LEAK_ROUNDS") > 0
                           ? qEnvironmentVariableIntValue("QVX_LEAK_ROUNDS")
                           : 1000;
    const QByteArray doors = protocol::build(0x12, QByteArray::fromHex("00004000000040000000"));
    const QByteArray corrupt =
        protocol::build(0x41, QByteArray(12, '\x10')).replace(16, 1, "\x00", 1);
    const QByteArray climate =
        protocol::build(0x31, QByteArray::fromHex("410000000000242400000000"));
    const QByteArray want =
        protocol::build(0xFF, QByteArray(1, 0x12)) + protocol::build(0xFE, QByteArray(1, 0x41));

    // Qt builds some things once, on first use: let a first round pay for them.
    const int warmUp = 1;
    QStringList before;
    for (int round = 0; round < rounds + warmUp; ++round) {
        if (round == warmUp)
            before = openDescriptors();
        qvxtest::Pty adapter;
        QByteArray received;
        QVERIFY2(!adapter.path().isEmpty(), "no pseudo-terminal");
        qputenv("CANSERVICE_SERIAL_PORT", adapter.path().toLocal8Bit());

        QObject *root = mPlugin.instance();
        QVERIFY(root);
        CanServiceBase *service = qobject_cast<CanServiceBase *>(root);
        QVERIFY(service);
        QVERIFY2(canservice::SerialPort::latest() && canservice::SerialPort::latest()->isOpen(),
                 qPrintable(adapter.path()));

        service->start();
        QVERIFY(adapter.write(doors + corrupt));
        // An unfinished frame at the end: the service goes with a frame half assembled.
        QVERIFY(adapter.write(climate.left(7)));
        QVERIFY2(
            waitFor([&] { return (received += adapter.readAvailable()).contains(want); }, 5000),
            qPrintable(QStringLiteral("round %1: %2")
                           .arg(round)
                           .arg(QString::fromLatin1(received.toHex(' ')))));
        QCOMPARE(service->getDoorStatus(), 0x40);
        if (round % 2)
            service->stop(); // some hosts stop the service before they delete it
        delete root;
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();

    const QStringList after = openDescriptors();
    QVERIFY2(after == before, qPrintable("open after the rounds:\n" + after.join('\n')));
    if (__lsan_do_recoverable_leak_check)
        QCOMPARE(__lsan_do_recoverable_leak_check(), 0);
}

QTEST_GUILESS_MAIN(tst_Leaks)
#include "tst_leaks.moc"
