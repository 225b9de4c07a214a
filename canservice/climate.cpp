// Climate: the stored climate frame, the queries that decode it, the climate keys.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

namespace {

constexpr int ClimateLength = 12;
constexpr quint8 ClimateCommand = 0x3B;

// Models whose adapter reports the blower directly as 0..7.
constexpr int DirectScaleModelA = 60;
constexpr int DirectScaleModelB = 94;
// The model whose adapter takes no climate commands.
constexpr int NoClimateModel = 52;
// On this model a blower-up key at the top step is not passed on.
constexpr int CappedBlowerModel = 94;

constexpr quint8 Press = 0xFF;

constexpr int UnitCelsiusText = 990;
constexpr int UnitFahrenheitText = 993;

int bit(const QByteArray &data, int k, int n)
{
    return (frame::u8(data, k) >> n) & 1;
}

// Codes 0..253 are half degrees; the two top codes are markers, not temperatures.
float temperature(quint8 code)
{
    if (code == 0xFE)
        return -100.0f;
    if (code == 0xFF)
        return -101.0f;
    return float(code * 0.5);
}

int carModelId()
{
    return CanBusManager::instance()->getCarModelId();
}

} // namespace

void SimpleService::doClimate(int, QByteArray &data)
{
    if (data.size() != ClimateLength) {
        QVX_ERR;
        return;
    }
    mClimateData = data;
    emit acStatusChanged();
}

int SimpleService::isPowerOff()
{
    return bit(mClimateData, 0, 6);
}

int SimpleService::isPowerOffRear()
{
    return 0;
}

int SimpleService::isRearClimate()
{
    return bit(mClimateData, 0, 5);
}

int SimpleService::isAcMax()
{
    return 0;
}

int SimpleService::isAc()
{
    const int on = bit(mClimateData, 0, 0);
    QVX_DBG << on;
    return on;
}

int SimpleService::isInside()
{
    return bit(mClimateData, 1, 4);
}

int SimpleService::isAuto()
{
    return bit(mClimateData, 0, 4);
}

int SimpleService::isDual()
{
    return ((frame::u8(mClimateData, 0) >> 2) & 0x03) == 1 ? 1 : 0;
}

int SimpleService::isRearDefrost()
{
    return bit(mClimateData, 2, 5);
}

int SimpleService::isFrontDefrost()
{
    return bit(mClimateData, 2, 4);
}

// Each front seat has one level; byte 1 says whether it is heating or ventilation.
int SimpleService::getAcFrontLeftHeat()
{
    return bit(mClimateData, 1, 6) ? 0 : frame::u8(mClimateData, 2) & 0x03;
}

int SimpleService::getAcFrontRightHeat()
{
    return bit(mClimateData, 1, 7) ? 0 : (frame::u8(mClimateData, 2) >> 2) & 0x03;
}

int SimpleService::getLeftVentilation()
{
    return bit(mClimateData, 1, 6) ? frame::u8(mClimateData, 2) & 0x03 : 0;
}

int SimpleService::getRightVentilation()
{
    return bit(mClimateData, 1, 7) ? (frame::u8(mClimateData, 2) >> 2) & 0x03 : 0;
}

int SimpleService::getAcRearLeftHeat()
{
    return 0;
}

int SimpleService::getAcRearRightHeat()
{
    return 0;
}

int SimpleService::isAcSwcHeat()
{
    return 0;
}

int SimpleService::isAcGlassHeat()
{
    return 0;
}

int SimpleService::isAirCareActive()
{
    return 0;
}

int SimpleService::getAirConProfile()
{
    return 0;
}

int SimpleService::getAcWindMode()
{
    const int code = frame::u8(mClimateData, 4);
    int mode = 0;
    QVX_DBG << code << mode;
    switch (code) {
    case 0:
        mode = 0;
        break;
    case 6:
        mode = 1;
        break;
    case 3:
        mode = 2;
        break;
    case 5:
        mode = 3;
        break;
    case 13:
        mode = 4;
        break;
    case 12:
        mode = 5;
        break;
    case 14:
        mode = 6;
        break;
    case 11:
        mode = 7;
        break;
    default:
        QVX_DBG << "MODE IS ERROR!" << code;
        break;
    }
    QVX_DBG << mode;
    return mode;
}

int SimpleService::getAcWindScale()
{
    const int code = frame::u8(mClimateData, 5);
    QVX_DBG << code << carModelId();
    if (carModelId() == DirectScaleModelA || carModelId() == DirectScaleModelB) {
        if (code <= 7)
            return code;
        QVX_ERR << "Blowing grade value is ERROR!!!";
        return 7;
    }
    // Every other adapter reports the blower on a 0..18 scale.
    static const quint8 band[] = {0, 0, 1, 1, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6, 6, 6, 7};
    if (code < int(sizeof band))
        return band[code];
    QVX_ERR << "Blowing grade value is ERROR!!!";
    return 7;
}

