#include "WaylandWindows.h"

namespace ovalin {

namespace {

constexpr std::chrono::milliseconds DEADLINE{500};

} // namespace

std::vector<WindowInfo> WaylandWindows::onScreenWindows() {
    using Found = std::vector<WindowInfo>;
    if (!compositor.sway()) {
        const auto front = compositor.book().front();
        return front ? Found{{WindowId{front->id}, front->pid, 0, front->frame, front->appId, front->title}} : Found{};
    }
    return compositor.thread()
        .ask<Found>(
            deadlineIn(DEADLINE),
            [this](std::function<void(Found)> answer) {
                compositor.sway()->ask(SwayIpc::Ask::Tree, {}, [answer](const QJsonDocument& tree) {
                    Found found;
                    for (const WaylandWindow& window : swayVisible(tree.object()))
                        found.push_back({WindowId{window.id}, window.pid, 0, window.frame, window.appId, window.title});
                    answer(std::move(found));
                });
            })
        .value_or(Found{});
}

} // namespace ovalin
