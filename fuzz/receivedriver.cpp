#include "receivedriver.h"

#include "virtualclock.h"

#include "canservicebase.h"
#include "serialport.h"

#include <QHash>
#include <QMetaObject>
#include <QPluginLoader>
#include <QRegularExpression>
#include <QVector>

#include <cmath>

// Control operations, chosen by the low four bits of a control byte:
//   0-3, 12-15  feed the next (((op & 3) << 4 | op >> 4) + 1) stream bytes as one chunk (1..64)
//   4           feed the next (following control byte + 1) stream bytes as one chunk (1..256)
//   5           time passes with nothing received (on the virtual clock, so the service's
//               timers fire): op bits 4-5 choose 100 ms, 500 ms, 1500 ms or 30 s
//   6           sendAcKey(key, value)
//   7           onRadioSourceInformation(name, info, source type)
//   8           request(a, b)
//   9           start()
//   10          the host switches the vehicle model (id and index)
//   11          the host reads every getter
//   12 (0x0C alone) stop(); the other ops with low bits 12 feed, as above
// Parameters come from the control bytes after the operation; missing ones read as 0.

namespace fuzzdriver {

using qvxtest::VirtualClock;

namespace {

constexpr int MaxProblems = 20;

// The adapter framing, written out again on its own terms, with the receive timer as
// the service keeps it: armed by a chunk that arrives while a frame is unfinished,
// disarmed by a good frame, and resetting the hunt 500 ms after it was armed.
class PlainFraming
{
public:
    struct Answer
    {
        bool good;
        quint8 command;
    };

    void chunk(const QByteArray &bytes, qint64 now, QVector<Answer> &answers)
    {
        if (mStep != SeekFirst && mArmedAt < 0)
            mArmedAt = now;
        for (const char c : bytes)
            take(quint8(c), answers);
    }

    void timeIs(qint64 now)
    {
        if (mArmedAt >= 0 && now >= mArmedAt + 500) {
            mArmedAt = -1;
            mStep = SeekFirst;
        }
    }

private:
    enum Step { SeekFirst, SeekSecond, Length, Command, Payload, Swallow, Check };

    void take(quint8 b, QVector<Answer> &answers)
    {
        switch (mStep) {
        case SeekFirst:
            if (b == 0x5A)
                mStep = SeekSecond;
            break;
        case SeekSecond:
            if (b == 0xA5)
                mStep = Length;
            break;
        case Length:
            mLeft = b;
            mSum = b;
            mStep = Command;
            break;
        case Command:
            mCommand = b;
            mSum = quint8(mSum + b);
            // A frame that announces no data never reaches its checksum byte.
            mStep = mLeft == 0 ? Swallow : Payload;
            break;
        case Payload:
            mSum = quint8(mSum + b);
            if (--mLeft == 0)
                mStep = Check;
            break;
        case Swallow:
            break;
        case Check: {
            const bool good = b == quint8(mSum - 1);
            answers.append({good, mCommand});
            if (good)
                mArmedAt = -1;
            mStep = SeekFirst;
            break;
        }
        }
    }

    Step mStep = SeekFirst;
    int mLeft = 0;
    quint8 mSum = 0;
    quint8 mCommand = 0;
    qint64 mArmedAt = -1;
};

QByteArray answerBytes(const PlainFraming::Answer &a)
{
    const quint8 kind = a.good ? 0xFF : 0xFE;
    QByteArray out;
    out.append(char(0x5A)).append(char(0xA5)).append(char(0x01)).append(char(kind));
    out.append(char(a.command)).append(char(quint8(0x01 + kind + a.command - 1)));
    return out;
}

QString hex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' '));
}

QString tr(int id)
{
    return Translator::translate(id);
}

class Controls
{
public:
    explicit Controls(const QByteArray &bytes) : mBytes(bytes) {}
    bool atEnd() const { return mPos >= mBytes.size(); }
    quint8 byte() { return atEnd() ? 0 : quint8(mBytes.at(mPos++)); }
    qint32 int32()
    {
        quint32 v = 0;
        for (int i = 0; i < 4; ++i)
            v = v << 8 | byte();
        return qint32(v);
    }
    // One byte most of the time, so that small values (keys, source types) come often.
    qint32 smallOrWide(bool wide) { return wide ? int32() : qint32(qint8(byte())); }
    QByteArray bytes(int n)
    {
        QByteArray out;
        while (n-- > 0 && !atEnd())
            out.append(char(byte()));
        return out;
    }

private:
    const QByteArray &mBytes;
    int mPos = 0;
};

