// Climate: the stored climate frame, the queries that decode it, the climate keys.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

namespace canservice {

namespace {

// Models whose adapter reports the blower directly as 0..7.
constexpr int DirectScaleModelA = 60;
constexpr int DirectScaleModelB = 94;
// The model whose adapter takes no climate commands.
constexpr int NoClimateModel = 52;
// On this model a blower-up key at the top step is not passed on.
constexpr int CappedBlowerModel = 94;

constexpr int UnitCelsiusText = 990;
constexpr int UnitFahrenheitText = 993;

int flag(const QByteArray &data, int k, quint8 mask)
{
    return (protocol::u8(data, k) & mask) ? 1 : 0;
}

// Codes 0..253 are half degrees; the two top codes are markers, not temperatures.
float temperature(quint8 code)
{
    if (code == protocol::climate::Low)
        return -100.0f;
    if (code == protocol::climate::High)
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
    if (data.size() != protocol::len::Climate) {
        QVX_ERR;
        return;
    }
    mClimateData = data;
    emit acStatusChanged();
}

int SimpleService::isPowerOff()
{
    return flag(mClimateData, protocol::climate::Flags, protocol::climate::PowerOff);
}

int SimpleService::isPowerOffRear()
{
    return 0;
}

int SimpleService::isRearClimate()
{
    return flag(mClimateData, protocol::climate::Flags, protocol::climate::Rear);
}

int SimpleService::isAcMax()
{
    return 0;
}

int SimpleService::isAc()
{
    const int on = flag(mClimateData, protocol::climate::Flags, protocol::climate::Ac);
    QVX_DBG << on;
    return on;
}

int SimpleService::isInside()
{
    return flag(mClimateData, protocol::climate::Air, protocol::climate::Inside);
}

int SimpleService::isAuto()
{
    return flag(mClimateData, protocol::climate::Flags, protocol::climate::Auto);
}

int SimpleService::isDual()
{
    return (protocol::u8(mClimateData, protocol::climate::Flags) & protocol::climate::DualMask) ==
                   protocol::climate::Dual
               ? 1
               : 0;
}

int SimpleService::isRearDefrost()
{
    return flag(mClimateData, protocol::climate::Seats, protocol::climate::RearDefrost);
}

int SimpleService::isFrontDefrost()
{
    return flag(mClimateData, protocol::climate::Seats, protocol::climate::FrontDefrost);
}

// Each front seat has one level; byte 1 says whether it is heating or ventilation.
int SimpleService::getAcFrontLeftHeat()
{
    return flag(mClimateData, protocol::climate::Air, protocol::climate::LeftVentilates)
               ? 0
               : protocol::u8(mClimateData, protocol::climate::Seats) &
                     protocol::climate::SeatLevel;
}

int SimpleService::getAcFrontRightHeat()
{
    return flag(mClimateData, protocol::climate::Air, protocol::climate::RightVentilates)
               ? 0
               : (protocol::u8(mClimateData, protocol::climate::Seats) >>
                  protocol::climate::RightSeatShift) &
                     protocol::climate::SeatLevel;
}

int SimpleService::getLeftVentilation()
{
    return flag(mClimateData, protocol::climate::Air, protocol::climate::LeftVentilates)
               ? protocol::u8(mClimateData, protocol::climate::Seats) & protocol::climate::SeatLevel
               : 0;
}

int SimpleService::getRightVentilation()
{
    return flag(mClimateData, protocol::climate::Air, protocol::climate::RightVentilates)
               ? (protocol::u8(mClimateData, protocol::climate::Seats) >>
                  protocol::climate::RightSeatShift) &
                     protocol::climate::SeatLevel
               : 0;
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
    const int code = protocol::u8(mClimateData, protocol::climate::Mode);
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
    const int code = protocol::u8(mClimateData, protocol::climate::Fan);
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
    return protocol::u8(mClimateData, protocol::climate::RearMode);
}

int SimpleService::getAcWindScaleRear()
{
    return protocol::u8(mClimateData, protocol::climate::RearFan);
}

float SimpleService::getAcTemperature()
{
    return temperature(protocol::u8(mClimateData, protocol::climate::Left));
}

float SimpleService::getAcRightTemperature()
{
    return temperature(protocol::u8(mClimateData, protocol::climate::Right));
}

float SimpleService::getAcRearTemperature()
{
    return temperature(protocol::u8(mClimateData, protocol::climate::RearTemp));
}

QString SimpleService::getAcTemperatureUnit()
{
    return Translator::translate(
        flag(mClimateData, protocol::climate::Seats, protocol::climate::Fahrenheit)
            ? UnitFahrenheitText
            : UnitCelsiusText);
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
    const int code = protocol::u8(mClimateData, protocol::climate::Left);
    QVX_DBG << code;
    return code;
}

int SimpleService::getAcRightTemperatureIndex()
{
    const int code = protocol::u8(mClimateData, protocol::climate::Right);
    QVX_DBG << code;
    return code;
}

int SimpleService::getAcRearTemperatureIndex()
{
    const int code = protocol::u8(mClimateData, protocol::climate::RearTemp);
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
        toggle(protocol::climatekey::Power, isPowerOff());
        break;
    case 2:
        toggle(protocol::climatekey::Ac, isAc());
        break;
    case 4:
        toggle(protocol::climatekey::Dual, isDual());
        break;
    case 5:
        toggle(protocol::climatekey::Auto, isAuto());
        break;
    case 6:
        sendAcSet(protocol::climatekey::Inside, 1);
        break;
    case 7:
        sendAcSet(protocol::climatekey::Inside, 0);
        break;
    case 8:
        toggle(protocol::climatekey::FrontDefrost, isFrontDefrost());
        break;
    case 9:
        toggle(protocol::climatekey::RearDefrost, isRearDefrost());
        break;
    case 12:
        sendAcSet(protocol::climatekey::VentsCode3, protocol::climatekey::Press);
        break;
    case 13:
        sendAcSet(protocol::climatekey::VentsCode6, protocol::climatekey::Press);
        break;
    case 14:
        sendAcSet(protocol::climatekey::VentsCode5, protocol::climatekey::Press);
        break;
    case 15:
        if (carModelId() == CappedBlowerModel) {
            const int scale = getAcWindScale();
            QVX_DBG << scale;
            if (scale == 7)
                break;
        }
        sendAcSet(protocol::climatekey::Fan, protocol::climatekey::Up);
        break;
    case 16:
        sendAcSet(protocol::climatekey::Fan, protocol::climatekey::Down);
        break;
    case 17:
        sendAcSet(protocol::climatekey::RearFan, protocol::climatekey::Up);
        break;
    case 18:
        sendAcSet(protocol::climatekey::RearFan, protocol::climatekey::Down);
        break;
    case 19:
        sendAcSet(protocol::climatekey::LeftTemp, protocol::climatekey::Up);
        break;
    case 20:
        sendAcSet(protocol::climatekey::LeftTemp, protocol::climatekey::Down);
        break;
    case 21:
        sendAcSet(protocol::climatekey::RightTemp, protocol::climatekey::Up);
        break;
    case 22:
        sendAcSet(protocol::climatekey::RightTemp, protocol::climatekey::Down);
        break;
    case 23:
        sendAcSet(protocol::climatekey::RearTemp, protocol::climatekey::Up);
        break;
    case 24:
        sendAcSet(protocol::climatekey::RearTemp, protocol::climatekey::Down);
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
        const int mode = protocol::u8(mClimateData, protocol::climate::Mode) & 0x0F;
        QVX_DBG << mode;
        switch (mode) {
        case 3:
            sendAcSet(protocol::climatekey::VentsCode5, protocol::climatekey::Press);
            break;
        case 5:
            sendAcSet(protocol::climatekey::VentsCode11, protocol::climatekey::Press);
            break;
        case 6:
            sendAcSet(protocol::climatekey::VentsCode3, protocol::climatekey::Press);
            break;
        case 11:
            sendAcSet(protocol::climatekey::VentsCode12, protocol::climatekey::Press);
            break;
        default:
            sendAcSet(protocol::climatekey::VentsCode6, protocol::climatekey::Press);
            break;
        }
        break;
    }
    case 34:
        sendAcSet(protocol::climatekey::RearClimate, protocol::climatekey::Press);
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
    sendFrame(protocol::cmd::ClimateKey, QByteArray().append(char(command)).append(char(value)),
              false);
}

} // namespace canservice
