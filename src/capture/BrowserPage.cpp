#include "BrowserPage.h"

#include "base/children/ChildProcess.h"
#include "platform/Browsers.h"

#include <QStringDecoder>
#include <QUrl>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto TAB_LIMIT = 2s;
constexpr auto TAB_GRACE = 100ms;

} // namespace

std::optional<QString> browserScript(const QString& bundleId) {
    const Browser* browser = browserWithBundle(bundleId);
    if (!browser || !*browser->application)
        return std::nullopt;
    const bool tabs = bundleId != QLatin1String("com.apple.Safari"); // which calls them documents
    const QString script =
        tabs ? QStringLiteral(R"(tell application "%1" to return (URL of active tab of front window) & "\n" & )"
                              R"((title of active tab of front window))")
             : QStringLiteral(R"(tell application "%1" to return (URL of front document) & "\n" & )"
                              R"((name of front document))");
    return script.arg(QLatin1String(browser->application));
}

std::optional<BrowserTab> parseBrowserTab(int exitStatus, const QByteArray& output) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(output);
    if (exitStatus != 0 || utf8.hasError())
        return std::nullopt;
    const QStringList lines = text.trimmed().split(QLatin1Char('\n'));
    if (lines.first().isEmpty())
        return std::nullopt;
    return BrowserTab{lines.first(), lines.value(1)};
}

std::optional<BrowserTab> browserTabInfoViaOsascript(const QString& bundleId, const QString& osascript) {
    const auto script = browserScript(bundleId);
    if (!script)
        return std::nullopt;
    const ChildRun run =
        runToEnd({osascript, {u"-e"_s, *script}, {}, {}}, {.input = {}, .deadline = TAB_LIMIT, .grace = TAB_GRACE});
    if (run.end.kind != ChildEnd::Kind::Exited || run.timedOut || run.truncated)
        return std::nullopt;
    return parseBrowserTab(run.end.number, run.output);
}

bool isWebPage(const std::optional<QString>& url) {
    const QUrl address(url.value_or(QString()));
    const QString scheme = address.isValid() ? address.scheme() : QString(); // QUrl lower-cases it
    return scheme == QLatin1String("http") || scheme == QLatin1String("https");
}

bool isLocalHost(const QString& host) {
    const QString name = host.toLower();
    constexpr std::array beginnings{"192.168.", "10.", "172."};
    return name == QLatin1String("localhost") || name == QLatin1String("127.0.0.1") ||
           name.endsWith(QLatin1String(".local")) ||
           std::any_of(beginnings.begin(), beginnings.end(),
                       [&](const char* each) { return name.startsWith(QLatin1String(each)); });
}

} // namespace ovalin
