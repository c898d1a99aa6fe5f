#include "Widgets.h"

#include "Brand.h"
#include "Palette.h"

#include "base/Text.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QPixmapCache>
#include <QTextLayout>

using namespace Qt::StringLiterals;

namespace ovalin {

namespace {

constexpr int SHADOW_RADIUS = 7;
constexpr qreal SHADOW_OFFSET = 2.5;
constexpr qreal SHADOW_OPACITY = 0.28;
constexpr qreal DISABLED_OPACITY = 0.45;
const QString BULLET = u"● "_s;
constexpr qsizetype LONGEST_STATUS = 500; // user-perceived characters; two lines show
constexpr qsizetype LONGEST_TIP = 1000;
constexpr int PULSE_MS = 700; // from full to half, and as long back

void softenAlpha(QImage& image, int radius) {
    std::vector<uchar> line;
    const auto soften = [&](uchar* first, qsizetype length, qsizetype step) {
        line.resize(static_cast<size_t>(length));
        for (qsizetype i = 0; i < length; ++i)
            line[static_cast<size_t>(i)] = first[i * step];
        const auto at = [&](qsizetype i) { return i >= 0 && i < length ? line[static_cast<size_t>(i)] : 0; };
        int sum = 0;
        for (qsizetype i = 0; i < radius; ++i)
            sum += at(i);
        for (qsizetype i = 0; i < length; ++i) {
            sum += at(i + radius);
            first[i * step] = static_cast<uchar>(sum / (2 * radius + 1));
            sum -= at(i - radius);
        }
    };
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < image.height(); ++y)
            soften(image.scanLine(y), image.width(), 1);
        for (int x = 0; x < image.width(); ++x)
            soften(image.bits() + x, image.height(), image.bytesPerLine());
    }
}

// The shadow of a rounded rectangle, with what lies under the rectangle itself cut out: soft buttons are translucent.
QPixmap makeShadow(QSizeF size, qreal radius, qreal strength, qreal ratio) {
    constexpr int MARGIN = 2 * SHADOW_RADIUS;
    const QSizeF whole(size.width() + 2 * MARGIN, size.height() + 2 * MARGIN);
    QImage shape((whole * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    shape.fill(Qt::transparent);
    const QRectF button(MARGIN, MARGIN, size.width(), size.height());
    {
        QPainter painter(&shape);
        painter.scale(ratio, ratio);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(button.translated(0, SHADOW_OFFSET), radius, radius);
    }
    QImage alpha = shape.convertToFormat(QImage::Format_Alpha8);
    softenAlpha(alpha, std::max(1, qRound(SHADOW_RADIUS * ratio / 3)));
    shape.fill(QColor::fromRgbF(0, 0, 0, static_cast<float>(SHADOW_OPACITY * strength)));
    {
        QPainter painter(&shape);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
        painter.drawImage(0, 0, alpha);
        painter.scale(ratio, ratio);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(button.adjusted(.5, .5, -.5, -.5), radius, radius);
    }
    shape.setDevicePixelRatio(ratio);
    return QPixmap::fromImage(shape);
}

void strokePen(QPainter& painter, const QColor& color, qreal width) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

} // namespace

void paintSoftLift(QPainter& painter, QRectF button, qreal radius, qreal strength) {
    if (strength <= 0)
        return;
    const qreal ratio = painter.device()->devicePixelRatioF();
    const QString key =
        u"lift-%1x%2-%3-%4-%5"_s.arg(button.width()).arg(button.height()).arg(radius).arg(strength).arg(ratio);
    QPixmap shadow;
    if (!QPixmapCache::find(key, &shadow)) {
        shadow = makeShadow(button.size(), radius, strength, ratio);
        QPixmapCache::insert(key, shadow);
    }
    painter.drawPixmap(button.topLeft() - QPointF(2 * SHADOW_RADIUS, 2 * SHADOW_RADIUS), shadow);
}

Label::Label(const QString& text, qreal size, const QColor& color, QWidget* parent)
    : QLabel(text, parent) {
    setFont(Brand::font(size, QFont::Normal));
    setTextFormat(Qt::PlainText);
    QPalette colors = palette();
    colors.setColor(QPalette::WindowText, color);
    setPalette(colors);
    setFocusPolicy(Qt::NoFocus);
}

void Label::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter,
                     fontMetrics().elidedText(text(), Qt::ElideRight, width()));
}

void paintFill(QPainter& painter, QRectF area, const QColor& fill) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(area, innerRadius, innerRadius);
    painter.setPen(QPen(Palette::colors().edge, 1));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(.5, .5, -.5, -.5), innerRadius - .5, innerRadius - .5);
}

