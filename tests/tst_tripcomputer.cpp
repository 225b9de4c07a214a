// Trip computer, car information, fuel status and adapter version, as the host sees them:
// adapter frames in, records, getters and signals out.
#include "testsupport.h"

#include <QTemporaryFile>

using canservice::SimpleService;

namespace {

QString unit(int id)
{
    return Translator::translate(id);
}

QStringList blanks(int n)
{
    QStringList out;
    for (int i = 0; i < n; ++i)
        out << QString();
    return out;
}

// `data` with the bytes of `hex` written from data byte k on.
QByteArray with(QByteArray data, int k, const char *hex)
{
    const QByteArray bytes = QByteArray::fromHex(hex);
    data.replace(k, bytes.size(), bytes);
    return data;
}

QByteArray carInfo(const char *rotate, int other, int coolant)
{
    QByteArray data = with(QByteArray(14, 0), 2, rotate);
    data[8] = char(other);
    data[9] = char(coolant);
    return data;
}

QByteArray bodyStatus(int byte6)
{
    QByteArray data(10, 0);
    data[6] = char(byte6);
    return data;
}

// A fuel-consumption payload with every field not available and the given unit byte.
QByteArray fuelFrame(int unitByte = 0)
{
    QByteArray data(25, char(0xFF));
    data[22] = char(unitByte);
    return data;
}

QByteArray mileageFrame(const char *mileage, const char *time)
{
    return with(with(QByteArray(17, char(0xFF)), 4, mileage), 11, time);
}

struct Records
{
    FuelConsumptionData fuel;
    DrivingData driving;
    OtherInfoData other;
};

Records records(SimpleService *s)
{
    Records r;
    s->getFuelConsumptionData(r.fuel);
    s->getDrivingData(r.driving);
    s->getOtherInfoData(r.other);
    return r;
}

QStringList texts(const FuelConsumptionData &d)
{
    return {d.item1, d.item2, d.item3, d.item4, d.item5, d.item6};
}

QStringList texts(const DrivingData &d)
{
    return {d.item1,  d.item2,  d.item3,  d.item4,  d.item5,  d.item6,
            d.item7,  d.item8,  d.item9,  d.item10, d.item11, d.item12,
            d.item13, d.item14, d.item15, d.item16, d.item17, d.item18};
}

QStringList texts(const OtherInfoData &d)
{
    return {d.item1, d.item2, d.item3, d.item4, d.item5, d.item6, d.item7, d.item8, d.item9};
}

// Every signal of this subsystem in emission order, with the records as a slot reads them.
struct SignalLog
{
    explicit SignalLog(SimpleService *s)
    {
        const auto watch = [&](void (CanServiceBase::*signal)(), const char *name) {
            QObject::connect(s, signal, [this, s, name] {
                names << QString::fromLatin1(name);
                seen << records(s);
            });
        };
        watch(&CanServiceBase::rotateChanged, "rotate");
        watch(&CanServiceBase::coolantemChanged, "coolant");
        watch(&CanServiceBase::otherInfoDataChanged, "other");
        watch(&CanServiceBase::fuelDataChanged, "fuel");
        watch(&CanServiceBase::drivingDataChanged, "driving");
        watch(&CanServiceBase::sigVersionData, "version");
    }
    QStringList take()
    {
        const QStringList out = names;
        names.clear();
        seen.clear();
        return out;
    }
    QStringList names;
    QList<Records> seen;
};

} // namespace

class tst_TripComputer : public QObject
{
    Q_OBJECT
private slots:
    void recordsBeforeAnyFrame();
    void recordCopiesAreDetached();
    void wrongLength_data();
    void wrongLength();

    void carInformation_data();
    void carInformation();
    void rotationNotAvailable();
    void fuelStatus();

    void consumptionUnits_data();
    void consumptionUnits();
    void consumptionFields_data();
    void consumptionFields();
    void largeDrivingValues_data();
    void largeDrivingValues();
    void fuelConsumptionSignals();

    void timeText_data();
    void timeText();
    void currentMileageSignals();

    void version_data();
    void version();

    void unitTextsFollowTheLanguage();
    void logLines();
};

