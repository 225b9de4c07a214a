#include "monitorcore.h"

#include "canservicebase.h"
#include "car.h"
#include "hostsetup.h"
#include "links.h"
#include "pluginload.h"
#include "protocol.h"
#include "scenario.h"
#include "serialport.h"
#include "simulator.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QJsonArray>
#include <QScreen>
#include <QTemporaryDir>

#include <cstdio>

namespace monitor {

using tools::HostEvent;

// What the simulated adapter writes, passed on to the pseudo-terminal unless the line is cut;
// while cut, the head unit's bytes are not heard either, as with a pulled cable.
class GateLink : public tools::AdapterLink
{
public:
    explicit GateLink(std::unique_ptr<tools::PtyLink> inner) : mInner(std::move(inner))
    {
        connect(mInner.get(), &tools::AdapterLink::received, this, [this](const QByteArray &b) {
            if (!mCut)
                emit received(b);
        });
    }
    void write(const QByteArray &bytes) override
    {
        if (!mCut)
            mInner->write(bytes);
    }
    QString description() const override { return mInner->description(); }
    QString devicePath() const { return mInner->devicePath(); }
    bool cut() const { return mCut; }
    void setCut(bool cut) { mCut = cut; }

private:
    std::unique_ptr<tools::PtyLink> mInner;
    bool mCut = false;
};

// The simulator's printed lines, one message() each.
class LineSink : public QIODevice
{
public:
    explicit LineSink(MonitorCore *core) : mCore(core) { open(QIODevice::WriteOnly); }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        mPending.append(data, int(size));
        for (int end; (end = mPending.indexOf('\n')) >= 0; mPending.remove(0, end + 1))
            emit mCore->message(QString::fromUtf8(mPending.left(end)));
        return size;
    }

private:
    MonitorCore *mCore;
    QByteArray mPending;
};

namespace {

const QStringList DoorNames = {"front-left", "front-right", "rear-left",
                               "rear-right", "bonnet",      "boot"};
const QStringList Sensors = {"left", "middle-left", "middle-right", "right"};
const QStringList Wheels = {"fl", "fr", "rl", "rr"};
const QStringList WheelNames = {"front-left", "front-right", "rear-left", "rear-right"};

QString openText(bool open)
{
    return open ? QStringLiteral("open") : QStringLiteral("closed");
}

// A sensor's raw distance as a level: 1 nearest .. 8, 255 for none.
int radarLevel(quint8 raw)
{
    if (raw == 0)
        return 255;
    int band = 0;
    while (band < protocol::radar::Bands - 1 && raw > protocol::radar::bandTop(band))
        ++band;
    return band + 1;
}

double temperature(quint8 code)
{
    return code == protocol::climate::Low    ? -100
           : code == protocol::climate::High ? -101
                                             : code * 0.5;
}

} // namespace

MonitorCore::MonitorCore(QObject *parent) : QObject(parent), mNowhereOut(&mNowhere)
{
    mClock.start();
    const QScreen *screen = QGuiApplication::primaryScreen();
    const qreal hz = screen ? screen->refreshRate() : 60;
    mTick.setInterval(int(1000 / qBound<qreal>(10, hz, 120)));
    connect(&mTick, &QTimer::timeout, this, &MonitorCore::refresh);
}

MonitorCore::~MonitorCore()
{
    mTick.stop();
    if (mService)
        mService->stop();
    delete mInstance; // the host owns the service
    mSimulator.reset();
    mGate.reset();
}

