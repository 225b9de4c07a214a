// Trip computer, car information, fuel status and the adapter version.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

namespace canservice {

namespace {

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
    if (data.size() == protocol::len::Wheel)
        return;
    QVX_ERR;
}

void SimpleService::doCarInformationData(int, QByteArray &data)
{
    if (data.size() != protocol::len::CarInfo) {
        QVX_ERR;
        return;
    }

    const int rotateHigh = protocol::u8(data, protocol::carinfo::Rotate);
    const int rotateLow = protocol::u8(data, protocol::carinfo::Rotate + 1);
    QVX_DBG << rotateHigh << rotateLow;
    if (!protocol::notAvailable(data, protocol::carinfo::Rotate, 2)) {
        const int rotate = protocol::be16(data, protocol::carinfo::Rotate);
        QVX_DBG << rotate << mRotate;
        if (rotate != mRotate) {
            mRotate = rotate;
            emit rotateChanged();
        }
    }

    const int coolantTemp =
        protocol::u8(data, protocol::carinfo::Coolant) - protocol::carinfo::CoolantOffset;
    QVX_DBG << coolantTemp << mCoolantTemp;
    if (coolantTemp != mCoolantTemp) {
        mCoolantTemp = coolantTemp;
        emit coolantemChanged();
    }

    const int otherInfo = protocol::u8(data, protocol::carinfo::OtherInfo);
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
    if (data.size() != protocol::len::Body) {
        QVX_ERR;
        return;
    }

    const int fuelStatus =
        (protocol::u8(data, protocol::body::Alerts) & protocol::body::FuelWarning) ? 1 : 0;
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
    if (data.size() != protocol::len::Fuel) {
        QVX_ERR;
        return;
    }

    const quint8 unitByte = protocol::u8(data, protocol::fuel::Units);
    QVX_DBG << (unitByte & 0x03);
    const int consumptionUnit = consumptionUnitText(unitByte);

    // Unlike the driving data, these are rewritten and announced even when nothing changed.
    const auto consumption = [&](int k, QString &item) {
        QVX_DBG << protocol::u8(data, k) << protocol::u8(data, k + 1);
        if (protocol::notAvailable(data, k, 2))
            return;
        item = withUnit(tenths(protocol::be16(data, k)), consumptionUnit);
        QVX_DBG << item;
    };
    consumption(protocol::fuel::Consumption1, mFuelConsumptionData.item1);
    consumption(protocol::fuel::Consumption4, mFuelConsumptionData.item4);
    consumption(protocol::fuel::Consumption5, mFuelConsumptionData.item5);
    consumption(protocol::fuel::Consumption6, mFuelConsumptionData.item6);
    emit fuelDataChanged();

    QVX_DBG << (unitByte >> 2 & 0x01);
    const int drivingUnit = drivingUnitText(unitByte);

    const int b = protocol::fuel::DrivingB;
    QVX_DBG << protocol::u8(data, b) << protocol::u8(data, b + 1) << protocol::u8(data, b + 2);
    if (!protocol::notAvailable(data, b, 3)) {
        const QString valueB = withUnit(tenths(protocol::be24(data, b)), drivingUnit);
        QVX_DBG << valueB;
        if (valueB != mDrivingData.item5) {
            mDrivingData.item5 = valueB;
            emit drivingDataChanged();
        }
    }

    const int a = protocol::fuel::DrivingA;
    QVX_DBG << protocol::u8(data, a) << protocol::u8(data, a + 1);
    if (protocol::notAvailable(data, a, 2))
        return;
    const QString valueA = withUnit(float(protocol::be16(data, a)), drivingUnit);
    QVX_DBG << valueA;
    if (valueA != mDrivingData.item2) {
        mDrivingData.item2 = valueA;
        emit drivingDataChanged();
    }
}

void SimpleService::doCurrentMileage(int, QByteArray &data)
{
    if (data.size() != protocol::len::Mileage) {
        QVX_ERR;
        return;
    }

    const int m = protocol::mileage::Mileage;
    QVX_DBG << protocol::u8(data, m) << protocol::u8(data, m + 1);
    if (!protocol::notAvailable(data, m, 2)) {
        const QString mileage = withUnit(tenths(protocol::be16(data, m)), MileageUnitText);
        QVX_DBG << mDrivingData.item1 << mileage;
        if (mileage != mDrivingData.item1) {
            mDrivingData.item1 = mileage;
            emit drivingDataChanged();
        }
    }

    // Unlike every other field, an unavailable time replaces the old text with a marker.
    const int t = protocol::mileage::Time;
    const int minutes = protocol::mileage::Minutes;
    QVX_DBG << protocol::u8(data, t) << protocol::u8(data, t + 1);
    QString time = QStringLiteral("--");
    if (!protocol::notAvailable(data, t, 2) && !protocol::notAvailable(data, minutes, 1)) {
        const double value =
            double(tenths(protocol::be16(data, t))) + protocol::u8(data, minutes) / 60.0;
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