void tst_TripComputer::recordsBeforeAnyFrame()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    FuelConsumptionData fuel;
    fuel.item1 = "stale";
    DrivingData driving;
    driving.item18 = "stale";
    OtherInfoData other;
    other.item9 = "stale";
    other.flag = false;
    QCOMPARE(s->getFuelConsumptionData(fuel), 0);
    QCOMPARE(s->getDrivingData(driving), 0);
    QCOMPARE(s->getOtherInfoData(other), 0);
    QCOMPARE(texts(fuel), blanks(6));
    QCOMPARE(texts(driving), blanks(18));
    QCOMPARE(texts(other), blanks(9));
    QCOMPARE(other.flag, true);

    QCOMPARE(s->getRotate(), 0);
    QCOMPARE(s->getCoolantTemp(), 0);
    QCOMPARE(s->getCoolantTempUnit(), unit(990));
    QCOMPARE(s->version(), QString());

    QMap<QString, QString> map{{"speed", "42"}};
    QCOMPARE(s->getVehicleData(map), 0);
    QCOMPARE(map, (QMap<QString, QString>{{"speed", "42"}}));
    QCOMPARE(s->requestDrivingData(), 0);
    QVERIFY(h.writes.isEmpty());
}

void tst_TripComputer::recordCopiesAreDetached()
{
    ServiceHarness h;
    h.feedFrame(0x34, with(with(fuelFrame(), 0, "04d2"), 2, "012c"));
    h.feedFrame(0x12, bodyStatus(0x80));
    const Records before = records(h.service.get());

    h.feedFrame(0x34, with(with(fuelFrame(), 0, "0001"), 2, "0001"));
    h.feedFrame(0x12, bodyStatus(0x00));
    const Records after = records(h.service.get());

    QCOMPARE(before.fuel.item1, "123.4" + unit(1026));
    QCOMPARE(before.driving.item2, "300.0" + unit(997));
    QCOMPARE(before.other.item1, unit(346));
    QCOMPARE(after.fuel.item1, "0.1" + unit(1026));
    QCOMPARE(after.driving.item2, "1.0" + unit(997));
    QCOMPARE(after.other.item1, unit(131));
}

void tst_TripComputer::wrongLength_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("decoder");
    QTest::addColumn<int>("criticals");
    QTest::newRow("car information, 13") << 0x32 << 13 << "doCarInformationData" << 1;
    QTest::newRow("car information, 15") << 0x32 << 15 << "doCarInformationData" << 1;
    QTest::newRow("body status, 9") << 0x12 << 9 << "doFuelStatus" << 1;
    QTest::newRow("body status, 11") << 0x12 << 11 << "doFuelStatus" << 1;
    QTest::newRow("fuel consumption, 24") << 0x34 << 24 << "doFuelConsumption" << 1;
    QTest::newRow("fuel consumption, 26") << 0x34 << 26 << "doFuelConsumption" << 1;
    QTest::newRow("current mileage, 16") << 0x13 << 16 << "doCurrentMileage" << 1;
    QTest::newRow("current mileage, 18") << 0x13 << 18 << "doCurrentMileage" << 1;
    QTest::newRow("keys, 9") << 0x11 << 9 << "doRotate" << 1;
    QTest::newRow("keys, 11") << 0x11 << 11 << "doRotate" << 1;
    QTest::newRow("keys, 10 is fine") << 0x11 << 10 << "doRotate" << 0;
}

// Bytes that would change every value if they were decoded.
void tst_TripComputer::wrongLength()
{
    QFETCH(int, cmd);
    QFETCH(int, length);
    QFETCH(QString, decoder);
    QFETCH(int, criticals);

    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    LogCapture log;
    h.feedFrame(cmd, QByteArray(length, char(0x80)));

    QCOMPARE(log.criticalCount(decoder), criticals);
    for (const auto &line : LogCapture::lines()) {
        if (line.second.contains(decoder))
            QVERIFY2(!line.second.startsWith("[ERR]") || line.second.endsWith(" --"),
                     qPrintable(line.second));
    }
    QCOMPARE(signalLog.names, QStringList());
    const Records r = records(h.service.get());
    QCOMPARE(texts(r.fuel) + texts(r.driving) + texts(r.other), blanks(33));
    QCOMPARE(h.service->getRotate(), 0);
    QCOMPARE(h.service->getCoolantTemp(), 0);
}

