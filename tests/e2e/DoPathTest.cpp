// One request from the selection in a real application to the router, on a real X server.
#include "e2e/OvalinDesk.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <functional>

using namespace ovalin;

namespace {

// A router that says with what it was called.
const QByteArray ROUTER =
    "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" > \"$HOME/routed\"\ncat \"$1\" > \"$HOME/routed.json\"\necho routed\n";

QJsonArray ledgerItems(const OvalinDesk& desk) {
    return QJsonDocument::fromJson(readFile(desk.systemDir() + QStringLiteral("/captures.json")))
        .object()
        .value(QStringLiteral("items"))
        .toArray();
}

} // namespace

TEST(DoPath, SelectPressTypeReturn) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), ROUTER);
    desk.startOvalin();
    const QString editor = desk.openEditor("Grüße an \"alle\" $(hier) 🙂\n");
    desk.pressKey(QStringLiteral("ctrl+a"));
    ASSERT_TRUE(waitUntil([&] { return desk.primary().startsWith(QStringLiteral("Grüße")); }));

    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true)) << desk.log().toStdString();
    EXPECT_EQ(desk.activeWindow(), editor) << "the activation stays with the editor";
    EXPECT_TRUE(desk.primary().startsWith(QStringLiteral("Grüße"))) << "and the selection";

    desk.type(QStringLiteral("make it 'friendlier'; keep $HOME"));
    desk.pressKey(QStringLiteral("Return"));
    ASSERT_TRUE(desk.waitForPanel(false));
    const QJsonObject request = desk.waitForRequest();
    EXPECT_EQ(request.value(QStringLiteral("prompt")), QStringLiteral("make it 'friendlier'; keep $HOME"))
        << desk.log().toStdString();
    EXPECT_EQ(request.value(QStringLiteral("text")), QStringLiteral("Grüße an \"alle\" $(hier) 🙂"));
    EXPECT_EQ(request.value(QStringLiteral("source_app")), QStringLiteral("Mousepad"));
    EXPECT_EQ(request.value(QStringLiteral("status")), QStringLiteral("queued"));
    ASSERT_EQ(ledgerItems(desk).size(), 1);
    EXPECT_EQ(ledgerItems(desk)[0].toObject().value(QStringLiteral("id")), request.value(QStringLiteral("id")));

    ASSERT_TRUE(waitUntil([&] { return readFile(desk.path(QStringLiteral("routed"))).startsWith("1\n/"); }));
    EXPECT_TRUE(waitUntil(
        [&] { return readFile(desk.path(QStringLiteral(".claude/logs/capture-router.log"))) == "routed\n"; }));

    // The keyboard is back with the editor.
    desk.pressKey(QStringLiteral("Right"));
    desk.type(QStringLiteral("typed after"));
    EXPECT_TRUE(waitUntil([&] {
        desk.pressKey(QStringLiteral("ctrl+a"));
        return desk.primary().contains(QStringLiteral("typed after"));
    }));
}

TEST(DoPath, TheBundledRouterHasTheAgentDoIt) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".local/bin/claude"),
                       "#!/bin/sh\nfile=${2##*Queue file: }\n"
                       "~/.claude/bin/ovalin-ledger set \"$(basename \"$file\" .json)\" ready 'noted'\n");
    desk.startOvalin();
    ASSERT_TRUE(desk.waitForLog(QStringLiteral("bundled runtime scripts")));
    desk.openEditor("some text\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.type(QStringLiteral("note this"));
    desk.pressKey(QStringLiteral("Return"));
    const QDir processed(desk.systemDir() + QStringLiteral("/capture-queue/processed"));
    EXPECT_TRUE(waitUntil([&] { return processed.exists() && !processed.isEmpty(); }))
        << readFile(desk.path(QStringLiteral(".claude/logs/capture-router.log"))).toStdString();
    ASSERT_EQ(ledgerItems(desk).size(), 1);
    const QJsonObject entry = ledgerItems(desk)[0].toObject();
    EXPECT_EQ(entry.value(QStringLiteral("status")), QStringLiteral("ready"));
    EXPECT_EQ(entry.value(QStringLiteral("prompt")), QStringLiteral("note this"));
}

