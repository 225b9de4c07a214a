#pragma once

// The adapter simulator's scenario: what the simulated adapter writes and when, and which
// head-unit frames it must see. One step a line:
//
//   # a comment; blank lines are ignored
//   <time> <action> [arguments]
//
// <time> is seconds from the start (1.5) or, with a plus sign, seconds after the previous
// line (+0.2); time never goes backwards. Command ids and data bytes are hexadecimal:
// 5a, 0x5a, or a run of pairs such as 5aa5ff; a quoted word ("V1.02") stands for its
// UTF-8 bytes. Commands may be given by name.
//
//   frame <command> <bytes...>     a well-formed frame (adapter commands: wheel 11, body 12,
//                                  mileage 13, panel 21, climate 31, carinfo 32, fuel 34,
//                                  radar 41, tyres 68, version f0)
//   corrupt <command> <bytes...>   the same frame with its checksum off by one
//   raw <bytes...>                 bytes exactly as given: noise, a cut-off frame
//   chunk <size> [<gap>]           from here on write in pieces of <size> bytes, <gap>
//                                  seconds apart (default 0.05); chunk 0 writes whole
//   expect <within> <command> [<bytes...>]
//                                  a head-unit frame (ack ff, nak fe, start 60, carselect
//                                  2a, request 90, climatekey 3b, source 91) whose data
//                                  begins with <bytes> (?? matches any byte; after ack or
//                                  nak an adapter command name may stand for its id) must
//                                  arrive after the previous write and at most <within>
//                                  seconds after this line's time
//   end                            the scenario lasts until here
//
// Sizes are decimal or 0x-hex (leading zeros are decimal); seconds are decimal.

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
    enum Kind { Frame, Raw, Chunk, Expect, End };
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
};

class Scenario
{
public:
    static bool parse(const QString &text, Scenario *scenario, ParseError *error);

    QList<ScenarioStep> steps;
    // The `end` line's time, else the last line's.
    double duration() const;
};

} // namespace tools
