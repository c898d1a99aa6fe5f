#pragma once

#include <QString>

namespace ovalin {

/// Where the message buses are: what the environment says, else the socket that the system uses; empty when there is
/// none. A bus is never started, as libdbus would do by itself.
[[nodiscard]] QString sessionBusAddress();
[[nodiscard]] QString systemBusAddress();

/// Whether somebody answers there: begins to sign in (D-Bus specification, authentication protocol) and waits two
/// seconds at most for the first reply. Transports other than Unix sockets count as answering. Worker threads.
///
/// To be asked before QtDBus connects: while that waits for a bus that hangs, all its other connections stand still,
/// and after 25 s it lets the connection go without closing it, for which libdbus aborts the process.
[[nodiscard]] bool busAnswers(const QString& address);

} // namespace ovalin
