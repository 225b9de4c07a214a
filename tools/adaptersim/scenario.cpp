#include "scenario.h"

#include "car.h"
#include "protocol.h"
#include "textparse.h"
#include "wire.h"

#include <QStringList>

#include <algorithm>

namespace tools {

bool FramePattern::matches(int frameCmd, const QByteArray &frameData) const
{
    if (frameCmd != cmd || frameData.size() < data.size())
        return false;
    for (int i = 0; i < data.size(); ++i) {
        if (data.at(i) >= 0 && data.at(i) != quint8(frameData.at(i)))
            return false;
    }
    return true;
}

QString FramePattern::toString() const
{
    const QString name = hostCommandName(cmd);
    QString text = name.isEmpty() ? QStringLiteral("0x%1").arg(cmd, 2, 16, QLatin1Char('0')) : name;
    for (const int b : data)
        text +=
            b < 0 ? QStringLiteral(" ??") : QStringLiteral(" %1").arg(b, 2, 16, QLatin1Char('0'));
    return text;
}

namespace {

bool parseCommand(const QString &word, bool host, int *cmd, QString *error)
{
    const int named = host ? hostCommandByName(word) : adapterCommandByName(word);
    if (named >= 0) {
        *cmd = named;
        return true;
    }
    QByteArray bytes;
    QString ignored;
    if (appendBytes(Token{word, false}, &bytes, &ignored) && bytes.size() == 1) {
        *cmd = quint8(bytes.at(0));
        return true;
    }
    *error =
        QStringLiteral("unknown command '%1' (a hexadecimal id or one of: %2)")
            .arg(word,
                 (host ? hostCommandNames() : adapterCommandNames()).join(QStringLiteral(", ")));
    return false;
}

bool parsePattern(const QList<Token> &words, FramePattern *pattern, QString *error)
{
    if (words.isEmpty()) {
        *error = QStringLiteral("expect needs a head-unit command");
        return false;
    }
    if (!parseCommand(words.first().text, true, &pattern->cmd, error))
        return false;
    const bool answer = pattern->cmd == protocol::cmd::Ack || pattern->cmd == protocol::cmd::Nak;
    for (int i = 1; i < words.size(); ++i) {
        const Token &word = words.at(i);
        if (!word.quoted && (word.text == QLatin1String("??"))) {
            pattern->data.append(-1);
            continue;
        }
        if (answer && i == 1 && !word.quoted && adapterCommandByName(word.text) >= 0) {
            pattern->data.append(adapterCommandByName(word.text));
            continue;
        }
        QByteArray bytes;
        if (!appendBytes(word, &bytes, error))
            return false;
        for (const char c : bytes)
            pattern->data.append(quint8(c));
    }
    return true;
}

using Args = QList<Token>;

bool parseFrame(const QString &action, const Args &args, ScenarioStep *step, QString *error)
{
    if (args.isEmpty()) {
        *error = QStringLiteral("%1 needs a command").arg(action);
        return false;
    }
    step->kind = ScenarioStep::Frame;
    step->corrupt = action == QLatin1String("corrupt");
    if (!parseCommand(args.first().text, false, &step->cmd, error) ||
        !parseBytes(args.mid(1), &step->data, error))
        return false;
    if (step->data.size() > protocol::MaxDataLength) {
        *error = QStringLiteral("%1 data bytes; a frame holds at most %2")
                     .arg(step->data.size())
                     .arg(protocol::MaxDataLength);
        return false;
    }
    const protocol::Command *known = protocol::command(protocol::ToHeadUnit, step->cmd);
    if (known && known->length != protocol::len::Any && step->data.size() != known->length) {
        *error = QStringLiteral("%1 takes %2 data bytes, not %3 (raw writes any bytes)")
                     .arg(QLatin1String(known->name))
                     .arg(known->length)
                     .arg(step->data.size());
        return false;
    }
    step->bytes = protocol::build(quint8(step->cmd), step->data);
    if (step->corrupt)
        step->bytes[step->bytes.size() - 1] = char(quint8(step->bytes.back()) + 1);
    return true;
}

bool parseRaw(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    step->kind = ScenarioStep::Raw;
    if (!parseBytes(args, &step->bytes, error))
        return false;
    if (step->bytes.isEmpty()) {
        *error = QStringLiteral("raw needs at least one byte");
        return false;
    }
    return true;
}

bool parseChunk(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    step->kind = ScenarioStep::Chunk;
    const bool ok = parseInt(args.value(0).text, &step->chunkSize);
    if (args.isEmpty() || args.size() > 2 || !ok || step->chunkSize < 0) {
        *error = QStringLiteral("chunk takes a size in bytes (0 for whole writes) and an "
                                "optional gap in seconds");
        return false;
    }
    step->chunkGap = 0.05;
    if (args.size() == 2 && !parseSeconds(args.at(1).text, &step->chunkGap)) {
        *error = QStringLiteral("'%1' is not a gap in seconds").arg(args.at(1).text);
        return false;
    }
    return true;
}

bool parseExpect(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    step->kind = ScenarioStep::Expect;
    if (args.isEmpty() || !parseSeconds(args.first().text, &step->within)) {
        *error = QStringLiteral("expect takes the seconds to wait, then a head-unit command");
        return false;
    }
    return parsePattern(args.mid(1), &step->pattern, error);
}

bool parseEnd(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    step->kind = ScenarioStep::End;
    if (!args.isEmpty()) {
        *error = QStringLiteral("end takes nothing");
        return false;
    }
    return true;
}

bool parseNext(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    step->kind = ScenarioStep::Next;
    const QString what = args.value(0).text;
    double gap = 0.05;
    const bool cut = what == QLatin1String("split") || what == QLatin1String("truncate");
    if (what == QLatin1String("corrupt") && args.size() == 1) {
        step->fault = ScenarioStep::Corrupt;
        return true;
    }
    if (cut && parseInt(args.value(1).text, &step->at) && step->at > 0 &&
        (args.size() == 2 || (args.size() == 3 && what == QLatin1String("split") &&
                              parseSeconds(args.at(2).text, &gap)))) {
        step->fault = what == QLatin1String("split") ? ScenarioStep::Split : ScenarioStep::Truncate;
        step->chunkGap = gap;
        return true;
    }
    *error = QStringLiteral("next corrupt, next split <bytes> [<gap>] or next truncate <bytes>");
    return false;
}

// A LEN 0 frame of any command: the head unit never finishes it and swallows what follows.
bool parseEmpty(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    if (args.size() != 1) {
        *error = QStringLiteral("empty takes a command");
        return false;
    }
    int cmd = 0;
    if (!parseCommand(args.first().text, false, &cmd, error))
        return false;
    step->kind = ScenarioStep::Raw; // not what the car holds
    step->bytes = protocol::build(quint8(cmd), QByteArray());
    return true;
}

bool parseNoise(const QString &, const Args &args, ScenarioStep *step, QString *error)
{
    int n = 0;
    if (args.size() != 1 || !parseInt(args.first().text, &n) || n < 1 || n > 4096) {
        *error = QStringLiteral("noise takes a number of bytes from 1 to 4096");
        return false;
    }
    // Never a header byte: noise must not start a frame of its own.
    step->kind = ScenarioStep::Raw;
    for (int i = 0; i < n; ++i)
        step->bytes.append(char(0x11 * (i % 5 + 1)));
    return true;
}

struct Action
{
    const char *name;
    bool (*parse)(const QString &action, const Args &args, ScenarioStep *step, QString *error);
    const char *usage;
    const char *help;
};

// Every action of a scenario line; adaptersim --help prints this table.
const Action Actions[] = {
    {"frame", parseFrame, "frame <command> <bytes...>", "a well-formed adapter frame"},
    {"corrupt", parseFrame, "corrupt <command> <bytes...>",
     "the same frame with its checksum off by one"},
    {"raw", parseRaw, "raw <bytes...>", "bytes exactly as given: noise, a cut-off frame"},
    {"chunk", parseChunk, "chunk <size> [<gap>]",
     "from here on write in pieces of <size> bytes, <gap> seconds apart (default 0.05); "
     "chunk 0 writes whole"},
    {"expect", parseExpect, "expect <within> <command> [<bytes...>]",
     "a head-unit frame whose data begins with <bytes> (?? matches any byte; after ack or nak "
     "an adapter command name may stand for its id) must arrive after the previous write "
     "and at most <within> seconds after this line's time"},
    {"end", parseEnd, "end", "the scenario lasts until here"},
    {"next", parseNext, "next corrupt | next split <k> [<gap>] | next truncate <k>",
     "the next frame written goes out with its checksum off by one, in two pieces <gap> "
     "seconds apart (default 0.05) after byte <k>, or cut off after byte <k>"},
    {"noise", parseNoise, "noise <n>", "<n> bytes that are no frame"},
    {"empty", parseEmpty, "empty <command>",
     "a frame of that command with LEN 0: the head unit swallows what follows until its "
     "parse-out"},
};

bool parseLine(const QList<Token> &words, double previous, ScenarioStep *step, QString *error)
{
    if (words.at(0).quoted) {
        *error = QStringLiteral("a line starts with its time");
        return false;
    }
    const QString timeWord = words.at(0).text;
    const bool relative = timeWord.startsWith(QLatin1Char('+'));
    double t = 0;
    if (!parseSeconds(relative ? timeWord.mid(1) : timeWord, &t)) {
        *error = QStringLiteral("'%1' is not a time (seconds such as 1.5, or +0.2 after the "
                                "previous line)")
                     .arg(timeWord);
        return false;
    }
    step->time = relative ? previous + t : t;
    if (step->time < previous) {
        *error = QStringLiteral("time %1 goes back before the previous line's %2")
                     .arg(step->time)
                     .arg(previous);
        return false;
    }
    if (words.size() < 2) {
        *error = QStringLiteral("a time without an action");
        return false;
    }
    const QString action = words.at(1).text;
    for (const Action &a : Actions) {
        if (action == QLatin1String(a.name))
            return a.parse(action, words.mid(2), step, error);
    }
    if (Car::isWord(action)) {
        step->kind = ScenarioStep::Words;
        step->words = words.mid(1);
        return true;
    }
    QStringList names;
    for (const Action &a : Actions)
        names << QLatin1String(a.name);
    *error = QStringLiteral("unknown action '%1' (%2, or the car in words: see help)")
                 .arg(action, names.join(QStringLiteral(", ")));
    return false;
}

} // namespace

namespace {

// Tries the words on a car of its own, and adds the release of a key held long.
bool checkWords(Car &car, ScenarioStep &step, QList<ScenarioStep> *later, QString *error)
{
    if (step.kind != ScenarioStep::Words)
        return true;
    int cmd = 0;
    double release = 0;
    if (!car.apply(step.words, &cmd, &release, error))
        return false;
    step.cmd = cmd;
    if (release > 0) {
        ScenarioStep up = step;
        up.time += release;
        up.words[3].text = QStringLiteral("release");
        later->append(up);
    }
    return true;
}

} // namespace

bool Scenario::parseCommand(const QString &line, Scenario *scenario, QString *error)
{
    ParseError e;
    if (!parse(QStringLiteral("0 ") + line, scenario, &e)) {
        *error = e.message;
        return false;
    }
    return true;
}

bool Scenario::parse(const QString &text, Scenario *scenario, ParseError *error)
{
    scenario->steps.clear();
    Car car;
    QList<ScenarioStep> releases;
    const QStringList lines = text.split(QLatin1Char('\n'));
    double previous = 0;
    bool ended = false;
    for (int i = 0; i < lines.size(); ++i) {
        QList<Token> words;
        QString message;
        if (!tokenize(lines.at(i), &words, &message)) {
            *error = {i + 1, message};
            return false;
        }
        if (words.isEmpty())
            continue;
        if (ended) {
            *error = {i + 1, QStringLiteral("nothing may follow the end line")};
            return false;
        }
        ScenarioStep step;
        step.line = i + 1;
        if (!parseLine(words, previous, &step, &message) ||
            !checkWords(car, step, &releases, &message)) {
            *error = {i + 1, message};
            return false;
        }
        previous = step.time;
        ended = step.kind == ScenarioStep::End;
        scenario->steps.append(step);
    }
    // A long press's release among the later lines, by its time.
    for (const ScenarioStep &up : releases) {
        const auto at =
            std::upper_bound(scenario->steps.begin(), scenario->steps.end(), up.time,
                             [](double t, const ScenarioStep &s) { return t < s.time; });
        scenario->steps.insert(at, up);
    }
    return true;
}

QString Scenario::help()
{
    const auto names = [](protocol::Direction direction) {
        QStringList out;
        int n = 0;
        const protocol::Command *table = protocol::commands(&n);
        for (int i = 0; i < n; ++i) {
            if (table[i].direction == direction)
                out << QStringLiteral("%1 %2")
                           .arg(QLatin1String(table[i].name))
                           .arg(table[i].id, 2, 16, QLatin1Char('0'));
        }
        return out.join(QStringLiteral(", "));
    };
    QString text =
        QStringLiteral(
            "scenario: one step a line, '<time> <action> [arguments]'; # starts a comment.\n"
            "<time> is seconds from the start (1.5) or after the previous line (+0.2). Command "
            "ids\n"
            "and data bytes are hexadecimal (5a, 0x5a, or pairs such as 5aa5ff); a quoted word\n"
            "(\"V1.02\") stands for its UTF-8 bytes; sizes are decimal or 0x-hex.\n"
            "adapter commands: %1\n"
            "head-unit commands: %2\n"
            "actions:\n")
            .arg(names(protocol::ToHeadUnit), names(protocol::ToAdapter));
    for (const Action &a : Actions) {
        text += QStringLiteral("  %1\n").arg(QLatin1String(a.usage));
        QString line = QStringLiteral("     ");
        for (const QString &word : QString::fromLatin1(a.help).split(QLatin1Char(' '))) {
            if (line.size() + word.size() >= 88) {
                text += line + QLatin1Char('\n');
                line = QStringLiteral("     ");
            }
            line += QLatin1Char(' ') + word;
        }
        text += line + QLatin1Char('\n');
    }
    return text + Car::help();
}

double Scenario::duration() const
{
    return steps.isEmpty() ? 0.0 : steps.last().time;
}

} // namespace tools