void paintFocus(QPainter& painter, QRectF area) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Palette::accent(), 1.5));
    painter.drawRoundedRect(area.adjusted(.75, .75, -.75, -.75), innerRadius, innerRadius);
}

QString plainToolTip(const QString& text) {
    return text.isEmpty() ? QString() : u"<qt>%1</qt>"_s.arg(onOneLine(text, LONGEST_TIP).toHtmlEscaped());
}

StatusLine::StatusLine(QWidget* parent)
    : Label(QString(), 10, Palette::ink(), parent) {
    setAccessibleName(u"Status"_s);
}

void StatusLine::setStatus(const QString& text) { show(text, true); }
void StatusLine::setNote(const QString& text) { show(text, false); }

void StatusLine::show(const QString& words, bool withBullet) {
    const QString text = onOneLine(words, LONGEST_STATUS); // some of them are those of other programs
    message = text;
    bullet = withBullet;
    setText(text.isEmpty() || !bullet ? text : BULLET + text);
    setToolTip(plainToolTip(text));
    setAccessibleDescription(text); // its name is for scripts; a screen reader hears it from the Announcer
}

void StatusLine::paintEvent(QPaintEvent*) {
    if (message.isEmpty())
        return;
    QPainter painter(this);
    QTextLayout layout(text(), font());
    layout.setFormats({{0, bullet ? static_cast<int>(BULLET.size()) : 0, [] {
                            QTextCharFormat format;
                            format.setForeground(Palette::accent());
                            return format;
                        }()}});
    layout.beginLayout();
    QTextLine first = layout.createLine();
    first.setLineWidth(width());
    QTextLine second = layout.createLine();
    layout.endLayout();
    const qreal lineHeight = fontMetrics().height();
    const qreal total = second.isValid() ? 2 * lineHeight : lineHeight;
    const qreal top = (height() - total) / 2;
    painter.setPen(palette().color(QPalette::WindowText));
    first.draw(&painter, QPointF(0, top));
    if (second.isValid())
        painter.drawText(QRectF(0, top + lineHeight, width(), lineHeight), Qt::AlignLeft | Qt::AlignVCenter,
                         fontMetrics().elidedText(text().mid(second.textStart()), Qt::ElideRight, width()));
}

FlushButton::FlushButton(const QString& name, const QString& toolTip, QWidget* parent)
    : QAbstractButton(parent) {
    setAccessibleName(name);
    setToolTip(toolTip);
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
}

qreal FlushButton::cornerRadius() const { return innerRadius; }

void FlushButton::enterEvent(QEnterEvent*) { update(); }
void FlushButton::leaveEvent(QEvent*) { update(); }

void FlushButton::setRinged(bool isRinged) {
    ringed = isRinged;
    update();
}

QColor FlushButton::reacting(const QColor& color) const {
    if (!isEnabled())
        return color;
    if (color == Palette::amethyst()) // darker, so that its title stays readable
        return isDown() ? color.darker(115) : underMouse() ? color.darker(106) : color;
    return isDown() ? Palette::colors().pressed : underMouse() ? Palette::colors().hover : color;
}

void FlushButton::paintGround(QPainter& painter, QRectF face, const QColor& color) const {
    painter.setPen(Qt::NoPen);
    painter.setBrush(reacting(color));
    painter.drawRoundedRect(face, cornerRadius(), cornerRadius());
    painter.setBrush(Qt::NoBrush);
    painter.setPen(Palette::colors().outline);
    painter.drawRoundedRect(face.adjusted(.5, .5, -.5, -.5), cornerRadius() - .5, cornerRadius() - .5);
}

void FlushButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isEnabled())
        painter.setOpacity(DISABLED_OPACITY);
    paintFace(painter, QRectF(rect()));
    if (hasFocus() || ringed) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(Palette::accent(), 1.5));
        const qreal radius = cornerRadius() - 1;
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), radius, radius);
        painter.setPen(QPen(Palette::onAmethyst(), 1));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.25, 2.25, -2.25, -2.25), radius - 1, radius - 1);
    }
}

PillButton::PillButton(const QString& title, Look theLook, QWidget* parent)
    : FlushButton(title, QString(), parent)
    , look(theLook) {
    setFont(Brand::font(13, QFont::Medium));
    setText(title);
}

void PillButton::setTitle(const QString& title) {
    if (text() == title)
        return;
    setText(title);
    setAccessibleName(title);
    updateGeometry();
}

