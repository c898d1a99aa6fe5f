// launch_probe KEY CLOSE_KEY TRIALS WARMUPS [HEIGHT]: presses a hotkey and prints, one line of JSON a trial, after how
// many milliseconds a new window
//   mapped   became viewable,
//   shown    covered most of what was there before,
//   painted  showed nine tenths of its final content,
//   keys     held the keyboard: the input focus or a grab.
// With HEIGHT, what opens is no window of this X server but a part of the picture in one, a compositor's, in the upper
// HEIGHT lines of the screen; "mapped" is the first change there, and of the keyboard nothing is known.
// Knows nothing of the program that opens it. A picture counts from when it was in hand, so the figures err upwards.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <X11/extensions/XTest.h>
#include <X11/extensions/Xdamage.h>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
using Pixels = std::vector<unsigned>;

constexpr Milliseconds PICTURE_IS_FINAL{200}; // no change for as long; what comes later is news, not the opening
constexpr Milliseconds GIVE_UP{4000};
constexpr Milliseconds BETWEEN_TRIALS{800}; // what an opening started in the background is done by then
constexpr Milliseconds KEYBOARD_POLL{1};
constexpr int SMALLEST_WIDTH = 100, SMALLEST_HEIGHT = 16; // helper windows are smaller

void pause(Milliseconds time) { std::this_thread::sleep_for(time); }

struct Area {
    int x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Area&) const = default;
};

struct Picture {
    double time = 0;
    Area area;
    Pixels pixels;
};

struct Trial {
    std::optional<double> mapped, shown, painted, keys;
    Area area;
};

class Server {
public:
    Server()
        : connection(XOpenDisplay(nullptr)) {
        int damageError = 0;
        if (connection == nullptr || XDamageQueryExtension(connection, &damageEvent, &damageError) == 0)
            std::exit(2);
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // windows go while we ask about them
        root = DefaultRootWindow(connection);
        screen = {0, 0, DisplayWidth(connection, 0), DisplayHeight(connection, 0)};
        image = XShmCreateImage(connection, DefaultVisual(connection, 0),
                                static_cast<unsigned>(DefaultDepth(connection, 0)), ZPixmap, nullptr, &memory,
                                static_cast<unsigned>(screen.width), static_cast<unsigned>(screen.height));
        memory.shmid =
            shmget(IPC_PRIVATE, static_cast<size_t>(image->bytes_per_line) * static_cast<size_t>(image->height), 0600);
        memory.shmaddr = image->data = static_cast<char*>(shmat(memory.shmid, nullptr, 0));
        XShmAttach(connection, &memory);
        XSync(connection, False);
        shmctl(memory.shmid, IPC_RMID, nullptr); // goes with the two of us
        XSelectInput(connection, root, SubstructureNotifyMask);
        for (const Window window : children(root))
            XSelectInput(connection, window, StructureNotifyMask);
        damage = XDamageCreate(connection, root, XDamageReportNonEmpty);
    }

    Pixels pixels(const Area& area) {
        image->width = area.width;
        image->height = area.height;
        image->bytes_per_line = area.width * 4;
        XShmGetImage(connection, root, image, area.x, area.y, AllPlanes);
        const auto* first = reinterpret_cast<const unsigned*>(image->data);
        return {first, first + static_cast<size_t>(area.width) * static_cast<size_t>(area.height)};
    }

    std::vector<Window> children(Window window) {
        Window ignored = 0, *list = nullptr;
        unsigned count = 0;
        if (XQueryTree(connection, window, &ignored, &ignored, &list, &count) == 0)
            return {};
        std::vector<Window> found(list, list + count);
        if (list != nullptr)
            XFree(list);
        return found;
    }

    /// The part of the window that is on the screen; absent when it is not viewable.
    std::optional<Area> viewableArea(Window window) {
        XWindowAttributes its{};
        if (XGetWindowAttributes(connection, window, &its) == 0 || its.map_state != IsViewable ||
            its.c_class != InputOutput)
            return std::nullopt;
        const int left = std::clamp(its.x, 0, screen.width), top = std::clamp(its.y, 0, screen.height);
        return Area{left, top, std::clamp(its.x + its.width, left, screen.width) - left,
                    std::clamp(its.y + its.height, top, screen.height) - top};
    }

    std::set<Window> viewableWindows() {
        std::set<Window> found;
        for (const Window window : children(root))
            if (viewableArea(window))
                found.insert(window);
        return found;
    }

    bool holdsKeyboard(Window top) {
        Window focus = 0;
        int revert = 0;
        XGetInputFocus(connection, &focus, &revert);
        while (focus > PointerRoot && focus != root) {
            if (focus == top)
                return true;
            Window parent = 0, ignored = 0, *list = nullptr;
            unsigned count = 0;
            if (XQueryTree(connection, focus, &ignored, &parent, &list, &count) == 0)
                break;
            if (list != nullptr)
                XFree(list);
            focus = parent;
        }
        // A grab is seen by trying one; with the server held nobody finds ours in the way.
        XGrabServer(connection);
        const int result = XGrabKeyboard(connection, root, True, GrabModeAsync, GrabModeAsync, CurrentTime);
        XUngrabKeyboard(connection, CurrentTime);
        XUngrabServer(connection);
        XFlush(connection);
        return result == AlreadyGrabbed;
    }

