#pragma once

// The commands canhost reads from standard input, one a line.

#include <QString>
#include <QStringList>

namespace tools {

struct HostCommand
{
    enum Kind { None, Help, Key, Source, Request, Model, Driver, State, Wait, Quit };
    Kind kind = None;
    int a = 0;            // key, source type, first request byte, model id
    int b = 0;            // key value, second request byte
    bool leftHand = true; // driver
    double seconds = 0;   // wait
    QString name;         // source: band name
    QStringList info;     // source: display texts
};

// False with a message for a line that is not a command; an empty line is None.
bool parseHostCommand(const QString &line, HostCommand *command, QString *error);

QString hostCommandHelp();

} // namespace tools
