#include "Router.h"

#include "RunningRouters.h"

#include "base/AgentLine.h"
#include "base/children/ChildProcess.h"
#include "base/WholeFile.h"
#include "base/Log.h"
#include "base/Text.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QString backgroundLine(const QString& command, const QString& log) {
    return u"mkdir -p \"$HOME/.claude/logs\"; nohup "_s + command + u" >> "_s + shellQuoted(log) + u" 2>&1 &"_s;
}

const QByteArray LOG_BEFORE = "log ";

QByteArray markText(qint64 logBefore) { return LOG_BEFORE + QByteArray::number(logBefore) + '\n'; }

} // namespace

const QString& fallbackRouterPrompt() {
    static const QString prompt =
        u"Read the JSON file at the path given below. It is a captured request from Ovalin: fields include "
        "id, prompt (what the user wants), text (highlighted excerpt), source_app, source_url, "
        "context_mode, and possibly a screenshot path beside it. Do what the prompt asks, using the "
        "context. Then: (1) update ~/CLAUDE/system/captures.json — find .items[] entry with the same id "
        "and set status to \"ready\" (or \"needs attention\" with a short question if you could not proceed) "
        "and result.summary to one concrete sentence of what you did, creating the file with {\"items\":[]} "
        "first if it does not exist; (2) move the queue file (and any screenshot beside it) into a "
        "processed/ subdirectory next to it; (3) run: osascript -e 'display notification \"<your one-line "
        "summary>\" with title \"Ovalin — ready\"'. Keep everything on this machine. If the request implies "
        "recurrence (\"every day/Friday...\") or real work at a future time, instead schedule execution: "
        "write the instruction to ~/CLAUDE/system/ovalin-jobs/<id>/prompt.md plus a run.sh that executes "
        "it via `claude -p --permission-mode bypassPermissions`, appends a result row to captures.json, "
        "and posts a notification; create and bootstrap a launchd agent com.orlanvex.ovalin-job-<id> in "
        "~/Library/LaunchAgents with the matching StartCalendarInterval; set the originating capture's "
        "status to ready with the schedule described in result.summary."_s;
    return prompt;
}

QString routerScriptLine(const QString& script, const QString& queueFile, const QString& log) {
    return backgroundLine(shellQuoted(script) + QLatin1Char(' ') + shellQuoted(queueFile), log);
}

QString routerAgentLine(const QString& agent, const QString& queueFile, const QString& log) {
    const QString prompt = fallbackRouterPrompt() + u"\n\nQueue file: "_s + queueFile;
    return backgroundLine(agentRouterLine(agent, prompt), log);
}

QString routerMark(const QString& queueFile) {
    const QFileInfo file(queueFile);
    return file.dir().filePath(u"started/"_s + file.completeBaseName());
}

RouterMark readMark(const QString& queueFile) {
    RouterMark mark;
    const auto file = readWholeFile(routerMark(queueFile));
    mark.exists = file && file->version.exists;
    for (const QByteArray& line : file ? file->bytes.split('\n') : QByteArrayList()) {
        if (line.startsWith(LOG_BEFORE))
            mark.logBefore = line.mid(LOG_BEFORE.size()).toLongLong();
        mark.untold |= line == "untold";
    }
    return mark;
}

RouterLaunch spawnRouter(const QString& queueFile, const Paths& paths, const AgentSearch& search) {
    RouterLaunch launch;
    launch.script = scriptExists(paths.routerScript);
    const auto agent = launch.script ? std::nullopt : findClaudeBinary(search);
    if (!launch.script && !agent) {
        launch.start = RouterStart::AgentMissing;
        return launch;
    }
    const QString mark = routerMark(queueFile);
    launch.logBefore = QFileInfo(paths.routerLog).size();
    const auto marked = ensureFolder(QFileInfo(mark).path()).and_then([&] {
        return replaceIfUnchanged(mark, FileContents{}, markText(launch.logBefore));
    });
    if (!marked || *marked == Replaced::Changed) {
        launch.start = marked ? RouterStart::MarkedBefore : RouterStart::NotMarked;
        launch.reason = marked ? QString() : marked.error();
        return launch;
    }
    const QString line = launch.script ? routerScriptLine(paths.routerScript, queueFile, paths.routerLog)
                                       : routerAgentLine(*agent, queueFile, paths.routerLog);
    if (const auto launched =
            launchDetached(shellCommand(line, routerVariables(QFileInfo(queueFile).completeBaseName())));
        !launched) {
        logLine(u"Ovalin: router spawn failed — "_s + launched.error());
        QFile::remove(mark);
        launch.reason = launched.error();
        return launch;
    }
    launch.start = RouterStart::Launched;
    return launch;
}

} // namespace ovalin