class Run
{
public:
    Run(CanServiceBase *service, canservice::SerialPort *port, VirtualClock &clock)
        : s(*service), mPort(port), mClock(clock)
    {
        mLinks << QObject::connect(
            port, &canservice::SerialPort::written,
            [this](const QByteArray &bytes, bool flag) { onWritten(bytes, flag); });
        mLinks << QObject::connect(service, &CanServiceBase::notifyCanbusStatus,
                                   [this](int status) { onStatus(status); });
        mLinks << QObject::connect(
            service, &CanServiceBase::keyEvent,
            [this](int code, int state, bool swc) { onKey(code, state, swc); });
        const auto changed = [this](const char *signal) {
            return [this, signal]() { onChanged(signal); };
        };
        mLinks << QObject::connect(service, &CanServiceBase::acStatusChanged,
                                   changed("acStatusChanged"))
               << QObject::connect(service, &CanServiceBase::doorChanged, changed("doorChanged"))
               << QObject::connect(service, &CanServiceBase::batteryVoltageAlert,
                                   changed("batteryVoltageAlert"))
               << QObject::connect(service, &CanServiceBase::sigRadarChanged,
                                   changed("sigRadarChanged"))
               << QObject::connect(service, &CanServiceBase::tireAlert, changed("tireAlert"))
               << QObject::connect(service, &CanServiceBase::tireDataChanged,
                                   changed("tireDataChanged"))
               << QObject::connect(service, &CanServiceBase::rotateChanged,
                                   changed("rotateChanged"))
               << QObject::connect(service, &CanServiceBase::coolantemChanged,
                                   changed("coolantemChanged"))
               << QObject::connect(service, &CanServiceBase::otherInfoDataChanged,
                                   changed("otherInfoDataChanged"))
               << QObject::connect(service, &CanServiceBase::fuelDataChanged,
                                   changed("fuelDataChanged"))
               << QObject::connect(service, &CanServiceBase::drivingDataChanged,
                                   changed("drivingDataChanged"))
               << QObject::connect(service, &CanServiceBase::sigVersionData,
                                   changed("sigVersionData"));
    }
    // The service outlives this run by a moment: nothing of it may call back in here.
    ~Run()
    {
        for (const QMetaObject::Connection &link : mLinks)
            QObject::disconnect(link);
    }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;

    void play(const QByteArray &input)
    {
        const int n = input.size() < 2 ? 0 : quint8(input[0]) << 8 | quint8(input[1]);
        const QByteArray controls = input.mid(2, n);
        mStream = input.mid(2 + n);

        Controls c(controls);
        while (!c.atEnd() && mProblems.size() < MaxProblems) {
            const quint8 op = c.byte();
            if (op == 0x0C) {
                stop();
                continue;
            }
            switch (op & 0x0F) {
            case 4:
                feed(c.byte() + 1);
                break;
            case 5: {
                static const int after[] = {100, 500, 1500, 30000};
                timePasses(after[op >> 4 & 3]);
                break;
            }
            case 6: {
                const qint32 key = c.smallOrWide(op & 0x10);
                const qint32 value = c.smallOrWide(op & 0x20);
                acKey(key, value);
                break;
            }
            case 7:
                sourceInformation(c, op);
                break;
            case 8: {
                const qint32 a = c.int32();
                const qint32 b = c.int32();
                request(a, b);
                break;
            }
            case 9:
                start();
                break;
            case 10:
                switchModel(c.byte(), op >> 4 << 8 | c.byte());
                break;
            case 11:
                sweep("on request");
                break;
            default:
                feed(((op & 3) << 4 | op >> 4) + 1);
                break;
            }
        }
        feed(mStream.size() - mFed);
        sweep("at the end");
    }

    QStringList problems() const { return mProblems; }

private:
    enum Phase { Idle, Feeding, HostCall, Reading, Waiting };

    void fail(const QString &what)
    {
        if (mProblems.size() < MaxProblems)
            mProblems.append(what);
    }

    // ---- the serial line ----

