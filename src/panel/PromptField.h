#pragma once

#include "platform/Pasteboard.h"

#include <QLineEdit>

namespace ovalin {

/// The one-line field for the instruction. Pastes are read through the Pasteboard, which never blocks.
class PromptField final : public QLineEdit {
    Q_OBJECT
public:
    PromptField(Pasteboard& pasteboard, QWidget* parent);

    void setPlaceholder(const QString& text);

Q_SIGNALS:
    /// Return, outside of a composition of the input method.
    void submitted();
    /// Escape, outside of a composition.
    void cancelled();
    /// Up (older) or Down.
    void walked(bool older);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void pasteFrom(Pasteboard::Selection selection);

    Pasteboard& pasteboard;
    bool composing = false;
};

} // namespace ovalin
