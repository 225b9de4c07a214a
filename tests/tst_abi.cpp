// The binary contract with the head unit: the host was compiled against its own copy of the
// records and the interface, so a member that moves, or an operation that changes its virtual
// table slot, breaks it without any compiler noticing. Expected values are written down per ABI
// so that a change fails on the ABI it breaks, even when the other one happens to be unaffected.
#include "canservicebase.h"
#include "records.h"

#include <QtTest>

#include <cstddef>
#include <cstring>
#include <type_traits>

// Pick the column for the ABI being compiled. armhf: 32-bit pointers and long, 4-byte alignment
// for 32-bit members, QString and QByteArray one pointer wide.
#if defined(__x86_64__) && defined(__LP64__)
#define QVX_ABI_NAME "x86-64"
#define QVX_ABI(x86_64, armhf) std::size_t(x86_64)
#elif defined(__arm__) && defined(__ARM_EABI__) && defined(__ARM_PCS_VFP)
#define QVX_ABI_NAME "armhf"
#define QVX_ABI(x86_64, armhf) std::size_t(armhf)
#elif defined(__arm__)
// The head unit passes floats in VFP registers; a soft-float plugin returns them in the wrong
// place, so a float operation would read garbage on the target.
#error "32-bit ARM build without the hard-float calling convention; the head unit is armhf"
#else
#define QVX_ABI(x86_64, armhf) std::size_t(0)
#endif

// record, member, offset on x86-64, offset on armhf (records of texts only: their size says it)
#define QVX_RECORD_MEMBERS(X)                                                                      \
    X(AmbientLightData, mode, 0, 0)                                                                \
    X(AmbientLightData, colour, 1, 1)                                                              \
    X(AmbientLightData, brightness, 2, 2)                                                          \
    X(AmbientLightData, zones, 3, 3)                                                               \
    X(EvrData, rgb, 0, 0)                                                                          \
    X(EvrData, level, 8, 4)                                                                        \
    X(EvrData, flags, 9, 5)                                                                        \
    X(EvrData, state, 12, 8)                                                                       \
    X(CarSettingData, ambientLight, 0, 0)                                                          \
    X(CarSettingData, evr, 8, 8)                                                                   \
    X(GPSTimePacket, hour, 0, 0)                                                                   \
    X(GPSTimePacket, minute, 1, 1)                                                                 \
    X(GPSTimePacket, day, 2, 2)                                                                    \
    X(GPSTimePacket, year, 4, 4)                                                                   \
    X(GPSTimePacket, offset, 8, 8)                                                                 \
    X(GPSTimePacket, month, 12, 12)                                                                \
    X(GPSTimePacket, valid, 13, 13)                                                                \
    X(CameraData, mode, 0, 0)                                                                      \
    X(CameraData, value, 4, 4)                                                                     \
    X(GPSTime, year, 0, 0)                                                                         \
    X(GPSTime, month, 4, 4)                                                                        \
    X(GPSTime, day, 8, 8)                                                                          \
    X(GPSTime, hour, 12, 12)                                                                       \
    X(GPSTime, minute, 16, 16)                                                                     \
    X(GPSTime, second, 20, 20)                                                                     \
    X(UnitData, distance, 0, 0)                                                                    \
    X(UnitData, temperature, 4, 4)                                                                 \
    X(UnitData, pressure, 8, 8)                                                                    \
    X(UnitData, consumption, 12, 12)                                                               \
    X(OtherInfoData, flag, 72, 36)

// record, size and alignment on x86-64, size and alignment on armhf
#define QVX_RECORD_SIZES(X)                                                                        \
    X(AmbientLightData, 5, 1, 5, 1)                                                                \
    X(EvrData, 16, 8, 12, 4)                                                                       \
    X(CarSettingData, 24, 8, 20, 4)                                                                \
    X(GPSTimePacket, 16, 4, 16, 4)                                                                 \
    X(CameraData, 8, 4, 8, 4)                                                                      \
    X(GPSTime, 24, 4, 24, 4)                                                                       \
    X(VehicleMaintenanceData, 32, 8, 16, 4)                                                        \
    X(UnitData, 16, 4, 16, 4)                                                                      \
    X(FuelConsumptionData, 48, 8, 24, 4)                                                           \
    X(DrivingData, 144, 8, 72, 4)                                                                  \
    X(OtherInfoData, 80, 8, 40, 4)

