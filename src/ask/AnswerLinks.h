#pragma once

#include "views/ChatView.h"

#include <QHash>
#include <QString>

#include <vector>

namespace ovalin {

// What in an answer is a link. Pure, any thread; the cost grows with the length of the text and no faster, whatever the
// text is. An address stays as it was written, also as a target.

/// The text between the brackets and the address between the parentheses of one markdown link.
struct LinkPair {
    QString anchor;
    QString url;
    bool operator==(const LinkPair&) const = default;
};

/// An address as written in the answer to the search page that replaces it.
using ReplacementTable = QHash<QString, QString>;

/// The markdown links in text order, repeated ones included.
[[nodiscard]] std::vector<LinkPair> extractLinkPairs(const QString& answer);

/// The markdown links and bare addresses of the answer, in text order and with their places in it; all other markdown
/// stays as it was typed.
[[nodiscard]] std::vector<LinkSpan> attributedAnswer(const QString& answer);

/// All that becomes of an answer's links.
struct AnswerLinks {
    std::vector<LinkSpan> spans;
    std::vector<LinkPair> pairs;
};

/// What a click on the target hands to the desktop: http and https with a host as they are, of mailto the address, the
/// subject and the body; else nothing. A mail with files attached, for instance, is for nobody but the user to begin.
[[nodiscard]] QString openable(const QString& target);

} // namespace ovalin
