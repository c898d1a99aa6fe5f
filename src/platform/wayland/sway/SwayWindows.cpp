#include "SwayWindows.h"

#include <QJsonArray>

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

/// Nodes that hold others name the order in which these had the focus.
QJsonObject latest(const QJsonObject& node) {
    const QJsonArray order = node[u"focus"].toArray();
    if (order.isEmpty())
        return {};
    for (const QString& children : {u"nodes"_s, u"floating_nodes"_s}) {
        for (const QJsonValue child : node[children].toArray()) {
            if (child[u"id"].toInteger() == order.first().toInteger())
                return child.toObject();
        }
    }
    return {};
}

} // namespace

WaylandWindow swayWindow(const QJsonObject& container) {
    WaylandWindow window;
    if (!container[u"pid"].isDouble())
        return window; // it holds others
    window.id = static_cast<quint64>(container[u"id"].toInteger());
    window.pid = static_cast<qint32>(container[u"pid"].toInteger());
    const QJsonObject ofX = container[u"window_properties"].toObject();
    window.appId = ofX.isEmpty() ? container[u"app_id"].toString() : ofX[u"class"].toString();
    window.instance = ofX[u"instance"].toString();
    window.title = container[u"name"].toString();
    const auto rectangle = [&container](const QString& name) {
        const QJsonObject of = container[name].toObject();
        return QRect(of[u"x"].toInt(), of[u"y"].toInt(), of[u"width"].toInt(), of[u"height"].toInt());
    };
    // Without the frame that sway draws around it.
    const QRect outer = rectangle(u"rect"_s), inner = rectangle(u"window_rect"_s);
    window.frame = inner.isEmpty() ? outer : inner.translated(outer.topLeft());
    return window;
}

std::vector<WaylandWindow> swayVisible(const QJsonObject& tree) {
    std::vector<WaylandWindow> found;
    if (WaylandWindow window = swayWindow(tree); window.id && tree[u"visible"].toBool())
        found.push_back(std::move(window));
    for (const QString& children : {u"nodes"_s, u"floating_nodes"_s}) {
        for (const QJsonValue child : tree[children].toArray()) {
            for (WaylandWindow& window : swayVisible(child.toObject()))
                found.push_back(std::move(window));
        }
    }
    return found;
}

WaylandWindow swayFront(QJsonObject tree) {
    WaylandWindow found;
    while (!tree.isEmpty()) {
        found = swayWindow(tree);
        tree = latest(tree);
    }
    return found;
}

SwayWindows::SwayWindows(SwayIpc& theSway, WindowBook& theBook, Focused theFocused)
    : sway(theSway)
    , book(theBook)
    , focused(std::move(theFocused)) {
    sway.ask(SwayIpc::Ask::Subscribe, R"(["window","workspace","binding"])", {});
    locate({});
}

void SwayWindows::setFront(const QJsonObject& container) {
    WaylandWindow window = swayWindow(container);
    book.setFront(window.id ? std::optional(std::move(window)) : std::nullopt);
}

void SwayWindows::told(SwayIpc::Event event, const QJsonObject& what) {
    const QString change = what[u"change"].toString();
    const QJsonObject container = what[u"container"].toObject();
    if (event == SwayIpc::Event::Window) {
        const auto front = book.front();
        const bool same = front && static_cast<qint64>(front->id) == container[u"id"].toInteger();
        if (change == u"focus" || (same && change == u"title"))
            setFront(container);
        else if (change == u"close")
            book.closed(static_cast<quint64>(container[u"id"].toInteger()));
        // Several changes of the focus are told for each window that comes or goes. A window that is clicked beside a
        // panel is told of as well, though sway leaves the keyboard with the panel.
        const Deadline now = std::chrono::steady_clock::now();
        if (change == u"new" || change == u"close")
            lastMoved = now;
        if (change == u"focus")
            focused(now - lastMoved < AT_ONCE ? Change::ByItself : Change::ByUser);
    } else if (event == SwayIpc::Event::Workspace && change == u"focus") {
        // An empty one has nothing that could be told of next.
        const QJsonObject current = what[u"current"].toObject();
        if (current[u"nodes"].toArray().isEmpty() && current[u"floating_nodes"].toArray().isEmpty())
            book.setFront({});
    }
}

void SwayWindows::locate(EventThread::Task done) {
    sway.ask(SwayIpc::Ask::Tree, {}, [this, done = std::move(done)](const QJsonDocument& tree) {
        WaylandWindow window = swayFront(tree.object());
        book.setFront(window.id ? std::optional(std::move(window)) : std::nullopt);
        if (done)
            done();
    });
}

void SwayWindows::bring(quint64 id) { sway.command("[con_id=" + QByteArray::number(id) + "] focus"); }

void SwayWindows::visible(std::function<void(Windows)> answer) {
    sway.ask(SwayIpc::Ask::Tree, {},
             [answer = std::move(answer)](const QJsonDocument& tree) { answer(swayVisible(tree.object())); });
}

} // namespace ovalin
