// Trip computer, car information, fuel status and adapter version: adapter frames in,
// records, getters and signals out.
#include "testsupport.h"

#include <QTemporaryFile>

#include <utility>

using canservice::SimpleService;

namespace {

QString unit(int id)
{
    return Translator::translate(id);
}

// `data` with the bytes of `hex` written from data byte k on.
QByteArray with(QByteArray data, int k, const QByteArray &hex)
{
    const QByteArray bytes = QByteArray::fromHex(hex);
    return data.replace(k, bytes.size(), bytes);
}

QByteArray carInfo(const char *rotate, int other, int coolant)
{
    QByteArray data = with(QByteArray(14, 0), 2, rotate);
    data[8] = char(other);
    data[9] = char(coolant);
    return data;
}

// Every field not available; the unit byte as given.
QByteArray fuelFrame(int unitByte = 0)
{
    QByteArray data(25, char(0xFF));
    data[22] = char(unitByte);
    return data;
}

struct Records
{
    FuelConsumptionData fuel;
    DrivingData driving;
    OtherInfoData other;
    // All 33 texts in declaration order.
    QStringList all() const
    {
        const DrivingData &d = driving;
        return QStringList{fuel.item1,  fuel.item2,  fuel.item3,  fuel.item4,  fuel.item5,
                           fuel.item6,  d.item1,     d.item2,     d.item3,     d.item4,
                           d.item5,     d.item6,     d.item7,     d.item8,     d.item9,
                           d.item10,    d.item11,    d.item12,    d.item13,    d.item14,
                           d.item15,    d.item16,    d.item17,    d.item18,    other.item1,
                           other.item2, other.item3, other.item4, other.item5, other.item6,
                           other.item7, other.item8, other.item9};
    }
};

Records records(SimpleService *s)
{
    Records r;
    s->getFuelConsumptionData(r.fuel);
    s->getDrivingData(r.driving);
    s->getOtherInfoData(r.other);
    return r;
}

// The subsystem's signals in emission order, with the records as a host slot would read them.
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
        seen.clear();
        return std::exchange(names, {});
    }
    QStringList names;
    QList<Records> seen;
};

const QStringList NoSignal;

} // namespace

class tst_TripComputer : public QObject
{
    Q_OBJECT
private slots:
    void recordsAndNoOps();
    void wrongLength_data();
    void wrongLength();
    void carInformation_data();
    void carInformation();
    void fuelStatus();
    void consumptionUnits_data();
    void consumptionUnits();
    void fields_data();
    void fields();
    void fuelConsumptionSignals();
    void timeText_data();
    void timeText();
    void currentMileageSignals();
    void version_data();
    void version();
    void unitTextsFollowTheLanguage();
    void logLines();
};

void tst_TripComputer::recordsAndNoOps()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    Records r;
    r.fuel.item1 = r.driving.item18 = r.other.item9 = "stale";
    r.other.flag = false;
    QCOMPARE(s->getFuelConsumptionData(r.fuel), 0);
    QCOMPARE(s->getDrivingData(r.driving), 0);
    QCOMPARE(s->getOtherInfoData(r.other), 0);
    QCOMPARE(r.all().join(""), QString());
    QVERIFY(r.other.flag);
    QCOMPARE(s->getCoolantTempUnit(), unit(990));
    QCOMPARE(s->version(), QString());

    QMap<QString, QString> map{{"speed", "42"}};
    QCOMPARE(s->getVehicleData(map), 0);
    QCOMPARE(map, (QMap<QString, QString>{{"speed", "42"}}));
    QCOMPARE(s->requestDrivingData(), 0);
    QVERIFY(h.writes.isEmpty());

    // A copy handed out keeps its texts.
    h.feedFrame(0x34, with(fuelFrame(), 0, "04d2"));
    const Records before = records(s);
    h.feedFrame(0x34, with(fuelFrame(), 0, "0001"));
    QCOMPARE(before.fuel.item1, "123.4" + unit(1026));
    QCOMPARE(records(s).fuel.item1, "0.1" + unit(1026));
}

