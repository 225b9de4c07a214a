#include "carview.h"

#include "monitorcore.h"

#include <QJsonArray>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace monitor {

using tools::HostEvent;

namespace {

// The picture is drawn on a fixed canvas and scaled to the widget.
const QSizeF Canvas(720, 560);
const QPointF Front(370, 130), Rear(370, 430); // the radar rings' centres
const qreal RingInner = 16, RingStep = 11;

const QStringList Sensors = {"left", "middle-left", "middle-right", "right"};
const QStringList Wheels = {"front-left", "front-right", "rear-left", "rear-right"};
const char *const WheelKeys[] = {"fl", "fr", "rl", "rr"};

// Each part's place on the canvas.
const QHash<QString, QRectF> &places()
{
    static const QHash<QString, QRectF> p = [] {
        QHash<QString, QRectF> h;
        h.insert("door.bonnet", {310, 130, 120, 60});
        h.insert("door.boot", {310, 380, 120, 50});
        h.insert("door.front-left", {276, 200, 34, 85});
        h.insert("door.rear-left", {276, 290, 34, 80});
        h.insert("door.front-right", {430, 200, 34, 85});
        h.insert("door.rear-right", {430, 290, 34, 80});
        h.insert("tyre.front-left", {290, 145, 16, 42});
        h.insert("tyre.front-right", {434, 145, 16, 42});
        h.insert("tyre.rear-left", {290, 378, 16, 42});
        h.insert("tyre.rear-right", {434, 378, 16, 42});
        h.insert("climate", {545, 8, 170, 390});
        h.insert("battery", {10, 120, 190, 26});
        h.insert("link", {10, 8, 190, 50});
        return h;
    }();
    return p;
}

// The wedge of one radar sensor at one level (1 nearest); level 0 is the whole wedge.
QPainterPath wedge(bool front, int sensor, int level)
{
    const QPointF c = front ? Front : Rear;
    const qreal start = front ? 150 - 30 * (sensor + 1) : 210 + 30 * sensor;
    const qreal inner = level ? RingInner + (level - 1) * RingStep : RingInner;
    const qreal outer = level ? inner + RingStep - 1.5 : RingInner + 8 * RingStep;
    const QRectF out(c.x() - outer, c.y() - outer, 2 * outer, 2 * outer);
    const QRectF in(c.x() - inner, c.y() - inner, 2 * inner, 2 * inner);
    QPainterPath path;
    path.arcMoveTo(out, start + 1);
    path.arcTo(out, start + 1, 28);
    path.arcTo(in, start + 29, -28);
    path.closeSubpath();
    return path;
}

QColor levelColour(int level)
{
    if (level <= 2)
        return QColor(220, 40, 40);
    if (level <= 4)
        return QColor(240, 140, 30);
    if (level <= 6)
        return QColor(230, 210, 40);
    return QColor(80, 180, 80);
}

QString onOff(const QJsonObject &f, const char *key)
{
    return f.value(QLatin1String(key)).toBool() ? QStringLiteral("on") : QStringLiteral("off");
}

QString temperature(const QJsonValue &v, const QString &unit)
{
    const double t = v.toDouble();
    return t == -100   ? QStringLiteral("LO")
           : t == -101 ? QStringLiteral("HI")
                       : QString::number(t, 'f', 1) + unit;
}

QString keyName(int state)
{
    static const char *const names[] = {"press", "short", "long", "release"};
    return state >= 0 && state < 4 ? QLatin1String(names[state]) : QString::number(state);
}

} // namespace

CarView::CarView(const MonitorCore *core, QWidget *parent) : QWidget(parent), mCore(core)
{
    setMinimumSize(480, 380);
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(core, &MonitorCore::refreshed, this, [this] {
        takeState();
        update();
    });
    takeState();
}

