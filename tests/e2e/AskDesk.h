#pragma once

#include "e2e/OvalinDesk.h"

namespace ovalin {

/// A desktop with the stand-in agent and a search script, an editor whose text is highlighted, and the panel over it.
struct AskDesk : OvalinDesk {
    QString panel;
    QTemporaryDir plainFolder; // xdg-open takes no command with a quote in it

    explicit AskDesk(const QByteArray& scenario) {
        environment.insert(u"FAKE_CLAUDE_DIR"_s, path(u"agent"_s));
        installScript(u".local/bin/claude"_s, readFile(QStringLiteral(FAKE_CLAUDE)));
        installScript(u".claude/bin/websearch-google"_s,
                      "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$1\" \"$2\" > \"$HOME/searched\"\n"
                      "echo '[{\"title\":\"T\",\"url\":\"https://t.example\",\"snippet\":\"S\"}]'\n");
        writeFile(path(u"agent/scenario.json"_s), scenario);
        // The desktop's opener hands links to this one.
        const QString browser =
            writeProgram(plainFolder.filePath(u"browser"_s), "#!/bin/sh\necho \"$1\" > \"$HOME/opened\"\n");
        writeFile(plainFolder.filePath(u"applications/browser.desktop"_s),
                  "[Desktop Entry]\nType=Application\nName=Browser\nExec=" + browser.toUtf8() +
                      " %u\nMimeType=x-scheme-handler/http;\n");
        writeFile(plainFolder.filePath(u"applications/mimeapps.list"_s),
                  "[Default Applications]\nx-scheme-handler/http=browser.desktop\n");
        environment.insert(u"XDG_DATA_DIRS"_s, plainFolder.path() + u":/usr/local/share:/usr/share"_s);
        startOvalin();
        openEditor("The sky over the sea.\n");
        pressKey(u"ctrl+a"_s);
        waitUntil([&] { return !primary().isEmpty(); });
        open();
    }
    void open() {
        ASSERT_TRUE(opensPanel());
        panel = panelWindow();
    }
    void ask(const QString& question) { enter(question); }
    [[nodiscard]] std::vector<QJsonObject> agentLog(const QString& event) const {
        auto found = readJsonLines(path(u"agent/log.jsonl"_s));
        std::erase_if(found, [&](const QJsonObject& entry) { return entry.value(u"event"_s).toString() != event; });
        return found;
    }
    /// The chat processes that were started, without the agent's other jobs.
    [[nodiscard]] std::vector<QJsonObject> chats() const {
        auto starts = agentLog(u"start"_s);
        std::erase_if(starts, [](const QJsonObject& start) {
            return start.value(u"role"_s).toString() != QLatin1String("chat");
        });
        return starts;
    }
    /// The text of the n-th message that the agent was given.
    [[nodiscard]] QString message(size_t number) const {
        auto lines = agentLog(u"stdin"_s);
        std::erase_if(lines, [](const QJsonObject& entry) { return !entry.contains(u"line"_s); });
        if (lines.size() <= number)
            return {};
        const auto line = QJsonDocument::fromJson(lines[number].value(u"line"_s).toString().toUtf8()).object();
        return line[u"message"_s][u"content"_s][0][u"text"_s].toString();
    }
    [[nodiscard]] QPoint inTranscript() const {
        const QRect frame = frameOf(panel);
        return {frame.x() + 60, frame.y() + frame.height() - 200};
    }
    void click(QPoint at) const {
        xdotool({u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"click"_s, u"1"_s});
    }
    /// What the conversation says, by copying it as a user would.
    [[nodiscard]] QString conversation() const {
        click(inTranscript());
        pressKey(u"ctrl+a"_s);
        pressKey(u"ctrl+c"_s);
        return selection();
    }
    bool waitForConversation(const QString& end) {
        return waitUntil([&] { return conversation().endsWith(end); });
    }
    [[nodiscard]] bool agentsAreGone() const {
        for (const QJsonObject& start : agentLog(u"start"_s)) {
            if (::kill(start.value(u"pid"_s).toInt(), 0) == 0)
                return false;
        }
        return true;
    }
};

} // namespace ovalin
