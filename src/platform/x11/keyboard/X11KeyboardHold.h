#pragma once

#include "KeyboardGrab.h"
#include "base/Dispatch.h"
#include "platform/Keyboard.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <bitset>

namespace ovalin {

/// The hold as an active grab (XGrabKeyboard) on Qt's connection: the input focus, the active window and the selections
/// of the other application stay as they are, and Qt takes the grab's FocusIn for the focus. Main thread.
class X11KeyboardHold final : public KeyboardHold, public QAbstractNativeEventFilter {
public:
    explicit X11KeyboardHold(Dispatch& dispatch);
    ~X11KeyboardHold() override;

    void take(QWindow& window) override;
    void letGo() override;
    [[nodiscard]] bool held() const override;
    [[nodiscard]] bool waiting() const override { return attempting; }

    /// A button went down outside our windows: lets go, since a screen locker may be what the user started.
    void pressOutside();

    /// Takes the keyboard again if it is still wanted; silent when it cannot be had. Called by itself after a Qt popup,
    /// which ungrabs when it closes, and after a synthetic copy that could not close its gap.
    void retake();

    /// The keyboard comes to us (true) or went (false), for monitors that must not see what is typed here.
    std::function<void(bool held)> heldChanged;

    /// Shared with X11Keyboard.
    [[nodiscard]] KeyboardGrab& sharedGrab() { return grab; }
    [[nodiscard]] Dispatch& clock() { return dispatch; }
    [[nodiscard]] QObject* receiver() { return &context; }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    enum class Refusal { Tell, Silent };

    void begin(Refusal refusal);
    void attempt(quint64 series, Refusal refusal);
    void endHeldKeys();
    void watchScreenSaver();
    void screenSaver(bool on);
    void lend();
    void watchForCovers();
    void windowMapped(quint32 window);
    void stayAbove();
    void takeFocus(quint32 window);
    void giveFocusBack();
    void restartIdleClock();
    void letGoAfter(double seconds);
    void setTold(bool ours);

    Dispatch& dispatch;
    KeyboardGrab grab;
    quint32 wanted = 0;
    quint32 lent = 0;  // the window that is to have the keyboard again when screen saver or cover end
    quint32 cover = 0; // a window of another program, over all of ours
    bool watching = false;
    quint8 saverEvent = 0;
    quint32 focusTakenBy = 0; // our window, where the grab could not be had
    quint32 focusBefore = 0;
    quint64 currentSeries = 0;             // of attempts; an older one stops by itself
    double triedSince = 0, triedUntil = 0; // the series of attempts under way
    std::bitset<256> pressedKeys;          // while we held the keyboard; some are up again
    double lastKey = 0;
    bool idleTimerRuns = false;
    bool attempting = false;
    bool retakePending = false;
    bool told = false;
    QObject context;
};

} // namespace ovalin
