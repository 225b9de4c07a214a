// Parking radar: raw distances to bands, sensor slots, change detection.
#include "drive.h"

static void rows()
{
    const QString none =
        "255 255 255 255 | 255 255 255 255 | " + QString("255 ").repeated(7) + "255";
    // Each band's first and last raw value, on every sensor at once.
    const int bands[][2] = {{1, 38},    {39, 69},   {70, 100},  {101, 131},
                            {132, 162}, {163, 193}, {194, 224}, {225, 255}};
    for (int b = 0; b < 8; ++b) {
        for (int raw : bands[b]) {
            const QString level = QString::number(b + 1) + ' ';
            QTest::addRow("raw %d", raw)
                << QString("41 %1 ..; radar=%2| %2| %3; signals=sigRadarChanged")
                       .arg(QString("%1").arg(raw, 2, 16, QChar('0')).repeated(8))
                       .arg(level.repeated(4))
                       .arg(QString("255 ").repeated(7) + "255");
        }
    }
    QTest::newRow("0 is no reading, and nothing changed") << "41 ..; radar=" + none + "; signals=";
    QTest::newRow("rear first in the frame, front after; the tail unread")
        << "41 012746658aa3c2e1 ..ff; radar=5 6 7 8 | 1 2 3 4 | " + none.mid(36);
    QTest::newRow("signalled on a new band only")
        << "41 28 ..; signals=sigRadarChanged; 41 28 ..; 41 28 .. @8 01020304; "
           "41 45 ..; signals=; getRearRadarLeftDistance=2; 41 45000000000000 64 ..; "
           "signals=sigRadarChanged; getFrontRadarRightDistance=3; 41 ..; radar=" +
               none + "; signals=sigRadarChanged";
    QTest::newRow("wrong length changes nothing")
        << "41 0101010101010101 ..; 41 e0e0e0e0e0e0e0e0e0e0e0; "
           "41 e0e0e0e0e0e0e0e0e0e0e0e0e0; errors=doRadar, doRadar; signals=sigRadarChanged; "
           "getFrontRadarLeftDistance=1; getRearRadarRightDistance=1";
}

QVX_SCRIPT_ROWS_MAIN(rows)
