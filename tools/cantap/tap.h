#pragma once

// The tap's core: bytes from each side go on to the other as soon as they arrive (unless a
// fault asked otherwise), and what went on is decoded as the receiving side reads it, printed
// one item a line, counted and recorded. Listening, nothing goes on: what was heard is decoded.

#include "car.h"
#include "linkcounters.h"
#include "pcapng.h"
#include "reader.h"
#include "tapcommands.h"

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QObject>
#include <QTextStream>
#include <QTimer>

#include <functional>

namespace cantap {

class Tap : public QObject
{
    Q_OBJECT
public:
    Tap(QTextStream &out, bool listening, QObject *parent = nullptr);
    ~Tap() override;

    // How bytes reach a side; false when they were lost (that side's port closed).
    void setWriter(Side to, std::function<bool(const QByteArray &)> write);
    // Records what went on: pcapng when the name ends in .pcapng, else the text capture.
    bool record(const QString &path, QString *error);
    // Whether the head unit's frames are seen, so that answers can be matched.
    void setHearsHeadUnit(bool hears) { mHearsHeadUnit = hears; }

    // Bytes that arrived from a side.
    void arrived(Side from, const QByteArray &bytes);
    // A fault or a word about the tap; false with a message when it cannot be done.
    bool apply(const TapCommand &command, QString *error);
    // One line of the tap's own (ports opening, the plugin's state).
    void note(const QString &who, const QString &text);
    // Ends the recording: what is unfinished goes in as it is.
    void finish();

    tools::LinkCounters &counters() { return mCounters; }
    tools::Car &car() { return mCar; }
    double seconds() const { return mClock.nsecsElapsed() / 1e9; }

signals:
    // Bytes that went on (or were heard), as the receiving side got them.
    void delivered(Side from, const QByteArray &bytes);

private:
    struct Fault
    {
        TapCommand command;
        qint64 armedAt; // stream offset: frames that begin earlier are not hit
    };
    struct Piece
    {
        qint64 dueMs;
        QByteArray bytes;
    };
    struct Way
    {
        protocol::Reader cutter; // the stream as it arrives, for the faults that hit a frame
        qint64 arrived = 0;
        qint64 covered = 0; // the end of the last whole item the cutter gave
        QByteArray held;    // an unfinished frame held back for a fault (ends at `arrived`)
        QList<Fault> faults;
        int delayMs = 0;
        QList<Piece> queue; // bytes waiting for their time, in order
        QTimer pump;
        QTimer holdTimer;
        protocol::Reader decoder; // what went on, as the receiving side reads it
        QTimer parseOut;
        qint64 lost = 0; // bytes that found the other side's port closed
        qint64 cutBytes = 0;
    };
    struct Unanswered
    {
        int cmd;
        double time;
    };

    qint64 ms() const { return mClock.elapsed(); }
    void forward(Side from, const QByteArray &bytes);
    void hold(Side from);
    void hit(Side from, const Fault &fault, const QByteArray &frame, int cmd);
    void send(Side from, const QByteArray &bytes, qint64 dueMs);
    void pump(Side from);
    void deliver(Side from, const QByteArray &bytes);
    void decode(Side from, const QList<protocol::Reader::Item> &items);
    void frame(Side from, const protocol::Reader::Item &item);
    void expireUnanswered();
    void print(const QString &who, const QString &what, const QString &text);
    void writeRecord(Side from, const QByteArray &bytes);

    QTextStream &mOut;
    bool mListening;
    bool mHearsHeadUnit = true;
    QElapsedTimer mClock;
    qint64 mEpochUsecs = 0;
    Way mWays[2];
    std::function<bool(const QByteArray &)> mWriters[2];
    qint64 mCutUntilMs = -1;
    QTimer mCutEnd;
    tools::Car mCar;
    QHash<int, QStringList> mSaid; // each adapter command's frame in words, as last heard
    QList<Unanswered> mUnanswered;
    QTimer mAnswerCheck;
    tools::LinkCounters mCounters;
    tools::PcapngWriter mPcapng;
    QFile mText;
    QTextStream mTextOut;
};

} // namespace cantap
