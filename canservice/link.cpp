// Adapter link: frame building, the receive assembler, dispatch, watchdog, control frames.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

#include <cstdio>

namespace canservice {

namespace {
enum ParseState { WaitHeader1, WaitHeader2, WaitLen, WaitCmd, WaitData, WaitChecksum };
} // namespace

int SimpleService::getCheckSum(QByteArray &bytes)
{
    return protocol::checksum(bytes);
}

void SimpleService::sendFrame(unsigned char cmd, const QByteArray &data, bool flag)
{
    mSerialPort.writeData(protocol::build(cmd, data), flag);
}

QString SimpleService::toString(unsigned char byte)
{
    return QString::number(byte, 16).rightJustified(2, QLatin1Char('0'));
}

QString SimpleService::toString(QByteArray &bytes)
{
    static const char digits[] = "0123456789abcdef";
    QByteArray text(bytes.size() * 3, ' ');
    // Raw pointers: indexing the arrays checks bounds and sharing on every character, a large
    // share of the receive path's cost once debug lines are off.
    const char *in = bytes.constData();
    char *out = text.data();
    for (int i = 0, n = bytes.size(); i < n; ++i) {
        const quint8 b = quint8(in[i]);
        out[3 * i] = digits[b >> 4];
        out[3 * i + 1] = digits[b & 0x0F];
    }
    return QString::fromLatin1(text);
}

void SimpleService::onDataReady(QByteArray buf)
{
    printf("%s:%d %s\n", "onDataReady", __LINE__, toString(buf).toUtf8().constData());
    QVX_DBG << "curr canbus -- " << ConfigManager::instance()->getPluginFullPath();
    QVX_DBG << buf.toHex();

    // Only a frame left unfinished by an earlier chunk arms the timer, and only once.
    if (mParseState != WaitHeader1 && !mParseOutTimer.isActive())
        mParseOutTimer.start();

    for (int i = 0; i < buf.size(); ++i) {
        const quint8 b = protocol::u8(buf, i);
        QVX_DBG << mParseState;
        switch (mParseState) {
        case WaitHeader1:
            if (b == protocol::Header1)
                mParseState = WaitHeader2;
            break;
        case WaitHeader2:
            // Bytes between the two header bytes are skipped: 5A xx A5 is a header too.
            if (b == protocol::Header2)
                mParseState = WaitLen;
            break;
        case WaitLen:
            mParseLen = b;
            mParseSum = b;
            // Emptied but kept: clear() would free the buffer and every frame would grow it
            // again byte by byte.
            mParseData.reserve(protocol::MaxDataLength);
            mParseData.resize(0);
            mParseState = WaitCmd;
            break;
        case WaitCmd:
            mParseCmd = b;
            mParseSum += b;
            mParseState = WaitData;
            break;
        case WaitData:
            // A LEN 0 frame never reaches its checksum: its bytes are swallowed until the
            // parse-out timer resets the state. They are not kept, so a stream of them
            // cannot grow mParseData (or wrap the counters) in the meantime.
            if (mParseLen <= 0)
                break;
            mParseData.append(char(b));
            mParseSum += b;
            if (--mParseLen == 0)
                mParseState = WaitChecksum;
            break;
        case WaitChecksum: {
            const QByteArray answered(1, char(mParseCmd));
            mParseState = WaitHeader1;
            if (b == quint8((mParseSum & 0xFF) - 1)) {
                sendFrame(protocol::cmd::Ack, answered, true);
                dispatchEvent(mParseCmd, mParseData);
            } else {
                sendFrame(protocol::cmd::Nak, answered, true);
                QVX_ERR << "checksum err!";
            }
            break;
        }
        }
    }
}

void SimpleService::onmParseOutTmrout()
{
    QVX_DBG << "parse out!!!" << mParseState;
    mParseState = WaitHeader1;
}

void SimpleService::dispatchEvent(int cmd, QByteArray &data)
{
    QVX_DBG << cmd << data.toHex();
    if (mParseOutTimer.isActive())
        mParseOutTimer.stop();
    doHeartBeat();

    switch (cmd) {
    case protocol::cmd::Wheel:
        doRotate(cmd, data);
        doSwc(cmd, data);
        break;
    case protocol::cmd::Body:
        doDoor(cmd, data);
        doBatteryVoltage(cmd, data);
        doFuelStatus(cmd, data);
        break;
    case protocol::cmd::Mileage:
        doCurrentMileage(cmd, data);
        break;
    case protocol::cmd::Panel:
        doPanelKey(cmd, data);
        break;
    case protocol::cmd::Climate:
        doClimate(cmd, data);
        break;
    case protocol::cmd::CarInfo:
        doCarInformationData(cmd, data);
        break;
    case protocol::cmd::Fuel:
        doFuelConsumption(cmd, data);
        break;
    case protocol::cmd::Radar:
        doRadar(cmd, data);
        break;
    case protocol::cmd::Tyres:
        doTireAlert(cmd, data);
        doTireData(cmd, data);
        break;
    case protocol::cmd::Version:
        doVersion(cmd, data);
        break;
    default:
        QVX_DBG << "ID IS ERROR!" << cmd;
        break;
    }
}

void SimpleService::doHeartBeat()
{
    if (mHeartBeatTimer.isActive()) {
        mHeartBeatTimer.stop();
        mHeartBeatTimer.start(protocol::HeartBeatMs);
        return;
    }
    emit notifyCanbusStatus(3);
    mHeartBeatTimer.start(protocol::HeartBeatMs);
    QVX_DBG << "start heartBeat";
}

void SimpleService::onHeartBeatTimeout()
{
    QVX_DBG << "stop heartBeat";
    emit notifyCanbusStatus(0);
}

void SimpleService::sendStart()
{
    sendFrame(protocol::cmd::Start, QByteArray::fromHex("05051a"), true);
}

void SimpleService::sendCarSelect(unsigned char model, unsigned char second)
{
    sendFrame(protocol::cmd::CarSelect, QByteArray().append(char(model)).append(char(second)),
              true);
}

void SimpleService::sendRequest(unsigned char a, unsigned char b)
{
    sendFrame(protocol::cmd::Request, QByteArray().append(char(a)).append(char(b)), true);
}

} // namespace canservice
