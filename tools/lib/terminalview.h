#pragma once

// canhost --view: one screen in three layers, top to bottom: what the plugin decoded, by
// subsystem; the frames by command (count, rate, age, last data); the raw bytes both ways,
// newest last. Changed values and bytes are marked. It fits 80x24 and gives more rows to
// frames and bytes on a taller screen; it redraws at most ten times a second. Without a
// terminal it prints the screen as plain text once a second.

#include "hostevents.h"
#include "linkcounters.h"

#include <QHash>
#include <QObject>
#include <QStringList>
#include <QTextStream>
#include <QTimer>

#include <functional>

class CanServiceBase;

namespace tools {

class TerminalView : public QObject
{
    Q_OBJECT
public:
    // service may be null when setState() gives the state layer. terminal: the descriptor of the
    // terminal `out` writes to (its size is read at every redraw), or -1 for plain text.
    TerminalView(CanServiceBase *service, const LinkCounters *counters, QTextStream &out,
                 int terminal, QObject *parent = nullptr);
    ~TerminalView() override;

    void setSize(int columns, int rows);
    void setTitle(const QString &title) { mTitle = title; }
    // The state layer from elsewhere (a tool without the plugin): label and text, nine at most.
    void setState(std::function<QList<QPair<QString, QString>>()> rows) { mStateRows = rows; }
    // The screen as text lines, marks as ANSI attributes when on a terminal, '*' otherwise.
    QStringList screen();

private:
    void redraw();
    QString fit(const QString &line) const;

    CanServiceBase *mService;
    const LinkCounters *mCounters;
    QTextStream &mOut;
    QString mScratch;
    QTextStream mScratchOut;
    EventPrinter mPrinter; // reads the state back through the getters
    int mTerminalFd;
    bool mTerminal;
    int mIdleTicks = 0;
    int mColumns = 80;
    int mRows = 24;
    bool mDirty = true;
    QTimer mTick;
    QString mKey;
    QString mTitle = QStringLiteral("canhost --view   q quits");
    std::function<QList<QPair<QString, QString>>()> mStateRows;
    QHash<QString, QString> mShown;    // each state line as last drawn
    QHash<QString, qint64> mChangedAt; // when it last changed, for the mark
};

} // namespace tools
