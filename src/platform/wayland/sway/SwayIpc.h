#pragma once

#include "base/Descriptor.h"
#include "base/EventThread.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <deque>
#include <functional>

namespace ovalin {

/// sway's own socket (sway-ipc(7)): what no protocol of Wayland tells. Made, used and destroyed on an EventThread; any
/// question is answered in a later reaction, or never when sway goes away.
class SwayIpc {
public:
    enum class Ask : quint32 { Command = 0, Subscribe = 2, Tree = 4, Version = 7, Config = 9 };
    enum class Event : quint32 { Workspace = 0x80000000, Window = 0x80000003, Binding = 0x80000005 };
    using Answer = std::function<void(const QJsonDocument&)>;

    /// `path` is SWAYSOCK; `told` hears of every event that was subscribed to.
    SwayIpc(EventThread& thread, const QByteArray& path, std::function<void(Event, const QJsonObject&)> told);
    ~SwayIpc();
    SwayIpc(const SwayIpc&) = delete;
    SwayIpc& operator=(const SwayIpc&) = delete;

    /// False: nobody is there, or no longer.
    [[nodiscard]] bool connected() const { return static_cast<bool>(socket); }

    void ask(Ask what, const QByteArray& words, Answer answer);
    /// Runs commands; `answer` learns whether all succeeded.
    void command(const QByteArray& words, std::function<void(bool)> answer = {});

private:
    void ready();
    void takeMessages();
    void flush();
    void lose();

    EventThread& thread;
    Descriptor socket;
    const std::function<void(Event, const QJsonObject&)> told;
    std::deque<Answer> waiting; // sway answers in the order it was asked
    QByteArray incoming;
    QByteArray toSend;
};

} // namespace ovalin
