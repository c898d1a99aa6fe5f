#pragma once

#include "platform/dbus/BusAddress.h"
#include "platform/dbus/BusLink.h"

#include <QDBusArgument>
#include <QDBusPendingCall>
#include <QDeadlineTimer>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>
#include <vector>

namespace ovalin {

/// An object of the accessibility tree: a unique name on the accessibility bus and a path there.
struct AtSpiRef {
    QString service;
    QString path;
    [[nodiscard]] bool isNull() const;
    friend bool operator==(const AtSpiRef&, const AtSpiRef&) = default;
};

// As it goes over the bus: (so).
QDBusArgument& operator<<(QDBusArgument& out, const AtSpiRef& ref);
const QDBusArgument& operator>>(const QDBusArgument& in, AtSpiRef& ref);

// The numbers of AT-SPI 2 (atspi-constants.h) that are used here.
namespace AtSpiState {
enum : uint { Active = 1, Editable = 7, Focused = 12, Showing = 25 };
}
namespace AtSpiRole {
enum : uint {
    CheckBox = 7,
    CheckMenuItem = 8,
    ComboBox = 11,
    Filler = 20,
    Frame = 23,
    Image = 27,
    Label = 29,
    List = 31,
    ListItem = 32,
    Menu = 33,
    MenuBar = 34,
    MenuItem = 35,
    PageTab = 37,
    Panel = 39,
    PasswordText = 40,
    PopupMenu = 41,
    PushButton = 43,
    RadioButton = 44,
    RadioMenuItem = 45,
    RootPane = 46,
    ScrollPane = 49,
    Slider = 51,
    Table = 55,
    TableCell = 56,
    Terminal = 60,
    Text = 61,
    ToggleButton = 62,
    Tree = 65,
    TreeTable = 66,
    Viewport = 68,
    Window = 69,
    Paragraph = 73,
    Application = 75,
    Entry = 79,
    Heading = 83,
    Link = 88,
    TreeItem = 91,
    DocumentWeb = 95,
    ListBox = 98,
    Static = 116,
    Subscript = 119,
    Superscript = 120,
    ContentDeletion = 125,
    ContentInsertion = 126,
    Mark = 127,
};
}

/// The 64 state bits of an object, as it sent them.
struct AtSpiStates {
    QList<uint> words;
    [[nodiscard]] bool has(uint state) const { return (words.value(state / 32) >> (state % 32)) & 1U; }
};

/// What Collection.GetMatches shall find: all of `states`, and `role` when it is not 0.
struct AtSpiMatch {
    std::vector<uint> states;
    uint role = 0;
};

/// One item of Cache.GetItems.
struct AtSpiCacheItem {
    AtSpiRef object;
    QStringList interfaces;
    uint role = 0;
    AtSpiStates states;
};

/// One reading of the accessibility tree: a connection, and one deadline over all of its calls. What an object does not
/// answer, or answers in another form than the interface says, is an empty value here. Worker threads.
class AtSpiQuery {
public:
    AtSpiQuery(const QDBusConnection& connection, QDeadlineTimer deadline);

    [[nodiscard]] bool expired() const { return deadline.hasExpired(); }

    /// A call under way; several are begun before the first answer is awaited.
    [[nodiscard]] QDBusPendingCall begin(const AtSpiRef& object, const char* interface, const char* method,
                                         const QVariantList& arguments = {}) const;
    /// Waits for the answer until the deadline; its arguments if it has exactly this D-Bus signature, else none.
    /// Checking it here keeps libdbus from ending the process over data of another type.
    [[nodiscard]] QVariantList answer(const QDBusPendingCall& call, const char* signature) const;
    /// Whether there was an answer, of whatever type, that is no error.
    [[nodiscard]] bool answered(QDBusPendingCall call) const;

    struct Application {
        AtSpiRef root;
        qint32 pid = 0;
    };
    /// The applications that expose themselves. Asks the registry and the bus daemon, never the applications, so one of
    /// them that hangs costs nothing.
    [[nodiscard]] std::vector<Application> applications() const;
    [[nodiscard]] std::optional<AtSpiRef> application(qint32 pid) const;

    [[nodiscard]] QList<AtSpiRef> children(const AtSpiRef& object) const;
    [[nodiscard]] AtSpiStates states(const AtSpiRef& object) const;
    [[nodiscard]] uint role(const AtSpiRef& object) const;

    [[nodiscard]] QDBusPendingCall beginChildren(const AtSpiRef& object) const;
    [[nodiscard]] QDBusPendingCall beginInterfaces(const AtSpiRef& object) const;
    [[nodiscard]] QDBusPendingCall beginStates(const AtSpiRef& object) const;
    [[nodiscard]] QDBusPendingCall beginRole(const AtSpiRef& object) const;
    [[nodiscard]] QDBusPendingCall beginName(const AtSpiRef& object) const;
    [[nodiscard]] QDBusPendingCall beginParent(const AtSpiRef& object) const;
    [[nodiscard]] QDBusPendingCall beginMatches(const AtSpiRef& window, const AtSpiMatch& match, int count) const;
    [[nodiscard]] QList<AtSpiRef> refs(const QDBusPendingCall& call) const;
    [[nodiscard]] AtSpiRef ref(const QDBusPendingCall& call) const;
    [[nodiscard]] QString name(const QDBusPendingCall& call) const { return property(call).toString(); }
    [[nodiscard]] QVariant property(const QDBusPendingCall& call) const;
    [[nodiscard]] AtSpiRef parent(const QDBusPendingCall& call) const;
    [[nodiscard]] AtSpiStates states(const QDBusPendingCall& call) const;
    [[nodiscard]] uint role(const QDBusPendingCall& call) const;
    [[nodiscard]] bool hasText(const QDBusPendingCall& interfaces) const;

    /// Cache.GetItems in the form that GTK 4 sends; absent for the other form (Qt's, which is empty) and no answer.
    [[nodiscard]] std::optional<std::vector<AtSpiCacheItem>> cacheItems(const AtSpiRef& application) const;

private:
    [[nodiscard]] QDBusPendingCall beginProperty(const AtSpiRef& object, const char* name) const;
    [[nodiscard]] int timeLeft() const;

    QDBusConnection bus;
    QDeadlineTimer deadline;
};

/// The accessibility bus, reached through org.a11y.Bus on the session bus, which starts it when need be. Both
/// connections are kept between readings. Worker threads, several at a time.
class AtSpiBus {
public:
    explicit AtSpiBus(QString sessionAddress = sessionBusAddress());

    /// A reading that ends at the deadline; absent when the bus does not answer by then.
    [[nodiscard]] std::optional<AtSpiQuery> open(QDeadlineTimer deadline);
    /// The connection to the session bus, on which org.a11y.Status lies.
    [[nodiscard]] std::optional<QDBusConnection> session(QDeadlineTimer deadline);
    /// The address of the accessibility bus, asked for anew; empty when nobody answers.
    [[nodiscard]] QString address(QDeadlineTimer deadline);

private:
    QString sessionAddress;
    BusLink sessionLink{QStringLiteral("ovalin-session")};
    BusLink accessibilityLink{QStringLiteral("ovalin-a11y")};
};

} // namespace ovalin
