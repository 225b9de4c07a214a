#pragma once
// What the text-format fuzz targets share: a bad file gets "<file>:<line>: <message>" for a
// line it has, and nothing else.
#include <QRegularExpression>
#include <QString>

#include <cstdio>
#include <cstdlib>

namespace fuzzformats {

// Lets the gate in scripts/ prove that a failing target fails the run.
inline void selfTest(const char *target)
{
    if (qEnvironmentVariableIsSet("QVX_FUZZ_SELFTEST")) {
        fprintf(stderr, "%s: crashing on purpose (QVX_FUZZ_SELFTEST)\n", target);
        abort();
    }
}

inline QString text(const uint8_t *data, size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data),
                             int(qMin(size, size_t(1) << 20)));
}

inline void checkError(const char *target, const QString &text, const QString &error)
{
    static const QRegularExpression shape(QStringLiteral("^input:([0-9]+): \\S.*$"));
    const QRegularExpressionMatch m = shape.match(error);
    const int lines = text.count(QLatin1Char('\n')) + 1;
    if (!m.hasMatch() || m.captured(1).toInt() < 1 || m.captured(1).toInt() > lines ||
        error.contains(QLatin1Char('\n'))) {
        fprintf(stderr, "==%s== ORACLE FAILURE\n  bad error text: %s\n", target, qPrintable(error));
        abort();
    }
}

} // namespace fuzzformats
