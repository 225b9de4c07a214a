#pragma once

// Everything the code knows about the adapter's byte layout:
//   5A A5 LEN CMD data[LEN] CHK
// Header-only, so the bench tools can speak the same frames without the service.

#include <QByteArray>
#include <QtGlobal>

namespace canservice {
namespace frame {

constexpr quint8 Header1 = 0x5A;
constexpr quint8 Header2 = 0xA5;
constexpr int MaxDataLength = 255;
constexpr int Overhead = 5; // header, LEN, CMD, CHK

constexpr quint8 Ack = 0xFF;
constexpr quint8 Nak = 0xFE;

// The adapter's checksum: the 8-bit sum of LEN, CMD and every data byte, minus one.
inline quint8 checksum(const QByteArray &body)
{
    quint8 sum = 0;
    for (const char c : body)
        sum = quint8(sum + quint8(c));
    return quint8(sum - 1);
}

// A whole frame for cmd with data (at most 255 bytes).
inline QByteArray build(quint8 cmd, const QByteArray &data)
{
    // One allocation: every received frame is answered through here.
    QByteArray out(data.size() + Overhead, Qt::Uninitialized);
    char *p = out.data();
    p[0] = char(Header1);
    p[1] = char(Header2);
    p[2] = char(data.size());
    p[3] = char(cmd);
    quint8 sum = quint8(data.size() + cmd);
    for (int i = 0; i < data.size(); ++i) {
        p[4 + i] = data.at(i);
        sum = quint8(sum + quint8(data.at(i)));
    }
    p[4 + data.size()] = char(quint8(sum - 1));
    return out;
}

// Data byte k taken unsigned; 0 outside the array. Every wire read goes through here.
inline quint8 u8(const QByteArray &data, int k)
{
    return uint(k) < uint(data.size()) ? quint8(data.at(k)) : 0;
}

// Big-endian unsigned fields starting at data byte k.
inline int be16(const QByteArray &data, int k)
{
    return u8(data, k) << 8 | u8(data, k + 1);
}

inline int be24(const QByteArray &data, int k)
{
    return u8(data, k) << 16 | u8(data, k + 1) << 8 | u8(data, k + 2);
}

// True when every byte of the n-byte field at k is 0xFF: the adapter's "not available".
inline bool notAvailable(const QByteArray &data, int k, int n)
{
    for (int i = k; i < k + n; ++i) {
        if (u8(data, i) != 0xFF)
            return false;
    }
    return true;
}

} // namespace frame
} // namespace canservice
