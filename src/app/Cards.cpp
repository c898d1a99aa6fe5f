#include "Cards.h"

#include "Program.h"

#include "base/Log.h"

#include <QWindow>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

QString hotkeySign(const QString& hotkey) { return hotkey == Config().hotkey ? u"⌥Space"_s : hotkey; }

} // namespace

Cards::Cards(Program& theProgram, CapturePanel& thePanel)
    : program(theProgram)
    , panel(thePanel) {
    connect(&panel, &CapturePanel::helpTapped, this, &Cards::helpTapped);
    connect(&panel, &CapturePanel::historyTapped, this, &Cards::historyTapped);
}

Cards::~Cards() { closeHistoryPanel(); }

QPoint Cards::openBeside(Card& card) {
    const QPoint corner = placeBeside(panel.geometry(), card.size(), panel.screens());
    card.openAt(corner);
    return corner;
}

void Cards::helpTapped() {
    if (howtoPanel)
        howtoPanel.reset();
    else
        showHowto();
}

void Cards::showHowto() {
    closeHistoryPanel();
    howtoPanel.reset(new HowtoPanel(hotkeySign(program.in.config.hotkey), AGENT_INSTALL_PAGE,
                                    program.desktop.workspace.compositorRuns()));
    connect(howtoPanel.get(), &HowtoPanel::dismissed, this, [this] { howtoPanel.reset(); });
    howtoPanel->keepWithin(mostHeightBeside(panel.geometry(), panel.screens()));
    panel.windowHandle()->installEventFilter(howtoPanel.get()); // the panel keeps the keyboard
    const QPoint corner = openBeside(*howtoPanel);
    panel.announce(u"How Ovalin works, Tab leads there"_s);
    logLine(u"Ovalin howto: shown at (%1, %2) size %3x%4 contentH %5"_s.arg(corner.x())
                .arg(corner.y())
                .arg(howtoPanel->width())
                .arg(howtoPanel->height())
                .arg(howtoPanel->contentHeight()));
}

void Cards::historyTapped() {
    if (historyPanel || historyOpening)
        closeHistoryPanel();
    else
        showHistoryPanel();
}

void Cards::showHistoryPanel() {
    howtoPanel.reset();
    panel.showHistoryOpen(true);
    historyOpening = std::make_unique<QObject>();
    program.askHistory.loadAskHistory(historyOpening.get(), [this](const AskHistoryEntries& entries) {
        historyOpening.reset();
        openHistoryPanel(entries);
    });
}

void Cards::openHistoryPanel(const AskHistoryEntries& entries) {
    QList<PastConversation> conversations;
    for (const QJsonObject& entry : entries) {
        if (auto conversation = pastConversation(entry, program.dispatch.wallClock()))
            conversations.append(*std::move(conversation));
    }
    historyPanel.reset(new HistoryPanel(conversations, program.desktop.workspace.compositorRuns()));
    connect(historyPanel.get(), &HistoryPanel::rowTapped, this,
            [this](const QString& id) { Q_EMIT chosen(id, false); });
    connect(historyPanel.get(), &HistoryPanel::rowEntered, this,
            [this](const QString& id) { Q_EMIT chosen(id, true); });
    connect(historyPanel.get(), &HistoryPanel::dismissed, this, &Cards::closeHistoryPanel);
    connect(&panel, &CapturePanel::promptChanged, historyPanel.get(), &HistoryPanel::deselect);
    panel.windowHandle()->installEventFilter(historyPanel.get()); // the panel keeps the keyboard
    openBeside(*historyPanel);
    panel.announce(u"Past conversations, %1"_s.arg(conversations.size()));
}

void Cards::closeHistoryPanel() {
    historyOpening.reset();
    if (historyPanel)
        panel.windowHandle()->removeEventFilter(historyPanel.get());
    historyPanel.reset();
    panel.showHistoryOpen(false);
}

} // namespace ovalin
