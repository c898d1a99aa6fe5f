#pragma once

#include "Shown.h"

#include "history/AskHistoryEntries.h"
#include "panel/HistoryPanel.h"

#include <memory>

namespace ovalin {

class CapturePanel;
class ConversationIndex;
struct Program;

/// The card of past conversations: listed, searched, removed. It opens when they have been read. Main thread.
class HistoryCard final : public QObject {
    Q_OBJECT
public:
    /// The panel outlives it.
    HistoryCard(Program& program, CapturePanel& panel);

Q_SIGNALS:
    /// A conversation was chosen; `byReturn`: with the key that also sends the prompt.
    void chosen(const QString& id, bool byReturn);
    /// It is to be gone. Nothing of it may be used after that.
    void dismissed();

private:
    void load();
    void show(const AskHistoryEntries& entries);
    void search(const QString& words);
    void find();
    void remove(const QString& id);

    Program& program;
    CapturePanel& panel;
    Shown<HistoryPanel> card;
    QString wanted; ///< the words of the search
    std::shared_ptr<const ConversationIndex> index;
    bool indexing = false;
    int removed = 0; ///< conversations
};

} // namespace ovalin
