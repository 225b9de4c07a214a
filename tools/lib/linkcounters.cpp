#include "linkcounters.h"

#include <QJsonArray>
#include <QStringList>

namespace tools {

namespace {
const int KeptChunks = 64;

QString commandName(int cmd)
{
    const protocol::Command *c = protocol::command(protocol::ToHeadUnit, cmd);
    return c ? QLatin1String(c->name) : QStringLiteral("0x%1").arg(cmd, 2, 16, QLatin1Char('0'));
}
} // namespace

LinkCounters::LinkCounters(QObject *parent) : QObject(parent)
{
    mClock.start();
    mParseOut.setSingleShot(true);
    // The timer says when: the clock may be a test's.
    connect(&mParseOut, &QTimer::timeout, this,
            [this] { take(mReader.poll(qMax(nowMs(), mReader.parseOutDue()))); });
}

void LinkCounters::fromAdapter(const QByteArray &chunk)
{
    mChunks.append({nowMs(), true, chunk});
    while (mChunks.size() > KeptChunks)
        mChunks.removeFirst();
    take(mReader.feed(chunk, nowMs()));
}

void LinkCounters::fromHeadUnit(const QByteArray &bytes)
{
    mChunks.append({nowMs(), false, bytes});
    while (mChunks.size() > KeptChunks)
        mChunks.removeFirst();
    // The head unit writes whole frames, one a call.
    const quint8 cmd = protocol::u8(bytes, protocol::CommandAt);
    mAcks += cmd == protocol::cmd::Ack;
    mNaks += cmd == protocol::cmd::Nak;
    emit changed();
}

void LinkCounters::linkStatus(int status)
{
    if ((status != 0) != (mStatus != 0))
        ++(status ? mUps : mDowns);
    mStatus = status;
    emit changed();
}

void LinkCounters::take(const QList<protocol::Reader::Item> &items)
{
    using Item = protocol::Reader::Item;
    for (const Item &item : items) {
        switch (item.kind) {
        case Item::Frame: {
            Frames &f = mFrames[item.cmd];
            ++f.count;
            while (!f.recent.isEmpty() && f.recent.first() <= item.timeMs - 1000)
                f.recent.removeFirst();
            f.recent.append(item.timeMs);
            f.lastMs = item.timeMs;
            f.before = f.last;
            f.last = item.data;
            mUnknown += protocol::command(protocol::ToHeadUnit, item.cmd) == nullptr;
            break;
        }
        case Item::BadChecksum:
            ++mChecksumErrors;
            break;
        case Item::Skipped:
            mSkipped += item.bytes.size();
            break;
        case Item::ParseOut:
            ++mParseOuts;
            break;
        }
    }
    if (mReader.parseOutDue() < 0)
        mParseOut.stop();
    else
        mParseOut.start(int(qMax<qint64>(0, mReader.parseOutDue() - nowMs())));
    emit changed();
}

int LinkCounters::rate(int cmd) const
{
    int n = 0;
    for (qint64 t : mFrames.value(cmd).recent)
        n += t > nowMs() - 1000;
    return n;
}

QJsonObject LinkCounters::json() const
{
    QJsonObject frames;
    for (auto it = mFrames.begin(); it != mFrames.end(); ++it)
        frames.insert(commandName(it.key()), it->count);
    return {{"frames", frames},
            {"acks", mAcks},
            {"naks", mNaks},
            {"checksumErrors", mChecksumErrors},
            {"skippedBytes", mSkipped},
            {"parseOuts", mParseOuts},
            {"unknownCommands", mUnknown},
            {"linkUp", mUps},
            {"linkDown", mDowns}};
}

QString LinkCounters::text() const
{
    QStringList frames;
    for (auto it = mFrames.begin(); it != mFrames.end(); ++it)
        frames << QStringLiteral("%1 %2").arg(commandName(it.key())).arg(it->count);
    return QStringLiteral("frames: %1 | sent %2 ACK, %3 NAK | %4 checksum errors, %5 bytes "
                          "skipped, %6 parse-outs, %7 unknown | link up %8, down %9")
        .arg(frames.isEmpty() ? QStringLiteral("none") : frames.join(QStringLiteral(", ")))
        .arg(mAcks)
        .arg(mNaks)
        .arg(mChecksumErrors)
        .arg(mSkipped)
        .arg(mParseOuts)
        .arg(mUnknown)
        .arg(mUps)
        .arg(mDowns);
}

} // namespace tools
