// The climate panel as the host sees it: climate frames in, queries and signals out,
// climate keys in, command frames to the adapter out.
#include "testsupport.h"

#include <QSignalSpy>

namespace {

constexpr int ClimateFrame = 0x31;

// A 12-byte climate state: the given leading bytes, the rest zero.
QByteArray climate(const char *hex)
{
    QByteArray data = QByteArray::fromHex(hex);
    data.append(QByteArray(12 - data.size(), 0));
    return data;
}

QByteArray climateWith(int byte, int value)
{
    QByteArray data(12, 0);
    data[byte] = char(value);
    return data;
}

// Every flag and seat query that answers non-zero, as "name=value" in a fixed order.
QString nonZeroFlags(canservice::SimpleService &s)
{
    const QList<QPair<const char *, int>> all = {
        {"powerOff", s.isPowerOff()},
        {"rearClimate", s.isRearClimate()},
        {"ac", s.isAc()},
        {"inside", s.isInside()},
        {"auto", s.isAuto()},
        {"dual", s.isDual()},
        {"rearDefrost", s.isRearDefrost()},
        {"frontDefrost", s.isFrontDefrost()},
        {"leftHeat", s.getAcFrontLeftHeat()},
        {"rightHeat", s.getAcFrontRightHeat()},
        {"leftVent", s.getLeftVentilation()},
        {"rightVent", s.getRightVentilation()},
        // never served by this adapter
        {"powerOffRear", s.isPowerOffRear()},
        {"acMax", s.isAcMax()},
        {"rearLeftHeat", s.getAcRearLeftHeat()},
        {"rearRightHeat", s.getAcRearRightHeat()},
        {"swcHeat", s.isAcSwcHeat()},
        {"glassHeat", s.isAcGlassHeat()},
        {"airCare", s.isAirCareActive()},
        {"profile", s.getAirConProfile()},
    };
    QStringList out;
    for (const auto &q : all) {
        if (q.second != 0)
            out << QStringLiteral("%1=%2").arg(QLatin1String(q.first)).arg(q.second);
    }
    return out.join(QLatin1Char(' '));
}

} // namespace

class tst_Climate : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();

    void everyAcceptedFrameIsStoredAndSignalled();
    void wrongLengthIsDropped_data();
    void wrongLengthIsDropped();
    void zeroBeforeTheAdapterReports();
    void flags_data();
    void flags();
    void windMode_data();
    void windMode();
    void windScale_data();
    void windScale();
    void temperature_data();
    void temperature();
    void temperatureUnit_data();
    void temperatureUnit();
    void rearAirflowPassesThrough();
    void supportByModel_data();
    void supportByModel();
    void climateKey_data();
    void climateKey();
    void unsupportedKeyIsLogged_data();
    void unsupportedKeyIsLogged();
    void toggleDecidesFromLastReportOnly();
};

void tst_Climate::initTestCase()
{
    CanBusManager::instance()->setCarModelId(0);
}

void tst_Climate::cleanup()
{
    CanBusManager::instance()->setCarModelId(0);
}

void tst_Climate::everyAcceptedFrameIsStoredAndSignalled()
{
    ServiceHarness h;
    QSignalSpy spy(h.service.get(), &CanServiceBase::acStatusChanged);
    // The host reads inside its slot: the new state must already be there.
    QList<int> seenInSlot;
    QObject::connect(h.service.get(), &CanServiceBase::acStatusChanged,
                     [&] { seenInSlot << h.service->isAc(); });

    h.feedFrame(ClimateFrame, climate("01"));
    h.feedFrame(ClimateFrame, climate("01"));
    h.feedFrame(ClimateFrame, climate("00"));

    QCOMPARE(spy.count(), 3);
    QCOMPARE(seenInSlot, (QList<int>{1, 1, 0}));
}

void tst_Climate::wrongLengthIsDropped_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("11 bytes") << 11;
    QTest::newRow("13 bytes") << 13;
    QTest::newRow("1 byte") << 1;
}