void tst_TripComputer::carInformation_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<int>("rotate");
    QTest::addColumn<int>("coolant");
    QTest::addColumn<QString>("item2");
    QTest::addColumn<QStringList>("signalNames");
    QTest::newRow("initial values") << carInfo("0000", 0, 40) << 0 << 0 << "" << QStringList();
    QTest::newRow("3000 rpm") << carInfo("0bb8", 0, 40) << 3000 << 0 << "" << QStringList{"rotate"};
    QTest::newRow("ff fe is a value")
        << carInfo("fffe", 0, 40) << 65534 << 0 << "" << QStringList{"rotate"};
    QTest::newRow("ff ff is not available")
        << carInfo("ffff", 0, 40) << 0 << 0 << "" << QStringList();
    QTest::newRow("coolant 0x00") << carInfo("0000", 0, 0x00) << 0 << -40 << ""
                                  << QStringList{"coolant"};
    QTest::newRow("coolant 0xff") << carInfo("0000", 0, 0xFF) << 0 << 215 << ""
                                  << QStringList{"coolant"};
    QTest::newRow("other information 0x64")
        << carInfo("0000", 0x64, 40) << 0 << 0 << "100" + unit(999) << QStringList{"other"};
    QTest::newRow("all three, in order")
        << carInfo("0bb8", 0xFF, 0x5A) << 3000 << 50 << "255" + unit(999)
        << QStringList{"rotate", "coolant", "other"};
}

void tst_TripComputer::carInformation()
{
    QFETCH(QByteArray, payload);
    QFETCH(int, rotate);
    QFETCH(int, coolant);
    QFETCH(QString, item2);
    QFETCH(QStringList, signalNames);

    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    h.feedFrame(0x32, payload);
    QCOMPARE(signalLog.names, signalNames);
    QCOMPARE(h.service->getRotate(), rotate);
    QCOMPARE(h.service->getCoolantTemp(), coolant);
    const Records r = records(h.service.get());
    QCOMPARE(r.other.item2, item2);
    QCOMPARE(texts(r.other).mid(2), blanks(7));
    QCOMPARE(r.other.item1, QString());
    if (signalNames.contains("other")) // stored before the host was told
        QCOMPARE(signalLog.seen.last().other.item2, item2);

    signalLog.take();
    h.feedFrame(0x32, payload);
    QCOMPARE(signalLog.names, QStringList());
}

void tst_TripComputer::rotationNotAvailable()
{
    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    h.feedFrame(0x32, carInfo("0bb8", 0, 40));
    h.feedFrame(0x32, carInfo("ffff", 7, 50));
    QCOMPARE(signalLog.names, (QStringList{"rotate", "coolant", "other"}));
    QCOMPARE(h.service->getRotate(), 3000);
    QCOMPARE(h.service->getCoolantTemp(), 10);

    // Command 0x11 carries keys, never the rotation.
    h.feedFrame(0x11, QByteArray(10, char(0x12)));
    h.feedFrame(0x11, QByteArray(4, char(0x34)));
    QCOMPARE(h.service->getRotate(), 3000);
}

void tst_TripComputer::fuelStatus()
{
    ServiceHarness h;
    QSignalSpy spy(h.service.get(), &CanServiceBase::otherInfoDataChanged);
    const auto item1 = [&h] { return records(h.service.get()).other.item1; };

    h.feedFrame(0x12, bodyStatus(0x00));
    QCOMPARE(spy.count(), 0);
    QCOMPARE(item1(), QString());

    h.feedFrame(0x12, bodyStatus(0x80));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(item1(), unit(346));
    h.feedFrame(0x12, bodyStatus(0x80));
    QCOMPARE(spy.count(), 1);

    h.feedFrame(0x12, bodyStatus(0x7F));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(item1(), unit(131));

    h.feedFrame(0x12, bodyStatus(0x40)); // the battery bit only
    QCOMPARE(spy.count(), 2);
    QCOMPARE(item1(), unit(131));
    QCOMPARE(records(h.service.get()).other.item2, QString());
}

