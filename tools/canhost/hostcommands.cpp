#include "hostcommands.h"

#include "textparse.h"

namespace tools {

namespace {

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

bool byteArg(const QString &text, int *value)
{
    return parseInt(text, value) && *value >= 0 && *value <= 255;
}

} // namespace

QString hostCommandHelp()
{
    return QStringLiteral(
        "commands:\n"
        "  key <code|name> [value]     climate key (names: power ac dual auto front-defrost\n"
        "                              rear-defrost mode); value defaults to 0\n"
        "  source <type> [name] [text...]\n"
        "                              audio source, e.g. source 0 FM1 87.50; source 1\n"
        "  request <a> <b>             request frame with two bytes (0x.. for hexadecimal)\n"
        "  model <id>                  vehicle model id\n"
        "  driver left|right           driver position (left-hand or right-hand drive)\n"
        "  state                       print the whole state\n"
        "  wait <seconds>              hold the following commands back\n"
        "  help                        this list\n"
        "  quit                        stop and exit\n");
}

bool parseHostCommand(const QString &line, HostCommand *command, QString *error)
{
    *command = HostCommand();
    QList<Token> words;
    if (!tokenize(line, &words, error))
        return false;
    if (words.isEmpty())
        return true;
    const QString verb = words.first().text.toLower();
    const QList<Token> args = words.mid(1);
    const auto wantArgs = [&](int low, int high, const char *usage) {
        if (args.size() >= low && args.size() <= high)
            return true;
        *error = QStringLiteral("usage: %1").arg(QLatin1String(usage));
        return false;
    };

    if (verb == QLatin1String("help") || verb == QLatin1String("?")) {
        command->kind = HostCommand::Help;
        return wantArgs(0, 0, "help");
    }
    if (verb == QLatin1String("quit") || verb == QLatin1String("exit")) {
        command->kind = HostCommand::Quit;
        return wantArgs(0, 0, "quit");
    }
    if (verb == QLatin1String("state")) {
        command->kind = HostCommand::State;
        return wantArgs(0, 0, "state");
    }
    if (verb == QLatin1String("key")) {
        command->kind = HostCommand::Key;
        if (!wantArgs(1, 2, "key <code|name> [value]"))
            return false;
        bool named = false;
        for (const KeyName &k : KeyNames) {
            if (args.first().text.toLower() == QLatin1String(k.name)) {
                command->a = k.key;
                named = true;
            }
        }
        if (!named && !parseInt(args.first().text, &command->a)) {
            *error =
                QStringLiteral("'%1' is neither a key code nor a key name").arg(args.first().text);
            return false;
        }
        if (args.size() == 2 && !parseInt(args.at(1).text, &command->b)) {
            *error = QStringLiteral("'%1' is not a number").arg(args.at(1).text);
            return false;
        }
        return true;
    }
    if (verb == QLatin1String("source")) {
        command->kind = HostCommand::Source;
        if (!wantArgs(1, 1000, "source <type> [name] [text...]"))
            return false;
        if (!parseInt(args.first().text, &command->a)) {
            *error = QStringLiteral("'%1' is not a source type").arg(args.first().text);
            return false;
        }
        if (args.size() > 1)
            command->name = args.at(1).text;
        for (int i = 2; i < args.size(); ++i)
            command->info << args.at(i).text;
        return true;
    }
    if (verb == QLatin1String("request")) {
        command->kind = HostCommand::Request;
        if (!wantArgs(2, 2, "request <a> <b>"))
            return false;
        if (!byteArg(args.at(0).text, &command->a) || !byteArg(args.at(1).text, &command->b)) {
            *error = QStringLiteral("request bytes are numbers from 0 to 255 (or 0x00 to 0xff)");
            return false;
        }
        return true;
    }
    if (verb == QLatin1String("model")) {
        command->kind = HostCommand::Model;
        if (!wantArgs(1, 1, "model <id>"))
            return false;
        if (!parseInt(args.first().text, &command->a)) {
            *error = QStringLiteral("'%1' is not a number").arg(args.first().text);
            return false;
        }
        return true;
    }
    if (verb == QLatin1String("driver")) {
        command->kind = HostCommand::Driver;
        if (!wantArgs(1, 1, "driver left|right"))
            return false;
        const QString side = args.first().text.toLower();
        if (side != QLatin1String("left") && side != QLatin1String("right")) {
            *error = QStringLiteral("driver is left or right, not '%1'").arg(args.first().text);
            return false;
        }
        command->leftHand = side == QLatin1String("left");
        return true;
    }
    if (verb == QLatin1String("wait")) {
        command->kind = HostCommand::Wait;
        if (!wantArgs(1, 1, "wait <seconds>"))
            return false;
        if (!parseSeconds(args.first().text, &command->seconds)) {
            *error = QStringLiteral("'%1' is not a number of seconds").arg(args.first().text);
            return false;
        }
        return true;
    }
    *error = QStringLiteral("unknown command '%1' (help lists them)").arg(words.first().text);
    return false;
}

} // namespace tools
