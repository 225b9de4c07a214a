#pragma once

#include <QObject>

#include <functional>

namespace tools {

// Calls `quit` on the event loop when SIGINT or SIGTERM arrives.
void onQuitSignals(QObject *context, std::function<void()> quit);

} // namespace tools
