-- Wireshark dissector for the serial line between the head unit and the CAN-bus adapter box,
-- as canhost --record FILE.pcapng and capconvert write it: link type 147 (USER 0), one packet
-- per frame or per run of bytes that is no frame.
--
--   tshark -X lua_script:tools/wireshark/qvx.lua -r drive.pcapng
--   or copy it to ~/.local/lib/wireshark/plugins/ and open the capture in Wireshark.
--
-- A frame is 5A A5, LEN, CMD, LEN data bytes and a checksum: the 8-bit sum of LEN, CMD and
-- the data, minus one. Fields below are named qvx.<frame>.<field>; data byte positions count
-- from the first byte after CMD.

local qvx = Proto("qvx", "Vehicle-bus adapter line")

local toHeadUnit = {
    [0x11] = "wheel key", [0x12] = "body status", [0x13] = "mileage", [0x21] = "panel key",
    [0x31] = "climate", [0x32] = "car information", [0x34] = "fuel consumption",
    [0x41] = "parking radar", [0x68] = "tyres", [0xF0] = "version",
}
local toAdapter = {
    [0x2A] = "car select", [0x3B] = "climate key", [0x60] = "start", [0x90] = "request",
    [0x91] = "source status", [0xFE] = "NAK", [0xFF] = "ACK",
}
local lengths = {
    [0x11] = 10, [0x12] = 10, [0x13] = 17, [0x21] = 2, [0x31] = 12, [0x32] = 14, [0x34] = 25,
    [0x41] = 12, [0x68] = 16, [0x2A] = 2, [0x3B] = 2, [0x60] = 3, [0x90] = 2, [0x91] = 14,
    [0xFE] = 1, [0xFF] = 1,
}
local names = {}
for id, name in pairs(toHeadUnit) do names[id] = name end
for id, name in pairs(toAdapter) do names[id] = name end

local F = {}
local function field(key, f) F[key] = f end

field("len", ProtoField.uint8("qvx.len", "Data length"))
field("cmd", ProtoField.uint8("qvx.cmd", "Command", base.HEX, names))
field("name", ProtoField.string("qvx.name", "Command name"))
field("checksum", ProtoField.uint8("qvx.checksum", "Checksum", base.HEX))
field("data", ProtoField.bytes("qvx.data", "Data"))
field("noise", ProtoField.bytes("qvx.noframe", "Bytes that are no whole frame"))
-- body status
field("doors", ProtoField.uint8("qvx.body.doors", "Doors", base.HEX))
field("bonnet", ProtoField.bool("qvx.body.bonnet", "Bonnet (front door) open", 8, nil, 0x04))
field("boot", ProtoField.bool("qvx.body.boot", "Boot (rear door) open", 8, nil, 0x08))
field("rearRight", ProtoField.bool("qvx.body.rear_right", "Rear right door open", 8, nil, 0x10))
field("rearLeft", ProtoField.bool("qvx.body.rear_left", "Rear left door open", 8, nil, 0x20))
field("frontLeft", ProtoField.bool("qvx.body.front_left", "Front left door open", 8, nil, 0x40))
field("frontRight", ProtoField.bool("qvx.body.front_right", "Front right door open", 8, nil, 0x80))
field("battery", ProtoField.bool("qvx.body.battery_alert", "Battery voltage alert", 8, nil, 0x40))
field("fuelLow", ProtoField.bool("qvx.body.fuel_warning", "Fuel warning", 8, nil, 0x80))
-- keys
field("keyCode", ProtoField.uint8("qvx.key.code", "Key code", base.HEX))
field("keyAction", ProtoField.uint8("qvx.key.action", "Key action", base.DEC,
    { [0] = "release", [1] = "press" }))
