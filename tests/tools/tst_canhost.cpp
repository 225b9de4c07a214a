// canhost's parts: the commands it reads, and what it prints for each signal, read back
// through the getters of a service fed the adapter's frames; and the simulated car's words,
// through the same service.
#include "car.h"
#include "drive.h"
#include "hostcommands.h"
#include "hostevents.h"
#include "linkcounters.h"
#include "terminalview.h"

#include <QJsonDocument>

using tools::HostCommand;
using tools::HostEvent;

Q_DECLARE_METATYPE(HostEvent)

class tst_CanHost : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void commands_data();
    void commands();
    void events_data();
    void events();
    void counters();
    void viewFits();
    void words_data();
    void words();
};

void tst_CanHost::initTestCase()
{
    qunsetenv("CANSERVICE_NVM_ROOT");
    qunsetenv("CANSERVICE_TRANSLATIONS");
    Translator::reload();
}

// A line as parsed (the fields that differ from an empty command), or its error; numbers are
// read as tst_formats reads them.
void tst_CanHost::commands_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("parsed");
    const auto row = [](const char *line, const char *parsed) {
        QTest::newRow(line) << QString(line) << QString(parsed);
    };
    row("# later", "none");
    row("key ac", "key 2 0");
    row("KEY Power 1", "key 0 1");
    row("key 19 7", "key 19 7");
    row("source 0 FM1 87.50", "source \"FM1\" 87.50");
    row("source 5 \"\" \"A B\" C", "source 5 0 \"\" A B|C");
    row("request 0x31 0", "request 49 0");
    row("model 94", "model 94 0");
    row("driver right", "driver right");
    row("wait 1.25", "wait 1.25");
    row("?", "help");
    row("exit", "quit");
    row("kye ac", "unknown command 'kye' (help lists them)");
    row("key", "usage: key <code|name> [value]");
    row("quit now", "usage: quit");
    row("key heat", "'heat' is not a key code or name (decimal or 0x-hex)");
    row("key 2 x", "'x' is not a key value (decimal or 0x-hex)");
    row("request 300 0", "request bytes are numbers from 0 to 255 (or 0x00 to 0xff)");
    row("source fm", "'fm' is not a source type (decimal or 0x-hex)");
    row("model 9x", "'9x' is not a model id (decimal or 0x-hex)");
    row("driver up", "driver is left or right, not 'up'");
    row("wait soon", "'soon' is not a number of seconds");
    row("source 0 \"FM1", "unterminated quoted text");
}

void tst_CanHost::commands()
{
    QFETCH(QString, line);
    QFETCH(QString, parsed);
    const char *const kinds[] = {"none",  "help",   "key",   "source", "request",
                                 "model", "driver", "state", "wait",   "quit"};
    HostCommand c;
    QString said;
    if (tools::parseHostCommand(line, &c, &said)) {
        QStringList s{kinds[c.kind]};
        if (c.a || c.b)
            s << QString::number(c.a) << QString::number(c.b);
        if (!c.name.isEmpty() || !c.info.isEmpty())
            s << '"' + c.name + '"' << c.info.join('|');
        if (!c.leftHand)
            s << "right";
        if (c.seconds)
            s << QString::number(c.seconds);
        said = s.join(' ');
    }
    QCOMPARE(said, parsed);
}