void CarView::takeState()
{
    const MonitorCore &c = *mCore;
    QHash<QString, QString> s;
    const QJsonObject doors = c.state(HostEvent::Doors);
    const std::pair<const char *, const char *> doorKeys[] = {
        {"front-left", "leftFront"}, {"front-right", "rightFront"}, {"rear-left", "leftRear"},
        {"rear-right", "rightRear"}, {"bonnet", "front"},           {"boot", "rear"}};
    for (const auto &d : doorKeys) {
        s.insert(QStringLiteral("door.") + QLatin1String(d.first),
                 doors.value(QLatin1String(d.second)).toBool() ? QStringLiteral("open")
                                                               : QStringLiteral("closed"));
    }
    s.insert("battery", c.state(HostEvent::Battery).value("alert").toInt() ? QStringLiteral("alert")
                                                                           : QStringLiteral("ok"));
    const QJsonObject alerts = c.state(HostEvent::TyreAlert), tyres = c.state(HostEvent::Tyres);
    for (int w = 0; w < 4; ++w) {
        s.insert(QStringLiteral("tyre.") + Wheels.at(w),
                 QStringLiteral("alert %1, %2")
                     .arg(alerts.value(QLatin1String(WheelKeys[w])).toInt())
                     .arg(tyres.value(QLatin1String(WheelKeys[w])).toDouble()));
    }
    s.insert("tyre.unit", tyres.value("unit").toString());
    const QJsonObject radar = c.state(HostEvent::Radar);
    for (const char *side : {"front", "rear", "left", "right"}) {
        const QJsonArray levels = radar.value(QLatin1String(side)).toArray();
        for (int i = 0; i < 4; ++i) {
            const int level = levels.at(i).toInt(255);
            s.insert(QStringLiteral("radar.%1-%2").arg(QLatin1String(side), Sensors.at(i)),
                     level >= 1 && level <= 8 ? QString::number(level) : QStringLiteral("-"));
        }
    }
    const QJsonObject climate = c.state(HostEvent::Climate);
    const QString unit = climate.value("unit").toString();
    s.insert("climate.left", temperature(climate.value("temperature"), unit));
    s.insert("climate.right", temperature(climate.value("rightTemperature"), unit));
    s.insert("climate.rear", temperature(climate.value("rearTemperature"), unit));
    for (const char *sw : {"power", "ac", "auto", "dual", "inside", "frontDefrost", "rearDefrost"})
        s.insert(QStringLiteral("climate.") + QLatin1String(sw), onOff(climate, sw));
    s.insert("climate.fan", QString::number(climate.value("fan").toInt()));
    s.insert("climate.mode", QString::number(climate.value("mode").toInt()));
    const auto seat = [&climate](const char *heat, const char *vent) {
        const int h = climate.value(QLatin1String(heat)).toInt();
        const int v = climate.value(QLatin1String(vent)).toInt();
        return h   ? QStringLiteral("heat %1").arg(h)
               : v ? QStringLiteral("vent %1").arg(v)
                   : QStringLiteral("off");
    };
    s.insert("climate.seat-left", seat("leftHeat", "leftVentilation"));
    s.insert("climate.seat-right", seat("rightHeat", "rightVentilation"));

    const double age = c.secondsSinceFrame();
    s.insert("link", c.linkUp() ? QStringLiteral("up") : QStringLiteral("down"));
    s.insert("link.age", age < 0 ? QStringLiteral("no frame yet")
                                 : QStringLiteral("%1 s since the last frame").arg(age, 0, 'f', 1));
    s.insert("version", c.state(HostEvent::Version).value("version").toString());
    s.insert("engine", QStringLiteral("%1 rpm, coolant %2%3")
                           .arg(c.state(HostEvent::Rotate).value("rotate").toInt())
                           .arg(c.state(HostEvent::Coolant).value("temperature").toInt())
                           .arg(c.state(HostEvent::Coolant).value("unit").toString()));
    mKeys.clear();
    for (int i = c.keys().size() - 1; i >= 0; --i) {
        const KeyPress &k = c.keys().at(i);
        mKeys << QStringLiteral("%1  0x%2 %3 %4")
                     .arg(k.time, 7, 'f', 2)
                     .arg(k.code, 2, 16, QLatin1Char('0'))
                     .arg(k.wheel ? "wheel" : "panel", keyName(k.state));
    }
    s.insert("key", c.keys().isEmpty() ? QString()
                                       : QStringLiteral("0x%1 %2 %3")
                                             .arg(c.keys().last().code, 2, 16, QLatin1Char('0'))
                                             .arg(c.keys().last().wheel ? "wheel" : "panel",
                                                  keyName(c.keys().last().state)));
    mTexts.clear();
    const std::pair<HostEvent, const char *> trips[] = {
        {HostEvent::Info, "info"}, {HostEvent::Fuel, "fuel"}, {HostEvent::Driving, "driving"}};
    for (const auto &t : trips) {
        const QJsonArray items = c.state(t.first).value("items").toArray();
        for (int i = 0; i < items.size(); ++i) {
            if (!items.at(i).toString().isEmpty())
                mTexts << QStringLiteral("%1 %2: %3")
                              .arg(t.second)
                              .arg(i + 1)
                              .arg(items.at(i).toString());
        }
    }
    s.insert("trip", mTexts.join(QStringLiteral("; ")));
    mShown.swap(s);

    mMarked.clear();
    for (const Difference &d : c.differences())
        mMarked << d.part;
}