-- climate
field("acOn", ProtoField.bool("qvx.climate.ac", "AC", 8, nil, 0x01))
field("dual", ProtoField.uint8("qvx.climate.dual", "Dual zone (1: dual)", base.DEC, nil, 0x0C))
field("auto", ProtoField.bool("qvx.climate.auto", "Auto", 8, nil, 0x10))
field("rearClimate", ProtoField.bool("qvx.climate.rear", "Rear climate", 8, nil, 0x20))
field("powerOff", ProtoField.bool("qvx.climate.power_off", "Power off", 8, nil, 0x40))
field("inside", ProtoField.bool("qvx.climate.inside", "Inside air", 8, nil, 0x10))
field("leftVent", ProtoField.bool("qvx.climate.left_ventilates", "Left seat ventilates", 8, nil, 0x40))
field("rightVent", ProtoField.bool("qvx.climate.right_ventilates", "Right seat ventilates", 8, nil, 0x80))
field("leftSeat", ProtoField.uint8("qvx.climate.left_seat", "Left seat level", base.DEC, nil, 0x03))
field("rightSeat", ProtoField.uint8("qvx.climate.right_seat", "Right seat level", base.DEC, nil, 0x0C))
field("frontDefrost", ProtoField.bool("qvx.climate.front_defrost", "Front defrost", 8, nil, 0x10))
field("rearDefrost", ProtoField.bool("qvx.climate.rear_defrost", "Rear defrost", 8, nil, 0x20))
field("fahrenheit", ProtoField.bool("qvx.climate.fahrenheit", "Fahrenheit", 8, nil, 0x80))
field("mode", ProtoField.uint8("qvx.climate.mode", "Air-flow mode code"))
field("fan", ProtoField.uint8("qvx.climate.fan", "Fan code"))
field("tempLeft", ProtoField.string("qvx.climate.temp_left", "Left temperature"))
field("tempRight", ProtoField.string("qvx.climate.temp_right", "Right temperature"))
field("rearMode", ProtoField.uint8("qvx.climate.rear_mode", "Rear air-flow mode code"))
field("rearFan", ProtoField.uint8("qvx.climate.rear_fan", "Rear fan code"))
field("tempRear", ProtoField.string("qvx.climate.temp_rear", "Rear temperature"))
-- car information
field("rotate", ProtoField.uint16("qvx.carinfo.rotate", "Engine speed (rpm)"))
field("otherInfo", ProtoField.uint8("qvx.carinfo.other_info", "Other information"))
field("coolant", ProtoField.int16("qvx.carinfo.coolant", "Coolant temperature (degrees)"))
-- trip computer
field("consumption", ProtoField.string("qvx.fuel.consumption", "Consumption"))
field("drivingA", ProtoField.string("qvx.fuel.driving_a", "Driving value A"))
field("drivingB", ProtoField.string("qvx.fuel.driving_b", "Driving value B"))
field("units", ProtoField.uint8("qvx.fuel.units", "Units", base.HEX))
field("mileage", ProtoField.string("qvx.mileage.mileage", "Current mileage"))
field("driveTime", ProtoField.string("qvx.mileage.time", "Driving time (hours)"))
field("minutes", ProtoField.uint8("qvx.mileage.minutes", "Driving time, minutes"))
-- radar, tyres, version
field("radarRaw", ProtoField.uint8("qvx.radar.distance", "Raw distance"))
field("radarBand", ProtoField.string("qvx.radar.band", "Band (1 nearest .. 8, none)"))
field("tyresValid", ProtoField.bool("qvx.tyres.valid", "Tyre data valid", 8, nil, 0x80))
field("pressure", ProtoField.uint16("qvx.tyres.pressure", "Pressure"))
field("alert", ProtoField.string("qvx.tyres.alert", "Alert (none, first kind, second kind)"))
field("version", ProtoField.string("qvx.version", "Adapter version"))
-- head unit to adapter
field("answered", ProtoField.uint8("qvx.answered", "Command answered", base.HEX, names))
field("model", ProtoField.uint8("qvx.carselect.model", "Vehicle model index"))
field("second", ProtoField.uint8("qvx.carselect.second", "Second byte", base.HEX))
field("keyCommand", ProtoField.uint8("qvx.climatekey.command", "Climate command"))
field("keyValue", ProtoField.uint8("qvx.climatekey.value", "Value", base.HEX))
field("requestA", ProtoField.uint8("qvx.request.first", "Requested", base.HEX, names))
field("requestB", ProtoField.uint8("qvx.request.second", "Second byte", base.HEX))
field("sourceCode", ProtoField.uint8("qvx.source.code", "Source code"))
field("sourceText", ProtoField.string("qvx.source.text", "Source text"))

