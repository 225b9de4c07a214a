#pragma once

// The simulated adapter: plays a scenario or a capture on a link, prints what the head
// unit sends, answers climate commands and data requests as an adapter would, checks the
// scenario's expectations and sums up.

#include "capture.h"
#include "car.h"
#include "reader.h"
#include "scenario.h"
#include "wire.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QTextStream>
#include <QTimer>

namespace tools {

class AdapterLink;

class AdapterSimulator : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        bool waitForHost = true; // the clock starts with the head unit's first bytes,
        double hostSilence = 2;  // or after this many seconds of its silence (a head unit
                                 // that was already running does not speak again)
        double settle = 0.5;     // seconds left for answers after the last write
        bool quiet = false;      // do not print what the adapter writes
        bool linger = false;     // after the summary go on answering until stopped
        int fanScale = 18;
        bool check = false; // a replay compares the head unit's frames with the capture's
        QString junit;      // JUnit XML report written with the summary, when set
    };

    AdapterSimulator(AdapterLink *link, QTextStream &out, const Options &options,
                     QObject *parent = nullptr);

    void setScenario(const Scenario &scenario, const QString &name);
    // Plays the adapter's side of a capture, its timing divided by `speed`; answers nothing.
    void setReplay(const QList<CaptureRecord> &records, double speed, const QString &name);

    void start();
    // Ends now: unmet expectations fail, the summary is printed if it was not yet,
    // finished() follows.
    void stop();

    // 0 when every expectation was met.
    int exitCode() const;

    // A line typed on the simulator's input: help, state, or a scenario action without its
    // time (the car in words, a frame, a fault), played now.
    void command(const QString &line);
    // The car as it stands: what it was last told, by words, frames or climate keys.
    const Car &car() const { return mCar; }

signals:
    void finished(int exitCode);

private:
    struct Piece
    {
        double due;
        QByteArray bytes;
        int line;
        bool beginsFrame; // the first piece of a frame (not of raw bytes)
    };
    struct Sent
    {
        int line;
        double time;
        int cmd;
        bool good;
        bool answered = false;
    };
    // A frame the head unit never completed: swallowed by an unfinished one and dropped.
    struct Lost
    {
        int line;
        double time;
        int cmd;
        double droppedAt;
    };
    struct Begun // where a written frame begins in the stream to the head unit
    {
        qint64 offset;
        int line;
        double time;
        int cmd;
    };
    struct Received
    {
        double time;
        int cmd;
        QByteArray data;
        bool used = false;
    };
    struct Expectation
    {
        ScenarioStep step;
        double opens;
        enum State { Pending, Met, Failed } state = Pending;
    };

    double now() const;
    void print(double time, const QString &text);
    void begin();
    void runDueSteps();
    void runStep(const ScenarioStep &step);
    void send(const QByteArray &bytes, int line, bool frame = true);
    void pump();
    void printReplayed(const protocol::Reader::Item &item);
    void onOutItems(const QList<protocol::Reader::Item> &items, int line);
    void onInItems(const QList<protocol::Reader::Item> &items);
    qint64 wireMs() const { return mWire.elapsed(); }
    void armParseOut(QTimer &timer, const protocol::Reader &reader);
    void onReceived(const QByteArray &chunk);
    void onHostFrame(int cmd, const QByteArray &data);
    void answer(int cmd, const QByteArray &data);
    void matchAnswer(int cmd, const QByteArray &data, bool ack);
    bool tryMeet(Expectation &expectation);
    void expire(int index);
    void maybeFinish();
    void summarise();
    void compareWithCapture();
    void writeJunit();

    AdapterLink *mLink;
    QTextStream &mOut;
    Options mOptions;
    QString mName;
    bool mAnswer = true;
    bool mReplay = false;
    int mRecordedHostChunks = -1;

    QList<ScenarioStep> mSteps;
    double mDuration = 0;
    int mNext = 0;
    bool mStarted = false;
    bool mSummarised = false;
    bool mStopping = false;
    QElapsedTimer mClock;
    QTimer mStepTimer;
    QTimer mSilenceTimer;
    QTimer mEndTimer;

    int mChunkSize = 0;
    double mChunkGap = 0;
    double mLastWrite = -1;
    QList<Piece> mQueue;
    QTimer mPumpTimer;

    QElapsedTimer mWire;         // the readers' clock, running from construction
    protocol::Reader mOutReader; // the stream as the head unit parses it
    QTimer mOutParseOut;
    qint64 mOutOffset = 0;
    QList<Begun> mBegun;
    QList<Lost> mLost;
    protocol::Reader mInReader;
    QTimer mInParseOut;
    QList<Sent> mSent;
    QList<Received> mReceived;
    QList<Expectation> mExpectations;
    int mAcks = 0;
    int mNaks = 0;
    int mStrayAnswers = 0;
    int mOtherFrames = 0;
    QHash<int, QByteArray> mLastData;
    Car mCar;
    struct Wanted // a head-unit frame of the capture, for --check
    {
        int line;
        int cmd;
        QByteArray data;
        QString difference; // empty when the head unit wrote it again
    };
    QList<Wanted> mWanted;
    QStringList mExtra;         // frames the head unit wrote that the capture does not hold
    bool mFaultPending = false; // a `next` line waits for the next frame
    ScenarioStep mFault;
};

} // namespace tools
