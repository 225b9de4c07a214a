// The binary contract with the head unit: the host calls the interface's operations by their
// virtual table slot, so one that moves breaks it without any compiler noticing. The records'
// layout is checked at compile time by recordlayout.h.
#include "canservicebase.h"
#include "recordlayout.h"

#include <QtTest>

#include <cstddef>
#include <cstring>

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
