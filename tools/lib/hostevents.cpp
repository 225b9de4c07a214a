#include "hostevents.h"

#include "canservicebase.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

#include <cmath>

namespace tools {

namespace {

struct EventInfo
{
    HostEvent event;
    const char *name;
    const char *signal;
};

constexpr EventInfo Events[] = {
    {HostEvent::Link, "link", "notifyCanbusStatus"},
    {HostEvent::Climate, "climate", "acStatusChanged"},
    {HostEvent::Doors, "doors", "doorChanged"},
    {HostEvent::Battery, "battery", "batteryVoltageAlert"},
    {HostEvent::Radar, "radar", "sigRadarChanged"},
    {HostEvent::TyreAlert, "tyreAlert", "tireAlert"},
    {HostEvent::Tyres, "tyres", "tireDataChanged"},
    {HostEvent::Key, "key", "keyEvent"},
    {HostEvent::Rotate, "rotate", "rotateChanged"},
    {HostEvent::Coolant, "coolant", "coolantemChanged"},
    {HostEvent::Info, "info", "otherInfoDataChanged"},
    {HostEvent::Fuel, "fuel", "fuelDataChanged"},
    {HostEvent::Driving, "driving", "drivingDataChanged"},
    {HostEvent::Version, "version", "sigVersionData"},
};

const EventInfo &info(HostEvent event)
{
    for (const EventInfo &e : Events) {
        if (e.event == event)
            return e;
    }
    return Events[0];
}

QString onOff(const QJsonObject &f, const char *key)
{
    return f.value(QLatin1String(key)).toBool() ? QStringLiteral("on") : QStringLiteral("off");
}

QString number(const QJsonValue &v)
{
    return QString::number(v.toDouble(), 'f', 1);
}

QString level(const QJsonValue &v)
{
    return v.toInt() == 255 ? QStringLiteral("-") : QString::number(v.toInt());
}

QJsonArray texts(std::initializer_list<QString> items)
{
    QJsonArray out;
    for (const QString &s : items)
        out.append(s);
    return out;
}

// Only the texts that are set, each with its place in the record.
QString listTexts(const QJsonArray &items)
{
    QStringList out;
    for (int i = 0; i < items.size(); ++i) {
        if (!items.at(i).toString().isEmpty())
            out << QStringLiteral("%1: %2").arg(i + 1).arg(items.at(i).toString());
    }
    return out.isEmpty() ? QStringLiteral("(no texts)") : out.join(QStringLiteral(", "));
}

QString keyStateName(int state)
{
    switch (state) {
    case 0:
        return QStringLiteral("press");
    case 1:
        return QStringLiteral("short");
    case 2:
        return QStringLiteral("long");
    case 3:
        return QStringLiteral("release");
    default:
        return QStringLiteral("state %1").arg(state);
    }
}

QString tyreStatus(int status)
{
    return status == 0 ? QStringLiteral("ok") : QStringLiteral("alert %1").arg(status);
}

} // namespace

EventPrinter::EventPrinter(CanServiceBase *service, QTextStream &out, bool json, QObject *parent)
    : QObject(parent), mService(service), mOut(out), mJson(json)
{
    mClock.start();
}

QString EventPrinter::eventName(HostEvent event)
{
    return QString::fromLatin1(info(event).name);
}

QJsonObject EventPrinter::keyFields(int code, int state, bool fromSteeringWheel)
{
    return {{"code", code},
            {"state", state},
            {"name", keyStateName(state)},
            {"source", fromSteeringWheel ? "wheel" : "panel"}};
}

QJsonObject EventPrinter::fields(HostEvent event) const
{
    CanServiceBase *s = mService;
    switch (event) {
    case HostEvent::Link:
        return {{"status", mLinkStatus}, {"up", mLinkStatus == 3}};
    case HostEvent::Climate:
        return {{"power", s->isPowerOff() == 0},
                {"ac", s->isAc() != 0},
                {"auto", s->isAuto() != 0},
                {"dual", s->isDual() != 0},
                {"rear", s->isRearClimate() != 0},
                {"inside", s->isInside() != 0},
                {"frontDefrost", s->isFrontDefrost() != 0},
                {"rearDefrost", s->isRearDefrost() != 0},
                {"temperature", double(s->getAcTemperature())},
                {"rightTemperature", double(s->getAcRightTemperature())},
                {"rearTemperature", double(s->getAcRearTemperature())},
                {"unit", s->getAcTemperatureUnit()},
                {"fan", s->getAcWindScale()},
                {"mode", s->getAcWindMode()},
                {"rearFan", s->getAcWindScaleRear()},
                {"rearMode", s->getAcWindModeRear()},
                {"leftHeat", s->getAcFrontLeftHeat()},
                {"rightHeat", s->getAcFrontRightHeat()},
                {"leftVentilation", s->getLeftVentilation()},
                {"rightVentilation", s->getRightVentilation()}};
    case HostEvent::Doors: {
        const QJsonObject doors{
            {"leftFront", s->isLeftFrontDoorOpen()}, {"rightFront", s->isRightFrontDoorOpen()},
            {"leftRear", s->isLeftRearDoorOpen()},   {"rightRear", s->isRightRearDoorOpen()},
            {"front", s->isFrontDoorOpen()},         {"rear", s->isRearDoorOpen()}};
        QJsonArray open;
        for (const char *name :
             {"leftFront", "rightFront", "leftRear", "rightRear", "front", "rear"}) {
            if (doors.value(QLatin1String(name)).toBool())
                open.append(QLatin1String(name));
        }
        QJsonObject f = doors;
        f.insert("status", s->getDoorStatus());
        f.insert("open", open);
        return f;
    }
    case HostEvent::Battery:
        return {{"alert", s->getBatteryVoltageAlertType()},
                {"voltage", double(s->getBatteryVoltageValue())},
                {"unit", s->getBatteryVoltageUnit()}};
    case HostEvent::Radar:
        return {
            {"front",
             QJsonArray{s->getFrontRadarLeftDistance(), s->getFrontRadarMiddleLeftDistance(),
                        s->getFrontRadarMiddleRightDistance(), s->getFrontRadarRightDistance()}},
            {"rear",
             QJsonArray{s->getRearRadarLeftDistance(), s->getRearRadarMiddleLeftDistance(),
                        s->getRearRadarMiddleRightDistance(), s->getRearRadarRightDistance()}}};
    case HostEvent::TyreAlert:
        return {{"alert", s->getTireAlertType()},
                {"fl", s->getTireStatusFL()},
                {"fr", s->getTireStatusFR()},
                {"rl", s->getTireStatusRL()},
                {"rr", s->getTireStatusRR()}};
    case HostEvent::Tyres:
        return {{"fl", double(s->getTirePressureValueFL())},
                {"fr", double(s->getTirePressureValueFR())},
                {"rl", double(s->getTirePressureValueRL())},
                {"rr", double(s->getTirePressureValueRR())},
                {"unit", s->getTireUnit()}};
    case HostEvent::Key:
        return {};
    case HostEvent::Rotate:
        return {{"rotate", s->getRotate()}};
    case HostEvent::Coolant:
        return {{"temperature", s->getCoolantTemp()}, {"unit", s->getCoolantTempUnit()}};
    case HostEvent::Info: {
        OtherInfoData d;
        s->getOtherInfoData(d);
        return {{"items", texts({d.item1, d.item2, d.item3, d.item4, d.item5, d.item6, d.item7,
                                 d.item8, d.item9})}};
    }
    case HostEvent::Fuel: {
        FuelConsumptionData d;
        s->getFuelConsumptionData(d);
        return {{"items", texts({d.item1, d.item2, d.item3, d.item4, d.item5, d.item6})}};
    }
    case HostEvent::Driving: {
        DrivingData d;
        s->getDrivingData(d);
        return {{"items", texts({d.item1, d.item2, d.item3, d.item4, d.item5, d.item6, d.item7,
                                 d.item8, d.item9, d.item10, d.item11, d.item12, d.item13, d.item14,
                                 d.item15, d.item16, d.item17, d.item18})}};
    }
    case HostEvent::Version:
        return {{"version", s->version()}};
    }
    return {};
}

QString EventPrinter::text(HostEvent event, const QJsonObject &f) const
{
    switch (event) {
    case HostEvent::Link:
        return f.value("up").toBool()
                   ? QStringLiteral("up")
                   : QStringLiteral("down (status %1)").arg(f.value("status").toInt());
    case HostEvent::Climate: {
        const QString unit = f.value("unit").toString();
        return QStringLiteral("power %1, AC %2, auto %3, dual %4, inside air %5, rear %6 | "
                              "%7%8 / %9%8, rear %10%8 | fan %11, mode %12 (rear %13, %14) | "
                              "defrost front %15, rear %16 | seats: left heat %17 vent %18, "
                              "right heat %19 vent %20")
            .arg(onOff(f, "power"), onOff(f, "ac"), onOff(f, "auto"), onOff(f, "dual"),
                 onOff(f, "inside"), onOff(f, "rear"), number(f.value("temperature")), unit,
                 number(f.value("rightTemperature")))
            .arg(number(f.value("rearTemperature")))
            .arg(f.value("fan").toInt())
            .arg(f.value("mode").toInt())
            .arg(f.value("rearFan").toInt())
            .arg(f.value("rearMode").toInt())
            .arg(onOff(f, "frontDefrost"), onOff(f, "rearDefrost"))
            .arg(f.value("leftHeat").toInt())
            .arg(f.value("leftVentilation").toInt())
            .arg(f.value("rightHeat").toInt())
            .arg(f.value("rightVentilation").toInt());
    }
    case HostEvent::Doors: {
        static const QHash<QString, QString> words{
            {"leftFront", "left front"}, {"rightFront", "right front"},
            {"leftRear", "left rear"},   {"rightRear", "right rear"},
            {"front", "front"},          {"rear", "rear"}};
        QStringList open;
        for (const QJsonValue &v : f.value("open").toArray())
            open << words.value(v.toString());
        return QStringLiteral("%1 (0x%2)")
            .arg(open.isEmpty() ? QStringLiteral("all closed")
                                : QStringLiteral("open: ") + open.join(QStringLiteral(", ")))
            .arg(f.value("status").toInt(), 2, 16, QLatin1Char('0'));
    }
    case HostEvent::Battery:
        return f.value("alert").toInt() ? QStringLiteral("voltage alert ON")
                                        : QStringLiteral("voltage alert off");
    case HostEvent::Radar: {
        QStringList front, rear;
        for (const QJsonValue &v : f.value("front").toArray())
            front << level(v);
        for (const QJsonValue &v : f.value("rear").toArray())
            rear << level(v);
        return QStringLiteral("front %1 | rear %2  (1 nearest .. 8 farthest, - none)")
            .arg(front.join(' '), rear.join(' '));
    }
    case HostEvent::TyreAlert:
        return QStringLiteral("%1: FL %2, FR %3, RL %4, RR %5")
            .arg(f.value("alert").toInt() ? QStringLiteral("ALERT") : QStringLiteral("no alert"),
                 tyreStatus(f.value("fl").toInt()), tyreStatus(f.value("fr").toInt()),
                 tyreStatus(f.value("rl").toInt()), tyreStatus(f.value("rr").toInt()));
    case HostEvent::Tyres:
        return QStringLiteral("FL %1, FR %2, RL %3, RR %4 %5")
            .arg(f.value("fl").toDouble())
            .arg(f.value("fr").toDouble())
            .arg(f.value("rl").toDouble())
            .arg(f.value("rr").toDouble())
            .arg(f.value("unit").toString())
            .trimmed();
    case HostEvent::Key:
        return QStringLiteral("0x%1 %2 %3")
            .arg(f.value("code").toInt(), 2, 16, QLatin1Char('0'))
            .arg(f.value("source").toString(), f.value("name").toString());
    case HostEvent::Rotate:
        return QString::number(f.value("rotate").toInt());
    case HostEvent::Coolant:
        return QString::number(f.value("temperature").toInt()) + f.value("unit").toString();
    case HostEvent::Info:
    case HostEvent::Fuel:
    case HostEvent::Driving:
        return listTexts(f.value("items").toArray());
    case HostEvent::Version:
        return QStringLiteral("\"%1\"").arg(f.value("version").toString());
    }
    return QString();
}

void EventPrinter::print(HostEvent event, QJsonObject f, bool dump)
{
    const double t = elapsed();
    if (mJson) {
        f.insert("event", eventName(event));
        f.insert("time", std::round(t * 1000.0) / 1000.0);
        if (dump)
            f.insert("dump", true);
        else
            f.insert("signal", QLatin1String(info(event).signal));
        mOut << QJsonDocument(f).toJson(QJsonDocument::Compact) << '\n';
    } else {
        mOut << (dump ? QStringLiteral("   state") : QString::asprintf("%8.3f", t)) << ' '
             << mPrefix << eventName(event).leftJustified(10) << text(event, f) << '\n';
    }
    mOut.flush();
}

void EventPrinter::note(const QString &event, const QJsonObject &fields, const QString &words)
{
    const double t = elapsed();
    if (mJson) {
        QJsonObject f = fields;
        f.insert("event", event);
        f.insert("time", std::round(t * 1000.0) / 1000.0);
        mOut << QJsonDocument(f).toJson(QJsonDocument::Compact) << '\n';
    } else {
        mOut << QString::asprintf("%8.3f ", t) << mPrefix << event.leftJustified(10) << words
             << '\n';
    }
    mOut.flush();
}

void EventPrinter::connectSignals()
{
    CanServiceBase *s = mService;
    connect(s, &CanServiceBase::notifyCanbusStatus, this, [this](int status) {
        mLinkStatus = status;
        print(HostEvent::Link, fields(HostEvent::Link));
    });
    connect(s, &CanServiceBase::keyEvent, this, [this](int code, int state, bool wheel) {
        print(HostEvent::Key, keyFields(code, state, wheel));
    });
    const auto plain = [this, s](void (CanServiceBase::*signal)(), HostEvent event) {
        connect(s, signal, this, [this, event] { print(event, fields(event)); });
    };
    plain(&CanServiceBase::acStatusChanged, HostEvent::Climate);
    plain(&CanServiceBase::doorChanged, HostEvent::Doors);
    plain(&CanServiceBase::batteryVoltageAlert, HostEvent::Battery);
    plain(&CanServiceBase::sigRadarChanged, HostEvent::Radar);
    plain(&CanServiceBase::tireAlert, HostEvent::TyreAlert);
    plain(&CanServiceBase::tireDataChanged, HostEvent::Tyres);
    plain(&CanServiceBase::rotateChanged, HostEvent::Rotate);
    plain(&CanServiceBase::coolantemChanged, HostEvent::Coolant);
    plain(&CanServiceBase::otherInfoDataChanged, HostEvent::Info);
    plain(&CanServiceBase::fuelDataChanged, HostEvent::Fuel);
    plain(&CanServiceBase::drivingDataChanged, HostEvent::Driving);
    plain(&CanServiceBase::sigVersionData, HostEvent::Version);
}

void EventPrinter::dumpState()
{
    for (const EventInfo &e : Events) {
        if (e.event != HostEvent::Key)
            print(e.event, fields(e.event), true);
    }
}

} // namespace tools
