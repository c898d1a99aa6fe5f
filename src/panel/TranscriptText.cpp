#include "TranscriptText.h"

#include "Brand.h"
#include "MarkdownMarks.h"
#include "Palette.h"
#include "Widgets.h"

#include "base/Text.h"

#include <QTextBlock>
#include <QTextDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovalin::TranscriptText {

QTextCharFormat bodyFormat() {
    QTextCharFormat format;
    format.setFont(Brand::font(12.5, QFont::Light));
    format.setForeground(Palette::body());
    return format;
}

QTextCharFormat labelFormat(const QColor& color) {
    QFont font = Brand::font(10, QFont::Medium);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 0.8);
    QTextCharFormat format;
    format.setFont(font);
    format.setForeground(color);
    return format;
}

QTextCharFormat linkFormat(const QString& target) {
    QTextCharFormat format = bodyFormat();
    if (!target.isEmpty()) {
        format.setAnchor(true);
        format.setAnchorHref(target);
        format.setToolTip(plainToolTip(target));
    }
    format.setForeground(Palette::sapphire());
    format.setUnderlineStyle(QTextCharFormat::SingleUnderline);
    return format;
}

void replaceSelected(QTextCursor& selected, const QString& by, const QTextCharFormat& format) {
    const QTextBlock first = selected.document()->findBlock(selected.selectionStart());
    const int position = first.position(), state = first.userState();
    selected.removeSelectedText();
    selected.document()->findBlock(position).setUserState(state);
    if (!by.isEmpty())
        selected.insertText(by, format);
}

QString presentable(const QString& words) {
    QString text = inPlainLines(words);
    for (QChar& letter : text) {
        switch (letter.unicode()) {
        case 0xfdd0: // marks of Qt's own
        case 0xfdd1:
        case QChar::ObjectReplacementCharacter:
            letter = QChar::ReplacementCharacter;
            break;
        case '\r':
            letter = QLatin1Char(' '); // stands at a line's end, where a blank does not show
            break;
        case QChar::ParagraphSeparator:
            letter = QLatin1Char('\n');
            break;
        default:
            break;
        }
    }
    return text;
}

QString copied(const QTextCursor& selected) {
    const QTextDocument& document = *selected.document();
    QString text, part; // the part of one speaker
    bool torvi = false;
    const auto takePart = [&] { text += torvi ? withoutMarks(std::exchange(part, {})) : std::exchange(part, {}); };
    for (QTextBlock block = document.begin(); block.isValid() && block.position() < selected.selectionEnd();
         block = block.next()) {
        if (block.userState() == YOU_SPEAK || block.userState() == TORVI_SPEAKS) {
            takePart();
            torvi = block.userState() == TORVI_SPEAKS;
        }
        if (block.position() + block.length() <= selected.selectionStart())
            continue;
        if (block.position() > selected.selectionStart() && block.userState() != CONTINUES_BLOCK)
            part += QLatin1Char('\n');
        const int from = std::max(0, selected.selectionStart() - block.position());
        part += QStringView(block.text())
                    .mid(from, selected.selectionEnd() - block.position() - from)
                    .toString()
                    .replace(QChar::LineSeparator, QLatin1Char('\n'));
    }
    takePart();
    if (document.findBlock(selected.selectionEnd()).position() == selected.selectionEnd() &&
        selected.selectionEnd() > selected.selectionStart())
        text += QLatin1Char('\n');
    return text;
}

} // namespace ovalin::TranscriptText
