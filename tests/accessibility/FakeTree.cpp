#include "FakeTree.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>

namespace ovalin {

namespace {

template <class Value>
QVariantList one(Value value) {
    return {QVariant::fromValue(std::move(value))};
}
/// As the value of a property.
template <class Value>
QVariantList propertyValue(Value value) {
    return one(QDBusVariant(QVariant::fromValue(std::move(value))));
}

const QString NOTHING = u"/org/a11y/atspi/null"_s;

/// GTK 4's form of a cache item.
struct CacheItem {
    AtSpiRef object;
    QStringList interfaces;
    uint role = 0;
    QList<uint> states;
};

QDBusArgument& operator<<(QDBusArgument& out, const CacheItem& item) {
    const AtSpiRef nowhere{item.object.service, u"/app"_s};
    out.beginStructure();
    out << item.object << nowhere << nowhere << 0 << 0 << item.interfaces << QString() << item.role << QString()
        << item.states;
    out.endStructure();
    return out;
}
const QDBusArgument& operator>>(const QDBusArgument& in, CacheItem&) { return in; }

QList<uint> words(const FakeObject& object) {
    QList<uint> out{0, 0};
    for (const uint state : object.states)
        out[state / 32] |= 1U << (state % 32);
    return out;
}

QStringList interfaces(const FakeObject& object) {
    QStringList list{u"org.a11y.atspi.Accessible"_s};
    if (object.text)
        list << u"org.a11y.atspi.Text"_s;
    return list;
}

} // namespace

FakeTree::FakeTree() {
    qDBusRegisterMetaType<AtSpiRef>();
    qDBusRegisterMetaType<QList<AtSpiRef>>();
    qDBusRegisterMetaType<QMap<QString, QString>>();
    qDBusRegisterMetaType<CacheItem>();
    qDBusRegisterMetaType<QList<CacheItem>>();
    connect();
}

void FakeTree::connect() {
    QDBusConnection connection = QDBusConnection::connectToBus(address(), address());
    service = connection.baseService();
    connection.registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
    connection.registerService(u"org.a11y.Bus"_s);
    connection.registerService(u"org.a11y.atspi.Registry"_s);
}

void FakeTree::restart() {
    QDBusConnection::disconnectFromBus(address());
    bus.end();
    bus.start();
    connect();
}

void FakeTree::tellFocus(const QString& path, bool gained) const {
    QDBusMessage event = QDBusMessage::createSignal(path, u"org.a11y.atspi.Event.Object"_s, u"StateChanged"_s);
    event.setArguments({u"focused"_s, gained ? 1 : 0, 0, QVariant::fromValue(QDBusVariant(QString())),
                        QVariant::fromValue(ref(path))});
    QDBusConnection(address()).send(event);
}

FakeTree::~FakeTree() { QDBusConnection::disconnectFromBus(address()); }

AtSpiRef FakeTree::ref(const QString& path) const { return {service, path}; }

QList<AtSpiRef> FakeTree::refs(const QStringList& paths) const {
    QList<AtSpiRef> list;
    for (const QString& path : paths)
        list << ref(path);
    return list;
}

QString FakeTree::parentOf(const QString& path) const {
    for (const auto& [parent, object] : objects) {
        if (object.children.contains(path))
            return parent;
    }
    return NOTHING;
}

QStringList FakeTree::below(const QString& path) const {
    QStringList list{path};
    for (qsizetype i = 0; i < list.size(); ++i) {
        for (const QString& child : objects.at(list[i]).children) {
            if (!list.contains(child))
                list << child;
        }
    }
    return list;
}

QStringList FakeTree::matches(const QDBusMessage& message) const {
    QList<int> states, roles;
    int kind = 0;
    QMap<QString, QString> attributes;
    const auto rule = message.arguments().at(0).value<QDBusArgument>();
    rule.beginStructure();
    QStringList names;
    bool inverted = false;
    rule >> states >> kind >> attributes >> kind >> roles >> kind >> names >> kind >> inverted;
    rule.endStructure();
    QStringList found;
    for (const QString& path : below(message.path())) {
        const FakeObject& object = objects.at(path);
        const bool inState = (words(object)[0] & static_cast<uint>(states[0])) == static_cast<uint>(states[0]);
        const bool anyRole = std::all_of(roles.begin(), roles.end(), [](int word) { return word == 0; });
        if (inState && (anyRole || (static_cast<uint>(roles[object.role / 32]) >> (object.role % 32) & 1U)))
            found << path;
    }
    return found.mid(0, message.arguments().at(2).toInt());
}

std::optional<QVariantList> FakeTree::textReply(const FakeObject& object, const QDBusMessage& message) const {
    const QString method = message.member();
    const auto characters = object.text->toUcs4();
    const int first = message.arguments().value(0).toInt();
    if (method == "GetNSelections"_L1)
        return one(object.selected ? 1 : 0);
    if (method == "GetSelection"_L1) {
        const auto range = object.selected.value_or(std::pair(-1, -1));
        return QVariantList{range.first, range.second};
    }
    if (method == "GetText"_L1)
        return one(QString::fromUcs4(reinterpret_cast<const char32_t*>(characters.constData()) + first,
                                     message.arguments().at(1).toInt() - first));
    if (method == "GetLinkIndex"_L1)
        return one(static_cast<int>(std::count(characters.begin(), characters.begin() + first, 0xFFFCU)));
    if (method == "GetLink"_L1)
        return one(ref(object.embedded.value(first)));
    return std::nullopt;
}

std::optional<QVariantList> FakeTree::reply(const QDBusMessage& message) const {
    const QString path = message.path();
    const QString method = message.member() == "Get"_L1 ? message.arguments().value(1).toString() : message.member();
    if (method == "GetAddress"_L1)
        return one(address());
    if (path == "/org/a11y/atspi/accessible/root"_L1)
        return one(refs({u"/app"_s}));
    if (method == "GetItems"_L1 && finds == Finds::ByCache) {
        QList<CacheItem> items;
        for (const auto& [at, object] : objects)
            items << CacheItem{ref(at), interfaces(object), object.role, words(object)};
        return one(items);
    }
    const auto found = objects.find(path);
    if (found == objects.end())
        return std::nullopt;
    const FakeObject& object = found->second;
    if (method == "GetMatches"_L1 && finds == Finds::ByCollection)
        return one(refs(matches(message)));
    if (method == "GetChildAtIndex"_L1)
        return one(ref(object.children.value(message.arguments().at(0).toInt(), NOTHING)));
    if (method == "GetIndexInParent"_L1) {
        const auto parent = objects.find(parentOf(path));
        return one(parent == objects.end() ? -1 : static_cast<int>(parent->second.children.indexOf(path)));
    }
    if (method == "CharacterCount"_L1)
        return propertyValue(static_cast<int>(object.text.value_or(QString()).toUcs4().size()));
    if (method == "GetChildren"_L1)
        return one(refs(object.children));
    if (method == "GetState"_L1)
        return one(words(object));
    if (method == "GetRole"_L1)
        return one(object.role);
    if (method == "GetInterfaces"_L1)
        return one(interfaces(object));
    if (method == "GetObject"_L1)
        return one(ref(path));
    if (method == "GetAttributes"_L1)
        return one(object.document);
    if (method == "Name"_L1)
        return propertyValue(object.name);
    if (method == "Parent"_L1)
        return propertyValue(ref(parentOf(path)));
    return object.text ? textReply(object, message) : std::nullopt;
}

bool FakeTree::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.member() == "RegisterEvent"_L1 || message.member() == "DeregisterEvent"_L1) {
        listeners += message.member().startsWith(u'R') ? 1 : -1;
        connection.send(message.createReply());
        return true;
    }
    if (silent.contains(message.member()))
        return true;
    if (garbled.contains(message.member())) {
        connection.send(message.createReply(QVariantList{u"?"_s, 1.5}));
        return true;
    }
    const auto answer = reply(message);
    connection.send(answer ? message.createReply(*answer)
                           : message.createErrorReply(QDBusError::UnknownMethod, message.member()));
    return true;
}

} // namespace ovalin