void tst_Climate::wrongLengthIsDropped()
{
    QFETCH(int, length);
    ServiceHarness h;
    h.feedFrame(ClimateFrame, climate("41"));
    QSignalSpy spy(h.service.get(), &CanServiceBase::acStatusChanged);
    LogCapture log;

    h.feedFrame(ClimateFrame, QByteArray(length, char(0xFF)));

    QCOMPARE(spy.count(), 0);
    QCOMPARE(log.criticalCount("doClimate"), 1);
    QCOMPARE(log.messages("[ERR]"), QStringList{QString()}); // the line carries no message
    QCOMPARE(nonZeroFlags(*h.service), QStringLiteral("powerOff=1 ac=1"));
    QCOMPARE(h.service->getAcTemperature(), 0.0f);
}

void tst_Climate::zeroBeforeTheAdapterReports()
{
    ServiceHarness h;
    QCOMPARE(nonZeroFlags(*h.service), QString());
    QCOMPARE(h.service->getAcWindMode(), 0);
    QCOMPARE(h.service->getAcWindScale(), 0);
    QCOMPARE(h.service->getAcWindModeRear(), 0);
    QCOMPARE(h.service->getAcWindScaleRear(), 0);
    QCOMPARE(h.service->getAcTemperature(), 0.0f);
    QCOMPARE(h.service->getAcRightTemperature(), 0.0f);
    QCOMPARE(h.service->getAcRearTemperature(), 0.0f);
}

void tst_Climate::flags_data()
{
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<QString>("expected");
    QTest::newRow("nothing") << climate("000000") << "";
    QTest::newRow("power off and ac are independent") << climate("41") << "powerOff=1 ac=1";
    QTest::newRow("byte 0 unread bits") << climate("82") << "";
    QTest::newRow("auto, rear climate") << climate("30") << "rearClimate=1 auto=1";
    QTest::newRow("dual field 1") << climate("04") << "dual=1";
    QTest::newRow("dual field 2") << climate("08") << "";
    QTest::newRow("dual field 3") << climate("0c") << "";
    QTest::newRow("inside air") << climate("0010") << "inside=1";
    QTest::newRow("byte 1 unread bits") << climate("002f") << "";
    QTest::newRow("defrost both, unit bit clear")
        << climate("00007f") << "rearDefrost=1 frontDefrost=1 leftHeat=3 rightHeat=3";
    QTest::newRow("left ventilation") << climate("004003") << "leftVent=3";
    QTest::newRow("left heating") << climate("000003") << "leftHeat=3";
    QTest::newRow("right ventilation") << climate("00800c") << "rightVent=3";
    QTest::newRow("right heating") << climate("00000c") << "rightHeat=3";
    QTest::newRow("mixed seats") << climate("004009") << "rightHeat=2 leftVent=1";
    QTest::newRow("both ventilating") << climate("00c006") << "leftVent=2 rightVent=1";
    QTest::newRow("all bits") << climate("ffffff")
                              << "powerOff=1 rearClimate=1 ac=1 inside=1 auto=1 "
                                 "rearDefrost=1 frontDefrost=1 leftVent=3 rightVent=3";
}

void tst_Climate::flags()
{
    QFETCH(QByteArray, state);
    QFETCH(QString, expected);
    ServiceHarness h;
    h.feedFrame(ClimateFrame, state);
    QCOMPARE(nonZeroFlags(*h.service), expected);
}

void tst_Climate::windMode_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("error");
    QTest::newRow("0") << 0 << 0 << false;
    QTest::newRow("6") << 6 << 1 << false;
    QTest::newRow("3") << 3 << 2 << false;
    QTest::newRow("5") << 5 << 3 << false;
    QTest::newRow("13") << 13 << 4 << false;
    QTest::newRow("12") << 12 << 5 << false;
    QTest::newRow("14") << 14 << 6 << false;
    QTest::newRow("11") << 11 << 7 << false;
    for (int code : {1, 2, 4, 7, 8, 9, 10, 15, 0x35, 0xFF})
        QTest::addRow("unknown %d", code) << code << 0 << true;
}

