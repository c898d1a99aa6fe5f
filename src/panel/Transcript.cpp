#include "Transcript.h"

#include "EditMenu.h"
#include "MarkdownMarks.h"
#include "Palette.h"
#include "SlimScrollBar.h"
#include "TranscriptText.h"
#include "Widgets.h"

#include <QAbstractTextDocumentLayout>
#include <QContextMenuEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

using namespace std::chrono_literals;
using namespace TranscriptText;
using Clock = std::chrono::steady_clock;

constexpr auto FRAME = 33ms, BUDGET = 5ms;
constexpr auto BETWEEN_WORDS_SPOKEN = 1s; // what comes faster is spoken together
constexpr qsizetype SLICE = 1000;         // UTF-16 units put in at once
constexpr int LINK_SLICE = 40;
constexpr int LONGEST_BLOCK = 1500;  // then it is cut
constexpr int LONGEST_JOINED = 6000; // laid out at once in a few milliseconds

} // namespace

Transcript::Transcript(QWidget* parent)
    : QTextBrowser(parent) {
    setAccessibleName(u"Transcript"_s);
    setOpenLinks(false);
    setUndoRedoEnabled(false);
    setTabChangesFocus(false); // Tab walks over the links first
    dressTextView(*this);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the text keeps its width, and cuts stay at line ends
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document()->setDocumentMargin(0);
    setViewportMargins(10, 8, 0, 8);
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, this, [this] { work(BUDGET); });
    connect(this, &QTextBrowser::anchorClicked, this, [this](const QUrl& target) {
        if (linkClicked)
            linkClicked(target.toString(QUrl::FullyEncoded));
    });
}

void Transcript::appendLabel(Speaker speaker) {
    flush();
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    if (!document()->isEmpty()) {
        end.insertText(u"\n\n"_s, bodyFormat());
        end.movePosition(QTextCursor::End);
    }
    const bool you = speaker == Speaker::You;
    end.insertText(you ? u"YOU"_s : u"TORVI"_s, labelFormat(you ? Palette::ink() : Palette::accent()));
    QTextBlock label = end.block();
    end.insertText(u"\n"_s, bodyFormat());
    label.setUserState(you ? YOU_SPEAK : TORVI_SPEAKS);
    end.block().setUserState(-1);
    forgetAnswer();
    torviBodyStart = end.position();
}

void Transcript::forgetAnswer() {
    torviBodyStart = 0;
    waiting.clear();
    shownLength = 0;
    cuts.clear();
    spansLeft.clear();
    linkifying = false;
}

void Transcript::appendTranscript(Speaker speaker, const QString& text) {
    appendLabel(speaker);
    waiting = presentable(text);
    flush();
    shownLength = 0; // not an answer that streams
    scrollToEnd();
}

void Transcript::beginAnswer() {
    appendLabel(Speaker::Torvi);
    scrollToEnd();
}

void Transcript::appendAnswer(const QString& text) {
    waiting += presentable(text);
    voice.add(text);
    if (Clock::now() - lastSpoken >= BETWEEN_WORDS_SPOKEN) {
        if (const QString complete = voice.takeComplete(); !complete.isEmpty()) {
            lastSpoken = Clock::now();
            Q_EMIT spoken(asSpoken(complete));
        }
    }
    schedule();
}

void Transcript::endVoice() {
    if (const QString rest = voice.takeRest(); !rest.isEmpty())
        Q_EMIT spoken(asSpoken(rest));
}

void Transcript::truncateAnswer(qsizetype length) {
    voice.clear();
    if (length >= shownLength) {
        waiting.truncate(length - shownLength);
    } else {
        waiting.clear();
        QTextCursor tail(document());
        tail.setPosition(positionOf(length, Edge::End));
        tail.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
        replaceSelected(tail);
        shownLength = length;
        std::erase_if(cuts, [length](qsizetype cut) { return cut >= length; });
    }
    schedule();
}

void Transcript::linkify(std::vector<LinkSpan> spans) {
    spansLeft = std::move(spans);
    linkifying = true;
    schedule();
}

void Transcript::repairLinks(const QHash<QString, QString>& table) {
    for (LinkSpan& span : spansLeft)
        span.target = table.value(span.target, span.target);
    QTextCursor run(document());
    run.beginEditBlock(); // laid out once, however many there are
    for (QTextBlock block = document()->findBlock(torviBodyStart); block.isValid(); block = block.next()) {
        std::vector<std::pair<QTextFragment, QString>> found;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QString href = it.fragment().charFormat().anchorHref();
            if (it.fragment().position() >= torviBodyStart && !href.isEmpty() && table.contains(href))
                found.emplace_back(it.fragment(), table.value(href));
        }
        for (const auto& [fragment, target] : found) {
            run.setPosition(fragment.position());
            run.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            QTextCharFormat change;
            change.setAnchorHref(target);
            change.setToolTip(plainToolTip(target));
            run.mergeCharFormat(change);
        }
    }
    run.endEditBlock();
}

void Transcript::clearConversation() {
    clear();
    forgetAnswer();
}

void Transcript::flush() {
    if (workLeft())
        work(std::chrono::hours(1));
    nextTurn = {}; // what streams next shows at once
}

bool Transcript::workLeft() const { return backlog() > 0 || linkifying; }

void Transcript::schedule() {
    if (timer.isActive() || !workLeft())
        return;
    timer.start(std::max(0ms, std::chrono::ceil<std::chrono::milliseconds>(nextTurn - Clock::now())));
}

