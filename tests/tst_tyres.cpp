// Tyre alerts and pressures from the adapter's tyre frames.
#include "testsupport.h"

namespace {
constexpr int Valid = 0x80;

// A tyre frame: status at 0, pressures FL FR RL RR big-endian at 1-8, alert flags at 11-14.
QByteArray tyres(int status, const QByteArray &flags = QByteArray(4, 0),
                 const QByteArray &pressures = QByteArray(8, 0))
{
    QByteArray data(16, 0);
    data[0] = char(status);
    data.replace(1, 8, pressures);
    data.replace(11, 4, flags);
    return data;
}

// Front left, front right, rear left, rear right.
QVector<int> statusesOf(canservice::SimpleService *s)
{
    return {s->getTireStatusFL(), s->getTireStatusFR(), s->getTireStatusRL(), s->getTireStatusRR()};
}

QVector<float> pressuresOf(canservice::SimpleService *s)
{
    return {s->getTirePressureValueFL(), s->getTirePressureValueFR(), s->getTirePressureValueRL(),
            s->getTirePressureValueRR()};
}

} // namespace

class tst_Tyres : public QObject
{
    Q_OBJECT
private slots:
    void alertFlags_data();
    void alertFlags();
    void notValidClearsAlerts();
    void pressures();
    void unitAndWrongLength_data();
    void unitAndWrongLength();
};

void tst_Tyres::alertFlags_data()
{
    QTest::addColumn<QByteArray>("flags"); // FL FR RL RR
    QTest::addColumn<QVector<int>>("expected");
    QTest::addColumn<int>("alertType");
    QTest::addColumn<int>("reported"); // wheels with bit 2 set, one debug line each

    QTest::newRow("all 0x07") << QByteArray(4, 0x07) << QVector<int>{2, 2, 2, 2} << 1 << 4;
    QTest::newRow("all 0x05") << QByteArray(4, 0x05) << QVector<int>{2, 2, 2, 2} << 1 << 4;
    QTest::newRow("all 0x06") << QByteArray(4, 0x06) << QVector<int>{1, 1, 1, 1} << 1 << 4;
    QTest::newRow("all 0x04") << QByteArray(4, 0x04) << QVector<int>{0, 0, 0, 0} << 0 << 4;
    QTest::newRow("all 0x03") << QByteArray(4, 0x03) << QVector<int>{0, 0, 0, 0} << 0 << 0;
    QTest::newRow("high bits unread")
        << QByteArray(4, char(0xFB)) << QVector<int>{0, 0, 0, 0} << 0 << 0;
    QTest::newRow("rear left only")
        << QByteArray::fromHex("00000600") << QVector<int>{0, 0, 1, 0} << 1 << 1;
    QTest::newRow("front right only")
        << QByteArray::fromHex("00050000") << QVector<int>{0, 2, 0, 0} << 1 << 1;
    QTest::newRow("mixed") << QByteArray::fromHex("07060403") << QVector<int>{2, 1, 0, 0} << 1 << 3;
}

void tst_Tyres::alertFlags()
{
    QFETCH(QByteArray, flags);
    QFETCH(QVector<int>, expected);
    QFETCH(int, alertType);
    QFETCH(int, reported);
    LogCapture log;
    ServiceHarness h;
    QSignalSpy alert(h.service.get(), &CanServiceBase::tireAlert);
    QSignalSpy data(h.service.get(), &CanServiceBase::tireDataChanged);
    const bool anyAlert = expected != QVector<int>(4, 0);

    h.feedFrame(0x68, tyres(Valid, flags));

    QCOMPARE(statusesOf(h.service.get()), expected);
    QCOMPARE(h.service->getTireAlertType(), alertType);
    QCOMPARE(alert.count(), anyAlert ? 1 : 0);
    QCOMPARE(LogCapture::debugOf("doTireAlert").size(), reported);

    h.feedFrame(0x68, tyres(Valid, flags));
    QCOMPARE(alert.count(), anyAlert ? 1 : 0);
    QCOMPARE(data.count(), 0);
}

