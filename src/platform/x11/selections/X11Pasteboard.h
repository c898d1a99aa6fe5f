#pragma once

// The selections, how they hang together:
//
//   X11Pasteboard       asked on the main thread and on workers, which wait with a deadline; asks the X thread:
//   XSelections         the X thread's side: whose CLIPBOARD and PRIMARY are, since when, what is in them, our loans
//    ├ SelectionChanges   learns of every new owner (XFixes)
//    ├ SelectionReader    asks an owner (ICCCM 2.4, INCR), any number of questions at a time
//    └ SelectionServer    owns one and answers who asks (ICCCM 2.2), to one reader only where that is wanted
//   SelectionSnapshot   all that a selection holds, target by target, for putting it back later
//   SelectionRules      what needs no server: which targets to take, what is text, is PRIMARY fresh, may be restored
//   X11PrimaryGuard     keeps Qt from taking PRIMARY for our own fields
//
// Nothing waits on the X thread: an owner that never answers costs its question the deadline, and nobody else anything.

#include "platform/selections/SelectionRules.h"
#include "platform/x11/input/ActivityClock.h"
#include "platform/Pasteboard.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace ovalin {

class XSelections;
class XThread;

struct PasteboardLimits {
    std::chrono::milliseconds text{150};
    std::chrono::milliseconds fieldText{500}; ///< of readText()
    SnapshotBudget snapshot;
    SnapshotBudget save{std::chrono::seconds(1), 64 * 1024 * 1024};
    std::chrono::milliseconds saveTargets{300}; ///< an owner that has not said by then what it has will not give it
};

/// The selections over an XThread. Made and destroyed on the main thread; the thread and the clock outlive it, and no
/// worker may be in a call of it when it goes.
class X11Pasteboard final : public Pasteboard {
public:
    X11Pasteboard(XThread& thread, const ActivityClock& clock, const PasteboardLimits& limits = {});
    ~X11Pasteboard() override;

    [[nodiscard]] std::optional<QString> primaryText(qint32 pid, Freshness freshness) override;
    [[nodiscard]] quint64 changeCount() override { return clipboardChanges.load(); }
    [[nodiscard]] std::optional<PasteboardSnapshot> snapshot() override;
    [[nodiscard]] PasteboardSnapshot save(Selection selection) override;
    [[nodiscard]] bool borrow(Selection selection, const QString& text, qint32 reader) override;
    [[nodiscard]] Loan loan(Selection selection) override;
    bool giveBack(Selection selection, PasteboardSnapshot saved, GiveBack when) override;
    [[nodiscard]] std::optional<QString> text() override;
    void catchCopy(std::optional<PasteboardSnapshot> before, qint32 pid) override;
    void restore(PasteboardSnapshot snapshot) override;
    void readText(Selection selection, QObject* context, std::function<void(const QString&)> done) override;

private:
    XThread& thread;
    const PasteboardLimits limits;
    std::atomic<quint64> clipboardChanges{0};
    std::unique_ptr<XSelections> parts; // made, used and destroyed on the X thread
    QObject mainThread;                 // receives what readText() found
};

} // namespace ovalin
