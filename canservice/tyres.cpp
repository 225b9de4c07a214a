// Tyre monitoring: alerts and pressures.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

#include <algorithm>

namespace canservice {

namespace {
constexpr int TyreLength = 16;
constexpr int StatusByte = 0;
constexpr quint8 TyreDataValid = 0x80;
constexpr int FirstPressureByte = 1; // front left, front right, rear left, rear right
constexpr int FirstAlertByte = 11;   // same order

// Bits 0 and 1 count only when bit 2 is set; bit 0 wins over bit 1.
constexpr quint8 AlertReported = 0x04;
constexpr quint8 AlertSecondKind = 0x01;
constexpr quint8 AlertFirstKind = 0x02;

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
    if (data.size() != TyreLength) {
        QVX_ERR;
        return;
    }
    const quint8 status = frame::u8(data, StatusByte);
    mTireUnit = Translator::translate(1006);

    // No tyre data: every alert is cleared, and the host hears of it on each such frame.
    if (!(status & TyreDataValid)) {
        QVX_DBG;
        std::fill(mTireStatus, mTireStatus + Wheels, 0);
        mTireAlertType = 0;
        emit tireAlert();
        return;
    }

    int next[Wheels] = {0, 0, 0, 0};
    mTireAlertType = 0;
    for (int w = FrontLeft; w < Wheels; ++w) {
        const quint8 flags = frame::u8(data, FirstAlertByte + w);
        if (!(flags & AlertReported))
            continue;
        QVX_DBG;
        if (flags & AlertSecondKind) {
            mTireAlertType = 1;
            next[w] = 2;
        } else if (flags & AlertFirstKind) {
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
    if (data.size() != TyreLength) {
        QVX_ERR;
        return;
    }
    // Unlike the alerts, the pressures outlive a frame without tyre data.
    if (!(frame::u8(data, StatusByte) & TyreDataValid)) {
        QVX_DBG;
        return;
    }

    float next[Wheels];
    for (int w = FrontLeft; w < Wheels; ++w) {
        next[w] = float(frame::be16(data, FirstPressureByte + 2 * w));
        QVX_DBG << next[w];
    }
    if (std::equal(next, next + Wheels, mTirePressure))
        return;
    std::copy(next, next + Wheels, mTirePressure);
    emit tireDataChanged();
}

} // namespace canservice
