// canhost's parts: the commands it reads, and what it prints for each signal, read back
// through the getters of a service fed the adapter's frames.
#include "drive.h"
#include "hostcommands.h"
#include "hostevents.h"
#include "linkcounters.h"
#include "terminalview.h"

#include <QJsonDocument>

using tools::HostCommand;
using tools::HostEvent;

Q_DECLARE_METATYPE(HostCommand::Kind)
Q_DECLARE_METATYPE(HostEvent)

class tst_CanHost : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void commands_data();
    void commands();
    void badCommands_data();
    void badCommands();
    void events_data();
    void events();
    void stateDump();
    void counters();
    void viewFits();
};

void tst_CanHost::initTestCase()
{
    qunsetenv("CANSERVICE_NVM_ROOT");
    qunsetenv("CANSERVICE_TRANSLATIONS");
    Translator::reload();
}

// Numbers in commands are read as tst_number reads them.
void tst_CanHost::commands_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<HostCommand::Kind>("kind");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("info");
    const auto row = [](const char *line, HostCommand::Kind kind, int a = 0, int b = 0,
                        const char *name = "", const QStringList &info = {}) {
        QTest::newRow(line) << QString(line) << kind << a << b << QString(name) << info;
    };
    row("# later", HostCommand::None);
    row("key ac", HostCommand::Key, 2);
    row("KEY Power", HostCommand::Key, 0);
    row("key mode", HostCommand::Key, 31);
    row("key 19 7", HostCommand::Key, 19, 7);
    row("source 0 FM1 87.50", HostCommand::Source, 0, 0, "FM1", {"87.50"});
    row("source 5 \"\" \"A B\" C", HostCommand::Source, 5, 0, "", {"A B", "C"});
    row("request 0x31 0", HostCommand::Request, 0x31);
    row("model 94", HostCommand::Model, 94);
    row("?", HostCommand::Help);
    row("exit", HostCommand::Quit);
}

void tst_CanHost::commands()
{
    QFETCH(QString, line);
    QFETCH(HostCommand::Kind, kind);
    QFETCH(int, a);
    QFETCH(int, b);
    QFETCH(QString, name);
    QFETCH(QStringList, info);
    HostCommand command;
    QString error;
    QVERIFY2(tools::parseHostCommand(line, &command, &error), qPrintable(error));
    QCOMPARE(command.kind, kind);
    QCOMPARE(command.a, a);
    QCOMPARE(command.b, b);
    QCOMPARE(command.name, name);
    QCOMPARE(command.info, info);

    QVERIFY(tools::parseHostCommand("driver right", &command, &error));
    QVERIFY(!command.leftHand);
    QVERIFY(tools::parseHostCommand("wait 1.25", &command, &error));
    QCOMPARE(command.seconds, 1.25);
}

void tst_CanHost::badCommands_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *line, const char *message) {
        QTest::newRow(line) << QString(line) << QString(message);
    };
    row("kye ac", "unknown command 'kye' (help lists them)");
    row("key", "usage: key <code|name> [value]");
    row("quit now", "usage: quit");
    row("key heat", "'heat' is not a key code or name");
    row("key 2 x", "'x' is not a key value");
    row("request 300 0", "0 to 255");
    row("source fm", "'fm' is not a source type");
    row("model 9x", "'9x' is not a model id");
    row("driver up", "driver is left or right");
    row("wait soon", "'soon' is not a number of seconds");
    row("source 0 \"FM1", "unterminated");
}

void tst_CanHost::badCommands()
{
    QFETCH(QString, line);
    QFETCH(QString, message);
    HostCommand command;
    QString error;
    QVERIFY(!tools::parseHostCommand(line, &command, &error));
    QVERIFY2(error.contains(message), qPrintable(error));
}

