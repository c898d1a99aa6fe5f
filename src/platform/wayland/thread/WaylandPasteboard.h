#pragma once

#include "DataControl.h"
#include "base/Dispatch.h"
#include "platform/Pasteboard.h"
#include "platform/selections/SelectionRules.h"

#include <QObject>

#include <atomic>
#include <memory>

namespace ovalin {

/// The selections over a WaylandThread. Nobody tells who reads and who owns one: PRIMARY is taken for that of the
/// window that was in front when it was set, and every read since the paste's keys for the target's. Made and destroyed
/// on the main thread; the thread, the book and the dispatch outlive it, and no worker may be in a call of it when it
/// goes.
class WaylandPasteboard final : public Pasteboard {
public:
    WaylandPasteboard(WaylandThread& thread, const WindowBook& book, Dispatch& dispatch);
    ~WaylandPasteboard() override;

    /// The compositor lets us read and own selections.
    [[nodiscard]] bool available();

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

    /// The keys of a paste go out now: who read before them was not the target. Any thread.
    void pasteKeysSent() { keysSent = std::chrono::steady_clock::now(); }

    /// Somebody has set PRIMARY, or given it up. Called on the WaylandThread; set before anything is asked.
    std::function<void()> primaryChanged;

private:
    struct Reading {
        Selection selection;
        Deadline deadline;
        qsizetype bytes;
        bool partly; // what cannot be had may be missing
    };
    [[nodiscard]] std::optional<DataControl::Shown> shown(Selection selection, Deadline deadline);
    [[nodiscard]] std::optional<QByteArray> read(Selection selection, const QByteArray& type, Deadline deadline,
                                                 qsizetype most);
    [[nodiscard]] std::optional<QString> readText(Selection selection, const QByteArrayList& types, Deadline deadline);
    [[nodiscard]] std::optional<PasteboardSnapshot> readAll(const Reading& how);
    bool readItems(PasteboardSnapshot& snapshot, const QByteArrayList& offered, const Reading& how);

    WaylandThread& thread;
    const WindowBook& book;
    Dispatch& dispatch;
    std::atomic<quint64> clipboardChanges{0};
    std::atomic<Deadline> keysSent{};
    std::unique_ptr<DataControl> control; // made, used and destroyed on the WaylandThread
};

} // namespace ovalin