void tst_Climate::windMode()
{
    QFETCH(int, code);
    QFETCH(int, mode);
    QFETCH(bool, error);
    ServiceHarness h;
    h.feedFrame(ClimateFrame, climateWith(4, code));
    LogCapture log;
    QCOMPARE(h.service->getAcWindMode(), mode);
    const QStringList expected =
        error ? QStringList{QStringLiteral("%1 0").arg(code),
                            QStringLiteral("MODE IS ERROR! %1").arg(code), QStringLiteral("0")}
              : QStringList{QStringLiteral("%1 0").arg(code), QString::number(mode)};
    QCOMPARE(log.messages("[DBG]"), expected);
}

void tst_Climate::windScale_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("scale");
    QTest::addColumn<bool>("error");
    for (int model : {60, 94}) {
        for (int code = 0; code <= 7; ++code)
            QTest::addRow("model %d code %d", model, code) << model << code << code << false;
        for (int code : {8, 18, 0xFF})
            QTest::addRow("model %d code %d", model, code) << model << code << 7 << true;
    }
    const int bands[] = {0, 0, 1, 1, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6, 6, 6, 7};
    for (int code = 0; code <= 18; ++code)
        QTest::addRow("model 0 code %d", code) << 0 << code << bands[code] << false;
    QTest::newRow("model 52 code 8") << 52 << 8 << 3 << false;
    QTest::newRow("model 0 code 19") << 0 << 19 << 7 << true;
    QTest::newRow("model 61 code 255") << 61 << 0xFF << 7 << true;
}

void tst_Climate::windScale()
{
    QFETCH(int, model);
    QFETCH(int, code);
    QFETCH(int, scale);
    QFETCH(bool, error);
    CanBusManager::instance()->setCarModelId(model);
    ServiceHarness h;
    h.feedFrame(ClimateFrame, climateWith(5, code));
    LogCapture log;
    QCOMPARE(h.service->getAcWindScale(), scale);
    QCOMPARE(log.messages("[DBG]"), QStringList{QStringLiteral("%1 %2").arg(code).arg(model)});
    QCOMPARE(log.messages("[ERR]"), error ? QStringList{QStringLiteral("Blowing grade value is "
                                                                       "ERROR!!!")}
                                          : QStringList());
}

void tst_Climate::temperature_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<float>("degrees");
    QTest::newRow("0x00") << 0x00 << 0.0f;
    QTest::newRow("0x01") << 0x01 << 0.5f;
    QTest::newRow("0x24") << 0x24 << 18.0f;
    QTest::newRow("0x2d") << 0x2D << 22.5f;
    QTest::newRow("0x80") << 0x80 << 64.0f;
    QTest::newRow("0xfd") << 0xFD << 126.5f;
    QTest::newRow("0xfe marker") << 0xFE << -100.0f;
    QTest::newRow("0xff marker") << 0xFF << -101.0f;
}

void tst_Climate::temperature()
{
    QFETCH(int, code);
    QFETCH(float, degrees);
    ServiceHarness h;
    // Each zone on its own byte, so a mixed-up byte shows.
    struct Zone
    {
        int byte;
        float (canservice::SimpleService::*value)();
        int (canservice::SimpleService::*index)();
    };
    const Zone zones[] = {
        {6, &canservice::SimpleService::getAcTemperature,
         &canservice::SimpleService::getAcTemperatureIndex},
        {7, &canservice::SimpleService::getAcRightTemperature,
         &canservice::SimpleService::getAcRightTemperatureIndex},
        {10, &canservice::SimpleService::getAcRearTemperature,
         &canservice::SimpleService::getAcRearTemperatureIndex},
    };
    for (const Zone &zone : zones) {
        h.feedFrame(ClimateFrame, climateWith(zone.byte, code));
        canservice::SimpleService &s = *h.service;
        QCOMPARE((s.*zone.value)(), degrees);
        LogCapture log;
        QCOMPARE((s.*zone.index)(), code);
        QCOMPARE(log.messages("[DBG]"), QStringList{QString::number(code)});
        for (const Zone &other : zones) {
            if (other.byte != zone.byte)
                QCOMPARE((s.*other.value)(), 0.0f);
        }
    }
}

