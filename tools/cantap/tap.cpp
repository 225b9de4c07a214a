#include "tap.h"

#include "capture.h"
#include "protocol.h"
#include "textparse.h"
#include "wire.h"

#include <QDateTime>
#include <QRandomGenerator>

namespace cantap {

namespace {

const int AnswerMs = 1000; // an adapter frame not answered by then is reported

QString sideName(Side s)
{
    return s == FromAdapter ? QStringLiteral("adapter") : QStringLiteral("headunit");
}

Side other(Side s)
{
    return s == FromAdapter ? FromHeadUnit : FromAdapter;
}

QString commandLabel(Side from, int cmd)
{
    const QString name =
        from == FromAdapter ? tools::adapterCommandName(cmd) : tools::hostCommandName(cmd);
    return name.isEmpty() ? QStringLiteral("0x%1").arg(cmd, 2, 16, QLatin1Char('0')) : name;
}

qint64 endOf(const protocol::Reader::Item &item)
{
    return item.offset + item.bytes.size();
}

} // namespace

Tap::Tap(QTextStream &out, bool listening, QObject *parent)
    : QObject(parent), mOut(out), mListening(listening), mTextOut(&mText)
{
    mClock.start();
    mEpochUsecs = QDateTime::currentMSecsSinceEpoch() * 1000;
    for (Side s : {FromAdapter, FromHeadUnit}) {
        Way &w = mWays[s];
        w.pump.setSingleShot(true);
        connect(&w.pump, &QTimer::timeout, this, [this, s] { pump(s); });
        w.holdTimer.setSingleShot(true);
        connect(&w.holdTimer, &QTimer::timeout, this, [this, s] {
            // The held frame never finished: the receiving side drops it, so it goes on as is.
            Way &w = mWays[s];
            for (const auto &item : w.cutter.poll(qMax(ms(), w.cutter.parseOutDue())))
                w.covered = endOf(item);
            send(s, w.held, 0);
            w.held.clear();
        });
        w.parseOut.setSingleShot(true);
        connect(&w.parseOut, &QTimer::timeout, this, [this, s] {
            Way &w = mWays[s];
            decode(s, w.decoder.poll(qMax(ms(), w.decoder.parseOutDue())));
        });
    }
    mCutEnd.setSingleShot(true);
    connect(&mCutEnd, &QTimer::timeout, this, [this] {
        mCutUntilMs = -1;
        print(QStringLiteral("fault"), QStringLiteral("cut"),
              QStringLiteral("line restored: %1 bytes from the adapter and %2 from the head unit "
                             "dropped")
                  .arg(mWays[FromAdapter].cutBytes)
                  .arg(mWays[FromHeadUnit].cutBytes));
    });
    connect(&mAnswerCheck, &QTimer::timeout, this, &Tap::expireUnanswered);
    mAnswerCheck.start(AnswerMs / 4);
}

Tap::~Tap()
{
    finish();
}

void Tap::setWriter(Side to, std::function<bool(const QByteArray &)> write)
{
    mWriters[to] = std::move(write);
}

bool Tap::record(const QString &path, QString *error)
{
    if (path.endsWith(QLatin1String(".pcapng")))
        return mPcapng.open(path, error);
    mText.setFileName(path);
    if (!mText.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        *error = mText.errorString();
        return false;
    }
    mTextOut << "# cantap: rx from the adapter, tx from the head unit, as they went on\n";
    mTextOut.flush();
    return true;
}

void Tap::finish()
{
    if (mPcapng.isOpen())
        mPcapng.close(mEpochUsecs + mClock.nsecsElapsed() / 1000);
    mText.close();
}

void Tap::arrived(Side from, const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return;
    if (mListening) {
        deliver(from, bytes);
    } else if (mCutUntilMs >= 0) {
        mWays[from].cutBytes += bytes.size();
    } else if (mWays[from].faults.isEmpty() && mWays[from].held.isEmpty()) {
        Way &w = mWays[from];
        for (const auto &item : w.cutter.feed(bytes, ms())) // where frames begin, for a fault
            w.covered = endOf(item);
        w.arrived += bytes.size();
        send(from, bytes, 0);
    } else {
        forward(from, bytes);
    }
}

// With a fault waiting: bytes go on up to the frame it hits, that frame as the fault says,
// and an unfinished frame is held back until it is whole.
void Tap::forward(Side from, const QByteArray &bytes)
{
    Way &w = mWays[from];
    const QList<protocol::Reader::Item> items = w.cutter.feed(bytes, ms());
    w.held += bytes;
    w.arrived += bytes.size();
    qint64 heldAt = w.arrived - w.held.size();
    for (const protocol::Reader::Item &item : items) {
        const bool frame = item.kind == protocol::Reader::Item::Frame ||
                           item.kind == protocol::Reader::Item::BadChecksum;
        if (frame && item.offset >= heldAt) {
            for (int i = 0; i < w.faults.size(); ++i) {
                const Fault f = w.faults.at(i);
                if (f.armedAt > item.offset || (f.command.cmd >= 0 && f.command.cmd != item.cmd))
                    continue;
                send(from, w.held.left(int(item.offset - heldAt)), 0);
                w.faults.removeAt(i);
                hit(from, f, item.bytes, item.cmd);
                w.held.remove(0, int(endOf(item) - heldAt));
                heldAt = endOf(item);
                break;
            }
        }
        w.covered = endOf(item);
    }
    const qint64 keepFrom =
        !w.faults.isEmpty() && w.cutter.inFrame() ? qMax(w.covered, heldAt) : w.arrived;
    send(from, w.held.left(int(keepFrom - heldAt)), 0);
    w.held.remove(0, int(keepFrom - heldAt));
    if (!w.held.isEmpty() && w.cutter.parseOutDue() >= 0)
        w.holdTimer.start(int(qMax<qint64>(0, w.cutter.parseOutDue() - ms())));
    else
        w.holdTimer.stop();
}

void Tap::hit(Side from, const Fault &fault, const QByteArray &frame, int cmd)
{
    const TapCommand &c = fault.command;
    QString what;
    QByteArray now = frame, later; // what goes on at once and what after the gap
    switch (c.kind) {
    case TapCommand::Corrupt:
        now[now.size() - 1] = char(quint8(now.back()) + 1);
        what = QStringLiteral("checksum %1 goes on as %2")
                   .arg(tools::hexText(frame.right(1)), tools::hexText(now.right(1)));
        break;
    case TapCommand::Split:
        now = frame.left(c.n);
        later = frame.mid(c.n);
        what = QStringLiteral("%1 bytes go on, the other %2 %3 ms later")
                   .arg(now.size())
                   .arg(later.size())
                   .arg(c.gapMs);
        break;
    case TapCommand::Truncate:
        now = frame.left(c.n);
        what = QStringLiteral("%1 of its %2 bytes go on").arg(now.size()).arg(frame.size());
        break;
    case TapCommand::Drop:
        now.clear();
        what = QStringLiteral("dropped");
        break;
    case TapCommand::Noise: {
        QByteArray noise(c.n, 0);
        for (char &b : noise) {
            do
                b = char(QRandomGenerator::global()->bounded(256));
            while (quint8(b) == protocol::Header1); // noise must not begin a frame
        }
        now.prepend(noise);
        what = QStringLiteral("%1 bytes of noise go on before it").arg(c.n);
        break;
    }
    default:
        break;
    }
    print(QStringLiteral("fault"), c.text,
          QStringLiteral("hit %1 %2: %3 (%4)")
              .arg(sideName(from), commandLabel(from, cmd), what, tools::hexText(frame)));
    send(from, now, 0);
    send(from, later, c.gapMs);
}

void Tap::send(Side from, const QByteArray &bytes, qint64 laterMs)
{
    if (bytes.isEmpty())
        return;
    Way &w = mWays[from];
    qint64 due = ms() + w.delayMs + laterMs;
    if (!w.queue.isEmpty())
        due = qMax(due, w.queue.last().dueMs); // nothing overtakes
    if (w.queue.isEmpty() && due <= ms()) {
        deliver(from, bytes);
        return;
    }
    w.queue.append({due, bytes});
    if (!w.pump.isActive())
        w.pump.start(int(qMax<qint64>(0, w.queue.first().dueMs - ms())));
}

void Tap::pump(Side from)
{
    Way &w = mWays[from];
    while (!w.queue.isEmpty() && w.queue.first().dueMs <= ms())
        deliver(from, w.queue.takeFirst().bytes);
    if (!w.queue.isEmpty())
        w.pump.start(int(qMax<qint64>(0, w.queue.first().dueMs - ms())));
}

void Tap::deliver(Side from, const QByteArray &bytes)
{
    Way &w = mWays[from];
    if (!mListening && mWriters[other(from)]) {
        if (!mWriters[other(from)](bytes)) {
            if (w.lost == 0)
                print(sideName(other(from)), QStringLiteral("port"),
                      QStringLiteral("closed: what the %1 sends is lost until it opens")
                          .arg(sideName(from)));
            w.lost += bytes.size();
            return;
        }
        if (w.lost > 0) {
            print(sideName(other(from)), QStringLiteral("port"),
                  QStringLiteral("%1 bytes from the %2 were lost while it was closed")
                      .arg(w.lost)
                      .arg(sideName(from)));
            w.lost = 0;
        }
    }
    emit delivered(from, bytes);
    writeRecord(from, bytes);
    if (from == FromAdapter)
        mCounters.fromAdapter(bytes);
    decode(from, w.decoder.feed(bytes, ms()));
}

void Tap::decode(Side from, const QList<protocol::Reader::Item> &items)
{
    using Item = protocol::Reader::Item;
    const QString who = sideName(from);
    for (const Item &item : items) {
        switch (item.kind) {
        case Item::Frame:
            if (from == FromHeadUnit)
                mCounters.fromHeadUnit(item.bytes);
            frame(from, item);
            break;
        case Item::BadChecksum:
            print(who, QStringLiteral("BAD"),
                  QStringLiteral("%1 with checksum %2, %3 expected: %4")
                      .arg(commandLabel(from, item.cmd), tools::hexText(item.bytes.right(1)),
                           tools::hexText(QByteArray(1, char(protocol::checksum(item.bytes.mid(
                                                            2, item.bytes.size() - 3))))),
                           tools::hexText(item.bytes)));
            if (from == FromAdapter && mHearsHeadUnit)
                mUnanswered.append({item.cmd, seconds()});
            break;
        case Item::Skipped:
            print(who, QStringLiteral("skipped"),
                  QStringLiteral("%1 bytes that begin no frame: %2")
                      .arg(item.bytes.size())
                      .arg(tools::hexText(item.bytes)));
            break;
        case Item::ParseOut:
            print(who, QStringLiteral("cut off"),
                  QStringLiteral("%1 (unfinished for %2 ms, dropped)")
                      .arg(tools::hexText(item.bytes))
                      .arg(protocol::ParseOutMs));
            break;
        }
    }
    Way &w = mWays[from];
    if (w.decoder.parseOutDue() < 0)
        w.parseOut.stop();
    else
        w.parseOut.start(int(qMax<qint64>(0, w.decoder.parseOutDue() - ms())));
}

void Tap::frame(Side from, const protocol::Reader::Item &item)
{
    const QString name = commandLabel(from, item.cmd);
    if (from == FromHeadUnit) {
        QString text = tools::describeHostFrame(item.cmd, item.data);
        const bool answer = item.cmd == protocol::cmd::Ack || item.cmd == protocol::cmd::Nak;
        if (answer) {
            const int answered = protocol::u8(item.data, protocol::ack::Command);
            int i = 0;
            while (i < mUnanswered.size() && mUnanswered.at(i).cmd != answered)
                ++i;
            if (i < mUnanswered.size()) {
                text += QStringLiteral("   +%1 ms")
                            .arg((seconds() - mUnanswered.takeAt(i).time) * 1000, 0, 'f', 1);
            } else if (mHearsHeadUnit) {
                text += QStringLiteral("   (answers no frame seen)");
            }
        }
        print(sideName(from), name, text);
        return;
    }
    const QStringList said = tools::Car::say(item.cmd, item.data);
    QString text;
    if (said.isEmpty()) {
        text = tools::describeAdapterFrame(item.cmd, item.data);
    } else if (item.cmd == protocol::cmd::Wheel || item.cmd == protocol::cmd::Panel) {
        text = said.join(QStringLiteral("; "));
    } else {
        const QStringList before = mSaid.contains(item.cmd)
                                       ? mSaid.value(item.cmd)
                                       : tools::Car::say(item.cmd, tools::Car().data(item.cmd));
        QStringList changed;
        for (int i = 0; i < said.size(); ++i) {
            if (said.at(i) != before.value(i))
                changed << said.at(i);
        }
        text =
            changed.isEmpty() ? QStringLiteral("(no change)") : changed.join(QStringLiteral("; "));
        mSaid.insert(item.cmd, said);
        mCar.setData(item.cmd, item.data);
    }
    if (mHearsHeadUnit)
        mUnanswered.append({item.cmd, seconds()});
    print(sideName(from), name, text);
}

void Tap::expireUnanswered()
{
    while (!mUnanswered.isEmpty() && (seconds() - mUnanswered.first().time) * 1000 > AnswerMs) {
        const Unanswered u = mUnanswered.takeFirst();
        print(QStringLiteral("adapter"), commandLabel(FromAdapter, u.cmd),
              QStringLiteral("UNANSWERED: no ACK or NAK went on to the adapter within %1 ms "
                             "(sent at %2)")
                  .arg(AnswerMs)
                  .arg(u.time, 0, 'f', 3));
    }
}

bool Tap::apply(const TapCommand &c, QString *error)
{
    switch (c.kind) {
    case TapCommand::Corrupt:
    case TapCommand::Split:
    case TapCommand::Truncate:
    case TapCommand::Drop:
    case TapCommand::Noise:
    case TapCommand::Delay:
    case TapCommand::Cut:
        if (mListening) {
            *error = QStringLiteral("listening: nothing goes on through the tap, so nothing "
                                    "can be changed");
            return false;
        }
        break;
    default:
        break;
    }
    Way &w = mWays[c.side];
    switch (c.kind) {
    case TapCommand::Corrupt:
    case TapCommand::Split:
    case TapCommand::Truncate:
    case TapCommand::Drop:
    case TapCommand::Noise:
        w.faults.append({c, w.arrived});
        print(QStringLiteral("fault"), c.text,
              QStringLiteral("waits for the next frame from the %1").arg(sideName(c.side)));
        break;
    case TapCommand::Delay:
        w.delayMs = c.n;
        print(QStringLiteral("fault"), c.text,
              c.n ? QStringLiteral("everything from the %1 goes on %2 ms late")
                        .arg(sideName(c.side))
                        .arg(c.n)
                  : QStringLiteral("no delay from the %1").arg(sideName(c.side)));
        break;
    case TapCommand::Cut:
        mCutUntilMs = ms() + qint64(c.seconds * 1000);
        mWays[0].cutBytes = mWays[1].cutBytes = 0;
        mCutEnd.start(int(c.seconds * 1000));
        print(QStringLiteral("fault"), c.text,
              QStringLiteral("line cut both ways for %1 s").arg(c.seconds));
        break;
    case TapCommand::State:
        mOut << mCar.describe() << mCounters.text() << '\n';
        mOut.flush();
        break;
    case TapCommand::Help:
        mOut << tapCommandHelp();
        mOut.flush();
        break;
    default:
        break;
    }
    return true;
}

void Tap::note(const QString &who, const QString &text)
{
    print(who, QString(), text);
}

void Tap::print(const QString &who, const QString &what, const QString &text)
{
    mOut << QString::asprintf("%8.3f ", seconds()) << who.leftJustified(9) << ' '
         << what.leftJustified(10) << ' ' << text << '\n';
    mOut.flush();
}

void Tap::writeRecord(Side from, const QByteArray &bytes)
{
    if (mPcapng.isOpen())
        mPcapng.chunk(mEpochUsecs + mClock.nsecsElapsed() / 1000, from == FromAdapter, bytes);
    if (mText.isOpen()) {
        tools::CaptureRecord r;
        r.time = seconds();
        r.received = from == FromAdapter;
        r.bytes = bytes;
        mTextOut << tools::formatCaptureRecord(r) << '\n';
        mTextOut.flush();
    }
}

} // namespace cantap
