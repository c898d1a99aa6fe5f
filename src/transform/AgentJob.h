#pragma once

#include "base/AgentCli.h"
#include "base/children/ChildProcess.h"

namespace ovalin {

/// What every piece of work handed to a script or to the agent CLI needs.
struct AgentJob {
    QString binDir; ///< of the runtime scripts
    AgentSearch agent;
    std::stop_token stop{}; ///< the program ends: so does the child, which has no time limit
};

/// How a job ended.
struct JobEnd {
    enum class Kind {
        Text,   ///< to be pasted
        Status, ///< the source was edited; what to say about it
        Failed, ///< what to say about that
    };
    Kind kind = Kind::Failed;
    QString text;
    bool operator==(const JobEnd&) const = default;
};

/// Runs a command line of the shell to its end, feeding it `input` (absent: /dev/null). Blocks: worker threads.
[[nodiscard]] ChildRun runJob(const AgentJob& job, const QString& line, const ChildVariables& variables,
                              std::optional<QByteArray> input);

/// The end of a job that cannot begin: a word of a command line holds 128 KiB at most (execve(2)), and so much of the
/// instruction would be one. Absent where it can.
[[nodiscard]] std::optional<JobEnd> tooLong(const QString& sentence, const QString& instruction);

/// What a job printed, without white space at its ends; empty when it is not UTF-8 all through, or more than 256 MB.
[[nodiscard]] QString printedText(const ChildRun& run);

/// The first line of what was printed, for the status line: a bounded one, without control characters.
[[nodiscard]] QString oneLine(const QString& printed);

/// What is said when a text did not come, and behind it why, if the agent ended with a word of its own about that.
[[nodiscard]] QString withReason(const QString& sentence, const ChildRun& run);

} // namespace ovalin
