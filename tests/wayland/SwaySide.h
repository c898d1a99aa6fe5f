#pragma once

#include "platform/wayland/desktop/Compositor.h"
#include "platform/wayland/desktop/ShotTaker.h"
#include "platform/wayland/desktop/WaylandKeyboard.h"
#include "platform/wayland/sway/SwayHotKeys.h"
#include "platform/wayland/thread/WaylandPasteboard.h"
#include "support/TestDesk.h"
#include "support/WaylandHands.h"

namespace ovalin {

inline WaylandHands& hands() {
    static WaylandHands theHands(desk().path(u"run"_s), desk().environment.value(u"WAYLAND_DISPLAY"_s));
    return theHands;
}

/// Wayland's services on the sway of this test program.
struct SwaySide {
    explicit SwaySide(const QByteArray& socket = qgetenv("SWAYSOCK"))
        : compositor(socket) {}

    QtDispatch dispatch;
    Compositor compositor;
    WaylandPasteboard pasteboard{compositor.thread(), compositor.book(), dispatch};
    bool lent = false;
    WaylandKeyboard keyboard{
        compositor, dispatch, {[this](bool now) { lent = now; }, [this] { pasteboard.pasteKeysSent(); }}};

    [[nodiscard]] WaylandWindow front() const { return compositor.book().front().value_or(WaylandWindow{}); }
    bool waitForFront(qint64 pid) {
        return waitUntil([&] { return front().pid == pid && compositor.book().applicationHasKeyboard(); });
    }
    [[nodiscard]] AppWindow target() const { return {front().pid, WindowId{front().id}}; }
};

/// A program of the desk; ended with the scope, when the window before it has the keyboard again.
class Running {
public:
    Running(SwaySide& side, const QString& program, const QStringList& arguments, bool onX = false) {
        auto& environment = desk().environment;
        environment.insert(u"GDK_BACKEND"_s, onX ? u"x11"_s : u"wayland"_s);
        process = &desk().start(program, arguments);
        if (!side.waitForFront(process->processId()))
            ADD_FAILURE() << program.toStdString() << " did not come to the front";
    }
    ~Running() { desk().end(*process); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    [[nodiscard]] qint32 pid() const { return static_cast<qint32>(process->processId()); }

private:
    QProcess* process = nullptr;
};

/// A text editor (GTK 3) with a document of its own.
class Editor : public Running {
public:
    Editor(SwaySide& side, const QByteArray& text, bool onX = false)
        : Running(side, u"mousepad"_s, {u"--disable-server"_s, document(text)}, onX) {}

    /// Selects all of it; it may be in front before it listens.
    static void selectAll(const QString& text) {
        EXPECT_TRUE(waitUntil([&] {
            hands().press(u"ctrl+a"_s);
            return desk().output(u"wl-paste"_s, {u"-n"_s, u"-p"_s}) == text;
        }));
    }
    /// What it holds, once it has saved it.
    static QByteArray saved(const QByteArray& unlike) {
        hands().press(u"ctrl+s"_s);
        waitUntil([&] { return readFile(path()) != unlike; }, 3);
        return readFile(path());
    }

private:
    static QString path() { return desk().path(u"document.txt"_s); }
    static QString document(const QByteArray& text) {
        writeFile(path(), text);
        return path();
    }
};

} // namespace ovalin