// One row per kind of event; what each frame means is the plugin's tests' business.
void tst_CanHost::events_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<HostEvent>("event");
    QTest::addColumn<QString>("text");
    const auto row = [](int cmd, const char *data, HostEvent event, const char *text) {
        QTest::newRow(qPrintable(tools::EventPrinter::eventName(event)))
            << cmd << (cmd == 0xF0 ? QByteArray(data) : QByteArray::fromHex(data)) << event
            << QString(text);
    };
    const char *carInfo = "00000bb800000000645a00000000";
    const char *tyres = "8000dc010000b4ffff00000000060000";
    row(0xF0, "V1.02", HostEvent::Link, "up");
    row(0xF0, "V1.02", HostEvent::Version, "\"V1.02\"");
    row(0x11, "00000301000000000000", HostEvent::Key, "0x03 wheel press");
    row(0x12, "00004c00000000000000", HostEvent::Doors, "open: left front, front, rear (0x4c)");
    row(0x12, "00000000000040000000", HostEvent::Battery, "voltage alert ON");
    row(0x41, "262700ff6400000000000000", HostEvent::Radar,
        "front 3 - - - | rear 1 2 - 8  (1 nearest .. 8 farthest, - none)");
    row(0x68, tyres, HostEvent::TyreAlert, "ALERT: FL ok, FR ok, RL alert 1, RR ok");
    row(0x68, tyres, HostEvent::Tyres, "FL 220, FR 256, RL 180, RR 65535 kPa");
    // Every field of its own value, so that none can stand in for another.
    row(0x31, "3140ba00060624fd0205fe03", HostEvent::Climate,
        "power on, AC on, auto on, dual off, inside air off, rear on | 18.0°F / 126.5°F, rear "
        "-100.0°F | fan 3, mode 1 (rear 5, 2) | defrost front on, rear on | seats: left heat 0 "
        "vent 2, right heat 2 vent 0");
    row(0x32, carInfo, HostEvent::Rotate, "3000");
    row(0x32, carInfo, HostEvent::Coolant, "50°C");
    row(0x32, carInfo, HostEvent::Info, "2: 100%");
    row(0x13, "0000000030390000000000000a1e000000", HostEvent::Driving, "1: 1234.5km, 3: 1.5h");
    row(0x34, "04d2012c0186a0005000000000460000000000000000000000", HostEvent::Fuel,
        "1: 123.4l/100km, 4: 8.0l/100km, 5: 7.0l/100km, 6: 0.0l/100km");
}

// After one frame, the event in words and as JSON, then the state dumped: the JSON carries the
// fields the words are made of, and the dump (of all but the key) says the same.
void tst_CanHost::events()
{
    QFETCH(int, cmd);
    QFETCH(QByteArray, data);
    QFETCH(HostEvent, event);
    QFETCH(QString, text);
    const QString name = tools::EventPrinter::eventName(event);
    qvxtest::Drive h;
    QString words, objects;
    QTextStream wordsOut(&words), jsonOut(&objects);
    tools::EventPrinter wordPrinter(h.service.get(), wordsOut, false);
    tools::EventPrinter jsonPrinter(h.service.get(), jsonOut, true);
    wordPrinter.connectSignals();
    jsonPrinter.connectSignals();
    h.feed(protocol::build(quint8(cmd), data));
    wordPrinter.dumpState();
    jsonPrinter.dumpState();

    const bool dumped = event != HostEvent::Key;
    const QStringList lines = words.split('\n').filter(
        QRegularExpression(QString("^.{8} %1 ").arg(name.leftJustified(9))));
    QVERIFY2(lines.size() > int(dumped) && lines.last().startsWith("   state") == dumped,
             qPrintable(words));
    QCOMPARE(lines.at(lines.size() - 1 - int(dumped)).mid(19), text); // the last signal's
    QCOMPARE(lines.last().mid(19), text);
    QJsonObject signal, dump;
    for (const QString &l : objects.split('\n', Qt::SkipEmptyParts)) {
        QJsonObject o = QJsonDocument::fromJson(l.toUtf8()).object();
        if (o.value("event").toString() == name && o.take("time").isDouble())
            (o.take("dump").toBool() ? dump : signal) = o;
    }
    QVERIFY2(!signal.take("signal").toString().isEmpty(), qPrintable(objects));
    QCOMPARE(wordPrinter.text(event, signal), text);
    QCOMPARE(dump, dumped ? signal : QJsonObject());
}

