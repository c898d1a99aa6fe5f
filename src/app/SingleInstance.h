#pragma once

#include <QJsonObject>
#include <QLocalServer>
#include <QString>

#include <tl/expected.hpp>

#include <chrono>
#include <functional>

namespace ovalin {

/// One running copy for each user, and the way to it: a lock file that the kernel frees when its holder dies, and a
/// local socket beside it. A second lock in the home folder is for copies that were given another runtime folder, or
/// none; it says where the socket is. Main thread.
///
/// A client sends one line, a JSON object with the member "command", and gets one line back, a JSON object: the answer,
/// or the member "error", a few words for people. "toggle" goes as that bare word and is answered "ok", so that
/// programs of different versions understand each other.
class SingleInstance final : public QObject {
public:
    struct Folders {
        QString runtimeDir; ///< made, for this user alone, when it is missing
        QString stateDir;   ///< as well; empty: there is no second lock
    };
    explicit SingleInstance(Folders folders);
    ~SingleInstance() override;

    /// Takes the lock. False when another copy holds it; otherPid() names that copy.
    [[nodiscard]] bool acquire();
    [[nodiscard]] qint64 otherPid() const { return holder; }

    /// To be called once, at once or later; what comes after the client has gone is dropped.
    using Answer = std::function<void(const QJsonObject&)>;
    using Serve = std::function<void(const QJsonObject& message, const Answer& answer)>;
    /// Listens for messages; call after acquire(). A socket that cannot be made is logged.
    void listen(Serve serve);

    /// Sends a message to the running copy, and blocks until it has answered, or for `limit`: for the command line. The
    /// error is for people.
    [[nodiscard]] static tl::expected<QJsonObject, QString> send(const Folders& folders, const QJsonObject& message,
                                                                 std::chrono::milliseconds limit);

    /// Waits until the running copy has given back its locks. False: it has not after `limit`.
    [[nodiscard]] static bool awaitEnd(const Folders& folders, std::chrono::milliseconds limit);

private:
    [[nodiscard]] bool takeLock(const QString& file, int& lock);

    const Folders folders;
    int lock = -1;
    int homeLock = -1;
    qint64 holder = 0;
    QLocalServer server;
};

} // namespace ovalin
