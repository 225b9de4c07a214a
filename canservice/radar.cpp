// Parking radar: distance bands per sensor slot.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

#include <QtGlobal>

namespace canservice {

namespace {

quint8 band(quint8 raw)
{
    if (raw == 0)
        return protocol::radar::NoReading;
    quint8 b = 0;
    while (raw > protocol::radar::bandTop(b))
        ++b;
    return b;
}

// The host counts levels from 1 (nearest); 255 is no reading.
int level(quint8 b)
{
    return b < protocol::radar::Bands ? b + 1 : 255;
}

int slotLevel(const QByteArray &table, int slot)
{
    return level(protocol::u8(table, slot));
}

// A front-middle zone has a second reading; the nearer one wins, and no reading (0xFF) never does.
int mergedLevel(const QByteArray &table, int slot, int second)
{
    return level(qMin(protocol::u8(table, slot), protocol::u8(table, second)));
}
} // namespace

int SimpleService::getFrontRadarLeftDistance()
{
    return slotLevel(mRadarData, 0);
}

int SimpleService::getFrontRadarMiddleLeftDistance()
{
    return mergedLevel(mRadarData, 1, 16);
}

int SimpleService::getFrontRadarMiddleRightDistance()
{
    return mergedLevel(mRadarData, 2, 17);
}

int SimpleService::getFrontRadarRightDistance()
{
    return slotLevel(mRadarData, 3);
}

int SimpleService::getRearRadarLeftDistance()
{
    return slotLevel(mRadarData, 4);
}

int SimpleService::getRearRadarMiddleLeftDistance()
{
    return slotLevel(mRadarData, 5);
}

int SimpleService::getRearRadarMiddleRightDistance()
{
    return slotLevel(mRadarData, 6);
}

int SimpleService::getRearRadarRightDistance()
{
    return slotLevel(mRadarData, 7);
}

// The adapter feeds no side sensor: slots 8 to 15 keep no reading.
int SimpleService::getLeftRadarFrontDistance()
{
    return slotLevel(mRadarData, 8);
}

int SimpleService::getLeftRadarMiddleFrontDistance()
{
    return slotLevel(mRadarData, 9);
}

int SimpleService::getLeftRadarMiddleRearDistance()
{
    return slotLevel(mRadarData, 10);
}

int SimpleService::getLeftRadarRearDistance()
{
    return slotLevel(mRadarData, 11);
}

int SimpleService::getRightRadarFrontDistance()
{
    return slotLevel(mRadarData, 12);
}

int SimpleService::getRightRadarMiddleFrontDistance()
{
    return slotLevel(mRadarData, 13);
}

int SimpleService::getRightRadarMiddleRearDistance()
{
    return slotLevel(mRadarData, 14);
}

int SimpleService::getRightRadarRearDistance()
{
    return slotLevel(mRadarData, 15);
}

// The rear sensors come first in the frame (bytes 0-3) but live in slots 4-7; the front
// sensors follow (bytes 4-7) into slots 0-3.
void SimpleService::doRadar(int, QByteArray &data)
{
    if (data.size() != protocol::len::Radar) {
        QVX_ERR;
        return;
    }
    QVX_DBG << data.toHex();

    QByteArray bands = mRadarData;
    QVX_DBG << int(protocol::u8(bands, 4)) << bands.size();
    for (int i = 0; i < protocol::radar::Sensors; ++i)
        bands[4 + i] = char(band(protocol::u8(data, protocol::radar::Rear + i)));
    QVX_DBG << int(protocol::u8(bands, 4)) << bands.size();
    for (int i = 0; i < protocol::radar::Sensors; ++i)
        bands[i] = char(band(protocol::u8(data, protocol::radar::Front + i)));
    QVX_DBG << int(protocol::u8(bands, 0)) << bands.size();

    if (bands != mRadarData) {
        mRadarData = bands;
        emit sigRadarChanged();
    }
}

} // namespace canservice