bool MonitorCore::open(const Options &o, QString *error)
{
    const auto fail = [error](const QString &why) {
        *error = why;
        return false;
    };
    QString why;
    if (!tools::setPluginLog(o.log, &why) ||
        !tools::setVehicleModel(o.modelIndex, o.modelId, &why))
        return fail(why);
    mDir = std::make_unique<QTemporaryDir>();
    if (!mDir->isValid())
        return fail(QStringLiteral("cannot make a temporary folder: %1").arg(mDir->errorString()));
    if (!o.driver.isEmpty()) {
        if (o.driver != QLatin1String("left") && o.driver != QLatin1String("right"))
            return fail(QStringLiteral("--driver is left or right, not '%1'").arg(o.driver));
        mLeftHand = o.driver == QLatin1String("left");
        if (!tools::setDriverPosition(mLeftHand, &why))
            return fail(why);
    }
    if (!o.translations.isEmpty())
        tools::setTranslations(o.translations);
    if (!o.scenario.isEmpty() && !o.simulate)
        return fail(QStringLiteral("--scenario plays on the simulated adapter: add --simulate"));
    if (o.simulate && !o.port.isEmpty())
        return fail(QStringLiteral("--simulate makes its own port: leave out --port"));

    if (o.simulate) {
        tools::Scenario scenario;
        if (!o.scenario.isEmpty()) {
            QFile file(o.scenario);
            if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
                return fail(
                    QStringLiteral("cannot read %1: %2").arg(o.scenario, file.errorString()));
            tools::ParseError parseError;
            if (!tools::Scenario::parse(QString::fromUtf8(file.readAll()), &scenario, &parseError))
                return fail(parseError.toString(o.scenario));
        }
        std::unique_ptr<tools::PtyLink> pty =
            tools::PtyLink::create(mDir->path() + QStringLiteral("/adapter"), &why);
        if (!pty)
            return fail(why);
        mGate = std::make_unique<GateLink>(std::move(pty));
        mSink = std::make_unique<LineSink>(this);
        mSinkOut = std::make_unique<QTextStream>(mSink.get());
        mSinkOut->setCodec("UTF-8");
        tools::AdapterSimulator::Options simOptions;
        simOptions.linger = true;
        mSimulator = std::make_unique<tools::AdapterSimulator>(mGate.get(), *mSinkOut, simOptions);
        if (!o.scenario.isEmpty())
            mSimulator->setScenario(scenario, o.scenario);
        qputenv("CANSERVICE_SERIAL_PORT", QFile::encodeName(mGate->devicePath()));
    } else if (!o.port.isEmpty()) {
        qputenv("CANSERVICE_SERIAL_PORT", QFile::encodeName(o.port));
    }

    mService = tools::loadService(QFileInfo(o.plugin).absoluteFilePath(), &mLoader, &why);
    if (!mService)
        return fail(why);
    mInstance = mLoader.instance();

    mPrinter = std::make_unique<tools::EventPrinter>(mService, mNowhereOut, false);
    if (canservice::SerialPort *serial = canservice::SerialPort::latest()) {
        mPortName = serial->portName();
        connect(serial, &canservice::SerialPort::read, &mCounters,
                &tools::LinkCounters::fromAdapter);
        connect(serial, &canservice::SerialPort::written, &mCounters,
                [this](const QByteArray &bytes) { mCounters.fromHeadUnit(bytes); });
        connect(serial, &canservice::SerialPort::read, this, [this](const QByteArray &chunk) {
            for (const protocol::Reader::Item &item : mFromAdapter.feed(chunk, mCounters.nowMs())) {
                if (item.kind == protocol::Reader::Item::Frame ||
                    item.kind == protocol::Reader::Item::BadChecksum)
                    noteFrame(true, item.cmd, item.kind == protocol::Reader::Item::Frame,
                              item.bytes);
            }
        });
        // The head unit writes whole frames, one a call.
        connect(serial, &canservice::SerialPort::written, this, [this](const QByteArray &bytes) {
            noteFrame(false, protocol::u8(bytes, protocol::CommandAt), true, bytes);
        });
    }
    connect(mService, &CanServiceBase::notifyCanbusStatus, &mCounters,
            &tools::LinkCounters::linkStatus);
    connect(mService, &CanServiceBase::notifyCanbusStatus, this,
            [this] { stale(HostEvent::Link); });
    connect(mService, &CanServiceBase::keyEvent, this, [this](int code, int state, bool wheel) {
        mKeys.append({elapsed(), code, state, wheel});
        while (mKeys.size() > 6)
            mKeys.removeFirst();
        stale(HostEvent::Key);
    });
    const auto mark = [this](void (CanServiceBase::*signal)(), HostEvent event) {
        connect(mService, signal, this, [this, event] { stale(event); });
    };
    mark(&CanServiceBase::acStatusChanged, HostEvent::Climate);
    mark(&CanServiceBase::doorChanged, HostEvent::Doors);
    mark(&CanServiceBase::batteryVoltageAlert, HostEvent::Battery);
    mark(&CanServiceBase::sigRadarChanged, HostEvent::Radar);
    mark(&CanServiceBase::tireAlert, HostEvent::TyreAlert);
    mark(&CanServiceBase::tireDataChanged, HostEvent::Tyres);
    mark(&CanServiceBase::rotateChanged, HostEvent::Rotate);
    mark(&CanServiceBase::coolantemChanged, HostEvent::Coolant);
    mark(&CanServiceBase::otherInfoDataChanged, HostEvent::Info);
    mark(&CanServiceBase::fuelDataChanged, HostEvent::Fuel);
    mark(&CanServiceBase::drivingDataChanged, HostEvent::Driving);
    mark(&CanServiceBase::sigVersionData, HostEvent::Version);

    mService->start();
    if (mSimulator)
        mSimulator->start();
    mTick.start(); // its first tick reads every part: all start stale
    return true;
}

