#pragma once

// Numbers as a user types them, in options, environment variables, commands and scenario
// lines: decimal, or hexadecimal after 0x. Leading zeros are decimal (060 is sixty, not octal
// forty-eight): car-model ids are written that way.

#include <QString>

namespace qvx {

inline bool parseNumber(const QString &text, int *value)
{
    const bool hex = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    const QString digits = hex ? text.mid(2) : text;
    const int first = !hex && digits.startsWith(QLatin1Char('-')) ? 1 : 0;
    if (digits.size() <= first)
        return false;
    for (int i = first; i < digits.size(); ++i) {
        const char16_t c = digits.at(i).unicode();
        const bool digit = c >= '0' && c <= '9';
        const bool hexLetter = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!digit && !(hex && hexLetter))
            return false;
    }
    bool ok = false;
    const int v = digits.toInt(&ok, hex ? 16 : 10);
    if (ok)
        *value = v;
    return ok;
}

// "<what>: '<text>' is not a number (decimal or 0x-hex)"
inline QString numberError(const QString &what, const QString &text)
{
    return QStringLiteral("%1: '%2' is not a number (decimal or 0x-hex)").arg(what, text);
}

} // namespace qvx
