#pragma once

#include "StreamProtocol.h"

#include "base/AgentCli.h"
#include "base/Dispatch.h"
#include "base/children/LiveChild.h"

#include <QObject>

#include <memory>
#include <optional>

namespace ovalin {

/// Where the chat's command line comes from.
struct ChatCommand {
    QString askScript;  ///< used when it is executable; else the agent CLI itself, told how to behave
    AgentSearch search; ///< for the CLI
};

/// The agent's appended system prompt where the ask script is not installed.
[[nodiscard]] QString fallbackAskPersona();

/// The long-lived agent CLI of one conversation. Main thread; the child is started and served elsewhere.
class ChatProcess final : public QObject {
    Q_OBJECT
public:
    ChatProcess(Dispatch& dispatch, ChatCommand command);
    ~ChatProcess() override;

    /// Starts the process unless one is running or starting: true when one is started now.
    bool startWarmAsk(const std::optional<QString>& resumeId);

    /// Ends the process; nothing is heard of it any more. Returns at once.
    void stopWarmAsk();

    /// Running, or about to.
    [[nodiscard]] bool alive() const;

    /// Another one for each process.
    [[nodiscard]] quint64 number() const { return generation; }

    enum class Wrote { Queued, NoProcess, ProcessEnded };
    /// Queues one line, also for a process that is still starting. Never blocks.
    Wrote write(QByteArray line);

    /// Holds events back, and with them, before long, the process.
    void setPaused(bool pause);

Q_SIGNALS:
    void arrived(const ovalin::StreamEvent& event);
    void agentMissing();
    /// What was written did not get there.
    void undelivered(ovalin::ChatProcess::Wrote why);
    /// It ended by itself.
    void ended();

private:
    struct Output;
    struct Launched;

    /// On a worker.
    static Launched launch(const ChatCommand& where, const std::optional<QString>& resumeId,
                           const std::shared_ptr<Output>& said);
    void launched(Launched& result);
    void deliver();

    Dispatch& dispatch;
    const ChatCommand command;
    std::unique_ptr<LiveChild> askProc;
    std::shared_ptr<Output> output; // of the current process
    std::vector<QByteArray> early;  // written while it starts
    bool starting = false;
    quint64 generation = 0; // of starts and stops
    bool paused = false;
};

} // namespace ovalin