QTransform CarView::toWidget() const
{
    const qreal scale = qMin(width() / Canvas.width(), height() / Canvas.height());
    QTransform t;
    t.translate((width() - Canvas.width() * scale) / 2, (height() - Canvas.height() * scale) / 2);
    t.scale(scale, scale);
    return t;
}

QRect CarView::partRect(const QString &part) const
{
    QRectF r = places().value(part);
    if (part.startsWith(QLatin1String("radar.front-")) ||
        part.startsWith(QLatin1String("radar.rear-"))) {
        const bool front = part.startsWith(QLatin1String("radar.front-"));
        r = wedge(front, Sensors.indexOf(part.mid(front ? 12 : 11)), 0).boundingRect();
    }
    return toWidget().mapRect(r).toAlignedRect();
}

void CarView::mousePressEvent(QMouseEvent *event)
{
    const QPointF at = toWidget().inverted().map(QPointF(event->pos()));
    for (auto it = places().begin(); it != places().end(); ++it) {
        if (it.key().startsWith(QLatin1String("door.")) && it.value().contains(at)) {
            emit partClicked(it.key());
            return;
        }
    }
}

void CarView::paintEvent(QPaintEvent *)
{
    ++mPaints;
    QPainter p(this);
    p.fillRect(rect(), QColor(250, 250, 247));
    p.setRenderHint(QPainter::Antialiasing);
    p.setTransform(toWidget());
    paintRadar(p);
    paintBody(p);
    paintPanels(p);
    // A part the plugin decoded otherwise than the car was told.
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(QColor(220, 0, 0), 3));
    for (const QString &part : mMarked) {
        if (part.startsWith(QLatin1String("radar."))) {
            const bool front = part.startsWith(QLatin1String("radar.front-"));
            p.drawPath(wedge(front, Sensors.indexOf(part.mid(front ? 12 : 11)), 0));
        } else {
            p.drawRect(places().value(part).adjusted(-3, -3, 3, 3));
        }
    }
}

void CarView::paintRadar(QPainter &p)
{
    p.setPen(Qt::NoPen);
    for (bool front : {true, false}) {
        for (int i = 0; i < 4; ++i) {
            const QString shown = mShown.value(
                QStringLiteral("radar.%1-%2").arg(front ? "front" : "rear", Sensors.at(i)));
            const int level = shown.toInt();
            for (int l = 1; l <= 8; ++l) {
                p.setBrush(l == level ? levelColour(level) : QColor(225, 228, 232));
                p.drawPath(wedge(front, i, l));
            }
        }
    }
    // The sides: four cells each, front to rear, filled by level.
    for (bool left : {true, false}) {
        for (int i = 0; i < 4; ++i) {
            const QString shown = mShown.value(
                QStringLiteral("radar.%1-%2").arg(left ? "left" : "right", Sensors.at(i)));
            const int level = shown.toInt();
            const QRectF cell(left ? 240 : 478, 205 + i * 42, 22, 38);
            p.setBrush(level ? levelColour(level) : QColor(225, 228, 232));
            p.drawRoundedRect(cell, 3, 3);
            p.setPen(Qt::darkGray);
            p.drawText(cell, Qt::AlignCenter, shown);
            p.setPen(Qt::NoPen);
        }
    }
}

