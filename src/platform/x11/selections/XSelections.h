#pragma once

#include "SelectionChanges.h"
#include "SelectionReader.h"
#include "SelectionServer.h"
#include "platform/Pasteboard.h"
#include "platform/x11/input/ActivityClock.h"
#include "platform/x11/windows/WindowReader.h"

#include <QByteArrayList>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace ovalin {

/// CLIPBOARD and PRIMARY as the X thread sees them: who owns them since when, what they hold, and what we serve in
/// their place. Made, used and destroyed on the X thread.
class XSelections {
public:
    using Selection = Pasteboard::Selection;
    using Freshness = Pasteboard::Freshness;
    using TextDone = std::function<void(std::optional<QString>)>;

    XSelections(XThread& xThread, const ActivityClock& activity, std::atomic<quint64>& clipboardChanges);

    xcb_atom_t atom(Selection selection) const { return selection == Selection::Primary ? primary : clipboard; }
    void readText(xcb_atom_t selection, Deadline deadline, TextDone done) { readText(selection, deadline, 0, done); }
    /// Of CLIPBOARD, or of the copy that was caught there.
    void readClipboard(Deadline deadline, TextDone done);
    /// A copy that an application has been asked for, see Pasteboard::catchCopy().
    struct Catch {
        PasteboardSnapshot before;
        qint32 pid = 0;
        std::chrono::milliseconds patience{}; ///< with its answer
        int asked = 0;                        ///< questions under way
        bool came = false;
        std::optional<Deadline> overdue{}; ///< nobody waits for it any more; not looked for after that
        std::optional<quint32> pressed{};  ///< the user's last press before
        std::optional<QString> text{};
        TextDone waiting{};
    };
    void catchCopy(Catch copy);
    /// Whether one came, and what was there before is there again. One that has not come yet is put away when it does.
    bool endCatch();
    void forgetCatch() { expected.reset(); }
    [[nodiscard]] xcb_window_t ownerOf(xcb_atom_t selection);
    [[nodiscard]] xcb_window_t primaryOwnerIn(qint32 pid);
    void readPrimary(xcb_window_t owner, Freshness freshness, Deadline deadline, TextDone done);
    void readTargets(xcb_atom_t selection, Deadline deadline, std::function<void(std::optional<QByteArrayList>)> done);

    XThread& thread;
    const ActivityClock& clock;
    const WindowReader windows;
    const xcb_atom_t clipboard;
    const xcb_atom_t primary = XCB_ATOM_PRIMARY;
    SelectionReader reader;
    SelectionServer server;
    SelectionServer primaryServer;
    std::array<std::optional<Deadline>, 2> lastRead; // by the reader of the loan of each Selection

    [[nodiscard]] quint64 changesOf(Selection selection, const std::atomic<quint64>& ofClipboard) const {
        return selection == Selection::Primary ? primaryState.changes : ofClipboard.load();
    }
    SelectionServer& serverOf(Selection selection) { return selection == Selection::Primary ? primaryServer : server; }
    std::optional<Deadline>& lastReadOf(Selection selection) { return lastRead.at(static_cast<size_t>(selection)); }
    bool borrow(Selection selection, const QString& text, qint32 reader);

private:
    struct PrimaryState {
        quint64 changes = 0;
        xcb_window_t owner = XCB_WINDOW_NONE;
        std::optional<quint32> since; // of that owner; none when it was set before our start
    };

    void changed(const SelectionChanges::Change& change);
    void takeCopy(xcb_window_t owner);
    void readText(xcb_atom_t selection, Deadline deadline, qsizetype attempt, const TextDone& done);
    void readPrimaryTime(Deadline deadline, std::function<void(std::optional<quint32>)> done);
    [[nodiscard]] ActivityClock::Reading inTerminal(xcb_window_t owner);

    PrimaryState primaryState;
    std::shared_ptr<Catch> expected;
    std::atomic<quint64>& clipboardChanges;
    SelectionChanges changes;
};

} // namespace ovalin
