#pragma once

#include "Sentences.h"

#include "views/ChatView.h"

#include <QTextBrowser>
#include <QTimer>

#include <chrono>
#include <vector>

namespace ovalin {

/// The conversation in the panel: labelled blocks of text, the last of which may still be streaming.
///
/// Streamed text is gathered and put in at most 30 times a second, in slices that keep the main thread free, and long
/// paragraphs are cut at a line's end into several layout blocks, since Qt lays a block out anew at each insertion. The
/// cuts show neither on the screen nor in what is copied.
class Transcript final : public QTextBrowser, public ChatView {
    Q_OBJECT
public:
    explicit Transcript(QWidget* parent);

    void appendTranscript(Speaker speaker, const QString& text) override;
    void beginAnswer() override;
    void appendAnswer(const QString& text) override;
    void truncateAnswer(qsizetype length) override;
    [[nodiscard]] qsizetype backlog() const override { return waiting.size(); }
    void linkify(std::vector<LinkSpan> spans) override;
    void repairLinks(const QHash<QString, QString>& table) override;
    void clearConversation() override;

    /// Shows at once whatever is still waiting.
    void flush();
    /// The answer is over: its last words are spoken too.
    void endVoice();

Q_SIGNALS:
    /// Sentences of the answer that streams, for a voice.
    void spoken(const QString& text);
    /// A key that types: it belongs in the prompt.
    void typed(QKeyEvent* event);

protected:
    [[nodiscard]] QMimeData* createMimeDataFromSelection() const override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void appendLabel(Speaker speaker);
    void forgetAnswer();
    void cutLongBlock();
    void work(std::chrono::milliseconds budget);
    [[nodiscard]] bool workLeft() const;
    void showSlice();
    void linkSlice();
    void linkify(const LinkSpan& span);
    void schedule();
    enum class Edge { Begin, End }; // of a range that a cut may touch
    [[nodiscard]] int positionOf(qsizetype index, Edge edge) const;
    void joinWithNext(int position);
    [[nodiscard]] bool atEnd() const;
    void scrollToEnd();

    QString waiting;                 // of the answer: what does not show yet
    qsizetype shownLength = 0;       // of the answer, as it was appended
    int torviBodyStart = 0;          // where the answer begins in the document
    std::vector<qsizetype> cuts;     // in the answer, ascending: where a layout block was cut
    std::vector<LinkSpan> spansLeft; // still to be turned into links, from the last one on
    bool linkifying = false;
    Sentences voice;
    std::chrono::steady_clock::time_point lastSpoken;
    QTimer timer;
    std::chrono::steady_clock::time_point nextTurn;
};

} // namespace ovalin
