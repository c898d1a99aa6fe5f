#include "panel/Brand.h"
#include "panel/CapturePanel.h"

#include "panel/CutText.h"
#include "panel/HowtoPanel.h"
#include "panel/Palette.h"

#include "fakes/FakeDesktop.h"
#include "support/PanelParts.h"

#include <QInputMethodEvent>
#include <QRandomGenerator>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>

#include <cstring>

namespace {

struct CapturePanelTest : testing::Test {
    FakePasteboard pasteboard;
    FakePanelHost host;
    CapturePanel panel{pasteboard, host};
    PanelParts parts{panel};

    CapturePanelTest() {
        panel.openAt({100, 100});
        panel.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&panel));
    }
};

} // namespace

TEST_F(CapturePanelTest, HeightsFollowTheExcerpt) {
    const QString longText = QString(u"word "_s).repeated(4000);
    EXPECT_EQ(panel.size(), QSize(480, 134));
    panel.showExcerpt({}, false);
    EXPECT_EQ(panel.height(), 134 + 24) << "the note that nothing is selected";
    EXPECT_TRUE(parts.emptyNoteRef->isVisible());
    panel.showExcerpt(u"one line"_s, false);
    EXPECT_EQ(panel.height(), 134 + 44 + 10);
    EXPECT_FALSE(parts.emptyNoteRef->isVisible());
    panel.showExcerpt(longText, false);
    EXPECT_EQ(panel.height(), 134 + 150 + 10);
    panel.showExcerpt({}, true);
    EXPECT_EQ(panel.height(), 134);
    EXPECT_FALSE(parts.emptyNoteRef->isVisible()) << "no note in Ask mode";
    EXPECT_EQ(panel.pos(), QPoint(100, 100));
}

// While anybody listens to the accessibility tree, Qt keeps each key until the registry has answered.
TEST_F(CapturePanelTest, KeysReachThePromptPastAFilterThatKeepsThem) {
    struct Keeper : QObject {
        bool eventFilter(QObject*, QEvent* event) override {
            return event->spontaneous() && event->type() == QEvent::KeyPress;
        }
    } keeper;
    qApp->installEventFilter(&keeper);
    parts.promptField->setFocus();
    QTest::keyClick(panel.windowHandle(), Qt::Key_A);
    EXPECT_EQ(parts.promptField->text(), QString()) << "the filter is one that matters";
    panel.openAt({100, 100});
    QTest::keyClick(panel.windowHandle(), Qt::Key_A);
    EXPECT_EQ(parts.promptField->text(), u"a"_s);
}