double MonitorCore::secondsSinceFrame() const
{
    qint64 last = -1;
    for (const tools::LinkCounters::Frames &f : mCounters.frames())
        last = qMax(last, f.lastMs);
    return last < 0 ? -1 : (mCounters.nowMs() - last) / 1000.0;
}

void MonitorCore::noteFrame(bool fromAdapter, int cmd, bool good, const QByteArray &bytes)
{
    mFrames.append({mCounters.nowMs(), fromAdapter, cmd, good, bytes});
    mLineStale = true;
    if (mFrames.size() > 200)
        mFrames.erase(mFrames.begin(), mFrames.begin() + 100);
}

void MonitorCore::command(const QString &words)
{
    if (mSimulator)
        mSimulator->command(words);
}

void MonitorCore::setLinkCut(bool cut)
{
    if (mGate)
        mGate->setCut(cut);
}

bool MonitorCore::linkCut() const
{
    return mGate && mGate->cut();
}

const tools::Car *MonitorCore::car() const
{
    return mSimulator ? &mSimulator->car() : nullptr;
}

bool MonitorCore::carDoorOpen(const QString &door) const
{
    namespace b = protocol::body;
    const quint8 bits[] = {b::LeftFrontDoor, b::RightFrontDoor, b::LeftRearDoor,
                           b::RightRearDoor, b::FrontDoor,      b::RearDoor};
    const int which = DoorNames.indexOf(door);
    return mSimulator && which >= 0 &&
           (protocol::u8(mSimulator->car().data(protocol::cmd::Body), b::Doors) & bits[which]);
}

double MonitorCore::carClimate(const QString &word) const
{
    namespace c = protocol::climate;
    if (!mSimulator)
        return 0;
    const QByteArray d = mSimulator->car().data(protocol::cmd::Climate);
    const quint8 flags = protocol::u8(d, c::Flags);
    const QHash<QString, double> values{
        {"power", !(flags & c::PowerOff)},
        {"ac", (flags & c::Ac) != 0},
        {"auto", (flags & c::Auto) != 0},
        {"dual", (flags & c::DualMask) == c::Dual},
        {"rear", (flags & c::Rear) != 0},
        {"inside", (protocol::u8(d, c::Air) & c::Inside) != 0},
        {"defrost-front", (protocol::u8(d, c::Seats) & c::FrontDefrost) != 0},
        {"defrost-rear", (protocol::u8(d, c::Seats) & c::RearDefrost) != 0},
        {"temp-left", temperature(protocol::u8(d, c::Left))},
        {"temp-right", temperature(protocol::u8(d, c::Right))},
        {"fan", protocol::u8(d, c::Fan)}};
    return values.value(word);
}

QString MonitorCore::toggleDoorWords(const QString &part) const
{
    const int which = DoorNames.indexOf(part.mid(5));
    if (!mSimulator || !part.startsWith(QLatin1String("door.")) || which < 0)
        return QString();
    // The car's words name the adapter's bits: its front doors swap with the driver's side.
    const QString door = DoorNames.at(which < 2 && !mLeftHand ? 1 - which : which);
    return QStringLiteral("door %1 %2").arg(door, carDoorOpen(door) ? "closed" : "open");
}

tools::AdapterLink *MonitorCore::adapterLink() const
{
    return mGate.get();
}

void MonitorCore::sample(const QString &series, double value)
{
    const auto last = mLastSample.constFind(series);
    if (last != mLastSample.constEnd() && *last == value)
        return;
    mLastSample.insert(series, value);
    mNewPoints.insert(series, QPointF(elapsed(), value));
}

