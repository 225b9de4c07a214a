// Body status: doors by driver position and the battery alert.
#include "drive.h"

static void rows()
{
    QTest::newRow("bonnet") << "12 .. @2 04; signals=doorChanged; getDoorStatus=4; doors=front";
    QTest::newRow("boot") << "12 .. @2 08; doors=rear";
    QTest::newRow("rear doors") << "12 .. @2 10; doors=rightRear; 12 .. @2 20; doors=leftRear";
    QTest::newRow("front doors follow the driver's side")
        << "12 .. @2 40; doors=leftFront; driver false; doors=rightFront; 12 .. @2 80; "
           "doors=leftFront; driver none; doors=rightFront; signals=doorChanged doorChanged";
    QTest::newRow("bits 0 and 1 are no door") << "12 .. @2 03; getDoorStatus=3; doors=";
    QTest::newRow("signalled on change only")
        << "12 ..; signals=; 12 .. @2 03; 12 .. @2 03; signals=doorChanged; "
           "12 11ff 03 .. @6 c0 @9 ff; signals=batteryVoltageAlert otherInfoDataChanged; "
           "12 ..; signals=doorChanged batteryVoltageAlert otherInfoDataChanged";
    QTest::newRow("battery alert, fuel flag aside")
        << "12 .. @6 40; getBatteryVoltageAlertType=1; signals=batteryVoltageAlert; 12 .. @6 40; "
           "signals=; 12 .. @6 80; getBatteryVoltageAlertType=0; getBatteryVoltageValue=-2";
    QTest::newRow("wrong length changes nothing")
        << "12 .. @2 40 @6 40; 12 000080000000c0000000 00; 12 000080000000c00000; "
           "errors=doDoor, doBatteryVoltage, doFuelStatus, doDoor, doBatteryVoltage, "
           "doFuelStatus; getDoorStatus=64; getBatteryVoltageAlertType=1";
}

QVX_SCRIPT_ROWS_MAIN(rows)
