#include "capture.h"

#include "textparse.h"

#include <QStringList>

namespace tools {

bool parseCapture(const QString &text, QList<CaptureRecord> *records, ParseError *error)
{
    records->clear();
    const QStringList lines = text.split(QLatin1Char('\n'));
    double previous = 0;
    for (int i = 0; i < lines.size(); ++i) {
        QList<Token> words;
        QString message;
        const auto fail = [&](const QString &why) {
            *error = {i + 1, why};
            return false;
        };
        if (!tokenize(lines.at(i), &words, &message))
            return fail(message);
        if (words.isEmpty())
            continue;
        CaptureRecord record;
        record.line = i + 1;
        if (words.size() < 3)
            return fail(QStringLiteral("expected <seconds> rx|tx <hex bytes>"));
        if (!parseSeconds(words.at(0).text, &record.time))
            return fail(QStringLiteral("'%1' is not a time in seconds").arg(words.at(0).text));
        if (record.time < previous)
            return fail(
                QStringLiteral("time %1 goes back before %2").arg(record.time).arg(previous));
        const QString direction = words.at(1).text;
        if (direction != QLatin1String("rx") && direction != QLatin1String("tx"))
            return fail(QStringLiteral("'%1' is not a direction (rx or tx)").arg(direction));
        record.received = direction == QLatin1String("rx");
        for (int w = 2; w < words.size(); ++w) {
            if (words.at(w).quoted)
                return fail(QStringLiteral("bytes are hexadecimal, not quoted text"));
        }
        if (!parseBytes(words.mid(2), &record.bytes, &message))
            return fail(message);
        previous = record.time;
        records->append(record);
    }
    return true;
}

QString formatCaptureRecord(const CaptureRecord &record)
{
    return QStringLiteral("%1 %2 %3")
        .arg(record.time, 0, 'f', 6)
        .arg(record.received ? QStringLiteral("rx") : QStringLiteral("tx"), hexText(record.bytes));
}

} // namespace tools
