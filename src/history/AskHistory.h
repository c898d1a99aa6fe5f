#pragma once

#include "AskHistoryEntries.h"
#include "ConversationIndex.h"

#include "base/AgentCli.h"
#include "base/Dispatch.h"

#include <QObject>

#include <functional>
#include <memory>
#include <stop_token>

namespace ovalin {

/// The one owner of the files of past conversations: the 20 that are listed, and beside them the archive of what these
/// have dropped. Main thread, and every call returns at once: the file is read and
/// replaced whole on the file queue, in the order of the calls. What cannot be read is an empty history. What cannot be
/// written waits and is tried again with the next call and at the end. A file that is there and is no history is set
/// aside under a new name before another takes its place.
class AskHistory final : public QObject {
public:
    /// `programEnds` ends the agent that is making a title.
    AskHistory(Dispatch& dispatch, const QString& askHistoryPath, AgentSearch search, std::stop_token programEnds = {});

    /// Where they are kept.
    [[nodiscard]] static QString storePath(const QString& systemDir);
    [[nodiscard]] static QString archivePath(const QString& systemDir);

    /// Stores one turn, unless it has no session or no question. For a new conversation a title is asked for.
    void persistAskTurn(const AskTurn& turn);

    /// Tries again to write what could not be written: at the end of the program, before the file work is waited for.
    void saveAgain();

    /// Nothing waits to be written any more; the files are somebody else's to remove.
    void forget();

    /// Forgets a conversation, in both files.
    void evictAskHistory(const QString& id);

    /// The entries as they are after everything that was asked for before; `done` comes later, on the main thread,
    /// unless `context` is gone by then.
    void loadAskHistory(QObject* context, std::function<void(const AskHistoryEntries&)> done);

    /// The entry of a conversation, listed or archived; as loadAskHistory().
    void findAskSession(QObject* context, const QString& id,
                        std::function<void(const std::optional<QJsonObject>&)> done);

    /// All of them, ready to be searched; as loadAskHistory().
    void loadIndex(QObject* context, std::function<void(const std::shared_ptr<const ConversationIndex>&)> done);

    /// Has the agent make a title of the question and stores it, if the conversation is still there then. Not a word if
    /// that fails.
    void generateAskTitle(const QString& sid, const QString& question);

private:
    struct Store;

    Dispatch& dispatch;
    const std::shared_ptr<Store> store;
    const AgentSearch search;
    const std::stop_token programEnds;
};

} // namespace ovalin
