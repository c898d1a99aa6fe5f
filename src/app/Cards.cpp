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
    connect(&panel, &CapturePanel::requestsTapped, this, &Cards::requestsTapped);
}

Cards::~Cards() { closeAll(); }

void Cards::closeAll() {
    howtoPanel.reset();
    history.reset();
    requests.reset();
    light();
}

void Cards::light() {
    panel.showCardOpen(history    ? CapturePanel::OpenCard::History
                       : requests ? CapturePanel::OpenCard::Requests
                                  : CapturePanel::OpenCard::None);
}

void Cards::helpTapped() {
    if (howtoPanel)
        howtoPanel.reset();
    else
        showHowto();
}

void Cards::showHowto() {
    closeAll();
    PanelHost& host = program.desktop.panels;
    howtoPanel.reset(new HowtoPanel(hotkeySign(program.in.config.hotkey), AGENT_INSTALL_PAGE, host));
    connect(howtoPanel.get(), &HowtoPanel::dismissed, this, [this] { howtoPanel.reset(); });
    const auto screens = host.screens();
    howtoPanel->keepWithin(mostHeightBeside(panel.geometry(), screens));
    panel.windowHandle()->installEventFilter(howtoPanel.get()); // the panel keeps the keyboard
    const QPoint corner = placeBeside(panel.geometry(), howtoPanel->size(), screens);
    howtoPanel->openAt(corner);
    panel.announce(u"How Ovalin works, Tab leads there"_s);
    logLine(u"Ovalin howto: shown at (%1, %2) size %3x%4 contentH %5"_s.arg(corner.x())
                .arg(corner.y())
                .arg(howtoPanel->width())
                .arg(howtoPanel->height())
                .arg(howtoPanel->contentHeight()));
}

void Cards::historyTapped() {
    const bool wasOpen = history != nullptr;
    closeAll();
    if (wasOpen)
        return;
    history = std::make_unique<HistoryCard>(program, panel);
    connect(history.get(), &HistoryCard::chosen, this, &Cards::chosen);
    connect(history.get(), &HistoryCard::dismissed, this, &Cards::closeHistoryPanel);
    light();
}

void Cards::closeHistoryPanel() {
    history.reset();
    light();
}

void Cards::requestsTapped() {
    if (requests)
        closeAll();
    else
        showRequests({});
}

void Cards::showRequests(const QString& id) {
    closeAll();
    requests = std::make_unique<RequestsCard>(program, panel, id);
    connect(requests.get(), &RequestsCard::dismissed, this, &Cards::closeAll);
    connect(requests.get(), &RequestsCard::putBack, this, [this](const QString& words) {
        closeAll();
        Q_EMIT putBack(words);
    });
    light();
}

} // namespace ovalin
