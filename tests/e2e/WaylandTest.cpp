// The built program on a real Wayland compositor, over its own windows and those of Xwayland.
#include "e2e/OvalinDesk.h"
#include "support/WaylandHands.h"

namespace {

TestDesk::Options onSway() {
    TestDesk::Options options;
    options.server = TestDesk::Server::Sway;
    return options;
}

struct SwayDesk : OvalinDesk {
    SwayDesk()
        : OvalinDesk(onSway())
        , hands(path(u"run"_s), environment.value(u"WAYLAND_DISPLAY"_s)) {
        environment.insert(u"FAKE_CLAUDE_DIR"_s, path(u"agent"_s));
        installScript(u".local/bin/claude"_s, readFile(QStringLiteral(FAKE_CLAUDE)));
        // Qt's plugin frees nothing of libwayland's at its end.
        writeFile(path(u"leaks"_s), "leak:libwayland-client\nleak:wl_proxy_add_listener\n");
        environment.insert(u"LSAN_OPTIONS"_s, u"print_suppressions=0:suppressions=leaks"_s);
    }
    WaylandHands hands;
    QProcess* application = nullptr; // the last one

    void openProgram(const QString& program, const QStringList& arguments, const QString& appId, bool onX = false) {
        environment.insert(u"GDK_BACKEND"_s, onX ? u"x11"_s : u"wayland"_s);
        application = &start(program, arguments);
        ASSERT_TRUE(waitUntil([&] { return focused() == appId; }, 30)) << TestDesk::log(program).toStdString();
    }
    void openDocument(const QByteArray& text, bool onX = false) {
        writeFile(path(u"document.txt"_s), text);
        openProgram(u"mousepad"_s, {u"--disable-server"_s, path(u"document.txt"_s)},
                    onX ? u"Mousepad"_s : u"mousepad"_s, onX);
    }
    /// The application in front, as sway has it.
    [[nodiscard]] QString focused() const {
        const auto tree = QJsonDocument::fromJson(output(u"swaymsg"_s, {u"-t"_s, u"get_tree"_s}).toUtf8());
        return focusedIn(tree.object());
    }
    static QString focusedIn(const QJsonObject& node) {
        if (node[u"focused"].toBool() && node[u"pid"].isDouble()) {
            const QJsonObject ofX = node[u"window_properties"].toObject();
            return ofX.isEmpty() ? node[u"app_id"].toString() : ofX[u"class"].toString();
        }
        for (const auto* children : {"nodes", "floating_nodes"}) {
            for (const QJsonValue child : node[QLatin1String(children)].toArray()) {
                if (const QString found = focusedIn(child.toObject()); !found.isEmpty())
                    return found;
            }
        }
        return {};
    }
    /// Has all of the document selected, or the line of a terminal; it may be in front before it has its text.
    void select(const QString& words, bool inTerminal = false) {
        EXPECT_TRUE(waitUntil([&] {
            if (inTerminal)
                hands.drag({3, 9}, {400, 9});
            else
                hands.press(u"ctrl+a"_s);
            return output(u"wl-paste"_s, {u"-n"_s, u"-p"_s}).contains(words);
        })) << words.toStdString();
    }
    /// Presses the hotkey and waits until the panel has the keyboard.
    [[nodiscard]] bool openPanel() {
        const auto before = log().count(u"panel up"_s);
        pressHotkey([this] { hands.press(u"alt+space"_s); });
        return waitUntil([&] { return log().count(u"panel up"_s) > before && focused().isEmpty(); });
    }
    [[nodiscard]] bool closes() const {
        return waitUntil([&] { return !focused().isEmpty(); });
    }
    void shoot(const QString& name) const {
        const QString pictures = qEnvironmentVariable("OVALIN_TEST_PICTURES");
        if (!pictures.isEmpty())
            output(u"grim"_s, {QDir(pictures).filePath(name + u".png"_s)});
    }
    /// Where there are many light pixels in a row, on the dark ground: the panel, and what belongs to it.
    [[nodiscard]] QRect lightPart() const {
        const QString file = path(u"shot.png"_s);
        output(u"grim"_s, {file});
        const QImage shot(file);
        std::vector<int> rows(static_cast<size_t>(shot.height())), columns(static_cast<size_t>(shot.width()));
        for (int y = 0; y < shot.height(); ++y) {
            for (int x = 0; x < shot.width(); ++x) {
                if (qGray(shot.pixel(x, y)) > 150) {
                    ++rows[static_cast<size_t>(y)];
                    ++columns[static_cast<size_t>(x)];
                }
            }
        }
        const auto span = [](const std::vector<int>& counts) {
            const auto many = [](int count) { return count > 60; };
            const auto first = std::find_if(counts.begin(), counts.end(), many);
            const auto last = std::find_if(counts.rbegin(), counts.rend(), many).base();
            return std::pair(static_cast<int>(first - counts.begin()), static_cast<int>(last - counts.begin()));
        };
        const auto [top, bottom] = span(rows);
        const auto [left, right] = span(columns);
        return QRect(QPoint(left, top), QPoint(right - 1, bottom - 1));
    }
    /// The button between Cancel and Submit, by the keys.
    void pressReplaceButton() {
        for (int i = 0; i < 3; ++i)
            hands.press(u"Tab"_s);
        hands.press(u"space"_s);
    }
    bool documentIs(const QByteArray& text) {
        return waitUntil([&] {
            hands.press(u"ctrl+s"_s);
            return readFile(path(u"document.txt"_s)).trimmed() == text;
        });
    }
};

} // namespace

