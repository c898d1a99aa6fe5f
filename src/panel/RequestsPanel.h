#pragma once

#include "ListCard.h"

#include "views/PastRequest.h"

#include <optional>

class QTextEdit;

namespace ovalin {

/// The card that lists the Do requests and what became of them; a row opens to all that is known of it, and to what can
/// be done with it. What it shows may change while it is open.
class RequestsPanel final : public ListCard {
    Q_OBJECT
public:
    RequestsPanel(Pasteboard& pasteboard, PanelHost& host);

    void setRequests(const PastRequests& requests);

    /// Opens a request, or shows it anew.
    void showDetail(const RequestDetail& detail);
    /// The id of the one that is open; empty: the list shows.
    [[nodiscard]] QString openId() const { return open ? open->request.id : QString(); }
    void showRequests();
    /// What became of a press, until another detail shows.
    void say(const QString& status);

    bool handleKey(const QKeyEvent& event) override;

Q_SIGNALS:
    void putBackTapped();
    void queueFileTapped();
    void logTapped();
    // Asked once before.
    void runAgainTapped();
    void stopTapped();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    PillButton* addButton(const QString& title, void (RequestsPanel::*tapped)(), const QString& question = {});
    void layOut();
    void unask();

    struct Button {
        PillButton* pill;
        QString title;
        QString question; ///< the title while it waits for the second press; empty: it needs none
    };

    GlyphButton* const back;
    QTextEdit* const text;
    StatusLine* const status;
    QList<Button> buttons;
    PillButton *putBack, *runAgain, *stop, *queueFile, *log;
    std::optional<RequestDetail> open;
};

} // namespace ovalin
