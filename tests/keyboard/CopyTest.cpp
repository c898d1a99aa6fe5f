#include "keyboard/KeyboardDesk.h"
#include "platform/x11/keyboard/KeyMap.h"
#include "platform/x11/keyboard/X11HotKeys.h"
#include "platform/x11/keyboard/X11Keyboard.h"

#include <QElapsedTimer>

#include <X11/keysym.h>

using Sent = Keyboard::Sent;

namespace {

struct Copy : testing::Test {
    QtDispatch dispatch;
    OtherClient other;
    X11KeyboardHold hold{dispatch};
    int marks = 0;
    X11Keyboard keyboard{hold, [this](bool sending) { marks += sending ? 1 : -1; }};
    std::optional<Editor> editor;
    quint8 alt = KeyMap::read(other.connection)->modifierKeys(3).front();
    quint8 shift = KeyMap::read(other.connection)->modifierKeys(0).front();
    quint8 control = KeyMap::read(other.connection)->modifierKeys(2).front();

    void open(const char* text) {
        editor.emplace(openEditor(QString::fromUtf8(text)));
        setSelection("clipboard", u"old"_s);
        tap("ctrl+a");
        ASSERT_TRUE(waitUntil([&] { return clipboard("primary") == QString::fromUtf8(text); }));
    }
    Sent copy(qint32 pid) {
        std::optional<Sent> sent;
        std::thread worker([&] {
            const Sent result = keyboard.sendCopy(pid, FocusKind::Unknown);
            dispatch.toMain([&sent, result] { sent = result; });
        });
        waitUntil([&] { return sent.has_value(); });
        worker.join();
        EXPECT_EQ(marks, 0);
        return sent.value_or(Sent::NotTrusted);
    }
    Sent copy() { return copy(editor->pid()); }
    void TearDown() override {
        if (editor)
            desk().end(editor->process);
    }
};

TEST_F(Copy, ReachesTheTargetThroughTheHoldAndNoTypedKeyIsLost) {
    open("selected words");
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    QProcess typist;
    typist.setProcessEnvironment(desk().environment);
    typist.start(u"xdotool"_s, {u"type"_s, u"--delay"_s, u"2"_s, QString(300, u'k')});
    int copies = 0;
    while (typist.state() != QProcess::NotRunning) {
        EXPECT_EQ(copy(), Sent::Yes);
        ++copies;
        waitUntil([&] { return typist.state() == QProcess::NotRunning; }, 0.02);
    }
    EXPECT_GT(copies, 5);
    EXPECT_TRUE(waitUntil([&] { return panel.line.text() == QString(300, u'k'); })) << panel.line.text().toStdString();
    EXPECT_EQ(clipboard(), u"selected words"_s);
    EXPECT_EQ(clipboard("primary"), u"selected words"_s) << "a key changed the text";
    EXPECT_TRUE(hold.held());
    EXPECT_FALSE(other.grabKeyboard());
}

TEST_F(Copy, HeldModifiersDoNotGarbleItAndAreHeldAgainAfterwards) {
    open("text");
    PanelWindow panel;
    hold.take(*panel.windowHandle());
    for (const quint8 key : {alt, shift, control}) {
        setSelection("clipboard", u"old"_s);
        other.finger(key, true);
        EXPECT_EQ(copy(), Sent::Yes);
        EXPECT_TRUE(waitUntil([&] { return clipboard() == u"text"_s; })) << "holding " << int{key};
        EXPECT_TRUE(other.isDown(key));
        other.finger(key, false);
        EXPECT_FALSE(other.isDown(key)) << "stuck";
        // The finger is off, while XTEST's own device still believes in the key.
        setSelection("clipboard", u"old"_s);
        EXPECT_EQ(copy(), Sent::Yes);
        EXPECT_TRUE(waitUntil([&] { return clipboard() == u"text"_s; })) << "after " << int{key};
    }
    EXPECT_EQ(clipboard("primary"), u"text"_s) << "a bare c replaced the selection";
    EXPECT_EQ(panel.line.text(), QString());

    // Other programs' synthetic chords are complete again as well.
    other.finger(shift, true);
    EXPECT_EQ(copy(), Sent::Yes);
    other.finger(shift, false);
    tap("y");
    EXPECT_TRUE(waitUntil([&] { return panel.line.text() == u"y"_s; })); // so the release was seen
    tap("shift+x");
    EXPECT_TRUE(waitUntil([&] { return panel.line.text() == u"yX"_s; })) << panel.line.text().toStdString();
}

TEST_F(Copy, AHotkeyStillHeldFiresOnceAndTypesNothing) {
    open("text");
    desk().output(u"xset"_s, {u"r"_s, u"rate"_s, u"60"_s, u"50"_s});
    PanelWindow panel;
    X11HotKeys keys(dispatch);
    int fired = 0;
    keys.pressed = [&](quint32) {
        ++fired;
        hold.take(*panel.windowHandle());
    };
    ASSERT_EQ(keys.registerHotKey(), HotKeyState::Registered);
    const quint8 space = KeyMap::read(other.connection)->plainKey(XK_space);
    for (const bool panelHolds : {true, false}) {
        setSelection("clipboard", u"old"_s);
        other.finger(alt, true);
        other.finger(space, true);
        EXPECT_TRUE(waitUntil([&] { return fired > 0; }));
        if (!panelHolds)
            hold.letGo();
        EXPECT_EQ(copy(), Sent::Yes);
        EXPECT_TRUE(waitUntil([&] { return clipboard() == u"text"_s; })) << panelHolds;
        EXPECT_EQ(copy(), Sent::Yes); // time for repeats
        other.finger(space, false);
        other.finger(alt, false);
        EXPECT_EQ(std::exchange(fired, 0), 1) << panelHolds;
        EXPECT_EQ(panel.line.text(), QString());
        hold.letGo();
    }
    EXPECT_EQ(clipboard("primary"), u"text"_s) << "a blank replaced the selection";
}

TEST_F(Copy, FindsTheKeyInEveryLayout) {
    open("text");
    const std::pair<const char*, const char*> layouts[] = {{"de", ""},    {"us", "dvorak"}, {"fr", "bepo"},
                                                           {"us,ru", ""}, {"ru,us", ""},    {"ru", ""}};
    for (const auto& [layout, variant] : layouts) {
        setSelection("clipboard", u"old"_s);
        desk().output(u"setxkbmap"_s,
                      {u"-layout"_s, QString::fromLatin1(layout), u"-variant"_s, QString::fromLatin1(variant)});
        EXPECT_EQ(copy(), Sent::Yes) << layout;
        EXPECT_TRUE(waitUntil([] { return clipboard() == u"text"_s; })) << layout << variant;
    }
    desk().output(u"setxkbmap"_s, {u"us"_s});
    EXPECT_EQ(clipboard("primary"), u"text"_s);
}

TEST_F(Copy, IsNotSentToTerminalsNorWhenTheTargetIsNotInFront) {
    open("text");
    const Editor terminal = openTerminal();
    EXPECT_EQ(copy(terminal.pid()), Sent::NotAllowed);
    EXPECT_EQ(copy(0), Sent::NoTarget) << "nobody in particular";
    EXPECT_EQ(copy(), Sent::NoTarget) << "the focus has moved";
    EXPECT_EQ(terminal.process.state(), QProcess::Running) << "interrupted";
    desk().end(terminal.process);
    ASSERT_TRUE(waitUntil([&] { return focusedWindow() == editor->window; }));
    {
        const Stopped stopped(editor->process);
        EXPECT_EQ(copy(), Sent::Yes) << "a stopped target holds nothing up";
    }
    EXPECT_TRUE(waitUntil([&] { return clipboard() == u"text"_s; }));
    desk().end(editor->process);
    EXPECT_EQ(copy(), Sent::NoTarget);
    EXPECT_EQ(copy(0), Sent::NoTarget);
}

} // namespace