    void feed(int length)
    {
        const QByteArray chunk = mStream.mid(mFed, length);
        if (chunk.isEmpty())
            return;
        mFed += chunk.size();

        QVector<PlainFraming::Answer> expected;
        if (!mStopped) // a stopped service no longer listens, and its receiver stays as it was
            mFraming.chunk(chunk, mClock.now(), expected);
        const int before = mWrites.size();
        mPhase = Feeding;
        emit mPort->read(chunk);
        mPhase = Idle;

        QByteArray want;
        for (const PlainFraming::Answer &a : expected) {
            want += answerBytes(a);
            // Every good frame restarts the watchdog; the first while it is idle reports 3.
            if (a.good) {
                if (!mLinkUp)
                    mWantStatus << 3;
                mLinkUp = true;
                mLinkDownAt = mClock.now() + 30000;
            }
        }
        QByteArray got;
        for (int i = before; i < mWrites.size(); ++i) {
            got += mWrites[i].bytes;
            if (!mWrites[i].flag)
                fail(QStringLiteral("answer written without the flush flag: ") +
                     hex(mWrites[i].bytes));
        }
        if (got != want)
            fail(QStringLiteral("answers to chunk %1: got [%2], the framing predicts [%3]")
                     .arg(hex(chunk), hex(got), hex(want)));
        checkStatus();
        sweep("after a chunk");
    }

    // Time passes only here, on the virtual clock: the service's timers fire as they fall
    // due, and what they do must be what the model says is due.
    void timePasses(int ms)
    {
        const qint64 then = mClock.now() + ms;
        mLongPressDue = mKeyHeld && !mLongPressFired && then >= mPressedAt + 1500;
        const Phase was = mPhase;
        mPhase = Waiting;
        mClock.advance(ms);
        mPhase = was;
        if (mLongPressDue)
            fail(QStringLiteral("no long press reported for key %1 held 1500 ms").arg(mHeldCode));
        mLongPressDue = false;
        mFraming.timeIs(then);
        if (mLinkUp && then >= mLinkDownAt) {
            mLinkUp = false;
            mWantStatus << 0;
        }
        checkStatus();
        sweep("after time passed");
    }

    void checkStatus()
    {
        if (mGotStatus != mWantStatus)
            fail(QStringLiteral("link status reports %1, expected %2")
                     .arg(statusText(mGotStatus), statusText(mWantStatus)));
        mGotStatus = mWantStatus; // report a difference once
    }
    static QString statusText(const QList<int> &list)
    {
        QStringList out;
        for (int v : list)
            out << QString::number(v);
        return QStringLiteral("[%1]").arg(out.join(QLatin1Char(' ')));
    }

    void onWritten(const QByteArray &bytes, bool flag)
    {
        mWrites.append({bytes, flag});
        checkFrame(bytes);
        if (mPhase == Idle || mPhase == Reading)
            fail(QStringLiteral("a write outside any chunk or sending call: ") + hex(bytes));
    }

    // Every frame the service writes: 5A A5, LEN, CMD, LEN data bytes, checksum.
    void checkFrame(const QByteArray &f)
    {
        const bool headed = f.size() >= 5 && quint8(f[0]) == 0x5A && quint8(f[1]) == 0xA5;
        if (!headed || f.size() != quint8(f[2]) + 5) {
            fail(QStringLiteral("malformed frame written: ") + hex(f));
            return;
        }
        quint8 sum = 0;
        for (int i = 2; i < f.size() - 1; ++i)
            sum = quint8(sum + quint8(f[i]));
        if (quint8(f[f.size() - 1]) != quint8(sum - 1))
            fail(QStringLiteral("bad checksum in written frame: ") + hex(f));
    }

    void onStatus(int status) { mGotStatus << status; }

