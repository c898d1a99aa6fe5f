// screencapture: writes a picture of one window, or of the main display, as PNG.
//
//     screencapture -x -l NUMBER -tpng PATH
//     screencapture -x -m -tpng PATH
//
// Exit status 0: the whole picture stands at PATH. 1: nothing was written, and standard error says why.
#include "Confinement.h"
#include "Failure.h"
#include "MainDisplay.h"
#include "OwnPixels.h"
#include "PngFile.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include <unistd.h>

namespace ovalin {

namespace {

constexpr unsigned DEADLINE_SECONDS = 5;

struct Request {
    std::optional<xcb_window_t> window; ///< absent: the main display
    std::string path;
};

Request parse(int argc, char** argv) {
    Request request;
    bool display = false;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "-l" && i + 1 < argc) {
            char* end = nullptr;
            const unsigned long number = std::strtoul(argv[++i], &end, 0);
            if (*end != '\0' || number == 0 || number > 0x1fffffffUL)
                throw Failure("there is no window \"" + std::string(argv[i]) + "\"");
            request.window = static_cast<xcb_window_t>(number);
        } else if (argument == "-m") {
            display = true;
        } else if (argument != "-x" && argument != "-tpng") { // -x: without a sound, and we have none
            if (argument.starts_with('-') || !request.path.empty())
                throw Failure("usage: screencapture -x (-l NUMBER | -m) -tpng PATH");
            request.path = argument;
        }
    }
    if (request.path.empty() || display == request.window.has_value())
        throw Failure("usage: screencapture -x (-l NUMBER | -m) -tpng PATH");
    return request;
}

void captureWindow(Screen& screen, xcb_window_t id, const std::string& path) {
    std::optional<ServerGrab> grab(std::in_place, screen);
    const auto window = screen.window(id);
    if (!window || id == screen.root())
        throw Failure("there is no such window");
    OwnPixels pixels(screen, *grab, {window->inside});
    const Source source = pixels.of(*window);
    grab.reset();
    pixels.waitForRepaint();
    PngFile file(path, source.area.width, source.area.height,
                 source.format.alphaMask ? PngFile::Alpha::Yes : PngFile::Alpha::No);
    forEachRow(screen, source, [&](int, const uint8_t* rgba) { file.writeRow(rgba); });
    file.finish();
}

/// A server that does not answer, or the caller's patience: leave no half file behind.
void giveUp(int) {
    constexpr char why[] = "screencapture: the X server took too long\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, why, sizeof why - 1);
    PngFile::removeUnfinished();
    ::_exit(1);
}

} // namespace

} // namespace ovalin

int main(int argc, char** argv) {
    for (const int number : {SIGALRM, SIGTERM, SIGINT, SIGHUP})
        std::signal(number, ovalin::giveUp);
    ::alarm(ovalin::DEADLINE_SECONDS);
    ovalin::limit({size_t{4} << 30, 2 * ovalin::DEADLINE_SECONDS, size_t{1} << 30});
    try {
        const auto request = ovalin::parse(argc, argv);
        ovalin::Screen screen;
        ovalin::confine({.write = true});
        if (request.window)
            ovalin::captureWindow(screen, *request.window, request.path);
        else
            ovalin::captureMainDisplay(screen, request.path);
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "screencapture: %s\n", e.what());
        return 1;
    }
}