void tst_Climate::temperatureUnit_data()
{
    QTest::addColumn<int>("byte2");
    QTest::addColumn<int>("textId");
    QTest::newRow("0x80") << 0x80 << 993;
    QTest::newRow("0xff") << 0xFF << 993;
    QTest::newRow("0x7f") << 0x7F << 990;
    QTest::newRow("0x00") << 0x00 << 990;
}

void tst_Climate::temperatureUnit()
{
    QFETCH(int, byte2);
    QFETCH(int, textId);
    ServiceHarness h;
    h.feedFrame(ClimateFrame, climateWith(2, byte2));
    QVERIFY(!Translator::translate(textId).isEmpty());
    QCOMPARE(h.service->getAcTemperatureUnit(), Translator::translate(textId));
    QCOMPARE(h.service->getAcRightTemperatureUnit(), Translator::translate(textId));
}

void tst_Climate::rearAirflowPassesThrough()
{
    ServiceHarness h;
    QByteArray state(12, 0);
    state[8] = char(0xFE);
    state[9] = char(0x7A);
    h.feedFrame(ClimateFrame, state);
    QCOMPARE(h.service->getAcWindModeRear(), 0xFE);
    QCOMPARE(h.service->getAcWindScaleRear(), 0x7A);
}

void tst_Climate::supportByModel_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<bool>("supported");
    QTest::newRow("52") << 52 << false;
    QTest::newRow("0") << 0 << true;
    QTest::newRow("51") << 51 << true;
    QTest::newRow("53") << 53 << true;
    QTest::newRow("60") << 60 << true;
    QTest::newRow("94") << 94 << true;
}

void tst_Climate::supportByModel()
{
    QFETCH(int, model);
    QFETCH(bool, supported);
    CanBusManager::instance()->setCarModelId(model);
    ServiceHarness h;
    LogCapture log;
    QCOMPARE(h.service->isSupportAc(), supported);
    QCOMPARE(log.messages("[DBG]"), QStringList{QString::number(model)});
}

