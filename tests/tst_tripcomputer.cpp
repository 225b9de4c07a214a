// Trip computer, car information (32), fuel consumption (34), mileage (13), fuel status and
// the adapter version (f0): frames in, records, getters and signals out.
#include "drive.h"

#include <QTemporaryFile>

class tst_TripComputer : public QObject
{
    Q_OBJECT
private slots:
    void drive_data();
    QVX_DRIVE_ROWS
    void unitTextsFollowTheLanguage();
};

void tst_TripComputer::drive_data()
{
    QTest::addColumn<QString>("script");
    // Filled with bytes that would change every value if they were decoded.
    const struct
    {
        const char *cmd;
        int length;
        const char *errors;
    } wrong[] = {
        {"32", 13, "doCarInformationData"},
        {"32", 15, "doCarInformationData"},
        {"12", 9, "doDoor, doBatteryVoltage, doFuelStatus"},
        {"34", 24, "doFuelConsumption"},
        {"34", 26, "doFuelConsumption"},
        {"13", 16, "doCurrentMileage"},
        {"13", 18, "doCurrentMileage"},
        {"11", 10, ""}, // a whole key frame
    };
    for (const auto &w : wrong)
        QTest::addRow("%s with %d bytes", w.cmd, w.length)
            << QString("%1 %2; errors=%3; signals=; fuel=; driving=; other=; getRotate=0; "
                       "getCoolantTemp=0")
                   .arg(w.cmd, QString("80").repeated(w.length), w.errors);

    QTest::newRow("car information: initial values change nothing")
        << "32 .. @9 28; signals=; getRotate=0; getCoolantTemp=0";
    QTest::newRow("engine speed") << "32 .. @2 0bb8 @9 28; getRotate=3000; signals=rotateChanged; "
                                     "32 .. @2 fffe @9 28; getRotate=65534";
    QTest::newRow("engine speed ff ff not available, coolant from -40")
        << "32 .. @2 ffff; getRotate=0; getCoolantTemp=-40; signals=coolantemChanged; "
           "32 .. @9 ff; getCoolantTemp=215";
    QTest::newRow("all three in order, then only on a change")
        << "32 .. @2 0bb8 @8 645a; getRotate=3000; getCoolantTemp=50; other=|100%; "
           "signals=rotateChanged coolantemChanged otherInfoDataChanged; "
           "32 .. @2 0bb8 @8 645a; 32 .. @2 ffff @8 645a; 11 12121212121212121212; "
           "signals=; getRotate=3000";
    QTest::newRow("fuel status in the body frame")
        << "12 ..; other=; signals=; 12 .. @6 80; other=Fuel low; 12 .. @6 80; "
           "signals=otherInfoDataChanged; 12 .. @6 7f; other=Fuel OK; 12 .. @6 40; "
           "signals=batteryVoltageAlert otherInfoDataChanged";

    // Consumption 04d2, driving A 012c and B 0186a0, consumption 4-6 0000 0001 ffee.
    const QString fuel = "34 04d2 012c 0186a0 0000 ffffff 0001 ffffff ffee ..ff @22 ";
    const char *units[][3] = {{"00", "l/100km", "km/h"}, {"01", "km/l", "km/h"},
                              {"02", "mpg", "km/h"},     {"03", "l/h", "km/h"},
                              {"07", "l/h", "mph"},      {"f9", "km/l", "km/h"}};
    for (const auto &u : units)
        QTest::addRow("units %s", u[0])
            << QString("%1%2; fuel=123.4%3|||0.0%3|0.1%3|6551.8%3; driving=|300.0%4|||10000.0%4")
                   .arg(fuel, u[0], u[1], u[2]);
    // One field at a time, every other one not available.
    const char *fields[][3] = {
        {"0 ffff", "fuel=", ""},
        {"0 ff00", "fuel=6528.0l/100km", ""},
        {"7 ffff", "fuel=", ""},
        {"7 00ff", "fuel=|||25.5l/100km", ""},
        {"12 fffe", "fuel=||||6553.4l/100km", ""},
        {"17 7fff", "fuel=|||||3276.7l/100km", ""},
        {"2 ffff", "driving=", ""},
        {"2 ff00", "driving=|65280.0km/h", " drivingDataChanged"},
        {"4 ffffff", "driving=", ""},
        {"4 ffff00", "driving=||||1677696.0km/h", " drivingDataChanged"},
        {"4 98967f", "driving=||||999999.9km/h", " drivingDataChanged"},
        // above 2^20 a float holds eighths: the texts show the float, not the exact tenths
        {"4 a00002", "driving=||||1048576.3km/h", " drivingDataChanged"},
        {"4 a00007", "driving=||||1048576.8km/h", " drivingDataChanged"},
        {"4 fffffc", "driving=||||1677721.3km/h", " drivingDataChanged"},
        {"4 fffffe", "driving=||||1677721.4km/h", " drivingDataChanged"},
    };
    for (const auto &f : fields)
        QTest::addRow("field @%s", f[0])
            << QString("34 ..ff @22 00 @%1; %2; signals=fuelDataChanged%3").arg(f[0], f[1], f[2]);
    QTest::newRow("fuel signals: each driving value that changed")
        << fuel + "00; signals=fuelDataChanged drivingDataChanged drivingDataChanged; " + fuel +
               "00; signals=fuelDataChanged; " + fuel +
               "04; signals=fuelDataChanged drivingDataChanged drivingDataChanged; "
               "driving=|300.0mph|||10000.0mph; 34 ..ff @22 04; signals=fuelDataChanged; "
               "driving=|300.0mph|||10000.0mph";

    // Time: tenths of hours, then minutes; ff markers.
    const char *times[][2] = {{"000a1e", "1.5h"},    {"00003c", "1.0h"}, {"000078", "2.0h"},
                              {"0000fe", "4.2h"},    {"000703", "0.7h"}, {"fffe03", "6553.4h"},
                              {"ff0000", "6528.0h"}, {"0000ff", "--"},   {"ffff00", "--"}};
    for (const auto &t : times)
        QTest::addRow("time %s", t[0]) << QString("13 ..ff @11 %1; driving=||%2; "
                                                  "signals=drivingDataChanged")
                                              .arg(t[0], t[1]);
    QTest::newRow("mileage signals")
        << "13 ..ff; 13 ..ff; driving=||--; signals=drivingDataChanged; "
           "13 ..ff @4 3039 @11 000a1e; driving=1234.5km||1.5h; "
           "signals=drivingDataChanged drivingDataChanged; 13 ..ff @11 001400; "
           "driving=1234.5km||2.0h; signals=drivingDataChanged; 13 ..ff @4 3039 @11 0014ff; "
           "driving=1234.5km||--; signals=drivingDataChanged";

    const char *versions[][2] = {{"56312e3032", "V1.02"},
                                 {"56312e30000058", "V1.0"},
                                 {"0056", ""},
                                 {"c3a9e282ac", "é€"},
                                 {"56ff", "V\xef\xbf\xbd"}};
    for (const auto &v : versions)
        QTest::addRow("version %s", v[0])
            << QString("f0 %1; version=%2; f0 %1; signals=sigVersionData sigVersionData")
                   .arg(v[0], QString::fromUtf8(v[1]));
}

void tst_TripComputer::unitTextsFollowTheLanguage()
{
    qvxtest::Drive d;
    d.run("34 ..ff @22 00 @2 012c; 32 .. @8 6428");
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
    // Texts are rebuilt for a new value only.
    const QString script = "getCoolantTempUnit=Grad; 34 ..ff @22 00 @2 012c; driving=|300.0km/Std; "
                           "32 .. @8 6428; other=|100%; 32 .. @8 6528; other=|101Proz";
    QCOMPARE(d.run(script), qvxtest::Drive::expected(script));
}

QVX_VIRTUAL_TIME_MAIN(tst_TripComputer)
#include "tst_tripcomputer.moc"
