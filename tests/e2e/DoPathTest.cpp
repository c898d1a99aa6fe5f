// One request from the selection in a real application to the router, on a real X server.
#include "e2e/OvalinDesk.h"

namespace {

QJsonArray ledgerItems(const OvalinDesk& desk) {
    return readJson(desk.systemDir() + u"/captures.json"_s)[u"items"_s].toArray();
}

} // namespace

TEST(DoPath, SelectPressTypeReturn) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/capture-router.sh"_s,
                       "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" > \"$HOME/routed\"\necho routed\n");
    desk.startOvalin();
    const QString editor = desk.openEditor("Grüße an \"alle\" $(hier) 🙂\n");
    desk.pressKey(u"ctrl+a"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.primary().startsWith(u"Grüße"_s); }));

    ASSERT_TRUE(desk.opensPanel());
    EXPECT_EQ(desk.activeWindow(), editor) << "the activation stays with the editor";
    EXPECT_TRUE(desk.primary().startsWith(u"Grüße"_s)) << "and the selection";

    desk.enter(u"make it 'friendlier'; keep $HOME"_s);
    ASSERT_TRUE(desk.waitForPanel(false));
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(u"prompt"_s), u"make it 'friendlier'; keep $HOME"_s) << desk.log().toStdString();
    EXPECT_EQ(request.value(u"text"_s), u"Grüße an \"alle\" $(hier) 🙂"_s);
    EXPECT_EQ(request.value(u"source_app"_s), u"Mousepad"_s);
    EXPECT_EQ(request.value(u"status"_s), u"queued"_s);
    ASSERT_EQ(ledgerItems(desk).size(), 1);
    EXPECT_EQ(ledgerItems(desk)[0].toObject().value(u"id"_s), request.value(u"id"_s));

    ASSERT_TRUE(waitUntil([&] { return readFile(desk.path(u"routed"_s)).startsWith("1\n/"); }));
    EXPECT_TRUE(waitUntil([&] { return readFile(desk.path(u".claude/logs/capture-router.log"_s)) == "routed\n"; }));

    // The keyboard is back with the editor.
    desk.pressKey(u"Right"_s);
    desk.type(u"typed after"_s);
    EXPECT_TRUE(waitUntil([&] {
        desk.pressKey(u"ctrl+a"_s);
        return desk.primary().contains(u"typed after"_s);
    }));
}