void tst_Tyres::notValidClearsAlerts()
{
    ServiceHarness h;
    QSignalSpy alert(h.service.get(), &CanServiceBase::tireAlert);
    QSignalSpy data(h.service.get(), &CanServiceBase::tireDataChanged);

    // Every frame without tyre data is reported, changed or not.
    h.feedFrame(0x68, tyres(0x7F));
    QCOMPARE(alert.count(), 1);
    QCOMPARE(h.service->getTireAlertType(), 0);

    h.feedFrame(0x68, tyres(Valid, QByteArray(4, 0x05)));
    QCOMPARE(alert.count(), 2);
    QCOMPARE(h.service->getTireAlertType(), 1);

    h.feedFrame(0x68, tyres(0x00, QByteArray(4, 0x05), QByteArray(8, 0x11)));
    QCOMPARE(alert.count(), 3);
    QCOMPARE(statusesOf(h.service.get()), QVector<int>(4, 0));
    QCOMPARE(h.service->getTireAlertType(), 0);
    QCOMPARE(pressuresOf(h.service.get()), QVector<float>(4, 0.0f));
    h.feedFrame(0x68, tyres(0x00));
    QCOMPARE(alert.count(), 4);

    // A valid frame whose flags no longer report an alert clears it too.
    h.feedFrame(0x68, tyres(Valid, QByteArray::fromHex("00000006")));
    QCOMPARE(alert.count(), 5);
    h.feedFrame(0x68, tyres(Valid));
    QCOMPARE(alert.count(), 6);
    QCOMPARE(h.service->getTireAlertType(), 0);
    QCOMPARE(data.count(), 0);
}

void tst_Tyres::pressures()
{
    LogCapture log;
    ServiceHarness h;
    QSignalSpy data(h.service.get(), &CanServiceBase::tireDataChanged);

    h.feedFrame(0x68, tyres(Valid)); // all 0, as already stored
    QCOMPARE(data.count(), 0);

    const QByteArray values = QByteArray::fromHex("00dc010012ffffff");
    log.clear();
    h.feedFrame(0x68, tyres(Valid, QByteArray(4, 0), values));
    QCOMPARE(data.count(), 1);
    QCOMPARE(pressuresOf(h.service.get()), (QVector<float>{220.0f, 256.0f, 4863.0f, 65535.0f}));
    QCOMPARE(LogCapture::debugOf("doTireData"), (QStringList{"220", "256", "4863", "65535"}));
    h.feedFrame(0x68, tyres(Valid, QByteArray(4, 0), values));
    QCOMPARE(data.count(), 1);

    h.feedFrame(0x68, tyres(Valid, QByteArray(4, 0), QByteArray::fromHex("00dc010012ffff00")));
    QCOMPARE(data.count(), 2);
    QCOMPARE(pressuresOf(h.service.get()), (QVector<float>{220.0f, 256.0f, 4863.0f, 65280.0f}));

    // Without tyre data the pressures stay.
    h.feedFrame(0x68, tyres(0x00, QByteArray(4, 0), QByteArray(8, 0x22)));
    QCOMPARE(data.count(), 2);
    QCOMPARE(h.service->getTirePressureValueRR(), 65280.0f);
}

void tst_Tyres::unitAndWrongLength_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("15 bytes") << 15;
    QTest::newRow("17 bytes") << 17;
}

void tst_Tyres::unitAndWrongLength()
{
    QFETCH(int, length);
    LogCapture log;
    ServiceHarness h;
    QSignalSpy alert(h.service.get(), &CanServiceBase::tireAlert);
    QSignalSpy data(h.service.get(), &CanServiceBase::tireDataChanged);
    QVERIFY(h.service->getTireUnit().isEmpty());

    QByteArray bad = tyres(Valid, QByteArray(4, 0x05), QByteArray(8, 0x11));
    bad.resize(length);
    h.feedFrame(0x68, bad);

    QCOMPARE(log.criticalCount("doTireAlert"), 1);
    QCOMPARE(log.criticalCount("doTireData"), 1);
    QVERIFY(h.service->getTireUnit().isEmpty());
    QCOMPARE(statusesOf(h.service.get()), QVector<int>(4, 0));
    QCOMPARE(pressuresOf(h.service.get()), QVector<float>(4, 0.0f));
    QCOMPARE(alert.count(), 0);
    QCOMPARE(data.count(), 0);

    h.feedFrame(0x68, tyres(0x00)); // any 16-byte frame brings the unit
    QCOMPARE(h.service->getTireUnit(), Translator::translate(1006));
    QVERIFY(!h.service->getTireUnit().isEmpty());
}

QTEST_GUILESS_MAIN(tst_Tyres)
#include "tst_tyres.moc"
