// Doors and the battery alert, as the adapter's body-status frames drive them.
#include "testsupport.h"

#include <QFile>
#include <QTemporaryDir>

namespace {
// A body-status frame: door byte at 2, battery (bit 6) and fuel (bit 7) flags at 6.
QByteArray bodyStatus(int doors, int flags = 0, int length = 10)
{
    QByteArray data(length, 0);
    if (length > 2)
        data[2] = char(doors);
    if (length > 6)
        data[6] = char(flags);
    return data;
}

} // namespace

class tst_Body : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void doors_data();
    void doors();
    void doorChangedOnlyOnChange();
    void driverPositionReadAtEveryQuery();
    void batteryAlert();
    void wrongLength_data();
    void wrongLength();

private:
    void setDriverPosition(bool position);
    QTemporaryDir mNvm;
};

void tst_Body::initTestCase()
{
    QVERIFY(mNvm.isValid());
    qputenv("CANSERVICE_NVM_ROOT", mNvm.path().toLocal8Bit());
    QVERIFY(QDir().mkpath(mNvm.path() + "/media/flash/nvm/factory"));
}

void tst_Body::setDriverPosition(bool position)
{
    QFile file(mNvm.path() + "/media/flash/nvm/factory/settings.ini");
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QByteArray("[General]\nDriverPosition=") + (position ? "true" : "false") + "\n");
}

void tst_Body::doors_data()
{
    QTest::addColumn<int>("doors");
    QTest::addColumn<bool>("position");
    // front, rear, right rear, left rear, left front, right front
    QTest::addColumn<QString>("open");

    QTest::newRow("front") << 0x04 << true << "100000";
    QTest::newRow("rear") << 0x08 << true << "010000";
    QTest::newRow("right rear") << 0x10 << false << "001000";
    QTest::newRow("left rear") << 0x20 << true << "000100";
    QTest::newRow("bit 6, position true") << 0x40 << true << "000010";
    QTest::newRow("bit 6, position false") << 0x40 << false << "000001";
    QTest::newRow("bit 7, position true") << 0x80 << true << "000001";
    QTest::newRow("bit 7, position false") << 0x80 << false << "000010";
    QTest::newRow("bits 0 and 1 are no door") << 0x03 << true << "000000";
    QTest::newRow("all, position false") << 0xFF << false << "111111";
}

void tst_Body::doors()
{
    QFETCH(int, doors);
    QFETCH(bool, position);
    QFETCH(QString, open);
    setDriverPosition(position);
    LogCapture log;
    ServiceHarness h;
    QSignalSpy changed(h.service.get(), &CanServiceBase::doorChanged);

    h.feedFrame(0x12, bodyStatus(doors));

    QCOMPARE(changed.count(), 1);
    QCOMPARE(h.service->getDoorStatus(), doors);
    auto *s = h.service.get();
    const QString got =
        QString::number(s->isFrontDoorOpen()) + QString::number(s->isRearDoorOpen()) +
        QString::number(s->isRightRearDoorOpen()) + QString::number(s->isLeftRearDoorOpen()) +
        QString::number(s->isLeftFrontDoorOpen()) + QString::number(s->isRightFrontDoorOpen());
    QCOMPARE(got, open);
    const QString shown = position ? "true" : "false";
    QCOMPARE(LogCapture::debugOf("isLeftFrontDoorOpen"), QStringList{shown});
    QCOMPARE(LogCapture::debugOf("isRightFrontDoorOpen"), QStringList{shown});
}

void tst_Body::doorChangedOnlyOnChange()
{
    ServiceHarness h;
    QSignalSpy changed(h.service.get(), &CanServiceBase::doorChanged);

    h.feedFrame(0x12, bodyStatus(0x00));
    QCOMPARE(changed.count(), 0); // the doors were already all closed
    h.feedFrame(0x12, bodyStatus(0x03));
    QCOMPARE(changed.count(), 1);
    h.feedFrame(0x12, bodyStatus(0x03));
    QCOMPARE(changed.count(), 1);

    QByteArray otherBytes = bodyStatus(0x03, 0xC0);
    otherBytes[0] = 0x11;
    otherBytes[9] = char(0xFF);
    h.feedFrame(0x12, otherBytes);
    QCOMPARE(changed.count(), 1);

    h.feedFrame(0x12, bodyStatus(0x00));
    QCOMPARE(changed.count(), 2);
    QCOMPARE(h.service->getDoorStatus(), 0);
}

