#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace ovalin {

/// The front tab of a browser.
struct BrowserTab {
    QString url;
    QString title; ///< empty when the browser told none
};

/// The AppleScript line that asks this application for its front tab; absent when it is no supported browser.
[[nodiscard]] std::optional<QString> browserScript(const QString& bundleId);

/// What osascript said: the address on the first line of its output, the title on the second. Absent on a status other
/// than 0, invalid UTF-8 or no first line.
[[nodiscard]] std::optional<BrowserTab> parseBrowserTab(int exitStatus, const QByteArray& output);

/// Runs the tool `osascript` (a path) to ask the browser for its front tab. Absent when the application is no supported
/// browser, on any failure, and after 2 s. Blocks: worker threads.
[[nodiscard]] std::optional<BrowserTab> browserTabInfoViaOsascript(const QString& bundleId, const QString& osascript);

/// Whether the address is one of http or https, local ones included.
[[nodiscard]] bool isWebPage(const std::optional<QString>& url);

/// Whether the host is this machine or one of the local network's usual addresses (all of 172.*, and names in .local).
[[nodiscard]] bool isLocalHost(const QString& host);

} // namespace ovalin
