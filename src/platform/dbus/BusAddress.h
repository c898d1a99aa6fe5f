#pragma once

#include <QDeadlineTimer>
#include <QString>

namespace ovalin {

/// Where the message buses are: what the environment says, else the socket that the system uses; empty when there is
/// none. A bus is never started, as libdbus would do by itself.
[[nodiscard]] QString sessionBusAddress();
[[nodiscard]] QString systemBusAddress();

/// Whether the message bus at `address` (D-Bus specification, "Server Addresses"; unix sockets only) answers at all
/// before the deadline. Any thread but the main one.
///
/// To be asked before QtDBus connects: while that waits for a bus that hangs, all its other connections stand still,
/// and after 25 s it lets the connection go without closing it, for which libdbus aborts the process.
[[nodiscard]] bool busAnswers(const QString& address, QDeadlineTimer deadline = QDeadlineTimer(2000));

} // namespace ovalin
