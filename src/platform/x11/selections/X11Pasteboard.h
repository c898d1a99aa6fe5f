#pragma once

#include "SelectionRules.h"
#include "platform/Pasteboard.h"

#include <atomic>
#include <chrono>
#include <memory>

namespace ovalin {

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
    void restore(PasteboardSnapshot snapshot) override;
    void readText(Selection selection, QObject* context, std::function<void(const QString&)> done) override;

private:
    class Parts;
    struct Reading;
    [[nodiscard]] bool readItems(PasteboardSnapshot& snapshot, const Reading& how);
    [[nodiscard]] std::optional<PasteboardSnapshot> readOnce(const Reading& how);

    XThread& thread;
    const PasteboardLimits limits;
    std::atomic<quint64> clipboardChanges{0};
    std::unique_ptr<Parts> parts; // made, used and destroyed on the X thread
    QObject mainThread;           // receives what readText() found
};

} // namespace ovalin
