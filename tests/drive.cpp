#include "drive.h"

#include <QFile>
#include <QHash>
#include <QLoggingCategory>

#include <cstdio>
#include <functional>
#include <unistd.h>

using canservice::SimpleService;

namespace qvxtest {

namespace {

// Every value query of the service, by name.
// clang-format off
#define QVX_GETTERS(X)                                                                             \
    X(version) X(getRotate) X(getCoolantTemp) X(getCoolantTempUnit) X(getDoorStatus)               \
    X(isFrontDoorOpen) X(isRearDoorOpen) X(isLeftRearDoorOpen) X(isRightRearDoorOpen)              \
    X(isLeftFrontDoorOpen) X(isRightFrontDoorOpen) X(getTireAlertType) X(getTireStatusFL)          \
    X(getTireStatusFR) X(getTireStatusRL) X(getTireStatusRR) X(getTirePressureValueFL)             \
    X(getTirePressureValueFR) X(getTirePressureValueRL) X(getTirePressureValueRR) X(getTireUnit)   \
    X(getBatteryVoltageValue) X(getBatteryVoltageUnit) X(getBatteryVoltageAlertType) X(isPowerOff) \
    X(isPowerOffRear) X(isRearClimate) X(isAcMax) X(isAc) X(isInside) X(isAuto) X(isDual)          \
    X(isRearDefrost) X(isFrontDefrost) X(getAcFrontLeftHeat) X(getAcFrontRightHeat)                \
    X(getAcRearLeftHeat) X(getAcRearRightHeat) X(isAcSwcHeat) X(isAcGlassHeat) X(isAirCareActive)  \
    X(getAirConProfile) X(getLeftVentilation) X(getRightVentilation) X(getAcWindMode)              \
    X(getAcWindScale) X(getAcWindModeRear) X(getAcWindScaleRear) X(getAcTemperature)               \
    X(getAcRightTemperature) X(getAcRearTemperature) X(getAcTemperatureIndex)                      \
    X(getAcRightTemperatureIndex) X(getAcRearTemperatureIndex) X(getAcTemperatureUnit)             \
    X(getAcRightTemperatureUnit) X(isSupportAc) X(getFrontRadarLeftDistance)                       \
    X(getFrontRadarMiddleLeftDistance) X(getFrontRadarMiddleRightDistance)                         \
    X(getFrontRadarRightDistance) X(getRearRadarLeftDistance) X(getRearRadarMiddleLeftDistance)    \
    X(getRearRadarMiddleRightDistance) X(getRearRadarRightDistance) X(getLeftRadarFrontDistance)   \
    X(getLeftRadarMiddleFrontDistance) X(getLeftRadarMiddleRearDistance)                           \
    X(getLeftRadarRearDistance) X(getRightRadarFrontDistance) X(getRightRadarMiddleFrontDistance)  \
    X(getRightRadarMiddleRearDistance) X(getRightRadarRearDistance)
// clang-format on

// A getter's value as the script writes it: true, 3, 22.5, a text.
template <typename T> QString text(T value)
{
    return QVariant::fromValue(value).toString();
}

// Texts joined by '|', the empty ones at the end left out.
QString joined(QStringList items)
{
    while (!items.isEmpty() && items.last().isEmpty())
        items.removeLast();
    return items.join(QLatin1Char('|'));
}

// Several getters in one value, in the order the frames carry them.
QString levels(std::initializer_list<int> values)
{
    QStringList out;
    for (int v : values)
        out << QString::number(v);
    return out.join(QLatin1Char(' '));
}

QString doors(SimpleService &s)
{
    QStringList open;
    const QPair<const char *, bool> all[] = {
        {"front", s.isFrontDoorOpen()},         {"rear", s.isRearDoorOpen()},
        {"leftFront", s.isLeftFrontDoorOpen()}, {"rightFront", s.isRightFrontDoorOpen()},
        {"leftRear", s.isLeftRearDoorOpen()},   {"rightRear", s.isRightRearDoorOpen()}};
    for (const auto &door : all) {
        if (door.second)
            open << QLatin1String(door.first);
    }
    return open.join(QLatin1Char(' '));
}

QString radar(SimpleService &s)
{
    return levels({s.getFrontRadarLeftDistance(), s.getFrontRadarMiddleLeftDistance(),
                   s.getFrontRadarMiddleRightDistance(), s.getFrontRadarRightDistance()}) +
           " | " +
           levels({s.getRearRadarLeftDistance(), s.getRearRadarMiddleLeftDistance(),
                   s.getRearRadarMiddleRightDistance(), s.getRearRadarRightDistance()}) +
           " | " +
           levels({s.getLeftRadarFrontDistance(), s.getLeftRadarMiddleFrontDistance(),
                   s.getLeftRadarMiddleRearDistance(), s.getLeftRadarRearDistance(),
                   s.getRightRadarFrontDistance(), s.getRightRadarMiddleFrontDistance(),
                   s.getRightRadarMiddleRearDistance(), s.getRightRadarRearDistance()});
}

// The climate flags and seat levels that are not zero.
QString climateFlags(SimpleService &s)
{
    const QPair<const char *, int> all[] = {{"powerOff", s.isPowerOff()},
                                            {"rearClimate", s.isRearClimate()},
                                            {"ac", s.isAc()},
                                            {"inside", s.isInside()},
                                            {"auto", s.isAuto()},
                                            {"dual", s.isDual()},
                                            {"rearDefrost", s.isRearDefrost()},
                                            {"frontDefrost", s.isFrontDefrost()},
                                            {"leftHeat", s.getAcFrontLeftHeat()},
                                            {"rightHeat", s.getAcFrontRightHeat()},
                                            {"leftVent", s.getLeftVentilation()},
                                            {"rightVent", s.getRightVentilation()},
                                            {"powerOffRear", s.isPowerOffRear()},
                                            {"acMax", s.isAcMax()},
                                            {"rearLeftHeat", s.getAcRearLeftHeat()},
                                            {"rearRightHeat", s.getAcRearRightHeat()},
                                            {"swcHeat", s.isAcSwcHeat()},
                                            {"glassHeat", s.isAcGlassHeat()},
                                            {"airCare", s.isAirCareActive()},
                                            {"profile", s.getAirConProfile()}};
    QStringList out;
    for (const auto &flag : all) {
        if (flag.second != 0)
            out << QStringLiteral("%1:%2").arg(QLatin1String(flag.first)).arg(flag.second);
    }
    return out.join(QLatin1Char(' '));
}

const QHash<QString, std::function<QString(SimpleService &)>> &queries()
{
#define QVX_QUERY(name) {QStringLiteral(#name), [](SimpleService &s) { return text(s.name()); }},
    static const QHash<QString, std::function<QString(SimpleService &)>> table = {
        QVX_GETTERS(QVX_QUERY){
            QStringLiteral("fuel"),
            [](SimpleService &s) {
                FuelConsumptionData f;
                s.getFuelConsumptionData(f);
                return joined({f.item1, f.item2, f.item3, f.item4, f.item5, f.item6});
            }},
        {QStringLiteral("doors"), doors},
        {QStringLiteral("radar"), radar},
        {QStringLiteral("climateFlags"), climateFlags},
        {QStringLiteral("tyres"),
         [](SimpleService &s) {
             return levels({s.getTireAlertType(), s.getTireStatusFL(), s.getTireStatusFR(),
                            s.getTireStatusRL(), s.getTireStatusRR()});
         }},
        {QStringLiteral("pressures"),
         [](SimpleService &s) {
             return text(s.getTirePressureValueFL()) + ' ' + text(s.getTirePressureValueFR()) +
                    ' ' + text(s.getTirePressureValueRL()) + ' ' + text(s.getTirePressureValueRR());
         }},
        {QStringLiteral("driving"),
         [](SimpleService &s) {
             DrivingData d;
             s.getDrivingData(d);
             return joined({d.item1, d.item2, d.item3, d.item4, d.item5, d.item6, d.item7, d.item8,
                            d.item9, d.item10, d.item11, d.item12, d.item13, d.item14, d.item15,
                            d.item16, d.item17, d.item18});
         }},
        {QStringLiteral("other"),
         [](SimpleService &s) {
             OtherInfoData o;
             s.getOtherInfoData(o);
             return joined(
                 {o.item1, o.item2, o.item3, o.item4, o.item5, o.item6, o.item7, o.item8, o.item9});
         }},
    };
#undef QVX_QUERY
    return table;
}

QStringList *sErrors = nullptr;

void handler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtCriticalMsg || !sErrors || !message.startsWith(QLatin1String("[ERR]")))
        return;
    // "void canservice::SimpleService::doDoor(int, QByteArray&)" -> "doDoor"
    QString function = QString::fromLatin1(context.function);
    function = function.left(function.indexOf(QLatin1Char('(')));
    function = function.mid(function.lastIndexOf(QLatin1Char(':')) + 1);
    const int at = message.indexOf(QLatin1String(" --"));
    const QString said = at < 0 ? QString() : message.mid(at + 3).trimmed();
    *sErrors << (said.isEmpty() ? function : function + ": " + said);
}

