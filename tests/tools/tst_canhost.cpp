// canhost's parts: the commands it reads, and what it prints for each signal, read back
// through the getters of a service fed the adapter's frames.
#include "drive.h"
#include "hostcommands.h"
#include "hostevents.h"
#include "linkcounters.h"
#include "terminalview.h"

#include <QJsonArray>
#include <QJsonDocument>

using tools::HostCommand;
using tools::HostEvent;

Q_DECLARE_METATYPE(HostCommand::Kind)

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
    void keysAndLink();
    void driverPosition();
    void stateDump();
    void counters();
    void viewFits_data();
    void viewFits();
};

void tst_CanHost::initTestCase()
{
    qunsetenv("CANSERVICE_NVM_ROOT");
    qunsetenv("CANSERVICE_TRANSLATIONS");
    Translator::reload();
}

void tst_CanHost::commands_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<HostCommand::Kind>("kind");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("info");
    const QStringList none;
    QTest::newRow("empty") << "   " << HostCommand::None << 0 << 0 << "" << none;
    QTest::newRow("comment") << "# later" << HostCommand::None << 0 << 0 << "" << none;
    QTest::newRow("key by name") << "key ac" << HostCommand::Key << 2 << 0 << "" << none;
    QTest::newRow("key name, any case") << "KEY Power" << HostCommand::Key << 0 << 0 << "" << none;
    QTest::newRow("mode key") << "key mode" << HostCommand::Key << 31 << 0 << "" << none;
    QTest::newRow("key with value") << "key 19 7" << HostCommand::Key << 19 << 7 << "" << none;
    QTest::newRow("key in hex") << "key 0x1f" << HostCommand::Key << 31 << 0 << "" << none;
    QTest::newRow("leading zero is decimal")
        << "key 010" << HostCommand::Key << 10 << 0 << "" << none;
    QTest::newRow("negative key") << "key -1" << HostCommand::Key << -1 << 0 << "" << none;
    QTest::newRow("radio") << "source 0 FM1 87.50" << HostCommand::Source << 0 << 0 << "FM1"
                           << QStringList{"87.50"};
    QTest::newRow("quoted texts") << "source 5 \"\" \"A B\" C" << HostCommand::Source << 5 << 0
                                  << "" << QStringList{"A B", "C"};
    QTest::newRow("source alone") << "source 1" << HostCommand::Source << 1 << 0 << "" << none;
    QTest::newRow("request") << "request 0x31 0" << HostCommand::Request << 0x31 << 0 << "" << none;
    QTest::newRow("model") << "model 94" << HostCommand::Model << 94 << 0 << "" << none;
    QTest::newRow("model in hex") << "model 0x3c" << HostCommand::Model << 60 << 0 << "" << none;
    QTest::newRow("state") << "state" << HostCommand::State << 0 << 0 << "" << none;
    QTest::newRow("help") << "help" << HostCommand::Help << 0 << 0 << "" << none;
    QTest::newRow("quit") << "quit" << HostCommand::Quit << 0 << 0 << "" << none;
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
    QTest::newRow("unknown") << "kye ac"
                             << "unknown command 'kye' (help lists them)";
    QTest::newRow("key without code") << "key"
                                      << "usage: key <code|name> [value]";
    QTest::newRow("unknown key name") << "key heat"
                                      << "'heat' is not a key code or name";
    QTest::newRow("bad value") << "key 2 x"
                               << "'x' is not a key value";
    QTest::newRow("request out of range") << "request 300 0"
                                          << "0 to 255";
    QTest::newRow("request short") << "request 1"
                                   << "usage: request <a> <b>";
    QTest::newRow("source type") << "source fm"
                                 << "'fm' is not a source type";
    QTest::newRow("driver") << "driver up"
                            << "driver is left or right";
    QTest::newRow("wait") << "wait soon"
                          << "'soon' is not a number of seconds";
    QTest::newRow("model") << "model"
                           << "usage: model <id>";
    QTest::newRow("quit with words") << "quit now"
                                     << "usage: quit";
    QTest::newRow("unterminated") << "source 0 \"FM1"
                                  << "unterminated";
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

