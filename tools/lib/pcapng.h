#pragma once

// The serial line as pcapng, for protocol analysers: one section, one interface on the user
// link type 147 (LINKTYPE_USER0) named "qvx adapter line", one enhanced packet per frame, or
// per run of bytes that is no frame, each with its direction (inbound: adapter to head unit)
// and its time in microseconds since the epoch. Each direction is cut into frames by the head
// unit's own receive rules: a frame cut off by parse-out is a packet of its own too.

#include "capture.h"
#include "reader.h"

#include <QFile>

namespace tools {

const quint16 PcapngLinkType = 147;

class PcapngWriter
{
public:
    bool open(const QString &path, QString *error);
    bool isOpen() const { return mFile.isOpen(); }
    // Bytes as they crossed the line at usecs since the epoch.
    void chunk(qint64 usecs, bool inbound, const QByteArray &bytes);
    // What is still unfinished goes out as it is; then the file is closed.
    void close(qint64 usecs);

private:
    void packet(qint64 usecs, bool inbound, const QByteArray &bytes);
    void take(const QList<protocol::Reader::Item> &items, qint64 usecs, bool inbound);

    QFile mFile;
    protocol::Reader mIn, mOut;
    qint64 mStart = -1; // the readers count milliseconds from here
};

// A text capture as pcapng, its first record at startUsecs since the epoch.
bool writePcapng(const QList<CaptureRecord> &records, qint64 startUsecs, const QString &path,
                 QString *error);

} // namespace tools