TEST(Wayland, ARequestCarriesWhatIsSelectedInTheWindowInFront) {
    SwayDesk desk;
    desk.startOvalin();
    int pictures = 0;
    const struct {
        const char* app;
        bool terminal, onX;
    } rows[] = {{"Mousepad", false, false}, {"Mousepad", false, true}, {"Foot", true, false}};
    for (const auto& row : rows) {
        const QString words = u"words of %1 %2"_s.arg(QLatin1String(row.app)).arg(row.onX);
        if (row.terminal) {
            desk.openProgram(u"foot"_s, {u"sh"_s, u"-c"_s, u"printf '%s' '%1'; cat"_s.arg(words)}, u"foot"_s);
        } else {
            desk.openDocument(words.toUtf8(), row.onX);
        }
        desk.select(words.last(6), row.terminal);

        ASSERT_TRUE(desk.openPanel()) << desk.log().toStdString();
        desk.hands.type(u"keep "_s + words);
        desk.shoot(u"wayland-%1-%2"_s.arg(QLatin1String(row.app)).arg(row.onX));
        desk.hands.press(u"Return"_s);
        EXPECT_TRUE(desk.closes());
        const QJsonObject request = desk.waitForRequest(u"keep "_s + words);
        EXPECT_EQ(request[u"source_app"].toString(), QLatin1String(row.app)) << desk.log().toStdString();
        EXPECT_TRUE(words.endsWith(request[u"text"].toString().last(6))) << request[u"text"].toString().toStdString();
        const QImage picture(request[u"screenshot"].toString());
        pictures += !picture.isNull(); // a busy machine may take none in time
        if (row.terminal && !picture.isNull()) {
            EXPECT_LT(picture.pixelColor(400, 120).lightness(), 60) << "the panel is not in the picture";
        }
        EXPECT_EQ(desk.focused(), row.terminal ? u"foot"_s : row.onX ? u"Mousepad"_s : u"mousepad"_s) << "as before";
        desk.end(*desk.application);
        ASSERT_TRUE(waitUntil([&] { return desk.focused().isEmpty(); }));
    }
    EXPECT_GT(pictures, 0);
}

TEST(Wayland, AQuestionIsAnswered) {
    SwayDesk desk;
    writeFile(desk.path(u"agent/scenario.json"_s), R"({"chat": [{"steps": [{"text": "Blue."}]}]})");
    desk.startOvalin();
    desk.openDocument("The sky over the sea.\n");
    ASSERT_TRUE(desk.openPanel());
    desk.hands.type(u"why is the sky blue?"_s);
    desk.hands.press(u"Return"_s);
    EXPECT_TRUE(waitUntil([&] { return readFile(desk.systemDir() + u"/ovalin-ask-history.json"_s).contains("Blue."); }))
        << desk.log().toStdString();
    desk.shoot(u"wayland-ask"_s);
    desk.hands.press(u"Escape"_s);
    EXPECT_TRUE(desk.closes());
}

TEST(Wayland, SpokenWordsBecomeARequest) {
    if (speechFolder().isEmpty())
        GTEST_SKIP() << "scripts/install-speech could not fetch the engine";
    SoundServer sound;
    SwayDesk desk;
    desk.environment.insert(u"PULSE_SERVER"_s, sound.address());
    desk.startOvalin();
    desk.openProgram(u"foot"_s, {u"cat"_s}, u"foot"_s);
    ASSERT_TRUE(desk.openPanel());
    desk.hands.press(u"Tab"_s); // to the microphone
    desk.hands.press(u"space"_s);
    ASSERT_TRUE(waitUntil([&] { return sound.hasListener(); })) << desk.log().toStdString();
    ASSERT_TRUE(desk.hears(sound, u"please send this message to the whole team"_s)) << desk.log().toStdString();
    desk.shoot(u"wayland-dictated"_s);
    desk.hands.press(u"Return"_s);
    EXPECT_TRUE(desk.closes());
    EXPECT_TRUE(desk.waitForRequest()[u"prompt"_s].toString().contains(u"message to the"_s));
    EXPECT_TRUE(waitUntil([&] { return !sound.hasListener(); }));
}

