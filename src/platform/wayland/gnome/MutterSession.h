#pragma once

#include "base/Descriptor.h"
#include "platform/Pasteboard.h"
#include "platform/dbus/Bus.h"
#include "platform/wayland/thread/KeySender.h"

#include <QByteArrayList>
#include <QDBusMessage>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <optional>
#include <vector>

namespace ovalin {

/// GNOME Shell's interface for remote desktops (org.gnome.Mutter.RemoteDesktop), the one that gives keys and the
/// clipboard to a program without a window. It shows a sign while a session is open; so one is opened when it is
/// needed, and ends a moment after. What the clipboard has then stays there, as its text or its picture alone, since
/// the shell keeps those. Lives on a bus thread, where all of this is called.
class MutterSession final : public QObject {
    Q_OBJECT

public:
    using Content = std::vector<PasteboardSnapshot::Item>;
    using Time = std::chrono::steady_clock::time_point;

    explicit MutterSession(const QString& busAddress);
    ~MutterSession() override;

    /// Whether the shell has such an interface. Opens none.
    [[nodiscard]] bool offered();
    /// What the clipboard has is known with the next call.
    bool open();

    struct Clipboard {
        QByteArrayList types; ///< empty: nothing is there
        bool ours = false;
        std::optional<Time> lastRead; ///< of ours
    };
    [[nodiscard]] const Clipboard& clipboard() const { return shown; }
    /// Where the content comes out; none: it is not to be had. False of the others: there is no session.
    [[nodiscard]] Descriptor read(const QByteArray& type);
    bool own(Content content);
    /// Types into what has the keyboard.
    bool press(const std::vector<WaylandChord>& chords);

private Q_SLOTS:
    void ownerChanged(const QDBusMessage& message);
    void transfer(const QString& type, uint serial);

private:
    void end();
    [[nodiscard]] QDBusMessage call(const QString& method, const QVariantList& arguments = {});
    void key(uint symbol, bool down);

    const QString address;
    std::optional<BusConnection> bus;
    QString path; // of the session; empty: there is none
    QTimer ending{this};
    Clipboard shown;
    Content content; // that is ours
};

} // namespace ovalin
