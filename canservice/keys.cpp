// Steering-wheel and panel keys with long-press detection.
#include "simpleservice.h"

#include "log.h"
#include "protocol.h"

namespace canservice {

namespace {
constexpr int LongPressMs = 1500;

enum KeyState { Pressed = 0, ShortReleased = 1, LongPressed = 2, LongReleased = 3 };
} // namespace

void SimpleService::doSwc(int, QByteArray &data)
{
    if (data.size() != protocol::len::Wheel) {
        QVX_ERR;
        return;
    }
    const int code = protocol::u8(data, protocol::wheel::Code);
    const int action = protocol::u8(data, protocol::wheel::Action);
    QVX_DBG << code << action << mKeyPressed;
    handleKey(code, action, true);
}

void SimpleService::doPanelKey(int, QByteArray &data)
{
    if (data.size() != protocol::len::Panel) {
        QVX_ERR;
        return;
    }
    handleKey(protocol::u8(data, protocol::panel::Code),
              protocol::u8(data, protocol::panel::Action), false);
}

// No command reaches this decoder.
void SimpleService::doKeyEvent(int, QByteArray &) {}

// A press while a key is held is dropped whole; a release from either source ends the held
// key and reports its code and source, not the release frame's.
void SimpleService::handleKey(int code, int action, bool fromSwc)
{
    if (action == protocol::key::Press && !mKeyPressed) {
        mKeyFromSwc = fromSwc;
        mKeyCode = code;
        mKeyPressed = true;
        mLongPressTimer.start(LongPressMs);
        emit keyEvent(mKeyCode, Pressed, mKeyFromSwc);
    } else if (action == protocol::key::Release && mKeyPressed) {
        const bool longPress = !mLongPressTimer.isActive();
        mLongPressTimer.stop();
        // Let go only after the host has seen the release: a slot that re-enters finds it held.
        emit keyEvent(mKeyCode, longPress ? LongReleased : ShortReleased, mKeyFromSwc);
        mKeyPressed = false;
    }
}

// The key stays held until its release frame.
void SimpleService::onLongPressTimeout()
{
    emit keyEvent(mKeyCode, LongPressed, mKeyFromSwc);
}

} // namespace canservice
