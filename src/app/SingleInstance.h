#pragma once

#include <QLocalServer>
#include <QString>

#include <functional>
#include <memory>

namespace ovalin {

/// One running copy for each user, and the way to it: a lock file that the kernel frees when its holder dies, and a
/// local socket beside it. A second lock in the home folder is for copies that were given another runtime folder, or
/// none; it says where the socket is. Main thread.
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

    /// Listens for `ovalin toggle`; call after acquire(). A socket that cannot be made is logged.
    void listen(std::function<void()> toggled);

    /// Asks the running copy to do what the hotkey does. Absent on success, else what is wrong, for people. Blocks up
    /// to 2 s: for the command line.
    [[nodiscard]] static std::optional<QString> sendToggle(const Folders& folders);

private:
    [[nodiscard]] bool takeLock(const QString& file, int& lock);

    const Folders folders;
    int lock = -1;
    int homeLock = -1;
    qint64 holder = 0;
    QLocalServer server;
};

} // namespace ovalin
