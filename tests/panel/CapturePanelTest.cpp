#include "panel/CapturePanel.h"

#include "panel/Brand.h"
#include "panel/CutText.h"
#include "panel/HowtoPanel.h"

#include "fakes/FakeDesktop.h"

#include <QApplication>
#include <QInputMethodEvent>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>

#include <cstring>

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

struct CapturePanelTest : testing::Test {
    FakePasteboard pasteboard;
    CapturePanel panel{pasteboard, false};

    CapturePanelTest() {
        panel.openAt({100, 100});
        panel.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&panel));
    }
};

void type(QWidget* widget, const QString& text) {
    for (const QChar& letter : text)
        QTest::sendKeyEvent(QTest::Click, widget, Qt::Key_unknown, QString(letter), Qt::NoModifier);
}

} // namespace

TEST_F(CapturePanelTest, HeightsFollowTheExcerpt) {
    const QString longText = QString(QStringLiteral("word ")).repeated(4000);
    EXPECT_EQ(panel.size(), QSize(480, 134));
    panel.showExcerpt({}, false);
    EXPECT_EQ(panel.height(), 134 + 24) << "the note that nothing is selected";
    EXPECT_TRUE(panel.emptyNoteRef->isVisible());
    panel.showExcerpt(QStringLiteral("one line"), false);
    EXPECT_EQ(panel.height(), 134 + 44 + 10);
    EXPECT_FALSE(panel.emptyNoteRef->isVisible());
    panel.showExcerpt(longText, false);
    EXPECT_EQ(panel.height(), 134 + 150 + 10);
    panel.showExcerpt({}, true);
    EXPECT_EQ(panel.height(), 134) << "no note in Ask mode";
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
    panel.promptField->setFocus();
    QTest::keyClick(panel.windowHandle(), Qt::Key_A);
    EXPECT_EQ(panel.promptField->text(), QString()) << "the filter is one that matters";
    panel.openAt({100, 100});
    QTest::keyClick(panel.windowHandle(), Qt::Key_A);
    EXPECT_EQ(panel.promptField->text(), QStringLiteral("a"));
}

TEST_F(CapturePanelTest, EveryControlStaysInsideTheCardAndApart) {
    for (const bool ask : {false, true}) {
        panel.showExcerpt(QStringLiteral("some text"), ask);
        panel.setReplaceButton(QStringLiteral("Replace"), ask);
        const QList<QWidget*> controls = {panel.modeControl, panel.previewView,   panel.promptField,
                                          panel.micButton,   panel.hintField,     panel.cancelBtn,
                                          panel.sendBtnRef,  panel.historyBtnRef, panel.helpBtn};
        for (const QWidget* one : controls) {
            EXPECT_TRUE(panel.rect().adjusted(16, 16, -16, -16).contains(one->geometry()))
                << one->accessibleName().toStdString();
            for (const QWidget* other : controls)
                EXPECT_TRUE(one == other || !one->geometry().intersects(other->geometry()))
                    << one->accessibleName().toStdString();
        }
    }
}

