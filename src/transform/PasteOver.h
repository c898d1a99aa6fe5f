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

/// A text and where it goes.
struct PasteOrder {
    QString text;
    QString app; ///< for people
    AppWindow target;
    PasteWay way;
    QString over; ///< with `way.overSelection`: what is selected there
};

/// How a paste ended.
enum class PasteEnd {
    Pasted,        ///< and the clipboard is what it was, or newer
    ClipboardLost, ///< pasted; what was on the clipboard could not be read before, not all of it at least
    Unconfirmed,   ///< the key was sent, but the target did not ask for the text: it stays on the clipboard
    Unreachable,   ///< no key was sent anywhere: the text is on the clipboard
    NotReady,      ///< the same, since the application would not have put it over what is selected, or at its cursor
    SeveralLines,  ///< the same, since a terminal would run each line
    NoClipboard,   ///< no key was sent, and not even that
};

/// Why a finished text is not pasted at all.
enum class NotPasted {
    Closed,           ///< the user had closed the panel
    OpenedAgain,      ///< and another one is open
    Elsewhere,        ///< the user works in another window, or another part of it
    SelectionChanged, ///< what is selected is not what was transformed
};

/// Puts a text over the selection of another application, or at its cursor, the way a user would: by its paste key, and
/// with the clipboard as it was afterwards. A text that cannot be put there waits on the clipboard, and a notification
/// says so and offers to put back what was there before. Main thread.
class PasteOver final : public QObject {
public:
    PasteOver(const Desktop& theDesktop, Dispatch& theDispatch)
        : desktop(theDesktop)
        , dispatch(theDispatch) {}

    /// Returns at once; the text is there some milliseconds later, the clipboard's content half a second after that.
    /// The panel must not be in the way any more.
    void pasteOverSelection(const PasteOrder& order);

    /// Puts the text on the clipboard only; `app`: where it does not go.
    void leaveOnClipboard(const QString& text, const QString& app, NotPasted why);

private:
    struct Left;
    void tell(Notification notification, const QString& text, const Left& left);
    void putBack(const QString& text, const Left& left);
    void copyAgain(const QString& text);

    const Desktop desktop;
    Dispatch& dispatch;
};

} // namespace ovalin
