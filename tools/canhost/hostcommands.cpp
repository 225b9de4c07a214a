#include "hostcommands.h"

#include "textparse.h"

namespace tools {

namespace {

using Args = QList<Token>;

struct KeyName
{
    const char *name;
    int key;
};

// The climate keys whose effect the service names: its toggles and the mode cycle.
constexpr KeyName KeyNames[] = {
    {"power", 0},         {"ac", 2},           {"dual", 4},  {"auto", 5},
    {"front-defrost", 8}, {"rear-defrost", 9}, {"mode", 31},
};

bool number(const QString &text, int *value, QString *error, const char *what)
{
    if (parseInt(text, value))
        return true;
    *error = QStringLiteral("'%1' is not %2 (decimal or 0x-hex)").arg(text, QLatin1String(what));
    return false;
}

bool parseKey(const Args &args, HostCommand *c, QString *error)
{
    for (const KeyName &k : KeyNames) {
        if (args.first().text.toLower() == QLatin1String(k.name)) {
            c->a = k.key;
            return args.size() < 2 || number(args.at(1).text, &c->b, error, "a key value");
        }
    }
    return number(args.first().text, &c->a, error, "a key code or name") &&
           (args.size() < 2 || number(args.at(1).text, &c->b, error, "a key value"));
}

bool parseSource(const Args &args, HostCommand *c, QString *error)
{
    if (!number(args.first().text, &c->a, error, "a source type"))
        return false;
    if (args.size() > 1)
        c->name = args.at(1).text;
    for (int i = 2; i < args.size(); ++i)
        c->info << args.at(i).text;
    return true;
}

bool parseRequest(const Args &args, HostCommand *c, QString *error)
{
    for (int i = 0; i < 2; ++i) {
        int *byte = i == 0 ? &c->a : &c->b;
        if (!parseInt(args.at(i).text, byte) || *byte < 0 || *byte > 255) {
            *error = QStringLiteral("request bytes are numbers from 0 to 255 (or 0x00 to 0xff)");
            return false;
        }
    }
    return true;
}

bool parseModel(const Args &args, HostCommand *c, QString *error)
{
    return number(args.first().text, &c->a, error, "a model id");
}

bool parseDriver(const Args &args, HostCommand *c, QString *error)
{
    const QString side = args.first().text.toLower();
    if (side != QLatin1String("left") && side != QLatin1String("right")) {
        *error = QStringLiteral("driver is left or right, not '%1'").arg(args.first().text);
        return false;
    }
    c->leftHand = side == QLatin1String("left");
    return true;
}

bool parseWait(const Args &args, HostCommand *c, QString *error)
{
    if (parseSeconds(args.first().text, &c->seconds))
        return true;
    *error = QStringLiteral("'%1' is not a number of seconds").arg(args.first().text);
    return false;
}

struct Command
{
    const char *verb;
    const char *alias;
    HostCommand::Kind kind;
    int minArgs;
    int maxArgs;
    bool (*parse)(const Args &, HostCommand *, QString *); // null: no arguments to read
    const char *usage;
    const char *help;
};

// Every command: what it reads, and the help line printed from it.
const Command Commands[] = {
    {"key", nullptr, HostCommand::Key, 1, 2, parseKey, "key <code|name> [value]",
     "climate key; value defaults to 0; names: power ac dual auto\n"
     "                              front-defrost rear-defrost mode"},
    {"source", nullptr, HostCommand::Source, 1, 1000, parseSource, "source <type> [name] [text...]",
     "audio source, e.g. source 0 FM1 87.50; source 1"},
    {"request", nullptr, HostCommand::Request, 2, 2, parseRequest, "request <a> <b>",
     "request frame with two bytes"},
    {"model", nullptr, HostCommand::Model, 1, 1, parseModel, "model <id>", "vehicle model id"},
    {"driver", nullptr, HostCommand::Driver, 1, 1, parseDriver, "driver left|right",
     "driver position (left-hand or right-hand drive)"},
    {"state", nullptr, HostCommand::State, 0, 0, nullptr, "state", "print the whole state"},
    {"wait", nullptr, HostCommand::Wait, 1, 1, parseWait, "wait <seconds>",
     "hold the following commands back"},
    {"help", "?", HostCommand::Help, 0, 0, nullptr, "help", "this list"},
    {"quit", "exit", HostCommand::Quit, 0, 0, nullptr, "quit", "stop and exit"},
};

} // namespace

QString hostCommandHelp()
{
    QString text = QStringLiteral("commands (numbers are decimal or 0x-hex):\n");
    for (const Command &c : Commands) {
        const QString usage = QLatin1String(c.usage);
        text += QStringLiteral("  %1").arg(usage, -28);
        if (usage.size() > 27)
            text += QStringLiteral("\n%1").arg(QString(), 30);
        text += QLatin1String(c.help) + QLatin1Char('\n');
    }
    return text;
}

bool parseHostCommand(const QString &line, HostCommand *command, QString *error)
{
    *command = HostCommand();
    Args words;
    if (!tokenize(line, &words, error))
        return false;
    if (words.isEmpty())
        return true;
    const QString verb = words.first().text.toLower();
    const Args args = words.mid(1);
    for (const Command &c : Commands) {
        if (verb != QLatin1String(c.verb) && !(c.alias && verb == QLatin1String(c.alias)))
            continue;
        command->kind = c.kind;
        if (args.size() < c.minArgs || args.size() > c.maxArgs) {
            *error = QStringLiteral("usage: %1").arg(QLatin1String(c.usage));
            return false;
        }
        return !c.parse || c.parse(args, command, error);
    }
    *error = QStringLiteral("unknown command '%1' (help lists them)").arg(words.first().text);
    return false;
}

} // namespace tools
