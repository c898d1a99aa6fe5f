#include "AgentJob.h"

#include "base/Text.h"

#include <QStringDecoder>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype LONGEST_LINE = 120;            // user-perceived characters
constexpr qsizetype LONGEST_INSTRUCTION = 130'000; // bytes; our own words stand around it

} // namespace

ChildRun runJob(const AgentJob& job, const QString& line, const ChildVariables& variables,
                std::optional<QByteArray> input) {
    RunOptions options;
    options.input = std::move(input);
    options.outputLimit = qsizetype{256} << 20;
    options.stop = job.stop;
    options.supervised = true;
    // The agent's own tools take 1.6 s to end; the program waits 2 s for its workers.
    options.grace = std::chrono::milliseconds(1700);
    return runToEnd(shellCommand(line, variables), options);
}

std::optional<JobEnd> tooLong(const QString& sentence, const QString& instruction) {
    if (instruction.toUtf8().size() <= LONGEST_INSTRUCTION)
        return std::nullopt;
    return JobEnd{JobEnd::Kind::Failed, sentence + u": the instruction is too long"_s};
}

QString printedText(const ChildRun& run) {
    // Stateless: nothing comes after a character cut off at the end.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(run.output);
    return decoder.hasError() || run.truncated ? QString() : text.trimmed();
}

QString oneLine(const QString& printed) {
    const QString line = printed.trimmed().section(u'\n', 0, 0), shown = onOneLine(line, LONGEST_LINE);
    return characterCount(line) <= LONGEST_LINE ? shown : shown + u'…';
}

QString withReason(const QString& sentence, const ChildRun& run) {
    if (run.end.kind != ChildEnd::Kind::Exited || run.end.number == 0 || run.timedOut)
        return sentence;
    // "Not logged in · Please run /login": the advice is for its own prompt.
    const QString reason = oneLine(printedText(run)).section(u" · "_s, 0, 0);
    return reason.isEmpty() ? sentence : sentence + u": "_s + reason;
}

} // namespace ovalin
