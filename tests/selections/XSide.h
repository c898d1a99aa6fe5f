#pragma once

#include "platform/x11/XThread.h"
#include "platform/x11/input/ActivityClock.h"
#include "platform/x11/input/SyntheticKeys.h"
#include "platform/x11/input/X11Monitors.h"
#include "platform/x11/selections/X11Pasteboard.h"
#include "support/TestDesk.h"

namespace ovalin {

/// A program of the desk that ends with its scope.
struct Program {
    Program(const QString& program, const QStringList& arguments)
        : process(desk().start(program, arguments)) {}
    ~Program() { desk().end(process); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    [[nodiscard]] qint32 pid() const { return static_cast<qint32>(process.processId()); }
    void signal(int number) const { ::kill(static_cast<pid_t>(pid()), number); }

    QProcess& process;
};

/// The X side as the program ties it together.
struct XSide {
    explicit XSide(const QByteArray& display = {}, const PasteboardLimits& limits = {})
        : thread(display)
        , pasteboard(thread, clock, limits) {}
    XThread thread;
    ActivityClock clock;
    SyntheticKeys synthetic;
    X11Monitors monitors{thread, clock, synthetic};
    X11Pasteboard pasteboard;
};

/// Lets the X thread handle all that the server has sent so far.
inline void settle(XThread& thread) {
    const Deadline deadline = deadlineIn(std::chrono::seconds(10));
    // The first call fetches the events, the second comes after they were handled.
    (void)thread.call(deadline, [&thread] {
        xcb_connection_t* c = thread.connection().get();
        return XReply<xcb_get_input_focus_reply_t>(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr)) !=
               nullptr;
    });
    (void)thread.call(deadline, [] { return true; });
}

} // namespace ovalin
