#pragma once

// What crossed the serial line, counted as the plugin's receive rules see it: frames by
// command (with rate, age and the bytes that changed), the ACKs and NAKs the head unit wrote,
// checksum errors, bytes skipped while hunting for a header, parse-out resets, unknown
// commands, and the link going up and down. The last chunks both ways are kept for --view.

#include "reader.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QObject>
#include <QTimer>

namespace tools {

class LinkCounters : public QObject
{
    Q_OBJECT
public:
    struct Frames
    {
        int count = 0;
        QList<qint64> recent; // arrival times of the last second, for the rate
        qint64 lastMs = -1;
        QByteArray last;
        QByteArray before; // the data the one before carried
    };
    struct Chunk
    {
        qint64 ms;
        bool fromAdapter;
        QByteArray bytes;
    };

    explicit LinkCounters(QObject *parent = nullptr);

public slots:
    void fromAdapter(const QByteArray &chunk);
    void fromHeadUnit(const QByteArray &bytes);
    void linkStatus(int status);

public:
    qint64 nowMs() const { return mClock.elapsed(); }
    int linkStatusNow() const { return mStatus; }
    const QMap<int, Frames> &frames() const { return mFrames; }
    const QList<Chunk> &chunks() const { return mChunks; }
    // Frames of cmd that arrived in the last second.
    int rate(int cmd) const;

    QJsonObject json() const;
    QString text() const;

signals:
    void changed();

private:
    void take(const QList<protocol::Reader::Item> &items);

    QElapsedTimer mClock;
    protocol::Reader mReader;
    QTimer mParseOut;
    QMap<int, Frames> mFrames;
    QList<Chunk> mChunks;
    int mAcks = 0, mNaks = 0, mChecksumErrors = 0, mSkipped = 0, mParseOuts = 0, mUnknown = 0;
    int mUps = 0, mDowns = 0;
    int mStatus = 0;
};

} // namespace tools
