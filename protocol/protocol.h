#pragma once

// The adapter's serial protocol, in one place: the plugin, the bench tools, the benchmarks and
// the soak all read and write frames through these names.
//
//   5A A5 LEN CMD data[LEN] CHK
//
// Header-only, C++11 and Qt Core 5.3, so that the plugin can use it as it is.

#include <QByteArray>
#include <QtGlobal>

namespace protocol {

const quint8 Header1 = 0x5A;
const quint8 Header2 = 0xA5;
const int MaxDataLength = 255;
const int Overhead = 5;        // header, LEN, CMD, CHK
const int CommandAt = 3;       // CMD's place in a whole frame
const int DataAt = 4;          // data byte 0's place in a whole frame
const int ParseOutMs = 500;    // the head unit drops a frame left unfinished this long
const int HeartBeatMs = 30000; // and calls the link down after this long without a frame

// Command ids.
namespace cmd {
// Adapter to head unit.
const quint8 Wheel = 0x11;   // steering-wheel keys (the engine-speed length check too)
const quint8 Body = 0x12;    // doors, battery alert, fuel warning
const quint8 Mileage = 0x13; // current mileage and driving data
const quint8 Panel = 0x21;   // the car's own control-panel keys
const quint8 Climate = 0x31;
const quint8 CarInfo = 0x32; // engine speed, coolant, other info
const quint8 Fuel = 0x34;    // fuel consumption
const quint8 Radar = 0x41;
const quint8 Tyres = 0x68;
const quint8 Version = 0xF0;
// Head unit to adapter.
const quint8 Ack = 0xFF;
const quint8 Nak = 0xFE;
const quint8 CarSelect = 0x2A;
const quint8 ClimateKey = 0x3B;
const quint8 Start = 0x60;
const quint8 Request = 0x90;
const quint8 Source = 0x91;
} // namespace cmd

// Data length of each command; the version text has any length.
namespace len {
const int Wheel = 10;
const int Body = 10;
const int Mileage = 17;
const int Panel = 2;
const int Climate = 12;
const int CarInfo = 14;
const int Fuel = 25;
const int Radar = 12;
const int Tyres = 16;
const int Ack = 1;
const int Nak = 1;
const int CarSelect = 2;
const int ClimateKey = 2;
const int Start = 3;
const int Request = 2;
const int Source = 14;
const int Any = -1;
} // namespace len

enum Direction { ToHeadUnit, ToAdapter };

struct Command
{
    quint8 id;
    Direction direction;
    int length;       // len::Any for any
    const char *name; // the tools' short name
};

// Every command of both directions, in the order of their ids per direction.
inline const Command *commands(int *count)
{
    static const Command table[] = {
        {cmd::Wheel, ToHeadUnit, len::Wheel, "wheel"},
        {cmd::Body, ToHeadUnit, len::Body, "body"},
        {cmd::Mileage, ToHeadUnit, len::Mileage, "mileage"},
        {cmd::Panel, ToHeadUnit, len::Panel, "panel"},
        {cmd::Climate, ToHeadUnit, len::Climate, "climate"},
        {cmd::CarInfo, ToHeadUnit, len::CarInfo, "carinfo"},
        {cmd::Fuel, ToHeadUnit, len::Fuel, "fuel"},
        {cmd::Radar, ToHeadUnit, len::Radar, "radar"},
        {cmd::Tyres, ToHeadUnit, len::Tyres, "tyres"},
        {cmd::Version, ToHeadUnit, len::Any, "version"},
        {cmd::CarSelect, ToAdapter, len::CarSelect, "carselect"},
        {cmd::ClimateKey, ToAdapter, len::ClimateKey, "climatekey"},
        {cmd::Start, ToAdapter, len::Start, "start"},
        {cmd::Request, ToAdapter, len::Request, "request"},
        {cmd::Source, ToAdapter, len::Source, "source"},
        {cmd::Nak, ToAdapter, len::Nak, "nak"},
        {cmd::Ack, ToAdapter, len::Ack, "ack"},
    };
    *count = int(sizeof table / sizeof table[0]);
    return table;
}

// The command with this id in this direction, or null.
inline const Command *command(Direction direction, int id)
{
    int n = 0;
    const Command *table = commands(&n);
    for (int i = 0; i < n; ++i) {
        if (table[i].direction == direction && table[i].id == id)
            return &table[i];
    }
    return nullptr;
}

// Named fields of each frame: data byte positions, masks and codes.
namespace ack {
const int Command = 0; // the command answered (ACK and NAK alike)
} // namespace ack

namespace carselect {
const int Model = 0;
const int Second = 1;
const quint8 SecondValue = 0xFF; // what the head unit always sends there
} // namespace carselect

namespace request {
const int First = 0; // the host's two arguments, low bytes
const int Second = 1;
} // namespace request

namespace body {
const int Doors = 2;
const quint8 FrontDoor = 0x04; // the bonnet
const quint8 RearDoor = 0x08;  // the boot
const quint8 RightRearDoor = 0x10;
const quint8 LeftRearDoor = 0x20;
// The front doors as the adapter places them for driver position true; false swaps them.
const quint8 LeftFrontDoor = 0x40;
const quint8 RightFrontDoor = 0x80;
const int Alerts = 6;
const quint8 BatteryAlert = 0x40;
const quint8 FuelWarning = 0x80;
} // namespace body

namespace wheel {
const int Code = 2;
const int Action = 3;
} // namespace wheel

namespace panel {
const int Code = 0;
const int Action = 1;
} // namespace panel

namespace key {
const int Release = 0;
const int Press = 1;
} // namespace key

namespace climate {
const int Flags = 0;
const quint8 Ac = 0x01;
const quint8 DualMask = 0x0C; // two bits: 1 is dual
const quint8 Dual = 0x04;
const quint8 Auto = 0x10;
const quint8 Rear = 0x20;
const quint8 PowerOff = 0x40;
const int Air = 1;
const quint8 Inside = 0x10;         // recirculation
const quint8 LeftVentilates = 0x40; // the left seat's level is ventilation, not heat
const quint8 RightVentilates = 0x80;
const int Seats = 2;
const quint8 SeatLevel = 0x03; // the left seat's level; the right seat's is shifted
const int RightSeatShift = 2;
const quint8 FrontDefrost = 0x10;
const quint8 RearDefrost = 0x20;
const quint8 Fahrenheit = 0x80;
const int Mode = 4;
const int Fan = 5;
const int Left = 6; // temperatures in half degrees; FE and FF are markers
const int Right = 7;
const int RearMode = 8;
const int RearFan = 9;
const int RearTemp = 10;
const quint8 Low = 0xFE;
const quint8 High = 0xFF;
} // namespace climate

// Climate-key frame (head unit to adapter): what to change, then the value.
namespace climatekey {
const int Command = 0;
const int Value = 1;
const quint8 Power = 1; // toggles: value 1 on, 0 off
const quint8 Ac = 2;
const quint8 Auto = 4;
const quint8 FrontDefrost = 5;
const quint8 RearDefrost = 6;
const quint8 Inside = 7;
const quint8 Dual = 15;
const quint8 VentsCode3 = 8; // set the vents (climate byte Mode) to that code; value Press
const quint8 VentsCode5 = 9;
const quint8 VentsCode6 = 10;
const quint8 VentsCode12 = 33;
const quint8 VentsCode11 = 34;
const quint8 RearClimate = 23; // switches the rear climate over; value Press
const quint8 Fan = 11;         // steps: value Up or Down
const quint8 LeftTemp = 12;
const quint8 RightTemp = 13;
const quint8 RearFan = 21;
const quint8 RearTemp = 22;
const quint8 Up = 1;
const quint8 Down = 2;
const quint8 Press = 0xFF;
} // namespace climatekey

namespace radar {
const int Rear = 0;  // four rear sensors, outside left to outside right
const int Front = 4; // four front sensors
const int Sensors = 4;
const quint8 NoReading = 0xFF;
const int Bands = 8;
// The highest raw distance of band b (0 nearest .. 7); raw 0 is a sensor that reports nothing.
inline quint8 bandTop(int b)
{
    static const quint8 tops[Bands] = {38, 69, 100, 131, 162, 193, 224, 255};
    return tops[b];
}
} // namespace radar

namespace tyres {
const int Status = 0;
const quint8 DataValid = 0x80;
const int Pressures = 1; // four big-endian pairs: front left, front right, rear left, rear right
const int Alerts = 11;   // four bytes in the same order
// Bits 0 and 1 count only when bit 2 is set; bit 0 wins over bit 1.
const quint8 AlertReported = 0x04;
const quint8 AlertSecondKind = 0x01;
const quint8 AlertFirstKind = 0x02;
} // namespace tyres

namespace carinfo {
const int Rotate = 2; // big-endian pair
const int OtherInfo = 8;
const int Coolant = 9;
const int CoolantOffset = 40;
} // namespace carinfo

namespace fuel {
const int Consumption1 = 0; // big-endian pairs, tenths
const int DrivingA = 2;     // big-endian pair
const int DrivingB = 4;     // big-endian triple, tenths
const int Consumption4 = 7;
const int Consumption5 = 12;
const int Consumption6 = 17;
const int Units = 22; // bits 0-1 consumption unit, bit 2 driving unit
} // namespace fuel

namespace mileage {
const int Mileage = 4; // big-endian pair, tenths
const int Time = 11;   // big-endian pair, tenths of hours, then minutes
const int Minutes = 13;
} // namespace mileage

namespace source {
const int Code = 0;
const int Text = 2;
const int TextLength = 12;
} // namespace source

// The checksum: the 8-bit sum of LEN, CMD and every data byte, minus one.
inline quint8 checksum(const QByteArray &body)
{
    quint8 sum = 0;
    for (int i = 0; i < body.size(); ++i)
        sum = quint8(sum + quint8(body.at(i)));
    return quint8(sum - 1);
}

// A whole frame for cmd with data (at most 255 bytes).
inline QByteArray build(quint8 cmd, const QByteArray &data)
{
    // One allocation: every received frame is answered through here.
    QByteArray out(data.size() + Overhead, Qt::Uninitialized);
    char *p = out.data();
    p[0] = char(Header1);
    p[1] = char(Header2);
    p[2] = char(data.size());
    p[CommandAt] = char(cmd);
    quint8 sum = quint8(data.size() + cmd);
    for (int i = 0; i < data.size(); ++i) {
        p[DataAt + i] = data.at(i);
        sum = quint8(sum + quint8(data.at(i)));
    }
    p[DataAt + data.size()] = char(quint8(sum - 1));
    return out;
}

// Data byte k taken unsigned; 0 outside the array. Every wire read goes through here.
inline quint8 u8(const QByteArray &data, int k)
{
    return uint(k) < uint(data.size()) ? quint8(data.at(k)) : 0;
}

// Big-endian unsigned fields starting at data byte k.
inline int be16(const QByteArray &data, int k)
{
    return u8(data, k) << 8 | u8(data, k + 1);
}

inline int be24(const QByteArray &data, int k)
{
    return u8(data, k) << 16 | u8(data, k + 1) << 8 | u8(data, k + 2);
}

// True when every byte of the n-byte field at k is 0xFF: the adapter's "not available".
inline bool notAvailable(const QByteArray &data, int k, int n)
{
    for (int i = k; i < k + n; ++i) {
        if (u8(data, i) != 0xFF)
            return false;
    }
    return true;
}

} // namespace protocol
