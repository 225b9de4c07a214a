// Steering-wheel and panel keys with long-press detection.
#include "simpleservice.h"

#include "frame.h"
#include "log.h"

namespace canservice {

namespace {
constexpr int SwcLength = 10;
constexpr int PanelLength = 2;
constexpr int LongPressMs = 1500;

enum KeyAction { Release = 0, Press = 1 };
enum KeyState { Pressed = 0, ShortReleased = 1, LongPressed = 2, LongReleased = 3 };
} // namespace

void SimpleService::doSwc(int, QByteArray &data)
{
    if (data.size() != SwcLength) {
        QVX_ERR;
        return;
    }
    const int code = frame::u8(data, 2);
    const int action = frame::u8(data, 3);
    QVX_DBG << code << action << mKeyPressed;
    handleKey(code, action, true);
}

void SimpleService::doPanelKey(int, QByteArray &data)
{
    if (data.size() != PanelLength) {
        QVX_ERR;
        return;
    }
    handleKey(frame::u8(data, 0), frame::u8(data, 1), false);
}

// No command reaches this decoder.
void SimpleService::doKeyEvent(int, QByteArray &) {}

// A press while a key is held is dropped whole; a release from either source ends the held
// key and reports its code and source, not the release frame's.
void SimpleService::handleKey(int code, int action, bool fromSwc)
{
    if (action == Press && !mKeyPressed) {
        mKeyFromSwc = fromSwc;
        mKeyCode = code;
        mKeyPressed = true;
        mLongPressTimer.start(LongPressMs);
        emit keyEvent(mKeyCode, Pressed, mKeyFromSwc);
    } else if (action == Release && mKeyPressed) {
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
