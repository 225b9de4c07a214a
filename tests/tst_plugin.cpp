// The plugin as the head unit loads it.
#include "canservicebase.h"
#include "serialport.h"

#include <QJsonObject>
#include <QMetaMethod>
#include <QPluginLoader>
#include <QtTest>

class tst_Plugin : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void metadataWithoutInstance();
    void oneInstanceUntilDeleted();
    void interfaceCast();
    void metaObject();
    void cleanupTestCase();

private:
    QPluginLoader mLoader;
};

void tst_Plugin::initTestCase()
{
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
    mLoader.setFileName(QStringLiteral(QVX_PLUGIN_PATH));
    QVERIFY2(QFileInfo(mLoader.fileName()).fileName() == "libqvx_LSN305.so.1" ||
                 QFileInfo(mLoader.fileName()).fileName() == "libqvx_LSN305.so",
             qPrintable(mLoader.fileName()));
}

void tst_Plugin::metadataWithoutInstance()
{
    const QJsonObject meta = mLoader.metaData();
    QCOMPARE(meta.value("IID").toString(), QStringLiteral("com.norvane.CanServicePlugin"));
    QCOMPARE(meta.value("className").toString(), QStringLiteral("SimpleService"));
    QVERIFY(
        meta.value("MetaData").toObject().isEmpty()); // the plugin carries no metadata of its own
    QCOMPARE(meta.value("version").toInt(),
             QT_VERSION & 0xFFFF00); // the loader keeps major and minor
    QVERIFY(!mLoader.isLoaded() || canservice::SerialPort::latest() == nullptr);
    QVERIFY(mLoader.load());
    QCOMPARE(canservice::SerialPort::latest(), nullptr); // loading constructs nothing
}

void tst_Plugin::oneInstanceUntilDeleted()
{
    QObject *first = mLoader.instance();
    QVERIFY(first);
    canservice::SerialPort *port = canservice::SerialPort::latest();
    QVERIFY(port);
    QCOMPARE(mLoader.instance(), first);
    QCOMPARE(canservice::SerialPort::latest(), port); // no second service behind it
    delete first;
    QCOMPARE(canservice::SerialPort::latest(), nullptr);
    QObject *second = mLoader.instance();
    QVERIFY(second);
    QVERIFY(canservice::SerialPort::latest());
}

void tst_Plugin::interfaceCast()
{
    QObject *root = mLoader.instance();
    CanServiceBase *service = qobject_cast<CanServiceBase *>(root);
    QVERIFY(service);
    QCOMPARE(static_cast<QObject *>(service), root);
    QCOMPARE(root->qt_metacast(CanServiceBase_iid), static_cast<void *>(service));
    QCOMPARE(root->qt_metacast("canservice::SimpleService"), static_cast<void *>(root));
    QCOMPARE(root->qt_metacast("CanServiceBase"), static_cast<void *>(service));
    QCOMPARE(root->qt_metacast("no.such.Interface"), nullptr);
    QCOMPARE(root->qt_metacast(nullptr), nullptr);
    QVERIFY(root->inherits("CanServiceBase"));
    // An operation the service does not override answers with the interface's default.
    QCOMPARE(service->getSpeed(), 0.0f);
    QCOMPARE(service->getBatteryVoltageValue(), -2.0f);
}

void tst_Plugin::metaObject()
{
    const QMetaObject *mo = mLoader.instance()->metaObject();
    QCOMPARE(mo->className(), "canservice::SimpleService");
    QCOMPARE(mo->superClass(), &CanServiceBase::staticMetaObject);
    QCOMPARE(mo->methodCount() - mo->methodOffset(), 4);
    const QList<QByteArray> expected{"onDataReady(QByteArray)", "onLongPressTimeout()",
                                     "onHeartBeatTimeout()", "onmParseOutTmrout()"};
    for (int i = 0; i < 4; ++i) {
        const QMetaMethod m = mo->method(mo->methodOffset() + i);
        QCOMPARE(m.methodSignature(), expected[i]);
        QCOMPARE(m.methodType(), QMetaMethod::Slot);
        QCOMPARE(m.access(), QMetaMethod::Private);
    }
    QCOMPARE(mo->method(mo->methodOffset()).parameterNames(), QList<QByteArray>{"buf"});
    QCOMPARE(mo->propertyCount() - mo->propertyOffset(), 0);
    // A slot invoked through the meta-object drives the service like the port does.
    QSignalSpy status(mLoader.instance(), SIGNAL(notifyCanbusStatus(int)));
    QVERIFY(QMetaObject::invokeMethod(mLoader.instance(), "onDataReady",
                                      Q_ARG(QByteArray, QByteArray::fromHex("5aa501550156"))));
    QCOMPARE(status.count(), 1);
}

void tst_Plugin::cleanupTestCase()
{
    delete mLoader.instance();
}

QTEST_GUILESS_MAIN(tst_Plugin)
#include "tst_plugin.moc"
