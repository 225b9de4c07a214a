#include "simulator.h"

#include <QFile>
#include <QXmlStreamWriter>

#include "links.h"
#include "protocol.h"
#include "textparse.h"

#include <climits>
#include <cmath>

namespace tools {

namespace {

int msUntil(double seconds, double now)
{
    // A scenario may name any time; a timer takes at most INT_MAX ms.
    const double ms = std::ceil((seconds - now) * 1000.0);
    return ms <= 0 ? 0 : ms >= double(INT_MAX) ? INT_MAX : int(ms);
}
} // namespace

AdapterSimulator::AdapterSimulator(AdapterLink *link, QTextStream &out, const Options &options,
                                   QObject *parent)
    : QObject(parent), mLink(link), mOut(out), mOptions(options), mCar(options.fanScale)
{
    for (QTimer *timer :
         {&mStepTimer, &mSilenceTimer, &mEndTimer, &mPumpTimer, &mOutParseOut, &mInParseOut}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
    }
    mWire.start();
    connect(&mStepTimer, &QTimer::timeout, this, &AdapterSimulator::runDueSteps);
    connect(&mSilenceTimer, &QTimer::timeout, this, [this] {
        mOut << "adaptersim: the head unit has not spoken for " << mOptions.hostSilence
             << " s; starting anyway\n";
        begin();
    });
    connect(&mPumpTimer, &QTimer::timeout, this, &AdapterSimulator::pump);
    connect(&mEndTimer, &QTimer::timeout, this, &AdapterSimulator::maybeFinish);
    connect(&mOutParseOut, &QTimer::timeout, this, [this] {
        onOutItems(mOutReader.poll(wireMs()), 0);
        armParseOut(mOutParseOut, mOutReader);
        maybeFinish();
    });
    connect(&mInParseOut, &QTimer::timeout, this, [this] {
        onInItems(mInReader.poll(wireMs()));
        armParseOut(mInParseOut, mInReader);
    });
    connect(mLink, &AdapterLink::received, this, &AdapterSimulator::onReceived);
}

void AdapterSimulator::setScenario(const Scenario &scenario, const QString &name)
{
    mSteps = scenario.steps;
    mDuration = scenario.duration();
    mName = name;
    mAnswer = true;
}

void AdapterSimulator::setReplay(const QList<CaptureRecord> &records, double speed,
                                 const QString &name)
{
    mSteps.clear();
    mName = name;
    mAnswer = false;
    mReplay = true;
    mRecordedHostChunks = 0;
    const double t0 = records.isEmpty() ? 0.0 : records.first().time;
    protocol::Reader hostSide; // the capture's head-unit frames, for --check
    for (const CaptureRecord &record : records) {
        if (!record.received) {
            ++mRecordedHostChunks;
            for (const protocol::Reader::Item &item :
                 hostSide.feed(record.bytes, qint64(record.time * 1000))) {
                if (item.kind == protocol::Reader::Item::Frame)
                    mWanted.append({record.line, item.cmd, item.data, QString()});
            }
            continue;
        }
        ScenarioStep step;
        step.kind = ScenarioStep::Raw;
        step.line = record.line;
        step.time = (record.time - t0) / speed;
        step.bytes = record.bytes;
        mSteps.append(step);
    }
    mDuration = mSteps.isEmpty() ? 0.0 : mSteps.last().time;
}

double AdapterSimulator::now() const
{
    return mStarted ? mClock.nsecsElapsed() / 1e9 : 0.0;
}

void AdapterSimulator::print(double time, const QString &text)
{
    mOut << QString::asprintf("%8.3f ", time) << text << '\n';
    mOut.flush();
}

void AdapterSimulator::start()
{
    mOut << "adaptersim: " << mLink->description() << '\n';
    if (mOptions.waitForHost) {
        mOut << "adaptersim: waiting for the head unit to speak\n";
        mSilenceTimer.start(msUntil(mOptions.hostSilence, 0));
    }
    mOut.flush();
    if (!mOptions.waitForHost)
        begin();
}

void AdapterSimulator::begin()
{
    mSilenceTimer.stop();
    mStarted = true;
    mClock.start();
    if (!mName.isEmpty())
        print(0, QStringLiteral("%1 %2 starts").arg(mAnswer ? "scenario" : "replay of", mName));
    runDueSteps();
}

void AdapterSimulator::runDueSteps()
{
    while (mNext < mSteps.size() && mSteps.at(mNext).time <= now())
        runStep(mSteps.at(mNext++));
    if (mNext < mSteps.size()) {
        mStepTimer.start(msUntil(mSteps.at(mNext).time, now()));
        return;
    }
    maybeFinish();
}

void AdapterSimulator::runStep(const ScenarioStep &step)
{
    const QString where =
        step.line > 0 ? QStringLiteral("  (line %1)").arg(step.line) : QStringLiteral("  (typed)");
    // Line numbers: a scenario's from 1, an answer's 0, a typed line's -1.
    switch (step.kind) {
    case ScenarioStep::Frame:
        if (!mOptions.quiet) {
            print(now(), QStringLiteral("-> %1%2%3")
                             .arg(step.corrupt ? QStringLiteral("corrupt ") : QString(),
                                  describeAdapterFrame(step.cmd, step.data), where));
        }
        if (!step.corrupt) {
            mLastData.insert(step.cmd, step.data);
            mCar.setData(step.cmd, step.data);
        }
        send(step.bytes, step.line);
        break;
    case ScenarioStep::Words: {
        int cmd = 0;
        double release = 0;
        QString error;
        QStringList words;
        for (const Token &t : step.words)
            words << t.text;
        if (!mCar.apply(step.words, &cmd, &release, &error)) {
            print(now(), QStringLiteral("!! %1%2").arg(error, where));
            break;
        }
        const QByteArray data = mCar.data(cmd);
        mLastData.insert(cmd, data);
        if (!mOptions.quiet) {
            print(now(),
                  QStringLiteral("-> %1: %2%3")
                      .arg(words.join(QLatin1Char(' ')), describeAdapterFrame(cmd, data), where));
        }
        send(protocol::build(quint8(cmd), data), step.line);
        break;
    }
    case ScenarioStep::Next:
        mFaultPending = true;
        mFault = step;
        break;
    case ScenarioStep::Raw:
        if (!mOptions.quiet && !mReplay)
            print(now(), QStringLiteral("-> raw %1%2").arg(hexText(step.bytes), where));
        send(step.bytes, step.line, false);
        break;
    case ScenarioStep::Chunk:
        mChunkSize = step.chunkSize;
        mChunkGap = step.chunkGap;
        break;
    case ScenarioStep::Expect: {
        Expectation expectation{step, mLastWrite};
        if (!tryMeet(expectation)) {
            const int index = mExpectations.size();
            QTimer::singleShot(msUntil(step.time + step.within, now()), Qt::PreciseTimer, this,
                               [this, index] { expire(index); });
        }
        mExpectations.append(expectation);
        break;
    }
    case ScenarioStep::End:
        break;
    }
}

void AdapterSimulator::send(const QByteArray &whole, int line, bool frame)
{
    QByteArray bytes = whole;
    mLastWrite = now();
    double due = std::max(now(), mQueue.isEmpty() ? 0.0 : mQueue.last().due);
    if (frame && mFaultPending) {
        mFaultPending = false;
        const int at = std::min(mFault.at, int(bytes.size()));
        if (mFault.fault == ScenarioStep::Corrupt) {
            bytes[bytes.size() - 1] = char(quint8(bytes.back()) + 1);
        } else if (mFault.fault == ScenarioStep::Truncate) {
            bytes.truncate(at);
        } else if (at < bytes.size()) {
            mQueue.append({due, bytes.left(at), line, true});
            mQueue.append({due + mFault.chunkGap, bytes.mid(at), line, false});
            pump();
            return;
        }
        print(now(), QStringLiteral("   (next %1 applied: %2)")
                         .arg(mFault.fault == ScenarioStep::Corrupt ? "corrupt" : "truncate",
                              hexText(bytes)));
    }
    if (mChunkSize <= 0 || bytes.size() <= mChunkSize) {
        mQueue.append({due, bytes, line, frame});
    } else {
        for (int at = 0; at < bytes.size(); at += mChunkSize) {
            mQueue.append({due, bytes.mid(at, mChunkSize), line, frame && at == 0});
            due += mChunkGap;
        }
    }
    pump();
}

void AdapterSimulator::pump()
{
    while (!mQueue.isEmpty() && mQueue.first().due <= now()) {
        const Piece piece = mQueue.takeFirst();
        if (piece.beginsFrame && piece.bytes.size() > 3)
            mBegun.append({mOutOffset, piece.line, now(), protocol::u8(piece.bytes, 3)});
        mOutOffset += piece.bytes.size();
        mLink->write(piece.bytes);
        onOutItems(mOutReader.feed(piece.bytes, wireMs()), piece.line);
        armParseOut(mOutParseOut, mOutReader);
    }
    if (!mQueue.isEmpty()) {
        mPumpTimer.start(msUntil(mQueue.first().due, now()));
        return;
    }
    if (mNext >= mSteps.size())
        maybeFinish();
}

void AdapterSimulator::armParseOut(QTimer &timer, const protocol::Reader &reader)
{
    if (reader.parseOutDue() < 0)
        timer.stop();
    else
        timer.start(int(qMax<qint64>(0, reader.parseOutDue() - wireMs())));
}

// What the head unit made of the bytes written to it: frames it will answer, and frames it
// will never see because an unfinished one swallowed them.
void AdapterSimulator::onOutItems(const QList<protocol::Reader::Item> &items, int line)
{
    for (const protocol::Reader::Item &item : items) {
        if (mReplay && !mOptions.quiet)
            printReplayed(item);
        switch (item.kind) {
        case protocol::Reader::Item::Skipped:
            break;
        case protocol::Reader::Item::ParseOut:
            print(now(), QStringLiteral("   (the head unit drops the unfinished frame %1)")
                             .arg(hexText(item.bytes)));
            for (const Begun &b : mBegun) {
                if (b.offset >= item.offset && b.offset < item.offset + item.bytes.size())
                    mLost.append({b.line, b.time, b.cmd, now()});
            }
            break;
        case protocol::Reader::Item::Frame:
        case protocol::Reader::Item::BadChecksum:
            mSent.append({line, now(), item.cmd, item.kind == protocol::Reader::Item::Frame});
            break;
        }
    }
    while (!mBegun.isEmpty() && mBegun.first().offset < mOutOffset - protocol::MaxDataLength * 64)
        mBegun.removeFirst(); // long past any frame the reader still holds
}

// A capture holds chunks, not frames: what was replayed is told once a frame is complete.
void AdapterSimulator::printReplayed(const protocol::Reader::Item &item)
{
    switch (item.kind) {
    case protocol::Reader::Item::ParseOut:
        break;
    case protocol::Reader::Item::Frame:
        print(now(), QStringLiteral("-> %1").arg(describeAdapterFrame(item.cmd, item.data)));
        break;
    case protocol::Reader::Item::BadChecksum:
        print(now(),
              QStringLiteral("-> corrupt %1").arg(describeAdapterFrame(item.cmd, item.data)));
        break;
    case protocol::Reader::Item::Skipped:
        print(now(), QStringLiteral("-> noise %1").arg(hexText(item.bytes)));
        break;
    }
}

void AdapterSimulator::onReceived(const QByteArray &chunk)
{
    onInItems(mInReader.feed(chunk, wireMs()));
    armParseOut(mInParseOut, mInReader);
    if (!mStarted && mOptions.waitForHost)
        begin();
}

void AdapterSimulator::onInItems(const QList<protocol::Reader::Item> &items)
{
    for (const protocol::Reader::Item &item : items) {
        switch (item.kind) {
        case protocol::Reader::Item::Frame:
            onHostFrame(item.cmd, item.data);
            break;
        case protocol::Reader::Item::BadChecksum:
            print(now(),
                  QStringLiteral("<- frame with a bad checksum: %1").arg(hexText(item.bytes)));
            break;
        case protocol::Reader::Item::Skipped:
            print(now(), QStringLiteral("<- noise: %1").arg(hexText(item.bytes)));
            break;
        case protocol::Reader::Item::ParseOut:
            print(now(),
                  QStringLiteral("<- unfinished frame dropped: %1").arg(hexText(item.bytes)));
            break;
        }
    }
}

void AdapterSimulator::onHostFrame(int cmd, const QByteArray &data)
{
    print(now(), QStringLiteral("<- %1").arg(describeHostFrame(cmd, data)));
    if (cmd == protocol::cmd::Ack || cmd == protocol::cmd::Nak)
        matchAnswer(protocol::u8(data, protocol::ack::Command), data, cmd == protocol::cmd::Ack);
    else
        ++mOtherFrames;
    mReceived.append({now(), cmd, data});
    for (int i = 0; i < mExpectations.size(); ++i) {
        Expectation &e = mExpectations[i];
        if (e.state == Expectation::Pending && tryMeet(e))
            maybeFinish();
    }
    if (mAnswer && mStarted)
        answer(cmd, data);
}

void AdapterSimulator::matchAnswer(int cmd, const QByteArray &data, bool ack)
{
    (ack ? mAcks : mNaks)++;
    if (data.size() != 1) {
        ++mStrayAnswers;
        return;
    }
    // The oldest open frame of that command; one whose checksum fits the answer first.
    Sent *candidate = nullptr;
    for (Sent &sent : mSent) {
        if (sent.answered || sent.cmd != cmd)
            continue;
        if (sent.good == ack) {
            candidate = &sent;
            break;
        }
        if (!candidate)
            candidate = &sent;
    }
    if (!candidate) {
        ++mStrayAnswers;
        return;
    }
    candidate->answered = true;
    if (candidate->good != ack) {
        print(now(), QStringLiteral("   (%1 for a frame sent with a %2 checksum, line %3)")
                         .arg(ack ? "ACK" : "NAK", candidate->good ? "good" : "bad")
                         .arg(candidate->line));
    }
}

void AdapterSimulator::answer(int cmd, const QByteArray &data)
{
    if (cmd == protocol::cmd::ClimateKey && data.size() == protocol::len::ClimateKey) {
        if (!mCar.climate().apply(protocol::u8(data, protocol::climatekey::Command),
                                  protocol::u8(data, protocol::climatekey::Value))) {
            print(now(), QStringLiteral("   (no such climate command here: nothing changes)"));
            return;
        }
        const QByteArray state = mCar.climate().state();
        mLastData.insert(protocol::cmd::Climate, state);
        if (!mOptions.quiet)
            print(now(), QStringLiteral("-> %1  (answer)")
                             .arg(describeAdapterFrame(protocol::cmd::Climate, state)));
        send(protocol::build(protocol::cmd::Climate, state), 0);
    } else if (cmd == protocol::cmd::Request && data.size() == protocol::len::Request) {
        const int wanted = protocol::u8(data, protocol::request::First);
        if (!mLastData.contains(wanted))
            return;
        const QByteArray again = mLastData.value(wanted);
        if (!mOptions.quiet)
            print(now(),
                  QStringLiteral("-> %1  (answer)").arg(describeAdapterFrame(wanted, again)));
        send(protocol::build(quint8(wanted), again), 0);
    }
}

bool AdapterSimulator::tryMeet(Expectation &expectation)
{
    for (Received &r : mReceived) {
        if (r.used || r.time < expectation.opens ||
            !expectation.step.pattern.matches(r.cmd, r.data))
            continue;
        r.used = true;
        expectation.state = Expectation::Met;
        return true;
    }
    return false;
}

void AdapterSimulator::expire(int index)
{
    Expectation &e = mExpectations[index];
    if (e.state != Expectation::Pending)
        return;
    e.state = Expectation::Failed;
    print(now(), QStringLiteral("!! expected %1 within %2 s (line %3): not seen")
                     .arg(e.step.pattern.toString())
                     .arg(e.step.within)
                     .arg(e.step.line));
    maybeFinish();
}

void AdapterSimulator::maybeFinish()
{
    if (!mStarted || mStopping || mSummarised || mNext < mSteps.size() || !mQueue.isEmpty())
        return;
    if (mSteps.isEmpty() && mOptions.linger)
        return; // nothing to play: only answers, until stopped
    if (mOutParseOut.isActive())
        return; // the head unit has yet to drop an unfinished frame
    const double end = std::max(mDuration, mLastWrite + mOptions.settle);
    if (now() < end) {
        if (!mEndTimer.isActive())
            mEndTimer.start(msUntil(end, now()));
        return;
    }
    for (const Expectation &e : mExpectations) {
        if (e.state == Expectation::Pending)
            return; // its own deadline comes back here
    }
    summarise();
    if (!mOptions.linger)
        emit finished(exitCode());
}

void AdapterSimulator::command(const QString &line)
{
    const QString word = line.trimmed();
    if (word.isEmpty() || word.startsWith(QLatin1Char('#')))
        return;
    if (word == QLatin1String("help")) {
        mOut << Scenario::help();
        mOut.flush();
        return;
    }
    if (word == QLatin1String("state")) {
        mOut << mCar.describe();
        mOut.flush();
        return;
    }
    Scenario scenario;
    QString error;
    if (!Scenario::parseCommand(word, &scenario, &error)) {
        mOut << "adaptersim: input: " << error << '\n';
        mOut.flush();
        return;
    }
    for (ScenarioStep &step : scenario.steps) {
        step.line = -1;
        if (step.time <= 0)
            runStep(step);
        else
            QTimer::singleShot(int(step.time * 1000), this, [this, step] { runStep(step); });
    }
}

void AdapterSimulator::stop()
{
    if (mStopping)
        return;
    mStopping = true;
    for (int i = 0; i < mExpectations.size(); ++i)
        expire(i);
    if (!mSummarised)
        summarise();
    emit finished(exitCode());
}

void AdapterSimulator::summarise()
{
    mSummarised = true;
    mStepTimer.stop();
    mPumpTimer.stop();
    mEndTimer.stop();
    int bad = 0;
    QStringList unanswered;
    for (const Sent &sent : mSent) {
        bad += sent.good ? 0 : 1;
        if (!sent.answered) {
            unanswered << QStringLiteral("  not acknowledged: %1 sent at %2 s%3")
                              .arg(adapterCommandLabel(sent.cmd))
                              .arg(sent.time, 0, 'f', 3)
                              .arg(sent.line > 0   ? QStringLiteral(" (line %1)").arg(sent.line)
                                   : sent.line < 0 ? QStringLiteral(" (typed)")
                                                   : QStringLiteral(" (answer)"));
        }
    }
    for (const Lost &lost : mLost) {
        unanswered << QStringLiteral("  not acknowledged: %1 sent at %2 s (%3): the head "
                                     "unit dropped it unfinished at %4 s")
                          .arg(adapterCommandLabel(lost.cmd))
                          .arg(lost.time, 0, 'f', 3)
                          .arg(lost.line > 0   ? QStringLiteral("line %1").arg(lost.line)
                               : lost.line < 0 ? QStringLiteral("typed")
                                               : QStringLiteral("answer"))
                          .arg(lost.droppedAt, 0, 'f', 3);
    }
    int met = 0;
    int failed = 0;
    for (const Expectation &e : mExpectations)
        (e.state == Expectation::Met ? met : failed)++;
    const auto count = [](int n, const char *one, const char *many) {
        return QStringLiteral("%1 %2").arg(n).arg(QLatin1String(n == 1 ? one : many));
    };
    mOut << "summary: " << count(mSent.size() + mLost.size(), "frame", "frames") << " sent (" << bad
         << " with a bad checksum); " << count(mAcks, "ACK", "ACKs") << " and "
         << count(mNaks, "NAK", "NAKs") << " received";
    if (mOtherFrames > 0)
        mOut << "; " << count(mOtherFrames, "other head-unit frame", "other head-unit frames");
    if (mStrayAnswers > 0)
        mOut << "; " << count(mStrayAnswers, "answer", "answers") << " to no frame";
    mOut << '\n';
    for (const QString &line : unanswered)
        mOut << line << '\n';
    if (mRecordedHostChunks >= 0)
        mOut << "  the capture held " << mRecordedHostChunks << " head-unit writes\n";
    if (!mExpectations.isEmpty())
        mOut << "  expectations: " << met << " met, " << failed << " failed\n";
    if (mOptions.check && mReplay)
        compareWithCapture();
    mOut.flush();
    if (!mOptions.junit.isEmpty())
        writeJunit();
}

// Frame by frame, timing aside: what the head unit wrote now against what it wrote then.
void AdapterSimulator::compareWithCapture()
{
    QList<const Received *> got;
    for (const Received &r : mReceived)
        got << &r;
    int differences = 0;
    for (int i = 0; i < mWanted.size(); ++i) {
        Wanted &w = mWanted[i];
        const QString wanted = describeHostFrame(w.cmd, w.data);
        if (i >= got.size())
            w.difference =
                QStringLiteral("not written (the capture's line %1: %2)").arg(w.line).arg(wanted);
        else if (got.at(i)->cmd != w.cmd || got.at(i)->data != w.data)
            w.difference = QStringLiteral("wrote %1 where the capture's line %2 has %3")
                               .arg(describeHostFrame(got.at(i)->cmd, got.at(i)->data))
                               .arg(w.line)
                               .arg(wanted);
        if (!w.difference.isEmpty()) {
            mOut << "  check: frame " << i + 1 << ": " << w.difference << '\n';
            ++differences;
        }
    }
    for (int i = mWanted.size(); i < got.size(); ++i) {
        mExtra << describeHostFrame(got.at(i)->cmd, got.at(i)->data);
        mOut << "  check: frame " << i + 1 << ": " << mExtra.last()
             << " written, the capture has no more\n";
    }
    mOut << "  check: " << mWanted.size() << " head-unit frames in the capture, "
         << differences + mExtra.size() << " differences\n";
}

// One test case per expectation and per head-unit frame the replay checks, in the shape
// CI servers read (testsuites > testsuite > testcase [> failure]).
void AdapterSimulator::writeJunit()
{
    QFile file(mOptions.junit);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        mOut << "adaptersim: cannot write " << mOptions.junit << ": " << file.errorString() << '\n';
        return;
    }
    struct Case
    {
        QString name;
        QString failure;
        QString detail;
    };
    QList<Case> cases;
    for (const Expectation &e : mExpectations) {
        Case c{QStringLiteral("line %1: %2 within %3 s")
                   .arg(e.step.line)
                   .arg(e.step.pattern.toString())
                   .arg(e.step.within),
               QString(), QString()};
        if (e.state != Expectation::Met) {
            c.failure = QStringLiteral("not seen");
            QStringList instead;
            for (const Received &r : mReceived) {
                if (r.time >= e.opens && r.time <= e.step.time + e.step.within)
                    instead << describeHostFrame(r.cmd, r.data);
            }
            c.detail = instead.isEmpty() ? QStringLiteral("nothing arrived")
                                         : QStringLiteral("arrived instead: ") +
                                               instead.join(QStringLiteral("; "));
        }
        cases << c;
    }
    if (mOptions.check && mReplay) {
        for (int i = 0; i < mWanted.size(); ++i)
            cases << Case{QStringLiteral("frame %1 (capture line %2): %3")
                              .arg(i + 1)
                              .arg(mWanted.at(i).line)
                              .arg(describeHostFrame(mWanted.at(i).cmd, mWanted.at(i).data)),
                          mWanted.at(i).difference.isEmpty() ? QString()
                                                             : QStringLiteral("differs"),
                          mWanted.at(i).difference};
        for (const QString &extra : mExtra)
            cases << Case{QStringLiteral("no more frames"), QStringLiteral("extra frame"),
                          extra + QStringLiteral(" written, the capture has no more")};
    }
    int failures = 0;
    for (const Case &c : cases)
        failures += !c.failure.isEmpty();
    QXmlStreamWriter xml(&file);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("testsuites"));
    xml.writeAttribute(QStringLiteral("tests"), QString::number(cases.size()));
    xml.writeAttribute(QStringLiteral("failures"), QString::number(failures));
    xml.writeStartElement(QStringLiteral("testsuite"));
    xml.writeAttribute(QStringLiteral("name"), QStringLiteral("adaptersim ") + mName);
    xml.writeAttribute(QStringLiteral("tests"), QString::number(cases.size()));
    xml.writeAttribute(QStringLiteral("failures"), QString::number(failures));
    xml.writeAttribute(QStringLiteral("errors"), QStringLiteral("0"));
    xml.writeAttribute(QStringLiteral("time"), QString::number(now(), 'f', 3));
    for (const Case &c : cases) {
        xml.writeStartElement(QStringLiteral("testcase"));
        xml.writeAttribute(QStringLiteral("classname"), QStringLiteral("adaptersim"));
        xml.writeAttribute(QStringLiteral("name"), c.name);
        if (!c.failure.isEmpty()) {
            xml.writeStartElement(QStringLiteral("failure"));
            xml.writeAttribute(QStringLiteral("message"), c.failure);
            xml.writeCharacters(c.detail);
            xml.writeEndElement();
        }
        xml.writeEndElement();
    }
    xml.writeEndDocument();
}

int AdapterSimulator::exitCode() const
{
    if (!mExtra.isEmpty())
        return 1;
    for (const Wanted &w : mWanted) {
        if (!w.difference.isEmpty())
            return 1;
    }
    for (const Expectation &e : mExpectations) {
        if (e.state != Expectation::Met)
            return 1;
    }
    return 0;
}

} // namespace tools
