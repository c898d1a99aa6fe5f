#include "PreviewTextView.h"

#include "Brand.h"
#include "SlimScrollBar.h"

#include "base/Text.h"

#include <QKeyEvent>
#include <QScrollBar>
#include <QTextDocument>
#include <QTextLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int LEAST = 44, MOST = 150, PADDING = 20;
// A paragraph is measured in pieces: laying out megabytes to learn that they are more than 150 pixels high would take
// seconds.
constexpr qsizetype PIECE = 4096;

qreal paragraphHeight(QStringView paragraph, const QFont& font, qreal lineHeight, qreal enough) {
    if (paragraph.isEmpty())
        return lineHeight;
    qreal height = 0;
    for (qsizetype from = 0; from < paragraph.size() && height < enough; from += PIECE) {
        QTextLayout layout(paragraph.mid(from, PIECE).toString(), font);
        layout.beginLayout();
        for (QTextLine line = layout.createLine(); line.isValid() && height < enough; line = layout.createLine()) {
            line.setLineWidth(PREVIEW_TEXT_WIDTH);
            height += line.height();
        }
        layout.endLayout();
    }
    return height;
}

} // namespace

int previewHeight(const QString& text) {
    if (text.isEmpty())
        return 0;
    const QFont font = Brand::font(12.5, QFont::Light);
    const qreal lineHeight = QFontMetricsF(font).height();
    qreal height = 0;
    qsizetype from = 0;
    while (from <= text.size() && height < MOST - PADDING) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), from);
        if (end < 0)
            end = text.size();
        height += paragraphHeight(QStringView(text).mid(from, end - from), font, lineHeight, MOST - PADDING - height);
        from = end + 1;
    }
    return std::clamp(static_cast<int>(std::ceil(height)) + PADDING, LEAST, MOST);
}

PreviewTextView::PreviewTextView(Pasteboard& pasteboard, QWidget* parent)
    : PlainEdit(pasteboard, parent) {
    setAccessibleName(u"Excerpt"_s);
    setFont(Brand::font(12.5, QFont::Light));
    document()->setDocumentMargin(0);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the right inset: it shows only what can be scrolled
    setViewportMargins(10, 8, 10 - SlimScrollBar::WIDTH, 8);
    document()->setModified(false); // its margin counted as a change
}

void PreviewTextView::setExcerpt(const QString& text) {
    given = text;
    setPlainText(inPlainLines(text.left(SHOWN_LENGTH))); // it may not read otherwise than it is
}

bool PreviewTextView::edited() const { return document()->isModified(); }

QString PreviewTextView::excerpt() const {
    if (!edited())
        return given;
    // Not toPlainText(), which makes plain blanks and line ends of all others.
    return document()->toRawText().replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
}

void PreviewTextView::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::InsertLineSeparator)) { // Shift+Return is a line end like any other
        event->accept();
        textCursor().insertBlock();
        return;
    }
    PlainEdit::keyPressEvent(event);
}

} // namespace ovalin
