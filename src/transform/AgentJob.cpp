#include "AgentJob.h"

#include <QStringDecoder>

namespace ovalin {

ChildRun runJob(const AgentJob& job, const QString& line, const ChildVariables& variables,
                std::optional<QByteArray> input) {
    RunOptions options;
    options.input = std::move(input);
    options.outputLimit = qsizetype{256} << 20;
    options.stop = job.stop;
    // The agent's own tools take 1.6 s to end; the program waits 2 s for its workers.
    options.grace = std::chrono::milliseconds(1700);
    return runToEnd(shellCommand(line, variables), options);
}

QString printedText(const ChildRun& run) {
    // Stateless: nothing comes after a character cut off at the end.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder.decode(run.output);
    return decoder.hasError() || run.truncated ? QString() : text.trimmed();
}

} // namespace ovalin
