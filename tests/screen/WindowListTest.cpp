#include "PaintedWindow.h"

#include "platform/x11/windows/X11Windows.h"
#include "support/TestDesk.h"

namespace ovalin {

namespace {

std::optional<WindowInfo> found(Windows& windows, quint32 id) {
    for (const WindowInfo& info : windows.onScreenWindows()) {
        if (info.id.number == id)
            return info;
    }
    return std::nullopt;
}

std::vector<quint32> orderOf(Windows& windows, const std::vector<quint32>& among) {
    std::vector<quint32> order;
    for (const WindowInfo& info : windows.onScreenWindows()) {
        if (std::find(among.begin(), among.end(), info.id.number) != among.end())
            order.push_back(static_cast<quint32>(info.id.number));
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
    QProcess& terminal = desk().start(u"xterm"_s, {u"-geometry"_s, u"60x20+300+200"_s});
    const quint32 id = desk().waitForWindow(u"xterm"_s).toUInt();
    ASSERT_TRUE(waitUntil([&] { return found(windows, id) && found(windows, own.id()); }));
    EXPECT_EQ(found(windows, own.id())->ownerPid, ::getpid());
    EXPECT_EQ(found(windows, own.id())->frame.size(), QSize(400, 300));
    EXPECT_EQ(found(windows, id)->ownerPid, terminal.processId());
    // The client's own place, inside the frame that the window manager put around it.
    const QString place = desk().output(u"xwininfo"_s, {u"-id"_s, QString::number(id)});
    const QRect frame = found(windows, id)->frame;
    for (const auto& [label, value] :
         std::vector<std::pair<QString, int>>{{u"Absolute upper-left X:  %1\n"_s, frame.x()},
                                              {u"Absolute upper-left Y:  %1\n"_s, frame.y()},
                                              {u"Width: %1\n"_s, frame.width()},
                                              {u"Height: %1\n"_s, frame.height()}})
        EXPECT_TRUE(place.contains(label.arg(value))) << place.toStdString();
    desk().end(terminal);
}

// A sandboxed application writes the pid that it has in its own namespace.
TEST(X11Windows, TheServersWordOnAWindowsProcessCountsBeforeTheWindowsOwn) {
    const QString host = desk().output(u"hostname"_s);
    const struct {
        QStringList server;
        QString machine;
        qint32 pid;
    } rows[] = {
        {{}, host, ::getpid()},
        {{u"-extension"_s, u"X-Resource"_s}, host, 4321},
        {{u"-extension"_s, u"X-Resource"_s}, {}, 4321},
        {{u"-extension"_s, u"X-Resource"_s}, u"elsewhere"_s, 0},
    };
    for (const auto& row : rows) {
        const TestDesk bare({TestDesk::WindowManager::None, false, u"640x480x24"_s, row.server});
        auto options = managed();
        options.display = bare.display().toLatin1();
        const PaintedWindow window(options);
        const auto set = [&](const char* property, const char* format, const QString& value) {
            bare.output(u"xprop"_s, {u"-id"_s, window.number(), u"-f"_s, QString::fromLatin1(property),
                                     QString::fromLatin1(format), u"-set"_s, QString::fromLatin1(property), value});
        };
        set("_NET_WM_PID", "32c", u"4321"_s);
        if (!row.machine.isEmpty())
            set("WM_CLIENT_MACHINE", "8s", row.machine);
        X11Windows windows(options.display);
        ASSERT_TRUE(found(windows, window.id()));
        EXPECT_EQ(found(windows, window.id())->ownerPid, row.pid) << row.server.join(u' ').toStdString();
    }
}

TEST(X11Windows, TheFrontmostComesFirstAndAnIconifiedOneNotAtAll) {
    X11Windows windows;
    PaintedWindow one(managed());
    PaintedWindow two(managed());
    using Order = std::vector<quint32>;
    ASSERT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}).size() == 2; }));
    one.raise();
    EXPECT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}) == Order{one.id(), two.id()}; }));
    two.raise();
    EXPECT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}) == Order{two.id(), one.id()}; }));
    desk().xdotool({u"windowminimize"_s, two.number()});
    EXPECT_TRUE(waitUntil([&] { return orderOf(windows, {one.id(), two.id()}) == Order{one.id()}; }));
}

TEST(X11Windows, WithoutALivingWindowManagerTheRootsChildrenAreListed) {
    TestDesk bare({TestDesk::WindowManager::None, false, u"1280x800x24"_s, {}});
    auto options = managed();
    options.display = bare.display().toLatin1();
    const PaintedWindow below(options);
    options.overrideRedirect = true;
    const PaintedWindow above(options);
    options.inputOnly = true;
    const PaintedWindow inputOnly(options);
    // What a window manager that was killed leaves on the root.
    for (const auto& [property, value] :
         {std::pair(u"_NET_SUPPORTING_WM_CHECK"_s, u"0x400123"_s), {u"_NET_CLIENT_LIST_STACKING"_s, u"0x400124"_s}})
        bare.output(u"xprop"_s, {u"-root"_s, u"-f"_s, property, u"32x"_s, u"-set"_s, property, value});
    X11Windows windows(options.display);
    const auto list = windows.onScreenWindows();
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0].id.number, above.id());
    EXPECT_NE(list[0].layer, 0);
    EXPECT_EQ(list[1].id.number, below.id());
    EXPECT_EQ(list[1].layer, 0);
    EXPECT_EQ(list[1].frame, options.frame);
    EXPECT_EQ(list[1].ownerPid, ::getpid());
    bare.killServer();
    EXPECT_TRUE(windows.onScreenWindows().empty());
}

} // namespace

} // namespace ovalin
