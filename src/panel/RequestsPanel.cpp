#include "RequestsPanel.h"

#include "Brand.h"
#include "Palette.h"
#include "SlimScrollBar.h"

#include "base/Text.h"

#include <QKeyEvent>
#include <QPainter>
#include <QTextBlock>
#include <QTextEdit>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

const QString TITLE = u"Requests"_s;
constexpr qsizetype LONGEST_LEAD = 500;
constexpr qsizetype LONGEST_PART = 20'000; // user-perceived characters of what other tools may have written
constexpr int DETAIL_HEIGHT = 380, GAP = 8, PILL = 26, STATUS_HEIGHT = 26;

/// "working · Mousepad · what came of it"
QString noteOf(const PastRequest& request) {
    QStringList parts{request.stateName, request.app, request.summary};
    parts.removeAll(QString());
    return parts.join(u" · "_s);
}

void addPart(QTextCursor& cursor, const QString& lead, const QString& words) {
    if (words.isEmpty())
        return;
    QTextCharFormat strong, plain;
    strong.setFont(Brand::font(11, QFont::Medium));
    strong.setForeground(Palette::ink());
    plain.setFont(Brand::font(12, QFont::Light));
    plain.setForeground(Palette::body());
    QTextBlockFormat spaced, close;
    spaced.setTopMargin(cursor.position() > 0 ? GAP : 0);
    if (cursor.position() > 0)
        cursor.insertBlock();
    cursor.setBlockFormat(spaced);
    cursor.insertText(onOneLine(lead, LONGEST_LEAD), strong);
    cursor.insertBlock(close);
    const QString first = firstCharacters(words, LONGEST_PART);
    cursor.insertText(inPlainLines(first) + (first.size() < words.size() ? u"…"_s : QString()), plain);
}

} // namespace

RequestsPanel::RequestsPanel(Pasteboard& pasteboard, PanelHost& panelHost)
    : ListCard(TITLE, u"No requests yet."_s, pasteboard, panelHost)
    , back(new GlyphButton(GlyphButton::Glyph::Back, u"All requests"_s, u"All requests (Escape)"_s, this))
    , text(new QTextEdit(this))
    , status(new StatusLine(this))
    , putBack(addButton(u"Put words back"_s, &RequestsPanel::putBackTapped))
    , runAgain(addButton(u"Run again"_s, &RequestsPanel::runAgainTapped, u"Really run?"_s))
    , stop(addButton(u"Stop"_s, &RequestsPanel::stopTapped, u"Really stop?"_s))
    , queueFile(addButton(u"Queue file"_s, &RequestsPanel::queueFileTapped))
    , log(addButton(u"Log"_s, &RequestsPanel::logTapped)) {
    back->move(INSET, INSET - 1);
    connect(back, &GlyphButton::clicked, this, &RequestsPanel::showRequests);
    dressTextView(*text);
    text->setReadOnly(true);
    text->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn); // the right inset: it shows only what can be scrolled
    text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    text->setAccessibleName(u"Request"_s);
    text->document()->setDocumentMargin(0);
    showRequests();
}

PillButton* RequestsPanel::addButton(const QString& title, void (RequestsPanel::*tapped)(), const QString& question) {
    auto* pill = new PillButton(title, PillButton::Look::Soft, this);
    const qsizetype index = buttons.size();
    buttons.append({pill, title, question});
    connect(pill, &PillButton::clicked, this, [this, index, tapped] {
        const Button pressed = buttons[index];
        const bool ask = !pressed.question.isEmpty() && pressed.pill->text() == pressed.title;
        unask();
        if (ask) {
            pressed.pill->setTitle(pressed.question);
            announce(pressed.question);
            layOut();
        } else {
            Q_EMIT(this->*tapped)();
        }
    });
    return pill;
}

void RequestsPanel::unask() {
    for (const Button& button : std::as_const(buttons))
        button.pill->setTitle(button.title);
    layOut();
}

