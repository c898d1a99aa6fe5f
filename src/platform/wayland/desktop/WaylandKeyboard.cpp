#include "WaylandKeyboard.h"

#include "platform/applications/TargetRules.h"

#include <linux/input-event-codes.h>

namespace ovalin {

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

constexpr milliseconds LENT{300}, BRING{600}, LOOK_AGAIN{2};
constexpr std::chrono::seconds SENT_DEADLINE{2};

TargetRule ruleFor(const WaylandWindow& window, FocusKind focus) {
    return targetRule(targetFacts({window.appId, window.instance}, window.pid, focus));
}

} // namespace

WaylandKeyboard::WaylandKeyboard(Compositor& theCompositor, Dispatch& theDispatch, Ways theWays)
    : compositor(theCompositor)
    , dispatch(theDispatch)
    , ways(std::move(theWays)) {}

bool WaylandKeyboard::trusted() const {
    return compositor.sendsKeys() && compositor.tellsFront(); // else nobody knows where the keys would go
}

bool WaylandKeyboard::hasKeyboard(const AppWindow& target) const {
    const auto front = compositor.book().front();
    if (!front || !compositor.book().applicationHasKeyboard())
        return false;
    return target.window ? front->id == target.window.number && (target.pid < 1 || front->pid == target.pid)
                         : target.pid > 0 && front->pid == target.pid;
}

bool WaylandKeyboard::waitForKeyboard(const AppWindow& target, milliseconds patience) {
    const Deadline deadline = deadlineIn(patience);
    while (!hasKeyboard(target)) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        dispatch.sleep(LOOK_AGAIN);
    }
    return true;
}

bool WaylandKeyboard::send(const std::vector<WaylandChord>& chords) {
    return compositor.thread()
        .ask<bool>(deadlineIn(SENT_DEADLINE),
                   [this, chords](auto answer) {
                       if (!compositor.send(chords, [answer] { answer(true); }))
                           answer(false);
                   })
        .value_or(false);
}

Keyboard::Sent WaylandKeyboard::sendCopy(qint32 pid, FocusKind focus) {
    if (!trusted())
        return Sent::NotTrusted;
    const std::lock_guard one(oneAtATime);
    const auto front = compositor.book().front();
    if (!front || (pid > 0 && front->pid != pid))
        return Sent::NoTarget;
    const TargetRule::Copy how = ruleFor(*front, focus).copy;
    if (how == TargetRule::Copy::None)
        return Sent::NotAllowed;
    dispatch.toMain([this, id = front->id] {
        ways.lend(true);
        if (compositor.keepsFocus())
            compositor.bring(id);
    });
    const bool there = waitForKeyboard({front->pid, WindowId{front->id}}, LENT);
    const bool sent =
        there &&
        send({{static_cast<quint32>(how == TargetRule::Copy::CtrlC ? KEY_C : KEY_INSERT), WaylandChord::Control}});
    dispatch.toMain([this] { ways.lend(false); });
    return sent ? Sent::Yes : there ? Sent::NotTrusted : Sent::NoTarget;
}

PasteWay WaylandKeyboard::pasteWay(const AppWindow& target, FocusKind focus, bool overSelection) {
    const auto window = target.window ? compositor.book().find(target.window.number) : compositor.book().front();
    PasteWay way = ruleFor(window.value_or(WaylandWindow{}), focus).paste;
    way.overSelection = overSelection;
    if (!overSelection)
        way.before = PasteWay::Before::Nothing;
    if (way.keys == PasteWay::Keys::VimServer) {
        way.keys = PasteWay::Keys::None;
        way.refusal = u"no key is safe in that editor: nothing was begun"_s;
    }
    return way;
}

bool WaylandKeyboard::bringToFront(const AppWindow& target) {
    if (target.window && !compositor.book().find(target.window.number))
        return false;
    const auto front = compositor.book().front();
    if (target.window && (!front || front->id != target.window.number))
        compositor.bring(target.window.number);
    return waitForKeyboard(target, BRING);
}

Keyboard::Sent WaylandKeyboard::sendPaste(const AppWindow& target, const PasteWay& way) {
    if (!trusted())
        return Sent::NotTrusted;
    if (!way.safe() || way.keys == PasteWay::Keys::VimServer)
        return Sent::NotAllowed;
    const std::lock_guard one(oneAtATime);
    if (!hasKeyboard(target))
        return Sent::NoTarget;
    ways.pasting();
    return send(pasteChords(way)) ? Sent::Yes : Sent::NotTrusted;
}

} // namespace ovalin
