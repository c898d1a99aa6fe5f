#pragma once

#include "platform/Accessibility.h"
#include "platform/Keyboard.h"
#include "platform/Pasteboard.h"

#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace ovalin {

/// Whether the bundle identifier belongs to the Chromium family.
[[nodiscard]] bool isChromiumFamily(const QString& bundleId);

/// Reads the selected text of an application. All reads are for worker threads, several at once; each is bounded.
class Selection {
public:
    using Sleep = std::function<void(std::chrono::milliseconds)>;

    Selection(Accessibility& accessibility, Pasteboard& pasteboard, Keyboard& keyboard, Sleep sleep = {});

    /// The selection without touching the application's state: from the accessibility tree, else the PRIMARY selection
    /// if the process owns it and it is fresher than the user's last input. Trimmed; absent when there is none.
    [[nodiscard]] std::optional<QString> axSelection(qint32 pid);

    /// The selection by a synthetic copy; the clipboard is put back as it was. At most about 0.6 s, and only while the
    /// clipboard's owner answers: what cannot be read cannot be put back.
    [[nodiscard]] std::optional<QString> clipboardGrab(qint32 pid);

private:
    Accessibility& accessibility;
    Pasteboard& pasteboard;
    Keyboard& keyboard;
    Sleep sleep;
};

} // namespace ovalin
