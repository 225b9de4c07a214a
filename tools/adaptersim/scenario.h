#pragma once

// The adapter simulator's scenario: what the simulated adapter writes and when, and which
// head-unit frames it must see, one step a line. Its grammar is the action table in
// scenario.cpp; Scenario::help() prints it.

#include <QByteArray>
#include <QList>
#include <QString>

#include "textparse.h"

namespace tools {

struct FramePattern
{
    int cmd = -1;
    QList<int> data; // -1 matches any byte
    bool matches(int cmd, const QByteArray &data) const;
    QString toString() const;
};

struct ScenarioStep
{
    enum Kind { Frame, Raw, Chunk, Expect, End, Words, Next };
    enum Fault { Corrupt, Split, Truncate };
    Kind kind = Frame;
    int line = 0;
    double time = 0;
    QByteArray bytes; // Frame and Raw: exactly what goes on the wire
    int cmd = -1;     // Frame
    QByteArray data;  // Frame
    bool corrupt = false;
    int chunkSize = 0;
    double chunkGap = 0;
    double within = 0;
    FramePattern pattern;
    QList<Token> words;    // Words: a form of the car's vocabulary
    Fault fault = Corrupt; // Next: what happens to the next frame written
    int at = 0;            // Split, Truncate: after this many bytes
};

class Scenario
{
public:
    static bool parse(const QString &text, Scenario *scenario, ParseError *error);
    // One line without its time, as typed on the simulator's input: its steps start at 0.
    static bool parseCommand(const QString &line, Scenario *scenario, QString *error);
    static QString help();

    QList<ScenarioStep> steps;
    // The `end` line's time, else the last line's.
    double duration() const;
};

} // namespace tools
