#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <string_view>

namespace ovalin {

/// What one line of the agent CLI's stream-json output means to the chat.
struct StreamEvent {
    enum class Kind {
        Session,      ///< `text`: the conversation's id, when it is another than before
        Status,       ///< `text`: what the agent is doing
        Delta,        ///< `text`: more of the answer
        MessageStart, ///< a message begins: unconfirmed text of a message before it is void
        BlockText,    ///< `text`: a finished block of the answer, which was streamed before
        Continued,    ///< what was streamed stands, and the next message goes on from it
        Result,       ///< the turn is over; `text`: the reason when it failed, may be empty
    };
    enum class Outcome {
        Success,
        Refused, ///< "success" by its subtype, yet marked as an error: the agent got no answer; it lives on
        Failed,
    };
    Kind kind = Kind::Delta;
    QString text;
    Outcome outcome = Outcome::Success;

    bool operator==(const StreamEvent&) const = default;
};

/// What the status line says while the agent uses a tool of this name.
[[nodiscard]] QString toolStatus(std::string_view tool);

/// Reads lines of the agent CLI (`--output-format stream-json --include-partial-messages`). Not for several threads at
/// once; keeps its scratch memory and the session from line to line: one for each process.
class StreamProtocol {
public:
    using Event = std::function<void(StreamEvent&&)>;

    StreamProtocol();
    ~StreamProtocol();

    /// Tells what the line means, in order; nothing for lines that are no JSON object or mean nothing to the chat. The
    /// line must lie in memory that is readable for LineReader::PADDING bytes behind it.
    void handleAskLine(std::string_view line, const Event& event);

private:
    struct Scratch;
    const std::unique_ptr<Scratch> scratch;
};

} // namespace ovalin
