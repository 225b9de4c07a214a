#pragma once

// The one diagnostic line format of the plugin:
//   [DBG] <thread id> <function signature> <line> -- <message items>
// written through QMessageLogger with the source file "simpleservice.cpp".
//
// Usage: QVX_DBG << "start heartBeat";   QVX_ERR;   (a critical line may carry no message)
//
// Qt drops a debug line of the default category when the host has disabled it
// (QLoggingCategory rules) before any handler sees it, so the line is not even
// built then: what every handler sees stays exactly the same.

#include <QDebug>
#include <QLoggingCategory>
#include <QMessageLogger>

namespace util {
long threadId();
} // namespace util

#define QVX_LOG_LINE(level, tag)                                                                   \
    QMessageLogger("simpleservice.cpp", __LINE__, Q_FUNC_INFO).level()                             \
        << tag << util::threadId() << Q_FUNC_INFO << __LINE__ << "--"

#define QVX_DBG                                                                                    \
    if (!QLoggingCategory::defaultCategory()->isDebugEnabled()) {                                  \
    } else                                                                                         \
        QVX_LOG_LINE(debug, "[DBG]")

#define QVX_ERR                                                                                    \
    if (!QLoggingCategory::defaultCategory()->isCriticalEnabled()) {                               \
    } else                                                                                         \
        QVX_LOG_LINE(critical, "[ERR]")