void MonitorCore::refresh()
{
    mNewPoints.clear();
    const qint64 now = mCounters.nowMs();
    const quint32 stale = mStale;
    mStale = 0;
    const auto isStale = [stale](HostEvent e) { return stale & (1u << int(e)); };
    // Plotted only once the plugin has had a frame: before it, a getter's 0 is no value.
    const auto plotted = [this, &isStale](HostEvent e, int cmd) {
        return isStale(e) && mCounters.frames().contains(cmd);
    };
    for (int e = int(HostEvent::Link); e <= int(HostEvent::Version); ++e) {
        if (isStale(HostEvent(e)) && HostEvent(e) != HostEvent::Key &&
            HostEvent(e) != HostEvent::Link)
            mState.insert(e, mPrinter->fields(HostEvent(e)));
    }
    if (isStale(HostEvent::Radar)) {
        CanServiceBase *s = mService;
        QJsonObject radar = mState.value(int(HostEvent::Radar));
        radar.insert(
            "left", QJsonArray{s->getLeftRadarFrontDistance(), s->getLeftRadarMiddleFrontDistance(),
                               s->getLeftRadarMiddleRearDistance(), s->getLeftRadarRearDistance()});
        radar.insert("right", QJsonArray{s->getRightRadarFrontDistance(),
                                         s->getRightRadarMiddleFrontDistance(),
                                         s->getRightRadarMiddleRearDistance(),
                                         s->getRightRadarRearDistance()});
        mState.insert(int(HostEvent::Radar), radar);
    }
    if (plotted(HostEvent::Radar, protocol::cmd::Radar)) {
        const QJsonObject radar = mState.value(int(HostEvent::Radar));
        for (const char *side : {"front", "rear"}) {
            const QJsonArray levels = radar.value(QLatin1String(side)).toArray();
            for (int i = 0; i < Sensors.size(); ++i) {
                const int level = levels.at(i).toInt();
                // No reading plotted one past the farthest band.
                sample(QStringLiteral("radar.%1-%2").arg(QLatin1String(side), Sensors.at(i)),
                       level >= 1 && level <= 8 ? level : 9);
            }
        }
    }
    if (plotted(HostEvent::Tyres, protocol::cmd::Tyres)) {
        const QJsonObject t = mState.value(int(HostEvent::Tyres));
        for (const QString &w : Wheels)
            sample(QStringLiteral("tyre.") + w, t.value(w).toDouble());
    }
    if (plotted(HostEvent::Climate, protocol::cmd::Climate)) {
        const QJsonObject c = mState.value(int(HostEvent::Climate));
        // The low and high markers are no temperatures.
        for (const char *which : {"temperature", "rightTemperature"}) {
            const double t = c.value(QLatin1String(which)).toDouble();
            if (t > -100)
                sample(which[0] == 't' ? QStringLiteral("temp.left") : QStringLiteral("temp.right"),
                       t);
        }
    }
    if (plotted(HostEvent::Rotate, protocol::cmd::CarInfo) &&
        mState.value(int(HostEvent::Rotate)).value("rotate").toInt() >= 0)
        sample(QStringLiteral("rotate"),
               mState.value(int(HostEvent::Rotate)).value("rotate").toInt());
    if (plotted(HostEvent::Coolant, protocol::cmd::CarInfo))
        sample(QStringLiteral("coolant"),
               mState.value(int(HostEvent::Coolant)).value("temperature").toInt());

    int marked = mDifferences.size();
    if (mSimulator) {
        QHash<QString, qint64> since;
        mDifferences.clear();
        for (const Difference &d : compare()) {
            const qint64 from = mDifferingSince.value(d.part, now);
            since.insert(d.part, from);
            if (now - from >= mGraceMs)
                mDifferences.append(d);
        }
        mDifferingSince.swap(since);
        marked -= mDifferences.size();
    }
    if (stale == 0 && !mLineStale && marked == 0 && mDifferences.isEmpty() &&
        now - mLastRefreshMs < 250)
        return;
    mLineStale = false;
    mLastRefreshMs = now;
    ++mRefreshes;
    emit refreshed();
}

