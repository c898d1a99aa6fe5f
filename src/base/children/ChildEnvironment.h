#pragma once

#include <QByteArrayList>
#include <QMap>
#include <QString>

namespace ovalin {

/// Puts in what a bare start (cron, `env -i`) leaves out or empty: HOME from the password file, a PATH. First of all.
void completeEnvironment();

/// Takes the environment that children get: main calls it before anything changes ours. Without a call it is taken at
/// the first launch. Any thread.
void rememberEnvironment();

/// A folder put behind the PATH of every child, so that scripts find the helper programs. Empty: none. Any thread.
void setHelperFolder(const QString& folder);

/// Names ("OVALIN_…") and values on top of the original environment. NUL characters are left out of a value; a value
/// of 128 KiB and more is refused by the system when the child starts (E2BIG).
using ChildVariables = QMap<QString, QString>;

/// The whole environment of a child, "NAME=value". Any thread.
[[nodiscard]] QByteArrayList environmentWith(const ChildVariables& variables);

} // namespace ovalin
