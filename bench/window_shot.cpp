// bench_window_shot PID COUNT: captureWindowPNG and its parts on the desktop of $DISPLAY, median and worst in ms.
// bench/screenshot runs it beside another screenshot program.
#include "capture/WindowShot.h"
#include "platform/x11/windows/X11Windows.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

void measure(const char* name, int count, const std::function<bool()>& work) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const auto start = std::chrono::steady_clock::now();
        if (!work())
            std::fprintf(stderr, "%s failed\n", name);
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    std::printf("%s\t%.1f\t%.1f\n", name, times[times.size() / 2], times.back());
}

struct NoRecognizer final : ovalin::TextRecognizer {
    std::optional<QString> recognize(const QByteArray&) override { return std::nullopt; }
};

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    if (argc < 3)
        return 1;
    const qint32 pid = std::atoi(argv[1]);
    const int count = std::atoi(argv[2]);
    ovalin::X11Windows windows;
    NoRecognizer recognizer;
    const ovalin::WindowShots shots(
        windows, recognizer, ovalin::Tools::under(ovalin::Tools::folderBeside(QCoreApplication::applicationDirPath())));
    measure("frontWindowID", count, [&] { return ovalin::frontWindowID(windows.onScreenWindows(), pid).has_value(); });
    measure("captureWindowPNG", count, [&] { return shots.captureWindowPNG(pid).has_value(); });
}
