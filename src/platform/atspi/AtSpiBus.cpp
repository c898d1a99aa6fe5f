#include "AtSpiBus.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>

#include <algorithm>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

const char* const ACCESSIBLE = "org.a11y.atspi.Accessible";
const char* const ROOT = "/org/a11y/atspi/accessible/root";
const AtSpiRef REGISTRY{u"org.a11y.atspi.Registry"_s, QString::fromLatin1(ROOT)};
const AtSpiRef BUS_DAEMON{u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s};

/// The rule of Collection.GetMatches as it goes over the bus: (aiia{ss}iaiiasib). Each list has a kind of match: 1 all
/// of it, 2 any of it.
struct WireRule {
    QList<int> states{0, 0};
    QList<int> roles{0, 0, 0, 0};
};

QDBusArgument& operator<<(QDBusArgument& out, const WireRule& rule) {
    const int all = 1, any = 2;
    out.beginStructure();
    out << rule.states << all << QMap<QString, QString>() << all << rule.roles << any << QStringList() << all << false;
    out.endStructure();
    return out;
}

QVariantList checkedAnswer(const QDBusMessage& reply, const char* signature) {
    return reply.signature() == QLatin1String(signature) ? reply.arguments() : QVariantList();
}

// Rules are only sent; QtDBus wants both directions.
const QDBusArgument& operator>>(const QDBusArgument& in, WireRule&) { return in; }

} // namespace

QDBusArgument& operator<<(QDBusArgument& out, const AtSpiRef& ref) {
    out.beginStructure();
    out << ref.service << QDBusObjectPath(ref.path.isEmpty() ? u"/"_s : ref.path);
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, AtSpiRef& ref) {
    QDBusObjectPath path;
    in.beginStructure();
    in >> ref.service >> path;
    in.endStructure();
    ref.path = path.path();
    return in;
}

bool AtSpiRef::isNull() const {
    return service.isEmpty() || path.isEmpty() || path == QLatin1String("/org/a11y/atspi/null");
}

AtSpiQuery::AtSpiQuery(const QDBusConnection& connection, QDeadlineTimer until)
    : bus(connection)
    , deadline(until) {
    [[maybe_unused]] static const bool registered = [] {
        qDBusRegisterMetaType<AtSpiRef>();
        qDBusRegisterMetaType<QList<AtSpiRef>>();
        qDBusRegisterMetaType<QMap<QString, QString>>();
        qDBusRegisterMetaType<WireRule>();
        return true;
    }();
}

