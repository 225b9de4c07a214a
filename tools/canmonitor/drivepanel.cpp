#include "drivepanel.h"

#include "car.h"
#include "monitorcore.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace monitor {

namespace {

QGroupBox *group(const QString &title, QLayout *layout)
{
    auto *box = new QGroupBox(title);
    box->setLayout(layout);
    return box;
}

} // namespace

DrivePanel::DrivePanel(MonitorCore *core, QWidget *parent) : QWidget(parent), mCore(core)
{
    auto *layout = new QVBoxLayout(this);

    auto *doors = new QGridLayout;
    const QStringList doorNames = {"front-left", "front-right", "rear-left",
                                   "rear-right", "bonnet",      "boot"};
    for (int i = 0; i < doorNames.size(); ++i) {
        auto *box = new QCheckBox(doorNames.at(i));
        box->setObjectName(QStringLiteral("door.") + doorNames.at(i));
        connect(box, &QCheckBox::clicked, this, [this, name = doorNames.at(i)](bool open) {
            send(QStringLiteral("door %1 %2").arg(name, open ? "open" : "closed"));
        });
        doors->addWidget(box, i / 2, i % 2);
        // The car may change otherwise: by a click on the picture, by a scenario.
        connect(core, &MonitorCore::refreshed, box,
                [box, core, name = doorNames.at(i)] { box->setChecked(core->carDoorOpen(name)); });
    }
    auto *battery = new QCheckBox(tr("battery low"));
    connect(battery, &QCheckBox::clicked, this, [this](bool low) {
        send(low ? QStringLiteral("battery low") : QStringLiteral("battery ok"));
    });
    doors->addWidget(battery, 3, 0);
    auto *cut = new QCheckBox(tr("cut the link"));
    cut->setToolTip(tr("The adapter's bytes go nowhere and the head unit's are not heard."));
    connect(cut, &QCheckBox::toggled, this, [this](bool on) { mCore->setLinkCut(on); });
    doors->addWidget(cut, 3, 1);
    layout->addWidget(group(tr("body and line"), doors));

    auto *climate = new QGridLayout;
    const QStringList switches = {"power",         "ac",          "auto", "dual", "inside",
                                  "defrost-front", "defrost-rear"};
    for (int i = 0; i < switches.size(); ++i) {
        auto *box = new QCheckBox(switches.at(i));
        connect(box, &QCheckBox::clicked, this, [this, name = switches.at(i)](bool on) {
            send(QStringLiteral("climate %1 %2").arg(name, on ? "on" : "off"));
        });
        connect(core, &MonitorCore::refreshed, box,
                [box, core, name = switches.at(i)] { box->setChecked(core->carClimate(name)); });
        climate->addWidget(box, i / 2, i % 2);
    }
    int row = 4;
    for (const char *side : {"temp-left", "temp-right"}) {
        auto *spin = new QDoubleSpinBox;
        spin->setRange(0, 126.5);
        spin->setSingleStep(0.5);
        spin->setDecimals(1);
        spin->setValue(22);
        spin->setKeyboardTracking(false);
        spin->setObjectName(QLatin1String(side));
        connect(spin, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this,
                [this, side](double t) {
                    send(QStringLiteral("climate %1 %2").arg(QLatin1String(side)).arg(t));
                });
        // The head unit's climate keys change the car too; markers leave the box as it is.
        connect(core, &MonitorCore::refreshed, spin, [spin, core, side] {
            const double t = core->carClimate(QLatin1String(side));
            if (!spin->hasFocus() && t >= 0 && t != spin->value()) {
                const QSignalBlocker quiet(spin);
                spin->setValue(t);
            }
        });
        climate->addWidget(new QLabel(QLatin1String(side)), row, 0);
        climate->addWidget(spin, row++, 1);
    }
    auto *fan = new QSpinBox;
    fan->setRange(0, 18);
    fan->setKeyboardTracking(false);
    connect(fan, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this](int v) { send(QStringLiteral("climate fan %1").arg(v)); });
    connect(core, &MonitorCore::refreshed, fan, [fan, core] {
        if (!fan->hasFocus() && core->carClimate(QStringLiteral("fan")) != fan->value()) {
            const QSignalBlocker quiet(fan);
            fan->setValue(int(core->carClimate(QStringLiteral("fan"))));
        }
    });
    climate->addWidget(new QLabel(tr("fan")), row, 0);
    climate->addWidget(fan, row, 1);
    layout->addWidget(group(tr("climate"), climate));

    auto *keys = new QGridLayout;
    auto *source = new QComboBox;
    source->addItems({"wheel", "panel"});
    auto *code = new QSpinBox;
    code->setRange(0, 255);
    code->setValue(3);
    code->setDisplayIntegerBase(16);
    code->setPrefix(QStringLiteral("0x"));
    auto *hold = new QPushButton(tr("hold"));
    hold->setToolTip(tr("Pressed while held: hold it for a long press."));
    const auto keyWords = [source, code](const char *action) {
        return QStringLiteral("key %1 %2 %3")
            .arg(source->currentText())
            .arg(code->value())
            .arg(QLatin1String(action));
    };
    connect(hold, &QPushButton::pressed, this, [this, keyWords] { send(keyWords("press")); });
    connect(hold, &QPushButton::released, this, [this, keyWords] { send(keyWords("release")); });
    auto *longPress = new QPushButton(tr("long"));
    connect(longPress, &QPushButton::clicked, this, [this, keyWords] { send(keyWords("long")); });
    keys->addWidget(source, 0, 0);
    keys->addWidget(code, 0, 1);
    keys->addWidget(hold, 1, 0);
    keys->addWidget(longPress, 1, 1);
    layout->addWidget(group(tr("key"), keys));

    auto *radar = new QFormLayout;
    auto *sensor = new QComboBox;
    for (const char *side : {"front", "rear"}) {
        for (const char *s : {"left", "middle-left", "middle-right", "right"})
            sensor->addItem(QStringLiteral("%1-%2").arg(QLatin1String(side), QLatin1String(s)));
    }
    auto *band = new QSlider(Qt::Horizontal);
    band->setRange(0, 8);
    band->setToolTip(tr("Band 1 nearest .. 8 farthest; 0 no reading."));
    connect(band, &QSlider::valueChanged, this, [this, sensor](int b) {
        send(QStringLiteral("radar %1 %2")
                 .arg(sensor->currentText(), b ? QString::number(b) : QStringLiteral("none")));
    });
    auto *clear = new QPushButton(tr("clear"));
    connect(clear, &QPushButton::clicked, this, [this] { send(QStringLiteral("radar clear")); });
    radar->addRow(sensor, clear);
    radar->addRow(tr("band"), band);
    layout->addWidget(group(tr("radar"), radar));

    auto *tyres = new QFormLayout;
    auto *wheel = new QComboBox;
    wheel->addItems({"front-left", "front-right", "rear-left", "rear-right"});
    auto *alert = new QComboBox;
    alert->addItems({"none", "first", "second"});
    connect(alert, QOverload<int>::of(&QComboBox::activated), this, [this, wheel, alert] {
        send(QStringLiteral("tyre %1 alert %2").arg(wheel->currentText(), alert->currentText()));
    });
    auto *pressure = new QSpinBox;
    pressure->setRange(0, 0xFFFF);
    pressure->setValue(230);
    pressure->setKeyboardTracking(false);
    connect(pressure, QOverload<int>::of(&QSpinBox::valueChanged), this, [this, wheel](int p) {
        send(QStringLiteral("tyre %1 pressure %2").arg(wheel->currentText()).arg(p));
    });
    tyres->addRow(tr("wheel"), wheel);
    tyres->addRow(tr("alert"), alert);
    tyres->addRow(tr("pressure"), pressure);
    layout->addWidget(group(tr("tyres"), tyres));

    auto *words = new QVBoxLayout;
    mWords = new QLineEdit;
    mWords->setPlaceholderText(tr("words, e.g. rotate 2500"));
    mWords->setToolTip(tools::Car::help());
    connect(mWords, &QLineEdit::returnPressed, this, [this] {
        enter(mWords->text());
        mWords->clear();
    });
    mLog = new QPlainTextEdit;
    mLog->setReadOnly(true);
    mLog->setMaximumBlockCount(300);
    mLog->setMinimumHeight(120);
    QFont mono(QStringLiteral("monospace"));
    mono.setStyleHint(QFont::TypeWriter);
    mono.setPointSizeF(8);
    mLog->setFont(mono);
    words->addWidget(mWords);
    words->addWidget(mLog);
    layout->addWidget(group(tr("the car in words"), words));

    mDifferences = new QLabel;
    mDifferences->setWordWrap(true);
    mDifferences->setTextFormat(Qt::PlainText);
    layout->addWidget(group(tr("told and decoded differ"), new QVBoxLayout));
    layout->itemAt(layout->count() - 1)->widget()->layout()->addWidget(mDifferences);
    layout->addStretch(1);

    connect(core, &MonitorCore::message, this, [this](const QString &line) {
        mLastMessage = line;
        mLog->appendPlainText(line);
    });
    connect(core, &MonitorCore::refreshed, this, [this] {
        QStringList lines;
        for (const Difference &d : mCore->differences())
            lines << QStringLiteral("%1: told %2, decoded %3").arg(d.part, d.told, d.decoded);
        const QString text = lines.isEmpty() ? tr("none") : lines.join('\n');
        if (mDifferences->text() != text)
            mDifferences->setText(text);
    });
}

void DrivePanel::enter(const QString &words)
{
    send(words);
}

void DrivePanel::send(const QString &words)
{
    mLog->appendPlainText(QStringLiteral("> ") + words);
    mLastMessage.clear();
    mCore->command(words);
}

} // namespace monitor
