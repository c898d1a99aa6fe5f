#include "HostileApplication.h"

#include "platform/atspi/AtSpiBus.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>

#include <array>

namespace ovalin::fuzz {

using namespace Qt::StringLiterals;

namespace {

// Of one input; then errors. Each answer may name several objects, and each of these is asked about.
constexpr int MOST_ANSWERS = 120, MOST_IN_LIST = 8;

struct CacheItem {
    AtSpiRef object, root, parent;
    int index = 0, children = 0;
    QStringList interfaces;
    QString name;
    uint role = 0;
    QString description;
    QList<uint> states;
};
QDBusArgument& operator<<(QDBusArgument& out, const CacheItem& item) {
    out.beginStructure();
    out << item.object << item.root << item.parent << item.index << item.children << item.interfaces << item.name
        << item.role << item.description << item.states;
    out.endStructure();
    return out;
}
const QDBusArgument& operator>>(const QDBusArgument& in, CacheItem&) { return in; } // only sent

AtSpiRef refFrom(FuzzedDataProvider& in) {
    static constexpr std::array SERVICES{":1.1", ":1.2", "", "no bus name", "org.a11y.atspi.Registry"};
    static constexpr std::array PATHS{"/a/1", "/a/2", "/a/3", "/org/a11y/atspi/accessible/root",
                                      "/org/a11y/atspi/null"};
    return {QString::fromLatin1(in.PickValueInArray(SERVICES)), QString::fromLatin1(in.PickValueInArray(PATHS))};
}

template <class Value>
QList<Value> listFrom(FuzzedDataProvider& in, Value (*one)(FuzzedDataProvider&)) {
    QList<Value> list;
    for (int left = in.ConsumeIntegralInRange(0, in.ConsumeBool() ? 3 : MOST_IN_LIST);
         left > 0 && in.remaining_bytes() > 0; --left)
        list.append(one(in));
    return list;
}

QString wordsFrom(FuzzedDataProvider& in) {
    return QString::fromUtf8(QByteArray::fromStdString(in.ConsumeRandomLengthString(40)))
        .replace(u'#', QChar::ObjectReplacementCharacter) // rarely found by chance
        .remove(QChar());
}

uint numberFrom(FuzzedDataProvider& in) {
    return in.ConsumeBool() ? in.ConsumeIntegralInRange<uint>(0, 130) : in.ConsumeIntegral<uint>();
}

CacheItem itemFrom(FuzzedDataProvider& in) {
    return {refFrom(in),
            refFrom(in),
            refFrom(in),
            0,
            1,
            {u"org.a11y.atspi.Text"_s},
            wordsFrom(in),
            numberFrom(in),
            {},
            listFrom(in, numberFrom)};
}

} // namespace

HostileApplication::HostileApplication() {
    qDBusRegisterMetaType<AtSpiRef>();
    qDBusRegisterMetaType<QList<AtSpiRef>>();
    qDBusRegisterMetaType<QMap<QString, QString>>();
    qDBusRegisterMetaType<CacheItem>();
    qDBusRegisterMetaType<QList<CacheItem>>();
    moveToThread(&thread);
    thread.start();
    QMetaObject::invokeMethod(
        this,
        [this] {
            server.emplace(u"unix:tmpdir=/tmp"_s);
            address = server->address();
            connect(&*server, &QDBusServer::newConnection, this, [this](const QDBusConnection& made) {
                peer = made;
                peer->registerVirtualObject(u"/"_s, this, QDBusConnection::SubPath);
            });
        },
        Qt::BlockingQueuedConnection);
}

HostileApplication::~HostileApplication() {
    QMetaObject::invokeMethod(
        this,
        [this] {
            peer.reset();
            server.reset();
            moveToThread(nullptr);
        },
        Qt::BlockingQueuedConnection);
    thread.quit();
    thread.wait();
}

QDBusConnection HostileApplication::connection() const { return QDBusConnection::connectToPeer(address, u"hostile"_s); }

void HostileApplication::answerFrom(FuzzedDataProvider* input) {
    {
        const QMutexLocker lock(&mutex);
        in = input;
        answers = 0;
    }
    // What a deadline has left behind would be answered out of the next input. The connection keeps the order.
    if (input == nullptr)
        QDBusConnection(u"hostile"_s).call(QDBusMessage::createMethodCall({}, u"/a/0"_s, {}, u"Behind"_s));
}

QVariant HostileApplication::answerTo(const QString& member) {
    const QString kind = in->ConsumeIntegralInRange(0, 15) == 0 ? wordsFrom(*in) : member; // or of another type
    if (kind == u"GetChildren"_s || kind == u"GetMatches"_s)
        return QVariant::fromValue(listFrom(*in, refFrom));
    if (kind == u"GetLink"_s || kind == u"GetObject"_s || kind == u"GetChildAtIndex"_s)
        return QVariant::fromValue(refFrom(*in));
    if (kind == u"GetState"_s)
        return QVariant::fromValue(listFrom(*in, numberFrom));
    if (kind == u"GetRole"_s || kind == u"GetConnectionUnixProcessID"_s)
        return numberFrom(*in);
    if (kind == u"GetInterfaces"_s)
        return QStringList{u"org.a11y.atspi.Text"_s, wordsFrom(*in)};
    if (kind == u"GetAttributes"_s)
        return QVariant::fromValue(QMap<QString, QString>{{u"DocURL"_s, wordsFrom(*in)}, {u"Title"_s, wordsFrom(*in)}});
    if (kind == u"GetItems"_s)
        return QVariant::fromValue(listFrom(*in, itemFrom));
    if (kind == u"Get"_s)
        return QVariant::fromValue(QDBusVariant(in->ConsumeBool()   ? QVariant(wordsFrom(*in))
                                                : in->ConsumeBool() ? QVariant::fromValue(refFrom(*in))
                                                                    : QVariant(static_cast<int>(numberFrom(*in)))));
    if (kind == u"GetText"_s)
        return wordsFrom(*in);
    return static_cast<int>(numberFrom(*in));
}

bool HostileApplication::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    const QMutexLocker lock(&mutex);
    if (in == nullptr || ++answers > MOST_ANSWERS || in->remaining_bytes() == 0) {
        connection.send(message.createErrorReply(QDBusError::Failed, u"no more"_s));
        return true;
    }
    QVariantList arguments{answerTo(message.member())};
    if (message.member() == u"GetSelection"_s)
        arguments += static_cast<int>(numberFrom(*in));
    connection.send(message.createReply(arguments));
    return true;
}

} // namespace ovalin::fuzz
