#include "WindowNames.h"

#include "platform/x11/WindowsConnection.h"
#include "platform/x11/XProperty.h"

#include <algorithm>

namespace ovalin {

QStringList windowNamesTopDown() {
    const WindowsConnection x;
    if (!x)
        return {};
    constexpr const char* NAMES[] = {"_NET_CLIENT_LIST_STACKING", "_NET_ACTIVE_WINDOW", "_NET_WM_NAME"};
    const auto atoms = internAtoms(x.get(), NAMES);
    auto order = takeWords(x.get(), askProperty(x.get(), x.root(), atoms[0]));
    const auto active = takeWords(x.get(), askProperty(x.get(), x.root(), atoms[1]));
    order.insert(order.end(), active.begin(), active.end());
    std::reverse(order.begin(), order.end());

    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window : order)
        cookies.push_back(askProperty(x.get(), window, atoms[2]));
    QStringList names;
    for (const auto cookie : cookies)
        names << QString::fromUtf8(takeBytes(x.get(), cookie));
    return names;
}

} // namespace ovalin
