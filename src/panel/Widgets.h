#pragma once

#include <QAbstractButton>
#include <QLabel>
#include <QVariantAnimation>

namespace ovalin {

/// Paints the soft shadow of a button under it; called by the parent, since a widget cannot paint outside itself.
/// `strength` is the opacity of what casts the shadow.
void paintSoftLift(QPainter& painter, QRectF button, qreal radius, qreal strength);

/// Paints the ground of a field: the hairline keeps its edge visible where the glass is as light as the fill.
void paintFill(QPainter& painter, QRectF area, const QColor& fill);
/// Around a field that has the focus.
void paintFocus(QPainter& painter, QRectF area);

/// A tool tip that wraps and shows the text as it is: Qt would take what looks like markup for markup.
[[nodiscard]] QString plainToolTip(const QString& text);

/// A one-line label in Brand's regular weight, cut at its tail when there is too little room.
class Label : public QLabel {
    Q_OBJECT
public:
    Label(const QString& text, qreal size, const QColor& color, QWidget* parent);

protected:
    void paintEvent(QPaintEvent*) override;
};

/// The panel's hint line: a bullet in amethyst and a short text in ink; two lines at most, the whole text as tool tip.
class StatusLine final : public Label {
    Q_OBJECT
public:
    explicit StatusLine(QWidget* parent);

    /// Shows a status message; an empty text clears the line.
    void setStatus(const QString& text);
    /// Shows plain text without the bullet; an empty text clears the line.
    void setNote(const QString& text);
    [[nodiscard]] const QString& status() const { return message; }

protected:
    void paintEvent(QPaintEvent*) override;

private:
    void show(const QString& text, bool withBullet);

    QString message;
    bool bullet = true;
};

/// What every button shares: it paints itself, takes the focus only by Tab, and says where a shadow belongs.
class FlushButton : public QAbstractButton {
    Q_OBJECT
public:
    FlushButton(const QString& name, const QString& toolTip, QWidget* parent);

    /// Opacity of the shadow under the button; 0 for none.
    [[nodiscard]] virtual qreal lift() const { return 0; }
    [[nodiscard]] virtual qreal cornerRadius() const;

    /// Shows the ring of the focus in a window that never has it.
    void setRinged(bool isRinged);

protected:
    void paintEvent(QPaintEvent*) override;
    void enterEvent(QEnterEvent*) override;
    void leaveEvent(QEvent*) override;

    virtual void paintFace(QPainter& painter, QRectF face) = 0;
    /// The face itself, in `color` or what that becomes under the pointer and while pressed.
    void paintGround(QPainter& painter, QRectF face, const QColor& color) const;

private:
    [[nodiscard]] QColor reacting(const QColor& color) const;

    bool ringed = false;
};

/// A button with a title: filled in amethyst, or soft.
class PillButton final : public FlushButton {
    Q_OBJECT
public:
    enum class Look { Filled, Soft };
    PillButton(const QString& title, Look look, QWidget* parent);

    void setTitle(const QString& title);
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] qreal lift() const override;

protected:
    void paintFace(QPainter& painter, QRectF face) override;

private:
    Look look;
};

/// A button with a drawn glyph: the mic is 32 x 32, all others 20 x 20.
class GlyphButton final : public FlushButton {
    Q_OBJECT
public:
    enum class Glyph { Mic, History, Help, Requests, Back, Remove };
    GlyphButton(Glyph glyph, const QString& name, const QString& toolTip, QWidget* parent);

    void setTint(const QColor& color);
    /// The ground under the glyph; Palette::fillSoft() to begin with.
    void setGround(const QColor& color);
    /// The mic's two states: listening (filled, its glyph white, pulsing, and checked to a screen reader), or idle.
    void setListening(bool listening);
    /// False: listening does not pulse.
    void setPulses(bool may) { pulses = may; }
    [[nodiscard]] qreal cornerRadius() const override;

protected:
    void paintFace(QPainter& painter, QRectF face) override;
    void nextCheckState() override {} ///< a click asks for the other state; who is asked decides

private:
    Glyph glyph;
    QColor tint;
    QColor ground;
    bool pulses = true;
    QVariantAnimation* pulse = nullptr;
};

} // namespace ovalin
