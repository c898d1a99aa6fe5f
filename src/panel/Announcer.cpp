#include "Announcer.h"

#include "GlassWindow.h"
#include "ModeControl.h"

#include "base/Text.h"

#include <QAccessibleWidget>

#include <utility>

namespace ovalin {

namespace {

using namespace std::chrono_literals;

constexpr auto SETTLING = 400ms, BETWEEN = 200ms;
constexpr qsizetype LONGEST_SAID = 20'000; // user-perceived characters; what comes of an answer in a second is less

class Notice final : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
};

/// One of two, where Qt sees a check box.
class Choice final : public QAccessibleWidget {
public:
    explicit Choice(ModeSegment* theSegment)
        : QAccessibleWidget(theSegment, QAccessible::RadioButton)
        , segment(theSegment) {}

    QAccessible::State state() const override {
        QAccessible::State state = QAccessibleWidget::state();
        state.checkable = true;
        state.checked = segment->isChecked();
        return state;
    }
    QStringList actionNames() const override { return {pressAction(), setFocusAction()}; }
    void doAction(const QString& action) override {
        if (action == pressAction())
            segment->click();
        else
            QAccessibleWidget::doAction(action);
    }

private:
    ModeSegment* const segment;
};

QAccessibleInterface* withRole(const QString&, QObject* object) {
    if (auto* window = qobject_cast<GlassWindow*>(object))
        return new QAccessibleWidget(window, QAccessible::Window, window->windowTitle());
    if (auto* notice = qobject_cast<Notice*>(object))
        return new QAccessibleWidget(notice, QAccessible::Notification);
    if (auto* mode = qobject_cast<ModeControl*>(object))
        return new QAccessibleWidget(mode, QAccessible::Grouping);
    if (auto* segment = qobject_cast<ModeSegment*>(object))
        return new Choice(segment);
    return nullptr;
}

} // namespace

Announcer::Announcer(QWidget* parent)
    : QWidget(parent) {
    hide();
    for (QWidget*& notice : notices)
        notice = new Notice(this);
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, this, &Announcer::sayNext);
}

void Announcer::say(const QString& text) {
    const QString line = onOneLine(text, LONGEST_SAID);
    if (line.isEmpty())
        return;
    waiting.append(line);
    if (!timer.isActive())
        timer.start(SETTLING);
}

void Announcer::sayNext() {
    QWidget* const notice = notices[next++ % notices.size()];
    notice->setAccessibleName(waiting.takeFirst());
    QAccessibleEvent shown(notice, QAccessible::ObjectShow);
    QAccessible::updateAccessibility(&shown);
    if (!waiting.isEmpty())
        timer.start(BETWEEN);
}

void installAccessibleRoles() { QAccessible::installFactory(withRole); }

} // namespace ovalin

#include "Announcer.moc"
