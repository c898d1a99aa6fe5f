#include "panel/Transcript.h"
#include "support/Testing.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>

namespace {

struct TranscriptTest : testing::Test {
    Transcript view{nullptr};

    TranscriptTest() {
        view.resize(448, 240);
        view.show();
    }
    /// More of the answer, shown.
    void answer(const QString& text) {
        view.appendAnswer(text);
        view.flush();
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
        text += u"word%1 "_s.arg(i);
    return text;
}

} // namespace

TEST_F(TranscriptTest, BlocksFollowUnderTheirLabelsWithABlankLineBetween) {
    view.appendTranscript(Speaker::You, u"why?"_s);
    view.beginAnswer();
    view.appendAnswer(u"be"_s);
    answer(u"cause\nof it"_s);
    EXPECT_EQ(copied(), u"YOU\nwhy?\n\nTORVI\nbecause\nof it"_s);
}

TEST_F(TranscriptTest, ALongParagraphIsCutWhereNobodySeesIt) {
    const QString text = words(3000);
    view.beginAnswer();
    for (qsizetype at = 0; at < text.size(); at += 5)
        view.appendAnswer(text.mid(at, 5));
    view.flush();
    EXPECT_EQ(copied(), u"TORVI\n"_s + text);
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

TEST_F(TranscriptTest, AnAnswerIsCopiedWithoutMarksAndTheUsersWordsAsTheyStand) {
    view.appendTranscript(Speaker::You, u"why **this**?"_s);
    view.appendTranscript(Speaker::Torvi,
                          u"# Because\n\nIt is **so**, *really*, in `a*b*c` and __init__:\n* one\n  - two\n"
                          "```sh\n# ls **/*.txt\n```\n2 * 3 * 4, *.txt and *.md, a ` alone"_s);
    EXPECT_EQ(copied(), u"YOU\nwhy **this**?\n\nTORVI\nBecause\n\nIt is so, really, in a*b*c and __init__:\n- one\n"
                        "  - two\n# ls **/*.txt\n2 * 3 * 4, *.txt and *.md, a ` alone"_s);
}

TEST_F(TranscriptTest, LinksReplaceTheirSourceAcrossCuts) {
    const QString lead = words(600);
    const QString source = u"[the docs](https://a.example/x)"_s;
    const QString answer = lead + source + u" and https://b.example "_s + words(600);
    view.beginAnswer();
    view.appendAnswer(answer);
    view.linkify({{lead.size(), source.size(), u"the docs"_s, u"https://a.example/x"_s},
                  {lead.size() + source.size() + 5, 17, u"https://b.example"_s, u"https://b.example"_s}});
    view.repairLinks({{u"https://b.example"_s, u"https://search.example"_s}});
    view.flush();
    EXPECT_EQ(copied(), u"TORVI\n"_s + lead + u"the docs and https://b.example "_s + words(600));
    EXPECT_EQ(hrefAt(u"the docs"_s), u"https://a.example/x"_s);
    EXPECT_EQ(hrefAt(u"https://b.example"_s), u"https://search.example"_s);
    view.repairLinks({{u"https://a.example/x"_s, u"https://later.example"_s}});
    EXPECT_EQ(hrefAt(u"the docs"_s), u"https://later.example"_s);
    EXPECT_EQ(hrefAt(u" and "_s), QString());
}

TEST_F(TranscriptTest, VoidTextIsTakenBackWhetherItShowsOrNot) {
    const QString shown = u"kept "_s + words(500), waiting = u"not shown yet"_s;
    for (const qsizetype length : {qsizetype{5}, shown.size(), shown.size() + 3}) {
        view.clearConversation();
        view.beginAnswer();
        answer(shown);
        view.appendAnswer(waiting);
        view.truncateAnswer(length);
        view.appendAnswer(u"and more, which is void too"_s);
        view.truncateAnswer(length + 8);
        view.flush();
        EXPECT_EQ(copied(), u"TORVI\n"_s + (shown + waiting).left(length) + u"and more"_s);
    }
}

TEST_F(TranscriptTest, FollowsTheTextOnlyWhileTheUserIsAtItsEnd) {
    view.beginAnswer();
    answer(words(2000));
    EXPECT_TRUE(atEnd());
    view.verticalScrollBar()->setValue(40);
    answer(words(200));
    EXPECT_EQ(view.verticalScrollBar()->value(), 40);
    view.appendTranscript(Speaker::You, u"next"_s);
    EXPECT_TRUE(atEnd());
}

TEST_F(TranscriptTest, ASelectionToTheEndStaysWhatItWas) {
    view.beginAnswer();
    answer(u"one two"_s);
    view.moveCursor(QTextCursor::End);
    view.moveCursor(QTextCursor::PreviousWord, QTextCursor::KeepAnchor);
    QTextCursor toEnd = view.textCursor();
    const int from = toEnd.position();
    toEnd.setPosition(from);
    toEnd.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    view.setTextCursor(toEnd);
    answer(u" three"_s);
    EXPECT_EQ(view.textCursor().selectedText(), u"two"_s);
}

TEST_F(TranscriptTest, StrangeCharactersKeepTheirPlaces) {
    const QString strange =
        u"a\r\nb"_s + QChar(0) + QChar(0xfdd0) + QChar(0xfffc) + QChar(0x2029) + u"שלום 👩\u200d👩\u200d👧 e\u0301 "_s;
    view.beginAnswer();
    view.appendAnswer(strange);
    view.linkify({{strange.size() - 3, 2, u"e\u0301"_s, u"https://x.example"_s}});
    view.flush();
    EXPECT_EQ(hrefAt(u"e\u0301"_s), u"https://x.example"_s);
}

TEST_F(TranscriptTest, TypingInTheConversationBelongsInThePrompt) {
    QString typed;
    QObject::connect(&view, &Transcript::typed, &view, [&](QKeyEvent* key) { typed += key->text(); });
    view.setFocus();
    QTest::keyClicks(&view, u"ok"_s);
    QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(typed, u"ok"_s);
}
