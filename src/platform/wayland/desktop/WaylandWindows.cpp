#include "WaylandWindows.h"

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds DEADLINE{500};

} // namespace

std::vector<WindowInfo> WaylandWindows::onScreenWindows() {
    using Found = std::vector<WindowInfo>;
    return compositor.thread()
        .ask<Found>(deadlineIn(DEADLINE),
                    [this](std::function<void(Found)> answer) {
                        compositor.visible([answer](const std::vector<WaylandWindow>& windows) {
                            Found found;
                            for (const WaylandWindow& each : windows)
                                found.push_back({WindowId{each.id}, each.pid, 0, each.frame, each.appId, each.title});
                            answer(std::move(found));
                        });
                    })
        .value_or(Found{});
}

} // namespace ovalin
