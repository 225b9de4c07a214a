#pragma once

// Records that cross the library boundary between the head unit and the plugin.
// Member order and types are a binary contract: the host compiles its own copy
// of this header, so nothing may be added, removed or reordered.

#include <QByteArray>
#include <QString>
#include <cstdint>

struct AmbientLightData
{
    uint8_t mode = 1;
    uint8_t colour = 0xFF;
    uint8_t brightness = 0xFF;
    uint8_t zones[2] = {1, 1};
};

struct EvrData
{
    QByteArray rgb = QByteArray::number(0xFFFFFF);
    uint8_t level = 0xFF;
    uint8_t flags[3] = {1, 1, 1};
    int32_t state = 1;
};

struct CarSettingData
{
    AmbientLightData ambientLight;
    EvrData evr;
};

struct GPSTimePacket
{
    uint8_t hour = 0;
    uint8_t minute = 0;
    uint8_t day = 1;
    int32_t year = 0;
    int32_t offset = 0;
    uint8_t month = 1;
    uint8_t valid = 1;
};

struct CameraData
{
    int32_t mode;
    int32_t value;
};

struct GPSTime
{
    int32_t year = 0;
    int32_t month = 0;
    int32_t day = 0;
    int32_t hour = 0;
    int32_t minute = 0;
    int32_t second = 0;
};

struct VehicleMaintenanceData
{
    QString item1;
    QString item2;
    QString item3;
    QString item4;
};

struct UnitData
{
    int32_t distance = 0;
    int32_t temperature = 0;
    int32_t pressure = 0;
    int32_t consumption = 0;
};

// Trip computer texts: a number followed directly by its translated unit.
struct FuelConsumptionData
{
    QString item1;
    QString item2;
    QString item3;
    QString item4;
    QString item5;
    QString item6;
};

struct DrivingData
{
    QString item1;
    QString item2;
    QString item3;
    QString item4;
    QString item5;
    QString item6;
    QString item7;
    QString item8;
    QString item9;
    QString item10;
    QString item11;
    QString item12;
    QString item13;
    QString item14;
    QString item15;
    QString item16;
    QString item17;
    QString item18;
};

struct OtherInfoData
{
    QString item1;
    QString item2;
    QString item3;
    QString item4;
    QString item5;
    QString item6;
    QString item7;
    QString item8;
    QString item9;
    bool flag = true;
};
