#pragma once

#include "Shown.h"

#include "panel/RequestsPanel.h"

#include <QFileSystemWatcher>

namespace ovalin {

class CapturePanel;
struct Program;

/// The card of Do requests, kept up to date while it is there: it hears when the ledger or a mark changes, and looks
/// every two seconds while a request is under way, else every minute. Main thread; the files are read on the file
/// queue.
class RequestsCard final : public QObject {
    Q_OBJECT
public:
    /// The panel outlives it. `id`: the row to begin at; may be empty.
    RequestsCard(Program& program, CapturePanel& panel, const QString& id);

Q_SIGNALS:
    /// These words are to stand in the prompt, and the card is to be gone.
    void putBack(const QString& words);
    /// It is to be gone. Nothing of it may be used after that.
    void dismissed();

private:
    struct Read;

    void refresh();
    void refreshSoon();
    void show(const Read& read);
    void listMatching();
    void open();
    void openDetail(const QString& id);
    void openFile(const QString& file);
    void runAgain();
    void stop();
    void said(const QString& status);
    void say(const QString& status);
    void announceChanges(const PastRequests& now);
    void watchFiles();

    Program& program;
    CapturePanel& panel;
    Shown<RequestsPanel> card;
    QFileSystemWatcher watcher;
    PastRequests requests;
    RequestDetail detail; ///< of the one that is open
    QString wanted;       ///< the words of the search
    QString first;        ///< the row to begin at
    QString opening;      ///< the request whose detail is being read
    bool reading = false, again = false, soon = false;
    int looks = 0; ///< by the clock; an older one does not count
};

} // namespace ovalin
