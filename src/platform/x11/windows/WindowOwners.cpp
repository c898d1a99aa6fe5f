#include "WindowOwners.h"

#include "platform/x11/XProperty.h"
#include "platform/x11/XReply.h"

#include <QString>
#include <QSysInfo>

namespace ovalin {

namespace {

bool knowsClients(xcb_connection_t* connection) {
    const auto* extension = xcb_get_extension_data(connection, &xcb_res_id);
    if (!extension || !extension->present)
        return false;
    const XReply<xcb_res_query_version_reply_t> version(
        xcb_res_query_version_reply(connection, xcb_res_query_version(connection, 1, 2), nullptr));
    return version && (version->server_major > 1 || version->server_minor >= 2);
}

qint32 localPid(xcb_res_query_client_ids_reply_t* reply) {
    if (!reply)
        return 0;
    for (auto it = xcb_res_query_client_ids_ids_iterator(reply); it.rem; xcb_res_client_id_value_next(&it)) {
        if ((it.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) && it.data->length >= sizeof(quint32))
            return static_cast<qint32>(*xcb_res_client_id_value_value(it.data));
    }
    return 0;
}

} // namespace

WindowOwners::WindowOwners(xcb_connection_t* theConnection)
    : connection(theConnection)
    , serverKnows(knowsClients(theConnection))
    , thisMachine(QSysInfo::machineHostName().toLocal8Bit()) {
    constexpr const char* NAMES[] = {"_NET_WM_PID"};
    wmPid = internAtoms(connection, NAMES).front();
}

WindowOwners::Question WindowOwners::ask(quint32 window) const {
    Question question{
        askProperty(connection, window, wmPid), askProperty(connection, window, XCB_ATOM_WM_CLIENT_MACHINE), {}};
    const xcb_res_client_id_spec_t spec{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    if (serverKnows)
        question.client = xcb_res_query_client_ids(connection, 1, &spec);
    return question;
}

qint32 WindowOwners::answer(const Question& question) const {
    const auto claimed = static_cast<qint32>(takeWord(connection, question.claimed));
    const QByteArray machine = takeBytes(connection, question.machine);
    if (question.client) {
        const XReply<xcb_res_query_client_ids_reply_t> reply(
            xcb_res_query_client_ids_reply(connection, *question.client, nullptr));
        if (const qint32 pid = localPid(reply.get()); pid > 0)
            return pid;
    }
    const bool here = machine == thisMachine || (machine.isEmpty() && !serverKnows);
    return here && claimed > 0 ? claimed : 0;
}

} // namespace ovalin
