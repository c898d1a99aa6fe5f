#pragma once

#include "KeyMap.h"
#include "WindowReader.h"
#include "X11KeyboardHold.h"
#include "platform/Keyboard.h"

#include <QAbstractNativeEventFilter>

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace ovalin {

/// Synthetic keys by XTEST on Qt's connection, the one that holds the keyboard: only so do the keys fall into a gap of
/// the hold that no other key can use.
class X11Keyboard final : public Keyboard, public QAbstractNativeEventFilter {
public:
    /// `sending` is called on the worker around the keys: what monitors see meanwhile is not the user's.
    X11Keyboard(X11KeyboardHold& hold, std::function<void(bool sending)> sending);
    ~X11Keyboard() override;

    [[nodiscard]] bool trusted() const override { return xtest; }
    [[nodiscard]] Sent sendCopy(qint32 pid) override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    void letGoOfPressedAgain();
    [[nodiscard]] WindowIdentity focusedClient() const;
    void copyChord(const KeyMap& map, KeyMap::Key letter);

    X11KeyboardHold& hold;
    xcb_connection_t* const connection;
    const std::function<void(bool)> sending;
    std::optional<WindowReader> reader;
    bool xtest = false;
    std::mutex oneAtATime;

    /// Keys that XTEST's device holds since a copy although the user's finger is on another device: the server takes
    /// them for up when the finger is off, but drops the next press that some program sends by XTEST.
    std::vector<KeyMap::Key> pressedAgain;
    std::mutex pressedAgainMutex;
};

} // namespace ovalin
