#include "CapturePanel.h"

#include "Announcer.h"
#include "Brand.h"
#include "ModeControl.h"
#include "Palette.h"
#include "PreviewTextView.h"
#include "PromptField.h"
#include "Transcript.h"
#include "Widgets.h"

#include "base/Text.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr qsizetype LONGEST_OUTCOME = 500; // user-perceived characters
constexpr int INSET = 16, SPACING = 10, ROW_SPACING = 8;
constexpr int MODE_HEIGHT = 24, NOTE_HEIGHT = 14, BOTTOM_HEIGHT = 26, TRANSCRIPT_HEIGHT = 240;
constexpr int COLUMN_WIDTH = CapturePanel::WIDTH - 2 * INSET;

} // namespace

CapturePanel::CapturePanel(Pasteboard& pasteboard, PanelHost& panelHost)
    : GlassWindow(u"Ovalin"_s, panelHost)
    , announcer(new Announcer(this))
    , modeControl(new ModeControl(this))
    , previewView(new PreviewTextView(pasteboard, this))
    , emptyNoteRef(new Label(u"No selection captured. Your prompt still applies to what's shown on screen."_s, 11,
                             Palette::ink(), this))
    , transcriptView(new Transcript(this))
    , promptField(new PromptField(pasteboard, this))
    , micButton(new GlyphButton(GlyphButton::Glyph::Mic, u"Dictate"_s, u"Click to dictate"_s, this))
    , hintField(new StatusLine(this))
    , cancelBtn(new PillButton(u"Cancel"_s, PillButton::Look::Soft, this))
    , replaceBtnRef(new PillButton(u"Insert"_s, PillButton::Look::Soft, this))
    , sendBtnRef(new PillButton(u"Submit"_s, PillButton::Look::Filled, this))
    , historyBtnRef(
          new GlyphButton(GlyphButton::Glyph::History, u"Past conversations"_s, u"Past conversations"_s, this))
    , helpBtn(new GlyphButton(GlyphButton::Glyph::Help, u"How Ovalin works"_s, u"How Ovalin works"_s, this))
    , requestsBtn(new GlyphButton(GlyphButton::Glyph::Requests, u"Requests"_s, u"Requests"_s, this)) {
    previewView->hide();
    emptyNoteRef->hide();
    transcriptView->hide();
    resize(WIDTH, BASE_HEIGHT);

    connectControls();
    connect(promptField, &PromptField::neededHeightChanged, this, [this] {
        growBy(promptField->neededHeight() - std::exchange(inputHeight, promptField->neededHeight()));
        layOut();
        update();
    });
    connect(previewView->document(), &QTextDocument::modificationChanged, this, [this](bool edited) {
        if (previewView->cutShort())
            hintField->setStatus(
                edited ? u"only the first %L1 characters of the excerpt, as edited"_s.arg(PreviewTextView::SHOWN_LENGTH)
                       : QString());
    });
    connect(transcriptView, &Transcript::spoken, this, &CapturePanel::announce);
    connect(transcriptView, &Transcript::typed, this, [this](QKeyEvent* key) {
        promptField->setFocus();
        QCoreApplication::sendEvent(promptField, key);
    });

    connect(qApp, &QApplication::focusChanged, this, [this] { update(); });

    QWidget* const order[] = {promptField, micButton,     cancelBtn, replaceBtnRef,          sendBtnRef,
                              requestsBtn, historyBtnRef, helpBtn,   modeControl->modeSegDo, modeControl->modeSegAsk,
                              previewView, transcriptView};
    for (size_t i = 1; i < std::size(order); ++i)
        setTabOrder(order[i - 1], order[i]);
    promptField->setFocus();
}

