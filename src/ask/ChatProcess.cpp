#include "ChatProcess.h"

#include "LineReader.h"

#include "base/AgentLine.h"
#include "base/Log.h"
#include "base/Text.h"

#include <QPointer>

#include <chrono>
#include <deque>
#include <mutex>

using namespace Qt::StringLiterals;

namespace ovalin {

using namespace std::chrono_literals;

namespace {

// So much unread text holds the process up until the transcript has caught up.
constexpr qsizetype MOST_PENDING = qsizetype{1} << 16;
constexpr qsizetype EVENT_COST = 64; // of one without text, which the main thread has to look at all the same
constexpr auto LONGEST_TURN = 8ms;   // of the main thread

} // namespace

QString fallbackAskPersona() {
    return u"You are the assistant behind Ovalin, answering about the page or screen the user is looking at. The first "
           "message carries the context (a URL to fetch when needed, or a screenshot/OCR text). A highlighted excerpt "
           "is "
           "the focus. Be maximally concise: answer directly, no preamble, no sign-off. You may run at most ONE "
           "WebSearch "
           "when the question needs fresh facts. When the user asks you to DO something (run a command, edit a file, "
           "create something), you have the tools and permission on their machine: say briefly what you are about to "
           "do, "
           "do it, then report the concrete outcome; show real errors verbatim; never claim you lack access. For long "
           "jobs, do the quick parts and say what remains. Write plain text without Markdown: no asterisks, hashes, "
           "backticks or tables. Links alone may be written as [title](address)."_s;
}

// What the process has said and the main thread has not heard yet. The child's thread adds, the main thread takes.
struct ChatProcess::Output {
    std::mutex mutex;
    std::deque<StreamEvent> pending; // under the mutex, with the next three
    qsizetype pendingText = 0;
    bool announced = false;
    bool hasEnded = false, wasRefused = false;
    bool endTold = false; // the main thread's

    std::function<void()> announce; // any thread: there is something to take

    LineReader reader; // the child's thread alone, like the next
    StreamProtocol protocol;

    std::span<char> room() {
        const std::lock_guard lock(mutex);
        return pendingText > MOST_PENDING ? std::span<char>() : reader.room();
    }
    void add(StreamEvent&& event) {
        using Kind = StreamEvent::Kind;
        const std::lock_guard lock(mutex);
        pendingText += event.text.size();
        if (event.kind == Kind::Delta && !pending.empty() && pending.back().kind == Kind::Delta) {
            pending.back().text += event.text;
        } else {
            pendingText += EVENT_COST;
            pending.push_back(std::move(event));
        }
        tell();
    }
    void refused() {
        const std::lock_guard lock(mutex);
        wasRefused = true;
        tell();
    }
    void tell() { // under the mutex
        if (!std::exchange(announced, true))
            announce();
    }

