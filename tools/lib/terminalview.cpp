#include "terminalview.h"

#include "canservicebase.h"
#include "protocol.h"

#include <sys/ioctl.h>

namespace tools {

namespace {

const qint64 MarkMs = 2000; // a changed value stays marked this long
const int StateRows = 9;
const int FixedRows = 1 + StateRows + 2; // title, state, the two section headers

// A line in pieces, some marked.
struct Piece
{
    QString text;
    bool marked;
};

QString render(const QList<Piece> &pieces, int width, bool terminal)
{
    QString out;
    int used = 0;
    for (const Piece &p : pieces) {
        const QString text = p.text.left(width - used);
        if (text.isEmpty())
            break;
        used += text.size();
        if (p.marked && terminal)
            out += QStringLiteral("\x1b[7m") + text + QStringLiteral("\x1b[0m");
        else
            out += p.marked ? text.toUpper() : text;
    }
    return out;
}

QString commandName(int cmd)
{
    const protocol::Command *c = protocol::command(protocol::ToHeadUnit, cmd);
    return c ? QLatin1String(c->name) : QStringLiteral("0x%1").arg(cmd, 2, 16, QLatin1Char('0'));
}

} // namespace

TerminalView::TerminalView(CanServiceBase *service, const LinkCounters *counters, QTextStream &out,
                           int terminal, QObject *parent)
    : QObject(parent), mService(service), mCounters(counters), mOut(out), mScratchOut(&mScratch),
      mPrinter(service, mScratchOut, false), mTerminalFd(terminal), mTerminal(terminal >= 0)
{
    connect(counters, &LinkCounters::changed, this, [this] { mDirty = true; });
    if (service) {
        connect(service, &CanServiceBase::keyEvent, this, [this](int code, int state, bool swc) {
            mKey = mPrinter.text(HostEvent::Key, EventPrinter::keyFields(code, state, swc));
            mDirty = true;
        });
    }
    connect(&mTick, &QTimer::timeout, this, &TerminalView::redraw);
    mTick.start(mTerminal ? 100 : 1000);
    if (mTerminal) {
        mOut << "\x1b[?1049h\x1b[?25l"; // a screen of its own, no cursor
        mOut.flush();
    }
}

TerminalView::~TerminalView()
{
    if (mTerminal) {
        mOut << "\x1b[?25h\x1b[?1049l";
        mOut.flush();
    }
}

void TerminalView::setSize(int columns, int rows)
{
    mColumns = qMax(40, columns);
    mRows = qMax(FixedRows + 4, rows);
    mDirty = true;
}

QStringList TerminalView::screen()
{
    const qint64 now = mCounters->nowMs();
    const auto state = [this](HostEvent e) { return mPrinter.text(e, mPrinter.fields(e)); };
    QList<QPair<QString, QString>> rows;
    if (mStateRows)
        rows = mStateRows().mid(0, StateRows);
    else
        rows = {
            {"link", mPrinter.text(HostEvent::Link, {{"status", mCounters->linkStatusNow()},
                                                     {"up", mCounters->linkStatusNow() != 0}}) +
                         "   version " + state(HostEvent::Version)},
            {"doors", state(HostEvent::Doors) + "   battery " + state(HostEvent::Battery)},
            {"climate", state(HostEvent::Climate)},
            {"radar", state(HostEvent::Radar)},
            {"tyres", state(HostEvent::Tyres) + "   " + state(HostEvent::TyreAlert)},
            {"key", mKey.isEmpty() ? QStringLiteral("none yet") : mKey},
            {"car", state(HostEvent::Rotate) + " rpm   coolant " + state(HostEvent::Coolant) +
                        "   info " + state(HostEvent::Info)},
            {"fuel", state(HostEvent::Fuel)},
            {"driving", state(HostEvent::Driving)},
        };
    while (rows.size() < StateRows)
        rows.append({QString(), QString()});
    QStringList out;
    out << fit(QStringLiteral("%1   %2").arg(mTitle, mCounters->text()));
    for (const auto &row : rows) {
        if (mShown.contains(row.first) && mShown.value(row.first) != row.second)
            mChangedAt.insert(row.first, now);
        mShown.insert(row.first, row.second);
        const bool marked = now - mChangedAt.value(row.first, -MarkMs) < MarkMs;
        out << render({{QStringLiteral("%1 ").arg(marked && !mTerminal ? '*' : ' '), false},
                       {row.first.leftJustified(8), marked},
                       {QStringLiteral(" ") + row.second, false}},
                      mColumns, mTerminal);
    }

    // Frames, the most recent first, as many as leave three rows for the bytes.
    QList<int> commands = mCounters->frames().keys();
    std::sort(commands.begin(), commands.end(), [this](int a, int b) {
        return mCounters->frames().value(a).lastMs > mCounters->frames().value(b).lastMs;
    });
    const int free = mRows - FixedRows;
    const int frameRows = qMin(int(commands.size()), qMax(free - 3, free / 2));
    out << fit(
        QStringLiteral("-- frames     count  rate/s    age  last data (changed bytes marked)"));
    for (int i = 0; i < frameRows; ++i) {
        const LinkCounters::Frames &f = mCounters->frames().value(commands.at(i));
        QList<Piece> line{{QStringLiteral("   %1 %2 %3 %4s ")
                               .arg(commandName(commands.at(i)), -9)
                               .arg(f.count, 6)
                               .arg(mCounters->rate(commands.at(i)), 7)
                               .arg((now - f.lastMs) / 1000.0, 6, 'f', 1),
                           false}};
        for (int b = 0; b < f.last.size(); ++b) {
            const bool changed =
                !f.before.isEmpty() && (b >= f.before.size() || f.before.at(b) != f.last.at(b));
            line << Piece{QStringLiteral(" "), false}
                 << Piece{QString::number(quint8(f.last.at(b)), 16).rightJustified(2, '0'),
                          changed};
        }
        out << render(line, mColumns, mTerminal);
    }

    out << fit(QStringLiteral("-- bytes (< from the adapter, > to it), newest last"));
    const int byteRows = mRows - out.size();
    const QList<LinkCounters::Chunk> &chunks = mCounters->chunks();
    for (int i = qMax(0, int(chunks.size()) - byteRows); i < chunks.size(); ++i) {
        const LinkCounters::Chunk &c = chunks.at(i);
        out << fit(QStringLiteral("%1 %2 %3")
                       .arg(c.ms / 1000.0, 8, 'f', 3)
                       .arg(c.fromAdapter ? '<' : '>')
                       .arg(QString::fromLatin1(c.bytes.toHex(' '))));
    }
    return out;
}

QString TerminalView::fit(const QString &line) const
{
    return line.left(mColumns);
}

void TerminalView::redraw()
{
    if (!mDirty && ++mIdleTicks < 10 && mTerminal)
        return; // ages still move: once a second without news
    mIdleTicks = 0;
    mDirty = false;
    winsize size{};
    if (mTerminal && ioctl(mTerminalFd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        setSize(size.ws_col, size.ws_row);
    const QStringList lines = screen();
    if (mTerminal) {
        mOut << "\x1b[H";
        for (int i = 0; i < lines.size(); ++i)
            mOut << lines.at(i) << "\x1b[K" << (i + 1 < lines.size() ? "\r\n" : "");
        mOut << "\x1b[J";
    } else {
        for (const QString &line : lines)
            mOut << line << '\n';
        mOut << '\n';
    }
    mOut.flush();
}

} // namespace tools