    void onKey(int code, int state, bool swc)
    {
        if (code < 0 || code > 255 || state < 0 || state > 3)
            fail(QStringLiteral("key event out of range: code %1 state %2").arg(code).arg(state));
        if (state == 2) {
            // Only the long-press timer reports state 2, once, while the key is held.
            if (mPhase != Waiting || !mLongPressDue || code != mHeldCode || swc != mHeldSwc)
                fail(QStringLiteral("long press of key %1 reported unasked").arg(code));
            mLongPressDue = false;
            mLongPressFired = true;
            return;
        }
        if (mPhase != Feeding)
            fail(QStringLiteral("key event outside a chunk"));
        if (state == 0) {
            if (mKeyHeld)
                fail(QStringLiteral("key press reported while key %1 is held").arg(mHeldCode));
            mKeyHeld = true;
            mLongPressFired = false;
            mPressedAt = mClock.now();
            mHeldCode = code;
            mHeldSwc = swc;
            return;
        }
        // A release: state 1 before the long press was reported, 3 after it.
        if (!mKeyHeld)
            fail(QStringLiteral("key release reported with no key held"));
        else if (code != mHeldCode || swc != mHeldSwc)
            fail(QStringLiteral("release of key %1 reported for held key %2")
                     .arg(code)
                     .arg(mHeldCode));
        else if (state != (mLongPressFired ? 3 : 1))
            fail(QStringLiteral("release of key %1 reported as state %2").arg(code).arg(state));
        mKeyHeld = false;
    }

    void onChanged(const char *signal)
    {
        if (mPhase != Feeding)
            fail(QStringLiteral("%1 emitted outside a chunk").arg(QLatin1String(signal)));
        // A host reads the state from inside its slot.
        sweep(signal);
    }

    // ---- host calls ----

    // Runs a sending call and returns what it wrote.
    template <typename Call> QList<QPair<QByteArray, bool>> sending(Call call)
    {
        const int before = mWrites.size();
        const Phase was = mPhase;
        mPhase = HostCall;
        call();
        mPhase = was;
        QList<QPair<QByteArray, bool>> out;
        for (int i = before; i < mWrites.size(); ++i)
            out.append({mWrites[i].bytes, mWrites[i].flag});
        return out;
    }

    static int command(const QByteArray &f) { return f.size() > 3 ? quint8(f[3]) : -1; }
    static int dataByte(const QByteArray &f, int k)
    {
        return f.size() > 4 + k ? quint8(f[4 + k]) : -1;
    }

    void acKey(qint32 key, qint32 value)
    {
        int result = 0;
        const auto w = sending([&] { result = s.sendAcKey(key, value); });
        const int want = (key == 28 || key == 30) ? -1 : 0;
        if (result != want)
            fail(QStringLiteral("sendAcKey(%1, %2) returned %3").arg(key).arg(value).arg(result));
        if (w.size() > 1 || (w.size() == 1 && CanBusManager::instance()->getCarModelId() == 52))
            fail(QStringLiteral("sendAcKey(%1) wrote %2 frames").arg(key).arg(w.size()));
        if (w.isEmpty())
            return;
        static const QList<int> commands = {1,  2,  4,  5,  6,  7,  8,  9,  10,
                                            11, 12, 13, 15, 21, 22, 23, 33, 34};
        const QByteArray &f = w[0].first;
        if (w[0].second || command(f) != 0x3B || f.size() != 7 ||
            !commands.contains(dataByte(f, 0)))
            fail(QStringLiteral("sendAcKey(%1) wrote %2").arg(key).arg(hex(f)));
    }

    void sourceInformation(Controls &c, quint8 op)
    {
        static const char *const bands[] = {"FM1", "FM2", "FM3", "AM1", "AM2", "fm1", ""};
        const quint8 pick = c.byte();
        QString name;
        if (pick < 7)
            name = QString::fromLatin1(bands[pick]);
        else
            name = QString::fromUtf8(c.bytes(pick & 0x0F));
        QStringList info;
        const int count = c.byte() & 3;
        for (int i = 0; i < count; ++i) {
            const quint8 length = c.byte();
            const QByteArray raw = c.bytes(length & 0x1F);
            info << (length & 0x80 ? QString::fromUtf8(raw) : QString::fromLatin1(raw));
        }
        const qint32 type = c.smallOrWide(op & 0x10);

        const auto w = sending([&] { s.onRadioSourceInformation(name, info, type); });
        const bool sent = type >= 0 && type <= 10;
        if (w.size() != (sent ? 1 : 0)) {
            fail(QStringLiteral("source type %1 wrote %2 frames").arg(type).arg(w.size()));
            return;
        }
        if (!sent)
            return;
        static const QList<int> codes = {0, 1, 2, 3, 4, 5, 10, 12, 13};
        const QByteArray &f = w[0].first;
        bool ok = w[0].second && f.size() == 19 && command(f) == 0x91 &&
                  codes.contains(dataByte(f, 0)) && dataByte(f, 1) == 1;
        if (ok && (type == 1 || type == 2 || type == 3 || type == 10))
            ok = f.mid(6, 12) == QByteArray(12, ' ') && dataByte(f, 0) == (type == 10 ? 10 : 13);
        if (!ok)
            fail(QStringLiteral("source type %1 wrote %2").arg(type).arg(hex(f)));
    }