TEST_F(CapturePanelTest, EveryControlHasItsPlaceFontAndColours) {
    panel.modeControl->showMode(false);
    panel.showExcerpt(QStringLiteral("text"), false); // 480 x 188
    panel.setReplaceButton(QStringLiteral("Replace"), false);
    const struct {
        const char* what;
        const QWidget* widget;
        QRect place; ///< a width of 0: as wide as its title
        const char* face;
        double size;
        QPalette::ColorRole role;
        QColor color;
    } rows[] = {
        {"mode", panel.modeControl, {16, 16, 116, 24}, nullptr, 0, {}, {}},
        {"history", panel.historyBtnRef, {416, 16, 20, 20}, nullptr, 0, {}, {}},
        {"help", panel.helpBtn, {444, 16, 20, 20}, nullptr, 0, {}, {}},
        {"excerpt", panel.previewView, {16, 50, 448, 44}, "Light", 12.5, QPalette::Text, QColor(74, 74, 70)},
        {"prompt", panel.promptField, {26, 104, 398, 32}, "Regular", 13, QPalette::Text, QColor(26, 26, 26)},
        {"its placeholder",
         panel.promptField,
         {26, 104, 398, 32},
         "Regular",
         13,
         QPalette::PlaceholderText,
         QColor(74, 74, 70)},
        {"mic", panel.micButton, {432, 104, 32, 32}, nullptr, 0, {}, {}},
        {"note", panel.emptyNoteRef, {16, 50, 448, 14}, "Regular", 11, QPalette::WindowText, QColor(26, 26, 26)},
        {"hint", panel.hintField, {16, 146, 0, 26}, "Regular", 10, QPalette::WindowText, QColor(26, 26, 26)},
        {"Submit", panel.sendBtnRef, {0, 146, 0, 26}, "Medium", 13, {}, {}},
        {"Replace", panel.replaceBtnRef, {0, 146, 0, 26}, "Medium", 13, {}, {}},
        {"Cancel", panel.cancelBtn, {0, 146, 0, 26}, "Medium", 13, {}, {}},
    };
    for (const auto& row : rows) {
        QRect place = row.widget->geometry();
        if (row.place.width() == 0)
            place.setRect(row.place.x() == 0 ? 0 : place.x(), place.y(), 0, place.height());
        EXPECT_EQ(place, row.place) << row.what;
        if (row.face) {
            EXPECT_EQ(row.widget->font(), Brand::font(row.size, !std::strcmp(row.face, "Light")     ? QFont::Light
                                                                : !std::strcmp(row.face, "Regular") ? QFont::Normal
                                                                                                    : QFont::Medium))
                << row.what;
            EXPECT_NEAR(row.widget->font().pointSizeF(), row.size * 0.75, 0.01) << row.what;
        }
        if (row.color.isValid()) {
            EXPECT_EQ(row.widget->palette().color(row.role), row.color) << row.what;
        }
    }
    EXPECT_EQ(panel.sendBtnRef->geometry().right(), 463);
    EXPECT_EQ(panel.sendBtnRef->x() - panel.replaceBtnRef->geometry().right() - 1, 8);
    EXPECT_EQ(panel.replaceBtnRef->x() - panel.cancelBtn->geometry().right() - 1, 8);
    const QImage picture = panel.grab().toImage();
    const QColor amethyst(140, 137, 231);
    EXPECT_EQ(picture.pixelColor(panel.sendBtnRef->pos() + QPoint(6, 13)), amethyst) << "Submit is filled";
    EXPECT_EQ(picture.pixelColor(panel.modeControl->pos() + QPoint(6, 12)), amethyst) << "and so is Do";
    const auto ground = [&](QPoint at) { return picture.pixelColor(at).lightness(); };
    EXPECT_GT(ground({20, 120}), ground({240, 99})) << "the field stands out from the card";
    EXPECT_GT(ground({20, 90}), ground({240, 99})) << "and the excerpt";
}

TEST_F(CapturePanelTest, GrowingKeepsTheTopEdgeAndStaysAboveTheDock) {
    panel.screens = [] { return std::vector<ScreenArea>{{{0, 0, 1280, 800}, {0, 0, 1280, 760}}}; };
    panel.showExcerpt(QString(QStringLiteral("word\n")).repeated(50), false);
    EXPECT_EQ(panel.geometry(), QRect(100, 100, 480, 134 + 160)) << "down, with its top where it was";
    panel.revealTranscript();
    EXPECT_EQ(panel.geometry(), QRect(100, 100, 480, 134 + 160 + 250));
    panel.showExcerpt({}, true);
    panel.move(100, 760 - 12 - panel.height());
    panel.showExcerpt(QStringLiteral("text"), true);
    EXPECT_EQ(panel.geometry().bottom() + 1, 760 - 12) << "up, where the dock would cover it";
}

