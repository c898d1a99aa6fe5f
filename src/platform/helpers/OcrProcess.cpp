#include "OcrProcess.h"

#include "base/children/ChildProcess.h"
#include "base/Log.h"

namespace ovalin {

namespace {

constexpr qsizetype MOST_TEXT = qsizetype{1} << 20; // bytes; a full page is 10 kB

} // namespace

std::optional<QString> OcrProcess::recognize(const QByteArray& png) {
    RunOptions options;
    options.input = png;
    options.deadline = deadline;
    options.grace = std::chrono::milliseconds(200);
    options.outputLimit = MOST_TEXT;
    const ChildRun run = runToEnd({program, {}, {}, {}}, options);
    if (run.end.succeeded() && !run.timedOut && !run.truncated)
        return run.text();
    const QString why = run.timedOut    ? QStringLiteral("it took too long")
                        : run.truncated ? QStringLiteral("it printed too much")
                                        : run.end.describe();
    logOnce(QStringLiteral("ocr: ") + why, QStringLiteral("Ovalin: no text from the screenshot: ") + why);
    return std::nullopt;
}

} // namespace ovalin
