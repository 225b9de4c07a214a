#include "wire.h"

#include "protocol.h"
#include "textparse.h"

#include <QStringList>

namespace tools {

namespace {

struct Name
{
    int cmd;
    const char *name;
};

// Only the toggles say what they switch; the other climate commands are numbers.
constexpr Name ClimateCommandNames[] = {
    {protocol::climatekey::Power, "power"},
    {protocol::climatekey::Ac, "AC"},
    {protocol::climatekey::Auto, "auto"},
    {protocol::climatekey::FrontDefrost, "front defrost"},
    {protocol::climatekey::RearDefrost, "rear defrost"},
    {protocol::climatekey::Dual, "dual"},
};

QString commandName(protocol::Direction direction, int cmd)
{
    const protocol::Command *c = protocol::command(direction, cmd);
    return c ? QString::fromLatin1(c->name) : QString();
}

int commandByName(protocol::Direction direction, const QString &name)
{
    int n = 0;
    const protocol::Command *table = protocol::commands(&n);
    for (int i = 0; i < n; ++i) {
        if (table[i].direction == direction && name == QLatin1String(table[i].name))
            return table[i].id;
    }
    return -1;
}

QStringList commandNames(protocol::Direction direction)
{
    int n = 0;
    const protocol::Command *table = protocol::commands(&n);
    QStringList out;
    for (int i = 0; i < n; ++i) {
        if (table[i].direction == direction)
            out << QString::fromLatin1(table[i].name);
    }
    return out;
}

template <size_t N> QString nameOf(const Name (&table)[N], int cmd)
{
    for (const Name &n : table) {
        if (n.cmd == cmd)
            return QString::fromLatin1(n.name);
    }
    return QString();
}

QString hexByte(int b)
{
    return QStringLiteral("0x%1").arg(b & 0xFF, 2, 16, QLatin1Char('0'));
}

QString keyAction(int action)
{
    switch (action) {
    case protocol::key::Release:
        return QStringLiteral("release");
    case protocol::key::Press:
        return QStringLiteral("press");
    default:
        return QStringLiteral("action %1").arg(action);
    }
}

} // namespace

QString adapterCommandName(int cmd)
{
    return commandName(protocol::ToHeadUnit, cmd);
}

int adapterCommandByName(const QString &name)
{
    return commandByName(protocol::ToHeadUnit, name);
}

QStringList adapterCommandNames()
{
    return commandNames(protocol::ToHeadUnit);
}

QString hostCommandName(int cmd)
{
    return commandName(protocol::ToAdapter, cmd);
}

int hostCommandByName(const QString &name)
{
    return commandByName(protocol::ToAdapter, name);
}

QStringList hostCommandNames()
{
    return commandNames(protocol::ToAdapter);
}

QString adapterCommandLabel(int cmd)
{
    const QString name = adapterCommandName(cmd);
    return name.isEmpty() ? hexByte(cmd) : QStringLiteral("%1 (%2)").arg(name, hexByte(cmd));
}

QString describeHostFrame(int cmd, const QByteArray &data)
{
    using protocol::u8;
    const protocol::Command *known = protocol::command(protocol::ToAdapter, cmd);
    const int expected = known ? known->length : protocol::len::Any;
    const auto badLength = [&] {
        return expected == protocol::len::Any || data.size() == expected
                   ? QString()
                   : QStringLiteral(" [%1 data bytes, expected %2: %3]")
                         .arg(data.size())
                         .arg(expected)
                         .arg(hexText(data));
    };
    switch (cmd) {
    case protocol::cmd::Ack:
        return QStringLiteral("ACK %1").arg(adapterCommandLabel(u8(data, protocol::ack::Command))) +
               badLength();
    case protocol::cmd::Nak:
        return QStringLiteral("NAK %1").arg(adapterCommandLabel(u8(data, protocol::ack::Command))) +
               badLength();
    case protocol::cmd::Start:
        return QStringLiteral("start %1").arg(hexText(data));
    case protocol::cmd::CarSelect:
        return QStringLiteral("car select: model %1 (second byte %2)")
                   .arg(u8(data, protocol::carselect::Model))
                   .arg(hexByte(u8(data, protocol::carselect::Second))) +
               badLength();
    case protocol::cmd::Request: {
        QString text = QStringLiteral("request %1 %2")
                           .arg(hexByte(u8(data, protocol::request::First)),
                                hexByte(u8(data, protocol::request::Second)));
        const QString name = adapterCommandName(u8(data, protocol::request::First));
        if (!name.isEmpty())
            text += QStringLiteral(" (%1)").arg(name);
        return text + badLength();
    }
    case protocol::cmd::ClimateKey: {
        const int command = u8(data, protocol::climatekey::Command);
        const int value = u8(data, protocol::climatekey::Value);
        const QString name = nameOf(ClimateCommandNames, command);
        return QStringLiteral("climate command %1%2 value %3")
                   .arg(command)
                   .arg(name.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(name))
                   .arg(value == protocol::climatekey::Press ? QStringLiteral("0xff")
                                                             : QString::number(value)) +
               badLength();
    }
    case protocol::cmd::Source:
        return QStringLiteral("source status: code %1, text \"%2\"")
                   .arg(u8(data, protocol::source::Code))
                   .arg(QString::fromLatin1(data.mid(protocol::source::Text))) +
               badLength();
    default:
        return QStringLiteral("command %1: %2").arg(hexByte(cmd), hexText(data));
    }
}

QString describeAdapterFrame(int cmd, const QByteArray &data)
{
    using protocol::u8;
    switch (cmd) {
    case protocol::cmd::Wheel:
        if (data.size() == protocol::len::Wheel)
            return QStringLiteral("wheel key %1 %2")
                .arg(hexByte(u8(data, protocol::wheel::Code)),
                     keyAction(u8(data, protocol::wheel::Action)));
        break;
    case protocol::cmd::Panel:
        if (data.size() == protocol::len::Panel)
            return QStringLiteral("panel key %1 %2")
                .arg(hexByte(u8(data, protocol::panel::Code)),
                     keyAction(u8(data, protocol::panel::Action)));
        break;
    case protocol::cmd::Version:
        return QStringLiteral("version \"%1\"").arg(QString::fromUtf8(data));
    default:
        break;
    }
    const QString name = adapterCommandName(cmd);
    return QStringLiteral("%1 %2").arg(name.isEmpty() ? hexByte(cmd) : name, hexText(data));
}

} // namespace tools
