#pragma once

#include <QString>

#include <chrono>
#include <optional>

struct xcb_connection_t;

namespace ovalin {

/// The command server of a Vim with windows of its own (":help clientserver"), which is the only way to put a text into
/// it that is right in every mode. Worker threads.
class VimServer {
public:
    /// Finds the server of the client that made the window, by the root window's VimRegistry; absent when it has none.
    [[nodiscard]] static std::optional<VimServer> of(xcb_connection_t* connection, quint32 window, qint32 pid);

    /// Has it insert the CLIPBOARD at its cursor, or over what is selected, as one change to undo. False, and nothing
    /// happened, when it is in no mode for that, its text cannot be changed, or it does not answer within a second.
    [[nodiscard]] bool pasteClipboard(bool overSelection) const;

    /// Whether something is highlighted in it now. False when it does not say so within 0.9 s.
    [[nodiscard]] bool hasSelection() const;

private:
    [[nodiscard]] QString ask(QString expression, std::chrono::milliseconds limit) const;

    QString program;
    QString name;
};

} // namespace ovalin
