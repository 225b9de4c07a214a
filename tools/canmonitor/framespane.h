#pragma once

// The line, frame by frame: every adapter command with its count, rate, age and last data
// (the bytes that changed since the frame before marked), then the last frames both ways
// with their names. Redrawn at most ten times a second.

#include <QElapsedTimer>
#include <QHash>
#include <QWidget>

class QTextEdit;

namespace monitor {

class MonitorCore;

class FramesPane : public QWidget
{
    Q_OBJECT
public:
    explicit FramesPane(const MonitorCore *core, QWidget *parent = nullptr);

    // A command's row as plain text ("radar 0x41 12 10/s 0.1 s 26 45 ..."); empty if unseen.
    QString row(int cmd) const { return mRows.value(cmd); }
    // Data bytes of the command's last frame that differ from the frame before.
    QList<int> changed(int cmd) const { return mChanged.value(cmd); }
    // The last frames both ways, one line each, newest last.
    QStringList recent() const { return mRecent; }

    QSize sizeHint() const override { return {700, 260}; }

private:
    void redraw();

    const MonitorCore *mCore;
    QTextEdit *mText;
    QElapsedTimer mSinceRedraw;
    QHash<int, QString> mRows;
    QHash<int, QList<int>> mChanged;
    QStringList mRecent;
};

} // namespace monitor
