// The car in words, through the plugin and back: each word form goes into the simulator's car,
// its whole frame into the service; the getters and signals show what the words said, and the
// plugin's state, said in the same vocabulary, gives back the last words of the row; the car's
// frame said in words builds the same frame again.
#include "car.h"
#include "drive.h"
#include "number.h"

using canservice::SimpleService;

namespace {

// Numbers as one form (0x15 is 21, 60.0 is 60) so that words compare as words.
QString normal(const QString &line)
{
    QStringList out;
    for (const QString &w : line.split(' ', Qt::SkipEmptyParts)) {
        int n = 0;
        bool ok = false;
        const double d = w.toDouble(&ok);
        out << (qvx::parseNumber(w, &n) ? QString::number(n) : ok ? QString::number(d) : w);
    }
    return out.join(' ').remove('"');
}

// The number a trip text starts with ("9.5l/100km" is 9.5).
QString number(const QString &text)
{
    int end = 0;
    while (end < text.size() &&
           (text.at(end).isDigit() || text.at(end) == '.' || text.at(end) == '-'))
        ++end;
    return text.left(end);
}

// What the plugin shows of the field a word form names, said in the vocabulary; empty when
// the host sees it otherwise (fan and mode as levels, the tyre data's valid bit).
QString wordsBack(SimpleService &s, const QStringList &w, const QString &lastKey)
{
    const QString form = w.value(0), what = w.value(1);
    const auto onOff = [](int on) { return on ? QStringLiteral("on") : QStringLiteral("off"); };
    FuelConsumptionData fuel;
    DrivingData driving;
    OtherInfoData other;
    s.getFuelConsumptionData(fuel);
    s.getDrivingData(driving);
    s.getOtherInfoData(other);
    if (form == "door") {
        const QHash<QString, bool> open = {
            {"bonnet", s.isFrontDoorOpen()},         {"boot", s.isRearDoorOpen()},
            {"front-left", s.isLeftFrontDoorOpen()}, {"front-right", s.isRightFrontDoorOpen()},
            {"rear-left", s.isLeftRearDoorOpen()},   {"rear-right", s.isRightRearDoorOpen()}};
        return QString("door %1 %2").arg(what, open.value(what) ? "open" : "closed");
    }
    if (form == "doors")
        return s.getDoorStatus() == 0      ? "doors closed"
               : s.getDoorStatus() == 0xFC ? "doors open"
                                           : "";
    if (form == "battery")
        return QString("battery ") + (s.getBatteryVoltageAlertType() ? "low" : "ok");
    if (form == "fuel")
        return QString("fuel ") + (other.item1 == "Fuel low" ? "low" : "ok");
    if (form == "key")
        return lastKey;
    if (form == "climate") {
        const QHash<QString, int> switches = {{"power", !s.isPowerOff()},
                                              {"ac", s.isAc()},
                                              {"auto", s.isAuto()},
                                              {"dual", s.isDual()},
                                              {"inside", s.isInside()},
                                              {"rear", s.isRearClimate()},
                                              {"defrost-front", s.isFrontDefrost()},
                                              {"defrost-rear", s.isRearDefrost()}};
        const QHash<QString, float> temperatures = {{"temp-left", s.getAcTemperature()},
                                                    {"temp-right", s.getAcRightTemperature()},
                                                    {"temp-rear", s.getAcRearTemperature()}};
        if (switches.contains(what))
            return QString("climate %1 %2").arg(what, onOff(switches.value(what)));
        if (temperatures.contains(what)) {
            const float t = temperatures.value(what);
            return QString("climate %1 %2")
                .arg(what, t == -100   ? "low"
                           : t == -101 ? "high"
                                       : QString::number(t));
        }
        if (what == "rear-fan" || what == "rear-mode")
            return QString("climate %1 %2")
                .arg(what)
                .arg(what == "rear-fan" ? s.getAcWindScaleRear() : s.getAcWindModeRear());
        if (what == "seat-left" || what == "seat-right") {
            const bool left = what == "seat-left";
            const int heat = left ? s.getAcFrontLeftHeat() : s.getAcFrontRightHeat();
            const int vent = left ? s.getLeftVentilation() : s.getRightVentilation();
            return QString("climate %1 %2")
                .arg(what, heat   ? QString("heat %1").arg(heat)
                           : vent ? QString("vent %1").arg(vent)
                                  : QString("off"));
        }
        if (what == "unit")
            return QString("climate unit ") + (s.getAcTemperatureUnit() == "°F" ? "f" : "c");
        return QString(); // fan and mode: the host sees levels, not codes
    }
    if (form == "rotate")
        return QString("rotate %1").arg(s.getRotate());
    if (form == "coolant")
        return QString("coolant %1").arg(s.getCoolantTemp());
    if (form == "info")
        return "info " + number(other.item2);
    const QStringList consumption = {fuel.item1, "", "", fuel.item4, fuel.item5, fuel.item6};
    if (form == "consumption") {
        const QString text = consumption.value(what.toInt() - 1);
        return QString("consumption %1 %2").arg(what, text.isEmpty() ? "none" : number(text));
    }
    if (form == "average-speed")
        return "average-speed " + number(driving.item2);
    if (form == "range")
        return "range " + number(driving.item5);
    if (form == "units") {
        const QString use = fuel.item1.mid(number(fuel.item1).size());
        return QString("units %1 %2").arg(use, driving.item2.mid(number(driving.item2).size()));
    }
    if (form == "mileage")
        return "mileage " + number(driving.item1);
    if (form == "drive-time")
        return "drive-time " + number(driving.item3);
    if (form == "radar") {
        const QHash<QString, int> sensors = {
            {"front-left", s.getFrontRadarLeftDistance()},
            {"front-middle-left", s.getFrontRadarMiddleLeftDistance()},
            {"front-middle-right", s.getFrontRadarMiddleRightDistance()},
            {"front-right", s.getFrontRadarRightDistance()},
            {"rear-left", s.getRearRadarLeftDistance()},
            {"rear-middle-left", s.getRearRadarMiddleLeftDistance()},
            {"rear-middle-right", s.getRearRadarMiddleRightDistance()},
            {"rear-right", s.getRearRadarRightDistance()}};
        if (what == "clear")
            return sensors.values().count(255) == 8 ? "radar clear" : "";
        const int level = sensors.value(what);
        return QString("radar %1 %2").arg(what, level == 255 ? "none" : QString::number(level));
    }
    const QStringList wheels = {"front-left", "front-right", "rear-left", "rear-right"};
    const int statuses[] = {s.getTireStatusFL(), s.getTireStatusFR(), s.getTireStatusRL(),
                            s.getTireStatusRR()};
    const float pressures[] = {s.getTirePressureValueFL(), s.getTirePressureValueFR(),
                               s.getTirePressureValueRL(), s.getTirePressureValueRR()};
    if (form == "tyre" && w.value(2) == "alert")
        return QString("tyre %1 alert %2")
            .arg(what,
                 QStringList{"none", "first", "second"}.value(statuses[wheels.indexOf(what)]));
    if (form == "tyre")
        return QString("tyre %1 pressure %2").arg(what).arg(pressures[wheels.indexOf(what)]);
    if (form == "tyres" && what == "pressures")
        return QString("tyres pressures %1 %2 %3 %4")
            .arg(pressures[0])
            .arg(pressures[1])
            .arg(pressures[2])
            .arg(pressures[3]);
    if (form == "version")
        return "version " + s.version();
    return QString(); // the tyre data's valid bit: the host sees the alerts it clears
}

} // namespace