// Counted by the plugin's receive rules: the frame cut off by parse-out, the noise before a
// header, the bad checksum, the command nobody decodes.
void tst_CanHost::counters()
{
    tools::LinkCounters c;
    c.fromAdapter(QByteArray::fromHex("0011") + protocol::build(0x12, QByteArray(10, 0)));
    c.fromAdapter(QByteArray::fromHex("5aa5022a05ff30") + protocol::build(0x55, "\x01"));
    c.fromAdapter(QByteArray::fromHex("5aa50a12"));
    c.fromAdapter(QByteArray::fromHex("00"));
    qvxtest::VirtualClock::instance()->advance(500);
    c.fromAdapter(protocol::build(0x12, QByteArray(10, 0)));
    for (const char *hex : {"5aa501ff1211", "5aa501fe2a28", "5aa501ff5554", "5aa501ff1211"})
        c.fromHeadUnit(QByteArray::fromHex(hex));
    for (int status : {3, 3, 0})
        c.linkStatus(status);
    QCOMPARE(QJsonDocument(c.json()).toJson(QJsonDocument::Compact),
             QByteArray(R"({"acks":3,"checksumErrors":1,"frames":{"0x55":1,"body":2},)"
                        R"("linkDown":1,"linkUp":1,"naks":1,"parseOuts":1,"skippedBytes":2,)"
                        R"("unknownCommands":1})"));
    QCOMPARE(c.rate(0x12), 2);
}

// The view's layers in the screen's size, however many frames came; changed bytes marked.
void tst_CanHost::viewFits()
{
    qvxtest::Drive h;
    tools::LinkCounters counters;
    QObject::connect(h.port, &canservice::SerialPort::read, &counters,
                     &tools::LinkCounters::fromAdapter);
    QString text;
    QTextStream out(&text);
    tools::TerminalView view(h.service.get(), &counters, out, -1);
    h.run("12 .. @2 40; 12 .. @2 4c; 31 01 ..; 41 28 ..; 68 80 ..; 11 .. @2 0301; 21 0500; "
          "13 ..ff; 32 ..; 34 ..ff; f0 56; 55 00; raw 00112233");
    for (const QSize size : {QSize(80, 24), QSize(120, 40)}) {
        view.setSize(size.width(), size.height());
        const QStringList screen = view.screen();
        // The bytes take what is left, up to what came.
        QCOMPARE(screen.size(), qMin(size.height(), 36));
        for (const QString &line : screen)
            QVERIFY2(line.size() <= size.width(), qPrintable(line));
        QVERIFY2(screen.filter(QRegularExpression("^   body +2 +2 .* 00 00 4C 00")).size() == 1,
                 qPrintable(screen.join('\n')));
        QCOMPARE(screen.last(), screen.last().left(9) + "< 00 11 22 33");
        QCOMPARE(screen.filter(QRegularExpression("^   \\S+ +\\d+ ")).size(),
                 size.height() == 24 ? 9 : 11); // every command on a taller screen
    }
}