TEST(PreviewHeight, IsBoundedWhateverTheText) {
    EXPECT_EQ(previewHeight({}), 0);
    EXPECT_EQ(previewHeight(QStringLiteral("x")), 44);
    const int three = previewHeight(QStringLiteral("a\nb\nc\nd"));
    EXPECT_GT(three, 44);
    EXPECT_LT(three, 150);
    EXPECT_EQ(previewHeight(QString(100, QLatin1Char('\n'))), 150);
    EXPECT_EQ(previewHeight(QString(20'000'000, QLatin1Char('m'))), 150) << "measured no further than needed";
}

TEST_F(CapturePanelTest, KeysSubmitAndClose) {
    const QSignalSpy submitted(&panel, &CapturePanel::submitTapped), cancelled(&panel, &CapturePanel::cancelTapped);
    QTest::keyClick(panel.promptField, Qt::Key_Return);
    QTest::keyClick(panel.promptField, Qt::Key_Enter);
    QTest::keyClick(panel.cancelBtn, Qt::Key_Return);
    EXPECT_EQ(submitted.count(), 3) << "Return submits from the buttons too";
    QTest::keyClick(panel.promptField, Qt::Key_Escape);
    QTest::keyClick(panel.helpBtn, Qt::Key_Escape);
    panel.showExcerpt(QStringLiteral("text"), false);
    QTest::keyClick(panel.previewView, Qt::Key_Escape);
    EXPECT_EQ(cancelled.count(), 3);
    QTest::keyClick(panel.cancelBtn, Qt::Key_Space);
    EXPECT_EQ(cancelled.count(), 4);
}

TEST_F(CapturePanelTest, ReturnDuringACompositionDoesNotSubmit) {
    const QSignalSpy submitted(&panel, &CapturePanel::submitTapped), cancelled(&panel, &CapturePanel::cancelTapped);
    QInputMethodEvent composing(QStringLiteral("にほ"), {});
    QApplication::sendEvent(panel.promptField, &composing);
    QTest::keyClick(panel.promptField, Qt::Key_Return);
    QTest::keyClick(panel.promptField, Qt::Key_Escape);
    EXPECT_EQ(submitted.count() + cancelled.count(), 0);
    QInputMethodEvent commit;
    commit.setCommitString(QStringLiteral("日本"));
    QApplication::sendEvent(panel.promptField, &commit);
    QTest::keyClick(panel.promptField, Qt::Key_Return);
    EXPECT_EQ(submitted.count(), 1);
    EXPECT_EQ(panel.promptField->text(), QStringLiteral("日本"));
}

