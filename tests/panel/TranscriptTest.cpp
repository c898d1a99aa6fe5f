#include "panel/Transcript.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>

#include <gtest/gtest.h>

using namespace ovalin;

namespace {

struct TranscriptTest : testing::Test {
    Transcript view{nullptr};

    TranscriptTest() {
        view.resize(448, 240);
        view.show();
    }
    [[nodiscard]] QString copied() {
        view.selectAll();
        view.copy();
        return QGuiApplication::clipboard()->text();
    }
    [[nodiscard]] QString hrefAt(const QString& text) const {
        const QTextCursor found = view.document()->find(text);
        QTextCursor inside(view.document());
        inside.setPosition(found.selectionStart() + 1);
        return inside.charFormat().anchorHref();
    }
    [[nodiscard]] bool atEnd() const {
        return view.verticalScrollBar()->value() == view.verticalScrollBar()->maximum();
    }
};

QString words(int count) {
    QString text;
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("word%1 ").arg(i);
    return text;
}

} // namespace

TEST_F(TranscriptTest, BlocksFollowUnderTheirLabelsWithABlankLineBetween) {
    view.appendTranscript(Speaker::You, QStringLiteral("why?"));
    view.beginAnswer();
    view.appendAnswer(QStringLiteral("be"));
    view.appendAnswer(QStringLiteral("cause\nof it"));
    view.flush();
    EXPECT_EQ(copied(), QStringLiteral("YOU\nwhy?\n\nTORVI\nbecause\nof it"));
}

TEST_F(TranscriptTest, ALongParagraphIsCutWhereNobodySeesIt) {
    const QString text = words(3000);
    view.beginAnswer();
    for (qsizetype at = 0; at < text.size(); at += 5)
        view.appendAnswer(text.mid(at, 5));
    view.flush();
    EXPECT_EQ(copied(), QStringLiteral("TORVI\n") + text);
    // The same lines as if it were one block.
    QTextDocument whole;
    whole.setDocumentMargin(0);
    QTextOption wrap = view.document()->defaultTextOption();
    whole.setDefaultTextOption(wrap);
    whole.setTextWidth(view.document()->textWidth());
    QTextCursor(&whole).insertText(text, QTextCursor(view.document()->lastBlock()).charFormat());
    int lines = 0;
    for (QTextBlock block = view.document()->firstBlock().next(); block.isValid(); block = block.next()) {
        EXPECT_LT(block.length(), 3000);
        lines += block.layout()->lineCount();
    }
    whole.size();
    EXPECT_EQ(lines, whole.firstBlock().layout()->lineCount());
}

TEST_F(TranscriptTest, LinksReplaceTheirSourceAcrossCuts) {
    const QString lead = words(600);
    const QString source = QStringLiteral("[the docs](https://a.example/x)");
    const QString answer = lead + source + QStringLiteral(" and https://b.example ") + words(600);
    view.beginAnswer();
    view.appendAnswer(answer);
    view.linkify({{lead.size(), source.size(), QStringLiteral("the docs"), QStringLiteral("https://a.example/x")},
                  {lead.size() + source.size() + 5, 17, QStringLiteral("https://b.example"),
                   QStringLiteral("https://b.example")}});
    view.repairLinks({{QStringLiteral("https://b.example"), QStringLiteral("https://search.example")}});
    view.flush();
    EXPECT_EQ(copied(),
              QStringLiteral("TORVI\n") + lead + QStringLiteral("the docs and https://b.example ") + words(600));
    EXPECT_EQ(hrefAt(QStringLiteral("the docs")), QStringLiteral("https://a.example/x"));
    EXPECT_EQ(hrefAt(QStringLiteral("https://b.example")), QStringLiteral("https://search.example"));
    view.repairLinks({{QStringLiteral("https://a.example/x"), QStringLiteral("https://later.example")}});
    EXPECT_EQ(hrefAt(QStringLiteral("the docs")), QStringLiteral("https://later.example"));
    EXPECT_EQ(hrefAt(QStringLiteral(" and ")), QString());
}

TEST_F(TranscriptTest, VoidTextIsTakenBackWhetherItShowsOrNot) {
    const QString shown = QStringLiteral("kept ") + words(500), waiting = QStringLiteral("not shown yet");
    for (const qsizetype length : {qsizetype{5}, shown.size(), shown.size() + 3}) {
        view.clearConversation();
        view.beginAnswer();
        view.appendAnswer(shown);
        view.flush();
        view.appendAnswer(waiting);
        view.truncateAnswer(length);
        view.appendAnswer(QStringLiteral("and more"));
        view.flush();
        EXPECT_EQ(copied(), QStringLiteral("TORVI\n") + (shown + waiting).left(length) + QStringLiteral("and more"));
    }
}

TEST_F(TranscriptTest, FollowsTheTextOnlyWhileTheUserIsAtItsEnd) {
    view.beginAnswer();
    view.appendAnswer(words(2000));
    view.flush();
    EXPECT_TRUE(atEnd());
    view.verticalScrollBar()->setValue(40);
    view.appendAnswer(words(200));
    view.flush();
    EXPECT_EQ(view.verticalScrollBar()->value(), 40);
    view.appendTranscript(Speaker::You, QStringLiteral("next"));
    EXPECT_TRUE(atEnd());
}

TEST_F(TranscriptTest, ASelectionToTheEndStaysWhatItWas) {
    view.beginAnswer();
    view.appendAnswer(QStringLiteral("one two"));
    view.flush();
    view.moveCursor(QTextCursor::End);
    view.moveCursor(QTextCursor::PreviousWord, QTextCursor::KeepAnchor);
    QTextCursor toEnd = view.textCursor();
    const int from = toEnd.position();
    toEnd.setPosition(from);
    toEnd.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    view.setTextCursor(toEnd);
    view.appendAnswer(QStringLiteral(" three"));
    view.flush();
    EXPECT_EQ(view.textCursor().selectedText(), QStringLiteral("two"));
}

TEST_F(TranscriptTest, StrangeCharactersKeepTheirPlaces) {
    const QString strange = QStringLiteral("a\r\nb") + QChar(0) + QChar(0xfdd0) + QChar(0xfffc) + QChar(0x2029) +
                            QStringLiteral("שלום 👩\u200d👩\u200d👧 e\u0301 ");
    view.beginAnswer();
    view.appendAnswer(strange);
    view.linkify({{strange.size() - 3, 2, QStringLiteral("e\u0301"), QStringLiteral("https://x.example")}});
    view.flush();
    EXPECT_EQ(hrefAt(QStringLiteral("e\u0301")), QStringLiteral("https://x.example"));
}

TEST_F(TranscriptTest, TypingInTheConversationBelongsInThePrompt) {
    QString typed;
    QObject::connect(&view, &Transcript::typed, &view, [&](QKeyEvent* key) { typed += key->text(); });
    view.setFocus();
    QTest::keyClicks(&view, QStringLiteral("ok"));
    QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(typed, QStringLiteral("ok"));
}