TEST_F(CapturePanelTest, EveryControlHasItsPlaceAndFont) {
    panel.showMode(false);
    panel.showExcerpt(u"text"_s, false); // 480 x 188
    panel.setReplaceButton(u"Replace"_s, false);
    const std::pair<const QWidget*, QRect> rows[] = {
        {parts.modeControl, {16, 16, 116, 24}},   {parts.requestsBtn, {388, 16, 20, 20}},
        {parts.historyBtnRef, {416, 16, 20, 20}}, {parts.helpBtn, {444, 16, 20, 20}},
        {parts.previewView, {16, 50, 448, 44}},   {parts.promptField, {26, 104, 398, 32}},
        {parts.micButton, {432, 104, 32, 32}},    {parts.emptyNoteRef, {16, 50, 448, 14}},
    };
    for (const auto& [widget, place] : rows)
        EXPECT_EQ(widget->geometry(), place) << widget->accessibleName().toStdString();
    const QWidget* last[] = {parts.cancelBtn, parts.replaceBtnRef, parts.sendBtnRef};
    EXPECT_EQ(last[2]->geometry().bottomRight(), QPoint(463, 171));
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(last[i + 1]->geometry().topLeft() - last[i]->geometry().topRight(), QPoint(9, 0));
    EXPECT_EQ(parts.hintField->pos(), QPoint(16, 146));
    EXPECT_LT(parts.hintField->geometry().right(), parts.cancelBtn->x());
    const std::tuple<const QWidget*, double, QFont::Weight> fonts[] = {
        {parts.previewView, 12.5, QFont::Light}, {parts.promptField, 13, QFont::Normal},
        {parts.emptyNoteRef, 11, QFont::Normal}, {parts.hintField, 10, QFont::Normal},
        {parts.cancelBtn, 13, QFont::Medium},    {parts.replaceBtnRef, 13, QFont::Medium},
        {parts.sendBtnRef, 13, QFont::Medium},
    };
    for (const auto& [widget, pixels, weight] : fonts) {
        EXPECT_EQ(widget->font(), Brand::font(pixels, weight)) << widget->accessibleName().toStdString();
        EXPECT_NEAR(widget->font().pointSizeF(), pixels * 0.75, 0.01) << widget->accessibleName().toStdString();
    }
    const QImage picture = panel.grab().toImage();
    const QColor amethyst = Palette::amethyst();
    EXPECT_EQ(picture.pixelColor(parts.sendBtnRef->pos() + QPoint(6, 13)), amethyst) << "Submit is filled";
    EXPECT_EQ(picture.pixelColor(parts.modeControl->pos() + QPoint(6, 12)), amethyst) << "and so is Do";
    const auto ground = [&](QPoint at) { return picture.pixelColor(at).lightness(); };
    EXPECT_GT(ground({20, 120}), ground({240, 99})) << "the field stands out from the card";
    EXPECT_GT(ground({20, 90}), ground({240, 99})) << "and the excerpt";
}

TEST_F(CapturePanelTest, GrowingKeepsTheTopEdgeAndStaysAboveTheDock) {
    host.areas = {{{0, 0, 1280, 800}, {0, 0, 1280, 760}}};
    panel.showExcerpt(QString(u"word\n"_s).repeated(50), false);
    EXPECT_EQ(panel.geometry(), QRect(100, 100, 480, 134 + 160)) << "down, with its top where it was";
    panel.revealTranscript();
    EXPECT_EQ(panel.geometry(), QRect(100, 100, 480, 134 + 160 + 250));
    panel.showExcerpt({}, true);
    panel.move(100, 760 - 12 - panel.height());
    panel.showExcerpt(u"text"_s, true);
    EXPECT_EQ(panel.geometry().bottom() + 1, 760 - 12) << "up, where the dock would cover it";
}

TEST(PreviewHeight, IsBoundedWhateverTheText) {
    EXPECT_EQ(previewHeight({}), 0);
    EXPECT_EQ(previewHeight(u"x"_s), 44);
    const int three = previewHeight(u"a\nb\nc\nd"_s);
    EXPECT_GT(three, 44);
    EXPECT_LT(three, 150);
    EXPECT_EQ(previewHeight(QString(100, QLatin1Char('\n'))), 150);
    EXPECT_EQ(previewHeight(QString(20'000'000, QLatin1Char('m'))), 150) << "measured no further than needed";
}

TEST_F(CapturePanelTest, KeysSubmitAndClose) {
    const QSignalSpy submitted(&panel, &CapturePanel::submitTapped), cancelled(&panel, &CapturePanel::cancelTapped);
    QTest::keyClick(parts.promptField, Qt::Key_Return);
    QTest::keyClick(parts.promptField, Qt::Key_Enter);
    QTest::keyClick(parts.cancelBtn, Qt::Key_Return);
    EXPECT_EQ(submitted.count(), 3) << "Return submits from the buttons too";
    QTest::keyClick(parts.promptField, Qt::Key_Escape);
    QTest::keyClick(parts.helpBtn, Qt::Key_Escape);
    panel.showExcerpt(u"text"_s, false);
    QTest::keyClick(parts.previewView, Qt::Key_Escape);
    EXPECT_EQ(cancelled.count(), 3);
    QTest::keyClick(parts.cancelBtn, Qt::Key_Space);
    EXPECT_EQ(cancelled.count(), 4);
}