class tst_Words : public QObject
{
    Q_OBJECT
private slots:
    void roundTrip_data();
    void roundTrip();
};

void tst_Words::roundTrip_data()
{
    QTest::addColumn<QString>("words"); // lines separated by ';'
    QTest::addColumn<QString>("expect");
    QTest::addColumn<QString>("back"); // the last words as the plugin gives them back, if other
    const auto row = [](const char *words, const QString &expect, const char *back = nullptr) {
        const QString all = words;
        QTest::newRow(words) << all << expect
                             << (back ? QString(back) : all.section(';', -1).trimmed());
    };
    row("door bonnet open", "doors=front; getDoorStatus=4");
    row("door boot open", "doors=rear");
    row("door front-left open; door rear-right open", "doors=leftFront rightRear");
    row("doors open; door front-right closed", "doors=front rear leftFront leftRear rightRear");
    row("door front-right open; doors open",
        "doors=front rear leftFront rightFront leftRear rightRear");
    row("doors open; doors closed", "doors=; signals=doorChanged doorChanged");
    row("battery low; door rear-left open", "getBatteryVoltageAlertType=1; doors=leftRear");
    row("fuel low", "other=Fuel low");
    row("key wheel 3 press; key wheel 3 release", "signals=keyEvent(3,0,true) keyEvent(3,1,true)");
    row("key panel 0x15 press; key panel 0x15 release",
        "signals=keyEvent(21,0,false) keyEvent(21,1,false)");
    row("climate power off", "isPowerOff=1");
    row("climate ac on; climate auto on; climate dual on", "climateFlags=ac:1 auto:1 dual:1");
    row("climate inside on; climate rear on", "climateFlags=rearClimate:1 inside:1");
    row("climate defrost-front on; climate defrost-rear on",
        "climateFlags=rearDefrost:1 frontDefrost:1");
    row("climate temp-left 22.5; climate temp-right low; climate temp-rear high",
        "getAcTemperature=22.5; getAcRightTemperature=-100; getAcRearTemperature=-101; "
        "getAcTemperatureIndex=45; getAcRightTemperatureIndex=254; getAcRearTemperatureIndex=255");
    row("climate fan 9; climate mode 3", "getAcWindScale=4; getAcWindMode=2", "");
    row("climate rear-fan 5; climate rear-mode 2", "getAcWindScaleRear=5; getAcWindModeRear=2");
    row("climate seat-left heat 2; climate seat-right vent 3",
        "climateFlags=leftHeat:2 rightVent:3");
    row("climate seat-left heat 2; climate seat-left off", "climateFlags=");
    row("climate seat-left vent 1; climate seat-right heat 3",
        "climateFlags=rightHeat:3 leftVent:1");
    row("climate unit f", "getAcTemperatureUnit=°F; getAcRightTemperatureUnit=°F");
    row("rotate 2500", "getRotate=2500; signals=rotateChanged");
    row("rotate 2500; rotate none", "getRotate=2500", "rotate 2500"); // "none" keeps the last
    row("coolant 90", "getCoolantTemp=90; getCoolantTempUnit=°C");
    row("coolant -40; info 75", "getCoolantTemp=-40; other=|75%");
    row("consumption 1 9.5; consumption 4 8.0; consumption 5 7.0; consumption 6 10.0",
        "fuel=9.5l/100km|||8.0l/100km|7.0l/100km|10.0l/100km");
    row("average-speed 60; range 1234.5", "driving=|60.0km/h|||1234.5km/h");
    row("units mpg mph; consumption 1 9.5; average-speed 60", "fuel=9.5mpg; driving=|60.0mph");
    row("consumption 1 9.5; consumption 1 none", "fuel=9.5l/100km", "consumption 1 9.5");
    row("mileage 1234.5", "driving=1234.5km||--");
    row("drive-time 1.0 30", "driving=||1.5h", "drive-time 1.5");
    const char *sensors[] = {"front-left", "front-middle-left", "front-middle-right", "front-right",
                             "rear-left",  "rear-middle-left",  "rear-middle-right",  "rear-right"};
    for (int s = 0; s < 8; ++s) {
        QStringList levels;
        for (int i = 0; i < 8; ++i)
            levels << "255";
        levels[s] = QString::number(s + 1);
        const QString words = QString("radar %1 %2").arg(sensors[s]).arg(s + 1);
        QTest::newRow(qPrintable(words))
            << words
            << QString("radar=%1 | %2 | 255 255 255 255 255 255 255 255")
                   .arg(levels.mid(0, 4).join(' '), levels.mid(4).join(' '))
            << words;
    }
    row("radar rear-left raw 40; radar front-right none", "getRearRadarLeftDistance=2; "
                                                          "getFrontRadarRightDistance=255");
    row("radar rear-left 3; radar clear", "getRearRadarLeftDistance=255");
    row("tyre front-right alert first; tyre rear-right alert second", "tyres=1 0 1 0 2");
    row("tyre front-right alert first; tyre front-right alert none", "tyres=0 0 0 0 0");
    row("tyre rear-left pressure 180", "getTirePressureValueRL=180; getTireUnit=kPa");
    row("tyres pressures 230 231 232 233", "pressures=230 231 232 233");
    row("tyre front-left alert second; tyres invalid", "tyres=0 0 0 0 0", "");
    row("version \"V1.02\"", "version=V1.02; signals=sigVersionData");
}

