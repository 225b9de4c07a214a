// Audio-source status to the adapter.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

namespace canservice {

namespace {

// The adapter's codes for the radio bands, tried in this order.
struct Band
{
    const char *name;
    quint8 code;
};
constexpr Band Bands[] = {{"AM1", 4}, {"AM2", 5}, {"FM1", 1}, {"FM2", 2}, {"FM3", 3}};

quint8 bandCode(const QString &name)
{
    for (const Band &band : Bands) {
        if (name == QLatin1String(band.name))
            return band.code;
    }
    return 0;
}

} // namespace

void SimpleService::onRadioSourceInformation(QString name, QStringList info, int sourceType)
{
    QVX_DBG << "ttttttttttttttt" << name << info << sourceType;
    sendNaviStatus(name, info, sourceType);
}

void SimpleService::sendNaviStatus(QString name, QStringList info, int sourceType)
{
    bool send = true;
    quint8 code = 0;
    QByteArray text;
    QVX_DBG << "src type-->" << sourceType;

    switch (sourceType) {
    case 0:
        code = bandCode(name);
        break;
    case 1:
    case 2:
    case 3:
        code = 13;
        break;
    case 5:
        code = 12;
        break;
    case 10:
        code = 10;
        break;
    case 4:
    case 6:
    case 7:
    case 8:
    case 9:
        break;
    default:
        send = false;
        break;
    }

    // These sources carry no text of their own for the adapter to show.
    const bool blank = sourceType == 1 || sourceType == 2 || sourceType == 3 || sourceType == 10;
    if (!blank && !info.isEmpty()) {
        QVX_DBG << info.first();
        text = info.first().toLatin1().left(protocol::source::TextLength);
        QVX_DBG << "eeeeee" << text.size() << text.toHex();
    }
    text = text.leftJustified(protocol::source::TextLength, ' ');

    QByteArray data;
    data.append(char(code));
    data.append(char(0x01));
    data.append(text);
    const QByteArray bytes = protocol::build(protocol::cmd::Source, data);
    QVX_DBG << send << bytes.size() << bytes.toHex();
    if (send)
        sendFrame(protocol::cmd::Source, data, true);
}

} // namespace canservice