void tst_TripComputer::wrongLength_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("decoder");
    QTest::addColumn<int>("criticals");
    QTest::newRow("car information 13") << 0x32 << 13 << "doCarInformationData" << 1;
    QTest::newRow("car information 15") << 0x32 << 15 << "doCarInformationData" << 1;
    QTest::newRow("body status 9") << 0x12 << 9 << "doFuelStatus" << 1;
    QTest::newRow("body status 11") << 0x12 << 11 << "doFuelStatus" << 1;
    QTest::newRow("fuel consumption 24") << 0x34 << 24 << "doFuelConsumption" << 1;
    QTest::newRow("fuel consumption 26") << 0x34 << 26 << "doFuelConsumption" << 1;
    QTest::newRow("current mileage 16") << 0x13 << 16 << "doCurrentMileage" << 1;
    QTest::newRow("current mileage 18") << 0x13 << 18 << "doCurrentMileage" << 1;
    QTest::newRow("keys 9") << 0x11 << 9 << "doRotate" << 1;
    QTest::newRow("keys 10") << 0x11 << 10 << "doRotate" << 0;
}

// Filled with bytes that would change every value if they were decoded.
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
    QCOMPARE(signalLog.names, NoSignal);
    QCOMPARE(records(h.service.get()).all().join(""), QString());
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
    QTest::newRow("initial values") << carInfo("0000", 0, 40) << 0 << 0 << "" << NoSignal;
    QTest::newRow("3000") << carInfo("0bb8", 0, 40) << 3000 << 0 << "" << QStringList{"rotate"};
    QTest::newRow("ff fe") << carInfo("fffe", 0, 40) << 65534 << 0 << "" << QStringList{"rotate"};
    QTest::newRow("ff ff not available")
        << carInfo("ffff", 0, 0) << 0 << -40 << "" << QStringList{"coolant"};
    QTest::newRow("coolant 0xff") << carInfo("0000", 0, 0xFF) << 0 << 215 << ""
                                  << QStringList{"coolant"};
    QTest::newRow("all three, in order")
        << carInfo("0bb8", 0x64, 0x5A) << 3000 << 50 << "100" + unit(999)
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
    SimpleService *s = h.service.get();
    SignalLog signalLog(s);
    h.feedFrame(0x32, payload);
    QCOMPARE(signalLog.names, signalNames);
    QCOMPARE(s->getRotate(), rotate);
    QCOMPARE(s->getCoolantTemp(), coolant);
    QCOMPARE(records(s).all().join(""), item2);
    if (signalNames.contains("other")) // stored before the host is told
        QCOMPARE(signalLog.seen.last().other.item2, item2);

    signalLog.take();
    h.feedFrame(0x32, payload);
    h.feedFrame(0x32, with(payload, 2, "ffff"));
    h.feedFrame(0x11, QByteArray(10, char(0x12))); // keys, never the rotation
    QCOMPARE(signalLog.names, NoSignal);
    QCOMPARE(s->getRotate(), rotate);
}

void tst_TripComputer::fuelStatus()
{
    ServiceHarness h;
    QSignalSpy spy(h.service.get(), &CanServiceBase::otherInfoDataChanged);
    QStringList seen;
    for (int byte6 : {0x00, 0x80, 0x80, 0x7F, 0x40}) { // 0x40 is the battery alert's bit
        QByteArray data(10, 0);
        data[6] = char(byte6);
        h.feedFrame(0x12, data);
        seen << QString("%1 %2").arg(spy.count()).arg(records(h.service.get()).other.item1);
    }
    QCOMPARE(seen, (QStringList{"0 ", "1 " + unit(346), "1 " + unit(346), "2 " + unit(131),
                                "2 " + unit(131)}));
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
    QTest::newRow("0x07") << 0x07 << 1035 << 998;
    QTest::newRow("0xf9, bits 3-7 unread") << 0xF9 << 1003 << 997;
}

