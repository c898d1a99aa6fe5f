#pragma once

#include <QHash>
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
class Transcript final : public QTextBrowser {
    Q_OBJECT
public:
    enum class Speaker { You, Torvi };

    /// A piece of the answer's text that becomes a link. Without a target it looks like one and leads nowhere.
    struct LinkSpan {
        qsizetype from = 0; ///< in answer(), UTF-16 units
        qsizetype length = 0;
        QString shown; ///< in its place
        QString target;
    };

    explicit Transcript(QWidget* parent);

    /// A labelled block with all of its text.
    void appendTranscript(Speaker speaker, const QString& text);

    /// A label with nothing under it yet: what is appended now is the answer.
    void beginAnswer();
    void appendAnswer(const QString& text);
    /// Takes back all of the answer but its first `length` units.
    void truncateAnswer(qsizetype length);

    /// The answer as it stands, shown or still to be shown.
    [[nodiscard]] const QString& answer() const { return answerText; }

    /// Text that was appended and does not show yet, UTF-16 units.
    [[nodiscard]] qsizetype backlog() const { return answerText.size() - shownLength; }

    /// Turns pieces of the answer into links once all of it shows; `spans` in order, not overlapping. The answer's text
    /// is final with that.
    void linkify(std::vector<LinkSpan> spans);

    /// Gives the answer's links that lead to a key of the table its value as target, also before linkify() is through.
    void repairLinks(const QHash<QString, QString>& table);

    void clearConversation();

    /// Shows at once whatever is still waiting.
    void flush();

Q_SIGNALS:
    /// Everything appended shows.
    void caughtUp();
    /// A key that types: it belongs in the prompt.
    void typed(QKeyEvent* event);

protected:
    [[nodiscard]] QMimeData* createMimeDataFromSelection() const override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void appendLabel(Speaker speaker);
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

    QString answerText;
    qsizetype shownLength = 0;
    int torviBodyStart = 0;          // where the answer begins in the document
    std::vector<qsizetype> cuts;     // in answerText, ascending: where a layout block was cut
    std::vector<LinkSpan> spansLeft; // still to be turned into links, from the last one on
    bool linkifying = false;
    QTimer timer;
    std::chrono::steady_clock::time_point nextTurn;
};

} // namespace ovalin
