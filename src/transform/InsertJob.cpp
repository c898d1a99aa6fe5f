#include "InsertJob.h"

#include "base/Log.h"
#include "base/Text.h"

namespace ovalin {

namespace {

QString systemPrompt(const InsertJob& insert) {
    QString context = QStringLiteral("The user is in ") + insert.app + QStringLiteral(".");
    if (insert.url)
        context += QStringLiteral(" Page: ") + *insert.url + QStringLiteral(".");
    return QStringLiteral("Write the text the instruction asks for, ready to be typed into ") + insert.app +
           QStringLiteral(". Output ONLY the text - no preamble, no quotes, no commentary. ") + context;
}

} // namespace

JobEnd runInsert(const InsertJob& insert, const AgentJob& job) {
    const auto agent = findClaudeBinary(job.agent);
    if (!agent)
        return {JobEnd::Kind::Failed, agentMissingMessage()};
    // An instruction that begins with a dash would be taken for an option.
    const QString prompt = insert.instruction.startsWith(u'-') ? QStringLiteral(" -- \"$OVALIN_INSERT_INSTRUCTION\"")
                                                               : QStringLiteral(" \"$OVALIN_INSERT_INSTRUCTION\"");
    const QString line = shellQuoted(*agent) + QStringLiteral(" -p --append-system-prompt ") +
                         shellQuoted(systemPrompt(insert)) + prompt;
    const ChildRun run =
        runJob(job, line, {{QStringLiteral("OVALIN_INSERT_INSTRUCTION"), insert.instruction}}, std::nullopt);
    if (run.end.kind == ChildEnd::Kind::FailedToStart) {
        logLine(QStringLiteral("Ovalin insert: %1").arg(run.end.reason));
        return {JobEnd::Kind::Failed, QStringLiteral("generation launch failed")};
    }
    const QString text = printedText(run);
    if (!run.end.succeeded() || text.isEmpty())
        return {JobEnd::Kind::Failed, QStringLiteral("generation failed — nothing inserted")};
    return {JobEnd::Kind::Text, text};
}

} // namespace ovalin
