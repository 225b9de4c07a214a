#pragma once

// The records' layout as the head unit's host was compiled with it. The host reads them by
// offset, so a member that moves breaks it without any compiler noticing: every build of the
// plugin checks them here, for the ABI it compiles for (x86-64 for the bench, armhf for the
// head unit; other ABIs have nothing written down).

#include "records.h"

#include <cstddef>
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
    static_assert(std::is_standard_layout<T>::value,                                               \
                  #T " must stay a plain standard-layout record");                                 \
    static_assert(sizeof(T) == QVX_ABI(size64, size32), #T " changed size on " QVX_ABI_NAME);      \
    static_assert(alignof(T) == QVX_ABI(align64, align32),                                         \
                  #T " changed alignment on " QVX_ABI_NAME);
QVX_RECORD_MEMBERS(QVX_ASSERT_OFFSET)
QVX_RECORD_SIZES(QVX_ASSERT_SIZE)
#endif
