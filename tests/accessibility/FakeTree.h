#pragma once

#include "Support.h"

#include "fakes/FakeServices.h"
#include "platform/atspi/AtSpiBus.h"

#include <set>

namespace ovalin {

/// One object of an accessible application that says whatever the test wants.
struct FakeObject {
    uint role = AtSpiRole::Text;
    std::vector<uint> states{AtSpiState::Showing};
    std::optional<QString> text = {};                 ///< has the interface Text
    std::optional<std::pair<int, int>> selected = {}; ///< as it goes out, whatever sense it makes
    QStringList children = {};                        ///< their paths
    QStringList embedded = {};                        ///< the paths behind the placeholders of `text`, in order
    QMap<QString, QString> document = {};             ///< attributes of the interface Document
    QString name = {};
};

/// A bus of its own with an accessibility service and one application, all served by the test's main thread.
class FakeTree final : public QDBusVirtualObject {
public:
    enum class Finds { ByCollection, ByCache, ByWalking };

    FakeTree();
    ~FakeTree() override;

    Finds finds = Finds::ByCollection;
    std::map<QString, FakeObject> objects; ///< by path; "/app" is the root
    std::set<QString> silent;              ///< methods that get no answer
    std::set<QString> garbled;             ///< methods that answer with data of another type
    int listeners = 0;                     ///< registrations for focus events, less those taken back

    [[nodiscard]] const QString& address() const { return bus.address; }
    [[nodiscard]] Stopped hangBus() const { return bus.hang(); }
    /// Ends the bus and starts another at the same address.
    void restart();
    /// Tells that the object gained or lost the focus.
    void tellFocus(const QString& path, bool gained) const;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    void connect();
    [[nodiscard]] AtSpiRef ref(const QString& path) const;
    [[nodiscard]] QList<AtSpiRef> refs(const QStringList& paths) const;
    [[nodiscard]] QString parentOf(const QString& path) const;
    [[nodiscard]] std::optional<QVariantList> reply(const QDBusMessage& message) const;
    [[nodiscard]] std::optional<QVariantList> textReply(const FakeObject& object, const QDBusMessage& message) const;
    [[nodiscard]] QStringList matches(const QDBusMessage& message) const;
    [[nodiscard]] QStringList below(const QString& path) const;

    TestBus bus;
    QString service;
};

} // namespace ovalin