void tst_TripComputer::consumptionUnits_data()
{
    QTest::addColumn<int>("unitByte");
    QTest::addColumn<int>("consumptionText");
    QTest::addColumn<int>("drivingText");
    QTest::newRow("0x00") << 0x00 << 1026 << 997;
    QTest::newRow("0x01") << 0x01 << 1003 << 997;
    QTest::newRow("0x02") << 0x02 << 1002 << 997;
    QTest::newRow("0x03") << 0x03 << 1035 << 997;
    QTest::newRow("0x04") << 0x04 << 1026 << 998;
    QTest::newRow("0x07") << 0x07 << 1035 << 998;
    QTest::newRow("0xf9 upper bits ignored") << 0xF9 << 1003 << 997;
}

void tst_TripComputer::consumptionUnits()
{
    QFETCH(int, unitByte);
    QFETCH(int, consumptionText);
    QFETCH(int, drivingText);

    QByteArray payload = fuelFrame(unitByte);
    payload = with(payload, 0, "04d2");
    payload = with(payload, 2, "012c");
    payload = with(payload, 4, "0186a0");
    payload = with(payload, 7, "0000");
    payload = with(payload, 12, "0001");
    payload = with(payload, 17, "ffee");

    ServiceHarness h;
    h.feedFrame(0x34, payload);
    const Records r = records(h.service.get());
    const QString u = unit(consumptionText);
    QCOMPARE(texts(r.fuel), (QStringList{"123.4" + u, "", "", "0.0" + u, "0.1" + u, "6551.8" + u}));
    QCOMPARE(r.driving.item2, "300.0" + unit(drivingText));
    QCOMPARE(r.driving.item5, "10000.0" + unit(drivingText));
}

void tst_TripComputer::consumptionFields_data()
{
    QTest::addColumn<int>("k");
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("member");
    QTest::addColumn<QString>("number"); // empty: the member keeps its text
    const QByteArray na2 = QByteArray::fromHex("ffff");
    QTest::newRow("item1 ff ff") << 0 << na2 << "fuel1"
                                 << "";
    QTest::newRow("item1 ff 00") << 0 << QByteArray::fromHex("ff00") << "fuel1"
                                 << "6528.0";
    QTest::newRow("item1 00 ff") << 0 << QByteArray::fromHex("00ff") << "fuel1"
                                 << "25.5";
    QTest::newRow("item4 ff ff") << 7 << na2 << "fuel4"
                                 << "";
    QTest::newRow("item4 ff fe") << 7 << QByteArray::fromHex("fffe") << "fuel4"
                                 << "6553.4";
    QTest::newRow("item5 ff ff") << 12 << na2 << "fuel5"
                                 << "";
    QTest::newRow("item5 7f ff") << 12 << QByteArray::fromHex("7fff") << "fuel5"
                                 << "3276.7";
    QTest::newRow("item6 ff ff") << 17 << na2 << "fuel6"
                                 << "";
    QTest::newRow("item6 01 00") << 17 << QByteArray::fromHex("0100") << "fuel6"
                                 << "25.6";
    QTest::newRow("value A ff ff") << 2 << na2 << "driving2"
                                   << "";
    QTest::newRow("value A ff 00") << 2 << QByteArray::fromHex("ff00") << "driving2"
                                   << "65280.0";
    QTest::newRow("value A 00 00") << 2 << QByteArray::fromHex("0000") << "driving2"
                                   << "0.0";
    QTest::newRow("value B ff ff ff") << 4 << QByteArray::fromHex("ffffff") << "driving5"
                                      << "";
    QTest::newRow("value B ff ff 00") << 4 << QByteArray::fromHex("ffff00") << "driving5"
                                      << "1677696.0";
    QTest::newRow("value B 00 ff ff") << 4 << QByteArray::fromHex("00ffff") << "driving5"
                                      << "6553.5";
}

