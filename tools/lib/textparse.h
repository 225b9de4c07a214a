#pragma once

// Word and byte parsing shared by the scenario format, the capture format and the
// canhost commands.

#include <QByteArray>
#include <QList>
#include <QString>

namespace tools {

struct ParseError
{
    int line = 0;
    QString message;
    // "<file>:<line>: <message>"
    QString toString(const QString &file) const;
};


struct Token
{
    QString text;
    bool quoted = false;
};

// Splits a line into words. "..." keeps spaces (with \" and \\ escapes); an unquoted #
// starts a comment. False with a message for an unterminated quote.
bool tokenize(const QString &line, QList<Token> *tokens, QString *error);

// Appends the bytes one word stands for: hexadecimal digits in pairs (5a, 0x5a, 5aa5ff;
// one digit is one byte) or, for a quoted word, its UTF-8 text.
bool appendBytes(const Token &token, QByteArray *bytes, QString *error);

// A whole list of byte words.
bool parseBytes(const QList<Token> &tokens, QByteArray *bytes, QString *error);

// A decimal number of seconds, finite and at least 0.
bool parseSeconds(const QString &text, double *seconds);

// An integer in decimal, or hexadecimal after 0x (a leading 0 is not octal).
bool parseInt(const QString &text, int *value);

// Bytes as lower-case hexadecimal pairs separated by spaces.
QString hexText(const QByteArray &bytes);

} // namespace tools