    void request(qint32 a, qint32 b)
    {
        int result = -1;
        const auto w = sending([&] { result = s.request(a, b); });
        QByteArray want;
        want.append(char(0x5A)).append(char(0xA5)).append(char(0x02)).append(char(0x90));
        want.append(char(a & 0xFF)).append(char(b & 0xFF));
        want.append(char(quint8(0x02 + 0x90 + (a & 0xFF) + (b & 0xFF) - 1)));
        if (result != 0 || w.size() != 1 || w[0].first != want || !w[0].second)
            fail(QStringLiteral("request(%1, %2) returned %3 and wrote %4 frames")
                     .arg(a)
                     .arg(b)
                     .arg(result)
                     .arg(w.size()));
    }

    void stop()
    {
        const auto w = sending([&] { s.stop(); });
        if (!w.isEmpty())
            fail(QStringLiteral("stop() wrote %1 frames").arg(w.size()));
        mStopped = true;
        mLinkUp = false; // its watchdog stops without a word
    }

    void start()
    {
        const int index = CanBusManager::instance()->getQvxCarModelIndex();
        const auto w = sending([&] { s.start(); });
        if (w.size() != 1 || command(w[0].first) != 0x2A || w[0].first.size() != 7 ||
            dataByte(w[0].first, 0) != (index & 0xFF) || dataByte(w[0].first, 1) != 0xFF ||
            !w[0].second)
            fail(QStringLiteral("start() with model index %1 wrote %2 frames")
                     .arg(index)
                     .arg(w.size()));
    }

    void switchModel(quint8 id, int index)
    {
        // The ids that change climate behaviour come often; any other is one byte.
        static const int special[] = {0, 52, 60, 94};
        CanBusManager::instance()->setCarModelId(id < 0x80 ? special[id & 3] : id);
        CanBusManager::instance()->setQvxCarModelIndex(index);
    }

    // ---- the getters, each inside the range its operation documents ----

    template <typename T> void range(const char *what, T value, T lo, T hi)
    {
        if (!(value >= lo && value <= hi))
            fail(QStringLiteral("%1 = %2, outside %3..%4 (%5)")
                     .arg(QLatin1String(what))
                     .arg(value)
                     .arg(lo)
                     .arg(hi)
                     .arg(QLatin1String(mWhen)));
    }
    template <typename T> void equal(const char *what, T value, T want)
    {
        if (!(value == want))
            fail(QStringLiteral("%1 = %2, not %3 (%4)")
                     .arg(QLatin1String(what))
                     .arg(value)
                     .arg(want)
                     .arg(QLatin1String(mWhen)));
    }
    void holds(const char *what, bool ok)
    {
        if (!ok)
            fail(QStringLiteral("%1 fails (%2)").arg(QLatin1String(what), QLatin1String(mWhen)));
    }
    void text(const char *what, const QString &value, const QString &pattern)
    {
        // Compiled once: building a pattern costs far more than the service's whole run.
        static QHash<QString, QRegularExpression> compiled;
        auto it = compiled.find(pattern);
        if (it == compiled.end())
            it = compiled.insert(pattern,
                                 QRegularExpression(QStringLiteral("\\A(?:%1)\\z").arg(pattern)));
        if (!it->match(value).hasMatch())
            fail(QStringLiteral("%1 = \"%2\" (%3)")
                     .arg(QLatin1String(what), value, QLatin1String(mWhen)));
    }
    static QString unit(int id) { return QRegularExpression::escape(tr(id)); }
    static QString units(std::initializer_list<int> ids)
    {
        QStringList out;
        for (int id : ids)
            out << unit(id);
        return QStringLiteral("(?:%1)").arg(out.join(QLatin1Char('|')));
    }

