#pragma once

#include <QString>

#include <optional>

namespace ovalin {

// Every command line of the agent CLI, and what is put on its standard input. They are composed in this one place, so
// that the agent takes what the user has typed or selected for words: not for an option ("-x"), not for a command of
// its own ("/cost of living rises"), and not for a file that it is to read first ("@path"). All pure.

/// Whether the agent may be told to continue a conversation with this id: a UUID of 36 characters.
[[nodiscard]] bool isSessionId(const std::optional<QString>& id);

/// The chat: stream-json both ways for as long as its input is open. With a session id it continues that conversation.
[[nodiscard]] QString agentChatLine(const QString& agent, const QString& persona,
                                    const std::optional<QString>& resumeId);

/// What to write, as the value of a variable of the environment.
struct AgentRequest {
    QString variable;
    QString words;
};
enum class AgentEffort { Usual, Low };
/// Writes a text.
[[nodiscard]] QString agentWritingLine(const QString& agent, AgentEffort effort, const QString& systemPrompt,
                                       const AgentRequest& request);

/// Changes the text on its standard input, agentInput(). The shell puts variables into the prompt and looks at nothing
/// inside them.
[[nodiscard]] QString agentTransformLine(const QString& agent, const QString& promptWithVariables);
[[nodiscard]] QByteArray agentInput(const QString& words);

/// Edits files; the text that is to be found in them stands on its standard input, agentEditInput().
[[nodiscard]] QString agentEditLine(const QString& agent, const QString& prompt);
/// It has to read files, so what would make it read one by itself is taken apart by an invisible character.
[[nodiscard]] QByteArray agentEditInput(const QString& words);

/// Carries out a request that stands in a file.
[[nodiscard]] QString agentRouterLine(const QString& agent, const QString& prompt);

} // namespace ovalin