void tst_Body::driverPositionReadAtEveryQuery()
{
    setDriverPosition(true);
    ServiceHarness h;
    QSignalSpy changed(h.service.get(), &CanServiceBase::doorChanged);
    h.feedFrame(0x12, bodyStatus(0x40));
    QVERIFY(h.service->isLeftFrontDoorOpen());

    setDriverPosition(false);
    QVERIFY(!h.service->isLeftFrontDoorOpen());
    QVERIFY(h.service->isRightFrontDoorOpen());
    QCOMPARE(changed.count(), 1);

    // Without the settings file the position reads true.
    QVERIFY(QFile::remove(mNvm.path() + "/media/flash/nvm/factory/settings.ini"));
    QVERIFY(h.service->isLeftFrontDoorOpen());
}

void tst_Body::batteryAlert()
{
    LogCapture log;
    ServiceHarness h;
    QSignalSpy alert(h.service.get(), &CanServiceBase::batteryVoltageAlert);
    QCOMPARE(h.service->getBatteryVoltageValue(), -2.0f);
    QCOMPARE(h.service->getBatteryVoltageUnit(), Translator::translate(339));
    QCOMPARE(h.service->getBatteryVoltageAlertType(), 0);

    h.feedFrame(0x12, bodyStatus(0, 0x00));
    QCOMPARE(alert.count(), 0);
    QCOMPARE(LogCapture::debugOf("doBatteryVoltage"), QStringList{"0 0"});

    h.feedFrame(0x12, bodyStatus(0, 0x40));
    QCOMPARE(h.service->getBatteryVoltageAlertType(), 1);
    QCOMPARE(alert.count(), 1);
    h.feedFrame(0x12, bodyStatus(0, 0x40));
    QCOMPARE(alert.count(), 1);

    h.feedFrame(0x12, bodyStatus(0, 0x80)); // the fuel flag alone is no battery alert
    QCOMPARE(h.service->getBatteryVoltageAlertType(), 0);
    QCOMPARE(alert.count(), 2);

    h.feedFrame(0x12, bodyStatus(0, 0xFF));
    QCOMPARE(h.service->getBatteryVoltageAlertType(), 1);
    QCOMPARE(alert.count(), 3);
    QCOMPARE(LogCapture::debugOf("doBatteryVoltage"),
             (QStringList{"0 0", "1 0", "1 1", "0 1", "1 0"}));
    QCOMPARE(h.service->getBatteryVoltageValue(), -2.0f);
}

void tst_Body::wrongLength_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("9 bytes") << 9;
    QTest::newRow("11 bytes") << 11;
}

void tst_Body::wrongLength()
{
    QFETCH(int, length);
    ServiceHarness h;
    h.feedFrame(0x12, bodyStatus(0x40, 0x40));
    QSignalSpy doors(h.service.get(), &CanServiceBase::doorChanged);
    QSignalSpy alert(h.service.get(), &CanServiceBase::batteryVoltageAlert);
    LogCapture log;

    h.feedFrame(0x12, bodyStatus(0x80, 0x00, length));

    QCOMPARE(log.criticalCount("doDoor"), 1);
    QCOMPARE(log.criticalCount("doBatteryVoltage"), 1);
    QCOMPARE(h.service->getDoorStatus(), 0x40);
    QCOMPARE(h.service->getBatteryVoltageAlertType(), 1);
    QCOMPARE(doors.count(), 0);
    QCOMPARE(alert.count(), 0);
}

QTEST_GUILESS_MAIN(tst_Body)
#include "tst_body.moc"
