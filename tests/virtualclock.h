#pragma once

// An event dispatcher whose time stands still until it is told to move on. The service's
// own QTimers run on it unchanged: started, stopped and asked isActive() as usual, they
// fire when advance() carries the clock past their deadline, in deadline order.
//
// Install it before the application object exists:
//     QCoreApplication::setEventDispatcher(new qvxtest::VirtualClock);

#include <QAbstractEventDispatcher>
#include <QList>

namespace qvxtest {

class VirtualClock : public QAbstractEventDispatcher
{
    Q_OBJECT
public:
    // The clock installed on this thread, or null.
    static VirtualClock *instance();

    qint64 now() const { return mNow; }
    // Moves time on by ms, firing every timer that falls due on the way.
    void advance(qint64 ms);
    int timerCount() const { return mTimers.size(); }

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override;
    void registerSocketNotifier(QSocketNotifier *) override {}
    void unregisterSocketNotifier(QSocketNotifier *) override {}
    void registerTimer(int timerId, int interval, Qt::TimerType type, QObject *object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject *object) override;
    QList<TimerInfo> registeredTimers(QObject *object) const override;
    int remainingTime(int timerId) override;
    void wakeUp() override {}
    void interrupt() override {}
    void flush() override {}

private:
    struct Timer
    {
        int id;
        int interval;
        Qt::TimerType type;
        QObject *object;
        qint64 due;
    };
    QList<Timer> mTimers;
    qint64 mNow = 0;
};

} // namespace qvxtest
