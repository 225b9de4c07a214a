// canmonitor offscreen: the simulated car driven over a real pseudo-terminal, and what the
// window shows of it, read from the widgets.
#include "carview.h"
#include "drivepanel.h"
#include "framespane.h"
#include "monitorcore.h"
#include "monitorwindow.h"
#include "plotview.h"
#include "protocol.h"

#include <QCheckBox>
#include <QtTest>

#include <memory>

using monitor::MonitorCore;
using monitor::MonitorWindow;

class tst_CanMonitor : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void badOptions_data();
    void badOptions();
    void drive_data();
    void drive();
    void clickDoor();
    void cutLinkMarksTheDifference();
    void framesAndPlots();
    void badWordsAreRefused();
    void screenshot();
    void driverOnTheRight();

private:
    monitor::CarView *view() const { return mWindow->carView(); }
    // A new core on the simulated adapter, and its window.
    void open(const QString &driver, int graceMs);

    std::unique_ptr<MonitorCore> mCore;
    std::unique_ptr<MonitorWindow> mWindow;
};

void tst_CanMonitor::open(const QString &driver, int graceMs)
{
    mWindow.reset();
    mCore = std::make_unique<MonitorCore>();
    monitor::Options options;
    options.plugin = QStringLiteral(QVX_PLUGIN_PATH);
    options.simulate = true;
    options.driver = driver;
    QString error;
    QVERIFY2(mCore->open(options, &error), qPrintable(error));
    mCore->setGraceMs(graceMs);
    mWindow = std::make_unique<MonitorWindow>(mCore.get());
    mWindow->show();
}

void tst_CanMonitor::initTestCase()
{
    qunsetenv("CANSERVICE_NVM_ROOT");
    qunsetenv("CANSERVICE_TRANSLATIONS");
    open(QString(), 150);
    QVERIFY(QTest::qWaitForWindowExposed(mWindow.get()));
    QVERIFY(!mCore->linkUp());
    mCore->command(QStringLiteral("version \"V1.23\""));
    QTRY_VERIFY_WITH_TIMEOUT(mCore->linkUp(), 2000);
    QTRY_COMPARE(view()->shown("version"), QStringLiteral("V1.23"));
    QCOMPARE(view()->shown("link"), QStringLiteral("up"));
}

void tst_CanMonitor::badOptions_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *option, const char *value, const char *message) {
        QTest::newRow(option) << QString(option) << QString(value) << QString(message);
    };
    row("log", "loud", "--log is all, errors or off");
    row("driver", "middle", "--driver is left or right");
    row("model-id", "12x", "--model-id");
    row("scenario", "x", "add --simulate");
    row("plugin", "/nonexistent/plugin.so", "no plugin at");
}

void tst_CanMonitor::badOptions()
{
    QFETCH(QString, option);
    QFETCH(QString, value);
    QFETCH(QString, message);
    monitor::Options o;
    o.plugin = QStringLiteral(QVX_PLUGIN_PATH);
    o.port = QStringLiteral("/nonexistent/port");
    const QHash<QString, QString *> fields{{"log", &o.log},
                                           {"driver", &o.driver},
                                           {"model-id", &o.modelId},
                                           {"scenario", &o.scenario},
                                           {"plugin", &o.plugin}};
    *fields.value(option) = value;
    MonitorCore core;
    QString error;
    QVERIFY(!core.open(o, &error));
    QVERIFY2(error.contains(message), qPrintable(error));
}

// Rows run in order on one car: later ones build on the earlier.
void tst_CanMonitor::drive_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("part");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *name, const char *words, const char *part, const char *shown) {
        QTest::newRow(name) << QString(words) << QString(part) << QString(shown);
    };
    row("door", "door front-left open", "door.front-left", "open");
    row("boot", "door boot open", "door.boot", "open");
    row("battery", "battery low", "battery", "alert");
    row("temperature", "climate temp-left 24.5", "climate.left", "24.5°C");
    row("high marker", "climate temp-right high", "climate.right", "HI");
    row("switch", "climate inside on", "climate.inside", "on");
    row("seat", "climate seat-right vent 2", "climate.seat-right", "vent 2");
    row("radar band", "radar front-middle-left 3", "radar.front-middle-left", "3");
    row("radar rear", "radar rear-right 1", "radar.rear-right", "1");
    row("pressures", "tyres pressures 230 231 180 232", "tyre.rear-left", "alert 0, 180");
    row("tyre alert", "tyre rear-left alert second", "tyre.rear-left", "alert 2, 180");
    row("panel key", "key panel 0x15 press", "key", "0x15 panel press");
    row("short press", "key panel 0x15 release", "key", "0x15 panel short");
}

