#include "CutText.h"

#include <QAbstractTextDocumentLayout>
#include <QFontMetricsF>
#include <QTextBlock>
#include <QTextBoundaryFinder>
#include <QTextDocument>
#include <QTextObjectInterface>

#include <algorithm>

namespace ovalin::CutText {

namespace {

constexpr qsizetype BLOCK = 2'000, NEAR = 200;
constexpr int STAND_IN = QTextFormat::UserObject + 1;
constexpr int STANDS_FOR = QTextFormat::UserProperty + 1;

class Blank final : public QObject, public QTextObjectInterface {
    Q_OBJECT
    Q_INTERFACES(QTextObjectInterface)
public:
    using QObject::QObject;

    QSizeF intrinsicSize(QTextDocument* document, int, const QTextFormat&) override {
        const QFontMetricsF metrics(document->defaultFont());
        return {metrics.horizontalAdvance(QLatin1Char(' ')), metrics.ascent()};
    }
    void drawObject(QPainter*, const QRectF&, QTextDocument*, int, const QTextFormat&) override {}
};

bool needsStandIn(QChar c) {
    return (c < QLatin1Char(' ') && c != QLatin1Char('\t')) || c == QChar::LineSeparator ||
           c == QChar::ParagraphSeparator || c == QChar::ObjectReplacementCharacter ||
           (c >= QChar(0xfdd0) && c <= QChar(0xfdd1)); // frames' ends to QTextDocument
}

void insertPiece(QTextCursor& cursor, QStringView piece) {
    while (!piece.isEmpty()) {
        const QChar first = piece.front();
        const bool standsIn = needsStandIn(first);
        const auto end =
            std::find_if(piece.begin(), piece.end(), [&](QChar c) { return standsIn ? c != first : needsStandIn(c); });
        const qsizetype length = end - piece.begin();
        QTextCharFormat format;
        if (standsIn) {
            format.setObjectType(STAND_IN);
            format.setProperty(STANDS_FOR, int(first.unicode()));
        }
        cursor.insertText(
            standsIn ? QString(length, QChar::ObjectReplacementCharacter) : piece.first(length).toString(), format);
        piece = piece.sliced(length);
    }
}

// Behind a blank if there is one near, else between two characters as a reader sees them.
qsizetype cutNear(QStringView text, qsizetype wanted) {
    for (qsizetype i = wanted; i > std::max<qsizetype>(wanted - NEAR, 1); --i) {
        if (text[i - 1].isSpace())
            return i;
    }
    const qsizetype from = std::max<qsizetype>(wanted - NEAR, 0);
    const QStringView around = text.sliced(from, std::min(2 * NEAR, text.size() - from));
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, around.data(), around.size());
    finder.setPosition(wanted - from);
    if (!finder.isAtBoundary())
        finder.toPreviousBoundary();
    return finder.position() > 0 ? from + finder.position() : wanted;
}

} // namespace

void prepare(QTextDocument& document) { document.documentLayout()->registerHandler(STAND_IN, new Blank(&document)); }

void insert(QTextCursor cursor, const QString& text) {
    cursor.beginEditBlock();
    cursor.removeSelectedText();
    QStringView rest(text);
    while (rest.size() > BLOCK) {
        const qsizetype cut = cutNear(rest, BLOCK);
        insertPiece(cursor, rest.first(cut));
        cursor.insertBlock();
        rest = rest.sliced(cut);
    }
    insertPiece(cursor, rest);
    cursor.endEditBlock();
}

QString between(const QTextDocument& document, int from, int to) {
    QString text;
    for (QTextBlock block = document.findBlock(from); block.isValid() && block.position() < to; block = block.next()) {
        for (auto each = block.begin(); !each.atEnd(); ++each) {
            const QTextFragment fragment = each.fragment();
            const int begin = std::max(from, fragment.position());
            const int length = std::min(to, fragment.position() + fragment.length()) - begin;
            if (length <= 0)
                continue;
            const QTextCharFormat format = fragment.charFormat();
            if (format.objectType() == STAND_IN)
                text += QString(length, QChar(static_cast<char16_t>(format.intProperty(STANDS_FOR))));
            else
                text += QStringView(fragment.text()).sliced(begin - fragment.position(), length);
        }
    }
    return text;
}

int lengthBefore(const QTextDocument& document, int place) { return place - document.findBlock(place).blockNumber(); }

void mend(QTextDocument& document, int from, int to) {
    QTextCursor cursor(&document);
    bool begun = false;
    const auto begin = [&] {
        if (!std::exchange(begun, true))
            cursor.joinPreviousEditBlock();
    };
    QTextBlock block = document.findBlock(std::max(from - 1, 0));
    if (block.previous().isValid())
        block = block.previous();
    while (block.isValid() && block.position() <= to) {
        const QTextBlock next = block.next();
        const int length = block.length() - 1;
        if (length > 2 * BLOCK) {
            begin();
            cursor.setPosition(block.position() + static_cast<int>(cutNear(block.text(), BLOCK)));
            cursor.insertBlock();
            to += 1;
            block = cursor.block();
        } else if (next.isValid() && length + next.length() - 1 <= BLOCK) {
            begin();
            cursor.setPosition(next.position());
            cursor.deletePreviousChar();
            block = cursor.block();
        } else {
            block = next;
        }
    }
    if (begun)
        cursor.endEditBlock();
}

} // namespace ovalin::CutText

#include "CutText.moc"
