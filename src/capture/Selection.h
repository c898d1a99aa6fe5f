#pragma once

#include "LeftAlone.h"
#include "Subject.h"

#include "platform/Keyboard.h"
#include "platform/Pasteboard.h"

#include <QString>

#include <chrono>
#include <functional>
#include <optional>

namespace ovalin {

/// Whether the bundle identifier belongs to the Chromium family.
[[nodiscard]] bool isChromiumFamily(const QString& bundleId);

/// What is selected in an application, where, and who has said so.
struct SelectedText {
    enum class Source {
        Nobody, ///< neither the tree nor PRIMARY has answered: there may be a selection
        Tree,
        Primary,
        Copy, ///< a synthetic one
    };
    QString text; ///< trimmed
    Source source = Source::Nobody;
    FocusKind focus = FocusKind::Unknown; ///< what the keyboard focus was in
    WindowId window{};                    ///< that it is selected in
    bool leftAlone = false;               ///< nothing may be read there by now
};

/// Reads the selected text of an application. All reads are for worker threads, several at once; each is bounded.
class Selection {
public:
    using Sleep = std::function<void(std::chrono::milliseconds)>;

    Selection(Accessibility& accessibility, Pasteboard& pasteboard, Keyboard& keyboard, Sleep sleep = {},
              LeftAloneNow leftAloneNow = {});

    /// The selection without touching the application's state: from the accessibility tree, else the PRIMARY selection
    /// if the process owns it and it is fresher than the user's last input.
    [[nodiscard]] SelectedText axSelection(const Subject& subject);

    /// The selection by a synthetic copy, where that is harmless; the clipboard is put back as it was. At most about
    /// 0.6 s, and only while the clipboard's owner answers: what cannot be read cannot be put back.
    [[nodiscard]] std::optional<QString> clipboardGrab(qint32 pid, FocusKind focus);

    /// What axSelection() has found, and where nobody has answered, clipboardGrab(). What the tree has said ends the
    /// question: a synthetic copy may mean something else to the application.
    [[nodiscard]] SelectedText orGrab(SelectedText found, const Subject& subject);

    [[nodiscard]] SelectedText axSelectionOrGrab(const Subject& subject) {
        return orGrab(axSelection(subject), subject);
    }

private:
    [[nodiscard]] std::optional<QString> freshPrimary(qint32 pid);
    [[nodiscard]] SelectedText read(const Subject& subject);
    /// What was read, unless its window is left alone by now.
    [[nodiscard]] SelectedText unlessLeftAlone(const SelectedText& found) const;

    Accessibility& accessibility;
    Pasteboard& pasteboard;
    Keyboard& keyboard;
    Sleep sleep;
    const LeftAloneNow leftAloneNow;
};

} // namespace ovalin