void tst_Words::roundTrip()
{
    QFETCH(QString, words);
    QFETCH(QString, expect);
    QFETCH(QString, back);
    tools::Car car;
    qvxtest::Drive d;
    QString lastKey;
    QObject::connect(
        d.service.get(), &CanServiceBase::keyEvent, [&](int code, int state, bool swc) {
            lastKey = QString("key %1 %2 %3")
                          .arg(swc ? "wheel" : "panel")
                          .arg(code)
                          .arg(QStringList{"press", "release", "press", "release"}.value(state));
        });
    for (const QString &line : words.split(';')) {
        QList<tools::Token> tokens;
        QString error;
        int cmd = 0;
        double release = 0;
        QVERIFY2(tools::tokenize(line, &tokens, &error) &&
                     car.apply(tokens, &cmd, &release, &error),
                 qPrintable(error));
        d.feed(protocol::build(quint8(cmd), car.data(cmd)));
        // The frame said back in words builds the same frame on a new car.
        tools::Car again;
        for (const QString &said : tools::Car::say(cmd, car.data(cmd))) {
            QVERIFY2(tools::tokenize(said, &tokens, &error) &&
                         again.apply(tokens, &cmd, &release, &error),
                     qPrintable(said + ": " + error));
        }
        QCOMPARE(again.data(cmd).toHex(' '), car.data(cmd).toHex(' '));
    }
    QCOMPARE(d.run(expect), qvxtest::Drive::expected(expect));
    const QStringList last = normal(words.section(';', -1)).split(' ');
    QCOMPARE(normal(wordsBack(*d.service, last, lastKey)), normal(back));
}

QVX_VIRTUAL_TIME_MAIN(tst_Words)
#include "tst_words.moc"