void tst_Climate::climateKey_data()
{
    QTest::addColumn<int>("model");
    QTest::addColumn<int>("byte");
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("key");
    QTest::addColumn<QByteArray>("expected"); // the one frame written, or empty
    QTest::addColumn<int>("result");

    const auto frame = [](const char *hex) { return QByteArray::fromHex(hex); };
    // Toggles: the opposite of what the adapter last reported.
    QTest::newRow("0 power, on") << 0 << 0 << 0x00 << 0 << frame("5aa5023b01013e") << 0;
    QTest::newRow("0 power, off") << 0 << 0 << 0x40 << 0 << frame("5aa5023b01003d") << 0;
    QTest::newRow("2 ac, off") << 0 << 0 << 0xFE << 2 << frame("5aa5023b02013f") << 0;
    QTest::newRow("2 ac, on") << 0 << 0 << 0x01 << 2 << frame("5aa5023b02003e") << 0;
    QTest::newRow("4 dual, single") << 0 << 0 << 0x08 << 4 << frame("5aa5023b0f014c") << 0;
    QTest::newRow("4 dual, dual") << 0 << 0 << 0x04 << 4 << frame("5aa5023b0f004b") << 0;
    QTest::newRow("5 auto, off") << 0 << 0 << 0x00 << 5 << frame("5aa5023b040141") << 0;
    QTest::newRow("5 auto, on") << 0 << 0 << 0x10 << 5 << frame("5aa5023b040040") << 0;
    QTest::newRow("8 front defrost, off") << 0 << 2 << 0x20 << 8 << frame("5aa5023b050142") << 0;
    QTest::newRow("8 front defrost, on") << 0 << 2 << 0x10 << 8 << frame("5aa5023b050041") << 0;
    QTest::newRow("9 rear defrost, off") << 0 << 2 << 0x10 << 9 << frame("5aa5023b060143") << 0;
    QTest::newRow("9 rear defrost, on") << 0 << 2 << 0x20 << 9 << frame("5aa5023b060042") << 0;
    // Fixed commands.
    QTest::newRow("6") << 0 << 0 << 0 << 6 << frame("5aa5023b070144") << 0;
    QTest::newRow("7") << 0 << 0 << 0 << 7 << frame("5aa5023b070043") << 0;
    QTest::newRow("12") << 0 << 0 << 0 << 12 << frame("5aa5023b08ff43") << 0;
    QTest::newRow("13") << 0 << 0 << 0 << 13 << frame("5aa5023b0aff45") << 0;
    QTest::newRow("14") << 0 << 0 << 0 << 14 << frame("5aa5023b09ff44") << 0;
    QTest::newRow("15") << 0 << 0 << 0 << 15 << frame("5aa5023b0b0148") << 0;
    QTest::newRow("16") << 0 << 0 << 0 << 16 << frame("5aa5023b0b0249") << 0;
    QTest::newRow("17") << 0 << 0 << 0 << 17 << frame("5aa5023b150152") << 0;
    QTest::newRow("18") << 0 << 0 << 0 << 18 << frame("5aa5023b150253") << 0;
    QTest::newRow("19") << 0 << 0 << 0 << 19 << frame("5aa5023b0c0149") << 0;
    QTest::newRow("20") << 0 << 0 << 0 << 20 << frame("5aa5023b0c024a") << 0;
    QTest::newRow("21") << 0 << 0 << 0 << 21 << frame("5aa5023b0d014a") << 0;
    QTest::newRow("22") << 0 << 0 << 0 << 22 << frame("5aa5023b0d024b") << 0;
    QTest::newRow("23") << 0 << 0 << 0 << 23 << frame("5aa5023b160153") << 0;
    QTest::newRow("24") << 0 << 0 << 0 << 24 << frame("5aa5023b160254") << 0;
    QTest::newRow("34") << 0 << 0 << 0 << 34 << frame("5aa5023b17ff52") << 0;
    // Blower up at the top step: only model 94 holds it back.
    QTest::newRow("15 model 94, scale 7") << 94 << 5 << 7 << 15 << QByteArray() << 0;
    QTest::newRow("15 model 94, scale 6") << 94 << 5 << 6 << 15 << frame("5aa5023b0b0148") << 0;
    QTest::newRow("15 model 60, scale 7") << 60 << 5 << 7 << 15 << frame("5aa5023b0b0148") << 0;
    QTest::newRow("15 model 0, code 18") << 0 << 5 << 18 << 15 << frame("5aa5023b0b0148") << 0;
    // Mode key: steps on from the low four bits of the reported wind mode.
    QTest::newRow("31 from 0x03") << 0 << 4 << 0x03 << 31 << frame("5aa5023b09ff44") << 0;
    QTest::newRow("31 from 0x35") << 0 << 4 << 0x35 << 31 << frame("5aa5023b22ff5d") << 0;
    QTest::newRow("31 from 0x06") << 0 << 4 << 0x06 << 31 << frame("5aa5023b08ff43") << 0;
    QTest::newRow("31 from 0xfb") << 0 << 4 << 0xFB << 31 << frame("5aa5023b21ff5c") << 0;
    QTest::newRow("31 from 0x0c") << 0 << 4 << 0x0C << 31 << frame("5aa5023b0aff45") << 0;
    QTest::newRow("31 from 0x00") << 0 << 4 << 0x00 << 31 << frame("5aa5023b0aff45") << 0;
    QTest::newRow("31 from 0x0d") << 0 << 4 << 0x0D << 31 << frame("5aa5023b0aff45") << 0;
    // Keys the adapter has no command for.
    for (int key : {1, 3, 10, 11, 25, 26, 27, 29, 32, 33, 35, -1, 1000})
        QTest::addRow("%d nothing", key) << 0 << 0 << 0 << key << QByteArray() << 0;
    QTest::newRow("28") << 0 << 0 << 0 << 28 << QByteArray() << -1;
    QTest::newRow("30") << 0 << 0 << 0 << 30 << QByteArray() << -1;
    // Model 52 takes no climate commands at all.
    QTest::newRow("12 model 52") << 52 << 0 << 0 << 12 << QByteArray() << 0;
    QTest::newRow("2 model 52") << 52 << 0 << 0 << 2 << QByteArray() << 0;
    QTest::newRow("31 model 52") << 52 << 4 << 5 << 31 << QByteArray() << 0;
}

