#pragma once

// A serial capture as the host stand-in's port records it: one line per chunk,
//
//   # comment
//   <seconds> rx|tx <hex bytes>
//
// seconds since the recording started (never decreasing), rx for bytes the head unit
// received from the adapter, tx for bytes it wrote, then the bytes as hexadecimal pairs.

#include "textparse.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace tools {

struct CaptureRecord
{
    int line = 0;
    double time = 0;
    bool received = true; // rx: adapter to head unit
    QByteArray bytes;
};

bool parseCapture(const QString &text, QList<CaptureRecord> *records, ParseError *error);

// One line, without its newline, in the form parseCapture reads.
QString formatCaptureRecord(const CaptureRecord &record);

} // namespace tools
