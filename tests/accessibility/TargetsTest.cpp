// Real programs: GTK 3 (mousepad) and Qt (featherpad).
#include "Support.h"

#include "base/Dispatch.h"
#include "platform/atspi/AtSpiAccessibility.h"
#include "platform/x11/windows/FrontWindow.h"

#include <cstdio>

namespace {

using Kind = AccessibleSelection::Kind;

/// An editor showing a file of its own; ended with the test.
class Editor {
public:
    Editor(const QString& program, const QStringList& options, const QByteArray& text)
        : process(launch(program, options, text))
        , window(desk().waitForWindow(program)) {}
    ~Editor() { desk().end(process); }
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;

    [[nodiscard]] qint32 pid() const { return static_cast<qint32>(process.processId()); }
    void press(const QString& key) const {
        desk().xdotool({u"windowactivate"_s, u"--sync"_s, window});
        desk().xdotool({u"key"_s, key});
    }

    QProcess& process;

private:
    static QProcess& launch(const QString& program, const QStringList& options, const QByteArray& text) {
        const QString file = desk().path(program + u".txt"_s);
        writeFile(file, text);
        desk().environment.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
        return desk().start(program, options + QStringList{file});
    }
    QString window;
};

AccessibleSelection read(AtSpiAccessibility& accessibility, const Editor& editor) {
    return onWorker([&] { return accessibility.selection({editor.pid(), {}}); });
}

/// Selects everything until the editor, which may just be starting, says so.
bool selectsAll(AtSpiAccessibility& accessibility, const Editor& editor, const QString& text) {
    return waitUntil(
        [&] {
            editor.press(u"ctrl+a"_s);
            return read(accessibility, editor).text.trimmed() == text;
        },
        20);
}

} // namespace

TEST(AtSpiTargets, SelectionsOfGtkAndQtAreReadWhileOthersHang) {
    QtDispatch dispatch;
    AtSpiAccessibility accessibility(dispatch, frontTitle, sessionBusAddress(), 3s);
    AtSpiAccessibility hurried(dispatch, frontTitle);
    const Editor gtk(u"mousepad"_s, {u"--disable-server"_s}, "Grüße, 世界 😀\nsecond");
    ASSERT_TRUE(selectsAll(accessibility, gtk, u"Grüße, 世界 😀\nsecond"_s));
    {
        const Editor qt(u"featherpad"_s, {u"--standalone"_s}, "One 😀 line\nanother");
        const Stopped stop(gtk.process);
        ASSERT_TRUE(selectsAll(accessibility, qt, u"One 😀 line\nanother"_s));
        EXPECT_EQ(read(hurried, gtk).kind, Kind::Unavailable) << "a stopped target";

        qt.press(u"Right"_s);
        EXPECT_TRUE(waitUntil([&] { return read(accessibility, qt).kind == Kind::None; }));
    }
    gtk.press(u"Home"_s);
    EXPECT_TRUE(waitUntil([&] { return read(accessibility, gtk).kind == Kind::None; }));
    EXPECT_EQ(onWorker([&] { return accessibility.selection({}); }).kind, Kind::Unavailable);
}