void tst_CanHost::events_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QJsonObject>("json"); // fields that must be there with these values

    QTest::newRow("driver's door") << 0x12 << QByteArray::fromHex("00004000000000000000") << "doors"
                                   << "open: left front (0x40)"
                                   << QJsonObject{{"leftFront", true},
                                                  {"rightFront", false},
                                                  {"status", 0x40},
                                                  {"open", QJsonArray{"leftFront"}}};
    QTest::newRow("front and rear")
        << 0x12 << QByteArray::fromHex("00000c00000000000000") << "doors"
        << "open: front, rear (0x0c)" << QJsonObject{{"front", true}, {"rear", true}};
    QTest::newRow("battery") << 0x12 << QByteArray::fromHex("00000000000040000000") << "battery"
                             << "voltage alert ON" << QJsonObject{{"alert", 1}};
    QTest::newRow("fuel low") << 0x12 << QByteArray::fromHex("00000000000080000000") << "info"
                              << "1: Fuel low" << QJsonObject{};
    QTest::newRow("radar") << 0x41 << QByteArray::fromHex("262700ff6400000000000000") << "radar"
                           << "front 3 - - - | rear 1 2 - 8  (1 nearest .. 8 farthest, - none)"
                           << QJsonObject{{"front", QJsonArray{3, 255, 255, 255}},
                                          {"rear", QJsonArray{1, 2, 255, 8}}};
    const QByteArray tyres = QByteArray::fromHex("8000dc010000b4ffff0000000006000000");
    QTest::newRow("tyre alert") << 0x68 << tyres.left(16) << "tyreAlert"
                                << "ALERT: FL ok, FR ok, RL alert 1, RR ok"
                                << QJsonObject{{"alert", 1}, {"rl", 1}, {"fl", 0}};
    QTest::newRow("tyre pressures") << 0x68 << tyres.left(16) << "tyres"
                                    << "FL 220, FR 256, RL 180, RR 65535 kPa"
                                    << QJsonObject{{"fl", 220}, {"rr", 65535}, {"unit", "kPa"}};
    QTest::newRow("climate") << 0x31
                             << QByteArray::fromHex("110000000606"
                                                    "24fd0000fe00")
                             << "climate"
                             << "power on, AC on, auto on, dual off, inside air off, rear off | "
                                "18.0°C / 126.5°C, rear -100.0°C | fan 3, mode 1 (rear 0, 0) | "
                                "defrost front off, rear off | seats: left heat 0 vent 0, right "
                                "heat 0 vent 0"
                             << QJsonObject{{"ac", true},
                                            {"power", true},
                                            {"temperature", 18},
                                            {"unit", "°C"},
                                            {"fan", 3}};
    QTest::newRow("climate off, seats")
        << 0x31
        << QByteArray::fromHex("4c40ba000000"
                               "000000000000")
        << "climate"
        << "power off, AC off, auto off, dual off, inside air off, "
           "rear off | 0.0°F / 0.0°F, rear 0.0°F | fan 0, mode 0 (rear "
           "0, 0) | defrost front on, rear on | seats: left heat 0 vent "
           "2, right heat 2 vent 0"
        << QJsonObject{{"power", false}, {"leftVentilation", 2}, {"rightHeat", 2}, {"unit", "°F"}};
    QTest::newRow("version") << 0xF0 << QByteArray("V1.02") << "version"
                             << "\"V1.02\"" << QJsonObject{{"version", "V1.02"}};
    const QByteArray carInfo = QByteArray::fromHex("00000bb800000000645a00000000");
    QTest::newRow("rotation") << 0x32 << carInfo << "rotate"
                              << "3000" << QJsonObject{{"rotate", 3000}};
    QTest::newRow("coolant") << 0x32 << carInfo << "coolant"
                             << "50°C" << QJsonObject{{"temperature", 50}, {"unit", "°C"}};
    QTest::newRow("other info") << 0x32 << carInfo << "info"
                                << "2: 100%" << QJsonObject{};
    QTest::newRow("mileage") << 0x13
                             << QByteArray::fromHex("000000003039000000000000"
                                                    "0a1e000000")
                             << "driving"
                             << "1: 1234.5km, 3: 1.5h" << QJsonObject{};
    QTest::newRow("consumption") << 0x34
                                 << QByteArray::fromHex(
                                        "04d2012c0186a0005000000000460000000000000000000000")
                                 << "fuel"
                                 << "1: 123.4l/100km, 4: 8.0l/100km, 5: 7.0l/100km, 6: 0.0l/100km"
                                 << QJsonObject{};
}

// The last line printed for the event, in words and as JSON, after feeding one frame.
void tst_CanHost::events()
{
    QFETCH(int, cmd);
    QFETCH(QByteArray, data);
    QFETCH(QString, event);
    QFETCH(QString, text);
    QFETCH(QJsonObject, json);
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
        if (l.mid(9).startsWith(event.leftJustified(10)))
            line = l;
    }
    QVERIFY2(!line.isEmpty(), qPrintable(words));
    QVERIFY(QRegularExpression("^ +\\d+\\.\\d{3} $").match(line.left(9)).hasMatch());
    QCOMPARE(line.mid(19), text);

    QJsonObject object;
    for (const QString &l : objects.split('\n', Qt::SkipEmptyParts)) {
        const QJsonObject o = QJsonDocument::fromJson(l.toUtf8()).object();
        QVERIFY2(!o.isEmpty(), qPrintable(l));
        if (o.value("event").toString() == event)
            object = o;
    }
    QVERIFY2(!object.isEmpty(), qPrintable(objects));
    QVERIFY(object.contains("time"));
    QVERIFY(!object.value("signal").toString().isEmpty());
    for (auto it = json.begin(); it != json.end(); ++it)
        QVERIFY2(object.value(it.key()) == it.value(), qPrintable(it.key()));
}

