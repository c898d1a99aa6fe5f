#include "ShotTaker.h"

#include <algorithm>
#include <utility>

namespace ovalin {

namespace {

constexpr std::chrono::seconds KEPT{60};

qint64 area(const QRect& rectangle) { return qint64{rectangle.width()} * rectangle.height(); }

} // namespace

void ShotTaker::begin() {
    compositor.thread().post([this] {
        deliver({}); // who still waits for an earlier one
        last.reset();
        shown.reset();
        located = false;
        taking = true;
        compositor.locate([this, number = ++current] {
            if (number != current)
                return;
            window = compositor.book().front();
            located = true;
            cut();
        });
    });
}

void ShotTaker::pictured(std::vector<ShownOutput> outputs) {
    compositor.thread().post([this, outputs = std::move(outputs)]() mutable {
        shown = std::move(outputs);
        cut();
    });
}

void ShotTaker::cut() {
    if (!taking || !located || !shown)
        return;
    const auto outputs = *std::exchange(shown, {});
    if (!compositor.sway())
        return deliver({}); // nobody tells which windows would be in it, and some are to be left alone
    deliver({window ? window->pid : 0, cutOut(outputs, window ? window->frame : QRect())});
}

void ShotTaker::deliver(Shot shot) {
    taking = false;
    for (const Answer& answer : std::exchange(waiting, {}))
        answer(shot);
    last = std::move(shot);
    compositor.thread().cancelTimer(forgetting);
    forgetting = compositor.thread().at(deadlineIn(KEPT), [this] { last.reset(); });
}

QImage ShotTaker::picture(qint32 pid, std::chrono::milliseconds patience) {
    const auto shot = compositor.thread().ask<Shot>(deadlineIn(patience), [this](const Answer& answer) {
        if (taking)
            waiting.push_back(answer);
        else
            answer(last.value_or(Shot{}));
    });
    return shot && shot->pid == pid ? shot->picture : QImage();
}

QImage cutOut(const std::vector<ShownOutput>& outputs, const QRect& frame) {
    if (outputs.empty())
        return {};
    const auto most = std::ranges::max_element(
        outputs, {}, [&frame](const ShownOutput& output) { return area(output.frame & frame); });
    const ShownOutput& output = frame.isEmpty() ? outputs.front() : *most;
    const QRect part = frame.isEmpty() ? output.frame : output.frame & frame;
    QImage picture = partOf(output.picture, output.frame.size(), part.translated(-output.frame.topLeft()));
    picture.setDevicePixelRatio(1);
    return picture;
}

} // namespace ovalin
