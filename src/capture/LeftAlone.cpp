#include "LeftAlone.h"

#include <QRegularExpression>

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

bool isExcluded(const FrontApplication& front, const QStringList& exclude) {
    static const QRegularExpression secrets = anyOf(SECRETS);
    const auto matches = [](const QRegularExpression& patterns, const QString& text) {
        return patterns.match(text).hasMatch();
    };
    if (matches(secrets, front.name) || matches(secrets, front.bundleId))
        return true;
    if (exclude.isEmpty())
        return false;
    const QRegularExpression own = anyOf(exclude);
    return matches(own, front.name) || matches(own, front.bundleId) || matches(own, front.title);
}

} // namespace

QString whyLeftAlone(const std::optional<FrontApplication>& front, bool seesAllWindows, const QStringList& exclude) {
    // Without a window to ask, the whole display would be pictured, with what belongs to others.
    if (!front)
        return seesAllWindows ? QString() : u"the window in front is not an X11 one — nothing of it is known"_s;
    return isExcluded(*front, exclude) ? u"%1 is left alone — nothing of it is carried along"_s.arg(front->name)
                                       : QString();
}

} // namespace ovalin
