#pragma once

// Input that goes to other applications, how it hangs together:
//
//   RawInput         X thread: the events as they pass by; KeyState tells what their keys mean
//    ├ ActivityClock   when a press may have changed a selection; any thread reads it
//    └ InputReceivers  main thread: who is told of what; X11Monitors is its face to the rooms
//   SyntheticKeys, OwnPresses   what of it is ours and not the user's

#include "InputReceivers.h"
#include "KeyState.h"
#include "SyntheticKeys.h"
#include "platform/x11/XThread.h"
#include "platform/x11/windows/WindowReader.h"

#include <QPoint>

#include <optional>
#include <vector>

#include <xcb/xinput.h>

namespace ovalin {

/// Raw key and button events of all applications (XInput 2.2), as they pass by. Used on the X thread.
class RawInput {
public:
    RawInput(XThread& xThread, ActivityClock& activity, const SyntheticKeys& syntheticKeys, InputReceivers& tell)
        : thread(xThread)
        , clock(activity)
        , synthetic(syntheticKeys)
        , receivers(tell) {}

    void start();
    void stop();
    /// Off: keys are not even asked for.
    void selectKeys(bool on);

    std::function<bool(quint8 key, quint8 modifiers)> isHotkey;

private:
    [[nodiscard]] bool negotiate();
    void on(quint16 type, void (RawInput::*react)(const xcb_input_raw_button_press_event_t&));
    void select(quint32 mask);
    void followKeyMap();
    void readKeyMap();
    void followActiveWindow();
    void activeWindowIs(quint32 window, quint32 time);
    void resetKeys();
    [[nodiscard]] bool keysSeen() const { return keysSelected && !receivers.keyboardOurs; }
    [[nodiscard]] std::pair<QPoint, quint32> placeOfPointer();

    void keyPressed(const xcb_input_raw_button_press_event_t& event);
    void keyReleased(const xcb_input_raw_button_press_event_t& event);
    void buttonPressed(const xcb_input_raw_button_press_event_t& event);
    void buttonReleased(const xcb_input_raw_button_press_event_t& event);

    XThread& thread;
    ActivityClock& clock;
    const SyntheticKeys& synthetic;
    InputReceivers& receivers;
    quint8 opcode = 0; // of the extension; 0: no XInput 2.2
    std::vector<quint64> handlers;
    KeyState keys;
    bool keysSelected = false;
    bool keyMapStale = true;
    std::optional<WindowReader> windows;
    quint32 activeWindow = 0; // the window manager's; 0: not known
    quint32 workedIn = 0;     // the last that was known
};

} // namespace ovalin
