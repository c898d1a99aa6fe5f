#pragma once

#include "e2e/OvalinDesk.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <csignal>

namespace ovalin {

/// A desktop with the stand-in agent and a search script, an editor whose text is highlighted, and the panel over it.
struct AskDesk : OvalinDesk {
    QString panel;
    QTemporaryDir plainFolder; // xdg-open takes no command with a quote in it

    explicit AskDesk(const QByteArray& scenario) {
        environment.insert(QStringLiteral("FAKE_CLAUDE_DIR"), path(QStringLiteral("agent")));
        installScript(QStringLiteral(".local/bin/claude"), readFile(QStringLiteral(FAKE_CLAUDE)));
        installScript(QStringLiteral(".claude/bin/websearch-google"),
                      "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" \"$2\" > \"$HOME/searched\"\n"
                      "echo '[{\"title\":\"T\",\"url\":\"https://t.example\",\"snippet\":\"S\"}]'\n");
        writeFile(path(QStringLiteral("agent/scenario.json")), scenario);
        // The desktop's opener hands links to this one.
        const QString browser = plainFolder.filePath(QStringLiteral("browser"));
        writeFile(browser, "#!/bin/sh\necho \"$1\" > \"$HOME/opened\"\n");
        QFile::setPermissions(browser, QFile::ReadOwner | QFile::ExeOwner);
        writeFile(path(QStringLiteral(".local/share/applications/browser.desktop")),
                  "[Desktop Entry]\nType=Application\nName=Browser\nExec=" + browser.toUtf8() +
                      " %u\nMimeType=x-scheme-handler/http;\n");
        writeFile(path(QStringLiteral(".config/mimeapps.list")),
                  "[Default Applications]\nx-scheme-handler/http=browser.desktop\n");
        startOvalin();
        openEditor("The sky over the sea.\n");
        pressKey(QStringLiteral("ctrl+a"));
        waitUntil([&] { return !primary().isEmpty(); });
        open();
    }
    void open() {
        pressHotkey();
        ASSERT_TRUE(waitForPanel(true)) << log().toStdString();
        panel = panelWindow();
    }
    void ask(const QString& question) {
        type(question);
        pressKey(QStringLiteral("Return"));
    }
    [[nodiscard]] std::vector<QJsonObject> agentLog(const QString& event) const {
        std::vector<QJsonObject> found;
        for (const QByteArray& line : readFile(path(QStringLiteral("agent/log.jsonl"))).split('\n')) {
            const QJsonObject entry = QJsonDocument::fromJson(line).object();
            if (entry.value(QStringLiteral("event")).toString() == event)
                found.push_back(entry);
        }
        return found;
    }
    /// The chat processes that were started, without the agent's other jobs.
    [[nodiscard]] std::vector<QJsonObject> chats() const {
        auto starts = agentLog(QStringLiteral("start"));
        std::erase_if(starts, [](const QJsonObject& start) {
            return start.value(QStringLiteral("role")).toString() != QLatin1String("chat");
        });
        return starts;
    }
    /// The text of the n-th message that the agent was given.
    [[nodiscard]] QString message(size_t number) const {
        auto lines = agentLog(QStringLiteral("stdin"));
        std::erase_if(lines, [](const QJsonObject& entry) { return !entry.contains(QStringLiteral("line")); });
        if (lines.size() <= number)
            return {};
        const auto line =
            QJsonDocument::fromJson(lines[number].value(QStringLiteral("line")).toString().toUtf8()).object();
        return line[QStringLiteral("message")][QStringLiteral("content")][0][QStringLiteral("text")].toString();
    }
    [[nodiscard]] QPoint inTranscript() const {
        const QRect frame = frameOf(panel);
        return {frame.x() + 60, frame.y() + frame.height() - 200};
    }
    void click(QPoint at) const {
        xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()), QStringLiteral("click"),
                 QStringLiteral("1")});
    }
    /// What the conversation says, by copying it as a user would.
    [[nodiscard]] QString conversation() const {
        click(inTranscript());
        pressKey(QStringLiteral("ctrl+a"));
        pressKey(QStringLiteral("ctrl+c"));
        return output(QStringLiteral("xclip"),
                      {QStringLiteral("-selection"), QStringLiteral("clipboard"), QStringLiteral("-o")});
    }
    bool waitForConversation(const QString& end) {
        return waitUntil([&] { return conversation().endsWith(end); });
    }
    [[nodiscard]] bool agentsAreGone() const {
        for (const QJsonObject& start : agentLog(QStringLiteral("start"))) {
            if (::kill(start.value(QStringLiteral("pid")).toInt(), 0) == 0)
                return false;
        }
        return true;
    }
};

} // namespace ovalin