void tst_Climate::climateKey()
{
    QFETCH(int, model);
    QFETCH(int, byte);
    QFETCH(int, value);
    QFETCH(int, key);
    QFETCH(QByteArray, expected);
    QFETCH(int, result);
    CanBusManager::instance()->setCarModelId(model);
    ServiceHarness h;
    h.feedFrame(ClimateFrame, climateWith(byte, value));
    QSignalSpy spy(h.service.get(), &CanServiceBase::acStatusChanged);

    // The key's second argument only goes to the log.
    for (int argument : {0, 1, -7}) {
        h.writes.clear();
        QCOMPARE(h.service->sendAcKey(key, argument), result);
        const QList<QByteArray> expectedFrames =
            expected.isEmpty() ? QList<QByteArray>() : QList<QByteArray>{expected};
        QCOMPARE(h.written(), expectedFrames);
        for (const ServiceHarness::Write &w : qAsConst(h.writes))
            QCOMPARE(w.flag, false);
    }
    QCOMPARE(spy.count(), 0); // sending never touches the stored state
}

void tst_Climate::unsupportedKeyIsLogged_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<bool>("logged");
    for (int key : {32, 33, 35, -1})
        QTest::addRow("%d", key) << key << true;
    for (int key : {1, 3, 10, 11, 25, 28, 29, 30})
        QTest::addRow("%d", key) << key << false;
}

void tst_Climate::unsupportedKeyIsLogged()
{
    QFETCH(int, key);
    QFETCH(bool, logged);
    ServiceHarness h;
    LogCapture log;
    h.service->sendAcKey(key, 5);
    const QStringList expected =
        logged ? QStringList{QStringLiteral("%1 5").arg(key),
                             QStringLiteral("Function not supported,KEY =  %1").arg(key)}
               : QStringList{QStringLiteral("%1 5").arg(key)};
    QCOMPARE(log.messages("[DBG]"), expected);
}

void tst_Climate::toggleDecidesFromLastReportOnly()
{
    ServiceHarness h;
    LogCapture log;
    h.service->sendAcKey(2, 0);
    h.service->sendAcKey(2, 0);
    h.feedFrame(ClimateFrame, climate("01"));
    h.service->sendAcKey(2, 0);
    QCOMPARE(h.sent(), (QList<QByteArray>{QByteArray::fromHex("5aa5023b02013f"),
                                          QByteArray::fromHex("5aa5023b02013f"),
                                          QByteArray::fromHex("5aa5023b02003e")}));
    // The key, the state it toggled from, the command, then the model check before writing.
    const QStringList lines = log.messages("[DBG]");
    QCOMPARE(lines.mid(0, 4), (QStringList{"2 0", "0", "2 1", "0"}));
}

QTEST_GUILESS_MAIN(tst_Climate)
#include "tst_climate.moc"