TEST_F(CapturePanelTest, PastesComeFromThePasteboardAndKeepEveryCharacter) {
    const QString pasted = QStringLiteral("two\nlines \"$(x)\" `y` 🙂");
    pasteboard.readable = pasted;
    const QSignalSpy edited(panel.promptField, &PromptField::edited);
    QTest::keyClick(panel.promptField, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(panel.promptField->text(), pasted);
    EXPECT_GE(edited.count(), 1) << "a paste counts as typing";
    QTest::keyClick(panel.promptField, Qt::Key_Insert, Qt::ShiftModifier);
    EXPECT_EQ(panel.promptField->text(), pasted + pasted);
    panel.showExcerpt(QStringLiteral("excerpt "), false);
    panel.previewView->moveCursor(QTextCursor::End);
    QTest::keyClick(panel.previewView, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(panel.previewView->excerpt(), QStringLiteral("excerpt ") + pasted);
    pasteboard.readable.reset(); // an owner that never answers
    QTest::keyClick(panel.promptField, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(panel.promptField->text(), pasted + pasted);
}

TEST_F(CapturePanelTest, ALongExcerptIsShownInPartAndKeptWholeUntilItIsEdited) {
    const QString text = QString(QStringLiteral("line of text\n")).repeated(20'000);
    panel.showExcerpt(text, false);
    EXPECT_LE(panel.previewView->toPlainText().size(), PreviewTextView::SHOWN_LENGTH);
    EXPECT_EQ(panel.previewView->excerpt(), text);
    QTest::keyClick(panel.previewView, Qt::Key_X);
    EXPECT_EQ(panel.previewView->excerpt(), QLatin1Char('x') + text.left(PreviewTextView::SHOWN_LENGTH))
        << "what cannot be seen is not sent with what was edited";
    EXPECT_TRUE(panel.hintField->status().contains(QStringLiteral("50,000")));
    panel.previewView->undo();
    EXPECT_EQ(panel.previewView->excerpt(), text);
    EXPECT_EQ(panel.hintField->status(), QString());
}

TEST_F(CapturePanelTest, BlanksAndLineEndsAreSentAsTheyAre) {
    const QString text = QStringLiteral("10\u00a0000\u202f€ a\u2028b\u2029c\r\nd\te ");
    panel.showExcerpt(text, false);
    EXPECT_EQ(panel.previewView->excerpt(), text);
    panel.previewView->moveCursor(QTextCursor::End);
    QTest::keyClick(panel.previewView, Qt::Key_Return, Qt::ShiftModifier);
    QTest::keyClick(panel.previewView, Qt::Key_X);
    EXPECT_EQ(panel.previewView->excerpt(), QStringLiteral("10\u00a0000\u202f€ a\u2028b\nc\nd\te \nx"));
    panel.promptField->setText(text);
    EXPECT_EQ(panel.promptField->text(), text);
    panel.showExcerpt({}, false);
    EXPECT_EQ(panel.previewView->excerpt(), QString()) << "the selection is gone, and so is what it was";
    EXPECT_FALSE(panel.previewView->edited());
}

TEST_F(CapturePanelTest, TheExcerptHasTheSameInsetOnBothSides) {
    for (const int lines : {1, 40}) {
        panel.showExcerpt(QString(QStringLiteral("word word\n")).repeated(lines), false);
        const QWidget* text = panel.previewView->viewport();
        EXPECT_EQ(text->x(), 10);
        EXPECT_EQ(text->width(), PREVIEW_TEXT_WIDTH);
    }
}

TEST_F(CapturePanelTest, TabReachesEveryControlAndComesBack) {
    panel.showExcerpt(QStringLiteral("text"), false);
    QSet<QWidget*> reached;
    panel.promptField->setFocus();
    for (int i = 0; i < 20 && !(i > 0 && panel.promptField->hasFocus()); ++i) {
        reached.insert(QApplication::focusWidget());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    for (QWidget* control :
         {static_cast<QWidget*>(panel.promptField), static_cast<QWidget*>(panel.micButton),
          static_cast<QWidget*>(panel.cancelBtn), static_cast<QWidget*>(panel.replaceBtnRef),
          static_cast<QWidget*>(panel.sendBtnRef), static_cast<QWidget*>(panel.historyBtnRef),
          static_cast<QWidget*>(panel.helpBtn), static_cast<QWidget*>(panel.modeControl->modeSegDo),
          static_cast<QWidget*>(panel.modeControl->modeSegAsk), static_cast<QWidget*>(panel.previewView)}) {
        EXPECT_TRUE(reached.contains(control)) << control->accessibleName().toStdString();
        EXPECT_FALSE(control->accessibleName().isEmpty());
    }
    EXPECT_TRUE(panel.promptField->hasFocus());
}

TEST_F(CapturePanelTest, ThePromptTakesUpToFourLines) {
    const QSignalSpy walked(panel.promptField, &PromptField::walked);
    const int line = QFontMetrics(panel.promptField->font()).height();
    const struct {
        const char* what;
        QString text;
        int lines; ///< five stands for more than four
    } rows[] = {
        {"nothing", {}, 1},
        {"line ends show as blanks", QStringLiteral("two\nlines\r\n\u2028x"), 1},
        {"two", QString(QStringLiteral("words ")).repeated(14), 2},
        {"more", QString(QStringLiteral("words ")).repeated(60), 5},
        {"one word", QString(200, QLatin1Char('m')), 5},
        {"a megabyte", QString(QStringLiteral("words ")).repeated(170'000), 5},
        {"a line again", QStringLiteral("words"), 1},
    };
    for (const auto& row : rows) {
        PromptField& field = *panel.promptField;
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
    QString text = QString(QStringLiteral("abc \"$(x)\"\n")).repeated(700), begun = text;
    pasteboard.readable = text;
    PromptField& field = *panel.promptField;
    QTest::keyClick(&field, Qt::Key_V, Qt::ControlModifier);
    ASSERT_GT(field.document()->blockCount(), 1);
    qsizetype caret = text.size();
    QRandomGenerator random(11);
    const auto check = [&](const char* what) {
        EXPECT_TRUE(field.text() == text) << what;
        EXPECT_EQ(CutText::lengthBefore(*field.document(), field.textCursor().position()), caret) << what;
    };
    const auto toABlocksEnd = [&] {
        const QTextBlock block =
            field.document()->findBlockByNumber(static_cast<int>(random.bounded(field.document()->blockCount() - 1)));
        QTextCursor cursor = field.textCursor();
        cursor.setPosition(block.position() + block.length() - 1 + random.bounded(2));
        field.setTextCursor(cursor);
        caret = CutText::lengthBefore(*field.document(), cursor.position());
    };
    for (int i = 0; i < 200 && !HasFailure(); ++i) {
        if (i % 3 == 0 && field.document()->blockCount() > 1)
            toABlocksEnd();
        switch (random.bounded(6)) {
        case 0:
            QTest::keyClick(&field, Qt::Key_Left);
            caret = std::max<qsizetype>(caret - 1, 0);
            check("left");
            break;
        case 1:
            QTest::keyClick(&field, Qt::Key_Right);
            caret = std::min(caret + 1, text.size());
            check("right");
            break;
        case 2:
            QTest::keyClick(&field, Qt::Key_Backspace);
            if (caret > 0)
                text.remove(--caret, 1);
            check("backspace");
            break;
        case 3:
            QTest::keyClick(&field, Qt::Key_Delete);
            text.remove(caret, 1);
            check("delete");
            break;
        case 4:
            type(&field, QStringLiteral("x"));
            text.insert(caret++, QLatin1Char('x'));
            check("a letter");
            break;
        default:
            pasteboard.readable = QString(static_cast<int>(random.bounded(3000)), QLatin1Char('y')) + QLatin1Char('\n');
            QTest::keyClick(&field, Qt::Key_Insert, Qt::ShiftModifier);
            text.insert(caret, *pasteboard.readable);
            caret += pasteboard.readable->size();
            check("a paste");
        }
    }
    QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
    EXPECT_TRUE(field.selectedText() == text);
    while (field.document()->isUndoAvailable() && field.text() != begun)
        QTest::keyClick(&field, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(field.text() == begun);
    QTest::keyClick(&field, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(field.text(), QString());
}

TEST(HowtoPanelTest, FitsItsText) {
    const HowtoPanel card(QStringLiteral("https://example.org/install"), false);
    EXPECT_EQ(card.width(), 340);
    EXPECT_EQ(card.height(), std::max(card.contentHeight(), 120));
    QString all;
    for (const QLabel* label : card.findChildren<QLabel*>()) {
        EXPECT_TRUE(card.rect().contains(label->geometry()));
        EXPECT_LE(label->width(), 300);
        all += label->text();
    }
    EXPECT_TRUE(all.contains(QStringLiteral("install Claude Code (https://example.org/install) and sign in once")));
    EXPECT_TRUE(all.contains(QStringLiteral("⌥Space  opens Ovalin")));
    EXPECT_EQ(card.findChildren<QLabel*>().size(), 10);
}