void CapturePanel::connectControls() {
    connect(promptField, &PromptField::submitted, this, &CapturePanel::submitTapped);
    connect(promptField, &PromptField::cancelled, this, &CapturePanel::cancelTapped);
    connect(promptField, &PromptField::edited, this, &CapturePanel::promptEdited);
    connect(promptField, &PromptField::textChanged, this, &CapturePanel::promptChanged);
    connect(promptField, &PromptField::walked, this, &CapturePanel::promptWalked);
    connect(sendBtnRef, &PillButton::clicked, this, &CapturePanel::submitTapped);
    connect(cancelBtn, &PillButton::clicked, this, &CapturePanel::cancelTapped);
    connect(replaceBtnRef, &PillButton::clicked, this, &CapturePanel::replaceTapped);
    connect(modeControl->modeSegDo, &ModeSegment::clicked, this, &CapturePanel::modeDoTapped);
    connect(modeControl->modeSegAsk, &ModeSegment::clicked, this, &CapturePanel::modeAskTapped);
    connect(micButton, &GlyphButton::clicked, this, &CapturePanel::micTapped);
    connect(historyBtnRef, &GlyphButton::clicked, this, &CapturePanel::historyTapped);
    connect(requestsBtn, &GlyphButton::clicked, this, &CapturePanel::requestsTapped);
    connect(helpBtn, &GlyphButton::clicked, this, &CapturePanel::helpTapped);
}

void CapturePanel::openUnderPointer() {
    const QPoint pointer = host.pointer(); // first: what the host tells is of that moment
    const auto screens = host.screens();
    const QSize without(WIDTH, height() - extraHeight);
    const QRect place(placeUnderPointer(pointer, without, screens), without);
    openAt(placeResized(place, height(), screens));
}

void CapturePanel::showExcerpt(const QString& text, bool ask) {
    previewView->setExcerpt(text); // also an empty one: what does not show is not sent
    if (!text.isEmpty())
        previewHeightC = previewHeight(text);
    previewView->setVisible(!text.isEmpty());
    emptyNoteRef->setVisible(text.isEmpty() && !ask);
    setExtraHeight(!text.isEmpty() ? previewHeightC + SPACING : ask ? 0 : NOTE_HEIGHT + SPACING);
    layOut();
    update();
}

void CapturePanel::reserveRoom() { setExtraHeight(NOTE_HEIGHT + SPACING); }

std::optional<QString> CapturePanel::excerpt() const {
    const QString text = previewView->excerpt().trimmed();
    return text.isEmpty() && !previewView->edited() ? std::nullopt : std::optional(text);
}

void CapturePanel::showMode(bool ask) {
    if (isVisible() && modeControl->modeSegAsk->isChecked() != ask)
        announce(ask ? u"Ask"_s : u"Do"_s);
    modeControl->showMode(ask);
    sendBtnRef->setTitle(ask ? u"Send"_s : u"Submit"_s);
    layOut();
}

void CapturePanel::showCardOpen(OpenCard open) {
    const QColor lit = Palette::colors().lit, unlit = Palette::fillSoft();
    historyBtnRef->setGround(open == OpenCard::History ? lit : unlit);
    requestsBtn->setGround(open == OpenCard::Requests ? lit : unlit);
}

void CapturePanel::say(const QString& status) {
    if (status != hint())
        announce(status);
    hintField->setStatus(status);
}

void CapturePanel::note(const QString& text) {
    if (text != hint())
        announce(text);
    hintField->setNote(text);
}

void CapturePanel::announce(const QString& text) { announcer->say(text); }
const QString& CapturePanel::hint() const { return hintField->status(); }

QString CapturePanel::prompt() const { return promptField->text(); }
void CapturePanel::setPrompt(const QString& text) { promptField->setText(text); }
void CapturePanel::clearPrompt() { promptField->clear(); }
void CapturePanel::setPlaceholder(const QString& text) { promptField->setPlaceholder(text); }
void CapturePanel::focusPrompt() { promptField->setFocus(); }
bool CapturePanel::promptHasFocus() const { return focusWidget() == promptField; }
void CapturePanel::lockPrompt() { promptField->setReadOnly(true); }

void CapturePanel::setMotion(bool moves) { micButton->setPulses(moves); }

void CapturePanel::setMicState(bool active, const QString& why) {
    micButton->setListening(active);
    if (active)
        say(u"listening — click the mic to stop"_s);
    else
        note(why);
}

void CapturePanel::setReplaceButton(const QString& title, bool hidden, const QString& outcome) {
    replaceBtnRef->setToolTip(plainToolTip(outcome));
    replaceBtnRef->setAccessibleDescription(onOneLine(outcome, LONGEST_OUTCOME));
    if (replaceBtnRef->isHidden() == hidden && replaceBtnRef->text() == title)
        return;
    replaceBtnRef->setHidden(hidden);
    replaceBtnRef->setTitle(title);
    layOut();
    update();
}

