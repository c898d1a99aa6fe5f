#include "PaintedWindow.h"

#include "platform/x11/windows/X11Windows.h"
#include "support/TestDesk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include <unistd.h>

namespace ovalin {

TestDesk& desk();

namespace {

std::optional<WindowInfo> found(Windows& windows, quint32 id) {
    for (const WindowInfo& info : windows.onScreenWindows()) {
        if (info.id == id)
            return info;
    }
    return std::nullopt;
}

std::vector<quint32> orderOf(Windows& windows, const std::vector<quint32>& among) {
    std::vector<quint32> order;
    for (const WindowInfo& info : windows.onScreenWindows()) {
        if (std::find(among.begin(), among.end(), info.id) != among.end())
            order.push_back(info.id);
    }
    return order;
}

PaintedWindow::Options managed() {
    PaintedWindow::Options options;
    options.display = desk().display().toLatin1();
    options.overrideRedirect = false;
    return options;
}

TEST(X11Windows, OrdinaryWindowsLieInLayerZeroAndDocksDesktopsAndNotificationsDoNot) {
    const std::vector<std::pair<QByteArray, bool>> rows{
        {"", true},
        {"_NET_WM_WINDOW_TYPE_NORMAL", true},
        {"_NET_WM_WINDOW_TYPE_DIALOG", true},
        {"_NET_WM_WINDOW_TYPE_DOCK", false},
        {"_NET_WM_WINDOW_TYPE_DESKTOP", false},
        {"_NET_WM_WINDOW_TYPE_NOTIFICATION", false},
        {"_NET_WM_WINDOW_TYPE_SPLASH", false},
    };
    X11Windows windows;
    for (const auto& [type, ordinary] : rows) {
        auto options = managed();
        options.type = type;
        const PaintedWindow window(options);
        std::optional<WindowInfo> info;
        EXPECT_TRUE(waitUntil([&] { return (info = found(windows, window.id())).has_value(); })) << type.constData();
        EXPECT_EQ(info && info->layer == 0, ordinary) << type.constData();
    }
}

TEST(X11Windows, AWindowIsListedWithItsProcessAndItsPlaceOnTheRoot) {
    X11Windows windows;
    const PaintedWindow own(managed()); // says no _NET_WM_PID: the server knows whose it is
    QProcess& terminal =
        desk().start(QStringLiteral("xterm"), {QStringLiteral("-geometry"), QStringLiteral("60x20+300+200")});
    const quint32 id = desk().waitForWindow(QStringLiteral("xterm")).toUInt();
    ASSERT_TRUE(waitUntil([&] { return found(windows, id) && found(windows, own.id()); }));
    EXPECT_EQ(found(windows, own.id())->ownerPid, ::getpid());
    EXPECT_EQ(found(windows, own.id())->frame.size(), QSize(400, 300));
    EXPECT_EQ(found(windows, id)->ownerPid, terminal.processId());
    // The client's own place, inside the frame that the window manager put around it.
    const QString place = desk().output(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(id)});
    const QRect frame = found(windows, id)->frame;
    for (const auto& [label, value] :
         std::vector<std::pair<QString, int>>{{QStringLiteral("Absolute upper-left X:  %1\n"), frame.x()},
                                              {QStringLiteral("Absolute upper-left Y:  %1\n"), frame.y()},
                                              {QStringLiteral("Width: %1\n"), frame.width()},
                                              {QStringLiteral("Height: %1\n"), frame.height()}})
        EXPECT_TRUE(place.contains(label.arg(value))) << place.toStdString();
    desk().end(terminal);
}

// A sandboxed application writes the pid that it has in its own namespace.
TEST(X11Windows, TheServersWordOnAWindowsProcessCountsBeforeTheWindowsOwn) {
    const QString host = desk().output(QStringLiteral("hostname"));
    const struct {
        QStringList server;
        QString machine;
        qint32 pid;
    } rows[] = {
        {{}, host, ::getpid()},
        {{QStringLiteral("-extension"), QStringLiteral("X-Resource")}, host, 4321},
        {{QStringLiteral("-extension"), QStringLiteral("X-Resource")}, {}, 4321},
        {{QStringLiteral("-extension"), QStringLiteral("X-Resource")}, QStringLiteral("elsewhere"), 0},
    };
    for (const auto& row : rows) {
        const TestDesk bare({TestDesk::WindowManager::None, false, QStringLiteral("640x480x24"), row.server});
        auto options = managed();
        options.display = bare.display().toLatin1();
        const PaintedWindow window(options);
        const auto set = [&](const char* property, const char* format, const QString& value) {
            bare.output(QStringLiteral("xprop"),
                        {QStringLiteral("-id"), window.number(), QStringLiteral("-f"), QString::fromLatin1(property),
                         QString::fromLatin1(format), QStringLiteral("-set"), QString::fromLatin1(property), value});
        };
        set("_NET_WM_PID", "32c", QStringLiteral("4321"));
        if (!row.machine.isEmpty())
            set("WM_CLIENT_MACHINE", "8s", row.machine);
        X11Windows windows(options.display);
        ASSERT_TRUE(found(windows, window.id()));
        EXPECT_EQ(found(windows, window.id())->ownerPid, row.pid) << row.server.join(u' ').toStdString();
    }
}

TEST(X11Windows, TheFrontmostComesFirst) {
    X11Windows windows;
    PaintedWindow one(managed());
    PaintedWindow two(managed());
    using Order = std::vector<quint32>;
    ASSERT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}).size() == 2; }));
    one.raise();
    EXPECT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}) == Order{one.id(), two.id()}; }));
    two.raise();
    EXPECT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}) == Order{two.id(), one.id()}; }));
}

