#include "MutterSession.h"

#include "base/EventThread.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <linux/input-event-codes.h>
#include <poll.h>
#include <unistd.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

using namespace std::chrono_literals;

constexpr int CALL_MS = 1000;
constexpr auto KEPT = 400ms; // the shell has read by then what it keeps
constexpr auto WRITE = 2s;   // to a reader that does not read

const auto SERVICE = u"org.gnome.Mutter.RemoteDesktop"_s;
const auto SESSION = u"org.gnome.Mutter.RemoteDesktop.Session"_s;

constexpr uint CONTROL = 0xffe3, SHIFT = 0xffe1; // keysyms

uint symbolOf(quint32 key) {
    switch (key) {
    case KEY_V:
        return 'v';
    case KEY_INSERT:
        return 0xff63;
    case KEY_DELETE:
        return 0xffff;
    default:
        return 0xff08; // BackSpace
    }
}

bool writeAll(const Descriptor& to, const QByteArray& bytes) {
    ::fcntl(to.get(), F_SETFL, O_NONBLOCK);
    const Deadline deadline = deadlineIn(WRITE);
    for (qsizetype written = 0; written < bytes.size();) {
        pollfd ready{to.get(), POLLOUT, 0};
        if (::poll(&ready, 1, pollTimeout(deadline)) == 0)
            return false;
        const auto count = ::write(to.get(), bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count < 0 && errno != EAGAIN && errno != EINTR)
            return false;
        written += std::max<qsizetype>(count, 0);
    }
    return true;
}

Descriptor descriptorIn(const QDBusMessage& reply) {
    const auto given = reply.arguments().value(0).value<QDBusUnixFileDescriptor>();
    return given.isValid() ? Descriptor(::fcntl(given.fileDescriptor(), F_DUPFD_CLOEXEC, 0)) : Descriptor();
}

} // namespace

MutterSession::MutterSession(const QString& busAddress)
    : address(busAddress) {
    ending.setSingleShot(true);
    ending.setInterval(KEPT);
    connect(&ending, &QTimer::timeout, this, &MutterSession::end);
}

MutterSession::~MutterSession() { end(); }

QDBusMessage MutterSession::call(const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(SERVICE, path, SESSION, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return (*bus)->call(message, QDBus::Block, CALL_MS);
}

bool MutterSession::offered() {
    if (!bus || !bus->isConnected())
        bus.emplace(address);
    return bus->isConnected() && (*bus)->interface()->isServiceRegistered(SERVICE);
}

bool MutterSession::open() {
    if (!path.isEmpty() && bus->isConnected()) {
        ending.start();
        return true;
    }
    path.clear();
    shown = {};
    if (!offered())
        return false;
    const auto create =
        QDBusMessage::createMethodCall(SERVICE, u"/org/gnome/Mutter/RemoteDesktop"_s, SERVICE, u"CreateSession"_s);
    path = (*bus)->call(create, QDBus::Block, CALL_MS).arguments().value(0).value<QDBusObjectPath>().path();
    if (path.isEmpty())
        return false;
    (*bus)->connect(SERVICE, path, SESSION, u"SelectionOwnerChanged"_s, this, SLOT(ownerChanged(QDBusMessage)));
    (*bus)->connect(SERVICE, path, SESSION, u"SelectionTransfer"_s, this, SLOT(transfer(QString, uint)));
    ending.start();
    const bool begun = call(u"Start"_s).type() == QDBusMessage::ReplyMessage &&
                       call(u"EnableClipboard"_s, {QVariantMap()}).type() == QDBusMessage::ReplyMessage;
    if (!begun)
        end();
    else // what has been told until it answers is here before what is called next
        (*bus)->call(QDBusMessage::createMethodCall(SERVICE, path, u"org.freedesktop.DBus.Peer"_s, u"Ping"_s),
                     QDBus::Block, CALL_MS);
    return begun;
}

void MutterSession::end() {
    if (path.isEmpty() || !bus)
        return;
    (*bus)->disconnect(SERVICE, path, SESSION, u"SelectionOwnerChanged"_s, this, SLOT(ownerChanged(QDBusMessage)));
    (*bus)->disconnect(SERVICE, path, SESSION, u"SelectionTransfer"_s, this, SLOT(transfer(QString, uint)));
    std::ignore = call(u"Stop"_s);
    path.clear();
    content.clear();
    shown = {};
}

void MutterSession::ownerChanged(const QDBusMessage& message) {
    const auto options = qdbus_cast<QVariantMap>(message.arguments().value(0));
    shown.types.clear();
    // The types come as (as), as they do not go the other way.
    if (const QVariant types = options.value(u"mime-types"_s);
        types.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto list = types.value<QDBusArgument>();
        QStringList names;
        list.beginStructure();
        list >> names;
        list.endStructure();
        for (const QString& name : names)
            shown.types.append(name.toUtf8());
    }
    shown.ours = options.value(u"session-is-owner"_s).toBool();
}

void MutterSession::transfer(const QString& type, uint serial) {
    ending.start();
    shown.lastRead = std::chrono::steady_clock::now();
    const auto item = std::ranges::find(content, type.toUtf8(), &PasteboardSnapshot::Item::target);
    bool done = false;
    if (const Descriptor to = descriptorIn(call(u"SelectionWrite"_s, {serial})))
        done = item != content.end() && writeAll(to, item->bytes);
    std::ignore = call(u"SelectionWriteDone"_s, {serial, done});
}

Descriptor MutterSession::read(const QByteArray& type) {
    return open() ? descriptorIn(call(u"SelectionRead"_s, {QString::fromUtf8(type)})) : Descriptor();
}

bool MutterSession::own(Content wanted) {
    if (!open())
        return false;
    QStringList types;
    for (const auto& item : wanted)
        types.append(QString::fromUtf8(item.target));
    content = std::move(wanted);
    shown.lastRead.reset();
    return call(u"SetSelection"_s, {QVariantMap{{u"mime-types"_s, types}}}).type() == QDBusMessage::ReplyMessage;
}

void MutterSession::key(uint symbol, bool down) { std::ignore = call(u"NotifyKeyboardKeysym"_s, {symbol, down}); }

bool MutterSession::press(const std::vector<WaylandChord>& chords) {
    if (!open())
        return false;
    // After the focus has moved, the first key of another keyboard is lost on what comes with it: a letter would be
    // typed without its modifier. So one that does nothing goes first.
    key(CONTROL, true);
    key(CONTROL, false);
    for (const WaylandChord& chord : chords) {
        const bool control = chord.modifiers & WaylandChord::Control, shift = chord.modifiers & WaylandChord::Shift;
        const auto hold = [&](bool down) {
            if (control)
                key(CONTROL, down);
            if (shift)
                key(SHIFT, down);
        };
        hold(true);
        key(symbolOf(chord.key), true);
        key(symbolOf(chord.key), false);
        hold(false);
    }
    return true;
}

} // namespace ovalin
