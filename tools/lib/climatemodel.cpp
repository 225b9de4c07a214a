#include "climatemodel.h"

#include "protocol.h"

namespace tools {

namespace {
using namespace protocol::climate;
namespace key = protocol::climatekey;
// The code each displayed fan level reports on the 0..18 scale.
constexpr int WideFanCodes[] = {0, 2, 4, 6, 9, 12, 15, 18};
constexpr int HighestTemperature = 0xFD; // FE and FF are markers
} // namespace

ClimateModel::ClimateModel(int fanScale)
    : mState(protocol::len::Climate, 0), mFanScale(fanScale == 7 ? 7 : 18)
{
    // Switched on, 22 degrees both sides, fan on, air to the face.
    mState[Mode] = 6;
    mState[Fan] = char(mFanScale == 7 ? 2 : 4);
    mState[Left] = 44;
    mState[Right] = 44;
    mState[RearTemp] = 44;
}

void ClimateModel::setState(const QByteArray &data)
{
    if (data.size() == protocol::len::Climate)
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
    const int next = value == key::Up ? b + 1 : value == key::Down ? b - 1 : b;
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
    level = qBound(0, level + (value == key::Up ? 1 : value == key::Down ? -1 : 0), 7);
    mState[Fan] = char(WideFanCodes[level]);
}

bool ClimateModel::apply(int command, int value)
{
    const bool on = value != 0;
    switch (command) {
    case key::Power:
        setBit(Flags, PowerOff, on);
        return true;
    case key::Ac:
        setBit(Flags, Ac, on);
        return true;
    case key::Auto:
        setBit(Flags, Auto, on);
        return true;
    case key::FrontDefrost:
        setBit(Seats, FrontDefrost, on);
        return true;
    case key::RearDefrost:
        setBit(Seats, RearDefrost, on);
        return true;
    case key::Inside:
        setBit(Air, Inside, on);
        return true;
    case key::Dual:
        mState[Flags] = char((quint8(mState.at(Flags)) & ~DualMask) | (on ? Dual : 0));
        return true;
    case key::VentsCode3:
        mState[Mode] = 3;
        return true;
    case key::VentsCode5:
        mState[Mode] = 5;
        return true;
    case key::VentsCode6:
        mState[Mode] = 6;
        return true;
    case key::VentsCode12:
        mState[Mode] = 12;
        return true;
    case key::VentsCode11:
        mState[Mode] = 11;
        return true;
    case key::Fan:
        stepFan(value);
        return true;
    case key::LeftTemp:
        step(Left, value, 0, HighestTemperature);
        return true;
    case key::RightTemp:
        step(Right, value, 0, HighestTemperature);
        return true;
    case key::RearFan:
        step(RearFan, value, 0, 7);
        return true;
    case key::RearTemp:
        step(RearTemp, value, 0, HighestTemperature);
        return true;
    case key::RearClimate:
        setBit(Flags, Rear, !(quint8(mState.at(Flags)) & Rear));
        return true;
    default:
        return false;
    }
}

} // namespace tools
