#pragma once

// A byte stream read exactly as the head unit's plugin reads it, for the tools that must know
// what it made of the bytes: the simulator, the tap, the benchmarks.
//
//   - 5A, then anything up to A5, is a header; bytes before a 5A are skipped.
//   - LEN, CMD, LEN data bytes, then the checksum: a frame, or a bad checksum (answered NAK).
//   - A LEN 0 frame never reaches its checksum: everything after it is swallowed.
//   - When a chunk arrives with a frame left unfinished by an earlier chunk, and the parse-out
//     timer is not running, it starts (500 ms); a frame that completes stops it. When it
//     fires, whatever was unfinished is dropped.
//
// The reader is told the time with each chunk and by poll(); it keeps no clock of its own.

#include "protocol.h"

#include <QList>

namespace protocol {

class Reader
{
public:
    struct Item
    {
        enum Kind { Frame, BadChecksum, Skipped, ParseOut };
        Kind kind;
        int cmd;          // Frame and BadChecksum; -1 otherwise
        QByteArray data;  // Frame and BadChecksum
        QByteArray bytes; // every byte the item took, header included
        qint64 offset;    // where bytes begin in the whole stream
        qint64 timeMs;
    };

    // One chunk, as the serial port delivers it at nowMs.
    QList<Item> feed(const QByteArray &chunk, qint64 nowMs)
    {
        QList<Item> items = poll(nowMs);
        if (mState != WaitHeader1 && mParseOutDue < 0)
            mParseOutDue = nowMs + ParseOutMs;
        for (int i = 0; i < chunk.size(); ++i) {
            const quint8 b = u8(chunk, i);
            if (mState == WaitHeader1) {
                if (b != Header1) {
                    if (mSkipped.isEmpty())
                        mSkippedAt = mOffset;
                    mSkipped.append(char(b));
                    ++mOffset;
                    continue;
                }
                flushSkipped(&items, nowMs);
                mBytesAt = mOffset;
                mBytes.resize(0);
            }
            mBytes.append(char(b));
            ++mOffset;
            switch (mState) {
            case WaitHeader1:
                mState = WaitHeader2;
                break;
            case WaitHeader2:
                if (b == Header2)
                    mState = WaitLen;
                break;
            case WaitLen:
                mLen = b;
                mData.resize(0);
                mState = WaitCmd;
                break;
            case WaitCmd:
                mCmd = b;
                mState = WaitData;
                break;
            case WaitData:
                if (mLen == 0)
                    break; // swallowed until parse-out
                mData.append(char(b));
                if (mData.size() == mLen)
                    mState = WaitChecksum;
                break;
            case WaitChecksum: {
                QByteArray body;
                body.append(char(mLen)).append(char(mCmd)).append(mData);
                const bool good = checksum(body) == b;
                if (good)
                    mParseOutDue = -1;
                items.append(
                    {good ? Item::Frame : Item::BadChecksum, mCmd, mData, mBytes, mBytesAt, nowMs});
                mBytes.resize(0);
                mState = WaitHeader1;
                break;
            }
            }
        }
        flushSkipped(&items, nowMs);
        return items;
    }

    // The parse-out timer, when it is due by nowMs: the unfinished frame, if any, dropped.
    QList<Item> poll(qint64 nowMs)
    {
        QList<Item> items;
        if (mParseOutDue < 0 || nowMs < mParseOutDue)
            return items;
        const qint64 fired = mParseOutDue;
        mParseOutDue = -1;
        if (mState != WaitHeader1)
            items.append({Item::ParseOut, -1, QByteArray(), mBytes, mBytesAt, fired});
        mBytes.resize(0);
        mState = WaitHeader1;
        return items;
    }

    // The end of the stream: an unfinished frame is dropped as at parse-out, timer or not.
    QList<Item> finish(qint64 nowMs)
    {
        QList<Item> items;
        if (mState != WaitHeader1)
            items.append({Item::ParseOut, -1, QByteArray(), mBytes, mBytesAt, nowMs});
        mParseOutDue = -1;
        mBytes.resize(0);
        mState = WaitHeader1;
        return items;
    }

    // When the parse-out timer fires; -1 when it is not running.
    qint64 parseOutDue() const { return mParseOutDue; }
    bool inFrame() const { return mState != WaitHeader1; }
    // The unfinished frame is one of LEN 0, which only parse-out ends.
    bool swallowing() const { return mState == WaitData && mLen == 0; }

private:
    enum State { WaitHeader1, WaitHeader2, WaitLen, WaitCmd, WaitData, WaitChecksum };

    void flushSkipped(QList<Item> *items, qint64 nowMs)
    {
        if (mSkipped.isEmpty())
            return;
        items->append({Item::Skipped, -1, QByteArray(), mSkipped, mSkippedAt, nowMs});
        mSkipped.resize(0);
    }

    State mState = WaitHeader1;
    int mLen = 0;
    int mCmd = 0;
    QByteArray mData;
    QByteArray mBytes; // the unfinished frame's bytes, header included
    qint64 mBytesAt = 0;
    QByteArray mSkipped;
    qint64 mSkippedAt = 0;
    qint64 mOffset = 0;
    qint64 mParseOutDue = -1;
};

} // namespace protocol
