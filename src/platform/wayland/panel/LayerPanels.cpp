#include "LayerPanels.h"

#include "PointerProbe.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <algorithm>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto LONGEST_PICTURE = 40ms, LONGEST_PROBE = 50ms;
constexpr auto SEEN_HOLDS = 2s; // then it may show something else there

QScreen* screenOf(const QRect& area) {
    QScreen* const screen = QGuiApplication::screenAt(area.center());
    return screen ? screen : QGuiApplication::primaryScreen();
}

QScreen* screenNamed(const QString& name) {
    const auto screens = QGuiApplication::screens();
    const auto found = std::find_if(screens.begin(), screens.end(), [&](QScreen* s) { return s->name() == name; });
    return found != screens.end() ? *found : QGuiApplication::primaryScreen();
}

} // namespace

void prepareForWayland(bool layers) {
    if (layers)
        qputenv("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT", "1");
    qputenv("QT_WAYLAND_CLIENT_BUFFER_INTEGRATION", "none"); // GL would take memory and time for nothing
    qputenv("QT_WAYLAND_DISABLE_FIXED_POSITIONS", "1");      // Qt would take every window to be in the corner
}

LayerPanels::LayerPanels() = default;
LayerPanels::~LayerPanels() = default;

std::vector<ShownOutput> LayerPanels::takePictures() {
    std::vector<std::pair<const QScreen*, std::unique_ptr<ScreenPicture>>> pictures;
    for (const auto& output : connection.outputs())
        pictures.emplace_back(screenNamed(output.name), std::make_unique<ScreenPicture>(connection, output));
    connection.waitUntil(deadlineIn(LONGEST_PICTURE), [&] {
        return std::ranges::all_of(pictures, [](const auto& each) { return each.second->isOver(); });
    });
    std::vector<ShownOutput> shown;
    for (const auto& [screen, picture] : pictures) {
        if (const QImage image = picture->image(); screen && !image.isNull())
            shown.push_back({screen->geometry(), image});
    }
    return shown;
}

QPoint LayerPanels::pointer() {
    freeAreas.clear();
    connection.refresh();
    // Before the pointer is looked for: that makes the outputs draw anew, and a picture then waits for the frame after.
    std::vector<ShownOutput> shown = takePictures();
    const auto place = findPointer(connection, deadlineIn(LONGEST_PROBE));
    const QScreen* const screen = place ? screenNamed(place->output) : QGuiApplication::primaryScreen();
    if (!screen)
        return {};
    const auto here = std::ranges::find(shown, screen->geometry(), &ShownOutput::frame);
    seen = {screen->geometry(), here != shown.end() ? here->picture : QImage(), std::chrono::steady_clock::now()};
    if (pictured && layers.empty())
        pictured(std::move(shown));
    if (!place)
        return screen->geometry().center();
    freeAreas.insert(screen->name(), place->free);
    return screen->geometry().topLeft() + place->at;
}

std::vector<ScreenArea> LayerPanels::screens() {
    std::vector<ScreenArea> areas;
    const QScreen* const main = QGuiApplication::primaryScreen();
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect frame = screen->geometry();
        const auto free = freeAreas.constFind(screen->name());
        const ScreenArea area{frame, free == freeAreas.cend() ? frame : free->translated(frame.topLeft()) & frame};
        areas.insert(screen == main ? areas.begin() : areas.end(), area);
    }
    return areas;
}

QImage LayerPanels::backdrop(const QRect& area) {
    const QScreen* const screen = screenOf(area);
    if (!screen || !screen->geometry().contains(area)) // the rest lies beside the output
        return {};
    const QRect part = area.translated(-screen->geometry().topLeft());
    const bool fresh = std::chrono::steady_clock::now() - seen.at < SEEN_HOLDS;
    if (fresh && seen.output == screen->geometry() && !seen.picture.isNull())
        return partOf(seen.picture, screen->size(), part);
    const auto& outputs = connection.outputs();
    const auto output = std::ranges::find(outputs, screen->name(), &OutputConnection::Output::name);
    if (output == outputs.end())
        return {};
    const ScreenPicture picture(connection, *output, part);
    connection.waitUntil(deadlineIn(LONGEST_PICTURE), [&] { return picture.isOver(); });
    return partOf(picture.image(), part.size(), QRect(QPoint(), part.size()));
}

void LayerPanels::open(QWidget& window) {
    QWindow* const handle = window.windowHandle();
    QScreen* const screen = screenOf(window.geometry());
    if (!works() || !screen || !surfaceOf(window))
        return;
    handle->setScreen(screen);
    auto* const output =
        static_cast<wl_output*>(QGuiApplication::platformNativeInterface()->nativeResourceForScreen("output", screen));
    const bool keyboard = !window.windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus);
    auto& layer = layers[handle];
    layer = std::make_unique<LayerSurface>(shell, window, output, screen->geometry(), keyboard);
    layer->configuredLate = [&window] { window.show(); };
    // Not from within the call: it is the surface's own.
    layer->closed = [this, &window] {
        QMetaObject::invokeMethod(
            &window, [this, &window] { lost(window); }, Qt::QueuedConnection);
    };
    popups.add(window);
    handle->installEventFilter(this);
    // Told before Qt takes the surface away, and it has to go first.
    connect(handle, &QWindow::visibleChanged, this, [this, handle, &window](bool visible) {
        if (visible)
            return;
        popups.remove(window);
        handle->removeEventFilter(this);
        layers.erase(handle);
        if (layers.empty())
            seen = {};
    });
    if (layer->isConfigured())
        window.show();
}

void LayerPanels::place(QWidget& window, const QRect& place) {
    const auto layer = layers.find(window.windowHandle());
    if (layer != layers.end())
        layer->second->place(place);
}

void LayerPanels::setKeyboard(const QWindow& window, bool exclusive) {
    const auto layer = layers.find(&window);
    if (layer != layers.end())
        layer->second->setKeyboard(exclusive);
}

bool LayerPanels::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::MouseButtonRelease) {
        const auto layer = layers.find(static_cast<const QWindow*>(watched));
        if (layer != layers.end())
            layer->second->released();
    }
    return false;
}

// Its output is gone; what was typed is not to be, so the panel comes back on another one.
void LayerPanels::lost(QWidget& window) {
    QWindow* const handle = window.windowHandle();
    if (!layers.contains(handle))
        return;
    window.hide();
    if (window.windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus) || !QGuiApplication::primaryScreen())
        return;
    handle->destroy(); // Qt's surface has been another's
    const QRect frame = QGuiApplication::primaryScreen()->geometry();
    window.move(frame.center() - window.rect().center());
    handle->create();
    open(window);
}

} // namespace ovalin
