#include "AtSpiFocus.h"

#include <QLatin1String>

#include <algorithm>
#include <array>

namespace ovalin {

namespace {

struct Window {
    AtSpiRef frame;
    bool active = false;
};

/// The application's windows, the active one first.
std::vector<Window> windowsOf(const AtSpiQuery& query, const AtSpiRef& application) {
    const QList<AtSpiRef> frames = query.children(application);
    std::vector<QDBusPendingCall> states;
    for (const AtSpiRef& frame : frames)
        states.push_back(query.beginStates(frame));
    std::vector<Window> windows;
    for (qsizetype i = 0; i < frames.size(); ++i)
        windows.push_back({frames[i], query.states(states[static_cast<size_t>(i)]).has(AtSpiState::Active)});
    std::stable_partition(windows.begin(), windows.end(), [](const Window& window) { return window.active; });
    return windows;
}

enum class Answered { Yes, NotKnown };

/// One match a window: asking for more makes browsers walk through the whole page.
Answered byCollection(const AtSpiQuery& query, const std::vector<Window>& windows, AtSpiRef& found) {
    std::vector<QDBusPendingCall> calls;
    for (const Window& window : windows)
        calls.push_back(query.beginMatches(window.frame, {{AtSpiState::Focused}}, 1));
    Answered answered = Answered::NotKnown;
    for (const QDBusPendingCall& call : calls) {
        if (query.answered(call))
            answered = Answered::Yes;
        const QList<AtSpiRef> matches = query.refs(call);
        if (found.isNull() && !matches.isEmpty())
            found = matches.first();
    }
    return answered;
}

AtSpiRef byCache(const std::vector<AtSpiCacheItem>& items) {
    AtSpiRef focused;
    for (const AtSpiCacheItem& item : items) {
        if (!item.states.has(AtSpiState::Focused))
            continue;
        if (item.interfaces.contains(QLatin1String("org.a11y.atspi.Text")))
            return item.object;
        if (focused.isNull())
            focused = item.object;
    }
    return focused;
}

/// Item views may have a child for each of a million cells, and no text field among them; nor have menus and buttons.
bool holdsNoFields(uint role) {
    constexpr std::array roles{AtSpiRole::Table,    AtSpiRole::Tree,  AtSpiRole::TreeTable,  AtSpiRole::List,
                               AtSpiRole::ListBox,  AtSpiRole::Menu,  AtSpiRole::MenuBar,    AtSpiRole::MenuItem,
                               AtSpiRole::CheckBox, AtSpiRole::Label, AtSpiRole::PushButton, AtSpiRole::PopupMenu};
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

/// Level by level, all questions of a level under way together. Qt calls a viewport focused too, beside the text in it.
AtSpiRef byWalking(const AtSpiQuery& query, const std::vector<Window>& windows, bool skipHidden) {
    AtSpiRef focused;
    std::vector<AtSpiRef> level;
    for (const Window& window : windows)
        level.push_back(window.frame);
    while (!level.empty() && !query.expired()) {
        std::vector<QDBusPendingCall> states, roles, children;
        for (const AtSpiRef& object : level) {
            states.push_back(query.beginStates(object));
            roles.push_back(query.beginRole(object));
        }
        for (size_t i = 0; i < level.size(); ++i) {
            const AtSpiStates state = query.states(states[i]);
            if (state.has(AtSpiState::Focused)) {
                if (query.hasText(level[i]))
                    return level[i];
                if (focused.isNull())
                    focused = level[i];
            }
            if ((!skipHidden || state.has(AtSpiState::Showing)) && !holdsNoFields(query.role(roles[i])))
                children.push_back(query.beginChildren(level[i]));
        }
        level.clear();
        for (const QDBusPendingCall& call : children) {
            for (const AtSpiRef& child : query.refs(call))
                level.push_back(child);
        }
    }
    return focused;
}

} // namespace

AtSpiFocus focusedObject(const AtSpiQuery& query, const AtSpiRef& application) {
    const std::vector<Window> windows = windowsOf(query, application);
    AtSpiFocus focus;
    focus.windowActive = !windows.empty() && windows.front().active;
    if (byCollection(query, windows, focus.object) == Answered::Yes || query.expired())
        return focus;
    const auto items = query.cacheItems(application);
    if (items)
        focus.object = byCache(*items);
    // GTK 4's containers lack SHOWING on the way to objects that have it; Qt's do not.
    if (focus.object.isNull())
        focus.object = byWalking(query, windows, !items.has_value());
    return focus;
}

AtSpiRef enclosingDocument(const AtSpiQuery& query, const AtSpiRef& object) {
    AtSpiRef at = object;
    for (int level = 0; level < 40 && !at.isNull() && !query.expired(); ++level) {
        const QDBusPendingCall parent = query.beginParent(at);
        if (query.role(at) == AtSpiRole::DocumentWeb)
            return at;
        at = query.parent(parent);
    }
    return {};
}

} // namespace ovalin