// Splits on spaces; "..." keeps spaces inside one token.
QStringList tokens(const QString &text)
{
    QStringList out;
    QString current;
    bool quoted = false, any = false;
    for (const QChar c : text) {
        if (c == QLatin1Char('"')) {
            quoted = !quoted;
            any = true;
        } else if (c == QLatin1Char(' ') && !quoted) {
            if (any)
                out << current;
            current.clear();
            any = false;
        } else {
            current += c;
            any = true;
        }
    }
    if (any)
        out << current;
    return out;
}

QStringList steps(const QString &script)
{
    QStringList out;
    for (const QString &s : script.split(QLatin1Char(';'))) {
        if (!s.trimmed().isEmpty())
            out << s.simplified();
    }
    return out;
}

bool isExpectation(const QString &step)
{
    return step.contains(QLatin1Char('='));
}

QString take(QStringList &list, const QString &separator)
{
    const QString out = list.join(separator);
    list.clear();
    return out;
}

} // namespace

static Messages *sMessages = nullptr;

Messages::Messages()
{
    sMessages = this;
    mPrevious =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &c, const QString &m) {
            if (!sMessages)
                return;
            sMessages->lines << m;
            sMessages->contexts << Context{type, QString::fromUtf8(c.file),
                                           QString::fromUtf8(c.function),
                                           QString::fromUtf8(c.category), c.line};
        });
}

