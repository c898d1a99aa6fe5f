#pragma once

#include "fakes/FakeDesktop.h"
#include "support/TestDesk.h"
#include "transform/PasteOver.h"

#include "platform/x11/XThread.h"
#include "platform/x11/desktop/X11Desktop.h"
#include "platform/x11/selections/SelectionServer.h"
#include "platform/x11/selections/X11Pasteboard.h"

#include <ostream>

namespace ovalin {

/// An application with text in it that a test can read back.
class Target {
public:
    enum class Kind { Gtk, Qt, Chromium, Terminal };

    /// Opens it with this text, all of it selected (a terminal: a prompt to type at).
    Target(Kind kind, const QString& text);
    ~Target();
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    /// The text in it now, as it saves or shows it itself.
    [[nodiscard]] QString text() const;
    /// Selects everything, over and over until the application, which may just be starting, says so.
    void selectAll() const;
    void press(const QString& key) const;
    void signal(int number) const { ::kill(-static_cast<pid_t>(process->processId()), number); }
    [[nodiscard]] AppWindow place() const;

    QString window;

private:
    const Kind kind;
    const QString initial;
    const QString file;
    QProcess* process;
};

/// Another program's clipboard: its content, what is on it now, and a hand that copies something.
class OtherProgram {
public:
    OtherProgram();
    ~OtherProgram();

    void own(SelectionContent content);
    void ownNothing();
    /// The selection as another program reads it.
    [[nodiscard]] PasteboardSnapshot seen(Pasteboard::Selection selection = Pasteboard::Selection::Clipboard);
    [[nodiscard]] QString seenText() { return reader.text().value_or(QString()); }

private:
    XThread thread, readerThread; // a program serves a selection once
    ActivityClock clock;
    X11Pasteboard reader{
        readerThread,
        clock,
        {std::chrono::seconds(9), {}, {}, {std::chrono::seconds(9), 1 << 26}, std::chrono::seconds(9)}};
    std::unique_ptr<SelectionServer> server;
};

/// Text, web text, a picture in two formats and a type of some application's own.
[[nodiscard]] SelectionContent richContent();

} // namespace ovalin