    void key(KeyCode code, bool down) { XTestFakeKeyEvent(connection, code, down ? True : False, CurrentTime); }
    void flush() { XFlush(connection); }

    struct Changes {
        bool structure = false, picture = false;
    };
    /// What has happened since the last call; waits for it, as long as given.
    Changes changes(Milliseconds longest) {
        if (XPending(connection) == 0 && longest.count() > 0) {
            pollfd readable{ConnectionNumber(connection), POLLIN, 0};
            poll(&readable, 1, static_cast<int>(longest.count()) + 1);
        }
        Changes seen;
        while (XPending(connection) > 0) {
            XEvent event;
            XNextEvent(connection, &event);
            if (event.type == damageEvent + XDamageNotify)
                seen.picture = true;
            else
                seen.structure = true;
        }
        if (seen.picture)
            XDamageSubtract(connection, damage, None, None);
        return seen;
    }

    std::vector<KeyCode> chord(const std::string& text) {
        static const std::map<std::string, std::string> modifiers{
            {"alt", "Alt_L"}, {"ctrl", "Control_L"}, {"super", "Super_L"}};
        std::vector<KeyCode> codes;
        for (size_t begin = 0; begin <= text.size();) {
            const size_t end = std::min(text.find('+', begin), text.size());
            const std::string name = text.substr(begin, end - begin);
            const auto modifier = modifiers.find(name);
            codes.push_back(XKeysymToKeycode(
                connection, XStringToKeysym((modifier == modifiers.end() ? name : modifier->second).c_str())));
            begin = end + 1;
        }
        return codes;
    }

    Area screen;

private:
    Display* connection;
    Window root = 0;
    Damage damage = 0;
    int damageEvent = 0;
    XImage* image = nullptr;
    XShmSegmentInfo memory{};
};

/// Share of `chosen` pixels for which `equal` holds.
template <class Chosen, class Equal>
double share(size_t count, Chosen chosen, Equal equal) {
    size_t all = 0, good = 0;
    for (size_t i = 0; i < count; ++i) {
        if (!chosen(i))
            continue;
        ++all;
        good += equal(i) ? 1 : 0;
    }
    return all == 0 ? 1 : static_cast<double>(good) / static_cast<double>(all);
}

/// Finds in the pictures when the window was shown and painted. Its most frequent colour is no content: a window is
/// filled with it before anything is drawn.
void judge(Trial& trial, const std::vector<Picture>& pictures, const Pixels& before, int stride) {
    if (pictures.empty())
        return;
    const auto old = [&](const Picture& picture, size_t i) {
        const auto width = static_cast<size_t>(picture.area.width);
        return before[(static_cast<size_t>(picture.area.y) + i / width) * static_cast<size_t>(stride) +
                      static_cast<size_t>(picture.area.x) + i % width];
    };
    const Picture& last = pictures.back();
    std::map<unsigned, size_t> colours;
    for (size_t i = 0; i < last.pixels.size(); ++i)
        if (last.pixels[i] != old(last, i))
            ++colours[last.pixels[i]];
    unsigned background = 0;
    size_t most = 0;
    for (const auto& [colour, count] : colours)
        if (count > most)
            background = colour, most = count;
    for (const Picture& picture : pictures) {
        const size_t count = picture.pixels.size();
        const auto changed = [&](size_t i) { return picture.pixels[i] != old(picture, i); };
        if (!trial.shown && share(
                                count, [](size_t) { return true; }, changed) >= 0.5)
            trial.shown = picture.time;
        const auto content = [&](size_t i) { return last.pixels[i] != old(last, i) && last.pixels[i] != background; };
        const auto final = [&](size_t i) { return picture.pixels[i] == last.pixels[i]; };
        if (!trial.painted && picture.area == last.area && share(count, content, final) >= 0.9)
            trial.painted = picture.time;
    }
}

/// The same where only the picture of the screen is seen, a part of which changes.
void judgeInside(Trial& trial, const std::vector<Picture>& pictures, const Pixels& before) {
    if (pictures.empty())
        return;
    const Picture& last = pictures.back();
    const auto width = static_cast<size_t>(last.area.width);
    size_t left = width, right = 0, top = before.size(), bottom = 0;
    for (size_t i = 0; i < before.size(); ++i) {
        if (last.pixels[i] == before[i])
            continue;
        left = std::min(left, i % width), right = std::max(right, i % width);
        top = std::min(top, i / width), bottom = std::max(bottom, i / width);
    }
    if (left > right)
        return;
    trial.area = {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left + 1),
                  static_cast<int>(bottom - top + 1)};
    trial.mapped = pictures.front().time;
    std::vector<Picture> parts;
    for (const Picture& picture : pictures) {
        Picture part{picture.time, trial.area, {}};
        for (size_t y = top; y <= bottom; ++y) {
            const auto line = picture.pixels.begin() + static_cast<std::ptrdiff_t>(y * width);
            part.pixels.insert(part.pixels.end(), line + static_cast<std::ptrdiff_t>(left),
                               line + static_cast<std::ptrdiff_t>(right + 1));
        }
        parts.push_back(std::move(part));
    }
    judge(trial, parts, before, last.area.width);
}

