#pragma once

#include <QHash>
#include <QString>

#include <functional>
#include <vector>

namespace ovalin {

enum class Speaker { You, Torvi };

/// A piece of an answer that becomes a link. Without a target it looks like one and leads nowhere.
struct LinkSpan {
    qsizetype from = 0; ///< in the answer as it was appended, UTF-16 units
    qsizetype length = 0;
    QString shown; ///< in its place
    QString target;
    bool operator==(const LinkSpan&) const = default;
};

/// What a conversation is shown on. Main thread.
class ChatView {
public:
    virtual ~ChatView();

    /// A labelled block with all of its text.
    virtual void appendTranscript(Speaker speaker, const QString& text) = 0;

    /// A label with nothing under it yet: what is appended now is the answer.
    virtual void beginAnswer() = 0;
    virtual void appendAnswer(const QString& text) = 0;
    /// Takes back all of the answer but its first `length` units.
    virtual void truncateAnswer(qsizetype length) = 0;

    /// Text that was appended and does not show yet, UTF-16 units.
    [[nodiscard]] virtual qsizetype backlog() const = 0;

    /// Turns pieces of the answer into links once all of it shows; `spans` in order, not overlapping. The answer's text
    /// is final with that.
    virtual void linkify(std::vector<LinkSpan> spans) = 0;

    /// Gives the answer's links that lead to a key of the table its value as target, also before linkify() is through.
    virtual void repairLinks(const QHash<QString, QString>& table) = 0;

    virtual void clearConversation() = 0;

    /// Everything appended shows.
    std::function<void()> caughtUp;
    std::function<void(const QString& target)> linkClicked;
};

} // namespace ovalin
