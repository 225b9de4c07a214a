#include "pcapng.h"

#include <QtEndian>

namespace tools {

namespace {

const quint32 SectionHeader = 0x0A0D0D0A;
const quint32 InterfaceDescription = 1;
const quint32 EnhancedPacket = 6;
const quint16 OptionEnd = 0, InterfaceName = 2, PacketFlags = 2;
const quint32 Inbound = 1, Outbound = 2; // the flags' direction bits

void put32(QByteArray &b, quint32 v)
{
    char d[4];
    qToLittleEndian(v, d);
    b.append(d, 4);
}

void put16(QByteArray &b, quint16 v)
{
    char d[2];
    qToLittleEndian(v, d);
    b.append(d, 2);
}

void pad(QByteArray &b)
{
    while (b.size() % 4)
        b.append('\0');
}

void option(QByteArray &b, quint16 code, const QByteArray &value)
{
    put16(b, code);
    put16(b, quint16(value.size()));
    b.append(value);
    pad(b);
}

// type, total length, body, total length again.
QByteArray block(quint32 type, QByteArray body)
{
    pad(body);
    QByteArray b;
    put32(b, type);
    put32(b, quint32(body.size() + 12));
    b.append(body);
    put32(b, quint32(body.size() + 12));
    return b;
}

} // namespace

bool PcapngWriter::open(const QString &path, QString *error)
{
    mFile.setFileName(path);
    if (!mFile.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = mFile.errorString();
        return false;
    }
    QByteArray section;
    put32(section, 0x1A2B3C4D); // byte order
    put16(section, 1);
    put16(section, 0);
    put32(section, 0xFFFFFFFF); // section length not given
    put32(section, 0xFFFFFFFF);
    QByteArray interface;
    put16(interface, PcapngLinkType);
    put16(interface, 0);
    put32(interface, 0); // no snapshot limit
    option(interface, InterfaceName, "qvx adapter line");
    put32(interface, OptionEnd);
    mFile.write(block(SectionHeader, section) + block(InterfaceDescription, interface));
    return true;
}

void PcapngWriter::chunk(qint64 usecs, bool inbound, const QByteArray &bytes)
{
    if (mStart < 0)
        mStart = usecs;
    protocol::Reader &reader = inbound ? mIn : mOut;
    const qint64 ms = (usecs - mStart) / 1000;
    take(reader.poll(ms), usecs, inbound);
    take(reader.feed(bytes, ms), usecs, inbound);
}

void PcapngWriter::take(const QList<protocol::Reader::Item> &items, qint64 usecs, bool inbound)
{
    for (const protocol::Reader::Item &item : items) {
        // A parse-out happened when its timer fired, not when the next bytes came.
        const bool late = item.kind == protocol::Reader::Item::ParseOut;
        packet(late ? mStart + item.timeMs * 1000 : usecs, inbound, item.bytes);
    }
}

void PcapngWriter::packet(qint64 usecs, bool inbound, const QByteArray &bytes)
{
    QByteArray body;
    put32(body, 0); // the interface
    put32(body, quint32(quint64(usecs) >> 32));
    put32(body, quint32(quint64(usecs)));
    put32(body, quint32(bytes.size()));
    put32(body, quint32(bytes.size()));
    body.append(bytes);
    pad(body);
    QByteArray flags;
    put32(flags, inbound ? Inbound : Outbound);
    option(body, PacketFlags, flags);
    put32(body, OptionEnd);
    mFile.write(block(EnhancedPacket, body));
}

void PcapngWriter::close(qint64 usecs)
{
    if (!mFile.isOpen())
        return;
    const qint64 ms = mStart < 0 ? 0 : (usecs - mStart) / 1000;
    for (protocol::Reader *reader : {&mIn, &mOut}) {
        take(reader->poll(ms), usecs, reader == &mIn);
        // What was still unfinished, at the end of the line.
        for (const protocol::Reader::Item &item : reader->finish(ms))
            packet(usecs, reader == &mIn, item.bytes);
    }
    mFile.close();
}

bool writePcapng(const QList<CaptureRecord> &records, qint64 startUsecs, const QString &path,
                 QString *error)
{
    PcapngWriter writer;
    if (!writer.open(path, error))
        return false;
    qint64 last = startUsecs;
    for (const CaptureRecord &r : records) {
        last = startUsecs + qint64(r.time * 1e6 + 0.5);
        writer.chunk(last, r.received, r.bytes);
    }
    writer.close(last);
    return true;
}

} // namespace tools