int SimpleService::getAcWindModeRear()
{
    return frame::u8(mClimateData, 8);
}

int SimpleService::getAcWindScaleRear()
{
    return frame::u8(mClimateData, 9);
}

float SimpleService::getAcTemperature()
{
    return temperature(frame::u8(mClimateData, 6));
}

float SimpleService::getAcRightTemperature()
{
    return temperature(frame::u8(mClimateData, 7));
}

float SimpleService::getAcRearTemperature()
{
    return temperature(frame::u8(mClimateData, 10));
}

QString SimpleService::getAcTemperatureUnit()
{
    return Translator::translate(bit(mClimateData, 2, 7) ? UnitFahrenheitText : UnitCelsiusText);
}

// The adapter has one unit bit for all zones.
QString SimpleService::getAcRightTemperatureUnit()
{
    return getAcTemperatureUnit();
}

bool SimpleService::isSupportAc()
{
    const int model = carModelId();
    QVX_DBG << model;
    return model != NoClimateModel;
}

int SimpleService::getAcTemperatureIndex()
{
    const int code = frame::u8(mClimateData, 6);
    QVX_DBG << code;
    return code;
}

int SimpleService::getAcRightTemperatureIndex()
{
    const int code = frame::u8(mClimateData, 7);
    QVX_DBG << code;
    return code;
}

int SimpleService::getAcRearTemperatureIndex()
{
    const int code = frame::u8(mClimateData, 10);
    QVX_DBG << code;
    return code;
}

int SimpleService::sendAcKey(int key, int value)
{
    QVX_DBG << key << value;
    // Toggles ask the last reported state and send the opposite.
    const auto toggle = [this](unsigned char command, int on) { sendAcSet(command, on ? 0 : 1); };

    switch (key) {
    case 0:
        toggle(1, isPowerOff());
        break;
    case 2:
        toggle(2, isAc());
        break;
    case 4:
        toggle(15, isDual());
        break;
    case 5:
        toggle(4, isAuto());
        break;
    case 6:
        sendAcSet(7, 1);
        break;
    case 7:
        sendAcSet(7, 0);
        break;
    case 8:
        toggle(5, isFrontDefrost());
        break;
    case 9:
        toggle(6, isRearDefrost());
        break;
    case 12:
        sendAcSet(8, Press);
        break;
    case 13:
        sendAcSet(10, Press);
        break;
    case 14:
        sendAcSet(9, Press);
        break;
    case 15:
        if (carModelId() == CappedBlowerModel) {
            const int scale = getAcWindScale();
            QVX_DBG << scale;
            if (scale == 7)
                break;
        }
        sendAcSet(11, 1);
        break;
    case 16:
        sendAcSet(11, 2);
        break;
    case 17:
        sendAcSet(21, 1);
        break;
    case 18:
        sendAcSet(21, 2);
        break;
    case 19:
        sendAcSet(12, 1);
        break;
    case 20:
        sendAcSet(12, 2);
        break;
    case 21:
        sendAcSet(13, 1);
        break;
    case 22:
        sendAcSet(13, 2);
        break;
    case 23:
        sendAcSet(22, 1);
        break;
    case 24:
        sendAcSet(22, 2);
        break;
    case 1:
    case 3:
    case 10:
    case 11:
    case 25:
    case 26:
    case 27:
    case 29:
        break;
    case 28:
    case 30:
        return -1;
    case 31: {
        // The mode key steps the vents on from where the adapter last reported them.
        const int mode = frame::u8(mClimateData, 4) & 0x0F;
        QVX_DBG << mode;
        switch (mode) {
        case 3:
            sendAcSet(9, Press);
            break;
        case 5:
            sendAcSet(34, Press);
            break;
        case 6:
            sendAcSet(8, Press);
            break;
        case 11:
            sendAcSet(33, Press);
            break;
        default:
            sendAcSet(10, Press);
            break;
        }
        break;
    }
    case 34:
        sendAcSet(23, Press);
        break;
    default: // 32, 33 and every code the panel does not have
        QVX_DBG << "Function not supported,KEY = " << key;
        break;
    }
    return 0;
}

void SimpleService::sendAcSet(unsigned char command, unsigned char value)
{
    QVX_DBG << int(command) << int(value);
    if (!isSupportAc())
        return;
    sendFrame(ClimateCommand, QByteArray().append(char(command)).append(char(value)), false);
}

} // namespace canservice
