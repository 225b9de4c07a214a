#include "climatemodel.h"

namespace tools {

namespace {
constexpr int Flags = 0, Air = 1, Seats = 2, Mode = 4, Fan = 5, Left = 6, Right = 7, RearFan = 9,
              Rear = 10;
// The code each displayed fan level reports on the 0..18 scale.
constexpr int WideFanCodes[] = {0, 2, 4, 6, 9, 12, 15, 18};
} // namespace

ClimateModel::ClimateModel(int fanScale) : mState(12, 0), mFanScale(fanScale == 7 ? 7 : 18)
{
    // Switched on, 22 degrees both sides, fan on, air to the face.
    mState[Mode] = 6;
    mState[Fan] = char(mFanScale == 7 ? 2 : 4);
    mState[Left] = 44;
    mState[Right] = 44;
    mState[Rear] = 44;
}

void ClimateModel::setState(const QByteArray &data)
{
    if (data.size() == 12)
        mState = data;
}

void ClimateModel::setBit(int byte, int mask, bool on)
{
    const quint8 b = quint8(mState.at(byte));
    mState[byte] = char(on ? b | mask : b & ~mask);
}

void ClimateModel::step(int byte, int value, int low, int high)
{
    const int b = quint8(mState.at(byte));
    const int next = value == 1 ? b + 1 : value == 2 ? b - 1 : b;
    mState[byte] = char(qBound(low, next, high));
}

void ClimateModel::stepFan(int value)
{
    const int code = quint8(mState.at(Fan));
    if (mFanScale == 7) {
        step(Fan, value, 0, 7);
        return;
    }
    int level = 0;
    while (level < 7 && WideFanCodes[level + 1] <= code)
        ++level;
    level = qBound(0, level + (value == 1 ? 1 : value == 2 ? -1 : 0), 7);
    mState[Fan] = char(WideFanCodes[level]);
}

bool ClimateModel::apply(int command, int value)
{
    const bool on = value != 0;
    switch (command) {
    case 1:
        setBit(Flags, 0x40, on);
        return true;
    case 2:
        setBit(Flags, 0x01, on);
        return true;
    case 4:
        setBit(Flags, 0x10, on);
        return true;
    case 5:
        setBit(Seats, 0x10, on);
        return true;
    case 6:
        setBit(Seats, 0x20, on);
        return true;
    case 7:
        setBit(Air, 0x10, on);
        return true;
    case 15:
        mState[Flags] = char((quint8(mState.at(Flags)) & ~0x0C) | (on ? 0x04 : 0));
        return true;
    case 8:
        mState[Mode] = 3;
        return true;
    case 9:
        mState[Mode] = 5;
        return true;
    case 10:
        mState[Mode] = 6;
        return true;
    case 33:
        mState[Mode] = 12;
        return true;
    case 34:
        mState[Mode] = 11;
        return true;
    case 11:
        stepFan(value);
        return true;
    case 12:
        step(Left, value, 0, 0xFD);
        return true;
    case 13:
        step(Right, value, 0, 0xFD);
        return true;
    case 21:
        step(RearFan, value, 0, 7);
        return true;
    case 22:
        step(Rear, value, 0, 0xFD);
        return true;
    case 23:
        setBit(Flags, 0x20, !(quint8(mState.at(Flags)) & 0x20));
        return true;
    default:
        return false;
    }
}

} // namespace tools
