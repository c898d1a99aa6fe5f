#include "AgentCli.h"

#include "children/ChildProcess.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

std::optional<QString> askLoginShell(std::chrono::milliseconds deadline) {
    // Only a login shell has the PATH that the user's own start-up files set up.
    RunOptions options;
    options.deadline = deadline;
    options.outputLimit = 1 << 16;
    const ChildRun run = runToEnd({shellPath(), {u"-lc"_s, u"command -v claude"_s}, {}, {}}, options);
    if (run.end.kind == ChildEnd::Kind::FailedToStart || run.timedOut || run.truncated)
        return std::nullopt;
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString printed = decoder.decode(run.output);
    if (decoder.hasError() || printed.trimmed().isEmpty())
        return std::nullopt;
    return printed.trimmed();
}

} // namespace

QString agentMissingMessage() { return u"Claude Code not found — install it from "_s + AGENT_INSTALL_PAGE; }

QString agentMissingChatMessage() { return agentMissingMessage() + u" and run `claude` once to sign in"_s; }

bool scriptExists(const QString& path) {
    return QFileInfo(path).isFile() && ::access(QFile::encodeName(path).constData(), X_OK) == 0;
}

AgentSearch AgentSearch::under(const QString& home) {
    AgentSearch search;
    search.candidates = {home + u"/.local/bin/claude"_s, u"/opt/homebrew/bin/claude"_s, u"/usr/local/bin/claude"_s,
                         u"/usr/bin/claude"_s};
    search.loginShell = true;
    return search;
}

std::optional<QString> findClaudeBinary(const AgentSearch& search) {
    for (const QString& candidate : search.candidates) {
        if (scriptExists(candidate))
            return candidate;
    }
    if (!search.loginShell)
        return std::nullopt;
    // An alias or a shell function is printed too, and is no file.
    auto printed = askLoginShell(search.probeDeadline);
    if (printed && printed->startsWith(QLatin1Char('/')) && scriptExists(*printed))
        return printed;
    return std::nullopt;
}

} // namespace ovalin
