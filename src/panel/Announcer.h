#pragma once

#include <QStringList>
#include <QTimer>
#include <QWidget>

#include <array>

namespace ovalin {

/// Tells a screen reader what happens elsewhere than at the focus: messages, the mode, the answer as it comes. Each
/// text is a notification of its own to it, since a reader asks for the words only after it has heard of them. One
/// comes when the keys that led to it are worked off, and not all at once: readers drop what comes in a flood. Nothing
/// of it shows on the screen. Main thread.
class Announcer final : public QWidget {
    Q_OBJECT
public:
    explicit Announcer(QWidget* parent);

    /// Said after what was said before; an empty text is nothing.
    void say(const QString& text);

private:
    void sayNext();

    std::array<QWidget*, 4> notices{};
    size_t next = 0;
    QStringList waiting;
    QTimer timer;
};

/// Gives windows, groups and switches the roles that a screen reader expects; Qt calls the first two "filler". Once,
/// before any window.
void installAccessibleRoles();

} // namespace ovalin