void tst_TripComputer::consumptionUnits()
{
    QFETCH(int, unitByte);
    QFETCH(int, consumptionText);
    QFETCH(int, drivingText);

    QByteArray payload = with(with(fuelFrame(unitByte), 0, "04d2"), 2, "012c");
    payload = with(with(with(payload, 4, "0186a0"), 7, "0000"), 12, "0001");
    ServiceHarness h;
    h.feedFrame(0x34, with(payload, 17, "ffee"));
    const Records r = records(h.service.get());
    const QString c = unit(consumptionText), d = unit(drivingText);
    QCOMPARE(r.all().mid(0, 11),
             (QStringList{"123.4" + c, "", "", "0.0" + c, "0.1" + c, "6551.8" + c, "", "300.0" + d,
                          "", "", "10000.0" + d}));
}

void tst_TripComputer::fields_data()
{
    QTest::addColumn<int>("k");
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("member");     // index into Records::all()
    QTest::addColumn<QString>("number"); // empty: not available, the member keeps its text
    QTest::newRow("item1 ff ff") << 0 << QByteArray("ffff") << 0 << "";
    QTest::newRow("item1 ff 00") << 0 << QByteArray("ff00") << 0 << "6528.0";
    QTest::newRow("item4 ff ff") << 7 << QByteArray("ffff") << 3 << "";
    QTest::newRow("item4 00 ff") << 7 << QByteArray("00ff") << 3 << "25.5";
    QTest::newRow("item5 ff fe") << 12 << QByteArray("fffe") << 4 << "6553.4";
    QTest::newRow("item6 7f ff") << 17 << QByteArray("7fff") << 5 << "3276.7";
    QTest::newRow("value A ff ff") << 2 << QByteArray("ffff") << 7 << "";
    QTest::newRow("value A ff 00") << 2 << QByteArray("ff00") << 7 << "65280.0";
    QTest::newRow("value B ff ff ff") << 4 << QByteArray("ffffff") << 10 << "";
    QTest::newRow("value B ff ff 00") << 4 << QByteArray("ffff00") << 10 << "1677696.0";
    QTest::newRow("value B 999999.9") << 4 << QByteArray("98967f") << 10 << "999999.9";
    // Above 2^20 a float holds eighths: the texts show the float, not the exact tenths.
    QTest::newRow("value B 1048576.2") << 4 << QByteArray("a00002") << 10 << "1048576.3";
    QTest::newRow("value B 1048576.7") << 4 << QByteArray("a00007") << 10 << "1048576.8";
    QTest::newRow("value B 1677721.2") << 4 << QByteArray("fffffc") << 10 << "1677721.3";
    QTest::newRow("value B 1677721.4") << 4 << QByteArray("fffffe") << 10 << "1677721.4";
}

// One field at a time, every other field not available.
void tst_TripComputer::fields()
{
    QFETCH(int, k);
    QFETCH(QByteArray, hex);
    QFETCH(int, member);
    QFETCH(QString, number);

    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    h.feedFrame(0x34, with(fuelFrame(), k, hex));
    const bool driving = member >= 6;
    const QString text = number.isEmpty() ? "" : number + unit(driving ? 997 : 1026);
    QCOMPARE(records(h.service.get()).all()[member], text);
    QCOMPARE(records(h.service.get()).all().join(""), text);
    QCOMPARE(signalLog.names,
             (driving && !text.isEmpty() ? QStringList{"fuel", "driving"} : QStringList{"fuel"}));
}

