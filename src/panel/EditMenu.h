#pragma once

#include <QKeyEvent>
#include <QMenu>
#include <QPointer>

#include <functional>

namespace ovalin {

class Pasteboard;

/// What a context menu of a text field offers.
struct EditActions {
    bool canUndo = false;
    bool canRedo = false;
    bool hasSelection = false;
    bool editable = true;
    std::function<void()> undo, redo, cut, copy, paste, clear, selectAll;
};

/// Shows the usual edit menu at a global position. Unlike Qt's own it never asks the clipboard's owner whether there is
/// anything to paste: an owner that does not answer would freeze the panel.
void showEditMenu(QWidget* field, QPoint globalPosition, const EditActions& actions);

/// Ctrl+V, Shift+Insert and the Paste key.
[[nodiscard]] bool isPaste(const QKeyEvent* event);

} // namespace ovalin
