#include "TransformJob.h"

#include "base/AgentLine.h"
#include "base/Log.h"
#include "base/Text.h"

#include <tl/expected.hpp>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype LOGGED_CHARACTERS = 160;

const QString FAILED = u"transform failed — selection untouched"_s;

// In single quotes: the agent reads the values from its environment.
const QString FILE_PROMPT =
    u"A browser is rendering the local file $OVALIN_FILE. The text on stdin is highlighted on that page. Replace its "
    "first visible occurrence in the file: if $OVALIN_INSTRUCTION is bare words they ARE the replacement, otherwise "
    "apply the instruction as a transformation. Then output ONE short status line naming the file and reminding the "
    "user to reload the page."_s;
const QString QUARN_PROMPT =
    u"The Quarn app renders files from ~/Quarn/public. The text on stdin is highlighted in the app. Find the file "
    u"under "
    "~/Quarn/public whose VISIBLE markup (not scripts/styles/comments) contains it, and replace its first occurrence: "
    "if $OVALIN_INSTRUCTION is bare words they ARE the replacement, otherwise apply the instruction as a "
    "transformation. Then output ONE short status line naming the edited file and reminding the user to press Cmd+R in "
    "Quarn."_s;
// In double quotes: the shell puts the instruction in, and looks at nothing inside it.
const QString TRANSFORM_PROMPT =
    u"Transform the text on stdin exactly as this instruction asks: $OVALIN_INSTRUCTION. Output ONLY the transformed "
    "text - no preamble, no quotes, no commentary."_s;

QString agentLine(ReplaceTarget target, const QString& agent) {
    if (target == ReplaceTarget::File)
        return agentEditLine(agent, FILE_PROMPT);
    if (target == ReplaceTarget::Quarn)
        return agentEditLine(agent, QUARN_PROMPT);
    return agentTransformLine(agent, TRANSFORM_PROMPT);
}

struct Launch {
    QString line;
    QByteArray input;
};

/// The command line and what it reads; the error is for the user.
tl::expected<Launch, QString> launchFor(const TransformJob& transform, const AgentJob& job) {
    const ReplaceTarget target = transform.target;
    const QString script = job.binDir + QLatin1Char('/') + replaceScript(target);
    const bool exists = scriptExists(script);
    logLine(u"Ovalin replace: script=%1 exists=%2"_s.arg(script).arg(exists ? 1 : 0));
    if (exists)
        return Launch{shellQuoted(script), transform.selection.toUtf8()};
    const auto agent = target == ReplaceTarget::Torvi ? std::nullopt : findClaudeBinary(job.agent);
    if (!agent)
        return tl::unexpected(agentMissingMessage());
    const bool edits = target == ReplaceTarget::File || target == ReplaceTarget::Quarn;
    return Launch{agentLine(target, *agent),
                  edits ? agentEditInput(transform.selection) : agentInput(transform.selection)};
}

ChildVariables variablesOf(const TransformJob& transform) {
    ChildVariables variables{{u"OVALIN_INSTRUCTION"_s, transform.instruction},
                             {u"OVALIN_APP"_s, transform.subject.capApp}};
    if (transform.subject.capURL && transform.target == ReplaceTarget::File)
        variables.insert(u"OVALIN_FILE"_s, *transform.subject.capURL);
    if (transform.subject.capURL && transform.target == ReplaceTarget::Web)
        variables.insert(u"OVALIN_URL"_s, *transform.subject.capURL);
    return variables;
}

} // namespace

JobEnd runTransform(const TransformJob& transform, const AgentJob& job) {
    if (const auto end = tooLong(FAILED, transform.instruction))
        return *end;
    const auto launch = launchFor(transform, job);
    if (!launch)
        return {JobEnd::Kind::Failed, launch.error()};
    const ChildRun run = runJob(job, launch->line, variablesOf(transform), launch->input);
    if (run.end.kind == ChildEnd::Kind::FailedToStart) {
        logLine(u"Ovalin replace: %1"_s.arg(run.end.reason));
        return {JobEnd::Kind::Failed, u"transform launch failed"_s};
    }
    const QString result = printedText(run);
    logLine(u"Ovalin replace: exit=%1 resultLen=%2 result=%3"_s.arg(run.end.number)
                .arg(characterCount(result))
                .arg(forLog(firstCharacters(result, LOGGED_CHARACTERS))));
    const bool edits = editsSource(transform.target);
    if (run.end.succeeded() && !result.isEmpty())
        return {edits ? JobEnd::Kind::Status : JobEnd::Kind::Text, result};
    if (edits && !result.isEmpty())
        return {JobEnd::Kind::Failed, oneLine(result)};
    return {JobEnd::Kind::Failed, withReason(FAILED, run)};
}

} // namespace ovalin
