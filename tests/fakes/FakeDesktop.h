#pragma once

#include "platform/Desktop.h"
#include "platform/Windows.h"
#include "support/Testing.h"

#include <QCursor>
#include <QImage>
#include <QWidget>

namespace ovalin {

struct FakeHotKeys final : HotKeys {
    std::vector<HotKeyState> states; ///< results of the next registrations; Registered when used up
    int registrations = 0, unregistrations = 0;
    HotKeyState registerHotKey() override {
        ++registrations;
        if (states.empty())
            return HotKeyState::Registered;
        const HotKeyState state = states.front();
        states.erase(states.begin());
        return state;
    }
    void unregisterHotKey() override { ++unregistrations; }
    int handled = 0;
    void pressHandled() override { ++handled; }
};

struct FakeWorkspace final : Workspace {
    std::optional<FrontApplication> front = FrontApplication{u"Editor"_s, u"Mousepad"_s, 4711, {1}};
    std::optional<FrontApplication> frontmostApplication() override { return front; }
    bool seesAll = true;
    QString manager = u"Openbox"_s;
    QString title(WindowId) override { return front ? front->title : QString(); }
    QString windowManager() override { return manager; }
    bool seesAllWindows() override { return seesAll; }
};

struct FakeWindows final : Windows {
    std::vector<WindowInfo> list;
    QString nextTitle; ///< of all, once they have been listed
    std::vector<WindowInfo> onScreenWindows() override {
        const auto listed = list;
        for (WindowInfo& each : list)
            each.title = nextTitle.isEmpty() ? each.title : nextTitle;
        return listed;
    }
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
    void restore(PasteboardSnapshot snapshot) override {
        if (snapshot.changeCount != changes)
            restored.push_back(std::move(snapshot));
    }
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
    QWindow* window = nullptr;
    void take(QWindow& wanted) override { window = &wanted; }
    void letGo() override { window = nullptr; }
    bool waits = false;
    bool held() const override { return window; }
    bool waiting() const override { return waits; }
};

struct FakeSelectionHints final : SelectionHints {
    std::map<Handle, std::function<void()>> told;
    Handle next = 1;
    Handle onMaybeChanged(std::function<void()> changed) override {
        told[next] = std::move(changed);
        return next++;
    }
    void removeHint(Handle handle) override { told.erase(handle); }
    void give() {
        for (const auto& [handle, changed] : told)
            changed();
    }
};

/// Qt's own screen. Nothing lies below the panel.
struct FakePanelHost final : PanelHost {
    std::vector<ScreenArea> areas{{{0, 0, 800, 800}, {0, 0, 800, 800}}};
    bool transparent = false;
    QPoint pointer() override { return QCursor::pos(); }
    std::vector<ScreenArea> screens() override { return areas; }
    bool composited() override { return transparent; }
    QImage backdrop(const QRect&) override { return {}; }
    void open(QWidget& window) override { window.show(); }
    void place(QWidget& window, const QRect& place) override { window.setGeometry(place); }
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
    FakeSelectionHints selectionHints;
    FakePanelHost panels;
    FakeNotifier notifier;
    SessionEvents sessionEvents;
    FakePrimaryGuard primaryGuard;
    Desktop desktop{hotKeys, workspace,      accessibility, pasteboard,    keyboard,    keyboardHold,
                    panels,  selectionHints, notifier,      sessionEvents, primaryGuard};
};

} // namespace ovalin
