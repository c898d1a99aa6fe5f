#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace ovalin {

/// Why no X server can be used ($DISPLAY), in words for a log line; absent when one answers. To be asked before
/// QApplication is made, which would abort. Waits for the server.
[[nodiscard]] std::optional<QString> whyNoServer();

/// Logs what will not work since the server lacks an extension, one line each. Main thread, after QApplication.
void logMissingExtensions();

/// When the X server goes away Qt ends the process on the spot. While this object lives, `lastWill` is carried out
/// before that, on the main thread, and the process ends with status 1 and one line that says why. One object at a
/// time.
class ServerLoss {
public:
    explicit ServerLoss(std::function<void()> lastWill);
    ~ServerLoss();
    ServerLoss(const ServerLoss&) = delete;
    ServerLoss& operator=(const ServerLoss&) = delete;
};

} // namespace ovalin