void RequestsPanel::setRequests(const PastRequests& requests) {
    QList<ListItem> items;
    for (const PastRequest& each : requests.newest)
        items.append({each.id, each.words, each.age, noteOf(each), each.state == PastRequest::State::Working});
    setItems(items, !requests.trouble.isEmpty() ? requests.trouble
                    : requests.more > 0         ? u"and %L1 more"_s.arg(requests.more)
                                                : QString());
}

void RequestsPanel::showDetail(const RequestDetail& detail) {
    const bool another = openId() != detail.request.id;
    if (!another && *open == detail)
        return;
    const int scrolled = another ? 0 : text->verticalScrollBar()->value();
    open = detail;
    const PastRequest& request = detail.request;
    text->clear();
    QTextCursor cursor(text->document());
    addPart(cursor,
            noteOf({{}, {}, {}, request.app, request.state, request.stateName, {}, {}}) +
                (request.age.isEmpty() ? QString() : u" · "_s + request.age),
            detail.prompt.isEmpty() ? u"(no words of its own)"_s : detail.prompt);
    addPart(cursor, u"Result"_s, detail.summary);
    addPart(cursor, u"About"_s, detail.place);
    addPart(cursor, u"Selected text"_s, detail.excerpt);
    addPart(cursor, u"Log"_s, detail.log);
    text->verticalScrollBar()->setValue(scrolled);
    runAgain->setEnabled(request.ours);
    stop->setVisible(request.state == PastRequest::State::Working);
    queueFile->setEnabled(!detail.queueFile.isEmpty());
    if (!another) {
        layOut();
        update();
        return;
    }
    for (QWidget* part : {static_cast<QWidget*>(back), static_cast<QWidget*>(text), static_cast<QWidget*>(status),
                          static_cast<QWidget*>(putBack), static_cast<QWidget*>(runAgain),
                          static_cast<QWidget*>(queueFile), static_cast<QWidget*>(log)})
        part->show();
    status->setStatus({});
    setHeading(u"Request"_s, INSET + back->width() + GAP);
    showList(false, DETAIL_HEIGHT);
    unask();
    update();
}

void RequestsPanel::showRequests() {
    open.reset();
    for (QWidget* part : {static_cast<QWidget*>(back), static_cast<QWidget*>(text), static_cast<QWidget*>(status)})
        part->hide();
    for (const Button& button : std::as_const(buttons))
        button.pill->hide();
    setHeading(TITLE, INSET);
    showList(true);
    update();
}

void RequestsPanel::say(const QString& words) { status->setStatus(words); }

void RequestsPanel::layOut() {
    const int second = height() - INSET - PILL, first = second - GAP - PILL;
    int x = INSET;
    for (PillButton* pill : {putBack, runAgain, stop}) {
        pill->setGeometry(QRect(QPoint(x, first), pill->sizeHint()));
        x += pill->isHidden() ? 0 : pill->width() + GAP;
    }
    x = INSET;
    for (PillButton* pill : {queueFile, log}) {
        pill->setGeometry(QRect(QPoint(x, second), pill->sizeHint()));
        x += pill->width() + GAP;
    }
    status->setGeometry(x, second, WIDTH - INSET - x, STATUS_HEIGHT);
    text->setGeometry(INSET, listTop() - 4, WIDTH - INSET - 4, first - GAP - listTop() + 4);
    update();
}

bool RequestsPanel::handleKey(const QKeyEvent& event) {
    if (!open)
        return ListCard::handleKey(event);
    if (event.key() != Qt::Key_Escape || event.modifiers())
        return false;
    showRequests();
    leave();
    return true;
}

void RequestsPanel::paintEvent(QPaintEvent* event) {
    ListCard::paintEvent(event);
    if (!open)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Button& button : std::as_const(buttons)) {
        if (button.pill->isVisible())
            paintSoftLift(painter, button.pill->geometry(), button.pill->cornerRadius(), button.pill->lift());
    }
}

} // namespace ovalin