class Probe {
public:
    Probe(const std::string& key, const std::string& closeKey, int height)
        : inside(height > 0)
        , watched{0, 0, display.screen.width, inside ? height : display.screen.height}
        , open(display.chord(key))
        , close(display.chord(closeKey)) {}

    Trial run() {
        const std::set<Window> known = display.viewableWindows();
        const Pixels before = display.pixels(watched);
        for (size_t i = 0; i + 1 < open.size(); ++i)
            display.key(open[i], true);
        display.flush();
        pause(Milliseconds(15)); // as a hand does; the modifiers are not what is measured
        display.changes({});

        Trial trial;
        std::vector<Picture> pictures;
        window = 0;
        start = Clock::now();
        display.key(open.back(), true);
        for (size_t i = open.size(); i-- > 0;)
            display.key(open[i], false);
        display.flush();
        double lastChange = 0;
        const auto begun = [&] { return inside ? !pictures.empty() : window != 0; };
        while (elapsed() < GIVE_UP.count() && !(begun() && elapsed() > lastChange + PICTURE_IS_FINAL.count())) {
            const bool polling = window != 0 && !trial.keys;
            auto seen = display.changes(polling ? KEYBOARD_POLL : Milliseconds(50));
            if (window == 0 && seen.structure && !inside)
                findWindow(known, trial);
            if (polling && display.holdsKeyboard(window))
                trial.keys = elapsed();
            if (!(inside || window != 0) || !(seen.structure || seen.picture))
                continue;
            if (inside)
                trial.area = watched;
            else if (const auto area = display.viewableArea(window))
                trial.area = *area;
            Pixels pixels = display.pixels(trial.area);
            if (pictures.empty() ? inside && pixels == before
                                 : pictures.back().area == trial.area && pictures.back().pixels == pixels)
                continue;
            lastChange = elapsed();
            pictures.push_back({lastChange, trial.area, std::move(pixels)});
        }
        if (inside)
            judgeInside(trial, pictures, before);
        else
            judge(trial, pictures, before, display.screen.width);
        return trial;
    }

    void closeWindow() {
        if (inside)
            pressClose();
        for (int attempt = 0; attempt < 4 && window != 0 && display.viewableArea(window); ++attempt) {
            pressClose();
            for (int wait = 0; wait < 70 && display.viewableArea(window); ++wait)
                pause(Milliseconds(10));
        }
        pause(BETWEEN_TRIALS);
        display.changes({});
    }

private:
    void pressClose() {
        for (const KeyCode code : close)
            display.key(code, true);
        for (size_t i = close.size(); i-- > 0;)
            display.key(close[i], false);
        display.flush();
    }

    double elapsed() const { return Milliseconds(Clock::now() - start).count(); }

    void findWindow(const std::set<Window>& known, Trial& trial) {
        for (const Window candidate : display.viewableWindows()) {
            const auto area = known.count(candidate) == 0 ? display.viewableArea(candidate) : std::nullopt;
            if (!area || area->width < SMALLEST_WIDTH || area->height < SMALLEST_HEIGHT)
                continue;
            window = candidate;
            trial.mapped = elapsed();
            trial.area = *area;
            return;
        }
    }

    Server display;
    const bool inside;
    const Area watched;
    const std::vector<KeyCode> open, close;
    Window window = 0;
    Clock::time_point start;
};

void print(const Trial& trial) {
    const auto number = [](const std::optional<double>& value) {
        return value ? std::to_string(*value) : std::string("null");
    };
    std::printf(R"({"mapped": %s, "shown": %s, "painted": %s, "keys": %s, "width": %d, "height": %d})"
                "\n",
                number(trial.mapped).c_str(), number(trial.shown).c_str(), number(trial.painted).c_str(),
                number(trial.keys).c_str(), trial.area.width, trial.area.height);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5)
        return 1;
    Probe probe(argv[1], argv[2], argc > 5 ? std::atoi(argv[5]) : 0);
    const int trials = std::atoi(argv[3]), warmups = std::atoi(argv[4]);
    for (int i = -warmups; i < trials; ++i) {
        const Trial trial = probe.run();
        if (i >= 0)
            print(trial);
        if (!trial.mapped && i >= 0)
            return 1;
        probe.closeWindow();
    }
    return 0;
}
