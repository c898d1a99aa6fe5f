#include "InsertJob.h"

#include "base/AgentLine.h"
#include "base/Log.h"

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString FAILED = u"generation failed — nothing inserted"_s;

QString systemPrompt(const InsertJob& insert) {
    QString context = u"The user is in "_s + insert.subject.capApp + u"."_s;
    if (insert.subject.capURL)
        context += u" Page: "_s + *insert.subject.capURL + u"."_s;
    return u"Write the text the instruction asks for, ready to be typed into "_s + insert.subject.capApp +
           u". Output ONLY the text - no preamble, no quotes, no commentary. "_s + context;
}

} // namespace

JobEnd runInsert(const InsertJob& insert, const AgentJob& job) {
    if (const auto end = tooLong(FAILED, insert.instruction))
        return *end;
    const auto agent = findClaudeBinary(job.agent);
    if (!agent)
        return {JobEnd::Kind::Failed, agentMissingMessage()};
    const AgentRequest request{u"OVALIN_INSERT_INSTRUCTION"_s, insert.instruction};
    const QString line = agentWritingLine(*agent, AgentEffort::Usual, systemPrompt(insert), request);
    const ChildRun run = runJob(job, line, {{request.variable, request.words}}, std::nullopt);
    if (run.end.kind == ChildEnd::Kind::FailedToStart) {
        logLine(u"Ovalin insert: %1"_s.arg(run.end.reason));
        return {JobEnd::Kind::Failed, u"generation launch failed"_s};
    }
    const QString text = printedText(run);
    if (!run.end.succeeded() || text.isEmpty())
        return {JobEnd::Kind::Failed, withReason(FAILED, run)};
    return {JobEnd::Kind::Text, text};
}

} // namespace ovalin
