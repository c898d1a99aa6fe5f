#pragma once

#include "platform/Desktop.h"
#include "support/Testing.h"

namespace ovalin {

struct FakeHotKeys final : HotKeys {
    std::vector<int> statuses; ///< results of the next registrations; 0 when used up
    int registrations = 0, unregistrations = 0;
    int registerHotKey() override {
        ++registrations;
        if (statuses.empty())
            return 0;
        const int status = statuses.front();
        statuses.erase(statuses.begin());
        return status;
    }
    void unregisterHotKey() override { ++unregistrations; }
    int handled = 0;
    void pressHandled() override { ++handled; }
};

struct FakeWorkspace final : Workspace {
    std::optional<FrontApplication> front = FrontApplication{u"Editor"_s, u"Mousepad"_s, 4711, {1}};
    std::optional<FrontApplication> frontmostApplication() override { return front; }
    std::vector<ReservedStrip> strips;
    bool composited = false, seesAll = true;
    bool compositorRuns() override { return composited; }
    std::vector<ReservedStrip> reservedStrips() override { return strips; }
    QString manager = u"Openbox"_s;
    QString title(quint32) override { return front ? front->title : QString(); }
    QString windowManager() override { return manager; }
    bool seesAllWindows() override { return seesAll; }
};

struct FakeAccessibility final : Accessibility {
    AccessibleSelection answer;
    int asked = 0, taken = 0;
    void keyboardIsTaken() override { ++taken; }
    bool enabled = true, turnedOn = false;
    AccessibleSelection selection(const AppWindow&) override {
        ++asked;
        return answer;
    }
    void queryEnabled(std::function<void(bool)> done) override { done(enabled); }
    void enable() override { turnedOn = true; }
};

struct FakePasteboard final : Pasteboard {
    std::optional<QString> primary, clipboard;
    std::optional<QString> readable; ///< what readText() finds
    bool answers = true;
    quint64 changes = 7;
    std::vector<PasteboardSnapshot> restored;
    std::optional<QString> primaryText(qint32, Freshness) override { return primary; }
    quint64 changeCount() override { return changes; }
    std::optional<PasteboardSnapshot> snapshot() override {
        PasteboardSnapshot saved;
        saved.changeCount = changes;
        return answers ? std::optional(saved) : std::nullopt;
    }
    PasteboardSnapshot savedBefore; ///< what save() finds
    Loan lent{true, {}};            ///< what becomes of borrow()
    QStringList borrowed;
    std::vector<Selection> selections; ///< that were borrowed, given back
    std::vector<PasteboardSnapshot> givenBack;
    PasteboardSnapshot save(Selection) override { return savedBefore; }
    bool borrow(Selection selection, const QString& text, qint32) override {
        if (!answers)
            return false;
        selections.push_back(selection);
        borrowed.push_back(text);
        return true;
    }
    Loan loan(Selection) override { return lent; }
    bool giveBack(Selection, PasteboardSnapshot snapshot, GiveBack) override {
        givenBack.push_back(std::move(snapshot));
        return true;
    }
    std::optional<QString> text() override { return clipboard; }
    void restore(PasteboardSnapshot snapshot) override { restored.push_back(std::move(snapshot)); }
    void readText(Selection, QObject*, std::function<void(const QString&)> done) override {
        if (readable)
            done(*readable);
    }
};

struct FakeKeyboard final : Keyboard {
    bool mayType = true;
    Sent result = Sent::Yes;
    int copies = 0;
    std::function<void()> onCopy; ///< what the application does with the chord
    bool trusted() const override { return mayType; }
    Sent sendCopy(qint32, FocusKind) override {
        ++copies;
        if (onCopy)
            onCopy();
        return result;
    }
    PasteWay way{PasteWay::Keys::ShiftInsert, PasteWay::Before::Nothing, false, false, false, {}};
    bool comesToFront = true;
    std::vector<AppWindow> raised, pastes;
    PasteWay pasteWay(const AppWindow&, FocusKind, bool over) override {
        PasteWay asked = way;
        asked.overSelection = over;
        return asked;
    }
    bool bringToFront(const AppWindow& target) override {
        raised.push_back(target);
        return comesToFront;
    }
    Sent sendPaste(const AppWindow& target, const PasteWay&) override {
        if (result == Sent::Yes)
            pastes.push_back(target);
        return result;
    }
};

struct FakeKeyboardHold final : KeyboardHold {
    quint32 window = 0;
    void take(quint32 wanted) override { window = wanted; }
    void letGo() override { window = 0; }
    bool waits = false;
    bool held() const override { return window != 0; }
    bool waiting() const override { return waits; }
};

struct FakeEventMonitors final : EventMonitors {
    std::map<Handle, std::function<void()>> mouse;
    std::map<Handle, std::function<void(const KeyUp&)>> keys;
    Handle next = 1;
    Handle onLeftMouseUp(std::function<void()> seen) override {
        mouse[next] = std::move(seen);
        return next++;
    }
    Handle onKeyUp(std::function<void(const KeyUp&)> seen) override {
        keys[next] = std::move(seen);
        return next++;
    }
    void removeMonitor(Handle handle) override {
        mouse.erase(handle);
        keys.erase(handle);
    }
    void mouseUp() {
        for (const auto& [handle, seen] : mouse)
            seen();
    }
    void keyUp(const KeyUp& key) {
        for (const auto& [handle, seen] : keys)
            seen(key);
    }
};

struct FakeNotifier final : Notifier {
    std::vector<Notification> shown;
    std::vector<quint64> withdrawn; ///< the first that was shown is 1
    quint64 notify(const Notification& notification) override {
        shown.push_back(notification);
        return shown.size();
    }
    void withdraw(quint64 ticket) override { withdrawn.push_back(ticket); }
};

struct FakePrimaryGuard final : PrimaryGuard {
    bool active = false;
    void setActive(bool on) override { active = on; }
};

/// A desktop of which every piece records what was asked of it and can be told to fail.
struct FakeDesktop {
    FakeHotKeys hotKeys;
    FakeWorkspace workspace;
    FakeAccessibility accessibility;
    FakePasteboard pasteboard;
    FakeKeyboard keyboard;
    FakeKeyboardHold keyboardHold;
    FakeEventMonitors eventMonitors;
    FakeNotifier notifier;
    SessionEvents sessionEvents;
    FakePrimaryGuard primaryGuard;
    Desktop desktop{hotKeys,      workspace,     accessibility, pasteboard,    keyboard,
                    keyboardHold, eventMonitors, notifier,      sessionEvents, primaryGuard};
};

} // namespace ovalin
