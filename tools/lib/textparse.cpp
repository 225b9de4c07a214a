#include "textparse.h"

#include "number.h"

#include <algorithm>
#include <cmath>

namespace tools {

QString ParseError::toString(const QString &file) const
{
    return QStringLiteral("%1:%2: %3").arg(file).arg(line).arg(message);
}


bool tokenize(const QString &line, QList<Token> *tokens, QString *error)
{
    tokens->clear();
    int i = 0;
    const int n = line.size();
    while (i < n) {
        const QChar c = line.at(i);
        if (c.isSpace()) {
            ++i;
            continue;
        }
        if (c == QLatin1Char('#'))
            break;
        Token token;
        if (c == QLatin1Char('"')) {
            token.quoted = true;
            ++i;
            bool closed = false;
            while (i < n) {
                const QChar q = line.at(i++);
                if (q == QLatin1Char('"')) {
                    closed = true;
                    break;
                }
                if (q == QLatin1Char('\\') && i < n)
                    token.text.append(line.at(i++));
                else
                    token.text.append(q);
            }
            if (!closed) {
                *error = QStringLiteral("unterminated quoted text");
                return false;
            }
        } else {
            while (i < n && !line.at(i).isSpace() && line.at(i) != QLatin1Char('#'))
                token.text.append(line.at(i++));
        }
        tokens->append(token);
    }
    return true;
}

static int hexDigit(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

bool appendBytes(const Token &token, QByteArray *bytes, QString *error)
{
    if (token.quoted) {
        bytes->append(token.text.toUtf8());
        return true;
    }
    QString digits = token.text;
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits = digits.mid(2);
    const bool allHex =
        std::all_of(digits.begin(), digits.end(), [](QChar c) { return hexDigit(c) >= 0; });
    if (digits.isEmpty() || !allHex) {
        *error = QStringLiteral("'%1' is not a hexadecimal byte").arg(token.text);
        return false;
    }
    if (digits.size() == 1) {
        bytes->append(char(hexDigit(digits.at(0))));
        return true;
    }
    if (digits.size() % 2 != 0) {
        *error = QStringLiteral("'%1' has an odd number of hexadecimal digits").arg(token.text);
        return false;
    }
    for (int i = 0; i < digits.size(); i += 2)
        bytes->append(char(hexDigit(digits.at(i)) << 4 | hexDigit(digits.at(i + 1))));
    return true;
}

bool parseBytes(const QList<Token> &tokens, QByteArray *bytes, QString *error)
{
    for (const Token &token : tokens) {
        if (!appendBytes(token, bytes, error))
            return false;
    }
    return true;
}

bool parseSeconds(const QString &text, double *seconds)
{
    // toDouble would also take "nan", "inf" and exponents; times are plain decimals.
    for (const QChar c : text) {
        if (!c.isDigit() && c != QLatin1Char('.'))
            return false;
    }
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value) || value < 0)
        return false;
    *seconds = value;
    return true;
}

bool parseInt(const QString &text, int *value)
{
    return qvx::parseNumber(text, value);
}

QString hexText(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex(' '));
}

} // namespace tools
