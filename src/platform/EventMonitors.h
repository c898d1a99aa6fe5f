#pragma once

#include <QPoint>
#include <QtGlobal>

#include <functional>

namespace ovalin {

/// Sees mouse buttons and keys that go to other applications (XInput2 raw events); what is typed into our own windows
/// is not even asked for. Called and calling back on the main thread.
class EventMonitors {
public:
    enum class Key { Arrow, A, Other };
    struct KeyUp {
        Key key = Key::Other;
        bool shift = false;   ///< as they were when the key went down
        bool command = false; ///< Ctrl
    };
    using Handle = quint64;

    virtual ~EventMonitors() = default;

    /// A left button went up outside our own windows.
    [[nodiscard]] virtual Handle onLeftMouseUp(std::function<void()> seen) = 0;
    /// A key went up while another application had the keyboard.
    [[nodiscard]] virtual Handle onKeyUp(std::function<void(const KeyUp&)> seen) = 0;
    virtual void removeMonitor(Handle handle) = 0;
};

} // namespace ovalin