void CarView::paintBody(QPainter &p)
{
    const QColor open(255, 170, 40), closed(90, 100, 115);
    // Tyres first, under the body's edge.
    QFont small = font();
    small.setPointSizeF(8);
    p.setFont(small);
    for (int w = 0; w < 4; ++w) {
        const QString part = QStringLiteral("tyre.") + Wheels.at(w);
        const QStringList shown = mShown.value(part).split(QStringLiteral(", "));
        const bool alert = shown.value(0) != QLatin1String("alert 0");
        const QRectF r = places().value(part);
        p.setPen(Qt::NoPen);
        p.setBrush(alert ? QColor(220, 40, 40) : QColor(40, 40, 40));
        p.drawRoundedRect(r, 4, 4);
        p.setPen(alert ? QColor(200, 0, 0) : Qt::black);
        const bool left = w % 2 == 0;
        const QRectF text(left ? r.left() - 84 : r.right() + 6, r.top(), 78, r.height());
        p.drawText(text, (left ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter,
                   shown.value(1) + QLatin1Char(' ') + mShown.value("tyre.unit") +
                       QLatin1Char('\n') +
                       (alert ? QStringLiteral("ALERT %1").arg(shown.value(0).mid(6))
                              : QStringLiteral("ok")));
    }
    // The body, bonnet at the top.
    QPainterPath body;
    body.addRoundedRect(QRectF(310, 130, 120, 300), 28, 28);
    p.setPen(QPen(closed, 2));
    p.setBrush(QColor(235, 238, 242));
    p.drawPath(body);
    p.setBrush(QColor(200, 215, 230));
    p.drawRoundedRect(QRectF(322, 196, 96, 40), 6, 6); // windscreen
    p.drawRoundedRect(QRectF(322, 340, 96, 30), 6, 6); // rear window
    for (const char *lid : {"bonnet", "boot"}) {
        const QString part = QStringLiteral("door.") + QLatin1String(lid);
        const bool isOpen = mShown.value(part) == QLatin1String("open");
        const QRectF r = places().value(part).adjusted(6, 4, -6, -4);
        p.setPen(QPen(isOpen ? open.darker(130) : closed, 2));
        p.setBrush(isOpen ? open : QColor(220, 224, 230));
        // An open lid is drawn lifted away from the body.
        p.drawRoundedRect(isOpen ? r.translated(0, qstrcmp(lid, "bonnet") == 0 ? -14 : 14) : r, 8,
                          8);
    }
    for (const char *d : {"front-left", "rear-left", "front-right", "rear-right"}) {
        const QString part = QStringLiteral("door.") + QLatin1String(d);
        const bool isOpen = mShown.value(part) == QLatin1String("open");
        const bool left = part.endsWith(QLatin1String("left"));
        const QRectF r = places().value(part);
        const qreal x = left ? r.right() : r.left();
        const QPointF hinge(x, r.top() + 4);
        // Closed: along the body; open: swung out from its front hinge.
        const qreal angle = isOpen ? (left ? 35 : -35) : 0;
        p.save();
        p.translate(hinge);
        p.rotate(angle);
        p.setPen(QPen(isOpen ? open.darker(130) : closed, 1.5));
        p.setBrush(isOpen ? open : QColor(205, 210, 218));
        p.drawRoundedRect(QRectF(left ? -7 : 0, 0, 7, r.height() - 8), 2, 2);
        p.restore();
    }
}

void CarView::paintPanels(QPainter &p)
{
    QFont normal = font();
    normal.setPointSizeF(9);
    QFont bold = normal;
    bold.setBold(true);
    const auto header = [&](qreal x, qreal y, const QString &text) {
        p.setFont(bold);
        p.setPen(QColor(40, 50, 70));
        p.drawText(QPointF(x, y), text);
        p.setFont(normal);
    };
    // Left: the line, the adapter, the battery, the engine, keys and trip texts.
    const bool up = mShown.value("link") == QLatin1String("up");
    const QRectF link = places().value("link");
    p.setPen(Qt::NoPen);
    p.setBrush(up ? QColor(70, 170, 90) : QColor(210, 60, 60));
    p.drawRoundedRect(link, 6, 6);
    p.setPen(Qt::white);
    p.setFont(bold);
    p.drawText(link.adjusted(8, 4, -8, -4), Qt::AlignLeft | Qt::AlignTop,
               QStringLiteral("link %1").arg(mShown.value("link")));
    p.setFont(normal);
    p.drawText(link.adjusted(8, 4, -8, -4), Qt::AlignLeft | Qt::AlignBottom,
               mShown.value("link.age"));
    p.setPen(Qt::black);
    p.drawText(QPointF(10, 78),
               QStringLiteral("adapter %1")
                   .arg(mShown.value("version").isEmpty() ? QStringLiteral("(no version)")
                                                          : mShown.value("version")));
    p.drawText(QPointF(10, 98), mShown.value("engine"));
    const bool battery = mShown.value("battery") == QLatin1String("alert");
    const QRectF bat = places().value("battery");
    p.setPen(Qt::NoPen);
    p.setBrush(battery ? QColor(220, 40, 40) : QColor(225, 228, 232));
    p.drawRoundedRect(bat, 5, 5);
    p.setPen(battery ? Qt::white : Qt::black);
    p.drawText(bat.adjusted(8, 0, 0, 0), Qt::AlignVCenter,
               battery ? QStringLiteral("battery voltage ALERT") : QStringLiteral("battery ok"));
    p.setPen(Qt::black);
    header(10, 172, QStringLiteral("keys (newest first)"));
    qreal y = 190;
    for (const QString &k : mKeys) {
        p.drawText(QPointF(10, y), k);
        y += 16;
    }
    header(10, 300, QStringLiteral("trip computer"));
    y = 318;
    for (const QString &t : mTexts) {
        if (y > 550)
            break;
        p.drawText(QRectF(10, y - 12, 225, 16), Qt::AlignLeft, t);
        y += 16;
    }

    // Right: the climate panel.
    const QRectF panel = places().value("climate");
    p.setPen(QPen(QColor(190, 195, 205), 1));
    p.setBrush(QColor(240, 243, 247));
    p.drawRoundedRect(panel, 8, 8);
    header(panel.left() + 10, panel.top() + 20, QStringLiteral("climate"));
    const std::pair<const char *, const char *> switches[] = {{"power", "power"},
                                                              {"ac", "AC"},
                                                              {"auto", "auto"},
                                                              {"dual", "dual"},
                                                              {"inside", "recirculation"},
                                                              {"frontDefrost", "defrost front"},
                                                              {"rearDefrost", "defrost rear"}};
    y = panel.top() + 34;
    for (const auto &sw : switches) {
        const bool on = mShown.value(QStringLiteral("climate.") + QLatin1String(sw.first)) ==
                        QLatin1String("on");
        const QRectF pill(panel.left() + 10, y, 150, 22);
        p.setPen(Qt::NoPen);
        p.setBrush(on ? QColor(60, 130, 210) : QColor(215, 220, 228));
        p.drawRoundedRect(pill, 11, 11);
        p.setPen(on ? Qt::white : QColor(60, 60, 60));
        p.drawText(pill.adjusted(12, 0, -12, 0), Qt::AlignVCenter | Qt::AlignLeft,
                   QLatin1String(sw.second));
        p.drawText(pill.adjusted(12, 0, -12, 0), Qt::AlignVCenter | Qt::AlignRight,
                   on ? "on" : "off");
        y += 27;
    }
    p.setPen(Qt::black);
    QFont big = bold;
    big.setPointSizeF(15);
    p.setFont(big);
    p.drawText(QRectF(panel.left() + 8, y + 4, 77, 30), Qt::AlignCenter,
               mShown.value("climate.left"));
    p.drawText(QRectF(panel.left() + 85, y + 4, 77, 30), Qt::AlignCenter,
               mShown.value("climate.right"));
    p.setFont(normal);
    y += 48;
    for (const QString &line :
         {QStringLiteral("rear %1").arg(mShown.value("climate.rear")),
          QStringLiteral("fan %1   mode %2")
              .arg(mShown.value("climate.fan"), mShown.value("climate.mode")),
          QStringLiteral("seat left: %1").arg(mShown.value("climate.seat-left")),
          QStringLiteral("seat right: %1").arg(mShown.value("climate.seat-right"))}) {
        p.drawText(QPointF(panel.left() + 12, y), line);
        y += 18;
    }
}

} // namespace monitor
