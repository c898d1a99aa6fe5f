#pragma once

#include "platform/Pasteboard.h"

#include <QPlainTextEdit>

namespace ovalin {

/// What the panel's editable fields share: pastes are read through the Pasteboard, which never blocks, and the menu is
/// the usual one. Tab moves the focus on. A text that begins from right to left stands at the right.
class PlainEdit : public QPlainTextEdit {
    Q_OBJECT
public:
    PlainEdit(Pasteboard& pasteboard, QWidget* parent);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

    /// Puts a pasted text in the place of the selection.
    virtual void insertPasted(const QString& text) { insertPlainText(text); }

private:
    void alignAsItReads();
    void pasteFrom(Pasteboard::Selection selection);

    Pasteboard& clipboards;
};

} // namespace ovalin