    void temperature(const char *what, float t)
    {
        const bool code = t >= 0.0f && t <= 126.5f && std::floor(t * 2) == t * 2;
        if (!(code || t == -100.0f || t == -101.0f))
            fail(QStringLiteral("%1 = %2 (%3)")
                     .arg(QLatin1String(what))
                     .arg(t)
                     .arg(QLatin1String(mWhen)));
    }

    void radar(const char *what, int v)
    {
        if (!((v >= 1 && v <= 8) || v == 255))
            fail(QStringLiteral("%1 = %2 (%3)")
                     .arg(QLatin1String(what))
                     .arg(v)
                     .arg(QLatin1String(mWhen)));
    }

#define RANGE(expr, lo, hi) range(#expr, (expr), (lo), (hi))
#define EQUAL(expr, want) equal(#expr, (expr), (want))
#define HOLDS(cond) holds(#cond, (cond))
#define TEXT(expr, pattern) text(#expr, (expr), (pattern))
#define RADAR(expr) radar(#expr, (expr))

    void sweep(const char *when)
    {
        if (mPhase == Reading)
            return;
        const Phase was = mPhase;
        mPhase = Reading;
        mWhen = when;

        // climate
        RANGE(s.isPowerOff(), 0, 1);
        RANGE(s.isRearClimate(), 0, 1);
        RANGE(s.isAc(), 0, 1);
        RANGE(s.isInside(), 0, 1);
        RANGE(s.isAuto(), 0, 1);
        RANGE(s.isDual(), 0, 1);
        RANGE(s.isRearDefrost(), 0, 1);
        RANGE(s.isFrontDefrost(), 0, 1);
        EQUAL(s.isPowerOffRear(), 0);
        EQUAL(s.isAcMax(), 0);
        EQUAL(s.getAcRearLeftHeat(), 0);
        EQUAL(s.getAcRearRightHeat(), 0);
        EQUAL(s.isAcSwcHeat(), 0);
        EQUAL(s.isAcGlassHeat(), 0);
        EQUAL(s.isAirCareActive(), 0);
        EQUAL(s.getAirConProfile(), 0);
        RANGE(s.getAcFrontLeftHeat(), 0, 3);
        RANGE(s.getAcFrontRightHeat(), 0, 3);
        RANGE(s.getLeftVentilation(), 0, 3);
        RANGE(s.getRightVentilation(), 0, 3);
        // One level per seat, reported either as heating or as ventilation.
        HOLDS(s.getAcFrontLeftHeat() == 0 || s.getLeftVentilation() == 0);
        HOLDS(s.getAcFrontRightHeat() == 0 || s.getRightVentilation() == 0);
        RANGE(s.getAcWindMode(), 0, 7);
        RANGE(s.getAcWindScale(), 0, 7);
        RANGE(s.getAcWindModeRear(), 0, 255);
        RANGE(s.getAcWindScaleRear(), 0, 255);
        temperature("getAcTemperature()", s.getAcTemperature());
        temperature("getAcRightTemperature()", s.getAcRightTemperature());
        temperature("getAcRearTemperature()", s.getAcRearTemperature());
        TEXT(s.getAcTemperatureUnit(), units({990, 993}));
        EQUAL(s.getAcRightTemperatureUnit(), s.getAcTemperatureUnit());
        EQUAL(s.getAcShowRequest(), -1);
        EQUAL(s.getAcAirClearStatus(), -1);
        EQUAL(s.getManualClimateMode(), -1);
        EQUAL(s.getDualControllableState(), 1);

        // doors and battery
        const int doors = s.getDoorStatus();
        RANGE(doors, 0, 255);
        const auto bit = [doors](int n) { return bool(doors >> n & 1); };
        EQUAL(s.isFrontDoorOpen(), bit(2));
        EQUAL(s.isRearDoorOpen(), bit(3));
        EQUAL(s.isRightRearDoorOpen(), bit(4));
        EQUAL(s.isLeftRearDoorOpen(), bit(5));
        const bool left = s.isLeftFrontDoorOpen();
        const bool right = s.isRightFrontDoorOpen();
        HOLDS((left == bit(6) && right == bit(7)) || (left == bit(7) && right == bit(6)));
        EQUAL(s.getBatteryVoltageValue(), -2.0f);
        EQUAL(s.getBatteryVoltageUnit(), tr(339));
        RANGE(s.getBatteryVoltageAlertType(), 0, 1);

        // radar: a level 1 to 8, or 255 for no reading; nothing feeds the side sensors
        RADAR(s.getFrontRadarLeftDistance());
        RADAR(s.getFrontRadarMiddleLeftDistance());
        RADAR(s.getFrontRadarMiddleRightDistance());
        RADAR(s.getFrontRadarRightDistance());
        RADAR(s.getRearRadarLeftDistance());
        RADAR(s.getRearRadarMiddleLeftDistance());
        RADAR(s.getRearRadarMiddleRightDistance());
        RADAR(s.getRearRadarRightDistance());
        EQUAL(s.getLeftRadarFrontDistance(), 255);
        EQUAL(s.getLeftRadarMiddleFrontDistance(), 255);
        EQUAL(s.getLeftRadarMiddleRearDistance(), 255);
        EQUAL(s.getLeftRadarRearDistance(), 255);
        EQUAL(s.getRightRadarFrontDistance(), 255);
        EQUAL(s.getRightRadarMiddleFrontDistance(), 255);
        EQUAL(s.getRightRadarMiddleRearDistance(), 255);
        EQUAL(s.getRightRadarRearDistance(), 255);
        EQUAL(s.isRadarStatus(), 1);

        // tyres
        const int statuses[] = {s.getTireStatusFL(), s.getTireStatusFR(), s.getTireStatusRL(),
                                s.getTireStatusRR()};
        bool anyAlert = false;
        for (int st : statuses) {
            range("tyre status", st, 0, 2);
            anyAlert = anyAlert || st != 0;
        }
        RANGE(s.getTireAlertType(), 0, 1);
        EQUAL(s.getTireAlertType(), anyAlert ? 1 : 0);
        const float pressures[] = {s.getTirePressureValueFL(), s.getTirePressureValueFR(),
                                   s.getTirePressureValueRL(), s.getTirePressureValueRR()};
        for (float p : pressures) {
            range("tyre pressure", p, 0.0f, 65535.0f);
            holds("tyre pressure is a whole number", std::floor(p) == p);
        }
        TEXT(s.getTireUnit(), QStringLiteral("|") + unit(1006));

        // car information, trip computer, version
        RANGE(s.getRotate(), 0, 65534);
        RANGE(s.getCoolantTemp(), -40, 215);
        EQUAL(s.getCoolantTempUnit(), tr(990));
        HOLDS(!s.version().contains(QChar(0)));
        records();

        // what the interface answers for everything the service leaves alone
        EQUAL(s.getSpeed(), 0.0f);
        HOLDS(s.getSpeedUnit().isNull());
        HOLDS(s.getTemperatureStr().isNull());
        EQUAL(s.getTemperature(), -1.0f);
        HOLDS(s.getTemperatureUnit().isEmpty() && !s.getTemperatureUnit().isNull());
        EQUAL(s.getTimeAllMileage(), -1.0f);
        EQUAL(s.getOilAllMileage(), -1.0f);
        EQUAL(s.requestMaintenanceData(), -1);
        EQUAL(s.getEarGlonass(), -1);
        EQUAL(s.getMileageUnits(), -1);
        EQUAL(s.getCameraMode(), -1);
        EQUAL(s.getAmbientStatus(), 1);
        EQUAL(s.getCanDrivingPosition(), -1);
        HOLDS(s.getDrivingDataTitle1().isEmpty());
        HOLDS(s.getDrivingDataTitle2().isEmpty());
        HOLDS(s.getDrivingDataTitle3().isEmpty());
        const CarSettingData car = s.getCarSettingData();
        HOLDS(car.ambientLight.mode == 1 && car.evr.level == 0xFF && car.evr.state == 1);

        mPhase = was;
    }

