#pragma once

// The adapter's frames as the bench tools see them: command names in both directions,
// one-line descriptions for printing, and a byte-stream reader that never gives up.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace tools {

// Commands the adapter sends, by the short names the scenario format uses.
QString adapterCommandName(int cmd);           // empty when unknown
int adapterCommandByName(const QString &name); // -1 when unknown
QStringList adapterCommandNames();

// Commands the head unit sends.
QString hostCommandName(int cmd);
int hostCommandByName(const QString &name);
QStringList hostCommandNames();

// "climate (0x31)" or "0x55".
QString adapterCommandLabel(int cmd);

// A head-unit frame in words: ACK/NAK with the command, car select with the model, request,
// climate command, source status with code and text.
QString describeHostFrame(int cmd, const QByteArray &data);

// An adapter frame: its name and data bytes.
QString describeAdapterFrame(int cmd, const QByteArray &data);

// Assembles frames from a byte stream the way the head unit does (5A, anything up to A5,
// LEN, CMD, data, CHK), but keeps what it skipped so a tool can report it.
class FrameReader
{
public:
    struct Item
    {
        enum Kind { Frame, BadChecksum, Skipped };
        Kind kind;
        int cmd = -1;
        QByteArray data;
        QByteArray bytes; // everything the item consumed, header included
    };

    QList<Item> feed(const QByteArray &chunk);
    // Drops an unfinished frame; returns its bytes (empty when there was none).
    QByteArray reset();
    bool inFrame() const { return mState != WaitHeader1; }

private:
    enum State { WaitHeader1, WaitHeader2, WaitLen, WaitCmd, WaitData, WaitChecksum };
    State mState = WaitHeader1;
    QByteArray mBytes;
    QByteArray mSkipped;
    QByteArray mData;
    int mLen = 0;
    int mCmd = 0;
};

} // namespace tools
