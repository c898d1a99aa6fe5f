#include "GnomeKeyboard.h"

#include "platform/applications/TargetRules.h"

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds BACK{600}, LOOK_AGAIN{5};

/// Whether a key would go to the same object, with the same selection.
bool isSamePlace(const AtSpiAccessibility::Spot& was, const AtSpiAccessibility::Spot& is) {
    const AccessibleSelection &before = was.selection, &now = is.selection;
    return !is.object.isNull() && is.object == was.object && now.kind == before.kind && now.text == before.text &&
           now.window == before.window;
}

} // namespace

GnomeKeyboard::GnomeKeyboard(GnomeFront& theFront, GnomePasteboard& thePasteboard, AtSpiAccessibility& theAccessibility,
                             Dispatch& theDispatch)
    : front(theFront)
    , pasteboard(thePasteboard)
    , accessibility(theAccessibility)
    , dispatch(theDispatch) {}

PasteWay GnomeKeyboard::pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) {
    PasteWay way = targetRule(targetFacts({front.nameOf(target.window)}, target.pid, focus)).paste;
    way.overSelection = overSelection;
    if (!overSelection)
        way.before = PasteWay::Before::Nothing;
    if (way.keys == PasteWay::Keys::VimServer || way.before != PasteWay::Before::Nothing) {
        way.keys = PasteWay::Keys::None;
        way.refusal = u"no key is safe in that editor: nothing was begun"_s;
    }
    if (!pasteboard.offered()) {
        way.keys = PasteWay::Keys::None;
        way.refusal = u"GNOME gives no program keys or the clipboard here: nothing was begun"_s;
    }
    const auto now = accessibility.spot(target);
    const std::lock_guard lock(mutex);
    meant = target;
    before = now;
    return way;
}

bool GnomeKeyboard::bringToFront(const AppWindow& target) {
    const Deadline deadline = deadlineIn(BACK);
    while (!front.hasKeyboard(target)) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        dispatch.sleep(LOOK_AGAIN);
    }
    return true;
}

Keyboard::Sent GnomeKeyboard::sendPaste(const AppWindow& target, const PasteWay& way) {
    if (!way.safe() || way.keys == PasteWay::Keys::VimServer)
        return Sent::NotAllowed;
    const auto now = accessibility.spot(target);
    const std::lock_guard lock(mutex);
    if (meant != target || !isSamePlace(before, now))
        return Sent::NotAllowed;
    if (!front.hasKeyboard(target))
        return Sent::NoTarget;
    return pasteboard.press(pasteChords(way)) ? Sent::Yes : Sent::NotTrusted;
}

} // namespace ovalin