    void records()
    {
        const QString number = QStringLiteral("[0-9]+\\.[0-9]");
        const QString consumption = number + units({1026, 1003, 1002, 1035});
        const QString driving = units({997, 998});

        FuelConsumptionData f;
        EQUAL(s.getFuelConsumptionData(f), 0);
        TEXT(f.item1, QStringLiteral("|") + consumption);
        HOLDS(f.item2.isEmpty() && f.item3.isEmpty());
        TEXT(f.item4, QStringLiteral("|") + consumption);
        TEXT(f.item5, QStringLiteral("|") + consumption);
        TEXT(f.item6, QStringLiteral("|") + consumption);

        DrivingData d;
        EQUAL(s.getDrivingData(d), 0);
        TEXT(d.item1, QStringLiteral("|") + number + unit(992));
        TEXT(d.item2, QStringLiteral("|[0-9]+\\.0") + driving);
        TEXT(d.item3, QStringLiteral("|--|") + number + unit(1025));
        TEXT(d.item5, QStringLiteral("|") + number + driving);
        const QString untouched[] = {d.item4,  d.item6,  d.item7,  d.item8,  d.item9,
                                     d.item10, d.item11, d.item12, d.item13, d.item14,
                                     d.item15, d.item16, d.item17, d.item18};
        for (const QString &t : untouched)
            holds("driving data left alone stays empty", t.isEmpty());

        OtherInfoData o;
        EQUAL(s.getOtherInfoData(o), 0);
        TEXT(o.item1, QStringLiteral("|") + unit(131) + QStringLiteral("|") + unit(346));
        TEXT(o.item2,
             QStringLiteral("|(?:[0-9]|[1-9][0-9]|1[0-9][0-9]|2[0-4][0-9]|25[0-5])") + unit(999));
        HOLDS(o.item3.isEmpty() && o.item4.isEmpty() && o.item5.isEmpty() && o.item6.isEmpty() &&
              o.item7.isEmpty() && o.item8.isEmpty() && o.item9.isEmpty() && o.flag);

        QMap<QString, QString> map{{QStringLiteral("kept"), QStringLiteral("as is")}};
        EQUAL(s.getVehicleData(map), 0);
        HOLDS(map.size() == 1 && map.value(QStringLiteral("kept")) == QLatin1String("as is"));
        VehicleMaintenanceData m;
        EQUAL(s.getMaintenanceData(m), -1);
        UnitData u;
        EQUAL(s.getUnitData(u), -1);
        EQUAL(s.requestDrivingData(), 0);
    }

#undef RANGE
#undef EQUAL
#undef HOLDS
#undef TEXT
#undef RADAR

