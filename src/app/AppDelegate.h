#pragma once

#include "Heartbeat.h"
#include "HotKey.h"
#include "Opening.h"
#include "Program.h"
#include "SingleInstance.h"
#include "UserDefaults.h"

namespace ovalin {

/// The program's life: the hotkey, the openings that it makes, and what the desktop tells meanwhile. Main thread.
class AppDelegate final : public QObject {
public:
    AppDelegate(Desktop& desktop, Dispatch& dispatch, Surroundings surroundings);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    /// Hands over what is still under way; nothing is submitted afterwards. Dispatch then ends the work in the
    /// background.
    void applicationWillTerminate();

    /// What the hotkey and `ovalin toggle` do.
    void toggle();

    /// Does what a program of the command line asks for (SingleInstance), and answers it.
    void serve(const QJsonObject& message, const SingleInstance::Answer& answer);
    /// Opens the panel, unless it is open, with the card of requests. `id`: the one to begin at; may be empty.
    void showRequests(const QString& id = {});

    /// What `ovalin forget` does: the panel closes, and neither memory nor disk keeps the user's words. `done` comes
    /// later.
    void forget(const std::function<void()>& done);

private:
    void warmUp();
    void dress();
    void sweepOldRequests();
    void watchDesktop();
    void hotkeyFired();
    void showPanel(const std::optional<FrontApplication>& front);
    void closePanel();
    void told(const RequestNews& news);
    [[nodiscard]] Notification notificationOf(const RequestNews& news);
    void hotkeyTaken(HotKeyState state);
    void withdrawHotkeyTaken();
    void open();
    void submit(const QString& words, const SingleInstance::Answer& answer);
    [[nodiscard]] QJsonObject ask(const QString& question);
    void describe(const SingleInstance::Answer& answer);

    Program program;
    UserDefaults defaults;
    HotKey hotKey;
    std::unique_ptr<Heartbeat> heartbeat;
    std::unique_ptr<Opening> opening;
    std::optional<quint64> hotkeyTakenSaid; ///< the ticket of the notification
};

} // namespace ovalin
