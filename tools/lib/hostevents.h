#pragma once

// What canhost prints for each of the service's signals: the state the signal concerns,
// read back through the getters, as one line a person reads at a glance or as one JSON
// object.

#include <QElapsedTimer>
#include <QJsonObject>
#include <QObject>
#include <QTextStream>

class CanServiceBase;

namespace tools {

enum class HostEvent {
    Link,
    Climate,
    Doors,
    Battery,
    Radar,
    TyreAlert,
    Tyres,
    Key,
    Rotate,
    Coolant,
    Info,
    Fuel,
    Driving,
    Version,
};

class EventPrinter : public QObject
{
    Q_OBJECT
public:
    EventPrinter(CanServiceBase *service, QTextStream &out, bool json, QObject *parent = nullptr);

    // All 14 signals, each printing its event.
    void connectSignals();
    // Every event but the key, from the current state, marked as a dump.
    void dumpState();

    // The event's fields, read from the service now. Key events take their arguments.
    QJsonObject fields(HostEvent event) const;
    // One line for people, without time stamp.
    QString text(HostEvent event, const QJsonObject &fields) const;

    void print(HostEvent event, QJsonObject fields, bool dump = false);
    // A line of the host's own (plugin metadata, command results): JSON or words.
    void note(const QString &event, const QJsonObject &fields, const QString &words);

    // Words put before each text line's event name (a tool that prints other lines too).
    void setPrefix(const QString &prefix) { mPrefix = prefix; }

    static QString eventName(HostEvent event);
    static QJsonObject keyFields(int code, int state, bool fromSteeringWheel);
    double elapsed() const { return mClock.nsecsElapsed() / 1e9; }

private:
    CanServiceBase *mService;
    QTextStream &mOut;
    bool mJson;
    QString mPrefix;
    int mLinkStatus = 0; // the host keeps it: the service does not
    QElapsedTimer mClock;
};

} // namespace tools