#ifdef QVX_ABI_NAME
#define QVX_ASSERT_OFFSET(T, m, x86_64, armhf)                                                     \
    static_assert(offsetof(T, m) == QVX_ABI(x86_64, armhf), #T "::" #m " moved on " QVX_ABI_NAME);
#define QVX_ASSERT_SIZE(T, size64, align64, size32, align32)                                       \
    static_assert(std::is_standard_layout_v<T>, #T " must stay a plain standard-layout record");   \
    static_assert(sizeof(T) == QVX_ABI(size64, size32), #T " changed size on " QVX_ABI_NAME);      \
    static_assert(alignof(T) == QVX_ABI(align64, align32),                                         \
                  #T " changed alignment on " QVX_ABI_NAME);
QVX_RECORD_MEMBERS(QVX_ASSERT_OFFSET)
QVX_RECORD_SIZES(QVX_ASSERT_SIZE)
#endif

namespace {

// Itanium C++ ABI pointer to a virtual member: x86-64 stores 1 + the slot's byte offset with the
// adjustment beside it; the ARM C++ ABI keeps the low bit of the code pointer for Thumb, so it
// stores the plain byte offset and marks virtual-ness in the adjustment's low bit instead.
template <typename Method> int vtableSlot(Method method)
{
    static_assert(sizeof(Method) == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t words[2];
    std::memcpy(words, &method, sizeof words);
#if defined(__arm__) || defined(__aarch64__)
    if ((words[1] & 1) == 0)
        return -1;
    const std::ptrdiff_t offset = words[0];
#else
    if ((words[0] & 1) == 0)
        return -1;
    const std::ptrdiff_t offset = words[0] - 1;
#endif
    return int(offset / std::ptrdiff_t(sizeof(void *)));
}

} // namespace

class tst_Abi : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void vtableSlots_data();
    void vtableSlots();
};

void tst_Abi::initTestCase()
{
#ifdef QVX_ABI_NAME
    qInfo("ABI: %s", QVX_ABI_NAME);
#else
    QSKIP("No record layout is written down for this ABI; only x86-64 and armhf are known");
#endif
}

void tst_Abi::vtableSlots_data()
{
    QTest::addColumn<int>("actual");
    QTest::addColumn<int>("expected");
    // Counted from the table's first entry: QObject's own twelve come first.
#define QVX_SLOT(name, slot) QTest::newRow(#name) << vtableSlot(&CanServiceBase::name) << slot;
    // clang-format off
    QVX_SLOT(start, 12) QVX_SLOT(stop, 13) QVX_SLOT(request, 14) QVX_SLOT(version, 15)
    QVX_SLOT(getSpeed, 17) QVX_SLOT(getVehicleData, 26) QVX_SLOT(getRotate, 31)
    QVX_SLOT(isRadarStatus, 41) QVX_SLOT(getTirePressureValueFR, 47)
    QVX_SLOT(getBatteryVoltageValue, 52) QVX_SLOT(isPowerOff, 55) QVX_SLOT(getAcTemperature, 80)
    QVX_SLOT(sendAcKey, 86) QVX_SLOT(sendCameraKey, 88) QVX_SLOT(getFrontRadarLeftDistance, 91)
    QVX_SLOT(getCarSettingData, 109) QVX_SLOT(getDrivingData, 110)
    QVX_SLOT(getFuelConsumptionData, 116) QVX_SLOT(getOtherInfoData, 119)
    QVX_SLOT(onRadioSourceInformation, 120) QVX_SLOT(requsetGauges, 123) QVX_SLOT(GPSTimeSend, 133)
    QVX_SLOT(sendAnyData, 134)
    // clang-format on
#undef QVX_SLOT
}

void tst_Abi::vtableSlots()
{
    QFETCH(int, actual);
    QFETCH(int, expected);
    QCOMPARE(actual, expected);
}

QTEST_GUILESS_MAIN(tst_Abi)
#include "tst_abi.moc"
