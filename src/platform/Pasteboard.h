#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <mutex>
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
    bool complete = true; ///< false: its owner did not give all that it offers, or nothing at all
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

    /// Text of PRIMARY if a window of process `pid` owns it. Worker threads; at most 150 ms, and 0.9 s more for
    /// a Vim, which is asked whether it still shows it.
    [[nodiscard]] virtual std::optional<QString> primaryText(qint32 pid, Freshness freshness) = 0;

    /// Grows with every change of owner of CLIPBOARD. Any thread, no round trip.
    [[nodiscard]] virtual quint64 changeCount() = 0;

    /// Reads all of CLIPBOARD within a budget of 150 ms and 32 MB, of a picture at least one format; absent when the
    /// budget did not suffice or the owner did not answer: then the clipboard must not be touched, since it could not
    /// be put back. Worker threads.
    [[nodiscard]] virtual std::optional<PasteboardSnapshot> snapshot() = 0;

    /// Reads what can be read of a selection within a second and 64 MB, every format of a picture too; for a paste,
    /// which takes place in any case. Worker threads.
    [[nodiscard]] virtual PasteboardSnapshot save(Selection selection) = 0;

    /// Owns the selection with this text, to be pasted from it, until giveBack() or until somebody else takes it. Only
    /// process `reader` gets it, which is noted; below 1 everybody, as where the X server cannot say who asks. False
    /// when it is not to be had. Worker threads.
    [[nodiscard]] virtual bool borrow(Selection selection, const QString& text, qint32 reader) = 0;

    struct Loan {
        bool ours = false;                                ///< nobody has taken the selection since
        std::optional<std::chrono::milliseconds> readAgo; ///< since the reader last asked for the text and got it
    };
    /// What became of borrow(). Worker threads.
    [[nodiscard]] virtual Loan loan(Selection selection) = 0;

    /// Puts `saved` back in place of the borrowed text, or leaves the selection without an owner when nothing was
    /// saved; with
    /// IfOurs not when somebody else has taken it meanwhile. False when nothing was put back. Worker threads.
    enum class GiveBack { IfOurs, Always };
    virtual bool giveBack(Selection selection, PasteboardSnapshot saved, GiveBack when) = 0;

    /// Held by who puts something of his own on a selection for a moment: two at a time would take each other's text
    /// for the user's.
    std::mutex inUse;

    /// Text of CLIPBOARD. Worker threads; at most 150 ms.
    [[nodiscard]] virtual std::optional<QString> text() = 0;

    /// Before process `pid` (below 1: any) is asked for a copy: what it puts on CLIPBOARD until restore() is for text()
    /// alone. Where the desktop has a way to, that is read at once and `before` is back in the same moment, since
    /// programs that keep a history of the clipboard look into all that they see there. Absent: none is expected any
    /// more. Worker threads.
    virtual void catchCopy(std::optional<PasteboardSnapshot> /*before*/, qint32 /*pid*/) {}

    /// Puts a snapshot back, unless CLIPBOARD is as it was: owns it and serves its items until somebody else takes it.
    /// Worker threads.
    virtual void restore(PasteboardSnapshot snapshot) = 0;

    /// Reads a selection's text for a paste into one of our own fields. Main thread, returns at once; `done` is called
    /// on the main thread unless `context` is gone or there is no text within 500 ms.
    virtual void readText(Selection selection, QObject* context, std::function<void(const QString&)> done) = 0;
};

} // namespace ovalin
