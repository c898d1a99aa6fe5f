#include "Script.h"

#include <QRegularExpression>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

// Possessive, so that a long text costs no stack.
#define APPLESCRIPT_STRING R"re("((?:[^"\\]++|\\.)*+)")re"

constexpr auto OPTIONS = QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption;

/// The text that an AppleScript string literal means.
QString unescaped(const QString& literal) {
    QString out;
    for (qsizetype i = 0; i < literal.size(); ++i) {
        if (literal[i] != QLatin1Char('\\') || i + 1 == literal.size()) {
            out += literal[i];
            continue;
        }
        const QChar escaped = literal[++i];
        if (escaped == QLatin1Char('n'))
            out += QLatin1Char('\n');
        else if (escaped == QLatin1Char('r'))
            out += QLatin1Char('\r');
        else if (escaped == QLatin1Char('t'))
            out += QLatin1Char('\t');
        else
            out += escaped;
    }
    return out;
}

} // namespace

tl::expected<Script, QString> parseScript(const QString& text) {
    static const QRegularExpression page(
        QStringLiteral("^\\s*tell\\s+application\\s+" APPLESCRIPT_STRING "\\s+to\\s+return\\s+"
                       "\\(URL of (active tab of front window|front document)\\)\\s*&\\s*\"\\\\n\"\\s*&\\s*"
                       "\\((?:title|name) of \\2\\)\\s*$"),
        OPTIONS);
    static const QRegularExpression notification(QStringLiteral("^\\s*display\\s+notification\\s+" APPLESCRIPT_STRING
                                                                "(?:\\s+with\\s+title\\s+" APPLESCRIPT_STRING
                                                                ")?\\s*$"),
                                                 OPTIONS);
    if (const auto match = page.match(text); match.hasMatch())
        return PageScript{unescaped(match.captured(1))};
    if (const auto match = notification.match(text); match.hasMatch())
        return NotificationScript{unescaped(match.captured(1)), unescaped(match.captured(2))};
    return tl::unexpected(
        u"only \"display notification\" and the address and title of a browser's front page are known "
        "here, not: "_s +
        text.left(200));
}

} // namespace ovalin
