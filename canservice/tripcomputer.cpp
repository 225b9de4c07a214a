// Trip computer, car information, fuel status and the adapter version.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

namespace {

constexpr int CarInformationLength = 14;
constexpr int RotateLength = 10;
constexpr int BodyStatusLength = 10;
constexpr int FuelConsumptionLength = 25;
constexpr int CurrentMileageLength = 17;

constexpr int CoolantOffset = 40;
constexpr quint8 FuelStatusBit = 0x80;

constexpr int CoolantUnitText = 990;
constexpr int OtherInfoUnitText = 999;
constexpr int FuelStatusClearText = 131;
constexpr int FuelStatusSetText = 346;
constexpr int MileageUnitText = 992;
constexpr int TimeUnitText = 1025;

int consumptionUnitText(quint8 unitByte)
{
    static const int texts[] = {1026, 1003, 1002, 1035};
    return texts[unitByte & 0x03];
}

int drivingUnitText(quint8 unitByte)
{
    return (unitByte >> 2 & 0x01) ? 998 : 997;
}

// The adapter's tenths, passed through a 32-bit float: the texts show what the float holds.
float tenths(int raw)
{
    return float(raw * 0.1);
}

QString withUnit(double value, int textId)
{
    return QString::number(value, 'f', 1) + Translator::translate(textId);
}

} // namespace

QString SimpleService::version()
{
    return mVersion;
}

int SimpleService::requestDrivingData()
{
    return 0;
}

int SimpleService::getVehicleData(QMap<QString, QString> &)
{
    return 0;
}

int SimpleService::getRotate()
{
    return mRotate;
}

int SimpleService::getCoolantTemp()
{
    return mCoolantTemp;
}

QString SimpleService::getCoolantTempUnit()
{
    return Translator::translate(CoolantUnitText);
}

int SimpleService::getDrivingData(DrivingData &data)
{
    data = mDrivingData;
    return 0;
}

int SimpleService::getFuelConsumptionData(FuelConsumptionData &data)
{
    data = mFuelConsumptionData;
    return 0;
}

int SimpleService::getOtherInfoData(OtherInfoData &data)
{
    data = mOtherInfoData;
    return 0;
}

// Command 0x11 is shared with the steering-wheel keys, which decode it right after this.
void SimpleService::doRotate(int, QByteArray &data)
{
    if (data.size() == RotateLength)
        return;
    QVX_ERR;
}

void SimpleService::doCarInformationData(int, QByteArray &data)
{
    if (data.size() != CarInformationLength) {
        QVX_ERR;
        return;
    }

    const int rotateHigh = frame::u8(data, 2);
    const int rotateLow = frame::u8(data, 3);
    QVX_DBG << rotateHigh << rotateLow;
    if (!frame::notAvailable(data, 2, 2)) {
        const int rotate = frame::be16(data, 2);
        QVX_DBG << rotate << mRotate;
        if (rotate != mRotate) {
            mRotate = rotate;
            emit rotateChanged();
        }
    }

    const int coolantTemp = frame::u8(data, 9) - CoolantOffset;
    QVX_DBG << coolantTemp << mCoolantTemp;
    if (coolantTemp != mCoolantTemp) {
        mCoolantTemp = coolantTemp;
        emit coolantemChanged();
    }

    const int otherInfo = frame::u8(data, 8);
    QVX_DBG << otherInfo << mOtherInfoValue;
    if (otherInfo != mOtherInfoValue) {
        mOtherInfoValue = otherInfo;
        mOtherInfoData.item2 =
            QString::number(otherInfo, 10) + Translator::translate(OtherInfoUnitText);
        emit otherInfoDataChanged();
    }
}

