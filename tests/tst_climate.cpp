// The climate panel: climate frames (31) in, queries and signals out; climate keys in,
// command frames to the adapter out.
#include "drive.h"

namespace {
QString hex(int byte)
{
    return QString("%1").arg(byte, 2, 16, QChar('0'));
}
} // namespace

class tst_Climate : public QObject
{
    Q_OBJECT
private slots:
    void drive_data();
    QVX_DRIVE_ROWS
    void storedBeforeTheHostIsTold();
};

void tst_Climate::drive_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("every accepted frame is signalled")
        << "31 01 ..; 31 01 ..; 31 00 ..; signals=acStatusChanged acStatusChanged acStatusChanged";
    QTest::newRow("wrong length changes nothing")
        << "31 41 ..; 31 ffffffffffffffffffffff; 31 ffffffffffffffffffffffffff; 31 ff; "
           "errors=doClimate, doClimate, doClimate; signals=acStatusChanged; "
           "climateFlags=powerOff:1 ac:1; getAcTemperature=0";
    const QPair<const char *, const char *> flags[] = {
        {"41", "powerOff:1 ac:1"},
        {"82", ""},
        {"30", "rearClimate:1 auto:1"},
        {"04", "dual:1"},
        {"08", ""},
        {"0c", ""},
        {"0010", "inside:1"},
        {"002f", ""},
        {"00007f", "rearDefrost:1 frontDefrost:1 leftHeat:3 rightHeat:3"},
        {"004003", "leftVent:3"},
        {"000003", "leftHeat:3"},
        {"00800c", "rightVent:3"},
        {"00000c", "rightHeat:3"},
        {"004009", "rightHeat:2 leftVent:1"},
        {"00c006", "leftVent:2 rightVent:1"},
        {"ffffff", "powerOff:1 rearClimate:1 ac:1 inside:1 auto:1 rearDefrost:1 "
                   "frontDefrost:1 leftVent:3 rightVent:3"},
    };
    for (const auto &f : flags)
        QTest::addRow("flags %s", f.first)
            << QString("31 %1 ..; climateFlags=%2").arg(f.first, f.second);
    // The vents code in byte 4 to the host's mode; every other code is mode 0.
    const int modes[] = {0, 0, 0, 2, 0, 3, 1, 0, 0, 0, 0, 7, 5, 4, 6, 0};
    for (int code = 0; code < 16; ++code)
        QTest::addRow("mode code %d", code)
            << QString("31 .. @4 %1; getAcWindMode=%2").arg(hex(code)).arg(modes[code]);
    QTest::newRow("mode code 0x35") << "31 .. @4 35; getAcWindMode=0";
    // The blower in byte 5: models 60 and 94 report 0..7 directly, the others 0..18.
    const int bands[] = {0, 0, 1, 1, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6, 6, 6, 7};
    for (int code = 0; code <= 18; ++code) {
        QTest::addRow("blower code %d", code)
            << QString("31 .. @5 %1; getAcWindScale=%2").arg(hex(code)).arg(bands[code]);
        for (int model : {60, 94})
            QTest::addRow("blower model %d code %d", model, code)
                << QString("model %1; 31 .. @5 %2; getAcWindScale=%3; errors=%4")
                       .arg(model)
                       .arg(hex(code))
                       .arg(qMin(code, 7))
                       .arg(code > 7 ? "getAcWindScale: Blowing grade value is ERROR!!!" : "");
    }
    QTest::newRow("blower model 52 code 8") << "model 52; 31 .. @5 08; getAcWindScale=3";
    QTest::newRow("blower code 19")
        << "31 .. @5 13; getAcWindScale=7; errors=getAcWindScale: Blowing grade value is ERROR!!!";
    QTest::newRow("blower model 61 code 255") << "model 61; 31 .. @5 ff; getAcWindScale=7";
    // Half degrees in bytes 6, 7 and 10 (each zone alone), FE and FF markers.
    const QPair<int, const char *> temperatures[] = {
        {0x00, "0"},     {0x01, "0.5"},  {0x24, "18"},  {0x2d, "22.5"},
        {0xfd, "126.5"}, {0xfe, "-100"}, {0xff, "-101"}};
    for (const auto &t : temperatures)
        QTest::addRow("temperature %02x", t.first)
            << QString("31 .. @6 %1; getAcTemperature=%2; getAcTemperatureIndex=%3; "
                       "getAcRightTemperature=0; 31 .. @7 %1; getAcRightTemperature=%2; "
                       "getAcRightTemperatureIndex=%3; getAcTemperature=0; 31 .. @10 %1; "
                       "getAcRearTemperature=%2; getAcRearTemperatureIndex=%3")
                   .arg(hex(t.first), t.second)
                   .arg(t.first);
    QTest::newRow("unit follows byte 2's top bit")
        << "31 .. @2 80; getAcTemperatureUnit=°F; getAcRightTemperatureUnit=°F; 31 .. @2 7f; "
           "getAcTemperatureUnit=°C; getAcRightTemperatureUnit=°C";
    QTest::newRow("rear airflow passes through")
        << "31 .. @8 fe7a; getAcWindModeRear=254; getAcWindScaleRear=122";
    QTest::newRow("model 52 has no climate")
        << "model 52; isSupportAc=false; model 51; isSupportAc=true; model 53; isSupportAc=true";
    QTest::newRow("a toggle goes from the last report only")
        << "acKey 2 0; acKey 2 -7; 31 01 ..; acKey 2 1; "
           "sent=~5aa5023b02013f ~5aa5023b02013f ~5aa5023b02003e; signals=acStatusChanged";

    // Climate keys: the state first, the key, the one frame written (or none).
    struct Key
    {
        const char *state;
        int key;
        const char *frame;
        int returned;
    };
    const Key keys[] = {
        // toggles: the opposite of what the adapter last reported
        {"31 00 ..", 0, "5aa5023b01013e", 0},
        {"31 40 ..", 0, "5aa5023b01003d", 0},
        {"31 fe ..", 2, "5aa5023b02013f", 0},
        {"31 01 ..", 2, "5aa5023b02003e", 0},
        {"31 08 ..", 4, "5aa5023b0f014c", 0},
        {"31 04 ..", 4, "5aa5023b0f004b", 0},
        {"31 00 ..", 5, "5aa5023b040141", 0},
        {"31 10 ..", 5, "5aa5023b040040", 0},
        {"31 0000 20 ..", 8, "5aa5023b050142", 0},
        {"31 0000 10 ..", 8, "5aa5023b050041", 0},
        {"31 0000 10 ..", 9, "5aa5023b060143", 0},
        {"31 0000 20 ..", 9, "5aa5023b060042", 0},
        // fixed commands
        {"", 6, "5aa5023b070144", 0},
        {"", 7, "5aa5023b070043", 0},
        {"", 12, "5aa5023b08ff43", 0},
        {"", 13, "5aa5023b0aff45", 0},
        {"", 14, "5aa5023b09ff44", 0},
        {"", 15, "5aa5023b0b0148", 0},
        {"", 16, "5aa5023b0b0249", 0},
        {"", 17, "5aa5023b150152", 0},
        {"", 18, "5aa5023b150253", 0},
        {"", 19, "5aa5023b0c0149", 0},
        {"", 20, "5aa5023b0c024a", 0},
        {"", 21, "5aa5023b0d014a", 0},
        {"", 22, "5aa5023b0d024b", 0},
        {"", 23, "5aa5023b160153", 0},
        {"", 24, "5aa5023b160254", 0},
        {"", 34, "5aa5023b17ff52", 0},
        // the blower's top step: only model 94 holds it back
        {"model 94; 31 .. @5 07", 15, "", 0},
        {"model 94; 31 .. @5 06", 15, "5aa5023b0b0148", 0},
        {"model 60; 31 .. @5 07", 15, "5aa5023b0b0148", 0},
        {"31 .. @5 12", 15, "5aa5023b0b0148", 0},
        // the mode key steps on from the low four bits of the reported vents code
        {"31 .. @4 03", 31, "5aa5023b09ff44", 0},
        {"31 .. @4 35", 31, "5aa5023b22ff5d", 0},
        {"31 .. @4 06", 31, "5aa5023b08ff43", 0},
        {"31 .. @4 fb", 31, "5aa5023b21ff5c", 0},
        {"31 .. @4 0c", 31, "5aa5023b0aff45", 0},
        {"31 .. @4 00", 31, "5aa5023b0aff45", 0},
        {"31 .. @4 0d", 31, "5aa5023b0aff45", 0},
        // keys the adapter has no command for; 28 and 30 say so
        {"", 28, "", -1},
        {"", 30, "", -1},
        // model 52 takes no climate command at all
        {"model 52", 12, "", 0},
        {"model 52", 2, "", 0},
        {"model 52; 31 .. @4 05", 31, "", 0},
    };
    for (const Key &k : keys) {
        QTest::addRow("key %d after %s", k.key, k.state)
            << QString("%1; acKey %2 1; sent=%3%4; returned=%5")
                   .arg(k.state)
                   .arg(k.key)
                   .arg(*k.frame ? "~" : "", k.frame)
                   .arg(k.returned);
    }
    for (int key : {1, 3, 10, 11, 25, 29, 32, 35, -1, 1000})
        QTest::addRow("key %d", key) << QString("acKey %1 1; sent=; returned=0").arg(key);
    QTest::newRow("sending never touches the state")
        << "acKey 2 1; acKey 31 1; acKey 15 1; signals=";
}

// The host reads the state inside its slot.
void tst_Climate::storedBeforeTheHostIsTold()
{
    qvxtest::Drive d;
    QList<int> seen;
    QObject::connect(d.service.get(), &CanServiceBase::acStatusChanged,
                     [&] { seen << d.service->isAc(); });
    d.run("31 01 ..; 31 00 ..");
    QCOMPARE(seen, (QList<int>{1, 0}));
}

QVX_VIRTUAL_TIME_MAIN(tst_Climate)
#include "tst_climate.moc"
