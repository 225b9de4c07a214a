#include "monitorwindow.h"

#include "carview.h"
#include "drivepanel.h"
#include "framespane.h"
#include "monitorcore.h"
#include "plotview.h"

#include <QDockWidget>
#include <QLabel>
#include <QScrollArea>
#include <QSplitter>
#include <QStatusBar>

namespace monitor {

MonitorWindow::MonitorWindow(MonitorCore *core, QWidget *parent) : QMainWindow(parent), mCore(core)
{
    setWindowTitle(tr("canmonitor"));
    auto *left = new QSplitter(Qt::Vertical);
    mCar = new CarView(core);
    mFrames = new FramesPane(core);
    left->addWidget(mCar);
    left->addWidget(mFrames);
    left->setStretchFactor(0, 3);
    left->setStretchFactor(1, 2);
    mPlots = new PlotView(core);
    auto *split = new QSplitter(Qt::Horizontal);
    split->addWidget(left);
    split->addWidget(mPlots);
    split->setStretchFactor(0, 3);
    split->setStretchFactor(1, 2);
    setCentralWidget(split);

    if (core->simulating()) {
        mDrive = new DrivePanel(core);
        auto *scroll = new QScrollArea;
        scroll->setWidget(mDrive);
        scroll->setWidgetResizable(true);
        scroll->setMinimumWidth(320);
        scroll->setMaximumWidth(360);
        auto *dock = new QDockWidget(tr("drive the car"));
        dock->setWidget(scroll);
        dock->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
        addDockWidget(Qt::RightDockWidgetArea, dock);
        connect(mCar, &CarView::partClicked, this, [this](const QString &part) {
            const QString words = mCore->toggleDoorWords(part);
            if (!words.isEmpty())
                mDrive->enter(words);
        });
    }
    mStatus = new QLabel;
    statusBar()->addWidget(mStatus, 1);
    connect(core, &MonitorCore::refreshed, this, [this] {
        const QString text =
            tr("port %1%2")
                .arg(mCore->portName(), mCore->linkCut() ? tr("  (link cut)") : QString());
        if (mStatus->text() != text)
            mStatus->setText(text);
    });
    resize(1700, 1000);
}

} // namespace monitor
