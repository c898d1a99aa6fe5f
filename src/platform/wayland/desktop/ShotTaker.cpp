#include "ShotTaker.h"

#include "platform/wayland/thread/ScreenCopy.h"

#include <utility>

namespace ovalin {

namespace {

constexpr std::chrono::seconds KEPT{60};
constexpr std::chrono::milliseconds LONGEST{100}; // it is there with the next frame

} // namespace

void ShotTaker::begin() {
    begun = true;
    compositor.thread().post([this] {
        deliver({}); // who still waits for an earlier one
        last.reset();
        copying = true;
        compositor.locate([this, number = ++current] {
            if (number == current && copying)
                copy();
        });
    });
}

void ShotTaker::copy() {
    if (!compositor.sway())
        return deliver({}); // nobody tells which windows would be in it, and some are to be left alone
    const auto front = compositor.book().front();
    const qint32 pid = front ? front->pid : 0;
    copyScreen(compositor.thread(), front ? front->frame : QRect(), [this, pid, number = current](QImage picture) {
        if (number == current && copying)
            deliver({pid, std::move(picture)});
    });
}

void ShotTaker::deliver(Shot shot) {
    copying = false;
    for (const Answer& answer : std::exchange(waiting, {}))
        answer(shot);
    last = std::move(shot);
    compositor.thread().cancelTimer(forgetting);
    forgetting = compositor.thread().at(deadlineIn(KEPT), [this] { last.reset(); });
}

void ShotTaker::finish() {
    if (!std::exchange(begun, false))
        return; // the panel is there already
    const auto ask = [this](const Answer& answer) {
        if (copying)
            waiting.push_back(answer);
        else
            answer({});
    };
    if (compositor.thread().ask<Shot>(deadlineIn(LONGEST), ask))
        return;
    compositor.thread().post([this] { deliver({}); });
}

QImage ShotTaker::picture(qint32 pid, std::chrono::milliseconds patience) {
    const auto shot = compositor.thread().ask<Shot>(deadlineIn(patience), [this](const Answer& answer) {
        if (copying)
            waiting.push_back(answer);
        else
            answer(last.value_or(Shot{}));
    });
    return shot && shot->pid == pid ? shot->picture : QImage();
}

} // namespace ovalin
