#include "wire.h"

#include "frame.h"
#include "textparse.h"

#include <QStringList>

namespace tools {

namespace {

struct Name
{
    int cmd;
    const char *name;
};

constexpr Name AdapterNames[] = {
    {0x11, "wheel"},   {0x12, "body"}, {0x13, "mileage"}, {0x21, "panel"}, {0x31, "climate"},
    {0x32, "carinfo"}, {0x34, "fuel"}, {0x41, "radar"},   {0x68, "tyres"}, {0xF0, "version"},
};

constexpr Name HostNames[] = {
    {0xFF, "ack"},     {0xFE, "nak"},        {0x60, "start"},  {0x2A, "carselect"},
    {0x90, "request"}, {0x3B, "climatekey"}, {0x91, "source"},
};

// Only the toggles say what they switch; the other climate commands are numbers.
constexpr Name ClimateCommandNames[] = {
    {1, "power"}, {2, "AC"}, {4, "auto"}, {5, "front defrost"}, {6, "rear defrost"}, {15, "dual"},
};

template <size_t N> QString nameOf(const Name (&table)[N], int cmd)
{
    for (const Name &n : table) {
        if (n.cmd == cmd)
            return QString::fromLatin1(n.name);
    }
    return QString();
}

template <size_t N> int byName(const Name (&table)[N], const QString &name)
{
    for (const Name &n : table) {
        if (name == QLatin1String(n.name))
            return n.cmd;
    }
    return -1;
}

template <size_t N> QStringList namesOf(const Name (&table)[N])
{
    QStringList out;
    for (const Name &n : table)
        out << QString::fromLatin1(n.name);
    return out;
}

QString hexByte(int b)
{
    return QStringLiteral("0x%1").arg(b & 0xFF, 2, 16, QLatin1Char('0'));
}

QString keyAction(int action)
{
    switch (action) {
    case 0:
        return QStringLiteral("release");
    case 1:
        return QStringLiteral("press");
    default:
        return QStringLiteral("action %1").arg(action);
    }
}

} // namespace

QString adapterCommandName(int cmd)
{
    return nameOf(AdapterNames, cmd);
}

int adapterCommandByName(const QString &name)
{
    return byName(AdapterNames, name);
}

QStringList adapterCommandNames()
{
    return namesOf(AdapterNames);
}

QString hostCommandName(int cmd)
{
    return nameOf(HostNames, cmd);
}

int hostCommandByName(const QString &name)
{
    return byName(HostNames, name);
}

QStringList hostCommandNames()
{
    return namesOf(HostNames);
}

QString adapterCommandLabel(int cmd)
{
    const QString name = adapterCommandName(cmd);
    return name.isEmpty() ? hexByte(cmd) : QStringLiteral("%1 (%2)").arg(name, hexByte(cmd));
}

QString describeHostFrame(int cmd, const QByteArray &data)
{
    using canservice::frame::u8;
    const auto badLength = [&](int expected) {
        return data.size() == expected ? QString()
                                       : QStringLiteral(" [%1 data bytes, expected %2: %3]")
                                             .arg(data.size())
                                             .arg(expected)
                                             .arg(hexText(data));
    };
    switch (cmd) {
    case canservice::frame::Ack:
        return QStringLiteral("ACK %1").arg(adapterCommandLabel(u8(data, 0))) + badLength(1);
    case canservice::frame::Nak:
        return QStringLiteral("NAK %1").arg(adapterCommandLabel(u8(data, 0))) + badLength(1);
    case 0x60:
        return QStringLiteral("start %1").arg(hexText(data));
    case 0x2A:
        return QStringLiteral("car select: model %1 (second byte %2)")
                   .arg(u8(data, 0))
                   .arg(hexByte(u8(data, 1))) +
               badLength(2);
    case 0x90: {
        QString text =
            QStringLiteral("request %1 %2").arg(hexByte(u8(data, 0)), hexByte(u8(data, 1)));
        const QString name = adapterCommandName(u8(data, 0));
        if (!name.isEmpty())
            text += QStringLiteral(" (%1)").arg(name);
        return text + badLength(2);
    }
    case 0x3B: {
        const QString name = nameOf(ClimateCommandNames, u8(data, 0));
        return QStringLiteral("climate command %1%2 value %3")
                   .arg(u8(data, 0))
                   .arg(name.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(name))
                   .arg(u8(data, 1) == 0xFF ? QStringLiteral("0xff")
                                            : QString::number(u8(data, 1))) +
               badLength(2);
    }
    case 0x91:
        return QStringLiteral("source status: code %1, text \"%2\"")
                   .arg(u8(data, 0))
                   .arg(QString::fromLatin1(data.mid(2))) +
               badLength(14);
    default:
        return QStringLiteral("command %1: %2").arg(hexByte(cmd), hexText(data));
    }
}

QString describeAdapterFrame(int cmd, const QByteArray &data)
{
    using canservice::frame::u8;
    switch (cmd) {
    case 0x11:
        if (data.size() == 10)
            return QStringLiteral("wheel key %1 %2")
                .arg(hexByte(u8(data, 2)), keyAction(u8(data, 3)));
        break;
    case 0x21:
        if (data.size() == 2)
            return QStringLiteral("panel key %1 %2")
                .arg(hexByte(u8(data, 0)), keyAction(u8(data, 1)));
        break;
    case 0xF0:
        return QStringLiteral("version \"%1\"").arg(QString::fromUtf8(data));
    default:
        break;
    }
    const QString name = adapterCommandName(cmd);
    return QStringLiteral("%1 %2").arg(name.isEmpty() ? hexByte(cmd) : name, hexText(data));
}

QList<FrameReader::Item> FrameReader::feed(const QByteArray &chunk)
{
    QList<Item> items;
    const auto flushSkipped = [&] {
        if (!mSkipped.isEmpty()) {
            items.append({Item::Skipped, -1, QByteArray(), mSkipped});
            mSkipped.clear();
        }
    };
    for (const char c : chunk) {
        const quint8 b = quint8(c);
        switch (mState) {
        case WaitHeader1:
            if (b == canservice::frame::Header1) {
                mBytes = QByteArray(1, c);
                mState = WaitHeader2;
            } else {
                mSkipped.append(c);
            }
            break;
        case WaitHeader2:
            mBytes.append(c);
            if (b == canservice::frame::Header2) {
                flushSkipped();
                mState = WaitLen;
            }
            break;
        case WaitLen:
            mBytes.append(c);
            mLen = b;
            mData.clear();
            mState = WaitCmd;
            break;
        case WaitCmd:
            mBytes.append(c);
            mCmd = b;
            mState = mLen == 0 ? WaitChecksum : WaitData;
            break;
        case WaitData:
            mBytes.append(c);
            mData.append(c);
            if (mData.size() == mLen)
                mState = WaitChecksum;
            break;
        case WaitChecksum: {
            mBytes.append(c);
            QByteArray body;
            body.append(char(mLen)).append(char(mCmd)).append(mData);
            const bool good = canservice::frame::checksum(body) == b;
            flushSkipped();
            items.append({good ? Item::Frame : Item::BadChecksum, mCmd, mData, mBytes});
            mBytes.clear();
            mState = WaitHeader1;
            break;
        }
        }
    }
    // Noise is reported once a chunk ends, so a tool can show it near where it came.
    if (mState == WaitHeader1)
        flushSkipped();
    return items;
}

QByteArray FrameReader::reset()
{
    const QByteArray dropped = mState == WaitHeader1 ? QByteArray() : mBytes;
    mBytes.clear();
    mData.clear();
    mState = WaitHeader1;
    return dropped;
}

} // namespace tools
