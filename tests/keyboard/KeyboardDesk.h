#pragma once

#include "base/Dispatch.h"
#include "support/TestDesk.h"

#include <QLineEdit>
#include <QWidget>

#include <initializer_list>

struct xcb_connection_t;

namespace ovalin {

/// A second X client in this process, as another program would be one.
class OtherClient {
public:
    OtherClient();
    ~OtherClient();
    OtherClient(const OtherClient&) = delete;
    OtherClient& operator=(const OtherClient&) = delete;

    /// X error code, 0 when it got the key.
    int grabKey(quint8 key, quint16 state);
    void ungrabKey(quint8 key, quint16 state);
    bool grabKeyboard();
    void ungrabKeyboard();

    /// A window in the upper left corner that no window manager sees.
    quint32 showUnmanaged(QSize size);
    void hide(quint32 window);
    /// The window over all others that a compositing manager draws on.
    void showOverlay();
    void hideOverlay();

    /// The key of the keyboard device itself, not of XTEST's own device: as if a finger pressed it.
    void finger(quint8 key, bool down);
    /// Whether the server believes the key to be down.
    bool isDown(quint8 key);

    /// Gives `key` the symbols of `from`, without a change when they are the same.
    void setSymbolsOf(quint8 key, quint32 symbol);

    xcb_connection_t* connection;

private:
    quint8 keyboardDevice = 0;
};

/// A key by its name on the XTEST device.
void tap(const char* name);

/// An application with text in it; opened, it has the focus.
struct Editor {
    QProcess& process;
    QString window;
    [[nodiscard]] qint32 pid() const { return static_cast<qint32>(process.processId()); }
};
enum class Focus { No, Yes };
Editor openEditor(const QString& text, Focus awaited = Focus::Yes);
Editor openTerminal();
QString focusedWindow();
QString activeWindow();
inline QString clipboard(const char* selection = "clipboard") { return desk().selection(selection); }
void setSelection(const char* selection, const QString& text);

/// The panel's shape: unmanaged, unfocused, with a line to type into.
class PanelWindow : public QWidget {
public:
    PanelWindow();
    ~PanelWindow() override;
    QLineEdit line;
};

} // namespace ovalin
