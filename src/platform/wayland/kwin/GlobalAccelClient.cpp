#include "GlobalAccelClient.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QStringList>

#include <utility>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr int CALL_MS = 1000;
constexpr std::chrono::milliseconds FIRST_REPEAT{750}; // KDE's is 600
constexpr uint SET_PRESENT = 2, NO_AUTOLOADING = 4;

const auto SERVICE = u"org.kde.kglobalaccel"_s;
const auto COMPONENT = u"ovalin"_s, ACTION = u"open"_s;
const QStringList WHAT{COMPONENT, ACTION, u"Ovalin"_s, u"Open the panel"_s};

} // namespace

void GlobalAccelClient::bind(int key) {
    const HotKeyState state = key ? tryToBind(key) : HotKeyState::NoKey;
    Q_EMIT became(state);
}

HotKeyState GlobalAccelClient::tryToBind(int key) {
    if (bound)
        return HotKeyState::Registered;
    if (!bus || !bus->isConnected())
        bus.emplace(address);
    const auto holder = ask(u"action"_s, {key});
    if (!holder)
        return HotKeyState::ByCompositor; // there is no such service
    const QStringList whose = holder->toStringList();
    if (!whose.isEmpty() && whose.first() != COMPONENT)
        return whose.first().contains(COMPONENT) ? HotKeyState::ByCompositor : HotKeyState::Taken;
    std::ignore = ask(u"doRegister"_s, {WHAT});
    const auto given =
        ask(u"setShortcut"_s, {WHAT, QVariant::fromValue(QList<int>{key}), SET_PRESENT | NO_AUTOLOADING});
    bound = true;
    if (given && qdbus_cast<QList<int>>(*given).contains(key) && listen())
        return HotKeyState::Registered;
    unbind();
    return HotKeyState::Taken;
}

bool GlobalAccelClient::listen() {
    const auto found = ask(u"getComponent"_s, {COMPONENT});
    const QString path = found ? found->value<QDBusObjectPath>().path() : QString();
    const auto hear = [&](const QString& signal, const char* slot) {
        return (*bus)->connect(SERVICE, path, u"org.kde.kglobalaccel.Component"_s, signal, this, slot);
    };
    hear(u"globalShortcutReleased"_s, SLOT(shortcutReleased(QString, QString, qlonglong)));
    return !path.isEmpty() && hear(u"globalShortcutPressed"_s, SLOT(shortcutPressed(QString, QString, qlonglong)));
}

void GlobalAccelClient::unbind() {
    if (std::exchange(bound, false))
        std::ignore = ask(u"unregister"_s, {COMPONENT, ACTION});
}

std::optional<QVariant> GlobalAccelClient::ask(const QString& method, const QVariantList& arguments) {
    if (!bus->isConnected())
        return {};
    auto message = QDBusMessage::createMethodCall(SERVICE, u"/kglobalaccel"_s, u"org.kde.KGlobalAccel"_s, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    const QDBusMessage reply = (*bus)->call(message, QDBus::Block, CALL_MS);
    if (reply.type() != QDBusMessage::ReplyMessage)
        return {};
    return reply.arguments().value(0);
}

void GlobalAccelClient::shortcutPressed(const QString& component, const QString& action, qlonglong) {
    if (component != COMPONENT || action != ACTION)
        return;
    // The release is not told when a modifier goes up first.
    const auto now = std::chrono::steady_clock::now();
    const auto before = std::exchange(downSince, now);
    if (!before || now - *before > FIRST_REPEAT)
        Q_EMIT pressed();
}

void GlobalAccelClient::shortcutReleased(const QString& component, const QString& action, qlonglong) {
    if (component == COMPONENT && action == ACTION)
        downSince.reset();
}

} // namespace ovalin
