#pragma once

// The decoded values over time, one chart each for tyre pressures, climate temperatures,
// radar levels, engine speed and coolant, over the last few minutes. Points come from the
// core's refresh, at most one per series a tick, so the charts repaint at the screen's rate
// at most, however fast frames come.

#include <QHash>
#include <QList>
#include <QWidget>

namespace QtCharts {
class QChart;
class QLineSeries;
class QValueAxis;
} // namespace QtCharts

namespace monitor {

class MonitorCore;

class PlotView : public QWidget
{
    Q_OBJECT
public:
    explicit PlotView(const MonitorCore *core, QWidget *parent = nullptr);

    // The last value plotted for a series ("tyre.fl", "temp.left", "radar.rear-left",
    // "rotate", ...); NaN when none.
    double lastValue(const QString &series) const;
    void setWindow(double seconds) { mWindow = seconds; }

private:
    struct Chart
    {
        QtCharts::QChart *chart;
        QtCharts::QValueAxis *x;
        QtCharts::QValueAxis *y;
        QList<QtCharts::QLineSeries *> series;
    };
    void addChart(const QString &title, const QString &unit, const QStringList &series,
                  const QStringList &labels, double low, double high);
    void take();

    const MonitorCore *mCore;
    double mWindow = 180;
    QList<Chart> mCharts;
    QHash<QString, QtCharts::QLineSeries *> mSeries;
    QHash<QtCharts::QLineSeries *, int> mChartOf;
    QHash<QtCharts::QLineSeries *, double> mStepAt; // when its last step was drawn
};

} // namespace monitor
