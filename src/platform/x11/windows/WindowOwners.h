#pragma once

#include <QByteArray>

#include <optional>

#include <xcb/res.h>
#include <xcb/xcb.h>

namespace ovalin {

/// Whose a window is: the one place that asks. The server knows the process at the other end of the client's socket
/// (X-Resource 1.2), also that of a sandboxed application, whose _NET_WM_PID is counted in its own namespace. That
/// property serves where the server says nothing and the client runs on this machine. Any thread.
class WindowOwners {
public:
    /// Two round trips. The connection outlives it.
    explicit WindowOwners(xcb_connection_t* connection);

    struct Question {
        xcb_get_property_cookie_t claimed, machine;
        std::optional<xcb_res_query_client_ids_cookie_t> client;
    };
    /// Many may be asked before the first is answered; each is to be answered once.
    [[nodiscard]] Question ask(quint32 window) const;
    /// The process, 0 when it is not known.
    [[nodiscard]] qint32 answer(const Question& question) const;

    [[nodiscard]] qint32 ownerOf(quint32 window) const { return window ? answer(ask(window)) : 0; }

private:
    xcb_connection_t* const connection;
    bool serverKnows = false; // asking an extension that is not there would end the connection
    xcb_atom_t wmPid = XCB_ATOM_NONE;
    QByteArray thisMachine;
};

} // namespace ovalin
