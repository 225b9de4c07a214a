// The host's serial port and settings stand-ins on real pseudo-terminals: frames both ways,
// and the adapter's cable pulled and plugged back (the port notices, closes the dead device,
// looks for it at the same path every second and carries on when it is back).
#include "drive.h"
#include "pty.h"

#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTemporaryFile>

using qvxtest::Pty;

class tst_SerialPort : public QObject
{
    Q_OBJECT
private slots:
    void translations_data();
    void translations();
    void closedPortStaysClosed();
    void serviceAnswersAfterReplug();
};

void tst_SerialPort::translations_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("text339");
    QTest::addColumn<QString>("text990");
    QTest::addColumn<int>("warnings");
    QTest::newRow("built-in") << QByteArray() << "V"
                              << "°C" << 0;
    QTest::newRow("replaced") << QByteArray(R"({"339": "Volt", "990": "Grad"})") << "Volt"
                              << "Grad" << 0;
    QTest::newRow("malformed") << QByteArray("{339: V") << "V"
                               << "°C" << 1;
    QTest::newRow("not an object") << QByteArray("[1, 2]") << "V"
                                   << "°C" << 1;
    QTest::newRow("bad id") << QByteArray(R"({"x": "V"})") << "V"
                            << "°C" << 1;
}

void tst_SerialPort::translations()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, text339);
    QFETCH(QString, text990);
    QFETCH(int, warnings);
    QTemporaryFile json;
    if (!file.isNull()) {
        QVERIFY(json.open());
        json.write(file);
        json.flush();
        qputenv("CANSERVICE_TRANSLATIONS", json.fileName().toUtf8());
    }
    qvxtest::Messages log;
    Translator::reload();
    qunsetenv("CANSERVICE_TRANSLATIONS");
    QCOMPARE(Translator::translate(339), text339);
    QCOMPARE(Translator::translate(990), text990);
    QCOMPARE(Translator::translate(12345), QString());
    QCOMPARE(log.lines.size(), warnings);
    Translator::reload();
}

void tst_SerialPort::closedPortStaysClosed()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("adapter"));
    Pty adapter(path);
    QVERIFY(adapter.plug());

    qvxtest::Messages log;
    canservice::SerialPort port;
    QVERIFY(port.open(path, 38400));
    port.close();
    adapter.unplug();
    QVERIFY(adapter.plug());
    // The owner closed it: nothing brings it back, nothing is said.
    QTest::qWait(1200);
    QVERIFY(!port.isOpen());
    QCOMPARE(log.lines, QStringList());
}

// The service started before the adapter's device exists, then the cable pulled and plugged
// back at the same path: the port looks for it every second and the service carries on.
void tst_SerialPort::serviceAnswersAfterReplug()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("adapter"));
    Pty adapter(path);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false")); // the port's lines
    qvxtest::Messages log;
    qputenv("CANSERVICE_SERIAL_PORT", path.toLocal8Bit());
    canservice::SimpleService service;
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
    canservice::SerialPort *port = canservice::SerialPort::latest();
    QSignalSpy status(&service, &CanServiceBase::notifyCanbusStatus);
    const QByteArray ack = QByteArray::fromHex("5aa501ff1211");
    QVERIFY(port && !port->isOpen());
    QCOMPARE(log.lines.size(), 1);
    QVERIFY2(log.lines[0].contains(path) && log.lines[0].contains("looking for it every second"),
             qPrintable(log.lines[0]));

    const auto plugAndAnswer = [&](const char *doors) {
        QVERIFY(adapter.plug());
        QTRY_VERIFY_WITH_TIMEOUT(port->isOpen(), 2500);
        QVERIFY2(log.lines.last().contains(path) && log.lines.last().contains("is back"),
                 qPrintable(log.lines.join('\n')));
        QVERIFY(adapter.write(protocol::build(0x12, QByteArray::fromHex(doors))));
        QByteArray received;
        QTRY_VERIFY((received += adapter.readAvailable()).contains(ack));
    };
    plugAndAnswer("00000400000000000000");
    QCOMPARE(service.getDoorStatus(), 0x04);

    adapter.unplug();
    QTRY_VERIFY(!port->isOpen());
    QCOMPARE(log.lines.size(), 3);
    QVERIFY2(log.lines[2].contains("went away"), qPrintable(log.lines[2]));
    QCOMPARE(port->writeData("lost", true), qint64(-1));
    QTest::qWait(1200); // at least one attempt finds nothing, and says nothing
    QCOMPARE(log.lines.size(), 3);

    plugAndAnswer("00000800000000000000");
    QCOMPARE(log.lines.size(), 4);
    QCOMPARE(port->portName(), path);
    QCOMPARE(service.getDoorStatus(), 0x08);
    // The link was down for less than the watchdog's 30 s: one report of 3 in all.
    QCOMPARE(status.count(), 1);
    QCOMPARE(status[0][0].toInt(), 3);
    QLoggingCategory::setFilterRules(QString());
}

QTEST_GUILESS_MAIN(tst_SerialPort)
#include "tst_serialport.moc"
