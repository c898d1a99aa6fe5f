#pragma once

#include <QObject>
#include <QPointer>

#include <functional>

class QKeyEvent;
class QWidget;

namespace ovalin {

class CapturePanel;

/// The keys of a card. The capture panel keeps the keyboard; as an event filter of its window this offers the card each
/// key. Only when the user goes into the card, by Tab or a click into a field of it, do all keys go there, until they
/// leave it.
class CardKeys final : public QObject {
    Q_OBJECT
public:
    /// `offered`: a key that may operate the card; false: it does not.
    CardKeys(QWidget& card, std::function<bool(const QKeyEvent&)> offered);

    /// From now on until giveBack(). The card is shown.
    void takeFrom(CapturePanel& panel);
    void giveBack();

    /// Gives all keys to this child of the card.
    void enter(QWidget* child);
    /// All keys are the panel's again.
    void leave();
    [[nodiscard]] bool areIn() const { return entered; }
    /// Whose keys these are; absent when nobody's.
    [[nodiscard]] CapturePanel* panel() const { return lender; }

Q_SIGNALS:
    void enteredChild(QWidget* child);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool pressed(QKeyEvent& event);
    bool walk(bool forward);
    [[nodiscard]] QList<QWidget*> stops() const;

    QWidget& card;
    const std::function<bool(const QKeyEvent&)> offered;
    QPointer<CapturePanel> lender;
    QPointer<QWidget> prompt; ///< gets what the input method composes
    bool entered = false;
};

} // namespace ovalin
