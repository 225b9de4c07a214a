// Steering-wheel and panel keys with long-press detection.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

void SimpleService::doSwc(int, QByteArray &) {}

void SimpleService::doPanelKey(int, QByteArray &) {}

void SimpleService::doKeyEvent(int, QByteArray &) {}

void SimpleService::onLongPressTimeout() {}

} // namespace canservice
