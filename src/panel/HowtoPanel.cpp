#include "HowtoPanel.h"

#include "Announcer.h"
#include "Brand.h"
#include "Palette.h"
#include "SlimScrollBar.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTextLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int TOP = 18, LEFT = 20, SPACING = 10, TEXT_WIDTH = 300, LEAST_HEIGHT = 120;

struct Line {
    const char* lead;
    const char* text;
};

const Line LINES[] = {
    {"%2", "opens Ovalin over whatever you’re working on — it already carries the page or screen as context."},
    {"Highlight", "text before or after opening to point it at a specific part."},
    {"Do", "say what should happen and Submit — the work runs in the background and notifies you."},
    {"Ask",
     "chat about what’s on screen; a request made there is carried out right in the thread. The clock reopens past "
     "conversations."},
    {"/stop",
     "type it while Torvi is answering to stop the answer — Esc would close Ovalin instead. The half-finished answer "
     "is kept, and the next question picks the conversation back up."},
    {nullptr, "Closed a chat mid-answer by mistake? It’s in the clock, marked unfinished — open it and carry on."},
    {"Replace",
     "with text highlighted, type an instruction — the text is transformed in place. Nothing highlighted? It becomes "
     "Insert, typing at your cursor. On live websites, Replace edits the site’s source and only appears on pages "
     "whose source lives on this machine — it stays hidden on pages you don’t own."},
    {nullptr, "Esc closes · drag the glass to move it · click the mic to dictate."},
    {nullptr,
     "Ovalin runs on YOUR Claude: install Claude Code (%1) and sign in once — your subscription does the thinking."},
};

QTextCharFormat format(const QFont& font, const QColor& color) {
    QTextCharFormat result;
    result.setFont(font);
    result.setForeground(color);
    return result;
}

// A wrapping line whose lead word stands out.
class LeadLine final : public QLabel {
public:
    LeadLine(const QString& lead, const QString& text, QWidget* parent)
        : QLabel(parent) {
        const QString start = lead.isEmpty() ? QString() : lead + u"  "_s;
        setTextFormat(Qt::PlainText);
        setText(start + text);
        layout.setText(start + text);
        layout.setFont(Brand::font(12, QFont::Light));
        const auto leadLength = static_cast<int>(start.size()), length = static_cast<int>(start.size() + text.size());
        layout.setFormats({{0, leadLength, format(Brand::font(12, QFont::Medium), Palette::ink())},
                           {leadLength, length - leadLength, format(Brand::font(12, QFont::Light), Palette::body())}});
        layout.beginLayout();
        qreal height = 0;
        for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(TEXT_WIDTH);
            line.setPosition({0, height});
            height += line.height();
        }
        layout.endLayout();
        setFixedSize(TEXT_WIDTH, static_cast<int>(std::ceil(height)));
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        layout.draw(&painter, {});
    }

private:
    QTextLayout layout;
};

} // namespace

HowtoPanel::HowtoPanel(const QString& hotkey, const QString& installPage, PanelHost& panelHost)
    : Card(u"How Ovalin works"_s, panelHost)
    , lines(new QScrollArea(this))
    , gotIt(new PillButton(u"Got it"_s, PillButton::Look::Filled, this))
    , announcer(new Announcer(this)) {
    connect(gotIt, &PillButton::clicked, this, &HowtoPanel::dismissed);
    auto* title = new Label(u"How Ovalin works"_s, 14, Palette::ink(), this);
    title->setFont(Brand::signature(14));
    title->setGeometry(LEFT, TOP, TEXT_WIDTH, QFontMetrics(title->font()).height());
    const int top = TOP + title->height() + SPACING;
    auto* page = new QWidget;
    int bottom = -SPACING;
    for (const Line& line : LINES) {
        QString lead = QString::fromUtf8(line.lead), text = QString::fromUtf8(line.text);
        auto* label = new LeadLine(lead.replace(u"%2"_s, hotkey), text.replace(u"%1"_s, installPage), page);
        spoken.append(label->text());
        label->move(0, bottom + SPACING);
        bottom += SPACING + label->height();
    }
    page->setFixedSize(TEXT_WIDTH, bottom);
    dressTextView(*lines);
    lines->setWidget(page);
    page->setAutoFillBackground(false);
    lines->move(LEFT, top);
    gotIt->resize(gotIt->sizeHint());
    fitting = top + bottom + SPACING + gotIt->height() + TOP;
    keepWithin(fitting);
}

void HowtoPanel::keepWithin(int most) {
    setFixedSize(WIDTH, std::max(std::min(fitting, most), LEAST_HEIGHT));
    gotIt->move(LEFT, height() - TOP - gotIt->height());
    lines->resize(TEXT_WIDTH + SlimScrollBar::WIDTH, gotIt->y() - SPACING - lines->y());
}

bool HowtoPanel::eventFilter(QObject* watched, QEvent* event) {
    if (isVisible() && event->type() == QEvent::KeyPress && handleKey(*static_cast<QKeyEvent*>(event)))
        return true;
    return Card::eventFilter(watched, event);
}

bool HowtoPanel::handleKey(const QKeyEvent& event) {
    QScrollBar* const bar = lines->verticalScrollBar();
    if (!entered) {
        enter(event.key() == Qt::Key_Tab && event.modifiers() == Qt::NoModifier);
        return entered;
    }
    switch (event.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
    case Qt::Key_Escape:
        Q_EMIT dismissed();
        return true;
    case Qt::Key_Up:
    case Qt::Key_Down:
        bar->triggerAction(event.key() == Qt::Key_Up ? QScrollBar::SliderSingleStepSub
                                                     : QScrollBar::SliderSingleStepAdd);
        return true;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        bar->triggerAction(event.key() == Qt::Key_PageUp ? QScrollBar::SliderPageStepSub
                                                         : QScrollBar::SliderPageStepAdd);
        return true;
    case Qt::Key_Shift: // on the way to Shift+Tab
        return false;
    default:
        enter(false);
        return false;
    }
}

void HowtoPanel::enter(bool inside) {
    if (entered == inside)
        return;
    entered = inside;
    gotIt->setRinged(inside);
    if (!inside)
        return;
    QAccessibleEvent focused(gotIt, QAccessible::Focus); // no window of ours has the focus: said by hand
    QAccessible::updateAccessibility(&focused);
    for (const QString& line : std::as_const(spoken))
        announcer->say(line);
}

void HowtoPanel::paintEvent(QPaintEvent* event) {
    Card::paintEvent(event);
    QPainter painter(this);
    paintSoftLift(painter, gotIt->geometry(), gotIt->cornerRadius(), gotIt->lift());
}

} // namespace ovalin
