#pragma once

#include "base/Dispatch.h"
#include "platform/Desktop.h"

#include <chrono>
#include <optional>

namespace ovalin {

/// What is to be done about the clipboard, some time after the paste key was sent.
enum class ClipboardStep {
    Wait,
    Restore,   ///< the target has the text: the user's content goes back
    LeaveText, ///< it never asked for it and may still do: the text stays
    LeaveNewer ///< somebody has put something else there meanwhile
};

/// The decision, `sinceKey` after the key; `readAgo`: since the target last asked for the text. Not before the target
/// had a moment to ask for other formats as well, and not before 450 ms; after 3 s nothing is waited for any more.
/// Pure.
[[nodiscard]] ClipboardStep clipboardStep(std::chrono::milliseconds sinceKey,
                                          std::optional<std::chrono::milliseconds> readAgo, bool stillOurs);

/// How a paste ended.
enum class PasteEnd {
    Pasted,        ///< and the clipboard is what it was, or newer
    ClipboardLost, ///< pasted; what was on the clipboard could not be read before, not all of it at least
    Unconfirmed,   ///< the key was sent, but the target did not ask for the text: it stays on the clipboard
    Unreachable,   ///< no key was sent anywhere: the text is on the clipboard
    NoClipboard,   ///< no key was sent, and not even that
};

/// Puts a text over the selection of another application, or at its cursor, the way a user would: by its paste key, and
/// with the clipboard as it was afterwards. Main thread.
class PasteOver final : public QObject {
public:
    PasteOver(const Desktop& theDesktop, Dispatch& theDispatch)
        : desktop(theDesktop)
        , dispatch(theDispatch) {}

    /// Returns at once; the text is there some milliseconds later, the clipboard's content half a second after that.
    /// Whatever goes wrong is said by a notification. The panel must not be in the way any more.
    void pasteOverSelection(const QString& text, const Keyboard::PasteTarget& target);

    /// Puts the text on the clipboard, for good, where it cannot be pasted: the notification says `why`.
    void leaveOnClipboard(const QString& text, const QString& why);

private:
    void ended(PasteEnd end);

    const Desktop desktop;
    Dispatch& dispatch;
};

} // namespace ovalin
