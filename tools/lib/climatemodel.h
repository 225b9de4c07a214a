#pragma once

// The simulated adapter's climate panel: the 12 data bytes of its climate frame, changed
// by the head unit's climate commands the way a car would react.
//
//   1 power-off, 2 AC, 4 auto, 5 front defrost, 6 rear defrost, 7 inside air,
//   15 dual zone: set to the value (0 or 1)
//   8, 9, 10, 33, 34: air-flow mode codes 3, 5, 6, 12, 11 (the mode key's cycle)
//   11 fan, 12 left temperature, 13 right temperature, 21 rear fan, 22 rear temperature:
//   value 1 one step up, 2 one step down
//   23: rear climate on/off
//
// The fan runs on codes 0..18 (fan scale 18) or 0..7 (fan scale 7, as the direct-scale
// models report it); one step moves one displayed level.

#include <QByteArray>
#include <QString>

namespace tools {

class ClimateModel
{
public:
    explicit ClimateModel(int fanScale = 18);

    QByteArray state() const { return mState; }
    // Only a 12-byte climate frame replaces the state.
    void setState(const QByteArray &data);
    // False for a command the panel does not know; the state is then unchanged.
    bool apply(int command, int value);

private:
    void step(int byte, int value, int low, int high);
    void stepFan(int value);
    void setBit(int byte, int mask, bool on);

    QByteArray mState;
    int mFanScale;
};

} // namespace tools
