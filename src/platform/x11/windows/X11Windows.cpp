#include "X11Windows.h"

#include "WindowReader.h"
#include "platform/x11/ScreenConnection.h"
#include "platform/x11/XProperty.h"

#include <algorithm>
#include <array>
#include <optional>

namespace ovalin {

namespace {

constexpr int DESKTOP_LAYER = -1;
constexpr int DOCK_LAYER = 20;
constexpr int NOTIFICATION_LAYER = 25;
constexpr int POPUP_LAYER = 101;

struct TypeLayer {
    const char* type;
    int layer;
};

constexpr std::array<TypeLayer, 12> LAYERS{{
    {"_NET_WM_WINDOW_TYPE_NORMAL", 0},
    {"_NET_WM_WINDOW_TYPE_DIALOG", 0},
    {"_NET_WM_WINDOW_TYPE_UTILITY", 0},
    {"_NET_WM_WINDOW_TYPE_DESKTOP", DESKTOP_LAYER},
    {"_NET_WM_WINDOW_TYPE_DOCK", DOCK_LAYER},
    {"_NET_WM_WINDOW_TYPE_NOTIFICATION", NOTIFICATION_LAYER},
    {"_NET_WM_WINDOW_TYPE_DROPDOWN_MENU", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_POPUP_MENU", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_TOOLTIP", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_COMBO", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_DND", POPUP_LAYER},
    {"_NET_WM_WINDOW_TYPE_SPLASH", POPUP_LAYER},
}};

/// Bottom to top.
std::vector<quint32> stackedWindows(const ScreenConnection& x, const WindowReader& reader) {
    if (auto managed = reader.managedWindows(); !managed.empty())
        return managed;
    const XReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x.get(), xcb_query_tree(x.get(), x.root()), nullptr));
    if (!tree)
        return {};
    const xcb_window_t* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
}

struct Questions {
    xcb_window_t window;
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_translate_coordinates_cookie_t origin;
    xcb_get_property_cookie_t type;
};

/// Asks about every window before the first answer is taken.
class WindowList {
public:
    explicit WindowList(const ScreenConnection& connection)
        : x(connection)
        , reader(x.get()) {
        std::vector<const char*> names{"_NET_WM_WINDOW_TYPE"};
        for (const auto& layer : LAYERS)
            names.push_back(layer.type);
        atoms = internAtoms(x.get(), names);
    }
    [[nodiscard]] std::vector<WindowInfo> frontToBack() const;

private:
    [[nodiscard]] Questions ask(xcb_window_t window) const;
    [[nodiscard]] std::optional<WindowInfo> answer(const Questions& q, const WindowIdentity& identity,
                                                   const QString& title) const;
    [[nodiscard]] int layerOf(bool overrideRedirect, const std::vector<quint32>& types) const;

    const ScreenConnection& x;
    const WindowReader reader;
    std::vector<xcb_atom_t> atoms; // that of the type property, then those of LAYERS
};

Questions WindowList::ask(xcb_window_t window) const {
    auto* c = x.get();
    return {window, xcb_get_window_attributes(c, window), xcb_get_geometry(c, window),
            xcb_translate_coordinates(c, window, x.root(), 0, 0), askProperty(c, window, atoms.front())};
}

int WindowList::layerOf(bool overrideRedirect, const std::vector<quint32>& types) const {
    if (overrideRedirect)
        return POPUP_LAYER;
    // The first type that is known counts (EWMH: in order of preference).
    for (const xcb_atom_t type : types) {
        const auto known = std::find(atoms.begin() + 1, atoms.end(), type);
        if (type != XCB_ATOM_NONE && known != atoms.end())
            return LAYERS[static_cast<size_t>(known - atoms.begin() - 1)].layer;
    }
    return 0;
}

/// All replies are taken in any case: libxcb keeps what nobody asks for.
std::optional<WindowInfo> WindowList::answer(const Questions& q, const WindowIdentity& identity,
                                             const QString& title) const {
    auto* c = x.get();
    const XReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, q.attributes, nullptr));
    const XReply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, q.geometry, nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(c, q.origin, nullptr));
    const auto types = takeWords(c, q.type);
    if (!attributes || !geometry || !origin || attributes->map_state != XCB_MAP_STATE_VIEWABLE ||
        attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY)
        return std::nullopt;
    return WindowInfo{{q.window},
                      identity.pid,
                      layerOf(attributes->override_redirect, types),
                      QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height),
                      identity.wmClass,
                      title};
}

std::vector<WindowInfo> WindowList::frontToBack() const {
    const std::vector<quint32> stacked = stackedWindows(x, reader);
    std::vector<Questions> questions;
    for (const xcb_window_t window : stacked)
        questions.push_back(ask(window));
    const auto identities = reader.identify(stacked);
    const QStringList titles = reader.titles(stacked);
    std::vector<WindowInfo> windows;
    for (size_t i = stacked.size(); i-- > 0;) {
        if (const auto info = answer(questions[i], identities[i], titles[static_cast<qsizetype>(i)]))
            windows.push_back(*info);
    }
    return windows;
}

} // namespace

std::vector<WindowInfo> X11Windows::onScreenWindows() {
    const ScreenConnection x(displayName.isEmpty() ? nullptr : displayName.constData());
    return x ? WindowList(x).frontToBack() : std::vector<WindowInfo>();
}

} // namespace ovalin
