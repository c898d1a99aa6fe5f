#include "SwaySide.h"

#include <QImage>

namespace {

using Selection = Pasteboard::Selection;
using Freshness = Pasteboard::Freshness;

/// Asked on a worker, as always.
template <class Function>
auto onWorker(Function function) {
    auto answer = std::async(std::launch::async, function);
    waitUntil([&] { return answer.wait_for(0s) == std::future_status::ready; }, 20);
    return answer.get();
}

QString paste(const QStringList& arguments) { return desk().output(u"wl-paste"_s, arguments); }

void copyByProgram(const QStringList& arguments) {
    desk().start(u"wl-copy"_s, QStringList{u"--foreground"_s} + arguments);
    const bool primary = arguments.contains(u"--primary"_s);
    waitUntil([&] {
        return paste(primary ? QStringList{u"-n"_s, u"-p"_s} : QStringList{u"-n"_s}) == arguments.last();
    });
}

} // namespace

TEST(Sway, TheWindowInFrontIsTheOneTheUserWorksIn) {
    SwaySide side;
    {
        const Editor editor(side, "one\n");
        const WaylandWindow first = side.front();
        EXPECT_EQ(first.appId, u"mousepad"_s);
        EXPECT_TRUE(first.title.contains(u"document.txt"_s)) << first.title.toStdString();
        EXPECT_EQ(first.frame.width(), 1278);
        {
            const Running terminal(side, u"foot"_s, {});
            EXPECT_EQ(side.front().appId, u"foot"_s);
            EXPECT_TRUE(onWorker([&] { return side.keyboard.bringToFront({first.pid, WindowId{first.id}}); }));
            EXPECT_EQ(side.front().id, first.id);
            const Running onX(side, u"mousepad"_s, {u"--disable-server"_s}, true);
            EXPECT_EQ(side.front().appId, u"Mousepad"_s);
            EXPECT_EQ(side.front().instance, u"mousepad"_s);
        }
        EXPECT_TRUE(side.waitForFront(first.pid));
        desk().output(u"swaymsg"_s, {u"workspace"_s, u"empty"_s});
        EXPECT_TRUE(waitUntil([&] { return !side.compositor.book().front(); })) << "nothing is in front there";
        desk().output(u"swaymsg"_s, {u"workspace"_s, u"1"_s});
        EXPECT_TRUE(side.waitForFront(first.pid));
    }
    EXPECT_TRUE(waitUntil([&] { return !side.compositor.book().front(); }));
}

TEST(Sway, WithoutItsSocketTheCompositorsOwnListTellsWhatIsInFront) {
    SwaySide side{QByteArray()};
    SwaySide sway; // to know when
    const Running terminal(sway, u"foot"_s, {});
    EXPECT_TRUE(waitUntil([&] { return side.front().appId == u"foot"_s; }));
    EXPECT_EQ(side.front().pid, 0);
}

TEST(Sway, PrimaryIsTheUsersSelectionOnlyInTheWindowThatItWasMadeIn) {
    SwaySide side;
    const Editor editor(side, "The sky over the sea.\n");
    const auto fresh = [&](qint32 pid) {
        return onWorker([&side, pid] { return side.pasteboard.primaryText(pid, Freshness::SinceLastInput); });
    };
    EXPECT_EQ(fresh(editor.pid()), std::nullopt);
    Editor::selectAll(u"The sky over the sea."_s);
    EXPECT_TRUE(waitUntil([&] { return fresh(editor.pid()) == u"The sky over the sea.\n"_s; }));
    EXPECT_EQ(fresh(1), std::nullopt);
    {
        const Running terminal(side, u"foot"_s, {});
        EXPECT_EQ(fresh(terminal.pid()), std::nullopt);
    }
    EXPECT_TRUE(side.waitForFront(editor.pid()));
    EXPECT_EQ(fresh(editor.pid()), std::nullopt) << "it may have been taken away since";
}

TEST(Sway, ATextIsPastedWhereItIsMeantAndTheClipboardComesBack) {
    SwaySide side;
    const struct {
        bool onX;
        bool other; // in front
    } rows[] = {{false, false}, {true, false}, {false, true}};
    for (const auto& row : rows) {
        copyByProgram({u"before"_s});
        const Editor editor(side, "old\n", row.onX);
        const AppWindow target = side.target();
        Editor::selectAll(u"old"_s);
        std::optional<Running> other;
        if (row.other)
            other.emplace(side, u"foot"_s, QStringList{});
        const auto sent = onWorker([&] {
            const PasteWay way = side.keyboard.pasteWay(target, FocusKind::Editable, true);
            PasteboardSnapshot saved = side.pasteboard.save(Selection::Clipboard);
            if (!side.keyboard.bringToFront(target) ||
                !side.pasteboard.borrow(Selection::Clipboard, u"Grüße 🙂"_s, target.pid))
                return Keyboard::Sent::NoTarget;
            const auto how = side.keyboard.sendPaste(target, way);
            waitUntil([&] { return side.pasteboard.loan(Selection::Clipboard).readAgo > 100ms; });
            side.pasteboard.giveBack(Selection::Clipboard, std::move(saved), Pasteboard::GiveBack::IfOurs);
            return how;
        });
        EXPECT_EQ(sent, Keyboard::Sent::Yes);
        EXPECT_EQ(Editor::saved("old\n"), QByteArray("Grüße 🙂")) << row.onX << row.other;
        EXPECT_EQ(paste({u"-n"_s}), u"before"_s);
    }
}

