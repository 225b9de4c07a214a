// canmonitor offscreen: the simulated car driven over a real pseudo-terminal, and what the
// window shows of it, read from the widgets and from the picture.
#include "carview.h"
#include "drivepanel.h"
#include "framespane.h"
#include "monitorcore.h"
#include "monitorwindow.h"
#include "plotview.h"
#include "protocol.h"

#include <QtTest>

#include <memory>

using monitor::MonitorCore;
using monitor::MonitorWindow;

class tst_CanMonitor : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void drive_data();
    void drive();
    void framesAndPlots();
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
    QCOMPARE(view()->shown("link"), QStringLiteral("down"));
}

// Rows run in order on one car: later ones build on the earlier. Words go in through the
// drive panel, or a click on a part of the picture; the link comes up with the first frame.
void tst_CanMonitor::drive_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("part");
    QTest::addColumn<QString>("shown");
    const auto row = [](const char *name, const char *words, const char *part, const char *shown) {
        QTest::newRow(name) << QString(words) << QString(part) << QString(shown);
    };
    row("version", "version \"V1.23\"", "version", "V1.23");
    row("link", "", "link", "up");
    row("door", "door front-left open", "door.front-left", "open");
    row("boot", "door boot open", "door.boot", "open");
    row("click a door", "click door.rear-left", "door.rear-left", "open");
    row("click it again", "click door.rear-left", "door.rear-left", "closed");
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
    if (words.startsWith("click "))
        QTest::mouseClick(view(), Qt::LeftButton, {}, view()->partRect(words.mid(6)).center());
    else if (!words.isEmpty())
        mWindow->drivePanel()->enter(words);
    QTRY_COMPARE(view()->shown(part), shown);
    // Told and decoded agree once the frame is through.
    QTRY_COMPARE(view()->marked(), QStringList());
}

void tst_CanMonitor::framesAndPlots()
{
    const monitor::FramesPane *frames = mWindow->framesPane();
    mCore->command(QStringLiteral("door bonnet open"));
    QTRY_COMPARE(frames->changed(protocol::cmd::Body), QList<int>{protocol::body::Doors});
    QTRY_VERIFY(
        !frames->recent().filter(QRegularExpression("> ack body +5a a5 01 ff 12")).isEmpty());

    const monitor::PlotView *plots = mWindow->plotView();
    for (const char *words : {"rotate 1500", "rotate 2500", "climate temp-left 26"})
        mCore->command(QLatin1String(words));
    QTRY_COMPARE(plots->lastValue("rotate"), 2500.0);
    QTRY_COMPARE(plots->lastValue("temp.left"), 26.0);
}

// The window as the README shows it: the link cut, a door told open that the plugin never
// heard of marked, and the open front door swung out from the body, never over it.
void tst_CanMonitor::screenshot()
{
    for (const char *words :
         {"consumption 1 7.5", "range 420.5", "average-speed 57", "coolant 88", "mileage 12345.6",
          "radar front-left 5", "radar rear-left 4", "climate fan 3", "key wheel 3 press"})
        mCore->command(QLatin1String(words));
    mCore->setLinkCut(true);
    mCore->command(QStringLiteral("door front-right open"));
    QTRY_COMPARE(view()->marked(), QStringList{"door.front-right"});
    QCOMPARE(mCore->differences().value(0).told + " / " + mCore->differences().value(0).decoded,
             QStringLiteral("open / closed"));
    QVERIFY(mWindow->grab().save(QStringLiteral(QVX_BINARY_DIR "/canmonitor.png")));

    const QImage picture = view()->grab().toImage();
    const QRect left = view()->partRect("door.front-left");
    const QRect right = view()->partRect("door.front-right");
    int outside = 0, over = 0;
    for (int y = left.top(); y <= left.bottom(); ++y) {
        for (int x = left.left() - left.width(); x <= right.right() + right.width(); ++x) {
            if (picture.pixelColor(x, y) == QColor(255, 170, 40)) // an open door's colour
                ++(x > left.right() && x < right.left() ? over : outside);
        }
    }
    QVERIFY(outside > 0);
    QCOMPARE(over, 0);
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
