#include "fakes/FakeDispatch.h"
#include "keyboard/KeyboardDesk.h"
#include "platform/x11/panel/X11Panels.h"
#include "platform/x11/windows/X11Workspace.h"

namespace {

struct WorkspaceDesk : testing::Test {
    QtDispatch dispatch;
    X11Workspace workspace{dispatch};
    std::optional<FrontApplication> front;

    bool isInFront(const Editor& application) {
        front = workspace.frontmostApplication();
        return front && front->pid == application.pid();
    }
};

TEST_F(WorkspaceDesk, NamesTheApplicationTheUserWorksIn) {
    EXPECT_FALSE(workspace.frontmostApplication()) << "nothing is open";

    const Editor editor = openEditor(u"text"_s);
    EXPECT_TRUE(waitUntil([&] { return isInFront(editor) && front->name == "Mousepad"_L1; }));
    EXPECT_EQ(front->bundleId, u"Mousepad"_s);
    EXPECT_EQ(QString::number(front->window.number), editor.window);
    const Editor terminal = openTerminal();
    ASSERT_TRUE(isInFront(terminal));
    EXPECT_EQ(front->bundleId, u"XTerm"_s);

    QWidget own;
    own.show();
    own.activateWindow();
    ASSERT_TRUE(waitUntil([&] { return own.isActiveWindow(); }));
    EXPECT_TRUE(waitUntil([&] { return !workspace.frontmostApplication(); })) << "this process is none of them";
    own.hide();

    // The dead manager goes on naming xterm; the focus tells the truth.
    desk().killWindowManager();
    desk().xdotool({u"windowfocus"_s, u"--sync"_s, editor.window});
    EXPECT_TRUE(isInFront(editor));
    desk().end(editor.process);
    desk().end(terminal.process);
    EXPECT_TRUE(waitUntil([&] { return !workspace.frontmostApplication(); }));
    desk().startWindowManager();
}

TEST_F(WorkspaceDesk, WithoutAWindowManagerFindsWhatLiesUnderThePointer) {
    desk().killWindowManager();
    const Editor editor = openEditor(u"text"_s, Focus::No);
    desk().xdotool({u"mousemove"_s, u"--window"_s, editor.window, u"50"_s, u"50"_s});
    EXPECT_TRUE(waitUntil([&] { return isInFront(editor); }));
    desk().end(editor.process);
    desk().startWindowManager();
}

TEST_F(WorkspaceDesk, InAWaylandSessionOnlyAnActiveX11WindowCounts) {
    qputenv("WAYLAND_DISPLAY", "wayland-0");
    X11Workspace wayland(dispatch);
    qunsetenv("WAYLAND_DISPLAY");
    EXPECT_FALSE(wayland.seesAllWindows());
    const Editor editor = openEditor(u"text"_s);
    EXPECT_TRUE(wayland.frontmostApplication());
    // As when a window that is no X11 one is active: the pointer lies over the editor, and the focus may too.
    desk().xdotool({u"mousemove"_s, u"--window"_s, editor.window, u"50"_s, u"50"_s});
    desk().killWindowManager();
    desk().xdotool({u"windowfocus"_s, u"--sync"_s, editor.window});
    EXPECT_FALSE(wayland.frontmostApplication());
    desk().end(editor.process);
    desk().startWindowManager();
}

TEST_F(WorkspaceDesk, TellsOfDocksACompositorAndTheEndOfTheWindowManager) {
    X11Panels panels;
    int compositor = 0, died = 0;
    panels.compositedChanged = [&] { ++compositor; };
    panels.covered = [&] { ++died; };
    EXPECT_FALSE(panels.composited());
    const Editor terminal = openTerminal();
    desk().output(u"xprop"_s, {u"-id"_s, terminal.window, u"-f"_s, u"_NET_WM_STRUT_PARTIAL"_s, u"32c"_s, u"-set"_s,
                               u"_NET_WM_STRUT_PARTIAL"_s, u"0,0,0,40,0,0,0,0,0,0,100,499"_s});
    const auto strips = panels.reservedStrips();
    ASSERT_EQ(strips.size(), 1U);
    EXPECT_EQ(strips[0].edge, Qt::BottomEdge);
    EXPECT_EQ(strips[0].area, QRect(100, 800 - 40, 400, 40));

    QProcess& picom = desk().start(u"picom"_s, {u"--backend"_s, u"xrender"_s, u"--config"_s, u"/dev/null"_s});
    EXPECT_TRUE(waitUntil([&] { return compositor > 0 && panels.composited(); }));
    compositor = 0;
    desk().end(picom);
    EXPECT_TRUE(waitUntil([&] { return compositor > 0 && !panels.composited(); }));

    EXPECT_EQ(died, 0);
    desk().killWindowManager();
    EXPECT_TRUE(waitUntil([&] { return died == 1; }));
    desk().end(terminal.process);
    desk().startWindowManager();
}

} // namespace
