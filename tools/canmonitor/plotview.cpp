#include "plotview.h"

#include "monitorcore.h"

#include <QChart>
#include <QChartView>
#include <QLineSeries>
#include <QSet>
#include <QVBoxLayout>
#include <QValueAxis>

#include <cmath>
#include <limits>

using namespace QtCharts;

namespace monitor {

PlotView::PlotView(const MonitorCore *core, QWidget *parent) : QWidget(parent), mCore(core)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    addChart(tr("tyre pressures"), QString(), {"tyre.fl", "tyre.fr", "tyre.rl", "tyre.rr"},
             {"FL", "FR", "RL", "RR"}, 0, 300);
    addChart(tr("climate temperatures"), QStringLiteral("°C"), {"temp.left", "temp.right"},
             {"left", "right"}, 15, 30);
    QStringList radar, radarLabels;
    for (const char *side : {"front", "rear"}) {
        for (const char *sensor : {"left", "middle-left", "middle-right", "right"}) {
            radar << QStringLiteral("radar.%1-%2").arg(QLatin1String(side), QLatin1String(sensor));
            radarLabels << QStringLiteral("%1 %2").arg(QLatin1String(side), QLatin1String(sensor));
        }
    }
    addChart(tr("radar level (9: none)"), QString(), radar, radarLabels, 0, 9);
    addChart(tr("engine speed"), QStringLiteral("rpm"), {"rotate"}, {"rpm"}, 0, 3000);
    addChart(tr("coolant"), QStringLiteral("°C"), {"coolant"}, {"coolant"}, 0, 100);
    connect(core, &MonitorCore::refreshed, this, &PlotView::take);
}

void PlotView::addChart(const QString &title, const QString &unit, const QStringList &series,
                        const QStringList &labels, double low, double high)
{
    Chart c;
    c.chart = new QChart;
    c.chart->setTitle(unit.isEmpty() ? title : QStringLiteral("%1 (%2)").arg(title, unit));
    QFont small = c.chart->titleFont();
    small.setPointSizeF(8);
    c.chart->setTitleFont(small);
    c.chart->legend()->setFont(small);
    c.chart->setMargins(QMargins(2, 2, 2, 2));
    c.chart->legend()->setAlignment(Qt::AlignRight);
    c.chart->legend()->setVisible(series.size() > 1);
    c.chart->setAnimationOptions(QChart::NoAnimation);
    c.x = new QValueAxis;
    c.x->setRange(0, mWindow);
    c.x->setLabelFormat(QStringLiteral("%.0f s"));
    c.y = new QValueAxis;
    c.y->setRange(low, high);
    c.y->setLabelFormat(QStringLiteral("%.0f"));
    c.x->setLabelsFont(small);
    c.y->setLabelsFont(small);
    c.chart->addAxis(c.x, Qt::AlignBottom);
    c.chart->addAxis(c.y, Qt::AlignLeft);
    for (int i = 0; i < series.size(); ++i) {
        auto *s = new QLineSeries;
        s->setName(labels.value(i));
        c.chart->addSeries(s);
        s->attachAxis(c.x);
        s->attachAxis(c.y);
        c.series << s;
        mSeries.insert(series.at(i), s);
        mChartOf.insert(s, mCharts.size());
    }
    auto *view = new QChartView(c.chart, this);
    view->setRenderHint(QPainter::Antialiasing);
    view->setMinimumSize(400, 110);
    layout()->addWidget(view);
    mCharts << c;
}

void PlotView::take()
{
    const double now = mCore->elapsed();
    QSet<QLineSeries *> moved;
    // Each series ends in a tail at the present, moved along at every refresh; values hold
    // until they change, so a change is a step, not a slope. Steps come at most one per
    // six-hundredth of the window: a chart holds some thousand points a series at most.
    const double gap = mWindow / 600;
    for (auto it = mCore->newPoints().begin(); it != mCore->newPoints().end(); ++it) {
        QLineSeries *s = mSeries.value(it.key());
        if (!s)
            continue;
        moved.insert(s);
        const int n = s->count();
        if (n >= 2 && it->x() - mStepAt.value(s) < gap) {
            // Too soon for a step of its own: the last step takes the newer value.
            s->replace(n - 2, s->at(n - 2).x(), it->y());
            s->replace(n - 1, now, it->y());
        } else {
            if (n > 0) {
                s->replace(n - 1, it->x(), s->at(n - 1).y());
            }
            s->append(*it);
            s->append(now, it->y());
            mStepAt.insert(s, it->x());
        }
        QValueAxis *y = mCharts.at(mChartOf.value(s)).y;
        if (it->y() > y->max())
            y->setMax(it->y() * 1.2);
        if (it->y() < y->min())
            y->setMin(it->y() - std::abs(it->y()) * 0.2);
    }
    const double from = now - mWindow;
    for (const Chart &c : mCharts) {
        // The axis grows to the window, then moves with it.
        c.x->setRange(qMax(0.0, from), qMax(now, 20.0));
        for (QLineSeries *s : c.series) {
            const int n = s->count();
            if (n > 0 && !moved.contains(s))
                s->replace(n - 1, now, s->at(n - 1).y());
            int old = 0;
            while (old < s->count() - 2 && s->at(old + 1).x() < from)
                ++old;
            if (old > 0)
                s->removePoints(0, old);
        }
    }
}

double PlotView::lastValue(const QString &series) const
{
    const QLineSeries *s = mSeries.value(series);
    return s && s->count() ? s->at(s->count() - 1).y() : std::numeric_limits<double>::quiet_NaN();
}

} // namespace monitor
