#include "EditMenu.h"

#include <QKeySequence>

using namespace Qt::StringLiterals;

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
    add(u"Undo"_s, QKeySequence::Undo, actions.canUndo, actions.undo);
    add(u"Redo"_s, QKeySequence::Redo, actions.canRedo, actions.redo);
    menu->addSeparator();
    add(u"Cut"_s, QKeySequence::Cut, actions.editable && actions.hasSelection, actions.cut);
    add(u"Copy"_s, QKeySequence::Copy, actions.hasSelection, actions.copy);
    add(u"Paste"_s, QKeySequence::Paste, actions.editable, actions.paste);
    add(u"Delete"_s, QKeySequence::Delete, actions.editable && actions.hasSelection, actions.clear);
    menu->addSeparator();
    add(u"Select All"_s, QKeySequence::SelectAll, true, actions.selectAll);
    menu->popup(globalPosition);
}

bool isPaste(const QKeyEvent* event) { return event->matches(QKeySequence::Paste); }

} // namespace ovalin
