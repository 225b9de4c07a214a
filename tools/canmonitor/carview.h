#pragma once

// The car at a glance, painted: the outline with its six doors, the radar rings front, rear
// and sides, the tyres with alert and pressure, the climate panel, and beside them the link,
// the battery alert, the last keys, the adapter's version and the trip computer's texts.
// Everything comes from the core's state after a refresh; a part whose decoded value is not
// what the simulated car was told gets a red outline. A click on a door asks to toggle it.

#include <QHash>
#include <QRectF>
#include <QStringList>
#include <QWidget>

namespace monitor {

class MonitorCore;

class CarView : public QWidget
{
    Q_OBJECT
public:
    explicit CarView(const MonitorCore *core, QWidget *parent = nullptr);

    // The text painted for a part: "door.front-left" (open|closed), "battery" (alert|ok),
    // "tyre.rear-left" ("alert 1, 230"), "radar.front-left" ("3", "-" for none),
    // "climate.left" ("22.5°C", LO, HI), "climate.power", "link", "version", "key", "trip".
    QString shown(const QString &part) const { return mShown.value(part); }
    // Parts outlined in red: decoded differently from what the car was told.
    QStringList marked() const { return mMarked; }
    // Where a part is painted, in widget coordinates (doors, tyres, radar sensors, panels).
    QRect partRect(const QString &part) const;
    int paints() const { return mPaints; }

    QSize sizeHint() const override { return {720, 560}; }

signals:
    void partClicked(const QString &part);

protected:
    void paintEvent(QPaintEvent *) override;
    void mousePressEvent(QMouseEvent *event) override;

private:
    void takeState();
    QTransform toWidget() const;
    void paintRadar(QPainter &p);
    void paintBody(QPainter &p);
    void paintPanels(QPainter &p);

    const MonitorCore *mCore;
    QHash<QString, QString> mShown;
    QStringList mMarked;
    QStringList mTexts; // trip computer texts, for the left panel
    QStringList mKeys;
    int mPaints = 0;
};

} // namespace monitor
