#include "AgentLine.h"

#include "Text.h"

#include <QRegularExpression>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString BYPASS = u" --permission-mode bypassPermissions"_s;
const QString SYSTEM_PROMPT = u" --append-system-prompt "_s;
// For the forms that only write: a path in their words would have that file read into the request.
const QString NO_READING = u" --settings '{\"permissions\":{\"deny\":[\"Read\"]}}'"_s;

QString start(const QString& agent) { return shellQuoted(agent) + u" -p"_s; }

bool looksLikeCommand(const QString& words) { return words.startsWith(QLatin1Char('/')); }

QString promptWord(const AgentRequest& request) {
    const QString expansion = QLatin1Char('$') + request.variable + QLatin1Char('"');
    if (looksLikeCommand(request.words))
        return u" \" "_s + expansion;
    return (request.words.startsWith(QLatin1Char('-')) ? u" -- \""_s : u" \""_s) + expansion;
}

} // namespace

bool isSessionId(const std::optional<QString>& id) {
    return id && id->size() == 36 && !QUuid::fromString(*id).isNull();
}

QString agentChatLine(const QString& agent, const QString& persona, const std::optional<QString>& resumeId) {
    const QString resume =
        isSessionId(resumeId) ? u"--resume "_s + shellQuoted(*resumeId) + QLatin1Char(' ') : QString();
    return start(agent) + u" --input-format stream-json --output-format stream-json "_s +
           u"--include-partial-messages --verbose --effort low "_s + resume +
           u"--tools WebFetch WebSearch Read Bash Edit Write Grep Glob"_s + SYSTEM_PROMPT + shellQuoted(persona) +
           BYPASS;
}

QString agentWritingLine(const QString& agent, AgentEffort effort, const QString& systemPrompt,
                         const AgentRequest& request) {
    const QString low = effort == AgentEffort::Low ? u" --effort low"_s : QString();
    return start(agent) + low + SYSTEM_PROMPT + shellQuoted(systemPrompt) + NO_READING + promptWord(request);
}

QString agentTransformLine(const QString& agent, const QString& promptWithVariables) {
    return start(agent) + SYSTEM_PROMPT + QLatin1Char('"') + promptWithVariables + QLatin1Char('"') + NO_READING;
}

QByteArray agentInput(const QString& words) {
    return (looksLikeCommand(words) ? QLatin1Char('\n') + words : words).toUtf8();
}

QString agentEditLine(const QString& agent, const QString& prompt) {
    return start(agent) + BYPASS + SYSTEM_PROMPT + shellQuoted(prompt);
}

QByteArray agentEditInput(const QString& words) {
    static const QRegularExpression mention(QStringLiteral(R"((?<!\S)@(?=\S))"));
    return agentInput(QString(words).replace(mention, u"@\u2060"_s));
}

QString agentRouterLine(const QString& agent, const QString& prompt) {
    return start(agent) + QLatin1Char(' ') + shellQuoted(prompt) + BYPASS;
}

} // namespace ovalin
