#pragma once

#include "platform/Pasteboard.h"

namespace ovalin {

/// For a panel that is measured without a desktop.
struct NoPasteboard final : Pasteboard {
    std::optional<QString> primaryText(qint32, Freshness) override { return {}; }
    quint64 changeCount() override { return 0; }
    std::optional<PasteboardSnapshot> snapshot() override { return {}; }
    std::optional<QString> text() override { return {}; }
    PasteboardSnapshot save(Selection) override { return {}; }
    bool borrow(Selection, const QString&, qint32) override { return false; }
    Loan loan(Selection) override { return {}; }
    bool giveBack(Selection, PasteboardSnapshot, GiveBack) override { return false; }
    void restore(PasteboardSnapshot) override {}
    void readText(Selection, QObject*, std::function<void(const QString&)>) override {}
};

} // namespace ovalin
