#pragma once

#include "HistoryCard.h"
#include "RequestsCard.h"
#include "Shown.h"

#include "panel/CapturePanel.h"
#include "panel/HowtoPanel.h"

#include <memory>

namespace ovalin {

struct Program;

/// The cards beside the panel, one at a time: how it works, the past conversations, and the requests. Main thread.
class Cards final : public QObject {
    Q_OBJECT
public:
    /// The panel outlives them.
    Cards(Program& program, CapturePanel& panel);
    ~Cards() override;

    void showHowto();
    /// `id`: the request to begin at; may be empty.
    void showRequests(const QString& id);
    void closeHistoryPanel();

Q_SIGNALS:
    /// A conversation of the list was chosen; `byReturn`: with the key that also sends the prompt.
    void chosen(const QString& id, bool byReturn);
    /// The words of an earlier request are to stand in the prompt.
    void putBack(const QString& words);

private:
    // A button hides what it has shown, or what is still being read.
    void helpTapped();
    void historyTapped();
    void requestsTapped();
    void closeAll();
    void light();

    Program& program;
    CapturePanel& panel;
    Shown<HowtoPanel> howtoPanel;
    std::unique_ptr<HistoryCard> history;
    std::unique_ptr<RequestsCard> requests;
};

} // namespace ovalin
