// Tyre monitoring: alerts and pressures.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

#include <algorithm>

namespace canservice {

namespace {

enum Wheel { FrontLeft, FrontRight, RearLeft, RearRight, Wheels };
} // namespace

int SimpleService::getTireAlertType()
{
    return mTireAlertType;
}

int SimpleService::getTireStatusFR()
{
    return mTireStatus[FrontRight];
}

int SimpleService::getTireStatusFL()
{
    return mTireStatus[FrontLeft];
}

int SimpleService::getTireStatusRL()
{
    return mTireStatus[RearLeft];
}

int SimpleService::getTireStatusRR()
{
    return mTireStatus[RearRight];
}

float SimpleService::getTirePressureValueFR()
{
    return mTirePressure[FrontRight];
}

float SimpleService::getTirePressureValueFL()
{
    return mTirePressure[FrontLeft];
}

float SimpleService::getTirePressureValueRL()
{
    return mTirePressure[RearLeft];
}

float SimpleService::getTirePressureValueRR()
{
    return mTirePressure[RearRight];
}

QString SimpleService::getTireUnit()
{
    return mTireUnit;
}

void SimpleService::doTireAlert(int, QByteArray &data)
{
    if (data.size() != protocol::len::Tyres) {
        QVX_ERR;
        return;
    }
    const quint8 status = protocol::u8(data, protocol::tyres::Status);
    mTireUnit = Translator::translate(1006);

    // No tyre data: every alert is cleared, and the host hears of it on each such frame.
    if (!(status & protocol::tyres::DataValid)) {
        QVX_DBG;
        std::fill(mTireStatus, mTireStatus + Wheels, 0);
        mTireAlertType = 0;
        emit tireAlert();
        return;
    }

    int next[Wheels] = {0, 0, 0, 0};
    mTireAlertType = 0;
    for (int w = FrontLeft; w < Wheels; ++w) {
        const quint8 flags = protocol::u8(data, protocol::tyres::Alerts + w);
        if (!(flags & protocol::tyres::AlertReported))
            continue;
        QVX_DBG;
        if (flags & protocol::tyres::AlertSecondKind) {
            mTireAlertType = 1;
            next[w] = 2;
        } else if (flags & protocol::tyres::AlertFirstKind) {
            mTireAlertType = 1;
            next[w] = 1;
        }
    }

    bool changed = false;
    for (int w = FrontLeft; w < Wheels; ++w) {
        if (next[w] != mTireStatus[w]) {
            mTireStatus[w] = next[w];
            changed = true;
        }
    }
    if (changed)
        emit tireAlert();
}

// Pressures are the adapter's numbers, unscaled; their unit is the host's text 1006.
void SimpleService::doTireData(int, QByteArray &data)
{
    if (data.size() != protocol::len::Tyres) {
        QVX_ERR;
        return;
    }
    // Unlike the alerts, the pressures outlive a frame without tyre data.
    if (!(protocol::u8(data, protocol::tyres::Status) & protocol::tyres::DataValid)) {
        QVX_DBG;
        return;
    }

    float next[Wheels];
    for (int w = FrontLeft; w < Wheels; ++w) {
        next[w] = float(protocol::be16(data, protocol::tyres::Pressures + 2 * w));
        QVX_DBG << next[w];
    }
    if (std::equal(next, next + Wheels, mTirePressure))
        return;
    std::copy(next, next + Wheels, mTirePressure);
    emit tireDataChanged();
}

} // namespace canservice
