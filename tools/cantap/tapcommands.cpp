#include "tapcommands.h"

#include "number.h"
#include "textparse.h"
#include "wire.h"

#include <QStringList>

namespace cantap {

namespace {

using Args = QStringList;

struct Entry
{
    const char *name;
    TapCommand::Kind kind;
    const char *usage;
    const char *help;
};

// Every command: faults hit the next frame from the side named, or the line from now on.
const Entry Commands[] = {
    {"corrupt", TapCommand::Corrupt, "corrupt next adapter|headunit",
     "the next frame from that side goes on with its checksum off by one"},
    {"split", TapCommand::Split, "split next adapter|headunit <k> [<ms>]",
     "the next frame's first k bytes go on at once, the rest ms later (default 600)"},
    {"truncate", TapCommand::Truncate, "truncate next adapter|headunit <k>",
     "only the next frame's first k bytes go on"},
    {"drop", TapCommand::Drop, "drop next adapter|headunit [<command>]",
     "the next frame (of that command: body, ack, ...) does not go on"},
    {"noise", TapCommand::Noise, "noise adapter|headunit <n>",
     "n bytes that are no frame go on before that side's next frame"},
    {"delay", TapCommand::Delay, "delay adapter|headunit <ms>",
     "everything from that side goes on ms later, from now on (0 ends it)"},
    {"cut", TapCommand::Cut, "cut <seconds>", "nothing goes on either way for that long"},
    {"state", TapCommand::State, "state", "the car as the adapter's frames say, and the counters"},
    {"help", TapCommand::Help, "help", "this list"},
    {"quit", TapCommand::Quit, "quit", "stop"},
};

const int DefaultSplitGapMs = 600; // past the head unit's parse-out: the frame is lost

bool fail(QString *error, const Entry &e)
{
    *error = QStringLiteral("usage: %1").arg(QLatin1String(e.usage));
    return false;
}

bool side(const QString &word, Side *s)
{
    if (word == QLatin1String("adapter"))
        *s = FromAdapter;
    else if (word == QLatin1String("headunit"))
        *s = FromHeadUnit;
    else
        return false;
    return true;
}

bool number(const QString &word, int low, int high, int *value)
{
    return qvx::parseNumber(word, value) && *value >= low && *value <= high;
}

} // namespace

bool parseTapCommand(const QString &line, TapCommand *c, QString *error)
{
    *c = TapCommand();
    c->text = line.trimmed();
    QList<tools::Token> tokens;
    if (!tools::tokenize(line, &tokens, error))
        return false;
    Args a;
    for (const tools::Token &t : tokens)
        a << t.text;
    if (a.isEmpty())
        return true;
    const Entry *entry = nullptr;
    for (const Entry &e : Commands) {
        if (a.first() == QLatin1String(e.name))
            entry = &e;
    }
    if (!entry) {
        *error = QStringLiteral("'%1' is no command (help lists them)").arg(a.first());
        return false;
    }
    const Entry &e = *entry;
    c->kind = e.kind;
    const bool next = a.value(1) == QLatin1String("next");
    switch (e.kind) {
    case TapCommand::Corrupt:
        if (a.size() != 3 || !next || !side(a.at(2), &c->side))
            return fail(error, e);
        return true;
    case TapCommand::Split:
        c->gapMs = DefaultSplitGapMs;
        if (a.size() < 4 || a.size() > 5 || !next || !side(a.at(2), &c->side) ||
            !number(a.at(3), 1, 258, &c->n) ||
            (a.size() == 5 && !number(a.at(4), 0, 60000, &c->gapMs)))
            return fail(error, e);
        return true;
    case TapCommand::Truncate:
        if (a.size() != 4 || !next || !side(a.at(2), &c->side) || !number(a.at(3), 0, 258, &c->n))
            return fail(error, e);
        return true;
    case TapCommand::Drop:
        if (a.size() < 3 || a.size() > 4 || !next || !side(a.at(2), &c->side))
            return fail(error, e);
        if (a.size() == 4) {
            c->cmd = c->side == FromAdapter ? tools::adapterCommandByName(a.at(3))
                                            : tools::hostCommandByName(a.at(3));
            if (c->cmd < 0) {
                *error = QStringLiteral("'%1' is no command from the %2; one of: %3")
                             .arg(a.at(3), c->side == FromAdapter ? "adapter" : "head unit",
                                  (c->side == FromAdapter ? tools::adapterCommandNames()
                                                          : tools::hostCommandNames())
                                      .join(", "));
                return false;
            }
        }
        return true;
    case TapCommand::Noise:
    case TapCommand::Delay:
        if (a.size() != 3 || !side(a.at(1), &c->side) ||
            !number(a.at(2), e.kind == TapCommand::Noise ? 1 : 0,
                    e.kind == TapCommand::Noise ? 4096 : 60000, &c->n))
            return fail(error, e);
        return true;
    case TapCommand::Cut:
        if (a.size() != 2 || !tools::parseSeconds(a.at(1), &c->seconds) || c->seconds <= 0 ||
            c->seconds > 3600)
            return fail(error, e);
        return true;
    default:
        if (a.size() != 1)
            return fail(error, e);
        return true;
    }
}

QString tapCommandHelp()
{
    QString text = QStringLiteral("commands (faults only in the middle, not listening):\n");
    for (const Entry &e : Commands)
        text +=
            QStringLiteral("  %1\n      %2\n").arg(QLatin1String(e.usage), QLatin1String(e.help));
    return text;
}

} // namespace cantap