// One field at a time on a frame where every other field is not available.
void tst_TripComputer::consumptionFields()
{
    QFETCH(int, k);
    QFETCH(QByteArray, field);
    QFETCH(QString, member);
    QFETCH(QString, number);

    QByteArray payload = fuelFrame();
    payload.replace(k, field.size(), field);
    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    h.feedFrame(0x34, payload);

    const Records r = records(h.service.get());
    const QMap<QString, QString> members{
        {"fuel1", r.fuel.item1}, {"fuel4", r.fuel.item4},       {"fuel5", r.fuel.item5},
        {"fuel6", r.fuel.item6}, {"driving2", r.driving.item2}, {"driving5", r.driving.item5}};
    const bool driving = member.startsWith("driving");
    const QString expected = number.isEmpty() ? QString() : number + unit(driving ? 997 : 1026);
    QStringList all = texts(r.fuel) + texts(r.driving);
    QCOMPARE(members.value(member), expected);
    QCOMPARE(all.count(QString()), 24 - (number.isEmpty() ? 0 : 1));

    QStringList signalNames{"fuel"};
    if (driving && !number.isEmpty())
        signalNames << "driving";
    QCOMPARE(signalLog.names, signalNames);
}

void tst_TripComputer::largeDrivingValues_data()
{
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("number");
    QTest::newRow("10000.0") << QByteArray::fromHex("0186a0") << "10000.0";
    QTest::newRow("999999.9") << QByteArray::fromHex("98967f") << "999999.9";
    // Above 2^20 a float holds eighths: 1048576.2 is kept as 1048576.25.
    QTest::newRow("1048576.2 prints .3") << QByteArray::fromHex("a00002") << "1048576.3";
    QTest::newRow("1048576.7 prints .8") << QByteArray::fromHex("a00007") << "1048576.8";
    QTest::newRow("1677721.2 prints .3") << QByteArray::fromHex("fffffc") << "1677721.3";
    QTest::newRow("1677721.4 stays") << QByteArray::fromHex("fffffe") << "1677721.4";
}

void tst_TripComputer::largeDrivingValues()
{
    QFETCH(QByteArray, field);
    QFETCH(QString, number);

    QByteArray payload = fuelFrame(0x04);
    payload.replace(4, 3, field);
    ServiceHarness h;
    h.feedFrame(0x34, payload);
    QCOMPARE(records(h.service.get()).driving.item5, number + unit(998));
}

void tst_TripComputer::fuelConsumptionSignals()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    SignalLog signalLog(s);

    QByteArray first = fuelFrame(0x00);
    first = with(first, 0, "04d2");
    first = with(first, 2, "012c");
    first = with(first, 4, "0186a0");
    h.feedFrame(0x34, first);
    QCOMPARE(signalLog.names, (QStringList{"fuel", "driving", "driving"}));
    // Each signal finds its own change stored, and nothing of the next one yet.
    QCOMPARE(signalLog.seen[0].fuel.item1, "123.4" + unit(1026));
    QCOMPARE(signalLog.seen[0].driving.item5, QString());
    QCOMPARE(signalLog.seen[1].driving.item5, "10000.0" + unit(997));
    QCOMPARE(signalLog.seen[1].driving.item2, QString());
    QCOMPARE(signalLog.seen[2].driving.item2, "300.0" + unit(997));

    signalLog.take();
    h.feedFrame(0x34, first);
    QCOMPARE(signalLog.take(), QStringList{"fuel"});

    // The same numbers in the other driving unit are new texts.
    h.feedFrame(0x34, with(first, 22, "04"));
    QCOMPARE(signalLog.take(), (QStringList{"fuel", "driving", "driving"}));
    QCOMPARE(records(s).driving.item2, "300.0" + unit(998));
    QCOMPARE(records(s).driving.item5, "10000.0" + unit(998));

    const Records before = records(s);
    h.feedFrame(0x34, fuelFrame(0x04));
    QCOMPARE(signalLog.take(), QStringList{"fuel"});
    QCOMPARE(texts(records(s).fuel), texts(before.fuel));
    QCOMPARE(texts(records(s).driving), texts(before.driving));

    // Value A not available stops nothing before it.
    QByteArray noValueA = with(with(fuelFrame(0x04), 0, "0001"), 4, "000002");
    h.feedFrame(0x34, noValueA);
    QCOMPARE(signalLog.take(), (QStringList{"fuel", "driving"}));
    QCOMPARE(records(s).fuel.item1, "0.1" + unit(1026));
    QCOMPARE(records(s).driving.item5, "0.2" + unit(998));
    QCOMPARE(records(s).driving.item2, "300.0" + unit(998));
}

