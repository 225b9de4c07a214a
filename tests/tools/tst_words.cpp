// The car in words, through the plugin and back: each word form goes into the simulator's car,
// its whole frame into the service, whose getters and signals show what the words said; the
// car's frame said in words builds the same frame again.
#include "car.h"
#include "drive.h"

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
    const auto row = [](const char *words, const char *expect) {
        QTest::newRow(words) << QString(words) << QString(expect);
    };
    row("door bonnet open", "doors=front; getDoorStatus=4");
    row("door boot open", "doors=rear");
    row("door front-left open; door rear-right open", "doors=leftFront rightRear");
    row("doors open; door front-right closed", "doors=front rear leftFront leftRear rightRear");
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
    row("climate fan 9; climate mode 3", "getAcWindScale=4; getAcWindMode=2");
    row("climate rear-fan 5; climate rear-mode 2", "getAcWindScaleRear=5; getAcWindModeRear=2");
    row("climate seat-left heat 2; climate seat-right vent 3",
        "climateFlags=leftHeat:2 rightVent:3");
    row("climate seat-left heat 2; climate seat-left off", "climateFlags=");
    row("climate seat-left vent 1; climate seat-right heat 3",
        "climateFlags=rightHeat:3 leftVent:1");
    row("climate unit f", "getAcTemperatureUnit=°F; getAcRightTemperatureUnit=°F");
    row("rotate 2500", "getRotate=2500; signals=rotateChanged");
    row("rotate 2500; rotate none", "getRotate=2500"); // "none" keeps the last
    row("coolant 90", "getCoolantTemp=90; getCoolantTempUnit=°C");
    row("coolant -40; info 75", "getCoolantTemp=-40; other=|75%");
    row("consumption 1 9.5; consumption 4 8.0; consumption 5 7.0; consumption 6 10.0",
        "fuel=9.5l/100km|||8.0l/100km|7.0l/100km|10.0l/100km");
    row("average-speed 60; range 1234.5", "driving=|60.0km/h|||1234.5km/h");
    row("units mpg mph; consumption 1 9.5; average-speed 60", "fuel=9.5mpg; driving=|60.0mph");
    row("consumption 1 9.5; consumption 1 none", "fuel=9.5l/100km");
    row("mileage 1234.5", "driving=1234.5km||--");
    row("drive-time 1.0 30", "driving=||1.5h");
    // Each sensor at a band of its own: any two swapped show.
    row("radar front-left 1; radar front-middle-left 2; radar front-middle-right 3; "
        "radar front-right 4; radar rear-left 5; radar rear-middle-left 6; "
        "radar rear-middle-right 7; radar rear-right 8",
        "radar=1 2 3 4 | 5 6 7 8 | 255 255 255 255 255 255 255 255");
    row("radar rear-left raw 40; radar front-right none",
        "getRearRadarLeftDistance=2; getFrontRadarRightDistance=255");
    row("radar rear-left 3; radar clear", "getRearRadarLeftDistance=255");
    row("tyre front-right alert first; tyre rear-right alert second", "tyres=1 0 1 0 2");
    row("tyre front-right alert first; tyre front-right alert none", "tyres=0 0 0 0 0");
    row("tyre rear-left pressure 180", "getTirePressureValueRL=180; getTireUnit=kPa");
    row("tyres pressures 230 231 232 233", "pressures=230 231 232 233");
    row("tyre front-left alert second; tyres invalid", "tyres=0 0 0 0 0");
    row("version \"V1.02\"", "version=V1.02; signals=sigVersionData");
}

void tst_Words::roundTrip()
{
    QFETCH(QString, words);
    QFETCH(QString, expect);
    tools::Car car;
    qvxtest::Drive d;
    QList<tools::Token> tokens;
    QString error;
    int cmd = 0;
    double release = 0;
    const auto apply = [&](tools::Car &c, const QString &line) {
        return tools::tokenize(line, &tokens, &error) && c.apply(tokens, &cmd, &release, &error);
    };
    for (const QString &line : words.split(';')) {
        QVERIFY2(apply(car, line), qPrintable(error));
        d.feed(protocol::build(quint8(cmd), car.data(cmd)));
        // The frame said back in words builds the same frame on a new car.
        tools::Car again;
        for (const QString &said : tools::Car::say(cmd, car.data(cmd)))
            QVERIFY2(apply(again, said), qPrintable(said + ": " + error));
        QCOMPARE(again.data(cmd).toHex(' '), car.data(cmd).toHex(' '));
    }
    QCOMPARE(d.run(expect), qvxtest::Drive::expected(expect));
}

QVX_VIRTUAL_TIME_MAIN(tst_Words)
#include "tst_words.moc"
