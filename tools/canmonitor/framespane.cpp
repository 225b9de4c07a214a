#include "framespane.h"

#include "monitorcore.h"
#include "protocol.h"

#include <QTextEdit>
#include <QVBoxLayout>

namespace monitor {

namespace {

const int RecentShown = 24;

QString name(protocol::Direction direction, int cmd)
{
    const protocol::Command *c = protocol::command(direction, cmd);
    return c ? QLatin1String(c->name) : QStringLiteral("0x%1").arg(cmd, 2, 16, QLatin1Char('0'));
}

QString hex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' '));
}

} // namespace

FramesPane::FramesPane(const MonitorCore *core, QWidget *parent) : QWidget(parent), mCore(core)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    mText = new QTextEdit(this);
    mText->setReadOnly(true);
    mText->setLineWrapMode(QTextEdit::NoWrap);
    QFont mono(QStringLiteral("monospace"));
    mono.setStyleHint(QFont::TypeWriter);
    mono.setPointSizeF(8.5);
    mText->setFont(mono);
    layout->addWidget(mText);
    mSinceRedraw.start();
    connect(core, &MonitorCore::refreshed, this, [this] {
        if (mSinceRedraw.elapsed() >= 100) {
            mSinceRedraw.restart();
            redraw();
        }
    });
}

void FramesPane::redraw()
{
    const tools::LinkCounters &counters = mCore->counters();
    const qint64 now = counters.nowMs();
    QString html = QStringLiteral("<p style='white-space:pre'>%1</p>"
                                  "<table cellspacing=0 cellpadding=2>"
                                  "<tr><th align=left>command</th><th>id</th><th>count</th>"
                                  "<th>rate/s</th><th>age</th><th align=left>last data "
                                  "(changed bytes marked)</th></tr>")
                       .arg(counters.text().toHtmlEscaped());
    for (auto it = counters.frames().begin(); it != counters.frames().end(); ++it) {
        const int cmd = it.key();
        const tools::LinkCounters::Frames &f = it.value();
        QList<int> changed;
        QStringList plain, marked;
        for (int i = 0; i < f.last.size(); ++i) {
            const QString b =
                QStringLiteral("%1").arg(protocol::u8(f.last, i), 2, 16, QLatin1Char('0'));
            const bool differs =
                f.before.isEmpty() ? false : i >= f.before.size() || f.before.at(i) != f.last.at(i);
            if (differs)
                changed << i;
            plain << b;
            marked << (differs ? QStringLiteral("<b style='background:#ffd75e'>%1</b>").arg(b) : b);
        }
        const QString age = QStringLiteral("%1 s").arg((now - f.lastMs) / 1000.0, 0, 'f', 1);
        const int rate = counters.rate(cmd);
        mRows.insert(cmd, QStringLiteral("%1 0x%2 %3 %4/s %5 %6")
                              .arg(name(protocol::ToHeadUnit, cmd))
                              .arg(cmd, 2, 16, QLatin1Char('0'))
                              .arg(f.count)
                              .arg(rate)
                              .arg(age, plain.join(' ')));
        mChanged.insert(cmd, changed);
        html += QStringLiteral("<tr><td>%1</td><td>0x%2</td><td align=right>%3&nbsp;&nbsp;</td>"
                               "<td align=right>%4&nbsp;&nbsp;</td><td "
                               "align=right>%5&nbsp;&nbsp;</td><td>%6</td></tr>")
                    .arg(name(protocol::ToHeadUnit, cmd))
                    .arg(cmd, 2, 16, QLatin1Char('0'))
                    .arg(f.count)
                    .arg(rate)
                    .arg(age, marked.join(' '));
    }
    html += QStringLiteral(
        "</table><p><b>last frames</b> (&lt; from the adapter, &gt; to it)</p><pre>");
    mRecent.clear();
    const QList<LineFrame> &frames = mCore->recentFrames();
    for (int i = qMax(0, frames.size() - RecentShown); i < frames.size(); ++i) {
        const LineFrame &f = frames.at(i);
        QString what = name(f.fromAdapter ? protocol::ToHeadUnit : protocol::ToAdapter, f.cmd);
        if (!f.fromAdapter && (f.cmd == protocol::cmd::Ack || f.cmd == protocol::cmd::Nak)) {
            const QByteArray data =
                f.bytes.mid(protocol::DataAt, f.bytes.size() - protocol::Overhead);
            what += QLatin1Char(' ') +
                    name(protocol::ToHeadUnit, protocol::u8(data, protocol::ack::Command));
        }
        if (!f.good)
            what += QStringLiteral(" (bad checksum)");
        mRecent << QStringLiteral("%1 %2 %3  %4")
                       .arg(f.ms / 1000.0, 8, 'f', 3)
                       .arg(f.fromAdapter ? '<' : '>')
                       .arg(what, -20)
                       .arg(hex(f.bytes));
    }
    html += mRecent.join('\n').toHtmlEscaped() + QStringLiteral("</pre>");
    mText->setHtml(html);
}

} // namespace monitor
