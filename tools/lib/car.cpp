#include "car.h"

#include "number.h"
#include "protocol.h"

#include <QStringList>

#include <cmath>

namespace tools {

namespace {

using protocol::u8;

// One word form being applied: the frame it changes and what went wrong.
struct Edit
{
    int cmd = 0;
    QByteArray data;
    double release = 0;
    QString error;

    bool fail(const QString &why)
    {
        error = why;
        return false;
    }
    void setBit(int byte, quint8 mask, bool on)
    {
        data[byte] = char(on ? u8(data, byte) | mask : u8(data, byte) & ~mask);
    }
    void setBe16(int at, int value)
    {
        data[at] = char(value >> 8);
        data[at + 1] = char(value);
    }
};

using Args = QStringList;

bool onOff(Edit &e, const Args &args, int at, bool *on)
{
    if (args.value(at) == QLatin1String("on") || args.value(at) == QLatin1String("off")) {
        *on = args.value(at) == QLatin1String("on");
        return true;
    }
    return e.fail(QStringLiteral("'%1' is on or off").arg(args.value(at)));
}

// A whole number in [low, high], decimal or 0x-hex.
bool whole(Edit &e, const QString &text, int low, int high, int *value)
{
    if (qvx::parseNumber(text, value) && *value >= low && *value <= high)
        return true;
    return e.fail(
        QStringLiteral("'%1' is not a number from %2 to %3").arg(text).arg(low).arg(high));
}

// A decimal such as 1234.5 in tenths, up to `high` tenths.
bool tenths(Edit &e, const QString &text, int high, int *value)
{
    bool ok = false;
    const double v = text.toDouble(&ok);
    if (ok && std::isfinite(v) && v >= 0 && std::lround(v * 10) <= high) {
        *value = int(std::lround(v * 10));
        return true;
    }
    return e.fail(QStringLiteral("'%1' is not a value from 0 to %2").arg(text).arg(high / 10.0));
}

// Picks the index of args[at] among the names; a message listing them otherwise.
int oneOf(Edit &e, const Args &args, int at, const QStringList &names)
{
    const int i = names.indexOf(args.value(at));
    if (i < 0)
        e.fail(QStringLiteral("'%1' is one of: %2").arg(args.value(at), names.join(", ")));
    return i;
}

bool arity(Edit &e, const Args &args, int n, const char *usage)
{
    return args.size() == n || e.fail(QStringLiteral("usage: %1").arg(QLatin1String(usage)));
}

// --- body status -------------------------------------------------------------------------

const QStringList DoorNames = {"bonnet",      "boot",      "front-left",
                               "front-right", "rear-left", "rear-right"};
const quint8 DoorBits[] = {protocol::body::FrontDoor,     protocol::body::RearDoor,
                           protocol::body::LeftFrontDoor, protocol::body::RightFrontDoor,
                           protocol::body::LeftRearDoor,  protocol::body::RightRearDoor};

bool door(Edit &e, const Args &a)
{
    const int which = arity(e, a, 2, "door <door> open|closed") ? oneOf(e, a, 0, DoorNames) : -1;
    const int state = which < 0 ? -1 : oneOf(e, a, 1, {"closed", "open"});
    if (state < 0)
        return false;
    e.setBit(protocol::body::Doors, DoorBits[which], state == 1);
    return true;
}

bool doors(Edit &e, const Args &a)
{
    const int state = arity(e, a, 1, "doors open|closed") ? oneOf(e, a, 0, {"closed", "open"}) : -1;
    if (state < 0)
        return false;
    quint8 all = 0;
    for (quint8 bit : DoorBits)
        all |= bit;
    e.setBit(protocol::body::Doors, all, state == 1);
    return true;
}

bool alertFlag(Edit &e, const Args &a, quint8 mask, const char *usage)
{
    const int state = arity(e, a, 1, usage) ? oneOf(e, a, 0, {"ok", "low"}) : -1;
    if (state < 0)
        return false;
    e.setBit(protocol::body::Alerts, mask, state == 1);
    return true;
}

bool battery(Edit &e, const Args &a)
{
    return alertFlag(e, a, protocol::body::BatteryAlert, "battery low|ok");
}

bool fuel(Edit &e, const Args &a)
{
    return alertFlag(e, a, protocol::body::FuelWarning, "fuel low|ok");
}

// --- keys --------------------------------------------------------------------------------

const double LongPressSeconds = 2.0; // held past the head unit's long-press time

bool key(Edit &e, const Args &a)
{
    const int source = arity(e, a, 3, "key wheel|panel <code> press|release|long")
                           ? oneOf(e, a, 0, {"wheel", "panel"})
                           : -1;
    int code = 0;
    if (source < 0 || !whole(e, a.value(1), 0, 255, &code))
        return false;
    const int action = oneOf(e, a, 2, {"release", "press", "long"});
    if (action < 0)
        return false;
    const int pressed = action == 0 ? protocol::key::Release : protocol::key::Press;
    e.release = action == 2 ? LongPressSeconds : 0;
    if (source == 0) {
        e.cmd = protocol::cmd::Wheel;
        e.data = QByteArray(protocol::len::Wheel, 0);
        e.data[protocol::wheel::Code] = char(code);
        e.data[protocol::wheel::Action] = char(pressed);
    } else {
        e.cmd = protocol::cmd::Panel;
        e.data = QByteArray(protocol::len::Panel, 0);
        e.data[protocol::panel::Code] = char(code);
        e.data[protocol::panel::Action] = char(pressed);
    }
    return true;
}

// --- climate -----------------------------------------------------------------------------

bool climate(Edit &e, const Args &a)
{
    namespace c = protocol::climate;
    const QStringList switches = {"power",  "ac",   "auto",          "dual",
                                  "inside", "rear", "defrost-front", "defrost-rear"};
    const QString what = a.value(0);
    bool on = false;
    if (switches.contains(what)) {
        if (!arity(e, a, 2, "climate <switch> on|off") || !onOff(e, a, 1, &on))
            return false;
        if (what == QLatin1String("power"))
            e.setBit(c::Flags, c::PowerOff, !on);
        else if (what == QLatin1String("ac"))
            e.setBit(c::Flags, c::Ac, on);
        else if (what == QLatin1String("auto"))
            e.setBit(c::Flags, c::Auto, on);
        else if (what == QLatin1String("dual"))
            e.data[c::Flags] = char((u8(e.data, c::Flags) & ~c::DualMask) | (on ? c::Dual : 0));
        else if (what == QLatin1String("inside"))
            e.setBit(c::Air, c::Inside, on);
        else if (what == QLatin1String("rear"))
            e.setBit(c::Flags, c::Rear, on);
        else if (what == QLatin1String("defrost-front"))
            e.setBit(c::Seats, c::FrontDefrost, on);
        else
            e.setBit(c::Seats, c::RearDefrost, on);
        return true;
    }
    const QStringList temperatures = {"temp-left", "temp-right", "temp-rear"};
    if (temperatures.contains(what)) {
        if (!arity(e, a, 2, "climate temp-left|temp-right|temp-rear <degrees>|low|high"))
            return false;
        const int byte = what == temperatures[0]   ? c::Left
                         : what == temperatures[1] ? c::Right
                                                   : c::RearTemp;
        int code = 0;
        if (a.at(1) == QLatin1String("low")) {
            code = c::Low;
        } else if (a.at(1) == QLatin1String("high")) {
            code = c::High;
        } else {
            int t = 0;
            if (!tenths(e, a.at(1), 1265, &t) || t % 5 != 0)
                return e.fail(QStringLiteral("'%1' is not a temperature in half degrees from 0 "
                                             "to 126.5")
                                  .arg(a.at(1)));
            code = t / 5;
        }
        e.data[byte] = char(code);
        return true;
    }
    const QStringList codes = {"fan", "mode", "rear-fan", "rear-mode"};
    if (codes.contains(what)) {
        int code = 0;
        if (!arity(e, a, 2, "climate fan|mode|rear-fan|rear-mode <code>") ||
            !whole(e, a.at(1), 0, 255, &code))
            return false;
        const int bytes[] = {c::Fan, c::Mode, c::RearFan, c::RearMode};
        e.data[bytes[codes.indexOf(what)]] = char(code);
        return true;
    }
    if (what == QLatin1String("seat-left") || what == QLatin1String("seat-right")) {
        const bool left = what == QLatin1String("seat-left");
        if (a.size() == 2 && a.at(1) == QLatin1String("off")) {
            e.data[c::Seats] =
                char(u8(e.data, c::Seats) & ~(c::SeatLevel << (left ? 0 : c::RightSeatShift)));
            return true;
        }
        int level = 0;
        const int kind = arity(e, a, 3, "climate seat-left|seat-right off|heat <1-3>|vent <1-3>")
                             ? oneOf(e, a, 1, {"heat", "vent"})
                             : -1;
        if (kind < 0 || !whole(e, a.at(2), 0, 3, &level))
            return false;
        const int shift = left ? 0 : c::RightSeatShift;
        e.data[c::Seats] =
            char((u8(e.data, c::Seats) & ~(c::SeatLevel << shift)) | (level << shift));
        e.setBit(c::Air, left ? c::LeftVentilates : c::RightVentilates, kind == 1);
        return true;
    }
    if (what == QLatin1String("unit")) {
        const int unit = arity(e, a, 2, "climate unit c|f") ? oneOf(e, a, 1, {"c", "f"}) : -1;
        if (unit < 0)
            return false;
        e.setBit(c::Seats, c::Fahrenheit, unit == 1);
        return true;
    }
    return e.fail(QStringLiteral("'%1' is one of: %2, %3, %4, seat-left, seat-right, unit")
                      .arg(what, switches.join(", "), temperatures.join(", "), codes.join(", ")));
}

// --- car information, trip computer ------------------------------------------------------

bool rotate(Edit &e, const Args &a)
{
    int rpm = 0;
    if (!arity(e, a, 1, "rotate <rpm>|none"))
        return false;
    if (a.at(0) == QLatin1String("none"))
        rpm = 0xFFFF;
    else if (!whole(e, a.at(0), 0, 0xFFFE, &rpm))
        return false;
    e.setBe16(protocol::carinfo::Rotate, rpm);
    return true;
}

bool coolant(Edit &e, const Args &a)
{
    int degrees = 0;
    if (!arity(e, a, 1, "coolant <degrees>") ||
        !whole(e, a.at(0), -protocol::carinfo::CoolantOffset,
               255 - protocol::carinfo::CoolantOffset, &degrees))
        return false;
    e.data[protocol::carinfo::Coolant] = char(degrees + protocol::carinfo::CoolantOffset);
    return true;
}

bool info(Edit &e, const Args &a)
{
    int value = 0;
    if (!arity(e, a, 1, "info <0-255>") || !whole(e, a.at(0), 0, 255, &value))
        return false;
    e.data[protocol::carinfo::OtherInfo] = char(value);
    return true;
}

// A trip value (in tenths unless whole), or none: every byte 0xFF.
bool tripValue(Edit &e, const QString &text, int at, int bytes, bool whole = false)
{
    const int high = bytes == 3 ? 0xFFFFFE : 0xFFFE;
    int v = 0;
    if (text == QLatin1String("none"))
        v = bytes == 3 ? 0xFFFFFF : 0xFFFF;
    else if (whole ? !tools::whole(e, text, 0, high, &v) : !tenths(e, text, high, &v))
        return false;
    for (int i = bytes - 1; i >= 0; --i, v >>= 8)
        e.data[at + i] = char(v);
    return true;
}

bool consumption(Edit &e, const Args &a)
{
    namespace f = protocol::fuel;
    const int which = arity(e, a, 2, "consumption 1|4|5|6 <value>|none")
                          ? oneOf(e, a, 0, {"1", "4", "5", "6"})
                          : -1;
    const int at[] = {f::Consumption1, f::Consumption4, f::Consumption5, f::Consumption6};
    return which >= 0 && tripValue(e, a.at(1), at[which], 2);
}

bool average(Edit &e, const Args &a)
{
    return arity(e, a, 1, "average-speed <whole value>|none") &&
           tripValue(e, a.at(0), protocol::fuel::DrivingA, 2, true);
}

bool range(Edit &e, const Args &a)
{
    return arity(e, a, 1, "range <value>|none") &&
           tripValue(e, a.at(0), protocol::fuel::DrivingB, 3);
}

bool units(Edit &e, const Args &a)
{
    const int use = arity(e, a, 2, "units l/100km|km/l|mpg|l/h km/h|mph")
                        ? oneOf(e, a, 0, {"l/100km", "km/l", "mpg", "l/h"})
                        : -1;
    const int speed = use < 0 ? -1 : oneOf(e, a, 1, {"km/h", "mph"});
    if (speed < 0)
        return false;
    e.data[protocol::fuel::Units] = char(use | speed << 2);
    return true;
}

bool mileage(Edit &e, const Args &a)
{
    return arity(e, a, 1, "mileage <km>|none") &&
           tripValue(e, a.at(0), protocol::mileage::Mileage, 2);
}

bool driveTime(Edit &e, const Args &a)
{
    int minutes = 0;
    if (a.size() < 1 || a.size() > 2)
        return e.fail(QStringLiteral("usage: drive-time <hours>|none [<minutes>|none]"));
    if (a.size() == 2 && a.at(1) == QLatin1String("none"))
        minutes = 0xFF;
    else if (a.size() == 2 && !whole(e, a.at(1), 0, 254, &minutes))
        return false;
    if (!tripValue(e, a.at(0), protocol::mileage::Time, 2))
        return false;
    e.data[protocol::mileage::Minutes] = char(minutes);
    return true;
}

// --- radar, tyres, version ---------------------------------------------------------------

const QStringList RadarSensors = {"rear-left",          "rear-middle-left", "rear-middle-right",
                                  "rear-right",         "front-left",       "front-middle-left",
                                  "front-middle-right", "front-right"};

bool radar(Edit &e, const Args &a)
{
    const QStringList &sensors = RadarSensors;
    if (a.size() == 1 && a.at(0) == QLatin1String("clear")) {
        for (int i = 0; i < sensors.size(); ++i)
            e.data[protocol::radar::Rear + i] = 0;
        return true;
    }
    if (a.size() < 2 || a.size() > 3)
        return e.fail(QStringLiteral("usage: radar <sensor> <band 1-8>|none|raw <distance>, or "
                                     "radar clear"));
    const int sensor = oneOf(e, a, 0, sensors);
    if (sensor < 0)
        return false;
    int raw = 0;
    if (a.at(1) == QLatin1String("raw")) {
        if (!whole(e, a.value(2), 0, 255, &raw))
            return false;
    } else if (a.at(1) != QLatin1String("none") || a.size() != 2) {
        int band = 0;
        if (a.size() != 2)
            return e.fail(QStringLiteral("a band takes no more words (radar <sensor> <band>)"));
        if (!whole(e, a.at(1), 1, 8, &band))
            return false;
        raw = protocol::radar::bandTop(band - 1);
    }
    e.data[protocol::radar::Rear + sensor] = char(raw);
    return true;
}

const QStringList Wheels = {"front-left", "front-right", "rear-left", "rear-right"};

bool tyre(Edit &e, const Args &a)
{
    namespace t = protocol::tyres;
    const int wheel = a.size() == 3 ? oneOf(e, a, 0, Wheels)
                                    : (e.fail(QStringLiteral("usage: tyre <wheel> alert "
                                                             "none|first|second, or tyre <wheel> "
                                                             "pressure <value>")),
                                       -1);
    const int what = wheel < 0 ? -1 : oneOf(e, a, 1, {"alert", "pressure"});
    if (what == 0) {
        const int kind = oneOf(e, a, 2, {"none", "first", "second"});
        const quint8 flags[] = {0, t::AlertReported | t::AlertFirstKind,
                                t::AlertReported | t::AlertSecondKind};
        if (kind < 0)
            return false;
        e.data[t::Alerts + wheel] = char(flags[kind]);
        return true;
    }
    int pressure = 0;
    if (what < 0 || !whole(e, a.at(2), 0, 0xFFFF, &pressure))
        return false;
    e.setBe16(t::Pressures + 2 * wheel, pressure);
    return true;
}

bool tyres(Edit &e, const Args &a)
{
    if (a.size() == 1) {
        const int valid = oneOf(e, a, 0, {"invalid", "valid"});
        if (valid < 0)
            return false;
        e.setBit(protocol::tyres::Status, protocol::tyres::DataValid, valid == 1);
        return true;
    }
    if (a.size() != 5 || a.at(0) != QLatin1String("pressures"))
        return e.fail(QStringLiteral("usage: tyres valid|invalid, or tyres pressures <fl> <fr> "
                                     "<rl> <rr>"));
    for (int w = 0; w < 4; ++w) {
        int pressure = 0;
        if (!whole(e, a.at(w + 1), 0, 0xFFFF, &pressure))
            return false;
        e.setBe16(protocol::tyres::Pressures + 2 * w, pressure);
    }
    return true;
}

bool version(Edit &e, const Args &a)
{
    if (!arity(e, a, 1, "version \"<text>\""))
        return false;
    e.data = a.at(0).toUtf8();
    if (e.data.size() > protocol::MaxDataLength)
        return e.fail(QStringLiteral("a version of at most %1 bytes").arg(protocol::MaxDataLength));
    return true;
}

struct Word
{
    const char *name;
    int cmd;
    bool (*edit)(Edit &e, const Args &args);
    const char *usage;
};

// The vocabulary: every frame the adapter sends, in words. Sizes and codes are decimal or
// 0x-hex; trip values are decimals in the car's units, "none" is not available.
const Word Words[] = {
    {"door", protocol::cmd::Body, door,
     "door bonnet|boot|front-left|front-right|rear-left|rear-right open|closed"},
    {"doors", protocol::cmd::Body, doors, "doors open|closed"},
    {"battery", protocol::cmd::Body, battery, "battery low|ok"},
    {"fuel", protocol::cmd::Body, fuel, "fuel low|ok"},
    {"key", protocol::cmd::Wheel, key,
     "key wheel|panel <code> press|release|long  (long: released 2 s later)"},
    {"climate", protocol::cmd::Climate, climate,
     "climate power|ac|auto|dual|inside|rear|defrost-front|defrost-rear on|off\n"
     "climate temp-left|temp-right|temp-rear <degrees, in halves>|low|high\n"
     "climate fan|mode|rear-fan|rear-mode <code>\n"
     "climate seat-left|seat-right off|heat <1-3>|vent <1-3>\n"
     "climate unit c|f"},
    {"rotate", protocol::cmd::CarInfo, rotate, "rotate <rpm>|none"},
    {"coolant", protocol::cmd::CarInfo, coolant, "coolant <degrees>"},
    {"info", protocol::cmd::CarInfo, info, "info <0-255>  (the other-information value)"},
    {"consumption", protocol::cmd::Fuel, consumption, "consumption 1|4|5|6 <value>|none"},
    {"average-speed", protocol::cmd::Fuel, average, "average-speed <whole value>|none"},
    {"range", protocol::cmd::Fuel, range, "range <value>|none"},
    {"units", protocol::cmd::Fuel, units, "units l/100km|km/l|mpg|l/h km/h|mph"},
    {"mileage", protocol::cmd::Mileage, mileage, "mileage <km>|none"},
    {"drive-time", protocol::cmd::Mileage, driveTime, "drive-time <hours>|none [<minutes>|none]"},
    {"radar", protocol::cmd::Radar, radar,
     "radar {front,rear}-{left,middle-left,middle-right,right} <band 1-8>|none|raw <distance>\n"
     "radar clear"},
    {"tyre", protocol::cmd::Tyres, tyre,
     "tyre front-left|front-right|rear-left|rear-right alert none|first|second\n"
     "tyre <wheel> pressure <value>"},
    {"tyres", protocol::cmd::Tyres, tyres,
     "tyres valid|invalid\ntyres pressures <fl> <fr> <rl> <rr>"},
    {"version", protocol::cmd::Version, version, "version \"<text>\""},
};

const Word *findWord(const QString &name)
{
    for (const Word &w : Words) {
        if (name == QLatin1String(w.name))
            return &w;
    }
    return nullptr;
}

} // namespace

Car::Car(int fanScale) : mClimate(fanScale)
{
    namespace len = protocol::len;
    mData.insert(protocol::cmd::Body, QByteArray(len::Body, 0));
    mData.insert(protocol::cmd::Wheel, QByteArray(len::Wheel, 0));
    mData.insert(protocol::cmd::Panel, QByteArray(len::Panel, 0));
    QByteArray carInfo(len::CarInfo, 0);
    carInfo[protocol::carinfo::Coolant] = char(protocol::carinfo::CoolantOffset);
    mData.insert(protocol::cmd::CarInfo, carInfo);
    QByteArray fuel(len::Fuel, char(0xFF));
    fuel[protocol::fuel::Units] = 0;
    mData.insert(protocol::cmd::Fuel, fuel);
    mData.insert(protocol::cmd::Mileage, QByteArray(len::Mileage, char(0xFF)));
    mData.insert(protocol::cmd::Radar, QByteArray(len::Radar, 0));
    QByteArray tyres(len::Tyres, 0);
    tyres[protocol::tyres::Status] = char(protocol::tyres::DataValid);
    mData.insert(protocol::cmd::Tyres, tyres);
    mData.insert(protocol::cmd::Version, QByteArray());
}

QByteArray Car::data(int cmd) const
{
    return cmd == protocol::cmd::Climate ? mClimate.state() : mData.value(cmd);
}

bool Car::isWord(const QString &first)
{
    return findWord(first) != nullptr;
}

void Car::setData(int cmd, const QByteArray &data)
{
    if (cmd == protocol::cmd::Climate)
        mClimate.setState(data);
    else if (mData.contains(cmd))
        mData.insert(cmd, data);
}

bool Car::apply(const QList<Token> &words, int *cmd, double *releaseAfter, QString *error)
{
    const Word *word = words.isEmpty() ? nullptr : findWord(words.first().text);
    if (!word) {
        *error = QStringLiteral("'%1' is no word of the vocabulary")
                     .arg(words.isEmpty() ? QString() : words.first().text);
        return false;
    }
    Args args;
    for (int i = 1; i < words.size(); ++i)
        args << words.at(i).text;
    Edit e;
    e.cmd = word->cmd;
    e.data = data(word->cmd);
    if (!word->edit(e, args)) {
        *error = e.error;
        return false;
    }
    setData(e.cmd, e.data);
    *cmd = e.cmd;
    *releaseAfter = e.release;
    return true;
}

// Trip values as the words set them: tenths shown as decimals, "none" where not available.
QString Car::trip() const
{
    namespace f = protocol::fuel;
    const QByteArray fuel = data(protocol::cmd::Fuel), mileage = data(protocol::cmd::Mileage);
    const auto value = [](const QByteArray &d, int at, int bytes, bool tenths) {
        if (protocol::notAvailable(d, at, bytes))
            return QStringLiteral("none");
        const int v = bytes == 3 ? protocol::be24(d, at) : protocol::be16(d, at);
        return tenths ? QString::number(v / 10.0, 'f', 1) : QString::number(v);
    };
    return QStringLiteral("trip: consumption %1 %2 %3 %4, average-speed %5, range %6, units %7 "
                          "%8, mileage %9, ")
               .arg(value(fuel, f::Consumption1, 2, true), value(fuel, f::Consumption4, 2, true),
                    value(fuel, f::Consumption5, 2, true), value(fuel, f::Consumption6, 2, true),
                    value(fuel, f::DrivingA, 2, false), value(fuel, f::DrivingB, 3, true))
               .arg(QStringList{"l/100km", "km/l", "mpg", "l/h"}.at(u8(fuel, f::Units) & 0x03),
                    u8(fuel, f::Units) & 0x04 ? QStringLiteral("mph") : QStringLiteral("km/h"),
                    value(mileage, protocol::mileage::Mileage, 2, true)) +
           QStringLiteral("drive-time %1 (and %2 minutes)\n")
               .arg(value(mileage, protocol::mileage::Time, 2, true))
               .arg(u8(mileage, protocol::mileage::Minutes));
}

QString Car::describe()
{
    namespace c = protocol::climate;
    const QByteArray body = data(protocol::cmd::Body);
    QStringList open;
    for (int i = 0; i < DoorNames.size(); ++i) {
        if (u8(body, protocol::body::Doors) & DoorBits[i])
            open << DoorNames.at(i);
    }
    const auto flag = [](bool on) { return on ? QStringLiteral("on") : QStringLiteral("off"); };
    const QByteArray cl = mClimate.state();
    const auto temp = [&cl](int byte) {
        const int code = u8(cl, byte);
        return code == c::Low    ? QStringLiteral("low")
               : code == c::High ? QStringLiteral("high")
                                 : QString::number(code / 2.0);
    };
    QStringList radar;
    for (int i = 0; i < 8; ++i)
        radar << QString::number(u8(data(protocol::cmd::Radar), protocol::radar::Rear + i));
    const QByteArray ty = data(protocol::cmd::Tyres);
    QStringList pressures, alerts;
    for (int w = 0; w < 4; ++w) {
        pressures << QString::number(protocol::be16(ty, protocol::tyres::Pressures + 2 * w));
        alerts << QString::number(u8(ty, protocol::tyres::Alerts + w), 16);
    }
    const QByteArray info = data(protocol::cmd::CarInfo);
    return QStringLiteral("doors: %1; battery %2; fuel %3\n")
               .arg(open.isEmpty() ? QStringLiteral("closed") : open.join(' ') + " open",
                    u8(body, protocol::body::Alerts) & protocol::body::BatteryAlert ? "low" : "ok",
                    u8(body, protocol::body::Alerts) & protocol::body::FuelWarning ? "low" : "ok") +
           QStringLiteral("climate: power %1, ac %2, auto %3, dual %4, inside %5, rear %6, "
                          "defrost-front %7, defrost-rear %8, unit %9, ")
               .arg(flag(!(u8(cl, c::Flags) & c::PowerOff)), flag(u8(cl, c::Flags) & c::Ac),
                    flag(u8(cl, c::Flags) & c::Auto),
                    flag((u8(cl, c::Flags) & c::DualMask) == c::Dual),
                    flag(u8(cl, c::Air) & c::Inside), flag(u8(cl, c::Flags) & c::Rear),
                    flag(u8(cl, c::Seats) & c::FrontDefrost),
                    flag(u8(cl, c::Seats) & c::RearDefrost),
                    u8(cl, c::Seats) & c::Fahrenheit ? QStringLiteral("f") : QStringLiteral("c")) +
           QStringLiteral("temp-left %1, temp-right %2, temp-rear %3, fan %4, mode %5, rear-fan "
                          "%6, rear-mode %7, seats %8\n")
               .arg(temp(c::Left), temp(c::Right), temp(c::RearTemp))
               .arg(u8(cl, c::Fan))
               .arg(u8(cl, c::Mode))
               .arg(u8(cl, c::RearFan))
               .arg(u8(cl, c::RearMode))
               .arg(QString::number(u8(cl, c::Seats) & 0x0F, 16)) +
           trip() + QStringLiteral("radar (raw, rear then front): %1\n").arg(radar.join(' ')) +
           QStringLiteral("tyres: %1, pressures %2, alert flags %3\n")
               .arg(u8(ty, protocol::tyres::Status) & protocol::tyres::DataValid ? "valid"
                                                                                 : "invalid",
                    pressures.join(' '), alerts.join(' ')) +
           QStringLiteral("rotate %1, coolant %2, info %3\n")
               .arg(protocol::be16(info, protocol::carinfo::Rotate))
               .arg(int(u8(info, protocol::carinfo::Coolant)) - protocol::carinfo::CoolantOffset)
               .arg(u8(info, protocol::carinfo::OtherInfo)) +
           QStringLiteral("version \"%1\"\n").arg(QString::fromUtf8(data(protocol::cmd::Version)));
}

QStringList Car::say(int cmd, const QByteArray &d)
{
    namespace c = protocol::climate;
    QStringList out;
    const auto expected = protocol::command(protocol::ToHeadUnit, cmd);
    if (!expected || (expected->length != protocol::len::Any && d.size() != expected->length))
        return out; // no words for a frame the head unit would not take
    const auto onOff = [](bool on) { return on ? QStringLiteral("on") : QStringLiteral("off"); };
    const auto trip = [&d](int at, int bytes, bool tenths) {
        if (protocol::notAvailable(d, at, bytes))
            return QStringLiteral("none");
        const int v = bytes == 3 ? protocol::be24(d, at) : protocol::be16(d, at);
        return tenths ? QString::number(v / 10.0, 'f', 1) : QString::number(v);
    };
    switch (cmd) {
    case protocol::cmd::Body:
        for (int i = 0; i < DoorNames.size(); ++i)
            out << QStringLiteral("door %1 %2")
                       .arg(DoorNames.at(i),
                            u8(d, protocol::body::Doors) & DoorBits[i] ? "open" : "closed");
        out << QStringLiteral("battery %1")
                   .arg(u8(d, protocol::body::Alerts) & protocol::body::BatteryAlert ? "low" : "ok")
            << QStringLiteral("fuel %1").arg(
                   u8(d, protocol::body::Alerts) & protocol::body::FuelWarning ? "low" : "ok");
        break;
    case protocol::cmd::Wheel:
    case protocol::cmd::Panel: {
        const bool wheel = cmd == protocol::cmd::Wheel;
        const int action = u8(d, wheel ? protocol::wheel::Action : protocol::panel::Action);
        out << QStringLiteral("key %1 0x%2 %3")
                   .arg(wheel ? "wheel" : "panel")
                   .arg(u8(d, wheel ? protocol::wheel::Code : protocol::panel::Code), 2, 16,
                        QLatin1Char('0'))
                   .arg(action == protocol::key::Release ? QStringLiteral("release")
                        : action == protocol::key::Press
                            ? QStringLiteral("press")
                            : QStringLiteral("(action %1)").arg(action));
        break;
    }
    case protocol::cmd::Climate: {
        const quint8 flags = u8(d, c::Flags), air = u8(d, c::Air), seats = u8(d, c::Seats);
        out << "climate power " + onOff(!(flags & c::PowerOff))
            << "climate ac " + onOff(flags & c::Ac) << "climate auto " + onOff(flags & c::Auto)
            << "climate dual " + onOff((flags & c::DualMask) == c::Dual)
            << "climate inside " + onOff(air & c::Inside)
            << "climate rear " + onOff(flags & c::Rear)
            << "climate defrost-front " + onOff(seats & c::FrontDefrost)
            << "climate defrost-rear " + onOff(seats & c::RearDefrost);
        const char *temps[] = {"temp-left", "temp-right", "temp-rear"};
        const int tempAt[] = {c::Left, c::Right, c::RearTemp};
        for (int i = 0; i < 3; ++i) {
            const int code = u8(d, tempAt[i]);
            out << QStringLiteral("climate %1 %2")
                       .arg(temps[i], code == c::Low    ? QStringLiteral("low")
                                      : code == c::High ? QStringLiteral("high")
                                                        : QString::number(code / 2.0));
        }
        const char *codes[] = {"fan", "mode", "rear-fan", "rear-mode"};
        const int codeAt[] = {c::Fan, c::Mode, c::RearFan, c::RearMode};
        for (int i = 0; i < 4; ++i)
            out << QStringLiteral("climate %1 %2").arg(codes[i]).arg(u8(d, codeAt[i]));
        for (int right = 0; right < 2; ++right) {
            const int level = (seats >> (right ? c::RightSeatShift : 0)) & c::SeatLevel;
            const bool vent = air & (right ? c::RightVentilates : c::LeftVentilates);
            out << QStringLiteral("climate seat-%1 %2")
                       .arg(right ? "right" : "left",
                            level ? QStringLiteral("%1 %2").arg(vent ? "vent" : "heat").arg(level)
                                  : QStringLiteral("off"));
        }
        out << QStringLiteral("climate unit %1").arg(seats & c::Fahrenheit ? "f" : "c");
        break;
    }
    case protocol::cmd::CarInfo: {
        const int rpm = protocol::be16(d, protocol::carinfo::Rotate);
        out << QStringLiteral("rotate %1")
                   .arg(rpm == 0xFFFF ? QStringLiteral("none") : QString::number(rpm))
            << QStringLiteral("coolant %1")
                   .arg(int(u8(d, protocol::carinfo::Coolant)) - protocol::carinfo::CoolantOffset)
            << QStringLiteral("info %1").arg(u8(d, protocol::carinfo::OtherInfo));
        break;
    }
    case protocol::cmd::Fuel: {
        namespace f = protocol::fuel;
        const int at[] = {f::Consumption1, f::Consumption4, f::Consumption5, f::Consumption6};
        const char *which[] = {"1", "4", "5", "6"};
        for (int i = 0; i < 4; ++i)
            out << QStringLiteral("consumption %1 %2").arg(which[i], trip(at[i], 2, true));
        out << "average-speed " + trip(f::DrivingA, 2, false)
            << "range " + trip(f::DrivingB, 3, true)
            << QStringLiteral("units %1 %2")
                   .arg(QStringList{"l/100km", "km/l", "mpg", "l/h"}.at(u8(d, f::Units) & 0x03),
                        u8(d, f::Units) & 0x04 ? "mph" : "km/h");
        break;
    }
    case protocol::cmd::Mileage:
        out << "mileage " + trip(protocol::mileage::Mileage, 2, true)
            << QStringLiteral("drive-time %1 %2")
                   .arg(trip(protocol::mileage::Time, 2, true),
                        u8(d, protocol::mileage::Minutes) == 0xFF
                            ? QStringLiteral("none")
                            : QString::number(u8(d, protocol::mileage::Minutes)));
        break;
    case protocol::cmd::Radar:
        for (int i = 0; i < 2 * protocol::radar::Sensors; ++i) {
            const int raw = u8(d, protocol::radar::Rear + i);
            int band = 0;
            while (band < protocol::radar::Bands && protocol::radar::bandTop(band) != raw)
                ++band;
            out << QStringLiteral("radar %1 %2")
                       .arg(RadarSensors.at(i), raw == 0 ? QStringLiteral("none")
                                                : band < protocol::radar::Bands
                                                    ? QString::number(band + 1)
                                                    : QStringLiteral("raw %1").arg(raw));
        }
        break;
    case protocol::cmd::Tyres: {
        namespace t = protocol::tyres;
        out << QStringLiteral("tyres %1")
                   .arg(u8(d, t::Status) & t::DataValid ? "valid" : "invalid");
        for (int w = 0; w < 4; ++w) {
            const int flags = u8(d, t::Alerts + w);
            out << QStringLiteral("tyre %1 pressure %2")
                       .arg(Wheels.at(w))
                       .arg(protocol::be16(d, t::Pressures + 2 * w))
                << QStringLiteral("tyre %1 alert %2")
                       .arg(Wheels.at(w), !(flags & t::AlertReported)  ? "none"
                                          : flags & t::AlertSecondKind ? "second"
                                          : flags & t::AlertFirstKind  ? "first"
                                                                       : "none");
        }
        break;
    }
    case protocol::cmd::Version:
        out << QStringLiteral("version \"%1\"").arg(QString::fromUtf8(d));
        break;
    }
    return out;
}

QString Car::help()
{
    QString text = QStringLiteral("the car in words, each sending the whole frame it changes "
                                  "(the frame in brackets):\n");
    for (const Word &w : Words) {
        const protocol::Command *c = protocol::command(protocol::ToHeadUnit, w.cmd);
        const QString frame = w.edit == key ? QStringLiteral("wheel 11 or panel 21")
                                            : QStringLiteral("%1 %2")
                                                  .arg(QLatin1String(c->name))
                                                  .arg(w.cmd, 2, 16, QLatin1Char('0'));
        const QStringList lines = QString::fromLatin1(w.usage).split(QLatin1Char('\n'));
        for (int i = 0; i < lines.size(); ++i)
            text += QStringLiteral("  %1%2\n")
                        .arg(lines.at(i), i == 0 ? QStringLiteral("  [%1]").arg(frame) : QString());
    }
    return text;
}

} // namespace tools
