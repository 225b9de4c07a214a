#pragma once

// Drives the simulated car: doors, battery, climate, a wheel or panel key (held as long as
// the button is), radar, tyres, any words of the car's vocabulary, and a cut line. Every
// change goes to the simulator as words, and from it over the serial line as the adapter
// sends it. Below: what the simulator says, and the parts the plugin decoded otherwise.

#include <QWidget>

class QLabel;
class QLineEdit;
class QPlainTextEdit;

namespace monitor {

class MonitorCore;

class DrivePanel : public QWidget
{
    Q_OBJECT
public:
    explicit DrivePanel(MonitorCore *core, QWidget *parent = nullptr);

    // Words typed into the panel's line, as if entered.
    void enter(const QString &words);
    // The simulator's last line since the last words sent.
    QString lastMessage() const { return mLastMessage; }

private:
    void send(const QString &words);

    MonitorCore *mCore;
    QLineEdit *mWords;
    QPlainTextEdit *mLog;
    QLabel *mDifferences;
    QString mLastMessage;
};

} // namespace monitor