Messages::~Messages()
{
    qInstallMessageHandler(mPrevious);
    sMessages = nullptr;
}

QByteArray frameData(quint8 cmd, const QString &notation)
{
    QByteArray data;
    int at = -1;
    for (const QString &t : notation.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (t.startsWith(QLatin1String(".."))) {
            const char pad = t.size() > 2 ? char(t.mid(2).toInt(nullptr, 16)) : '\0';
            const protocol::Command *c = protocol::command(protocol::ToHeadUnit, cmd);
            if (c && c->length > data.size())
                data.append(QByteArray(c->length - data.size(), pad));
        } else if (t.startsWith(QLatin1Char('@'))) {
            at = t.mid(1).toInt();
        } else {
            const QByteArray bytes = QByteArray::fromHex(t.toLatin1());
            if (at < 0) {
                data.append(bytes);
            } else {
                data.replace(at, bytes.size(), bytes);
                at += bytes.size();
            }
        }
    }
    return data;
}

QByteArray standardOutput(const std::function<void()> &fn)
{
    fflush(stdout);
    FILE *file = tmpfile();
    if (!file)
        return QByteArrayLiteral("(no temporary file for standard output)");
    const int saved = dup(STDOUT_FILENO);
    dup2(fileno(file), STDOUT_FILENO);
    fn();
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    ::close(saved);
    QByteArray out;
    rewind(file);
    char buffer[4096];
    for (size_t n; (n = fread(buffer, 1, sizeof buffer, file)) > 0;)
        out.append(buffer, int(n));
    fclose(file);
    return out;
}

Drive::Drive(bool quiet) : mQuiet(quiet)
{
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
    qputenv("CANSERVICE_NVM_ROOT", mNvm.path().toUtf8());
    CanBusManager::instance()->setCarModelId(0);
    CanBusManager::instance()->setQvxCarModelIndex(0);
    if (mQuiet) {
        QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
        sErrors = &errors;
        mPreviousHandler = qInstallMessageHandler(handler);
    }

    service = std::make_unique<SimpleService>();
    port = canservice::SerialPort::latest();
    QObject::connect(port, &canservice::SerialPort::written, [this](QByteArray b, bool flag) {
        const quint8 cmd = protocol::u8(b, protocol::CommandAt);
        if (cmd == protocol::cmd::Ack || cmd == protocol::cmd::Nak)
            answers << QString::asprintf(
                "%s:%02x", cmd == protocol::cmd::Ack ? "ack" : "nak",
                protocol::u8(b, protocol::DataAt + protocol::ack::Command));
        else
            sent << (flag ? "" : "~") + QString::fromLatin1(b.toHex());
    });
    SimpleService *s = service.get();
    const auto note = [this](const char *name) {
        return [this, name] { signalsSeen << QString::fromLatin1(name); };
    };
    QObject::connect(s, &CanServiceBase::acStatusChanged, note("acStatusChanged"));
    QObject::connect(s, &CanServiceBase::doorChanged, note("doorChanged"));
    QObject::connect(s, &CanServiceBase::batteryVoltageAlert, note("batteryVoltageAlert"));
    QObject::connect(s, &CanServiceBase::sigRadarChanged, note("sigRadarChanged"));
    QObject::connect(s, &CanServiceBase::tireAlert, note("tireAlert"));
    QObject::connect(s, &CanServiceBase::tireDataChanged, note("tireDataChanged"));
    QObject::connect(s, &CanServiceBase::rotateChanged, note("rotateChanged"));
    QObject::connect(s, &CanServiceBase::coolantemChanged, note("coolantemChanged"));
    QObject::connect(s, &CanServiceBase::otherInfoDataChanged, note("otherInfoDataChanged"));
    QObject::connect(s, &CanServiceBase::fuelDataChanged, note("fuelDataChanged"));
    QObject::connect(s, &CanServiceBase::drivingDataChanged, note("drivingDataChanged"));
    QObject::connect(s, &CanServiceBase::sigVersionData, note("sigVersionData"));
    QObject::connect(s, &CanServiceBase::notifyCanbusStatus,
                     [this](int status) { link << QString::number(status); });
    QObject::connect(s, &CanServiceBase::keyEvent, [this](int code, int state, bool swc) {
        signalsSeen << QStringLiteral("keyEvent(%1,%2,%3)").arg(code).arg(state).arg(text(swc));
    });
}

