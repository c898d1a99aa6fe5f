#pragma once

#include <QString>

#include <functional>

namespace ovalin {

/// Writes one event as one line to standard error (systemd passes that on to the journal). Line ends inside the text
/// become blanks, so an event never takes two lines. Any thread; never blocks on anything but the descriptor.
void logLine(const QString& event);

/// Where lines go instead of standard error, for tests; an empty function restores standard error. Main thread.
void setLogSink(std::function<void(const QString&)> sink);

/// Whether the user wants to see in the log what they typed and what was captured, not only how long it was. Any
/// thread; set before there are others.
[[nodiscard]] bool verboseLog();
void setVerboseLog(bool on);

/// The user's words, or those of a page or an answer, as they may stand in the log: their length alone, unless it is
/// verbose. Any thread.
[[nodiscard]] QString forLog(const QString& words);

/// Logs an event the first time its key is seen and stays quiet about it afterwards. Any thread.
void logOnce(const QString& key, const QString& event);

} // namespace ovalin
