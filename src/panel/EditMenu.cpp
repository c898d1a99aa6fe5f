#include "EditMenu.h"

#include <QKeySequence>

namespace ovalin {

void showEditMenu(QWidget* field, QPoint globalPosition, const EditActions& actions) {
    auto* menu = new QMenu(field);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto add = [menu](const QString& title, QKeySequence::StandardKey key, bool enabled,
                            const std::function<void()>& run) {
        QAction* action = menu->addAction(title);
        action->setShortcut(key);
        action->setEnabled(enabled);
        QObject::connect(action, &QAction::triggered, menu, run);
    };
    add(QStringLiteral("Undo"), QKeySequence::Undo, actions.canUndo, actions.undo);
    add(QStringLiteral("Redo"), QKeySequence::Redo, actions.canRedo, actions.redo);
    menu->addSeparator();
    add(QStringLiteral("Cut"), QKeySequence::Cut, actions.editable && actions.hasSelection, actions.cut);
    add(QStringLiteral("Copy"), QKeySequence::Copy, actions.hasSelection, actions.copy);
    add(QStringLiteral("Paste"), QKeySequence::Paste, actions.editable, actions.paste);
    add(QStringLiteral("Delete"), QKeySequence::Delete, actions.editable && actions.hasSelection, actions.clear);
    menu->addSeparator();
    add(QStringLiteral("Select All"), QKeySequence::SelectAll, true, actions.selectAll);
    menu->popup(globalPosition);
}

bool isPaste(const QKeyEvent* event) { return event->matches(QKeySequence::Paste); }

} // namespace ovalin
