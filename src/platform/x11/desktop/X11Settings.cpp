#include "X11Settings.h"

#include "platform/x11/QtConnection.h"
#include "platform/x11/RootWindow.h"
#include "platform/x11/XProperty.h"
#include "platform/x11/XReply.h"

#include <QCoreApplication>
#include <QtEndian>

#include <xcb/xcb.h>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

class Reader {
public:
    explicit Reader(const QByteArray& theBytes)
        : bytes(theBytes)
        , big(!theBytes.isEmpty() && theBytes[0] == 1) {}

    bool has(qsizetype count) const { return count >= 0 && at + count <= bytes.size(); }
    quint32 number(qsizetype size) {
        if (!has(size))
            return fail();
        const char* from = bytes.constData() + at;
        at += size;
        if (size == 1)
            return static_cast<quint8>(*from);
        if (size == 2)
            return big ? qFromBigEndian<quint16>(from) : qFromLittleEndian<quint16>(from);
        return big ? qFromBigEndian<quint32>(from) : qFromLittleEndian<quint32>(from);
    }
    QByteArray text(qsizetype length) {
        if (!has(length)) {
            fail();
            return {};
        }
        const QByteArray found = bytes.mid(at, length);
        skip((length + 3) / 4 * 4);
        return found;
    }
    void skip(qsizetype count) { at += count; }
    [[nodiscard]] bool failed() const { return at > bytes.size(); }

private:
    quint32 fail() {
        at = bytes.size() + 1;
        return 0;
    }
    const QByteArray& bytes;
    const bool big;
    qsizetype at = 0;
};

} // namespace

QHash<QByteArray, QVariant> parseXSettings(const QByteArray& bytes) {
    enum Type { Integer, String, Color };
    QHash<QByteArray, QVariant> settings;
    Reader reader(bytes);
    reader.skip(8); // byte order, serial number
    for (quint32 left = reader.number(4); left > 0 && !reader.failed(); --left) {
        const quint32 type = reader.number(1);
        reader.skip(1);
        const QByteArray name = reader.text(reader.number(2));
        reader.skip(4); // when it was last changed
        QVariant value;
        if (type == Integer)
            value = static_cast<int>(reader.number(4));
        else if (type == String)
            value = QString::fromUtf8(reader.text(reader.number(4)));
        else if (type == Color)
            reader.skip(8);
        else
            break;
        if (!reader.failed() && value.isValid())
            settings.insert(name, value);
    }
    return settings;
}

DesktopLook lookOf(const QHash<QByteArray, QVariant>& settings) {
    const QString theme = settings.value("Net/ThemeName").toString().toLower();
    const bool inverse = theme.contains(u"inverse"_s); // HighContrastInverse
    return {theme.contains(u"dark"_s) || inverse || settings.value("Gtk/ApplicationPreferDarkTheme").toInt() == 1,
            theme.contains(u"highcontrast"_s) && !inverse};
}

X11Settings::X11Settings(Dispatch& theDispatch)
    : dispatch(theDispatch)
    , portal(dispatch) {
    xcb_connection_t* connection = qtConnection();
    if (!connection)
        return;
    const QByteArray name = "_XSETTINGS_S" + QByteArray::number(screenNumber());
    const char* const names[] = {name.constData(), "_XSETTINGS_SETTINGS", "MANAGER"};
    const auto atoms = internAtoms(connection, names);
    selection = atoms[0];
    property = atoms[1];
    announced = atoms[2];
    addWindowEvents(connection, rootWindow(connection), XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    qApp->installNativeEventFilter(this);
    read();
}

X11Settings::~X11Settings() {
    if (qApp)
        qApp->removeNativeEventFilter(this);
}

void X11Settings::read() {
    readPending = false;
    xcb_connection_t* connection = qtConnection();
    const XReply<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr));
    owner = reply ? reply->owner : 0;
    settings.clear();
    if (!owner)
        return;
    addWindowEvents(connection, owner, XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    settings = parseXSettings(takeBytes(connection, askProperty(connection, owner, property)));
}

bool X11Settings::nativeEventFilter(const QByteArray&, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    bool changed = false;
    if (event->response_type == XCB_PROPERTY_NOTIFY) {
        const auto* notify = static_cast<const xcb_property_notify_event_t*>(message);
        changed = owner && notify->window == owner && notify->atom == property;
    } else if (event->response_type == XCB_DESTROY_NOTIFY) {
        changed = owner && static_cast<const xcb_destroy_notify_event_t*>(message)->window == owner;
    } else if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) { // a manager that has just begun
        const auto* told = static_cast<const xcb_client_message_event_t*>(message);
        changed = told->type == announced && told->data.data32[1] == selection;
    }
    if (changed && !std::exchange(readPending, true))
        dispatch.after(std::chrono::milliseconds(0), &context, [this] { read(); });
    return false;
}

DesktopLook X11Settings::look() {
    DesktopLook look = lookOf(settings);
    look.dark = portal.dark().value_or(look.dark);
    return look;
}

bool X11Settings::animations() { return settings.value("Gtk/EnableAnimations", 1).toInt() != 0; }

} // namespace ovalin
