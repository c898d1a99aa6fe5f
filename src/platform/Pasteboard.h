#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace ovalin {

/// Everything that was on the CLIPBOARD selection, target by target, to be served again verbatim.
struct PasteboardSnapshot {
    struct Item {
        QByteArray target;
        QByteArray type;
        int format = 8;
        QByteArray bytes;
    };
    bool owned = false; ///< false: nobody owned it, and restoring gives the ownership up
    std::vector<Item> items;
    quint64 changeCount = 0;
};

/// The X selections CLIPBOARD and PRIMARY, read and served on the X11 thread. Never through QClipboard, which blocks
/// the main thread for seconds when an owner does not answer.
class Pasteboard {
public:
    enum class Selection { Clipboard, Primary };
    enum class Freshness {
        Any,
        SinceLastInput, ///< set at or after the user's last key or button press (window-manager chords and wheels
                        ///< aside)
    };

    virtual ~Pasteboard() = default;

    /// Text of PRIMARY if a window of process `pid` owns it. Worker threads; at most 150 ms.
    [[nodiscard]] virtual std::optional<QString> primaryText(qint32 pid, Freshness freshness) = 0;

    /// Grows with every change of owner of CLIPBOARD. Any thread, no round trip.
    [[nodiscard]] virtual quint64 changeCount() = 0;

    /// Reads all of CLIPBOARD within a budget of 150 ms and 32 MB; absent when the budget did not suffice or the owner
    /// did not answer: then the clipboard must not be touched, since it could not be put back. Worker threads.
    [[nodiscard]] virtual std::optional<PasteboardSnapshot> snapshot() = 0;

    /// Text of CLIPBOARD. Worker threads; at most 150 ms.
    [[nodiscard]] virtual std::optional<QString> text() = 0;

    /// Puts a snapshot back: owns CLIPBOARD and serves its items until somebody else takes it. Worker threads.
    virtual void restore(PasteboardSnapshot snapshot) = 0;

    /// Reads a selection's text for a paste into one of our own fields. Main thread, returns at once; `done` is called
    /// on the main thread unless `context` is gone or there is no text within 500 ms.
    virtual void readText(Selection selection, QObject* context, std::function<void(const QString&)> done) = 0;
};

} // namespace ovalin
