// Tyre monitoring: alert flags per wheel, pressures, the unit.
#include "drive.h"

// A tyre frame holds the status at 0, pressures FL FR RL RR at 1-8, alert flags at 11-14.
static void rows()
{
    const struct
    {
        const char *flags, *tyres;
    } alerts[] = {
        {"07070707", "1 2 2 2 2"}, {"05050505", "1 2 2 2 2"}, {"06060606", "1 1 1 1 1"},
        {"04040404", "0 0 0 0 0"}, {"03030303", "0 0 0 0 0"}, {"fbfbfbfb", "0 0 0 0 0"},
        {"00000600", "1 0 0 1 0"}, {"00050000", "1 0 2 0 0"}, {"07060403", "1 2 1 0 0"},
    };
    for (const auto &a : alerts) {
        const bool any = QString(a.tyres) != "0 0 0 0 0";
        QTest::addRow("flags %s", a.flags)
            << QString("68 80 .. @11 %1; tyres=%2; signals=%3; 68 80 .. @11 %1; signals=")
                   .arg(a.flags, a.tyres, any ? "tireAlert" : "");
    }
    QTest::newRow("no tyre data: alerts cleared and told every time, pressures kept")
        << "68 7f ..; signals=tireAlert; 68 80 .. @11 05050505; tyres=1 2 2 2 2; "
           "68 00 1111111111111111 .. @11 05050505; tyres=0 0 0 0 0; pressures=0 0 0 0; "
           "68 00 ..; signals=tireAlert tireAlert tireAlert";
    QTest::newRow("an alert no longer reported is cleared")
        << "68 80 .. @11 00000006; 68 80 ..; tyres=0 0 0 0 0; signals=tireAlert tireAlert";
    QTest::newRow("pressures, big-endian, signalled on change")
        << "68 80 ..; signals=; 68 80 00dc010012ffffff ..; pressures=220 256 4863 65535; "
           "68 80 00dc010012ffffff ..; signals=tireDataChanged; 68 80 00dc010012ffff00 ..; "
           "pressures=220 256 4863 65280; 68 00 2222222222222222 ..; "
           "pressures=220 256 4863 65280; signals=tireDataChanged tireAlert";
    QTest::newRow("wrong length changes nothing; any whole frame brings the unit")
        << "68 80 1111111111111111 0000 050505; 68 80 1111111111111111 0000 05050505 00 00; "
           "errors=doTireAlert, doTireData, doTireAlert, doTireData; getTireUnit=; tyres=0 0 0 "
           "0 0; pressures=0 0 0 0; signals=; 68 00 ..; getTireUnit=kPa";
}

QVX_SCRIPT_ROWS_MAIN(rows)
