#pragma once

#include "SwayBindings.h"
#include "SwayIpc.h"
#include "base/Dispatch.h"
#include "platform/HotKeys.h"

#include <QObject>

#include <atomic>
#include <optional>

namespace ovalin {

/// The hotkey by a binding that sway is given while it runs, for as long as the program does; one of the user's own is
/// never replaced. Made and destroyed on the main thread; what reads `sway` runs on its thread.
class SwayHotKeys final : public HotKeys {
public:
    /// `post` runs a task on the thread of `sway`, which hands its events to told() and is connected; both outlive it.
    SwayHotKeys(SwayIpc& sway, std::function<void(EventThread::Task)> post, Dispatch& dispatch, const KeyChord& chord);

    /// Registered until it is known better: shouldReassert tells.
    [[nodiscard]] HotKeyState registerHotKey() override;
    void unregisterHotKey() override;
    void pressHandled() override {}

    /// On the thread.
    void told(SwayIpc::Event event, const QJsonObject& what);

private:
    void look();
    void decide(const QString& config, const QString& file);
    void become(HotKeyState now);
    void fire();

    SwayIpc& sway;
    const std::function<void(EventThread::Task)> post;
    Dispatch& dispatch;
    const KeyChord chord;
    QObject context; // of what goes to the main thread
    std::atomic<HotKeyState> state{HotKeyState::Registered};
    // On the thread:
    bool wanted = false;
    bool bound = false;
    std::optional<Deadline> downSince; // or repeated since
};

} // namespace ovalin