void Transcript::work(std::chrono::milliseconds budget) {
    const auto start = Clock::now();
    const bool follow = atEnd();
    while (workLeft() && Clock::now() - start < budget) {
        if (backlog() > 0)
            showSlice();
        else
            linkSlice();
    }
    if (follow)
        scrollToEnd();
    // A slow machine gets fewer turns, not a busy main thread.
    nextTurn = start + std::max<Clock::duration>(FRAME, 3 * (Clock::now() - start));
    if (workLeft())
        schedule();
    else if (caughtUp)
        caughtUp();
}

void Transcript::showSlice() {
    const QTextCursor selected = textCursor();
    const int anchor = selected.anchor(), position = selected.position();
    qsizetype length = std::min(SLICE, backlog());
    if (length < backlog() && waiting[length - 1].isHighSurrogate())
        ++length;
    QTextCursor end(document()); // not the view's own: the user may be selecting with that one
    end.movePosition(QTextCursor::End);
    end.insertText(waiting.left(length), bodyFormat());
    waiting.remove(0, length);
    shownLength += length;
    cutLongBlock();
    if (selected.hasSelection() && (textCursor().position() != position || textCursor().anchor() != anchor)) {
        // A selection that reached to the end does not grow with the text.
        const int scrolled = verticalScrollBar()->value();
        QTextCursor kept(document());
        kept.setPosition(anchor);
        kept.setPosition(position, QTextCursor::KeepAnchor);
        setTextCursor(kept);
        verticalScrollBar()->setValue(scrolled);
    }
}

void Transcript::cutLongBlock() {
    const QTextBlock block = document()->lastBlock();
    if (block.length() <= LONGEST_BLOCK)
        return;
    document()->documentLayout()->blockBoundingRect(block); // lays it out if it is not yet
    const QTextLayout* layout = block.layout();
    if (layout->lineCount() < 2)
        return;
    // Where its last line begins, so that the text flows on as if it were one block.
    const int inBlock = layout->lineAt(layout->lineCount() - 1).textStart();
    const int position = block.position() + inBlock;
    const qsizetype index = shownLength - (block.length() - 1 - inBlock);
    if (inBlock <= 0 || position <= torviBodyStart)
        return;
    QTextCursor at(document());
    at.setPosition(position);
    QTextBlockFormat format = block.blockFormat();
    format.setLayoutDirection(block.textDirection());
    at.insertBlock(format, bodyFormat());
    at.block().setUserState(CONTINUES_BLOCK);
    cuts.push_back(index);
}

int Transcript::positionOf(qsizetype index, Edge edge) const {
    const auto before = edge == Edge::Begin ? std::upper_bound(cuts.begin(), cuts.end(), index)
                                            : std::lower_bound(cuts.begin(), cuts.end(), index);
    return torviBodyStart + static_cast<int>(index) + static_cast<int>(before - cuts.begin());
}

void Transcript::linkSlice() {
    // One edit of several neighbours: each would move all that lies below them.
    QTextCursor edit(document());
    edit.beginEditBlock();
    for (int i = 0; i < LINK_SLICE && !spansLeft.empty(); ++i) {
        // From the end on: the places of those before stay as they are.
        linkify(spansLeft.back());
        spansLeft.pop_back();
    }
    edit.endEditBlock();
    linkifying = !spansLeft.empty();
}

void Transcript::linkify(const LinkSpan& span) {
    QTextCursor place(document());
    place.setPosition(positionOf(span.from, Edge::Begin));
    place.setPosition(positionOf(span.from + span.length, Edge::End), QTextCursor::KeepAnchor);
    if (span.shown.size() == span.length) { // an address as it is written
        place.setCharFormat(linkFormat(span.target));
    } else {
        replaceSelected(place, presentable(span.shown), linkFormat(span.target));
        joinWithNext(place.position());
    }
}

// The text has become shorter: a cut behind it stands no longer at a line's end. (Only places before it are still
// looked for, so the list of the cuts may stay.)
void Transcript::joinWithNext(int position) {
    for (;;) {
        const QTextBlock block = document()->findBlock(position), next = block.next();
        if (!next.isValid() || next.userState() != CONTINUES_BLOCK || block.length() + next.length() > LONGEST_JOINED)
            return;
        QTextCursor separator(document());
        separator.setPosition(next.position() - 1);
        separator.setPosition(next.position(), QTextCursor::KeepAnchor);
        replaceSelected(separator);
    }
}

bool Transcript::atEnd() const { return verticalScrollBar()->value() >= verticalScrollBar()->maximum() - 4; }

void Transcript::scrollToEnd() { verticalScrollBar()->setValue(verticalScrollBar()->maximum()); }

QMimeData* Transcript::createMimeDataFromSelection() const {
    auto* copied = new QMimeData;
    copied->setText(TranscriptText::copied(textCursor()));
    return copied;
}

void Transcript::keyPressEvent(QKeyEvent* event) {
    const bool command = event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    if (!command && !event->text().isEmpty() && event->text().at(0).isPrint()) {
        Q_EMIT typed(event);
        return;
    }
    QTextBrowser::keyPressEvent(event);
}

void Transcript::contextMenuEvent(QContextMenuEvent* event) {
    EditActions actions;
    actions.editable = false;
    actions.hasSelection = textCursor().hasSelection();
    actions.copy = [this] { copy(); };
    actions.selectAll = [this] { selectAll(); };
    showEditMenu(this, event->globalPos(), actions);
}

} // namespace ovalin
