#include "LeftAlone.h"

#include "base/Text.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

// Compared with names and identifiers; a title may speak of them without being one.
const QStringList SECRETS = {u"*keepass*"_s,      u"bitwarden*"_s, u"1password*"_s,      u"enpass*"_s,
                             u"proton pass*"_s,   u"buttercup*"_s, u"secrets"_s,         u"*.secrets"_s,
                             u"*passwordsafe*"_s, u"seahorse*"_s,  u"*.seahorse*"_s,     u"passwords and keys"_s,
                             u"*kwallet*"_s,      u"qtpass*"_s,    u"gopass*"_s,         u"rofi-pass*"_s,
                             u"pass-*"_s,         u"keysmith*"_s,  u"*authenticator*"_s, u"gcr-prompter*"_s,
                             u"pinentry*"_s,      u"*polkit*"_s,   u"*policykit*"_s,     u"*askpass*"_s,
                             u"lxqt-sudo*"_s,     u"gksu*"_s,      u"kdesu*"_s};

/// Any of the patterns, as a whole. Not Qt's conversion: there a star stops at a slash.
QRegularExpression anyOf(const QStringList& patterns) {
    QString expression = QRegularExpression::escape(patterns.join(u'\n'));
    expression.replace(u"\\*"_s, u".*"_s).replace(u"\\?"_s, u"."_s).replace(u"\\\n"_s, u"|"_s);
    return QRegularExpression(QRegularExpression::anchoredPattern(expression),
                              QRegularExpression::CaseInsensitiveOption |
                                  QRegularExpression::DotMatchesEverythingOption);
}

bool isExcluded(const QStringList& names, const QString& title, const QStringList& exclude) {
    static const QRegularExpression secrets = anyOf(SECRETS);
    const auto matchAny = [](const QRegularExpression& patterns, const QStringList& texts) {
        return std::ranges::any_of(texts, [&](const QString& text) { return patterns.match(text).hasMatch(); });
    };
    return matchAny(secrets, names) || (!exclude.isEmpty() && matchAny(anyOf(exclude), names + QStringList(title)));
}

} // namespace

QString whyLeftAlone(const std::optional<FrontApplication>& front, bool seesAllWindows, const QStringList& exclude) {
    // Without a window to ask, the whole display would be pictured, with what belongs to others.
    if (!front)
        return seesAllWindows ? QString() : u"nobody tells which window is in front — nothing of it is known"_s;
    return isExcluded({front->name, front->bundleId}, front->title, exclude)
               ? u"%1 is left alone — nothing of it is carried along"_s.arg(onOneLine(front->name, 100))
               : QString();
}

bool isLeftAlone(const WindowInfo& window, const QStringList& exclude) {
    return isExcluded({window.name}, window.title, exclude);
}

LeftAloneNow leftAloneAmong(Windows& windows, const QStringList& exclude) {
    if (exclude.isEmpty()) // of a process that was none of the others when the panel opened
        return {};
    return [&windows, exclude](WindowId window, const QString& title) {
        return isExcluded({}, title, exclude) ||
               std::ranges::any_of(windows.onScreenWindows(), [&](const WindowInfo& each) {
                   return each.id == window && isLeftAlone(each, exclude);
               });
    };
}

} // namespace ovalin