void tst_TripComputer::fuelConsumptionSignals()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    SignalLog signalLog(s);
    const QByteArray first = with(with(with(fuelFrame(), 0, "04d2"), 2, "012c"), 4, "0186a0");
    h.feedFrame(0x34, first);
    QCOMPARE(signalLog.names, (QStringList{"fuel", "driving", "driving"}));
    // Each signal finds its own change stored and nothing of the next one yet.
    QCOMPARE(signalLog.seen[0].all().mid(0, 11).join("|"), "123.4" + unit(1026) + "||||||||||");
    QCOMPARE(signalLog.seen[1].driving.item5, "10000.0" + unit(997));
    QCOMPARE(signalLog.seen[1].driving.item2, QString());
    QCOMPARE(signalLog.seen[2].driving.item2, "300.0" + unit(997));

    signalLog.take();
    h.feedFrame(0x34, first);
    QCOMPARE(signalLog.take(), QStringList{"fuel"});
    h.feedFrame(0x34, with(first, 22, "04")); // the same numbers in the other driving unit
    QCOMPARE(signalLog.take(), (QStringList{"fuel", "driving", "driving"}));
    QCOMPARE(records(s).driving.item2, "300.0" + unit(998));
    const QStringList before = records(s).all();
    h.feedFrame(0x34, fuelFrame(0x04));
    QCOMPARE(signalLog.take(), QStringList{"fuel"});
    QCOMPARE(records(s).all(), before);
}

void tst_TripComputer::timeText_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("number"); // "--" is the marker itself
    QTest::newRow("1.0 + 30/60") << QByteArray("000a1e") << "1.5";
    QTest::newRow("0 + 60/60") << QByteArray("00003c") << "1.0";
    QTest::newRow("0 + 120/60") << QByteArray("000078") << "2.0";
    QTest::newRow("0 + 254/60") << QByteArray("0000fe") << "4.2";
    // 0.7 as a float is 0.699999988: plus 0.05 it stays below the rounding point.
    QTest::newRow("0.7 + 3/60") << QByteArray("000703") << "0.7";
    QTest::newRow("6553.4 + 3/60") << QByteArray("fffe03") << "6553.4";
    QTest::newRow("ff 00 00 is a value") << QByteArray("ff0000") << "6528.0";
    QTest::newRow("sixtieths ff") << QByteArray("0000ff") << "--";
    QTest::newRow("whole part ff ff") << QByteArray("ffff00") << "--";
}

void tst_TripComputer::timeText()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, number);

    ServiceHarness h;
    QSignalSpy spy(h.service.get(), &CanServiceBase::drivingDataChanged);
    h.feedFrame(0x13, with(QByteArray(17, char(0xFF)), 11, hex));
    QCOMPARE(records(h.service.get()).all().join(""),
             number == "--" ? number : number + unit(1025));
    QCOMPARE(spy.count(), 1);
}

void tst_TripComputer::currentMileageSignals()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    SignalLog signalLog(s);
    const auto mileage = [&h](const char *bytes4, const char *bytes11) {
        h.feedFrame(0x13, with(with(QByteArray(17, char(0xFF)), 4, bytes4), 11, bytes11));
        return records(h.service.get()).driving.item1 + "|" +
               records(h.service.get()).driving.item3;
    };
    QCOMPARE(mileage("ffff", "ffffff"), "|--");
    QCOMPARE(mileage("ffff", "ffffff"), "|--");
    QCOMPARE(signalLog.take(), QStringList{"driving"});

    QCOMPARE(mileage("3039", "000a1e"), "1234.5" + unit(992) + "|1.5" + unit(1025));
    QCOMPARE(signalLog.names, (QStringList{"driving", "driving"}));
    QCOMPARE(signalLog.seen[0].driving.item3, "--");
    signalLog.take();
    QCOMPARE(mileage("ffff", "001400"), "1234.5" + unit(992) + "|2.0" + unit(1025));
    QCOMPARE(signalLog.take(), QStringList{"driving"});
    QCOMPARE(mileage("3039", "0014ff"), "1234.5" + unit(992) + "|--");
    QCOMPARE(signalLog.take(), QStringList{"driving"});
}

