#pragma once

// What may be typed into cantap: the faults it puts on the line, and a few words about itself.
// The table in tapcommands.cpp holds every command with its usage and help.

#include <QString>

namespace cantap {

enum Side { FromAdapter = 0, FromHeadUnit = 1 }; // where the bytes come from

struct TapCommand
{
    enum Kind { None, Corrupt, Split, Truncate, Drop, Noise, Delay, Cut, State, Help, Quit };
    Kind kind = None;
    Side side = FromAdapter;
    int n = 0;          // split and truncate: bytes kept first; noise: bytes; delay: ms
    int gapMs = 0;      // split: the pause before the rest
    int cmd = -1;       // drop: only frames of this command (-1 any)
    double seconds = 0; // cut
    QString text;       // the line as typed, for the report
};

// False with a message; a blank line or a comment is kind None.
bool parseTapCommand(const QString &line, TapCommand *command, QString *error);
QString tapCommandHelp();

} // namespace cantap
