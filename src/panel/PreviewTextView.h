#pragma once

#include "PlainEdit.h"

namespace ovalin {

/// Height of the preview of an excerpt in pixels: its text in Brand's light 12.5 wrapped at 428 pixels, plus 20, at
/// least 44 and at most 150. Stops measuring once the bound is reached, whatever the length of the text.
[[nodiscard]] int previewHeight(const QString& text);

/// Width in which excerpts are laid out.
inline constexpr int PREVIEW_TEXT_WIDTH = 428;

/// Shows the captured excerpt. It can be edited: what it shows is what Submit sends.
class PreviewTextView final : public PlainEdit {
    Q_OBJECT
public:
    PreviewTextView(Pasteboard& pasteboard, QWidget* parent);

    /// The text is shown at most to this length. What lies behind it belongs to the excerpt until the user edits it.
    static constexpr qsizetype SHOWN_LENGTH = 50'000;

    void setExcerpt(const QString& text);
    /// What is to be sent: the text as it was given, or as the user has left it.
    [[nodiscard]] QString excerpt() const;
    /// The user changed it: an empty excerpt() is then meant to be empty.
    [[nodiscard]] bool edited() const;
    [[nodiscard]] bool cutShort() const { return given.size() > SHOWN_LENGTH; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QString given;
};

} // namespace ovalin