QSize PillButton::sizeHint() const { return {std::max(72, fontMetrics().horizontalAdvance(text()) + 24), 26}; }

qreal PillButton::lift() const { return look == Look::Filled ? 1.0 : 0.45; }

void PillButton::paintFace(QPainter& painter, QRectF face) {
    paintGround(painter, face, look == Look::Filled ? Palette::amethyst() : Palette::fillSoft());
    painter.setPen(look == Look::Filled ? Palette::onAmethyst() : Palette::body());
    painter.drawText(face, Qt::AlignCenter, text());
}

GlyphButton::GlyphButton(Glyph theGlyph, const QString& name, const QString& toolTip, QWidget* parent)
    : FlushButton(name, toolTip, parent)
    , glyph(theGlyph)
    , tint(Palette::muted())
    , ground(Palette::fillSoft()) {
    const int side = glyph == Glyph::Mic ? 32 : 20;
    setFixedSize(side, side);
}

void GlyphButton::setTint(const QColor& color) {
    tint = color;
    update();
}

void GlyphButton::setGround(const QColor& color) {
    ground = color;
    update();
}

void GlyphButton::setListening(bool listening) {
    setCheckable(true);
    setChecked(listening);
    setGround(listening ? Palette::amethyst() : Palette::fillSoft());
    setTint(listening ? Palette::onAmethyst() : Palette::muted());
    if (!listening) {
        delete std::exchange(pulse, nullptr);
        return;
    }
    if (pulse || !pulses)
        return;
    pulse = new QVariantAnimation(this);
    pulse->setDuration(2 * PULSE_MS);
    pulse->setStartValue(1.0);
    pulse->setKeyValueAt(.5, .5);
    pulse->setEndValue(1.0);
    pulse->setLoopCount(-1);
    connect(pulse, &QVariantAnimation::valueChanged, this, [this] { update(); });
    pulse->start();
}

qreal GlyphButton::cornerRadius() const { return glyph == Glyph::Mic ? innerRadius : 10; }

void GlyphButton::paintFace(QPainter& painter, QRectF face) {
    painter.save();
    if (pulse)
        painter.setOpacity(pulse->currentValue().toReal());
    paintGround(painter, face, ground);
    const QColor stroke = tint == Palette::muted() && underMouse() ? Palette::ink() : tint;
    painter.translate(face.center());
    switch (glyph) {
    case Glyph::Mic:
        painter.setBrush(stroke);
        painter.drawRoundedRect(QRectF(-2.7, -7.2, 5.4, 9.6), 2.7, 2.7);
        strokePen(painter, stroke, 1.4);
        painter.drawArc(QRectF(-5, -5, 10, 10), 190 * 16, 160 * 16);
        painter.drawLine(QPointF(0, 5), QPointF(0, 7.4));
        painter.drawLine(QPointF(-2.4, 7.4), QPointF(2.4, 7.4));
        break;
    case Glyph::History:
        strokePen(painter, stroke, 1.2);
        painter.drawArc(QRectF(-4.6, -4.6, 9.2, 9.2), 165 * 16, -315 * 16);
        painter.drawPolyline(QPolygonF({{-6.1, -1.9}, {-4.5, -.2}, {-2.6, -1.5}}));
        painter.drawPolyline(QPolygonF({{0, -2.6}, {0, .2}, {1.9, 1.3}}));
        break;
    case Glyph::Requests: // a list with ticks
        strokePen(painter, stroke, 1.2);
        for (const qreal y : {-3.4, 0.0, 3.4}) {
            painter.drawLine(QPointF(-1.6, y), QPointF(4.6, y));
            painter.drawPolyline(QPolygonF({{-5, y}, {-4.2, y + .8}, {-3, y - .9}}));
        }
        break;
    case Glyph::Back:
        strokePen(painter, stroke, 1.4);
        painter.drawPolyline(QPolygonF({{1.6, -3.6}, {-2, 0}, {1.6, 3.6}}));
        break;
    case Glyph::Remove:
        strokePen(painter, stroke, 1.2);
        painter.drawLine(QPointF(-2.8, -2.8), QPointF(2.8, 2.8));
        painter.drawLine(QPointF(-2.8, 2.8), QPointF(2.8, -2.8));
        break;
    case Glyph::Help:
        painter.setFont(Brand::font(11, QFont::Normal));
        painter.setPen(stroke);
        painter.drawText(QRectF(-10, -10, 20, 20), Qt::AlignCenter, u"?"_s);
        break;
    }
    painter.restore();
}

} // namespace ovalin
