// Audio-source status to the adapter.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

void SimpleService::onRadioSourceInformation(QString, QStringList, int) {}

void SimpleService::sendNaviStatus(QString, QStringList, int) {}

} // namespace canservice