void tst_CanMonitor::drive()
{
    QFETCH(QString, words);
    QFETCH(QString, part);
    QFETCH(QString, shown);
    mWindow->drivePanel()->enter(words);
    QTRY_COMPARE(view()->shown(part), shown);
    // Told and decoded agree once the frame is through.
    QTRY_COMPARE(view()->marked(), QStringList());
}

void tst_CanMonitor::clickDoor()
{
    const QPoint door = view()->partRect("door.rear-left").center();
    QTest::mouseClick(view(), Qt::LeftButton, {}, door);
    QTRY_COMPARE(view()->shown("door.rear-left"), QStringLiteral("open"));
    QCOMPARE(view()->shown("door.front-left"), QStringLiteral("open")); // the frame kept it
    QVERIFY(mWindow->drivePanel()->findChild<QCheckBox *>("door.rear-left")->isChecked());
    QTest::mouseClick(view(), Qt::LeftButton, {}, door);
    QTRY_COMPARE(view()->shown("door.rear-left"), QStringLiteral("closed"));
}

void tst_CanMonitor::cutLinkMarksTheDifference()
{
    mCore->setLinkCut(true);
    mCore->command(QStringLiteral("door rear-right open"));
    QTRY_COMPARE(view()->marked(), QStringList{"door.rear-right"});
    QCOMPARE(mCore->differences().value(0).told, QStringLiteral("open"));
    QCOMPARE(mCore->differences().value(0).decoded, QStringLiteral("closed"));
    QVERIFY(mCore->secondsSinceFrame() > 0.1);
    mCore->setLinkCut(false);
    mCore->command(QStringLiteral("door rear-right closed"));
    QTRY_COMPARE(view()->marked(), QStringList());
}

void tst_CanMonitor::framesAndPlots()
{
    const monitor::FramesPane *frames = mWindow->framesPane();
    mCore->command(QStringLiteral("door bonnet open"));
    QTRY_COMPARE(frames->changed(protocol::cmd::Body), QList<int>{protocol::body::Doors});
    QVERIFY2(frames->row(protocol::cmd::Body).startsWith("body 0x12 "),
             qPrintable(frames->row(0x12)));
    QTRY_VERIFY(frames->recent().filter(QRegularExpression("> ack body +5a a5 01 ff 12")).size() >
                0);

    const monitor::PlotView *plots = mWindow->plotView();
    for (const char *words : {"rotate 1500", "rotate 2500", "climate temp-left 26"})
        mCore->command(QLatin1String(words));
    QTRY_COMPARE(plots->lastValue("rotate"), 2500.0);
    QTRY_COMPARE(plots->lastValue("temp.left"), 26.0);
    QCOMPARE(plots->lastValue("radar.rear-right"), 1.0);
    QCOMPARE(plots->lastValue("radar.rear-left"), 9.0); // no reading
}

void tst_CanMonitor::badWordsAreRefused()
{
    monitor::DrivePanel *panel = mWindow->drivePanel();
    for (const char *words :
         {"door sideways open", "climate temp-left 300", "radar front-left 9", "frame 41 00"}) {
        panel->enter(QLatin1String(words));
        QTRY_VERIFY2(panel->lastMessage().startsWith("adaptersim: input:") ||
                         panel->lastMessage().contains("!!"),
                     qPrintable(panel->lastMessage()));
    }
    mCore->command(QStringLiteral("door bonnet closed"));
    QTRY_COMPARE(view()->shown("door.bonnet"), QStringLiteral("closed"));
}

// The window as the README shows it, a difference included.
void tst_CanMonitor::screenshot()
{
    for (const char *words :
         {"consumption 1 7.5", "range 420.5", "average-speed 57", "coolant 88", "mileage 12345.6",
          "radar front-left 5", "radar rear-left 4", "climate fan 3", "key wheel 3 press"})
        mCore->command(QLatin1String(words));
    mCore->setLinkCut(true);
    mCore->command(QStringLiteral("door front-right open"));
    QTRY_COMPARE(view()->marked(), QStringList{"door.front-right"});
    const QString file = QStringLiteral(QVX_BINARY_DIR "/canmonitor.png");
    QVERIFY(mWindow->grab().save(file));
    mCore->setLinkCut(false);
}

// The plugin swaps the front doors for a driver on the right; the picture's click and the
// comparison with the car must swap them too.
void tst_CanMonitor::driverOnTheRight()
{
    open(QStringLiteral("right"), 0); // a difference shows at the refresh that finds it
    mCore->command(QStringLiteral("door front-left open"));
    QTRY_COMPARE(view()->shown("door.front-right"), QStringLiteral("open"));
    QCOMPARE(view()->marked(), QStringList());
    QCOMPARE(mCore->toggleDoorWords("door.front-right"), QStringLiteral("door front-left closed"));
    QCOMPARE(mCore->toggleDoorWords("door.front-left"), QStringLiteral("door front-right open"));
}

QTEST_MAIN(tst_CanMonitor)
#include "tst_canmonitor.moc"
