#pragma once

#include "platform/Pasteboard.h"

#include <QPlainTextEdit>

namespace ovalin {

/// Height of the preview of an excerpt in pixels: its text in Brand's light 12.5 wrapped at 428 pixels, plus 20, at
/// least 44 and at most 150. Stops measuring once the bound is reached, whatever the length of the text.
[[nodiscard]] int previewHeight(const QString& text);

/// Width in which excerpts are laid out.
inline constexpr int PREVIEW_TEXT_WIDTH = 428;

/// Shows the captured excerpt. It can be edited: what it shows is what Submit sends. Tab moves the focus on.
class PreviewTextView final : public QPlainTextEdit {
    Q_OBJECT
public:
    PreviewTextView(Pasteboard& pasteboard, QWidget* parent);

    /// The text is shown at most to this length; excerpt() still returns all of a longer one.
    static constexpr qsizetype SHOWN_LENGTH = 50'000;

    void setExcerpt(const QString& text);
    [[nodiscard]] QString excerpt() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void pasteFrom(Pasteboard::Selection selection);

    Pasteboard& pasteboard;
    QString hiddenTail;
};

} // namespace ovalin