void CapturePanel::setBusy(Busy with, bool busy) {
    (with == Busy::Answering ? answering : replacing) = busy;
    if (with == Busy::Answering && !busy)
        transcriptView->endVoice();
    sendBtnRef->setEnabled(!answering && !replacing);
    replaceBtnRef->setEnabled(!replacing);
    // A button that is disabled under the focus hands it on to the next one, where a blank would press it.
    focusPrompt();
}

void CapturePanel::setExtraHeight(int height) { growBy(height - std::exchange(extraHeight, height)); }

ChatView& CapturePanel::chatView() { return *transcriptView; }

void CapturePanel::revealTranscript() {
    if (transcriptHeightC > 0)
        return;
    transcriptHeightC = TRANSCRIPT_HEIGHT;
    transcriptView->show();
    growBy(TRANSCRIPT_HEIGHT + SPACING);
    layOut();
    update();
}

void CapturePanel::growBy(int height) {
    if (height == 0)
        return;
    const int wanted = this->height() + height;
    if (!isVisible()) // its place is found when it opens
        resize(WIDTH, wanted);
    else
        resizeGlass(QRect(placeResized(geometry(), wanted, host.screens()), QSize(WIDTH, wanted)));
}

QRect CapturePanel::inputContainer() const {
    return {INSET, height() - INSET - BOTTOM_HEIGHT - SPACING - inputHeight,
            COLUMN_WIDTH - micButton->width() - ROW_SPACING, inputHeight};
}

void CapturePanel::layOut() {
    modeControl->move(INSET, INSET);
    helpBtn->move(width() - INSET - 20, INSET);
    historyBtnRef->move(helpBtn->x() - ROW_SPACING - 20, INSET);
    requestsBtn->move(historyBtnRef->x() - ROW_SPACING - 20, INSET);
    const int top = INSET + MODE_HEIGHT + SPACING;
    previewView->setGeometry(INSET, top, COLUMN_WIDTH, previewHeightC);
    emptyNoteRef->setGeometry(INSET, top, COLUMN_WIDTH, NOTE_HEIGHT);

    const QRect input = inputContainer();
    transcriptView->setGeometry(INSET, input.y() - SPACING - transcriptHeightC, COLUMN_WIDTH, transcriptHeightC);
    promptField->setGeometry(input.adjusted(10, 0, 0, 0)); // its scroll bar is the right inset
    micButton->move(input.x() + input.width() + ROW_SPACING, input.y());
    micButton->setFixedHeight(inputHeight);

    const int bottom = height() - INSET - BOTTOM_HEIGHT;
    int right = width() - INSET;
    for (PillButton* button : {sendBtnRef, replaceBtnRef, cancelBtn}) {
        if (button->isHidden())
            continue;
        const QSize size = button->sizeHint();
        button->setGeometry(right - size.width(), bottom, size.width(), size.height());
        right -= size.width() + ROW_SPACING;
    }
    hintField->setGeometry(INSET, bottom, right - INSET, BOTTOM_HEIGHT);
}

void CapturePanel::resizeEvent(QResizeEvent* event) {
    GlassWindow::resizeEvent(event);
    layOut();
}

void CapturePanel::paintEvent(QPaintEvent* event) {
    GlassWindow::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const QWidget* view : {static_cast<QWidget*>(previewView), static_cast<QWidget*>(transcriptView)}) {
        if (!view->isVisible())
            continue;
        paintFill(painter, view->geometry(), Palette::fill());
        if (view->hasFocus()) // the prompt's caret is its own sign
            paintFocus(painter, view->geometry());
    }
    paintFill(painter, inputContainer(), Palette::fillInput());
    for (const FlushButton* button : findChildren<FlushButton*>()) {
        if (button->isVisible() && button->lift() > 0)
            paintSoftLift(painter, QRectF(button->mapTo(this, QPoint()), button->size()), button->cornerRadius(),
                          button->lift());
    }
}

void CapturePanel::keyPressEvent(QKeyEvent* event) {
    if (event->isAutoRepeat()) {
        QWidget::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Escape:
        Q_EMIT cancelTapped();
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        Q_EMIT submitTapped();
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

} // namespace ovalin
