#pragma once

#include "Fuzz.h"

#include <QDBusConnection>
#include <QDBusServer>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QThread>

#include <optional>

namespace ovalin::fuzz {

/// An application at the other end of a bus connection that answers questions about its accessibility tree with what
/// the input says. Lives on a thread of its own.
class HostileApplication final : public QDBusVirtualObject {
    Q_OBJECT
public:
    HostileApplication();
    ~HostileApplication() override;

    [[nodiscard]] QDBusConnection connection() const;
    /// What it answers from; none: with errors.
    void answerFrom(FuzzedDataProvider* input);

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
    [[nodiscard]] QString introspect(const QString&) const override { return {}; }

private:
    [[nodiscard]] QVariant answerTo(const QString& member);

    QThread thread;
    std::optional<QDBusServer> server;
    std::optional<QDBusConnection> peer;
    QString address;
    QMutex mutex;
    FuzzedDataProvider* in = nullptr;
    int answers = 0;
};

} // namespace ovalin::fuzz
