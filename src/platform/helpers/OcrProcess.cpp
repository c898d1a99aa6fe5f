#include "OcrProcess.h"

#include "base/children/ChildProcess.h"
#include "base/Log.h"

namespace ovalin {

using namespace Qt::StringLiterals;

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
    const QString why = run.timedOut    ? u"it took too long"_s
                        : run.truncated ? u"it printed too much"_s
                                        : run.end.describe();
    logOnce(u"ocr: "_s + why, u"Ovalin: no text from the screenshot: "_s + why);
    return std::nullopt;
}

} // namespace ovalin