    static LiveChild::Handlers handlers(const std::shared_ptr<Output>& said) {
        LiveChild::Handlers to;
        to.room = [said] { return said->room(); };
        to.printed = [said](size_t count) {
            said->reader.added(count, [&said](std::string_view line) {
                said->protocol.handleAskLine(line, [&said](StreamEvent&& event) { said->add(std::move(event)); });
            });
        };
        to.ended = [said](const ChildEnd&) {
            const std::lock_guard lock(said->mutex);
            said->hasEnded = true;
            said->tell();
        };
        to.refused = [said](const QString&) { said->refused(); };
        return to;
    }
};

struct ChatProcess::Launched {
    quint64 generation = 0;
    bool agentFound = true;
    QString failure;
    std::unique_ptr<LiveChild> child;
};

ChatProcess::Launched ChatProcess::launch(const ChatCommand& where, const std::optional<QString>& resumeId,
                                          const std::shared_ptr<Output>& said) {
    Launched result;
    QString line = shellQuoted(where.askScript);
    if (!scriptExists(where.askScript)) {
        const auto cli = findClaudeBinary(where.search);
        result.agentFound = cli.has_value();
        if (!cli)
            return result;
        line = agentChatLine(*cli, fallbackAskPersona(), resumeId);
    }
    ChildCommand shell = shellCommand(line);
    if (isSessionId(resumeId))
        shell.variables.insert(u"OVALIN_ASK_RESUME"_s, *resumeId);
    shell.workingDirectory = u"/"_s;
    auto child = LiveChild::start(shell, Output::handlers(said));
    if (child)
        result.child = std::move(*child);
    else
        result.failure = child.error();
    return result;
}

ChatProcess::ChatProcess(Dispatch& theDispatch, ChatCommand theCommand)
    : dispatch(theDispatch)
    , command(std::move(theCommand)) {}

ChatProcess::~ChatProcess() = default;

bool ChatProcess::alive() const { return starting || (askProc && askProc->running()); }

bool ChatProcess::startWarmAsk(const std::optional<QString>& resumeId) {
    if (alive())
        return false;
    starting = true;
    ++generation;
    output = std::make_shared<Output>();
    output->announce = [this, guard = QPointer<QObject>(this), of = std::weak_ptr(output), &queue = dispatch] {
        queue.toMain([this, guard, of] {
            if (guard && of.lock() == output)
                deliver();
        });
    };
    dispatch.inBackground(
        Queue::UserInitiated, this,
        [where = command, resumeId, said = output, number = generation] {
            Launched result = launch(where, resumeId, said);
            result.generation = number;
            return result;
        },
        [this](Launched result) { launched(result); });
    return true;
}

void ChatProcess::launched(Launched& result) {
    if (result.generation != generation)
        return; // stopped meanwhile; the child ends with the result
    starting = false;
    if (!result.agentFound)
        Q_EMIT agentMissing();
    else if (!result.child)
        logLine(u"Ovalin: warm ask launch failed — "_s + result.failure);
    else
        askProc = std::move(result.child);
    for (const QByteArray& line : std::exchange(early, {})) {
        if (const Wrote wrote = write(line); wrote != Wrote::Queued) {
            Q_EMIT undelivered(wrote);
            return;
        }
    }
}

void ChatProcess::stopWarmAsk() {
    ++generation;
    starting = false;
    early.clear();
    output.reset();
    askProc.reset();
}

ChatProcess::Wrote ChatProcess::write(QByteArray line) {
    if (starting)
        early.push_back(std::move(line));
    else if (!askProc)
        return Wrote::NoProcess;
    else if (!askProc->running() && output->endTold)
        return Wrote::ProcessEnded;
    else if (!askProc->running())
        output->refused(); // after what it has said: why nobody reads
    else
        askProc->write(std::move(line));
    return Wrote::Queued;
}

void ChatProcess::setPaused(bool pause) {
    if (paused == pause)
        return;
    paused = pause;
    if (paused)
        return;
    // Later: whoever shows the text may be in the middle of showing it.
    dispatch.after(0ms, this, [this, of = std::weak_ptr(output)] {
        if (output && of.lock() == output)
            deliver();
    });
}

void ChatProcess::deliver() {
    const auto from = output; // a receiver may stop the process
    if (paused || !from)
        return;
    const auto enough = std::chrono::steady_clock::now() + LONGEST_TURN;
    while (from == output && !paused) {
        std::unique_lock lock(from->mutex);
        if (!from->pending.empty()) {
            const StreamEvent event = std::move(from->pending.front());
            from->pending.pop_front();
            from->pendingText -= event.text.size() + EVENT_COST;
            lock.unlock();
            Q_EMIT arrived(event);
            if (std::chrono::steady_clock::now() < enough)
                continue;
            dispatch.after(0ms, this, [this, of = std::weak_ptr(from)] { // after what the user does
                if (of.lock() == output)
                    deliver();
            });
            break;
        }
        from->announced = false;
        const bool refused = std::exchange(from->wasRefused, false), hasEnded = std::exchange(from->hasEnded, false);
        lock.unlock();
        from->endTold |= hasEnded;
        if (refused)
            Q_EMIT undelivered(Wrote::ProcessEnded);
        if (hasEnded && from == output)
            Q_EMIT ended();
        break;
    }
    if (from == output && askProc)
        askProc->wake();
}

} // namespace ovalin