// The simulated car in words, through the plugin and back: each word form goes into the car,
// its whole frame into the service, whose getters and signals show what the words said; the
// car's frame said in words builds the same frame again.
void tst_CanHost::words_data()
{
    QTest::addColumn<QString>("words"); // lines separated by ';'
    QTest::addColumn<QString>("expect");
    const auto row = [](const char *words, const char *expect) {
        QTest::newRow(words) << QString(words) << QString(expect);
    };
    row("door bonnet open", "doors=front; getDoorStatus=4");
    row("door boot open", "doors=rear");
    row("door front-left open; door rear-right open", "doors=leftFront rightRear");
    row("doors open; door front-right closed", "doors=front rear leftFront leftRear rightRear");
    row("doors open; doors closed", "doors=; signals=doorChanged doorChanged");
    row("battery low; door rear-left open", "getBatteryVoltageAlertType=1; doors=leftRear");
    row("fuel low", "other=Fuel low");
    row("key wheel 3 press; key wheel 3 release", "signals=keyEvent(3,0,true) keyEvent(3,1,true)");
    row("key panel 0x15 press; key panel 0x15 release",
        "signals=keyEvent(21,0,false) keyEvent(21,1,false)");
    row("climate power off", "isPowerOff=1");
    row("climate ac on; climate auto on; climate dual on", "climateFlags=ac:1 auto:1 dual:1");
    row("climate inside on; climate rear on", "climateFlags=rearClimate:1 inside:1");
    row("climate defrost-front on; climate defrost-rear on",
        "climateFlags=rearDefrost:1 frontDefrost:1");
    row("climate temp-left 22.5; climate temp-right low; climate temp-rear high",
        "getAcTemperature=22.5; getAcRightTemperature=-100; getAcRearTemperature=-101; "
        "getAcTemperatureIndex=45; getAcRightTemperatureIndex=254; getAcRearTemperatureIndex=255");
    row("climate fan 9; climate mode 3", "getAcWindScale=4; getAcWindMode=2");
    row("climate rear-fan 5; climate rear-mode 2", "getAcWindScaleRear=5; getAcWindModeRear=2");
    row("climate seat-left heat 2; climate seat-right vent 3",
        "climateFlags=leftHeat:2 rightVent:3");
    row("climate seat-left heat 2; climate seat-left off", "climateFlags=");
    row("climate seat-left vent 1; climate seat-right heat 3",
        "climateFlags=rightHeat:3 leftVent:1");
    row("climate unit f", "getAcTemperatureUnit=°F; getAcRightTemperatureUnit=°F");
    row("rotate 2500", "getRotate=2500; signals=rotateChanged");
    row("rotate 2500; rotate none", "getRotate=2500"); // "none" keeps the last
    row("coolant 90", "getCoolantTemp=90; getCoolantTempUnit=°C");
    row("coolant -40; info 75", "getCoolantTemp=-40; other=|75%");
    row("consumption 1 9.5; consumption 4 8.0; consumption 5 7.0; consumption 6 10.0",
        "fuel=9.5l/100km|||8.0l/100km|7.0l/100km|10.0l/100km");
    row("average-speed 60; range 1234.5", "driving=|60.0km/h|||1234.5km/h");
    row("units mpg mph; consumption 1 9.5; average-speed 60", "fuel=9.5mpg; driving=|60.0mph");
    row("consumption 1 9.5; consumption 1 none", "fuel=9.5l/100km");
    row("mileage 1234.5", "driving=1234.5km||--");
    row("drive-time 1.0 30", "driving=||1.5h");
    // Each sensor at a band of its own: any two swapped show.
    row("radar front-left 1; radar front-middle-left 2; radar front-middle-right 3; "
        "radar front-right 4; radar rear-left 5; radar rear-middle-left 6; "
        "radar rear-middle-right 7; radar rear-right 8",
        "radar=1 2 3 4 | 5 6 7 8 | 255 255 255 255 255 255 255 255");
    row("radar rear-left raw 40; radar front-right none",
        "getRearRadarLeftDistance=2; getFrontRadarRightDistance=255");
    row("radar rear-left 3; radar clear", "getRearRadarLeftDistance=255");
    row("tyre front-right alert first; tyre rear-right alert second", "tyres=1 0 1 0 2");
    row("tyre front-right alert first; tyre front-right alert none", "tyres=0 0 0 0 0");
    row("tyre rear-left pressure 180", "getTirePressureValueRL=180; getTireUnit=kPa");
    row("tyres pressures 230 231 232 233", "pressures=230 231 232 233");
    row("tyre front-left alert second; tyres invalid", "tyres=0 0 0 0 0");
    row("version \"V1.02\"", "version=V1.02; signals=sigVersionData");
}

void tst_CanHost::words()
{
    QFETCH(QString, words);
    QFETCH(QString, expect);
    tools::Car car;
    qvxtest::Drive d;
    QList<tools::Token> tokens;
    QString error;
    int cmd = 0;
    double release = 0;
    const auto apply = [&](tools::Car &c, const QString &line) {
        return tools::tokenize(line, &tokens, &error) && c.apply(tokens, &cmd, &release, &error);
    };
    for (const QString &line : words.split(';')) {
        QVERIFY2(apply(car, line), qPrintable(error));
        d.feed(protocol::build(quint8(cmd), car.data(cmd)));
        // The frame said back in words builds the same frame on a new car.
        tools::Car again;
        for (const QString &said : tools::Car::say(cmd, car.data(cmd)))
            QVERIFY2(apply(again, said), qPrintable(said + ": " + error));
        QCOMPARE(again.data(cmd).toHex(' '), car.data(cmd).toHex(' '));
    }
    QCOMPARE(d.run(expect), qvxtest::Drive::expected(expect));
}

QVX_VIRTUAL_TIME_MAIN(tst_CanHost)
#include "tst_canhost.moc"
