#include "SearchField.h"

#include "Brand.h"
#include "Palette.h"

#include <QKeyEvent>

using namespace Qt::StringLiterals;

namespace ovalin {

SearchField::SearchField(const QString& accessibleName, Pasteboard& pasteboard, QWidget* parent)
    : PlainEdit(pasteboard, parent) {
    setAccessibleName(accessibleName);
    setPlaceholderText(u"Search"_s);
    setFont(Brand::font(11, QFont::Normal));
    setLineWrapMode(NoWrap);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    QPalette colors = palette();
    colors.setColor(QPalette::Text, Palette::ink());
    colors.setColor(QPalette::PlaceholderText, Palette::body());
    setPalette(colors);
    document()->setDocumentMargin(2);
    const int line = QFontMetrics(font()).height();
    const int above = (HEIGHT - line) / 2 - 2;
    setViewportMargins(6, above, 6, HEIGHT - above - line - 5); // a pixel more than the line, else it counts as hidden
}

void SearchField::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        return;
    PlainEdit::keyPressEvent(event);
}

} // namespace ovalin
