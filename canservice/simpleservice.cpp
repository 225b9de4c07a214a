// Service object and lifecycle.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"
#include "recordlayout.h" // the records as the host lays them out, or no plugin

namespace canservice {

SimpleService::SimpleService()
    : mBatteryVoltageUnit(Translator::translate(339)), mDoorStatus(0), mParseCmd(0), mParseLen(0),
      mParseSum(0), mKeyCode(0),
      mTireAlertType(0), mTireStatus{0, 0, 0, 0}, mTirePressure{0.0f, 0.0f, 0.0f, 0.0f}, mRotate(0),
      mCoolantTemp(0), mOtherInfoValue(0), mBatteryVoltage(-2.0f), mBatteryAlertType(0),
      mFuelStatus(0), mKeyFromSwc(false), mKeyPressed(false)
{
    mParseState = 0;
    // Coarse timers may fire 5 % early: 1.5 s off a 30 s watchdog is too much.
    for (QTimer *timer : {&mParseOutTimer, &mHeartBeatTimer, &mLongPressTimer})
        timer->setTimerType(Qt::PreciseTimer);
    mSerialPort.open(QString(), 38400);
    connect(&mSerialPort, &SerialPort::read, this, &SimpleService::onDataReady);
    mLongPressTimer.setSingleShot(true);
    connect(&mLongPressTimer, &QTimer::timeout, this, &SimpleService::onLongPressTimeout);
    mHeartBeatTimer.setSingleShot(true);
    connect(&mHeartBeatTimer, &QTimer::timeout, this, &SimpleService::onHeartBeatTimeout);
    mParseOutTimer.setInterval(protocol::ParseOutMs);
    mParseOutTimer.setSingleShot(true);
    connect(&mParseOutTimer, &QTimer::timeout, this, &SimpleService::onmParseOutTmrout);
    mDoorStatus = 0;
    // The adapter has not reported yet: every climate query answers 0 until it does.
    mClimateData.fill(0, 12);
    initData();
}

// The port's own destructor closes the device; the service does not stop itself.
SimpleService::~SimpleService() = default;

void SimpleService::initData()
{
    mRadarData.append(QByteArray(19, char(protocol::radar::NoReading)));
}

void SimpleService::start()
{
    QVX_DBG << "Start Quorvex_LSN305";
    const int index = CanBusManager::instance()->getQvxCarModelIndex();
    QVX_DBG << index << (index & 0xFF);
    sendCarSelect(index & 0xFF, protocol::carselect::SecondValue);
}

void SimpleService::stop()
{
    mHeartBeatTimer.stop();
    disconnect(&mSerialPort, &SerialPort::read, this, &SimpleService::onDataReady);
    mSerialPort.close();
}

int SimpleService::request(int a, int b)
{
    sendRequest(a & 0xFF, b & 0xFF);
    return 0;
}

} // namespace canservice
