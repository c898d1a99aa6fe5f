#pragma once

#include "Widgets.h"

namespace ovalin {

/// One segment of the mode control.
class ModeSegment final : public FlushButton {
    Q_OBJECT
public:
    ModeSegment(const QString& title, const QString& toolTip, QWidget* parent);
    void setSelected(bool isSelected);
    [[nodiscard]] qreal lift() const override { return selected ? 1.0 : 0; }
    [[nodiscard]] qreal cornerRadius() const override;

protected:
    void paintFace(QPainter& painter, QRectF face) override;

private:
    bool selected = false;
};

/// The Do/Ask switch. It shows the mode; who sets it decides.
class ModeControl final : public QWidget {
    Q_OBJECT
public:
    explicit ModeControl(QWidget* parent);
    void showMode(bool ask);

    ModeSegment* const modeSegDo;
    ModeSegment* const modeSegAsk;

protected:
    void paintEvent(QPaintEvent*) override;
};

} // namespace ovalin
