#include "AtSpiFocus.h"

#include <QLatin1String>

#include <algorithm>
#include <array>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

enum class Answered { Yes, NotKnown };

/// One match a window: asking for more makes browsers walk through the whole page.
Answered byCollection(const AtSpiQuery& query, const QList<AtSpiRef>& windows, AtSpiRef& found) {
    std::vector<QDBusPendingCall> calls;
    for (const AtSpiRef& window : windows)
        calls.push_back(query.beginMatches(window, {{AtSpiState::Focused}}, 1));
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
AtSpiRef byWalking(const AtSpiQuery& query, const QList<AtSpiRef>& windows, bool skipHidden) {
    AtSpiRef focused;
    std::vector<AtSpiRef> level(windows.cbegin(), windows.cend());
    while (!level.empty() && !query.expired()) {
        std::vector<QDBusPendingCall> states, roles, children;
        for (const AtSpiRef& object : level) {
            states.push_back(query.beginStates(object));
            roles.push_back(query.beginRole(object));
        }
        for (size_t i = 0; i < level.size(); ++i) {
            const AtSpiStates state = query.states(states[i]);
            if (state.has(AtSpiState::Focused)) {
                if (query.hasText(query.beginInterfaces(level[i])))
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

/// Qt puts the name of the application behind the title that its tree knows. Either side may cut a long one.
bool isTitle(const QString& name, const QString& title) {
    constexpr qsizetype LONG = 200;
    return !name.isEmpty() &&
           (QStringView(title).left(LONG) == QStringView(name).left(LONG) || title.startsWith(name + u" \u2014 "_s));
}

} // namespace

QList<AtSpiRef> windowsTitled(const AtSpiQuery& query, const AtSpiRef& application, const QString& title) {
    QList<AtSpiRef> windows = query.children(application);
    if (windows.size() < 2)
        return windows;
    std::vector<QDBusPendingCall> names;
    for (const AtSpiRef& window : windows)
        names.push_back(query.beginName(window));
    QList<AtSpiRef> titled;
    for (qsizetype i = 0; i < windows.size(); ++i) {
        if (isTitle(query.name(names[static_cast<size_t>(i)]), title))
            titled << windows[i];
    }
    return titled;
}

AtSpiRef focusedObject(const AtSpiQuery& query, const AtSpiRef& application, const QList<AtSpiRef>& windows) {
    AtSpiRef focused;
    if (byCollection(query, windows, focused) == Answered::Yes || query.expired())
        return focused;
    const auto items = query.cacheItems(application);
    if (items)
        focused = byCache(*items);
    // GTK 4's containers lack SHOWING on the way to objects that have it; Qt's do not.
    return focused.isNull() ? byWalking(query, windows, !items.has_value()) : focused;
}

AtSpiPlace placeOf(const AtSpiQuery& query, const AtSpiRef& object) {
    AtSpiPlace place;
    AtSpiRef at = object, below;
    for (int level = 0; level < 60 && !at.isNull() && !query.expired(); ++level) {
        const QDBusPendingCall parentAsked = query.beginParent(at);
        const uint role = query.role(at);
        if (role == AtSpiRole::Application) {
            place.window = below;
            return place;
        }
        if (role == AtSpiRole::DocumentWeb && place.document.isNull())
            place.document = at;
        below = at;
        at = query.parent(parentAsked);
    }
    return place;
}

} // namespace ovalin