// One row per kind of event; what each frame means is the plugin's tests' business.
void tst_CanHost::events_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<HostEvent>("event");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, int cmd, const QByteArray &data, HostEvent event,
                        const char *text) {
        QTest::newRow(name) << cmd << data << event << QString(text);
    };
    const auto hex = [](const char *h) { return QByteArray::fromHex(h); };
    const QByteArray carInfo = hex("00000bb800000000645a00000000");
    const QByteArray tyres = hex("8000dc010000b4ffff00000000060000");
    row("link", 0xF0, "V1.02", HostEvent::Link, "up");
    row("version", 0xF0, "V1.02", HostEvent::Version, "\"V1.02\"");
    row("key", 0x11, hex("00000301000000000000"), HostEvent::Key, "0x03 wheel press");
    row("doors", 0x12, hex("00004c00000000000000"), HostEvent::Doors,
        "open: left front, front, rear (0x4c)");
    row("battery", 0x12, hex("00000000000040000000"), HostEvent::Battery, "voltage alert ON");
    row("radar", 0x41, hex("262700ff6400000000000000"), HostEvent::Radar,
        "front 3 - - - | rear 1 2 - 8  (1 nearest .. 8 farthest, - none)");
    row("tyre alert", 0x68, tyres, HostEvent::TyreAlert, "ALERT: FL ok, FR ok, RL alert 1, RR ok");
    row("tyre pressures", 0x68, tyres, HostEvent::Tyres, "FL 220, FR 256, RL 180, RR 65535 kPa");
    // Every field of its own value, so that none can stand in for another.
    row("climate", 0x31, hex("1140ba00060624fd0205fe03"), HostEvent::Climate,
        "power on, AC on, auto on, dual off, inside air off, rear off | 18.0°F / 126.5°F, rear "
        "-100.0°F | fan 3, mode 1 (rear 5, 2) | defrost front on, rear on | seats: left heat 0 "
        "vent 2, right heat 2 vent 0");
    row("rotation", 0x32, carInfo, HostEvent::Rotate, "3000");
    row("coolant", 0x32, carInfo, HostEvent::Coolant, "50°C");
    row("other info", 0x32, carInfo, HostEvent::Info, "2: 100%");
    row("mileage", 0x13, hex("0000000030390000000000000a1e000000"), HostEvent::Driving,
        "1: 1234.5km, 3: 1.5h");
    row("consumption", 0x34, hex("04d2012c0186a0005000000000460000000000000000000000"),
        HostEvent::Fuel, "1: 123.4l/100km, 4: 8.0l/100km, 5: 7.0l/100km, 6: 0.0l/100km");
}

// The last line printed for the event, in words and as JSON, after feeding one frame; the
// JSON carries the fields the words are made of.
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

    QString line;
    for (const QString &l : words.split('\n')) {
        if (l.mid(9).startsWith(name.leftJustified(10)))
            line = l;
    }
    QVERIFY2(QRegularExpression("^ +\\d+\\.\\d{3} $").match(line.left(9)).hasMatch(),
             qPrintable(words));
    QCOMPARE(line.mid(19), text);

    QJsonObject object;
    for (const QString &l : objects.split('\n', Qt::SkipEmptyParts)) {
        const QJsonObject o = QJsonDocument::fromJson(l.toUtf8()).object();
        if (o.value("event").toString() == name)
            object = o;
    }
    QVERIFY2(object.contains("time") && !object.value("signal").toString().isEmpty(),
             qPrintable(objects));
    QCOMPARE(wordPrinter.text(event, object), text);
}

void tst_CanHost::stateDump()
{
    qvxtest::Drive h;
    QString objects, words;
    QTextStream jsonOut(&objects), wordsOut(&words);
    tools::EventPrinter(h.service.get(), jsonOut, true).dumpState();
    tools::EventPrinter(h.service.get(), wordsOut, false).dumpState();
    const QStringList lines = objects.split('\n', Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 13); // every event but the key
    for (const QString &l : lines) {
        const QJsonObject o = QJsonDocument::fromJson(l.toUtf8()).object();
        QVERIFY(o.value("dump").toBool());
        QVERIFY(!o.contains("signal"));
        QVERIFY(o.value("event").toString() != QLatin1String("key"));
    }
    QVERIFY(words.startsWith("   state link      down (status 0)\n"));
    QVERIFY(words.contains("   state version   \"\"\n"));
    QVERIFY(words.contains("   state doors     all closed (0x00)\n"));
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
    c.linkStatus(3);
    c.linkStatus(3);
    c.linkStatus(0);
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
        QVERIFY2(screen.at(2).startsWith("  doors    open: ") && screen.at(2).contains("(0x4c)"),
                 qPrintable(screen.at(2)));
        QVERIFY2(screen.filter(QRegularExpression("^   body +2 +2 .* 00 00 4C 00")).size() == 1,
                 qPrintable(screen.join('\n')));
        QCOMPARE(screen.last(), screen.last().left(9) + "< 00 11 22 33");
        QCOMPARE(screen.filter(QRegularExpression("^   \\S+ +\\d+ ")).size(),
                 size.height() == 24 ? 9 : 11); // every command on a taller screen
    }
}

QVX_VIRTUAL_TIME_MAIN(tst_CanHost)
#include "tst_canhost.moc"