TEST(Sway, NoKeyGoesToAnotherWindowThanTheOneMeant) {
    SwaySide side;
    const Editor editor(side, "mine\n");
    const AppWindow gone{editor.pid(), WindowId{4711}}, otherProcess{1, WindowId{side.front().id}};
    Editor::selectAll(u"mine"_s);
    const PasteWay way = side.keyboard.pasteWay(side.target(), FocusKind::Editable, true);
    for (const AppWindow& target : {gone, otherProcess}) {
        EXPECT_EQ(onWorker([&] { return side.keyboard.sendPaste(target, way); }), Keyboard::Sent::NoTarget);
    }
    EXPECT_EQ(onWorker([&] { return side.keyboard.sendCopy(1, FocusKind::Editable); }), Keyboard::Sent::NoTarget);
    EXPECT_EQ(onWorker([&] { return side.keyboard.sendCopy(editor.pid(), FocusKind::Password); }),
              Keyboard::Sent::NotAllowed);
    EXPECT_FALSE(onWorker([&] { return side.keyboard.bringToFront(gone); }));
}

TEST(Sway, AClipboardThatIsNotHandedOverIsNotTakenForEmpty) {
    SwaySide side;
    QProcess& owner = desk().start(u"wl-copy"_s, {u"--foreground"_s, u"kept back"_s});
    ASSERT_TRUE(waitUntil([&] { return paste({u"-n"_s}) == u"kept back"_s; }));
    {
        const Stopped stopped(owner);
        EXPECT_EQ(onWorker([&] { return side.pasteboard.snapshot(); }), std::nullopt);
        EXPECT_FALSE(onWorker([&] { return side.pasteboard.save(Selection::Clipboard); }).complete);
        EXPECT_EQ(onWorker([&] { return side.pasteboard.text(); }), std::nullopt);
    }
    desk().end(owner);
}

TEST(Sway, TheHotkeyIsHeldAcrossAReloadAndNeverTakenFromTheUser) {
    SwaySide side;
    const auto chord = [](const char* name) { return *KeyChord::parse(QString::fromUtf8(name)); };
    struct Row {
        const char* chord;
        HotKeyState state;
    };
    // The last two are in the desk's configuration.
    for (const Row& row : {Row{"Alt+Space", HotKeyState::Registered}, Row{"Super+F9", HotKeyState::Taken},
                           Row{"Super+F8", HotKeyState::ByCompositor}}) {
        SwayHotKeys hotKeys(
            *side.compositor.sway(), [&](const EventThread::Task& task) { side.compositor.thread().post(task); },
            side.dispatch, chord(row.chord));
        side.compositor.thread().runAndWait(
            [&] { side.compositor.swayTold = [&](auto event, const auto& what) { hotKeys.told(event, what); }; });
        int presses = 0;
        hotKeys.pressed = [&](quint32) { ++presses; };
        auto state = hotKeys.registerHotKey();
        hotKeys.shouldReassert = [&] { state = hotKeys.registerHotKey(); };
        EXPECT_TRUE(waitUntil([&] { return state == row.state; })) << row.chord;
        if (row.state == HotKeyState::Registered) {
            const Running terminal(side, u"foot"_s, {u"cat"_s});
            hands().press(u"alt+space"_s);
            EXPECT_TRUE(waitUntil([&] { return presses == 1; }));
            desk().output(u"swaymsg"_s, {u"reload"_s});
            EXPECT_TRUE(waitUntil([&] {
                hands().press(u"alt+space"_s);
                return waitUntil([&] { return presses == 2; }, 0.3);
            }));
            presses = 0;
            hands().hold(u"alt+space"_s);
            EXPECT_FALSE(waitUntil([&] { return presses > 1; }, 1.5)) << "a held key repeats";
            hands().release(u"alt+space"_s);
        } else {
            hands().press(QString::fromUtf8(row.chord).toLower());
            EXPECT_FALSE(waitUntil([&] { return presses > 0; }, 0.3)) << row.chord;
        }
        hotKeys.unregisterHotKey();
        side.compositor.thread().runAndWait([&] { side.compositor.swayTold = {}; });
    }
    EXPECT_EQ(readFile(desk().path(u"user-binding"_s)), "fired\n") << "the user's own binding still works";
}

TEST(Sway, ThePictureIsThatOfTheWindowInFront) {
    SwaySide side;
    const Running left(side, u"foot"_s, {u"-o"_s, u"colors.background=ff0000"_s, u"cat"_s});
    const Running right(side, u"foot"_s, {u"-o"_s, u"colors.background=0000ff"_s, u"cat"_s});
    ShotTaker shots(side.compositor);
    OutputConnection connection;
    QImage picture;
    EXPECT_TRUE(waitUntil([&] {
        shots.begin();
        connection.refresh();
        const ScreenPicture screen(connection, connection.outputs().front());
        connection.waitUntil(deadlineIn(10s), [&] { return screen.isOver(); });
        shots.pictured({{QRect(0, 0, 1280, 800), screen.image()}});
        picture = onWorker([&] { return shots.picture(right.pid()); });
        return picture.size() == side.front().frame.size() && picture.pixelColor(600, 700) == QColor(Qt::blue);
    })) << picture.width()
        << " x " << picture.height();
    EXPECT_EQ(picture.pixelColor(2, 700), QColor(Qt::blue));
    EXPECT_TRUE(onWorker([&] { return shots.picture(left.pid()); }).isNull());
}
