#pragma once

// canmonitor's window: the car and the frames on the left, the plots on the right, and with
// simulate the panel that drives the car docked beside them.

#include <QMainWindow>

class QLabel;

namespace monitor {

class CarView;
class DrivePanel;
class FramesPane;
class MonitorCore;
class PlotView;

class MonitorWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MonitorWindow(MonitorCore *core, QWidget *parent = nullptr);

    CarView *carView() const { return mCar; }
    PlotView *plotView() const { return mPlots; }
    FramesPane *framesPane() const { return mFrames; }
    DrivePanel *drivePanel() const { return mDrive; } // null without simulate

private:
    MonitorCore *mCore;
    CarView *mCar;
    PlotView *mPlots;
    FramesPane *mFrames;
    DrivePanel *mDrive = nullptr;
    QLabel *mStatus;
};

} // namespace monitor
