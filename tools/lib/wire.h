#pragma once

// The adapter's frames as the bench tools see them: command names in both directions,
// one-line descriptions for printing, and a byte-stream reader that never gives up.

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace tools {

// Commands the adapter sends, by the short names the scenario format uses.
QString adapterCommandName(int cmd);           // empty when unknown
int adapterCommandByName(const QString &name); // -1 when unknown
QStringList adapterCommandNames();

// Commands the head unit sends.
QString hostCommandName(int cmd);
int hostCommandByName(const QString &name);
QStringList hostCommandNames();

// "climate (0x31)" or "0x55".
QString adapterCommandLabel(int cmd);

// A head-unit frame in words: ACK/NAK with the command, car select with the model, request,
// climate command, source status with code and text.
QString describeHostFrame(int cmd, const QByteArray &data);

// An adapter frame: its name and data bytes.
QString describeAdapterFrame(int cmd, const QByteArray &data);

} // namespace tools