TEST(DoPath, WithoutARouterScriptTheAgentDoesIt) {
    OvalinDesk desk;
    writeFile(desk.path(QStringLiteral(".claude/bin/capture-router.sh")), "not executable");
    writeFile(desk.path(QStringLiteral("it's here/claude")), readFile(QStringLiteral(FAKE_CLAUDE)));
    desk.installScript(QStringLiteral("it's here/claude"), readFile(QStringLiteral(FAKE_CLAUDE)));
    // Only the login shell knows this place, and it has blanks and a quote in it.
    writeFile(desk.path(QStringLiteral(".zprofile")), "path=(\"$HOME/it's here\" $path)\n");
    desk.environment.insert(QStringLiteral("FAKE_CLAUDE_DIR"), desk.path(QStringLiteral("agent")));
    desk.startOvalin();
    desk.openEditor("some text\n");
    desk.pressHotkey();
    ASSERT_TRUE(desk.waitForPanel(true));
    desk.type(QStringLiteral("note this"));
    desk.pressKey(QStringLiteral("Return"));
    const QJsonObject request = desk.waitForRequest();
    ASSERT_FALSE(request.isEmpty()) << desk.log().toStdString();
    EXPECT_TRUE(waitUntil([&] {
        const QByteArray log = readFile(desk.path(QStringLiteral("agent/log.jsonl")));
        return log.contains("Queue file: ") && log.contains(request.value(QStringLiteral("id")).toString().toUtf8()) &&
               log.contains("bypassPermissions");
    })) << readFile(desk.path(QStringLiteral("agent/log.jsonl"))).toStdString()
        << readFile(desk.path(QStringLiteral(".claude/logs/capture-router.log"))).toStdString();
}

TEST(DoPath, OtherApplicationsAndTheirSelections) {
    OvalinDesk desk;
    desk.installScript(QStringLiteral(".claude/bin/capture-router.sh"), ROUTER);
    writeFile(desk.path(QStringLiteral("qt.txt")), "Words in a Qt editor\n");
    desk.startOvalin();
    const auto selectAll = [&](const QString&) { desk.pressKey(QStringLiteral("ctrl+a")); };
    const auto doubleClick = [&](const QString& window) {
        desk.xdotool({QStringLiteral("mousemove"), QStringLiteral("--window"), window, QStringLiteral("40"),
                      QStringLiteral("8")});
        desk.xdotool({QStringLiteral("click"), QStringLiteral("--repeat"), QStringLiteral("2"),
                      QStringLiteral("--delay"), QStringLiteral("60"), QStringLiteral("1")});
    };
    struct Row {
        const char* program; ///< a Qt editor, read by accessibility, and a terminal, which has PRIMARY alone
        QStringList arguments;
        std::function<void(const QString& window)> select;
        const char* expected;
    };
    for (const Row& row : {Row{"featherpad", {desk.path(QStringLiteral("qt.txt"))}, selectAll, "Words in a Qt editor"},
                           Row{"xterm",
                               {QStringLiteral("-e"), QStringLiteral("printf 'wordsinaterminal\\n'; exec sleep 1000")},
                               doubleClick,
                               "wordsinaterminal"}}) {
        QProcess& program = desk.start(QString::fromLatin1(row.program), row.arguments);
        const QString window = desk.waitForWindow(QString::fromLatin1(row.program), 30);
        ASSERT_FALSE(window.isEmpty()) << row.program;
        desk.xdotool({QStringLiteral("windowfocus"), QStringLiteral("--sync"), window});
        // A program that just opened may not listen yet: as a user would, try again.
        EXPECT_TRUE(waitUntil(
            [&] {
                row.select(window);
                desk.pressHotkey();
                if (!desk.waitForPanel(true, 5))
                    return false;
                desk.type(QStringLiteral("note"));
                waitUntil([] { return false; }, 0.5); // the excerpt comes after the panel
                desk.pressKey(QStringLiteral("Return"));
                return waitUntil(
                    [&] {
                        const QByteArray routed = readFile(desk.path(QStringLiteral("routed.json")));
                        return QJsonDocument::fromJson(routed).object().value(QStringLiteral("text")) ==
                               QString::fromLatin1(row.expected);
                    },
                    3);
            },
            30))
            << row.program << readFile(desk.path(QStringLiteral("routed.json"))).toStdString()
            << desk.log().toStdString();
        EXPECT_EQ(program.state(), QProcess::Running) << "and was not interrupted";
        desk.end(program);
    }
}