    struct Write
    {
        QByteArray bytes;
        bool flag;
    };

    CanServiceBase &s;
    canservice::SerialPort *mPort;
    VirtualClock &mClock;
    PlainFraming mFraming;
    QByteArray mStream;
    int mFed = 0;
    QList<Write> mWrites;
    Phase mPhase = Idle;
    const char *mWhen = "";
    bool mStopped = false;
    bool mLinkUp = false;
    qint64 mLinkDownAt = 0;
    QList<int> mWantStatus;
    QList<int> mGotStatus;
    bool mKeyHeld = false;
    bool mLongPressFired = false;
    bool mLongPressDue = false;
    qint64 mPressedAt = 0;
    int mHeldCode = 0;
    bool mHeldSwc = false;
    QStringList mProblems;
    QList<QMetaObject::Connection> mLinks;
};

} // namespace

QStringList run(QPluginLoader &plugin, const QByteArray &input)
{
    CanBusManager::instance()->setCarModelId(0);
    CanBusManager::instance()->setQvxCarModelIndex(0);

    VirtualClock *clock = VirtualClock::instance();
    if (!clock)
        return {QStringLiteral("the virtual clock is not this thread's event dispatcher")};
    const int timersBefore = clock->timerCount();

    QObject *root = plugin.instance();
    if (!root)
        return {QStringLiteral("the plugin entry gave no object: ") + plugin.errorString()};
    CanServiceBase *service = qobject_cast<CanServiceBase *>(root);
    canservice::SerialPort *port = canservice::SerialPort::latest();
    if (!service || !port) {
        delete root;
        return {QStringLiteral("the plugin's object is no service with a serial port")};
    }

    QStringList problems;
    {
        Run driver(service, port, *clock);
        driver.play(input);
        problems = driver.problems();
    }
    delete root;
    if (clock->timerCount() != timersBefore)
        problems << QStringLiteral("%1 timers still registered after the service was deleted")
                        .arg(clock->timerCount() - timersBefore);
    return problems;
}

QByteArray plainInput(const QByteArray &stream)
{
    return QByteArray(2, '\0') + stream;
}

} // namespace fuzzdriver