int AtSpiQuery::timeLeft() const { return static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 1, 60'000)); }

QDBusPendingCall AtSpiQuery::begin(const AtSpiRef& object, const char* interface, const char* method,
                                   const QVariantList& arguments) const {
    if (expired() || object.isNull())
        return QDBusPendingCall::fromError(QDBusError(QDBusError::NoReply, u"the deadline passed"_s));
    QDBusMessage message = QDBusMessage::createMethodCall(object.service, object.path, QString::fromLatin1(interface),
                                                          QString::fromLatin1(method));
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return bus.asyncCall(message, timeLeft());
}

bool AtSpiQuery::answered(QDBusPendingCall call) const {
    // Thousands of calls may be under way when the deadline passes; their time-outs come one after another.
    if (expired() && !call.isFinished())
        return false;
    call.waitForFinished();
    return !call.isError();
}

QVariantList AtSpiQuery::answer(const QDBusPendingCall& call, const char* signature) const {
    return answered(call) ? checkedAnswer(call.reply(), signature) : QVariantList();
}

QList<AtSpiRef> AtSpiQuery::refs(const QDBusPendingCall& call) const {
    return qdbus_cast<QList<AtSpiRef>>(answer(call, "a(so)").value(0));
}

AtSpiRef AtSpiQuery::ref(const QDBusPendingCall& call) const {
    return qdbus_cast<AtSpiRef>(answer(call, "(so)").value(0));
}

AtSpiStates AtSpiQuery::states(const QDBusPendingCall& call) const {
    return {qdbus_cast<QList<uint>>(answer(call, "au").value(0))};
}

uint AtSpiQuery::role(const QDBusPendingCall& call) const { return answer(call, "u").value(0).toUInt(); }

std::vector<AtSpiQuery::Application> AtSpiQuery::applications() const {
    const QList<AtSpiRef> roots = children(REGISTRY);
    std::vector<QDBusPendingCall> pids;
    for (const AtSpiRef& root : roots)
        pids.push_back(begin(BUS_DAEMON, "org.freedesktop.DBus", "GetConnectionUnixProcessID", {root.service}));
    std::vector<Application> found;
    for (qsizetype i = 0; i < roots.size(); ++i) {
        if (const uint pid = role(pids[static_cast<size_t>(i)]))
            found.push_back({roots[i], static_cast<qint32>(pid)});
    }
    return found;
}

std::optional<AtSpiRef> AtSpiQuery::application(qint32 pid) const {
    const auto all = applications();
    const auto found = std::find_if(all.begin(), all.end(), [pid](const auto& each) { return each.pid == pid; });
    return found == all.end() ? std::nullopt : std::optional(found->root);
}

QDBusPendingCall AtSpiQuery::beginChildren(const AtSpiRef& object) const {
    return begin(object, ACCESSIBLE, "GetChildren");
}
QDBusPendingCall AtSpiQuery::beginStates(const AtSpiRef& object) const { return begin(object, ACCESSIBLE, "GetState"); }
QDBusPendingCall AtSpiQuery::beginRole(const AtSpiRef& object) const { return begin(object, ACCESSIBLE, "GetRole"); }
QList<AtSpiRef> AtSpiQuery::children(const AtSpiRef& object) const { return refs(beginChildren(object)); }
AtSpiStates AtSpiQuery::states(const AtSpiRef& object) const { return states(beginStates(object)); }
uint AtSpiQuery::role(const AtSpiRef& object) const { return role(beginRole(object)); }

QDBusPendingCall AtSpiQuery::beginInterfaces(const AtSpiRef& object) const {
    return begin(object, ACCESSIBLE, "GetInterfaces");
}
bool AtSpiQuery::hasText(const QDBusPendingCall& interfaces) const {
    return answer(interfaces, "as").value(0).toStringList().contains(QLatin1String("org.a11y.atspi.Text"));
}

QDBusPendingCall AtSpiQuery::beginProperty(const AtSpiRef& object, const char* name) const {
    return begin(object, "org.freedesktop.DBus.Properties", "Get",
                 {QString::fromLatin1(ACCESSIBLE), QString::fromLatin1(name)});
}
QDBusPendingCall AtSpiQuery::beginName(const AtSpiRef& object) const { return beginProperty(object, "Name"); }
QDBusPendingCall AtSpiQuery::beginParent(const AtSpiRef& object) const { return beginProperty(object, "Parent"); }

QVariant AtSpiQuery::property(const QDBusPendingCall& call) const {
    return answer(call, "v").value(0).value<QDBusVariant>().variant();
}

AtSpiRef AtSpiQuery::parent(const QDBusPendingCall& call) const {
    const QVariant value = property(call);
    if (value.metaType() != QMetaType::fromType<QDBusArgument>() ||
        value.value<QDBusArgument>().currentSignature() != QLatin1String("(so)"))
        return {};
    return qdbus_cast<AtSpiRef>(value);
}

QDBusPendingCall AtSpiQuery::beginMatches(const AtSpiRef& window, const AtSpiMatch& match, int count) const {
    WireRule rule;
    for (const uint state : match.states) {
        int& word = rule.states[state / 32];
        word = static_cast<int>(static_cast<uint>(word) | 1U << (state % 32));
    }
    if (match.role != 0)
        rule.roles[match.role / 32] = static_cast<int>(1U << (match.role % 32));
    const uint canonicalOrder = 1;
    return begin(window, "org.a11y.atspi.Collection", "GetMatches",
                 {QVariant::fromValue(rule), canonicalOrder, count, true});
}

std::optional<std::vector<AtSpiCacheItem>> AtSpiQuery::cacheItems(const AtSpiRef& application) const {
    const AtSpiRef cache{application.service, u"/org/a11y/atspi/cache"_s};
    const QVariantList arguments = answer(begin(cache, "org.a11y.atspi.Cache", "GetItems"), "a((so)(so)(so)iiassusau)");
    if (arguments.isEmpty())
        return std::nullopt;
    const auto items = arguments.first().value<QDBusArgument>(); // const: else QtDBus takes it for one to write to
    std::vector<AtSpiCacheItem> found;
    items.beginArray();
    while (!items.atEnd()) {
        AtSpiCacheItem item;
        AtSpiRef root, parent;
        int index = 0, childCount = 0;
        QString name, description;
        items.beginStructure();
        items >> item.object >> root >> parent >> index >> childCount >> item.interfaces >> name >> item.role >>
            description >> item.states.words;
        items.endStructure();
        found.push_back(std::move(item));
    }
    items.endArray();
    return found;
}

AtSpiBus::AtSpiBus(QString address)
    : sessionAddress(std::move(address)) {}

std::optional<QDBusConnection> AtSpiBus::session(QDeadlineTimer deadline) {
    return sessionLink.connection([this] { return sessionAddress; }, deadline);
}

QString AtSpiBus::address(QDeadlineTimer deadline) {
    const auto connection = session(deadline);
    if (!connection)
        return {};
    const QDBusMessage message =
        QDBusMessage::createMethodCall(u"org.a11y.Bus"_s, u"/org/a11y/bus"_s, u"org.a11y.Bus"_s, u"GetAddress"_s);
    const int left = static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 1, 60'000));
    return AtSpiQuery(*connection, deadline).answer(connection->asyncCall(message, left), "s").value(0).toString();
}

std::optional<AtSpiQuery> AtSpiBus::open(QDeadlineTimer deadline) {
    const auto connection = accessibilityLink.connection([this, deadline] { return address(deadline); }, deadline);
    if (!connection)
        return std::nullopt;
    return AtSpiQuery(*connection, deadline);
}

} // namespace ovalin
