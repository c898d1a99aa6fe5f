// Opening, using and closing the panel changes nothing below but the words that were meant: beside applications that
// are easily harmed (tests/fakes/StandIn.cpp).
#include "e2e/OvalinDesk.h"

namespace {

/// Its window, with the focus.
QString standIn(OvalinDesk& desk, const QString& kind, const QString& window) {
    desk.start(QStringLiteral(STAND_IN), {kind, desk.path(u"stand-in"_s)});
    const QString found = desk.waitForWindow(u"stand-in "_s + window);
    desk.xdotool({u"windowfocus"_s, u"--sync"_s, found});
    return found;
}

/// Whether what is started next can be.
void reachableByTheTree(OvalinDesk& desk, bool reachable) {
    desk.environment.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, reachable ? u"1"_s : QString());
}

} // namespace

TEST(Harmless, NoKeyReachesWhatItWouldHarmHeldOrNot) {
    OvalinDesk desk;
    desk.startOvalin();
    for (const bool knownToTheTree : {false, true}) {
        const QString kind = knownToTheTree ? u"terminal"_s : u"keys"_s;
        reachableByTheTree(desk, knownToTheTree);
        writeFile(desk.path(u"stand-in"_s), {});
        const QString window = standIn(desk, kind, kind);
        ASSERT_FALSE(window.isEmpty()) << kind.toStdString();
        const auto keys = [&] { return readFile(desk.path(u"stand-in"_s)); };
        ASSERT_TRUE(waitUntil([&] {
            desk.pressKey(u"F5"_s);
            return !keys().isEmpty();
        })) << "it hears keys";
        writeFile(desk.path(u"stand-in"_s), {});

        for (const QString& close : {u"Escape"_s, u"Return"_s, u"space"_s}) {
            SCOPED_TRACE((kind + u' ' + close).toStdString());
            const bool hotkeyHeld = close == u"space"_s;
            ASSERT_TRUE(desk.opensPanel());
            desk.type(u"some words"_s);
            waitUntil([] { return false; }, 0.3); // presses within a quarter of a second count once
            if (hotkeyHeld)
                desk.xdotool({u"keydown"_s, u"alt"_s});
            desk.xdotool({u"keydown"_s, close});
            EXPECT_TRUE(desk.waitForPanel(false));
            waitUntil([] { return false; }, 1); // longer than a key takes to repeat
            desk.xdotool({u"keyup"_s, close});
            if (hotkeyHeld)
                desk.xdotool({u"keyup"_s, u"alt"_s});
            // Of what is not known (yet), only what copies in every common toolkit is asked.
            EXPECT_EQ(keys().replace("Ctrl+Ins\n", "").toStdString(), "");
            desk.xdotool({u"windowfocus"_s, window});
        }
        EXPECT_TRUE(waitUntil([&] {
            desk.pressKey(u"ctrl+c"_s);
            return keys().endsWith("Ctrl+C\n");
        })) << "it would have told: "
            << keys().toStdString();
        EXPECT_TRUE(waitUntil([&] { return desk.waitForWindow(u"stand-in"_s, 0).isEmpty(); }));
    }
}

TEST(Harmless, WhatIsSelectedInAnotherWindowOfTheApplicationIsNoneOfThisOne) {
    OvalinDesk desk;
    desk.startOvalin();
    for (const bool knownToTheTree : {true, false}) {
        SCOPED_TRACE(knownToTheTree);
        reachableByTheTree(desk, knownToTheTree);
        const QString second = standIn(desk, u"windows"_s, u"second"_s);
        desk.xdotool({u"windowactivate"_s, u"--sync"_s, desk.waitForWindow(u"stand-in first"_s)});
        // A second Ctrl+A that is handled behind the change of windows would be a selection of that moment.
        ASSERT_TRUE(waitUntil([&] {
            desk.pressKey(u"ctrl+a"_s);
            return waitUntil([&] { return desk.primary() == u"the first text"_s; }, 3);
        }));
        desk.xdotool({u"windowactivate"_s, u"--sync"_s, second});
        ASSERT_TRUE(desk.opensPanel());
        const QString prompt = knownToTheTree ? u"note what the tree says"_s : u"note what it does not say"_s;
        desk.enter(prompt);
        EXPECT_EQ(desk.waitForRequest(prompt).value(u"text"_s), QString());
        ASSERT_TRUE(desk.waitForPanel(false));
        desk.xdotool({u"windowclose"_s, second});
        desk.xdotool({u"windowclose"_s, desk.waitForWindow(u"stand-in first"_s)});
    }
}