void tst_CanHost::keysAndLink()
{
    qvxtest::Drive h;
    QString objects;
    QTextStream out(&objects);
    tools::EventPrinter printer(h.service.get(), out, true);
    printer.connectSignals();
    h.run("11 00000301000000000000; 21 1500"); // a panel release ends the wheel's key
    QList<QJsonObject> events;
    for (const QString &l : objects.split('\n', Qt::SkipEmptyParts))
        events << QJsonDocument::fromJson(l.toUtf8()).object();
    QCOMPARE(events.size(), 3);
    QCOMPARE(events.at(0).value("event").toString(), QStringLiteral("link"));
    QCOMPARE(events.at(0).value("status").toInt(), 3);
    QCOMPARE(events.at(0).value("signal").toString(), QStringLiteral("notifyCanbusStatus"));
    QCOMPARE(events.at(1).value("name").toString(), QStringLiteral("press"));
    QCOMPARE(events.at(1).value("source").toString(), QStringLiteral("wheel"));
    QCOMPARE(events.at(2).value("code").toInt(), 3);
    QCOMPARE(events.at(2).value("state").toInt(), 1);
    QCOMPARE(events.at(2).value("name").toString(), QStringLiteral("short"));
    QCOMPARE(events.at(2).value("source").toString(), QStringLiteral("wheel"));

    const tools::EventPrinter words(h.service.get(), out, false);
    QCOMPARE(words.text(HostEvent::Key, tools::EventPrinter::keyFields(0x15, 2, false)),
             QStringLiteral("0x15 panel long"));
    QCOMPARE(words.text(HostEvent::Key, tools::EventPrinter::keyFields(0x15, 3, false)),
             QStringLiteral("0x15 panel release"));
    QCOMPARE(words.text(HostEvent::Link, {{"status", 0}, {"up", false}}),
             QStringLiteral("down (status 0)"));
}

// The same door byte reads as the other front door once the driver sits on the right.
void tst_CanHost::driverPosition()
{
    qvxtest::Drive h;
    QString words;
    QTextStream out(&words);
    tools::EventPrinter printer(h.service.get(), out, false);
    h.run("driver false; 12 .. @2 40");
    QCOMPARE(printer.text(HostEvent::Doors, printer.fields(HostEvent::Doors)),
             QStringLiteral("open: right front (0x40)"));
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
void tst_CanHost::viewFits_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<int>("rows");
    QTest::newRow("80x24") << 80 << 24;
    QTest::newRow("120x40") << 120 << 40;
}

void tst_CanHost::viewFits()
{
    QFETCH(int, columns);
    QFETCH(int, rows);
    qvxtest::Drive h;
    tools::LinkCounters counters;
    QObject::connect(h.port, &canservice::SerialPort::read, &counters,
                     &tools::LinkCounters::fromAdapter);
    QString text;
    QTextStream out(&text);
    tools::TerminalView view(h.service.get(), &counters, out, -1);
    view.setSize(columns, rows);
    h.run("12 .. @2 40; 12 .. @2 4c; 31 01 ..; 41 28 ..; 68 80 ..; 11 .. @2 0301; 21 0500; "
          "13 ..ff; 32 ..; 34 ..ff; f0 56; 55 00; raw 00112233");
    const QStringList screen = view.screen();
    QCOMPARE(screen.size(), qMin(rows, 36)); // the bytes take what is left, up to what came
    for (const QString &line : screen)
        QVERIFY2(line.size() <= columns, qPrintable(line));
    QVERIFY2(screen.at(2).startsWith("  doors    open: ") && screen.at(2).contains("(0x4c)"),
             qPrintable(screen.at(2)));
    QVERIFY2(screen.filter(QRegularExpression("^   body +2 +2 .* 00 00 4C 00")).size() == 1,
             qPrintable(screen.join('\n')));
    QCOMPARE(screen.last(), screen.last().left(9) + "< 00 11 22 33");
    QCOMPARE(screen.filter(QRegularExpression("^   \\S+ +\\d+ ")).size(),
             rows == 24 ? 9 : 11); // every command on a taller screen
}

QVX_VIRTUAL_TIME_MAIN(tst_CanHost)
#include "tst_canhost.moc"