// What the car was told against what the getters say, part by part; only for frames the
// plugin has had at least once, since before its first frame it holds no value at all.
QList<Difference> MonitorCore::compare() const
{
    QList<Difference> out;
    const tools::Car &car = mSimulator->car();
    const QMap<int, tools::LinkCounters::Frames> &seen = mCounters.frames();
    const auto differ = [&out](const QString &part, const QString &told, const QString &decoded) {
        if (told != decoded)
            out.append({part, told, decoded});
    };
    CanServiceBase *s = mService;
    if (seen.contains(protocol::cmd::Body)) {
        namespace b = protocol::body;
        const QByteArray body = car.data(protocol::cmd::Body);
        const quint8 doors = protocol::u8(body, b::Doors);
        // The front doors' bits swap with the driver's side.
        const quint8 left = mLeftHand ? b::LeftFrontDoor : b::RightFrontDoor;
        const quint8 right = mLeftHand ? b::RightFrontDoor : b::LeftFrontDoor;
        const quint8 bits[] = {left,         right,      b::LeftRearDoor, b::RightRearDoor,
                               b::FrontDoor, b::RearDoor};
        const bool decoded[] = {s->isLeftFrontDoorOpen(), s->isRightFrontDoorOpen(),
                                s->isLeftRearDoorOpen(),  s->isRightRearDoorOpen(),
                                s->isFrontDoorOpen(),     s->isRearDoorOpen()};
        for (int i = 0; i < DoorNames.size(); ++i)
            differ(QStringLiteral("door.") + DoorNames.at(i), openText(doors & bits[i]),
                   openText(decoded[i]));
        differ(QStringLiteral("battery"),
               (protocol::u8(body, b::Alerts) & b::BatteryAlert) ? QStringLiteral("alert")
                                                                 : QStringLiteral("ok"),
               s->getBatteryVoltageAlertType() ? QStringLiteral("alert") : QStringLiteral("ok"));
    }
    if (seen.contains(protocol::cmd::Climate)) {
        namespace c = protocol::climate;
        const QByteArray climate = car.data(protocol::cmd::Climate);
        const quint8 flags = protocol::u8(climate, c::Flags);
        const auto text = [](bool power, bool ac, bool autoOn, double left, double right) {
            return QStringLiteral("power %1, AC %2, auto %3, %4 / %5")
                .arg(power ? "on" : "off", ac ? "on" : "off", autoOn ? "on" : "off")
                .arg(left)
                .arg(right);
        };
        differ(QStringLiteral("climate"),
               text(!(flags & c::PowerOff), flags & c::Ac, flags & c::Auto,
                    temperature(protocol::u8(climate, c::Left)),
                    temperature(protocol::u8(climate, c::Right))),
               text(s->isPowerOff() == 0, s->isAc(), s->isAuto(), double(s->getAcTemperature()),
                    double(s->getAcRightTemperature())));
    }
    if (seen.contains(protocol::cmd::Radar)) {
        const QByteArray radar = car.data(protocol::cmd::Radar);
        const int decoded[] = {
            s->getFrontRadarLeftDistance(),        s->getFrontRadarMiddleLeftDistance(),
            s->getFrontRadarMiddleRightDistance(), s->getFrontRadarRightDistance(),
            s->getRearRadarLeftDistance(),         s->getRearRadarMiddleLeftDistance(),
            s->getRearRadarMiddleRightDistance(),  s->getRearRadarRightDistance()};
        for (int i = 0; i < 8; ++i) {
            const int at = (i < 4 ? protocol::radar::Front : protocol::radar::Rear) + i % 4;
            differ(QStringLiteral("radar.%1-%2").arg(i < 4 ? "front" : "rear", Sensors.at(i % 4)),
                   QString::number(radarLevel(protocol::u8(radar, at))),
                   QString::number(decoded[i]));
        }
    }
    if (seen.contains(protocol::cmd::Tyres)) {
        namespace t = protocol::tyres;
        const QByteArray tyres = car.data(protocol::cmd::Tyres);
        if (protocol::u8(tyres, t::Status) & t::DataValid) {
            const int alerts[] = {s->getTireStatusFL(), s->getTireStatusFR(), s->getTireStatusRL(),
                                  s->getTireStatusRR()};
            const float pressures[] = {s->getTirePressureValueFL(), s->getTirePressureValueFR(),
                                       s->getTirePressureValueRL(), s->getTirePressureValueRR()};
            for (int w = 0; w < 4; ++w) {
                const quint8 flags = protocol::u8(tyres, t::Alerts + w);
                const int alert = !(flags & t::AlertReported)    ? 0
                                  : (flags & t::AlertSecondKind) ? 2
                                  : (flags & t::AlertFirstKind)  ? 1
                                                                 : 0;
                differ(QStringLiteral("tyre.") + WheelNames.at(w),
                       QStringLiteral("alert %1, %2")
                           .arg(alert)
                           .arg(protocol::be16(tyres, t::Pressures + 2 * w)),
                       QStringLiteral("alert %1, %2").arg(alerts[w]).arg(double(pressures[w])));
            }
        }
    }
    return out;
}

} // namespace monitor
