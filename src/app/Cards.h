#pragma once

#include "history/AskHistoryEntries.h"
#include "panel/CapturePanel.h"
#include "panel/HistoryPanel.h"
#include "panel/HowtoPanel.h"

#include <memory>

namespace ovalin {

struct Program;

/// A window goes from the screen at once, and from memory when its own signals are through. They are blocked, not
/// disconnected: Qt's accessibility hears of the end by one, else it takes the next window at that address for this
/// one.
struct CloseLater {
    void operator()(QWidget* window) const {
        window->hide();
        window->blockSignals(true);
        window->deleteLater();
    }
};
template <class Window>
using Shown = std::unique_ptr<Window, CloseLater>;

/// The cards beside the panel, one at a time: how it works, and the past conversations. Main thread.
class Cards final : public QObject {
    Q_OBJECT
public:
    /// The panel outlives them.
    Cards(Program& program, CapturePanel& panel);
    ~Cards() override;

    void showHowto();
    void closeHistoryPanel();

Q_SIGNALS:
    /// A conversation of the list was chosen; `byReturn`: with the key that also sends the prompt.
    void chosen(const QString& id, bool byReturn);

private:
    // A button hides what it has shown, or what is still being read.
    void helpTapped();
    void historyTapped();
    void showHistoryPanel();
    void openHistoryPanel(const AskHistoryEntries& entries);
    QPoint openBeside(Card& card);

    Program& program;
    CapturePanel& panel;
    Shown<HowtoPanel> howtoPanel;
    Shown<HistoryPanel> historyPanel;
    std::unique_ptr<QObject> historyOpening; ///< while the list is being read; without it the list is not wanted
};

} // namespace ovalin
