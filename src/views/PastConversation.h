#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace ovalin {

/// One exchange partner's line of a conversation's preview.
struct PreviewLine {
    bool user = false;
    QString text;
};

/// A remembered conversation, as it is listed and gone on with.
struct PastConversation {
    QString id;
    QString title;
    QString age; ///< empty where it is not known
    bool interrupted = false;
    std::optional<QString> first; ///< question
    QString unfinished;           ///< what the agent had said of its last answer when that was cut short
    QList<PreviewLine> preview;
};

} // namespace ovalin