TEST(X11Windows, AnIconifiedWindowIsNotOnTheScreen) {
    X11Windows windows;
    const PaintedWindow window(managed());
    ASSERT_TRUE(waitUntil([&] { return found(windows, window.id()).has_value(); }));
    desk().xdotool({QStringLiteral("windowminimize"), window.number()});
    EXPECT_TRUE(waitUntil([&] { return !found(windows, window.id()); }));
}

TEST(X11Windows, WithoutAWindowManagerTheRootsChildrenAreListed) {
    const TestDesk bare({TestDesk::WindowManager::None, false, QStringLiteral("1280x800x24"), {}});
    auto options = managed();
    options.display = bare.display().toLatin1();
    const PaintedWindow below(options);
    options.overrideRedirect = true;
    const PaintedWindow above(options);
    options.inputOnly = true;
    const PaintedWindow inputOnly(options);
    X11Windows windows(options.display);
    const auto list = windows.onScreenWindows();
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].id, above.id());
    EXPECT_NE(list[0].layer, 0);
    EXPECT_EQ(list[1].id, below.id());
    EXPECT_EQ(list[1].layer, 0);
    EXPECT_EQ(list[1].frame, options.frame);
    EXPECT_EQ(list[1].ownerPid, ::getpid());
}

TEST(X11Windows, ADeadWindowManagersListIsNotBelieved) {
    auto bare = std::make_unique<TestDesk>(
        TestDesk::Options{TestDesk::WindowManager::None, false, QStringLiteral("1280x800x24"), {}});
    auto options = managed();
    options.display = bare->display().toLatin1();
    const PaintedWindow window(options);
    // What a window manager that was killed leaves on the root.
    bare->output(QStringLiteral("xprop"),
                 {QStringLiteral("-root"), QStringLiteral("-f"), QStringLiteral("_NET_SUPPORTING_WM_CHECK"),
                  QStringLiteral("32x"), QStringLiteral("-set"), QStringLiteral("_NET_SUPPORTING_WM_CHECK"),
                  QStringLiteral("0x400123")});
    bare->output(QStringLiteral("xprop"),
                 {QStringLiteral("-root"), QStringLiteral("-f"), QStringLiteral("_NET_CLIENT_LIST_STACKING"),
                  QStringLiteral("32x"), QStringLiteral("-set"), QStringLiteral("_NET_CLIENT_LIST_STACKING"),
                  QStringLiteral("0x400124")});
    X11Windows windows(options.display);
    EXPECT_TRUE(found(windows, window.id()));
    bare.reset();
    EXPECT_TRUE(windows.onScreenWindows().empty());
}

} // namespace

} // namespace ovalin
