#pragma once

#include <QApplication>

#include <chrono>

namespace ovalin {

/// The application object. With OVALIN_TURNS=MS in the environment it logs each turn of the main loop that costs more
/// CPU time than that, with the event that cost the most of it: so long a key would have waited. Main thread.
class WatchedApplication final : public QApplication {
public:
    WatchedApplication(int& count, char** arguments);

    bool notify(QObject* receiver, QEvent* event) override;

private:
    void turnEnded();

    const std::chrono::nanoseconds limit; ///< 0: not watched
    std::chrono::nanoseconds turnBegan{0}, longest{0};
    const char* longestClass = "";
    int longestType = 0;
    bool inEvent = false;
};

} // namespace ovalin