void tst_TripComputer::timeText_data()
{
    QTest::addColumn<QByteArray>("time");
    QTest::addColumn<QString>("number"); // "--" is the marker itself
    QTest::newRow("1.0 + 30/60") << QByteArray::fromHex("000a1e") << "1.5";
    QTest::newRow("0 + 59/60") << QByteArray::fromHex("00003b") << "1.0";
    QTest::newRow("0 + 60/60") << QByteArray::fromHex("00003c") << "1.0";
    QTest::newRow("0 + 120/60") << QByteArray::fromHex("000078") << "2.0";
    QTest::newRow("0 + 254/60") << QByteArray::fromHex("0000fe") << "4.2";
    // The float's 0.699999988 plus 0.05 stays below the rounding point.
    QTest::newRow("0.7 + 3/60, from the float") << QByteArray::fromHex("000703") << "0.7";
    QTest::newRow("6553.4 + 3/60, from the float") << QByteArray::fromHex("fffe03") << "6553.4";
    QTest::newRow("ff 00 00 is a value") << QByteArray::fromHex("ff0000") << "6528.0";
    QTest::newRow("sixtieths ff") << QByteArray::fromHex("0000ff") << "--";
    QTest::newRow("whole part ff ff") << QByteArray::fromHex("ffff00") << "--";
    QTest::newRow("all ff") << QByteArray::fromHex("ffffff") << "--";
}

void tst_TripComputer::timeText()
{
    QFETCH(QByteArray, time);
    QFETCH(QString, number);

    ServiceHarness h;
    QSignalSpy spy(h.service.get(), &CanServiceBase::drivingDataChanged);
    h.feedFrame(0x13, with(QByteArray(17, char(0xFF)), 11, time.toHex().constData()));
    const QString expected = number == "--" ? number : number + unit(1025);
    QCOMPARE(records(h.service.get()).driving.item3, expected);
    QCOMPARE(records(h.service.get()).driving.item1, QString());
    QCOMPARE(spy.count(), 1);
}

void tst_TripComputer::currentMileageSignals()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    SignalLog signalLog(s);

    h.feedFrame(0x13, QByteArray(17, char(0xFF)));
    QCOMPARE(signalLog.take(), QStringList{"driving"});
    QCOMPARE(records(s).driving.item1, QString());
    QCOMPARE(records(s).driving.item3, "--");
    h.feedFrame(0x13, QByteArray(17, char(0xFF)));
    QCOMPARE(signalLog.take(), QStringList());

    h.feedFrame(0x13, mileageFrame("3039", "000a1e"));
    QCOMPARE(signalLog.names, (QStringList{"driving", "driving"}));
    QCOMPARE(signalLog.seen[0].driving.item1, "1234.5" + unit(992));
    QCOMPARE(signalLog.seen[0].driving.item3, "--");
    QCOMPARE(signalLog.seen[1].driving.item3, "1.5" + unit(1025));

    signalLog.take();
    h.feedFrame(0x13, mileageFrame("ffff", "001400"));
    QCOMPARE(signalLog.take(), QStringList{"driving"});
    QCOMPARE(records(s).driving.item1, "1234.5" + unit(992));
    QCOMPARE(records(s).driving.item3, "2.0" + unit(1025));

    // An unavailable time replaces the old text.
    h.feedFrame(0x13, mileageFrame("3039", "0014ff"));
    QCOMPARE(signalLog.take(), QStringList{"driving"});
    QCOMPARE(records(s).driving.item3, "--");

    // The fuel-consumption members are left alone.
    QCOMPARE(records(s).driving.item2, QString());
    QCOMPARE(records(s).driving.item5, QString());
    QCOMPARE(texts(records(s).fuel), blanks(6));
}

void tst_TripComputer::version_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("text");
    QTest::newRow("V1.02") << QByteArray("V1.02") << "V1.02";
    QTest::newRow("cut at the first zero") << QByteArray::fromHex("56312e30000058") << "V1.0";
    QTest::newRow("empty") << QByteArray() << "";
    QTest::newRow("leading zero") << QByteArray::fromHex("0056") << "";
    QTest::newRow("multi-byte UTF-8")
        << QByteArray("V\xc3\xa9-\xe2\x82\xac") << QString::fromUtf8("V\xc3\xa9-\xe2\x82\xac");
    QTest::newRow("invalid UTF-8") << QByteArray::fromHex("56ff") << QString("V") + QChar(0xFFFD);
}