TEST_F(CapturePanelTest, ReturnDuringACompositionDoesNotSubmit) {
    const QSignalSpy submitted(&panel, &CapturePanel::submitTapped), cancelled(&panel, &CapturePanel::cancelTapped);
    QInputMethodEvent composing(u"にほ"_s, {});
    QApplication::sendEvent(parts.promptField, &composing);
    QTest::keyClick(parts.promptField, Qt::Key_Return);
    QTest::keyClick(parts.promptField, Qt::Key_Escape);
    EXPECT_EQ(submitted.count() + cancelled.count(), 0);
    QInputMethodEvent commit;
    commit.setCommitString(u"日本"_s);
    QApplication::sendEvent(parts.promptField, &commit);
    QTest::keyClick(parts.promptField, Qt::Key_Return);
    EXPECT_EQ(submitted.count(), 1);
    EXPECT_EQ(parts.promptField->text(), u"日本"_s);
}

TEST_F(CapturePanelTest, PastesComeFromThePasteboardAndKeepEveryCharacter) {
    const QString pasted = u"two\nlines \"$(x)\" `y` 🙂"_s;
    pasteboard.readable = pasted;
    const QSignalSpy edited(parts.promptField, &PromptField::edited);
    QTest::keyClick(parts.promptField, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(parts.promptField->text(), pasted);
    EXPECT_GE(edited.count(), 1) << "a paste counts as typing";
    QTest::keyClick(parts.promptField, Qt::Key_Insert, Qt::ShiftModifier);
    EXPECT_EQ(parts.promptField->text(), pasted + pasted);
    panel.showExcerpt(u"excerpt "_s, false);
    parts.previewView->moveCursor(QTextCursor::End);
    QTest::keyClick(parts.previewView, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(parts.previewView->excerpt(), u"excerpt "_s + pasted);
    pasteboard.readable.reset(); // an owner that never answers
    QTest::keyClick(parts.promptField, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(parts.promptField->text(), pasted + pasted);
}

TEST_F(CapturePanelTest, ALongExcerptIsShownInPartAndKeptWholeUntilItIsEdited) {
    const QString text = QString(u"line of text\n"_s).repeated(20'000);
    panel.showExcerpt(text, false);
    EXPECT_LE(parts.previewView->toPlainText().size(), PreviewTextView::SHOWN_LENGTH);
    EXPECT_EQ(parts.previewView->excerpt(), text);
    QTest::keyClick(parts.previewView, Qt::Key_X);
    EXPECT_EQ(parts.previewView->excerpt(), QLatin1Char('x') + text.left(PreviewTextView::SHOWN_LENGTH))
        << "what cannot be seen is not sent with what was edited";
    EXPECT_TRUE(parts.hintField->status().contains(u"50,000"_s));
    parts.previewView->undo();
    EXPECT_EQ(parts.previewView->excerpt(), text);
    EXPECT_EQ(parts.hintField->status(), QString());
    panel.say(u"the \u202eagent's\nown words"_s);
    EXPECT_EQ(parts.hintField->status(), u"the agent's own words"_s);
}

TEST_F(CapturePanelTest, BlanksAndLineEndsAreSentAsTheyAre) {
    const QString text = u"10\u00a0000\u202f€ a\u2028b\u2029c\r\nd\te "_s;
    panel.showExcerpt(text, false);
    EXPECT_EQ(parts.previewView->excerpt(), text);
    parts.previewView->moveCursor(QTextCursor::End);
    QTest::keyClick(parts.previewView, Qt::Key_Return, Qt::ShiftModifier);
    QTest::keyClick(parts.previewView, Qt::Key_X);
    EXPECT_EQ(parts.previewView->excerpt(), u"10\u00a0000\u202f€ a\u2028b\nc\nd\te \nx"_s);
    parts.promptField->setText(text);
    EXPECT_EQ(parts.promptField->text(), text);
    panel.showExcerpt({}, false);
    EXPECT_EQ(parts.previewView->excerpt(), QString()) << "the selection is gone, and so is what it was";
    EXPECT_FALSE(parts.previewView->edited());
}

TEST_F(CapturePanelTest, TabReachesEveryControlAndComesBack) {
    panel.showExcerpt(u"text"_s, false);
    QSet<QWidget*> reached;
    parts.promptField->setFocus();
    for (int i = 0; i < 20 && !(i > 0 && parts.promptField->hasFocus()); ++i) {
        reached.insert(QApplication::focusWidget());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    const QList<QWidget*> controls{parts.promptField,
                                   parts.micButton,
                                   parts.cancelBtn,
                                   parts.replaceBtnRef,
                                   parts.sendBtnRef,
                                   parts.requestsBtn,
                                   parts.historyBtnRef,
                                   parts.helpBtn,
                                   parts.previewView,
                                   parts.modeControl->modeSegDo,
                                   parts.modeControl->modeSegAsk};
    for (QWidget* control : controls) {
        EXPECT_TRUE(reached.contains(control)) << control->accessibleName().toStdString();
        EXPECT_FALSE(control->accessibleName().isEmpty());
    }
    EXPECT_TRUE(parts.promptField->hasFocus());
}

TEST_F(CapturePanelTest, ThePromptTakesUpToFourLines) {
    const QSignalSpy walked(parts.promptField, &PromptField::walked);
    const int line = QFontMetrics(parts.promptField->font()).height();
    const struct {
        const char* what;
        QString text;
        int lines; ///< five stands for more than four
    } rows[] = {
        {"nothing", {}, 1},
        {"line ends show as blanks", u"two\nlines\r\n\u2028x"_s, 1},
        {"two", QString(u"words "_s).repeated(14), 2},
        {"more", QString(u"words "_s).repeated(60), 5},
        {"one word", QString(200, QLatin1Char('m')), 5},
        {"a megabyte", QString(u"words "_s).repeated(170'000), 5},
        {"a line again", u"words"_s, 1},
    };
    for (const auto& row : rows) {
        PromptField& field = *parts.promptField;
        field.setText(row.text);
        EXPECT_TRUE(field.text() == row.text) << row.what;
        const int grown = panel.height() - 134;
        EXPECT_EQ(grown == 0, row.lines == 1) << row.what;
        EXPECT_EQ(qRound(1.0 * grown / line), std::min(row.lines, 4) - 1) << row.what;
        EXPECT_EQ(field.height(), 32 + grown) << row.what;
        EXPECT_EQ(field.verticalScrollBar()->maximum() > 0, row.lines > 4) << row.what;
        const auto before = walked.count();
        const int allLines = field.document()->blockCount() > 1 ? 1 : field.document()->lineCount();
        for (int i = 0; i < allLines; ++i) {
            EXPECT_EQ(walked.count(), before) << row.what;
            QTest::keyClick(&field, Qt::Key_Up);
        }
        EXPECT_EQ(walked.count(), before + (field.document()->blockCount() == 1)) << row.what;
    }
}

// The document ends its blocks where the text does not end.
TEST_F(CapturePanelTest, ALongPromptIsEditedLikeAShortOne) {
    QString text = QString(u"abc \"$(x)\"\n"_s).repeated(700), begun = text;
    pasteboard.readable = text;
    PromptField& field = *parts.promptField;
    QTest::keyClick(&field, Qt::Key_V, Qt::ControlModifier);
    ASSERT_GT(field.document()->blockCount(), 1);
    qsizetype caret = text.size();
    QRandomGenerator random(11);
    const auto toABlocksEnd = [&] {
        const QTextBlock block =
            field.document()->findBlockByNumber(static_cast<int>(random.bounded(field.document()->blockCount() - 1)));
        QTextCursor cursor = field.textCursor();
        cursor.setPosition(block.position() + block.length() - 1 + random.bounded(2));
        field.setTextCursor(cursor);
        caret = CutText::lengthBefore(*field.document(), cursor.position());
    };
    const auto paste = [&] {
        pasteboard.readable = QString(static_cast<int>(random.bounded(3000)), QLatin1Char('y')) + QLatin1Char('\n');
        text.insert(caret, *pasteboard.readable);
        caret += pasteboard.readable->size();
    };
    const std::pair<QKeyCombination, std::function<void()>> keys[] = {
        {Qt::Key_Left, [&] { caret = std::max<qsizetype>(caret - 1, 0); }},
        {Qt::Key_Right, [&] { caret = std::min(caret + 1, text.size()); }},
        {Qt::Key_Backspace, [&] { caret > 0 ? text.remove(--caret, 1) : text; }},
        {Qt::Key_Delete, [&] { text.remove(caret, 1); }},
        {Qt::Key_X, [&] { text.insert(caret++, QLatin1Char('x')); }},
        {Qt::SHIFT | Qt::Key_Insert, paste},
    };
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        if (i % 3 == 0 && field.document()->blockCount() > 1)
            toABlocksEnd();
        const auto& [key, changes] = keys[random.bounded(static_cast<int>(std::size(keys)))];
        changes();
        QTest::keyClick(&field, key.key(), key.keyboardModifiers());
        EXPECT_TRUE(field.text() == text) << key.key();
        EXPECT_EQ(CutText::lengthBefore(*field.document(), field.textCursor().position()), caret) << key.key();
    }
    QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(field.selectedText() == text);
    while (field.document()->isUndoAvailable() && field.text() != begun)
        QTest::keyClick(&field, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(field.text() == begun);
    QTest::keyClick(&field, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(field.text(), QString());
}

TEST_F(CapturePanelTest, WhatReadsFromTheRightStandsThere) {
    for (const auto& [text, fromRight] : {std::pair(u"שלום עולם"_s, true), std::pair(u"hello"_s, false)}) {
        panel.showExcerpt(text, false);
        parts.promptField->setText(text);
        for (QPlainTextEdit* field : std::initializer_list<QPlainTextEdit*>{parts.previewView, parts.promptField}) {
            field->moveCursor(QTextCursor::Start);
            EXPECT_EQ(field->cursorRect().x() > field->viewport()->width() / 2, fromRight) << text.toStdString();
        }
    }
}

TEST(HowtoPanelTest, FitsItsText) {
    FakePanelHost host;
    HowtoPanel card(u"⌥Space"_s, u"https://example.org/install"_s, host);
    EXPECT_EQ(card.width(), 340);
    EXPECT_EQ(card.height(), std::max(card.contentHeight(), 120));
    QString all;
    for (const QLabel* label : card.findChildren<QLabel*>()) {
        EXPECT_TRUE(card.rect().contains(label->geometry()));
        EXPECT_LE(label->width(), 300);
        all += label->text();
    }
    EXPECT_TRUE(all.contains(u"install Claude Code (https://example.org/install) and sign in once"_s));
    EXPECT_TRUE(all.contains(u"⌥Space  opens Ovalin"_s));
    EXPECT_EQ(card.findChildren<QLabel*>().size(), 10);
    const auto* bar = card.findChild<QScrollArea*>()->verticalScrollBar();
    (void)card.grab(); // lays it out
    EXPECT_EQ(bar->maximum(), 0);
    card.keepWithin(300);
    (void)card.grab();
    EXPECT_EQ(card.height(), 300);
    EXPECT_GT(bar->maximum(), 0);
    EXPECT_TRUE(card.rect().contains(card.findChild<PillButton*>()->geometry())) << "in reach on a small screen";
}
