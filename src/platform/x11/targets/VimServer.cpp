#include "VimServer.h"

#include "base/children/ChildProcess.h"
#include "platform/x11/RootWindow.h"
#include "platform/x11/XReply.h"

#include <QFile>

#include <xcb/xcb.h>

namespace ovalin {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds PASTE_LIMIT{1000};
constexpr std::chrono::milliseconds LOOK_LIMIT{900};
constexpr quint32 MOST_OF_REGISTRY = 16384; // 32-bit units

QByteArray registry(xcb_connection_t* connection) {
    const QByteArray name("VimRegistry");
    const XReply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.constData()), nullptr));
    if (!atom || atom->atom == XCB_ATOM_NONE)
        return {};
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection,
        xcb_get_property(connection, 0, rootWindow(connection), atom->atom, XCB_ATOM_STRING, 0, MOST_OF_REGISTRY),
        nullptr));
    if (!reply || reply->format != 8)
        return {};
    return {static_cast<const char*>(xcb_get_property_value(reply.get())), xcb_get_property_value_length(reply.get())};
}

// The keys go past mappings, and the text past automatic indenting. What a mode does not name refuses.
const char* const AT_CURSOR = R"(!&modifiable || &readonly ? 'locked'
 : mode(1) ==# 'i' ? feedkeys("\<C-G>u\<C-R>\<C-O>+\<C-G>u", 'n')
 : mode(1) ==# 'n' ? feedkeys("i\<C-R>\<C-O>+\<Esc>", 'n') : 'busy')";
const char* const OVER_SELECTION = R"(!&modifiable || &readonly ? 'locked'
 : mode(1) =~# '^[vV]$' ? feedkeys("\"_c\<C-R>\<C-O>+\<Esc>", 'n')
 : mode(1) =~# '^[sS]$' ? feedkeys("\<C-G>\"_c\<C-R>\<C-O>+", 'n') : 'busy')";

} // namespace

std::optional<VimServer> VimServer::of(xcb_connection_t* connection, quint32 window, qint32 pid) {
    const quint32 client = ~xcb_get_setup(connection)->resource_id_mask;
    // Each entry: the server's window in hexadecimal, a blank, its name.
    for (const QByteArray& entry : registry(connection).split('\0')) {
        bool number = false;
        const quint32 server = entry.left(entry.indexOf(' ')).toUInt(&number, 16);
        if (!number || (server & client) != (window & client))
            continue;
        VimServer vim;
        vim.program = QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid));
        vim.name = QString::fromLocal8Bit(entry.mid(entry.indexOf(' ') + 1));
        return vim.program.isEmpty() ? std::nullopt : std::optional(vim);
    }
    return {};
}

bool VimServer::pasteClipboard(bool overSelection) const {
    // feedkeys() answers 0.
    return ask(QString::fromLatin1(overSelection ? OVER_SELECTION : AT_CURSOR), PASTE_LIMIT) == QLatin1String("0");
}

bool VimServer::hasSelection() const { return ask(u"mode(1) =~# '^[vVsS]$'"_s, LOOK_LIMIT) == QLatin1String("1"); }

QString VimServer::ask(QString expression, std::chrono::milliseconds limit) const {
    RunOptions options;
    options.deadline = limit;
    return runToEnd(
               {program,
                {u"-u"_s, u"NONE"_s, u"--servername"_s, name, u"--remote-expr"_s, expression.remove(QLatin1Char('\n'))},
                {},
                {}},
               options)
        .text();
}

} // namespace ovalin
