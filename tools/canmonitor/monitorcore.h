#pragma once

// canmonitor's model, without widgets: loads the plugin as the head unit does, counts the
// line, and reads the decoded state back through the getters after the plugin's signals.
// With simulate it also runs the adapter in-process on a pseudo-terminal and compares what
// the car was told with what the plugin decoded. A signal only marks its part stale; one
// timer at screen rate reads the getters and tells the views, however fast frames come.

#include "hostevents.h"
#include "linkcounters.h"

#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QPluginLoader>
#include <QPointF>
#include <QStringList>
#include <QTextStream>
#include <QTimer>

#include <memory>

class CanServiceBase;
class QTemporaryDir;

namespace tools {
class AdapterLink;
class AdapterSimulator;
class Car;
} // namespace tools

namespace monitor {

class GateLink;
class LineSink;

struct Options
{
    QString plugin; // the plugin file; main() picks the one built beside it
    QString port;
    QString modelIndex, modelId; // as typed; empty when not given
    QString driver;              // left, right or empty
    QString translations;
    QString log = QStringLiteral("errors");
    bool simulate = false;
    QString scenario; // with simulate; empty: the car only answers until told
};

// A part of the car whose decoded value is not what the car was told.
struct Difference
{
    QString part; // "door.front-left", "battery", "climate", "radar.front-left", "tyre.rear-right"
    QString told;
    QString decoded;
};

// A frame that crossed the line, with its name.
struct LineFrame
{
    qint64 ms;
    bool fromAdapter;
    int cmd;
    bool good; // false: a bad checksum
    QByteArray bytes;
};

struct KeyPress
{
    double time;
    int code;
    int state; // 0 press, 1 short, 2 long, 3 release
    bool wheel;
};

class MonitorCore : public QObject
{
    Q_OBJECT
public:
    explicit MonitorCore(QObject *parent = nullptr);
    ~MonitorCore() override;

    // Loads and starts the plugin (and the simulated adapter first); false with a message.
    bool open(const Options &options, QString *error);

    CanServiceBase *service() const { return mService; }
    const tools::LinkCounters &counters() const { return mCounters; }
    QString portName() const { return mPortName; }
    double elapsed() const { return mClock.nsecsElapsed() / 1e9; }

    // The decoded state as of the last refresh: EventPrinter's fields for each event, and
    // the side radar (arrays "left" and "right", front to rear) under HostEvent::Radar.
    QJsonObject state(tools::HostEvent event) const { return mState.value(int(event)); }
    const QList<KeyPress> &keys() const { return mKeys; }
    bool linkUp() const { return mCounters.linkStatusNow() == 3; }
    // Seconds since the last good frame from the adapter; negative before the first.
    double secondsSinceFrame() const;
    const QList<LineFrame> &recentFrames() const { return mFrames; }

    // Points taken at the last refresh, by series ("tyre.fl", "temp.left", "radar.front-left",
    // "rotate", "coolant"): one per series whose value changed.
    const QHash<QString, QPointF> &newPoints() const { return mNewPoints; }

    bool simulating() const { return mSimulator != nullptr; }
    // Words for the simulated car ("door boot open"); what it answers comes as message().
    void command(const QString &words);
    // A cut line: the adapter's bytes go nowhere and the head unit's are not heard.
    void setLinkCut(bool cut);
    bool linkCut() const;
    const tools::Car *car() const;
    // Whether the car holds a door open, by its word ("front-left", "bonnet"); the plugin
    // shows the front doors swapped when the driver sits on the right.
    bool carDoorOpen(const QString &door) const;
    // A climate setting as the car holds it, by its word: a switch ("power", "ac", "auto",
    // "dual", "inside", "rear", "defrost-front", "defrost-rear") 1 or 0, "temp-left" and
    // "temp-right" in degrees (the markers -100 low, -101 high), "fan" its code.
    double carClimate(const QString &word) const;
    // The words that open a closed door of the picture ("door.front-left") or close an open
    // one, as the car holds it; empty for no door or without simulate.
    QString toggleDoorWords(const QString &part) const;
    // Written as the simulated adapter writes, gate and all; null without simulate.
    tools::AdapterLink *adapterLink() const;
    // Parts that have differed for longer than the grace (500 ms by default).
    const QList<Difference> &differences() const { return mDifferences; }
    void setGraceMs(int ms) { mGraceMs = ms; }

    void setRefreshInterval(int ms) { mTick.setInterval(ms); }
    int refreshInterval() const { return mTick.interval(); }
    // refreshed() signals so far: at most one a tick, and only when something changed (or,
    // for the link's age, four times a second).
    int refreshes() const { return mRefreshes; }

signals:
    void refreshed();
    void message(const QString &line);

private:
    void stale(tools::HostEvent event) { mStale |= 1u << int(event); }
    void refresh();
    void sample(const QString &series, double value);
    QList<Difference> compare() const;
    void noteFrame(bool fromAdapter, int cmd, bool good, const QByteArray &bytes);

    QElapsedTimer mClock;
    QPluginLoader mLoader;
    QObject *mInstance = nullptr;
    CanServiceBase *mService = nullptr;
    QString mPortName;
    QString mNowhere;
    QTextStream mNowhereOut;
    std::unique_ptr<tools::EventPrinter> mPrinter;
    tools::LinkCounters mCounters;
    std::unique_ptr<QTemporaryDir> mDir; // the pseudo-terminal's link, the driver setting
    bool mLeftHand = true;

    std::unique_ptr<LineSink> mSink;
    std::unique_ptr<QTextStream> mSinkOut;
    std::unique_ptr<GateLink> mGate;
    std::unique_ptr<tools::AdapterSimulator> mSimulator;

    QTimer mTick;
    quint32 mStale = ~0u;
    bool mLineStale = false; // frames crossed since the last refresh
    int mRefreshes = 0;
    qint64 mLastRefreshMs = -1000;
    QHash<int, QJsonObject> mState;
    QHash<QString, double> mLastSample;
    QHash<QString, QPointF> mNewPoints;
    QList<KeyPress> mKeys;
    QList<LineFrame> mFrames;
    protocol::Reader mFromAdapter;
    int mGraceMs = 500;
    QHash<QString, qint64> mDifferingSince;
    QList<Difference> mDifferences;
};

} // namespace monitor