// Body-status frame: doors and battery alert have been decoded from the same bytes already.
void SimpleService::doFuelStatus(int, QByteArray &data)
{
    if (data.size() != BodyStatusLength) {
        QVX_ERR;
        return;
    }

    const int fuelStatus = (frame::u8(data, 6) & FuelStatusBit) ? 1 : 0;
    QVX_DBG << fuelStatus << mFuelStatus;
    if (fuelStatus == mFuelStatus)
        return;
    mFuelStatus = fuelStatus;
    mOtherInfoData.item1 =
        Translator::translate(fuelStatus ? FuelStatusSetText : FuelStatusClearText);
    emit otherInfoDataChanged();
}

void SimpleService::doFuelConsumption(int, QByteArray &data)
{
    if (data.size() != FuelConsumptionLength) {
        QVX_ERR;
        return;
    }

    const quint8 unitByte = frame::u8(data, 22);
    QVX_DBG << (unitByte & 0x03);
    const int consumptionUnit = consumptionUnitText(unitByte);

    // Unlike the driving data, these are rewritten and announced even when nothing changed.
    const auto consumption = [&](int k, QString &item) {
        QVX_DBG << frame::u8(data, k) << frame::u8(data, k + 1);
        if (frame::notAvailable(data, k, 2))
            return;
        item = withUnit(tenths(frame::be16(data, k)), consumptionUnit);
        QVX_DBG << item;
    };
    consumption(0, mFuelConsumptionData.item1);
    consumption(7, mFuelConsumptionData.item4);
    consumption(12, mFuelConsumptionData.item5);
    consumption(17, mFuelConsumptionData.item6);
    emit fuelDataChanged();

    QVX_DBG << (unitByte >> 2 & 0x01);
    const int drivingUnit = drivingUnitText(unitByte);

    QVX_DBG << frame::u8(data, 4) << frame::u8(data, 5) << frame::u8(data, 6);
    if (!frame::notAvailable(data, 4, 3)) {
        const QString valueB = withUnit(tenths(frame::be24(data, 4)), drivingUnit);
        QVX_DBG << valueB;
        if (valueB != mDrivingData.item5) {
            mDrivingData.item5 = valueB;
            emit drivingDataChanged();
        }
    }

    QVX_DBG << frame::u8(data, 2) << frame::u8(data, 3);
    if (frame::notAvailable(data, 2, 2))
        return;
    const QString valueA = withUnit(float(frame::be16(data, 2)), drivingUnit);
    QVX_DBG << valueA;
    if (valueA != mDrivingData.item2) {
        mDrivingData.item2 = valueA;
        emit drivingDataChanged();
    }
}

void SimpleService::doCurrentMileage(int, QByteArray &data)
{
    if (data.size() != CurrentMileageLength) {
        QVX_ERR;
        return;
    }

    QVX_DBG << frame::u8(data, 4) << frame::u8(data, 5);
    if (!frame::notAvailable(data, 4, 2)) {
        const QString mileage = withUnit(tenths(frame::be16(data, 4)), MileageUnitText);
        QVX_DBG << mDrivingData.item1 << mileage;
        if (mileage != mDrivingData.item1) {
            mDrivingData.item1 = mileage;
            emit drivingDataChanged();
        }
    }

    // Unlike every other field, an unavailable time replaces the old text with a marker.
    QVX_DBG << frame::u8(data, 11) << frame::u8(data, 12);
    QString time = QStringLiteral("--");
    if (!frame::notAvailable(data, 11, 2) && !frame::notAvailable(data, 13, 1)) {
        const double value = double(tenths(frame::be16(data, 11))) + frame::u8(data, 13) / 60.0;
        time = withUnit(value, TimeUnitText);
    }
    QVX_DBG << mDrivingData.item3 << time;
    if (time != mDrivingData.item3) {
        mDrivingData.item3 = time;
        emit drivingDataChanged();
    }
}

// Every frame replaces the text and is announced, even when nothing changed.
void SimpleService::doVersion(int, QByteArray &data)
{
    const int end = data.indexOf('\0');
    mVersion = QString::fromUtf8(data.constData(), end < 0 ? data.size() : end);
    QVX_DBG << mVersion;
    emit sigVersionData();
}

} // namespace canservice
