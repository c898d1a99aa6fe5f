// One request from the selection in a real application to the router, on a real X server.
#include "e2e/OvalinDesk.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;
using namespace ovalin;

namespace {

// A router that says with what it was called.
const QByteArray ROUTER =
    "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" > \"$HOME/routed\"\ncat \"$1\" > \"$HOME/routed.json\"\necho routed\n";

QJsonArray ledgerItems(const OvalinDesk& desk) {
    return QJsonDocument::fromJson(readFile(desk.systemDir() + u"/captures.json"_s))
        .object()
        .value(u"items"_s)
        .toArray();
}

} // namespace

TEST(DoPath, SelectPressTypeReturn) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/capture-router.sh"_s, ROUTER);
    desk.startOvalin();
    const QString editor = desk.openEditor("Grüße an \"alle\" $(hier) 🙂\n");
    desk.pressKey(u"ctrl+a"_s);
    ASSERT_TRUE(waitUntil([&] { return desk.primary().startsWith(u"Grüße"_s); }));

    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    EXPECT_EQ(desk.activeWindow(), editor) << "the activation stays with the editor";
    EXPECT_TRUE(desk.primary().startsWith(u"Grüße"_s)) << "and the selection";

    desk.type(u"make it 'friendlier'; keep $HOME"_s);
    desk.pressKey(u"Return"_s);
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

TEST(DoPath, TheBundledRouterHasTheAgentDoIt) {
    OvalinDesk desk;
    desk.installScript(u".local/bin/claude"_s,
                       "#!/bin/sh\nfile=${2##*Queue file: }\n"
                       "~/.claude/bin/ovalin-ledger set \"$(basename \"$file\" .json)\" ready 'noted'\n");
    desk.startOvalin();
    ASSERT_TRUE(desk.waitForLog(u"bundled runtime scripts"_s));
    desk.openEditor("some text\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.type(u"note this"_s);
    desk.pressKey(u"Return"_s);
    const QDir processed(desk.systemDir() + u"/capture-queue/processed"_s);
    EXPECT_TRUE(waitUntil([&] { return processed.exists() && !processed.isEmpty(); }))
        << readFile(desk.path(u".claude/logs/capture-router.log"_s)).toStdString();
    ASSERT_EQ(ledgerItems(desk).size(), 1);
    const QJsonObject entry = ledgerItems(desk)[0].toObject();
    EXPECT_EQ(entry.value(u"status"_s), u"ready"_s);
    EXPECT_EQ(entry.value(u"prompt"_s), u"note this"_s);
}

TEST(DoPath, WithoutARouterScriptTheAgentDoesIt) {
    OvalinDesk desk;
    writeFile(desk.path(u".claude/bin/capture-router.sh"_s), "not executable");
    writeFile(desk.path(u"it's here/claude"_s), readFile(QStringLiteral(FAKE_CLAUDE)));
    desk.installScript(u"it's here/claude"_s, readFile(QStringLiteral(FAKE_CLAUDE)));
    // Only the login shell knows this place, and it has blanks and a quote in it.
    writeFile(desk.path(u".zprofile"_s), "path=(\"$HOME/it's here\" $path)\n");
    desk.environment.insert(u"FAKE_CLAUDE_DIR"_s, desk.path(u"agent"_s));
    desk.startOvalin();
    desk.openEditor("some text\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.type(u"note this"_s);
    desk.pressKey(u"Return"_s);
    const QJsonObject request = desk.waitForRequest();
    ASSERT_FALSE(request.isEmpty()) << desk.log().toStdString();
    EXPECT_TRUE(waitUntil([&] {
        const QByteArray log = readFile(desk.path(u"agent/log.jsonl"_s));
        return log.contains("Queue file: ") && log.contains(request.value(u"id"_s).toString().toUtf8()) &&
               log.contains("bypassPermissions");
    })) << readFile(desk.path(u"agent/log.jsonl"_s)).toStdString()
        << readFile(desk.path(u".claude/logs/capture-router.log"_s)).toStdString();
}

TEST(DoPath, OtherApplicationsAndTheirSelections) {
    OvalinDesk desk;
    desk.installScript(u".claude/bin/capture-router.sh"_s, ROUTER);
    writeFile(desk.path(u"qt.txt"_s), "Words in a Qt editor\n");
    desk.startOvalin();
    const auto selectAll = [&](const QString&) { desk.pressKey(u"ctrl+a"_s); };
    const auto doubleClick = [&](const QString& window) {
        desk.xdotool({u"mousemove"_s, u"--window"_s, window, u"40"_s, u"8"_s});
        desk.xdotool({u"click"_s, u"--repeat"_s, u"2"_s, u"--delay"_s, u"60"_s, u"1"_s});
    };
    struct Row {
        const char* program; ///< a Qt editor, read by accessibility, and a terminal, which has PRIMARY alone
        QStringList arguments;
        std::function<void(const QString& window)> select;
        const char* expected;
    };
    for (const Row& row : {Row{"featherpad", {desk.path(u"qt.txt"_s)}, selectAll, "Words in a Qt editor"},
                           Row{"xterm",
                               {u"-e"_s, u"printf 'wordsinaterminal\\n'; exec sleep 1000"_s},
                               doubleClick,
                               "wordsinaterminal"}}) {
        QProcess& program = desk.start(QString::fromLatin1(row.program), row.arguments);
        const QString window = desk.waitForWindow(QString::fromLatin1(row.program), 30);
        ASSERT_FALSE(window.isEmpty()) << row.program;
        desk.xdotool({u"windowfocus"_s, u"--sync"_s, window});
        // A program that just opened may not listen yet: as a user would, try again.
        EXPECT_TRUE(waitUntil(
            [&] {
                row.select(window);
                desk.pressHotkey();
                if (!desk.waitForPanel(true, 5))
                    return false;
                desk.type(u"note"_s);
                waitUntil([] { return false; }, 0.5); // the excerpt comes after the panel
                desk.pressKey(u"Return"_s);
                return waitUntil(
                    [&] {
                        const QByteArray routed = readFile(desk.path(u"routed.json"_s));
                        return QJsonDocument::fromJson(routed).object().value(u"text"_s) ==
                               QString::fromLatin1(row.expected);
                    },
                    3);
            },
            30))
            << row.program << readFile(desk.path(u"routed.json"_s)).toStdString() << desk.log().toStdString();
        EXPECT_EQ(program.state(), QProcess::Running) << "and was not interrupted";
        desk.end(program);
    }
}
