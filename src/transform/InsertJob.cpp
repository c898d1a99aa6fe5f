#include "InsertJob.h"

#include "base/AgentLine.h"
#include "base/Log.h"

namespace ovalin {

namespace {

const QString FAILED = QStringLiteral("generation failed — nothing inserted");

QString systemPrompt(const InsertJob& insert) {
    QString context = QStringLiteral("The user is in ") + insert.subject.capApp + QStringLiteral(".");
    if (insert.subject.capURL)
        context += QStringLiteral(" Page: ") + *insert.subject.capURL + QStringLiteral(".");
    return QStringLiteral("Write the text the instruction asks for, ready to be typed into ") + insert.subject.capApp +
           QStringLiteral(". Output ONLY the text - no preamble, no quotes, no commentary. ") + context;
}

} // namespace

JobEnd runInsert(const InsertJob& insert, const AgentJob& job) {
    if (const auto end = tooLong(FAILED, insert.instruction))
        return *end;
    const auto agent = findClaudeBinary(job.agent);
    if (!agent)
        return {JobEnd::Kind::Failed, agentMissingMessage()};
    const AgentRequest request{QStringLiteral("OVALIN_INSERT_INSTRUCTION"), insert.instruction};
    const QString line = agentWritingLine(*agent, AgentEffort::Usual, systemPrompt(insert), request);
    const ChildRun run = runJob(job, line, {{request.variable, request.words}}, std::nullopt);
    if (run.end.kind == ChildEnd::Kind::FailedToStart) {
        logLine(QStringLiteral("Ovalin insert: %1").arg(run.end.reason));
        return {JobEnd::Kind::Failed, QStringLiteral("generation launch failed")};
    }
    const QString text = printedText(run);
    if (!run.end.succeeded() || text.isEmpty())
        return {JobEnd::Kind::Failed, withReason(FAILED, run)};
    return {JobEnd::Kind::Text, text};
}

} // namespace ovalin
