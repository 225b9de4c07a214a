#pragma once

// Drives one service, created through the plugin entry, from one fuzz input and checks
// what it does against a plain framing of its own, on purpose: never the protocol module, so
// that a mistake there cannot agree with itself here.
//
// Input layout:
//   bytes 0-1   n, big-endian: the number of control bytes that follow
//   n bytes     control operations, read in order (see receivedriver.cpp)
//   the rest    the adapter's byte stream; the operations cut it into chunks, and
//               whatever they leave unfed goes in as one last chunk
// So a raw capture prefixed with two zero bytes is a valid input.

#include <QByteArray>
#include <QStringList>

class QPluginLoader;

namespace fuzzdriver {

// Runs one input against a fresh service and deletes it again. Returns the problems
// found, each as one line; an empty list means the service behaved. The thread's event
// dispatcher must be a VirtualClock (virtualclock.h): time passes when the input says so.
QStringList run(QPluginLoader &plugin, const QByteArray &input);

// An input that feeds `stream` in one chunk and does nothing else.
QByteArray plainInput(const QByteArray &stream);

} // namespace fuzzdriver
