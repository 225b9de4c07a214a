#pragma once

// Standard input for a tool that reads typed commands: whole lines, or, under a screen of its
// own, keys as they are pressed (a terminal then neither waits for Enter nor echoes). One read
// per notification, so that standard input stays blocking: it may be a terminal the shell
// shares.

#include <QObject>
#include <QStringList>

#include <termios.h>

class QSocketNotifier;

namespace tools {

class LineInput : public QObject
{
    Q_OBJECT
public:
    explicit LineInput(QObject *parent = nullptr);
    ~LineInput() override; // the terminal as it was

    // Keys from now on: keys() instead of lines().
    void takeKeys();
    bool atEnd() const { return mEnded; }

signals:
    // Complete lines, in order; the last one, unfinished, when input ends.
    void lines(const QStringList &lines);
    void keys(const QByteArray &bytes);
    void ended();

private:
    void read();

    QSocketNotifier *mNotifier;
    QByteArray mBuffer;
    bool mKeys = false;
    bool mEnded = false;
    bool mRaw = false;
    termios mMode{};
};

} // namespace tools