TEST(Wayland, TheSelectionIsReplacedAndTheClipboardIsAsItWas) {
    for (const bool onX : {false, true}) {
        SwayDesk desk;
        desk.startOvalin();
        desk.start(u"wl-copy"_s, {u"--foreground"_s, u"copied before"_s});
        desk.openDocument("the old words", onX);
        desk.select(u"the old words"_s);

        ASSERT_TRUE(desk.openPanel());
        desk.hands.type(u"replace with 'the new words'"_s);
        desk.pressReplaceButton();
        ASSERT_TRUE(desk.closes()) << desk.log().toStdString();
        EXPECT_TRUE(desk.documentIs("the new words")) << desk.log().toStdString();

        // Without a selection the words go to the cursor.
        desk.hands.press(u"ctrl+End"_s);
        ASSERT_TRUE(desk.openPanel());
        desk.hands.type(u"'and more'"_s);
        desk.pressReplaceButton();
        ASSERT_TRUE(desk.closes()) << desk.log().toStdString();
        EXPECT_TRUE(desk.documentIs("the new wordsand more")) << desk.log().toStdString();
        EXPECT_TRUE(waitUntil([&] { return desk.output(u"wl-paste"_s, {u"-n"_s}) == u"copied before"_s; }));
    }
}

TEST(Wayland, ThePanelHangsUnderThePointerAndFollowsADragOfItsGround) {
    SwayDesk desk;
    desk.startOvalin();
    desk.openProgram(u"foot"_s, {u"cat"_s}, u"foot"_s);
    desk.hands.click({640, 300});
    ASSERT_TRUE(desk.openPanel());
    QRect panel;
    const auto liesAt = [&](QPoint corner) {
        return waitUntil([&] {
            panel = desk.lightPart();
            return panel.topLeft() == corner;
        });
    };
    EXPECT_TRUE(liesAt({400, 324})) << panel.x() << ' ' << panel.y();
    desk.shoot(u"wayland-panel"_s);
    desk.hands.drag(panel.topLeft() + QPoint(240, 28), panel.topLeft() + QPoint(390, 108));
    EXPECT_TRUE(liesAt({550, 404})) << panel.x() << ' ' << panel.y();
    const int height = panel.height();
    desk.hands.press(u"Menu"_s); // its menu reaches below it
    EXPECT_TRUE(waitUntil([&] { return desk.lightPart().height() > height; }));
    desk.shoot(u"wayland-menu"_s);
    desk.hands.press(u"Escape"_s);
    EXPECT_TRUE(waitUntil([&] { return desk.lightPart().height() == height; }));
    desk.hands.type(u"still typed"_s);
    desk.hands.press(u"Return"_s);
    EXPECT_TRUE(desk.closes());
    std::ignore = desk.waitForRequest(u"still typed"_s);
}

TEST(Wayland, AWindowThatOpensMeanwhileGetsNoneOfTheWordsButOneThatIsClickedDoes) {
    SwayDesk desk;
    desk.startOvalin();
    desk.openProgram(u"foot"_s, {u"cat"_s}, u"foot"_s);
    ASSERT_TRUE(desk.openPanel());
    desk.start(u"foot"_s, {u"--app-id=other"_s, u"sh"_s, u"-c"_s, u"cat >taken"_s});
    ASSERT_TRUE(waitUntil([&] {
        return desk.output(u"swaymsg"_s, {u"-t"_s, u"get_tree"_s}).contains(u"\"app_id\": \"other\""_s);
    }));
    desk.hands.type(u"a word for the panel"_s);
    desk.hands.press(u"Return"_s);
    std::ignore = desk.waitForRequest(u"a word for the panel"_s);
    EXPECT_EQ(readFile(desk.path(u"taken"_s)), "");

    ASSERT_TRUE(waitUntil([&] { return desk.focused() == u"other"_s; }));
    ASSERT_TRUE(desk.openPanel());
    EXPECT_TRUE(waitUntil([&] {
        desk.hands.click({900, 700});
        return !desk.focused().isEmpty();
    }));
    desk.hands.type(u"beside it"_s);
    desk.hands.press(u"Return"_s);
    EXPECT_TRUE(waitUntil([&] { return readFile(desk.path(u"taken"_s)) == "beside it\n"; }));
}