void tst_TripComputer::version()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, text);

    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    // The link never completes a frame without data, so that one goes to the decoder.
    const auto deliver = [&h](QByteArray data) {
        if (data.isEmpty())
            h.service->doVersion(0xF0, data);
        else
            h.feedFrame(0xF0, data);
    };
    deliver("old");
    deliver(payload);
    QCOMPARE(h.service->version(), text);
    deliver(payload);
    QCOMPARE(h.service->version(), text);
    QCOMPARE(signalLog.names, (QStringList{"version", "version", "version"}));
}

// The unit texts are the host's and may change while the service runs.
void tst_TripComputer::unitTextsFollowTheLanguage()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    QByteArray fuel = with(with(fuelFrame(), 0, "04d2"), 2, "012c");
    h.feedFrame(0x34, fuel);
    h.feedFrame(0x32, carInfo("0000", 0x64, 40));
    const QString english999 = unit(999);

    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(R"({"990": "Grad", "997": "km/Std", "999": "Proz", "1026": "L/100"})");
    file.close();
    qputenv("CANSERVICE_TRANSLATIONS", file.fileName().toLocal8Bit());
    Translator::reload();
    const auto restore = qScopeGuard([] {
        qunsetenv("CANSERVICE_TRANSLATIONS");
        Translator::reload();
    });

    QCOMPARE(s->getCoolantTempUnit(), "Grad");
    SignalLog signalLog(s);
    h.feedFrame(0x34, fuel);
    QCOMPARE(signalLog.take(), (QStringList{"fuel", "driving"}));
    QCOMPARE(records(s).fuel.item1, "123.4L/100");
    QCOMPARE(records(s).driving.item2, "300.0km/Std");

    // Rebuilt only for a new value.
    h.feedFrame(0x32, carInfo("0000", 0x64, 40));
    QCOMPARE(records(s).other.item2, "100" + english999);
    h.feedFrame(0x32, carInfo("0000", 0x65, 40));
    QCOMPARE(records(s).other.item2, "101Proz");
}

void tst_TripComputer::logLines()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    LogCapture log;

    QByteArray info = carInfo("0bb8", 0x64, 0x5A);
    s->doCarInformationData(0x32, info);
    QCOMPARE(log.messages(), (QStringList{"11 184", "3000 0", "50 0", "100 0"}));

    log.clear();
    QByteArray body = bodyStatus(0x80);
    s->doFuelStatus(0x12, body);
    QCOMPARE(log.messages(), QStringList{"1 0"});

    log.clear();
    QByteArray fuel = with(with(with(fuelFrame(0x05), 0, "04d2"), 2, "012c"), 4, "0186a0");
    s->doFuelConsumption(0x34, fuel);
    const QString c = unit(1003), d = unit(998);
    QCOMPARE(log.messages(),
             (QStringList{"1", "4 210", "\"123.4" + c + "\"", "255 255", "255 255", "255 255", "1",
                          "1 134 160", "\"10000.0" + d + "\"", "1 44", "\"300.0" + d + "\""}));

    log.clear();
    QByteArray mileage = mileageFrame("3039", "000a1e");
    s->doCurrentMileage(0x13, mileage);
    QCOMPARE(log.messages(), (QStringList{"48 57", "\"\" \"1234.5" + unit(992) + "\"", "0 10",
                                          "\"\" \"1.5" + unit(1025) + "\""}));

    log.clear();
    QByteArray version("V1.02");
    s->doVersion(0xF0, version);
    QCOMPARE(log.messages(), QStringList{"\"V1.02\""});

    log.clear();
    QByteArray shortInfo(13, 0);
    s->doCarInformationData(0x32, shortInfo);
    QCOMPARE(log.messages("[ERR]"), QStringList{""});
    QCOMPARE(log.messages(), QStringList());
}

QTEST_GUILESS_MAIN(tst_TripComputer)
#include "tst_tripcomputer.moc"
