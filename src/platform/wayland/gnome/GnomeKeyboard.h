#pragma once

#include "GnomeFront.h"
#include "GnomePasteboard.h"

#include "platform/Keyboard.h"
#include "platform/atspi/AtSpiAccessibility.h"

#include <mutex>

namespace ovalin {

/// The keys of a paste, by a session with the shell. Nobody tells there where keys go, so they are sent only when the
/// tree shows, a moment before, that they go where they were meant to go.
class GnomeKeyboard final : public Keyboard {
public:
    GnomeKeyboard(GnomeFront& front, GnomePasteboard& pasteboard, AtSpiAccessibility& accessibility,
                  Dispatch& dispatch);

    /// Never: the sign of a session would be seen at every opening.
    [[nodiscard]] bool trusted() const override { return false; }
    [[nodiscard]] Sent sendCopy(qint32, FocusKind) override { return Sent::NotAllowed; }
    [[nodiscard]] PasteWay pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) override;
    [[nodiscard]] bool bringToFront(const AppWindow& target) override;
    [[nodiscard]] Sent sendPaste(const AppWindow& target, const PasteWay& way) override;

private:
    GnomeFront& front;
    GnomePasteboard& pasteboard;
    AtSpiAccessibility& accessibility;
    Dispatch& dispatch;
    std::mutex mutex; // of what follows
    AppWindow meant;
    AtSpiAccessibility::Spot before; // there, when the way was asked for
};

} // namespace ovalin