local fieldList = {}
for _, f in pairs(F) do fieldList[#fieldList + 1] = f end
qvx.fields = fieldList

local badChecksum = ProtoExpert.new("qvx.checksum.bad", "Bad checksum: answered with a NAK",
    expert.group.CHECKSUM, expert.severity.ERROR)
local notFrame = ProtoExpert.new("qvx.noframe.expert", "Not a whole frame: skipped or cut off",
    expert.group.PROTOCOL, expert.severity.WARN)
local badLength = ProtoExpert.new("qvx.len.bad", "Data length does not fit the command",
    expert.group.PROTOCOL, expert.severity.WARN)
qvx.experts = { badChecksum, notFrame, badLength }

local function temperature(code)
    if code == 0xFE then return "low" end
    if code == 0xFF then return "high" end
    return string.format("%.1f", code / 2)
end

-- A trip value in tenths; all bytes 0xFF is "not available".
local function tenths(range, scale)
    local v = range:uint()
    if v == 2 ^ (8 * range:len()) - 1 then return "not available" end
    if scale == 1 then return tostring(v) end
    return string.format("%.1f", v / 10)
end

-- Whether bit m (a power of two) is set in v; the same in every Lua Wireshark may run.
local function has(v, m) return math.floor(v / m) % 2 == 1 end

local function band(raw)
    if raw == 0 then return "none" end
    local tops = { 38, 69, 100, 131, 162, 193, 224, 255 }
    for b, top in ipairs(tops) do
        if raw <= top then return tostring(b) end
    end
end

local decoders = {}

decoders[0x12] = function(d, t)
    local doors = t:add(F.doors, d(2, 1))
    for _, k in ipairs({ "bonnet", "boot", "frontLeft", "frontRight", "rearLeft", "rearRight" }) do
        doors:add(F[k], d(2, 1))
    end
    t:add(F.battery, d(6, 1))
    t:add(F.fuelLow, d(6, 1))
end

local function key(d, t, at)
    t:add(F.keyCode, d(at, 1))
    t:add(F.keyAction, d(at + 1, 1))
end
decoders[0x11] = function(d, t) key(d, t, 2) end
decoders[0x21] = function(d, t) key(d, t, 0) end

decoders[0x31] = function(d, t)
    for _, k in ipairs({ "acOn", "dual", "auto", "rearClimate", "powerOff" }) do t:add(F[k], d(0, 1)) end
    for _, k in ipairs({ "inside", "leftVent", "rightVent" }) do t:add(F[k], d(1, 1)) end
    for _, k in ipairs({ "leftSeat", "rightSeat", "frontDefrost", "rearDefrost", "fahrenheit" }) do
        t:add(F[k], d(2, 1))
    end
    t:add(F.mode, d(4, 1))
    t:add(F.fan, d(5, 1))
    t:add(F.tempLeft, d(6, 1), temperature(d(6, 1):uint()))
    t:add(F.tempRight, d(7, 1), temperature(d(7, 1):uint()))
    t:add(F.rearMode, d(8, 1))
    t:add(F.rearFan, d(9, 1))
    t:add(F.tempRear, d(10, 1), temperature(d(10, 1):uint()))
end

decoders[0x32] = function(d, t)
    if d(2, 2):uint() ~= 0xFFFF then t:add(F.rotate, d(2, 2)) end
    t:add(F.otherInfo, d(8, 1))
    t:add(F.coolant, d(9, 1), d(9, 1):uint() - 40)
end

decoders[0x34] = function(d, t)
    for _, at in ipairs({ 0, 7, 12, 17 }) do t:add(F.consumption, d(at, 2), tenths(d(at, 2))) end
    t:add(F.drivingA, d(2, 2), tenths(d(2, 2), 1))
    t:add(F.drivingB, d(4, 3), tenths(d(4, 3)))
    t:add(F.units, d(22, 1))
end

decoders[0x13] = function(d, t)
    t:add(F.mileage, d(4, 2), tenths(d(4, 2)))
    t:add(F.driveTime, d(11, 2), tenths(d(11, 2)))
    t:add(F.minutes, d(13, 1))
end

decoders[0x41] = function(d, t)
    local sensors = { "rear left", "rear middle left", "rear middle right", "rear right",
        "front left", "front middle left", "front middle right", "front right" }
    for i, name in ipairs(sensors) do
        local s = t:add(F.radarBand, d(i - 1, 1), band(d(i - 1, 1):uint()))
        s:prepend_text(name .. ": ")
        s:add(F.radarRaw, d(i - 1, 1))
    end
end

decoders[0x68] = function(d, t)
    t:add(F.tyresValid, d(0, 1))
    local wheels = { "front left", "front right", "rear left", "rear right" }
    for w, name in ipairs(wheels) do
        t:add(F.pressure, d(1 + 2 * (w - 1), 2)):prepend_text(name .. ": ")
        local flags = d(10 + w, 1):uint()
        local alert = "none"
        if has(flags, 0x04) and has(flags, 0x01) then
            alert = "second kind"
        elseif has(flags, 0x04) and has(flags, 0x02) then
            alert = "first kind"
        end
        t:add(F.alert, d(10 + w, 1), alert):prepend_text(name .. ": ")
    end
end

-- The text ends at the first zero byte, if any.
decoders[0xF0] = function(d, t)
    local n = 0
    while n < d:len() and d(n, 1):uint() ~= 0 do n = n + 1 end
    if n > 0 then
        t:add(F.version, d(0, n), d(0, n):string(ENC_UTF_8))
    else
        t:add(F.version, d(0, 1), "")
    end
end

local function answer(d, t) t:add(F.answered, d(0, 1)) end
decoders[0xFF] = answer
decoders[0xFE] = answer
decoders[0x2A] = function(d, t) t:add(F.model, d(0, 1)); t:add(F.second, d(1, 1)) end
decoders[0x3B] = function(d, t) t:add(F.keyCommand, d(0, 1)); t:add(F.keyValue, d(1, 1)) end
decoders[0x90] = function(d, t) t:add(F.requestA, d(0, 1)); t:add(F.requestB, d(1, 1)) end
decoders[0x91] = function(d, t)
    t:add(F.sourceCode, d(0, 1))
    t:add(F.sourceText, d(2, 12), d(2, 12):string())
end

function qvx.dissector(tvb, pinfo, tree)
    pinfo.cols.protocol = "QVX"
    local t = tree:add(qvx, tvb())
    local n = tvb:len()
    if n < 5 or tvb(0, 1):uint() ~= 0x5A or tvb(1, 1):uint() ~= 0xA5
        or n ~= tvb(2, 1):uint() + 5 then
        t:add(F.noise, tvb()):add_proto_expert_info(notFrame)
        pinfo.cols.info = string.format("%d bytes that are no whole frame", n)
        return n
    end
    local len = tvb(2, 1):uint()
    local cmd = tvb(3, 1):uint()
    t:add(F.len, tvb(2, 1))
    t:add(F.cmd, tvb(3, 1))
    t:add(F.name, tvb(3, 1), names[cmd] or string.format("unknown 0x%02x", cmd))
    local sum = len + cmd
    for i = 4, 3 + len do sum = sum + tvb(i, 1):uint() end
    local check = t:add(F.checksum, tvb(n - 1, 1))
    local good = tvb(n - 1, 1):uint() == (sum - 1) % 256
    if not good then check:add_proto_expert_info(badChecksum) end
    local info = names[cmd] or string.format("0x%02x", cmd)
    if len > 0 then
        local d = tvb(4, len):tvb()
        t:add(F.data, tvb(4, len))
        if cmd == 0xFF or cmd == 0xFE then
            info = info .. " " .. (names[d(0, 1):uint()] or string.format("0x%02x", d(0, 1):uint()))
        end
        if lengths[cmd] and lengths[cmd] ~= len then
            t:add_proto_expert_info(badLength)
        elseif decoders[cmd] then
            decoders[cmd](d, t)
        end
    end
    if not good then info = info .. " [bad checksum]" end
    pinfo.cols.info = info
    return n
end

DissectorTable.get("wtap_encap"):add(wtap.USER0, qvx)