Drive::~Drive()
{
    service.reset();
    if (mQuiet) {
        qInstallMessageHandler(mPreviousHandler);
        sErrors = nullptr;
        QLoggingCategory::setFilterRules(QString());
    }
    qunsetenv("CANSERVICE_NVM_ROOT");
}

QString Drive::value(const QString &name)
{
    if (name == QLatin1String("signals"))
        return take(signalsSeen, QStringLiteral(" "));
    if (name == QLatin1String("sent"))
        return take(sent, QStringLiteral(" "));
    if (name == QLatin1String("returned"))
        return QString::number(mReturned);
    if (name == QLatin1String("link"))
        return take(link, QStringLiteral(" "));
    if (name == QLatin1String("answers"))
        return take(answers, QStringLiteral(" "));
    if (name == QLatin1String("errors"))
        return take(errors, QStringLiteral(", "));
    const auto query = queries().find(name);
    return query == queries().end() ? QStringLiteral("<no such query>") : (*query)(*service);
}

QStringList Drive::run(const QString &script)
{
    QStringList out;
    for (const QString &s : steps(script))
        step(s, &out);
    return out;
}

QStringList Drive::expected(const QString &script)
{
    QStringList out;
    for (const QString &s : steps(script)) {
        if (isExpectation(s))
            out << s;
    }
    return out;
}

void Drive::step(const QString &text, QStringList *out)
{
    if (isExpectation(text)) {
        const QString name = text.left(text.indexOf(QLatin1Char('='))).trimmed();
        out->append(name + QLatin1Char('=') + value(name));
        return;
    }
    const QStringList t = tokens(text);
    const QString verb = t.value(0);
    const auto arg = [&t](int i) { return t.value(i).toInt(nullptr, 0); };
    if (verb == QLatin1String("raw")) {
        feed(QByteArray::fromHex(t.mid(1).join(QString()).toLatin1()));
    } else if (verb == QLatin1String("wait")) {
        VirtualClock::instance()->advance(arg(1));
    } else if (verb == QLatin1String("model")) {
        CanBusManager::instance()->setCarModelId(arg(1));
    } else if (verb == QLatin1String("index")) {
        CanBusManager::instance()->setQvxCarModelIndex(arg(1));
    } else if (verb == QLatin1String("driver")) {
        const QString dir = mNvm.path() + QStringLiteral("/media/flash/nvm/factory");
        QDir().mkpath(dir);
        QFile file(dir + QStringLiteral("/settings.ini"));
        if (t.value(1) == QLatin1String("none"))
            file.remove();
        else if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write("[General]\nDriverPosition=" + t.value(1).toLatin1() + "\n");
    } else if (verb == QLatin1String("acKey")) {
        mReturned = service->sendAcKey(arg(1), arg(2));
    } else if (verb == QLatin1String("request")) {
        mReturned = service->request(arg(1), arg(2));
    } else if (verb == QLatin1String("start")) {
        service->start();
    } else if (verb == QLatin1String("stop")) {
        service->stop();
    } else if (verb == QLatin1String("source")) {
        const QStringList info = t.size() > 3 ? QStringList{t.value(3)} : QStringList();
        service->onRadioSourceInformation(t.value(2), info, arg(1));
    } else if (verb.size() == 2) {
        const quint8 cmd = quint8(verb.toInt(nullptr, 16));
        feed(protocol::build(cmd, frameData(cmd, t.mid(1).join(QLatin1Char(' ')))));
    } else {
        out->append(QStringLiteral("unknown step: ") + text);
    }
}

} // namespace qvxtest
