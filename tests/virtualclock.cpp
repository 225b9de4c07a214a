#include "virtualclock.h"

#include <QCoreApplication>
#include <QTimerEvent>

#include <algorithm>

namespace qvxtest {

VirtualClock *VirtualClock::instance()
{
    return qobject_cast<VirtualClock *>(QAbstractEventDispatcher::instance());
}

void VirtualClock::advance(qint64 ms)
{
    const qint64 end = mNow + ms;
    // A timer's slot may start or stop timers, so look for the next due one afresh each time.
    for (;;) {
        int next = -1;
        for (int i = 0; i < mTimers.size(); ++i) {
            if (mTimers[i].due <= end && (next < 0 || mTimers[i].due < mTimers[next].due))
                next = i;
        }
        if (next < 0)
            break;
        Timer &t = mTimers[next];
        mNow = qMax(mNow, t.due);
        // A repeating timer comes round again; a single-shot QTimer unregisters itself.
        t.due = mNow + qMax(t.interval, 1);
        const int id = t.id;
        QObject *object = t.object;
        QTimerEvent event(id);
        QCoreApplication::sendEvent(object, &event);
        QCoreApplication::sendPostedEvents();
    }
    mNow = end;
}

bool VirtualClock::processEvents(QEventLoop::ProcessEventsFlags)
{
    // Posted events only: time moves on by advance() alone.
    QCoreApplication::sendPostedEvents();
    return false;
}

bool VirtualClock::hasPendingEvents()
{
    return false;
}

void VirtualClock::registerTimer(int timerId, int interval, Qt::TimerType type, QObject *object)
{
    mTimers.append({timerId, interval, type, object, mNow + interval});
}

bool VirtualClock::unregisterTimer(int timerId)
{
    const auto t = std::find_if(mTimers.begin(), mTimers.end(),
                                [timerId](const Timer &t) { return t.id == timerId; });
    if (t == mTimers.end())
        return false;
    mTimers.erase(t);
    return true;
}

bool VirtualClock::unregisterTimers(QObject *object)
{
    const auto gone = std::remove_if(mTimers.begin(), mTimers.end(),
                                     [object](const Timer &t) { return t.object == object; });
    const bool any = gone != mTimers.end();
    mTimers.erase(gone, mTimers.end());
    return any;
}

QList<QAbstractEventDispatcher::TimerInfo> VirtualClock::registeredTimers(QObject *object) const
{
    QList<TimerInfo> out;
    for (const Timer &t : mTimers) {
        if (t.object == object)
            out.append(TimerInfo(t.id, t.interval, t.type));
    }
    return out;
}

int VirtualClock::remainingTime(int timerId)
{
    for (const Timer &t : mTimers) {
        if (t.id == timerId)
            return int(qMax<qint64>(0, t.due - mNow));
    }
    return -1;
}

} // namespace qvxtest