void tst_TripComputer::version_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("text");
    QTest::newRow("V1.02") << QByteArray("V1.02") << "V1.02";
    QTest::newRow("cut at the first zero") << QByteArray::fromHex("56312e30000058") << "V1.0";
    QTest::newRow("empty") << QByteArray() << "";
    QTest::newRow("leading zero") << QByteArray::fromHex("0056") << "";
    QTest::newRow("multi-byte") << QByteArray("\xc3\xa9\xe2\x82\xac") << QString::fromUtf8("é€");
    QTest::newRow("invalid") << QByteArray::fromHex("56ff") << QString("V") + QChar(0xFFFD);
}

void tst_TripComputer::version()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, text);

    ServiceHarness h;
    SignalLog signalLog(h.service.get());
    // The link completes no frame without data, so that one goes to the decoder itself.
    const auto deliver = [&h](QByteArray data) {
        data.isEmpty() ? h.service->doVersion(0xF0, data) : h.feedFrame(0xF0, data);
        return h.service->version();
    };
    deliver("old");
    QCOMPARE(deliver(payload), text);
    QCOMPARE(deliver(payload), text);
    QCOMPARE(signalLog.names, (QStringList{"version", "version", "version"}));
}

void tst_TripComputer::unitTextsFollowTheLanguage()
{
    ServiceHarness h;
    SimpleService *s = h.service.get();
    const QByteArray fuel = with(fuelFrame(), 2, "012c");
    h.feedFrame(0x34, fuel);
    h.feedFrame(0x32, carInfo("0000", 0x64, 40));

    QTemporaryFile file;
    QVERIFY(file.open());
    file.write(R"({"990": "Grad", "997": "km/Std", "999": "Proz"})");
    file.close();
    qputenv("CANSERVICE_TRANSLATIONS", file.fileName().toLocal8Bit());
    Translator::reload();
    const auto restore = qScopeGuard([] {
        qunsetenv("CANSERVICE_TRANSLATIONS");
        Translator::reload();
    });

    QCOMPARE(s->getCoolantTempUnit(), "Grad");
    QSignalSpy spy(s, &CanServiceBase::drivingDataChanged);
    h.feedFrame(0x34, fuel);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(records(s).driving.item2, "300.0km/Std");
    h.feedFrame(0x32, carInfo("0000", 0x64, 40)); // rebuilt only for a new value
    QVERIFY(records(s).other.item2 != "100Proz");
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
    QByteArray body = with(QByteArray(10, 0), 6, "80");
    s->doFuelStatus(0x12, body);
    QByteArray fuel = with(with(with(fuelFrame(0x05), 0, "04d2"), 2, "012c"), 4, "0186a0");
    s->doFuelConsumption(0x34, fuel);
    QByteArray mileage = with(QByteArray(17, char(0xFF)), 11, "000a1e");
    s->doCurrentMileage(0x13, mileage);
    QByteArray version("V1");
    s->doVersion(0xF0, version);
    const QString c = unit(1003), d = unit(998);
    QCOMPARE(log.messages(), (QStringList{"11 184",
                                          "3000 0",
                                          "50 0",
                                          "100 0",
                                          "1 0",
                                          "1",
                                          "4 210",
                                          "\"123.4" + c + "\"",
                                          "255 255",
                                          "255 255",
                                          "255 255",
                                          "1",
                                          "1 134 160",
                                          "\"10000.0" + d + "\"",
                                          "1 44",
                                          "\"300.0" + d + "\"",
                                          "255 255",
                                          "0 10",
                                          "\"\" \"1.5" + unit(1025) + "\"",
                                          "\"V1\""}));

    log.clear();
    QByteArray shortInfo(13, 0);
    s->doCarInformationData(0x32, shortInfo);
    QCOMPARE(log.messages("[ERR]"), QStringList{""}); // a critical line with no message
    QCOMPARE(log.messages(), QStringList());
}

QTEST_GUILESS_MAIN(tst_TripComputer)
#include "tst_tripcomputer.moc"
