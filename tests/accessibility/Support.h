#pragma once

#include "support/TestDesk.h"

#include "platform/Accessibility.h"

#include <ostream>

namespace ovalin {

/// Runs it as a room would, on another thread, while the event loop of this one goes on. `seconds` is a bound for
/// hanging, well below the 25 s that D-Bus waits by itself.
template <class Function>
auto onWorker(Function function, double seconds = 15) {
    auto task = std::make_shared<std::packaged_task<std::invoke_result_t<Function>()>>(std::move(function));
    auto result = task->get_future();
    std::thread worker([task] { (*task)(); });
    EXPECT_TRUE(
        waitUntil([&] { return result.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }, seconds));
    worker.join();
    return result.get();
}

inline std::ostream& operator<<(std::ostream& out, AccessibleSelection::Kind kind) {
    const char* const names[] = {"Unavailable", "None", "Text", "Secret"};
    return out << names[static_cast<int>(kind)];
}

/// Where no window tells anything.
inline FrontTitle nobody(const AppWindow&) { return {}; }

} // namespace ovalin
