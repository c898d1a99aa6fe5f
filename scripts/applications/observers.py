"""What the desktop hears of the program: its notifications, and the keys that it sends."""
import threading
import time

from gi.repository import Gio, GLib
from Xlib import display as xdisplay
from Xlib.error import ConnectionClosedError
from Xlib.ext import record


class Notices:
    """The notification service of the desktop: keeps what it is told, and presses its buttons."""
    XML = """<node><interface name="org.freedesktop.Notifications">
      <method name="GetCapabilities"><arg direction="out" type="as"/></method>
      <method name="GetServerInformation"><arg direction="out" type="s"/><arg direction="out" type="s"/>
        <arg direction="out" type="s"/><arg direction="out" type="s"/></method>
      <method name="CloseNotification"><arg direction="in" type="u"/></method>
      <method name="Notify"><arg direction="in" type="s"/><arg direction="in" type="u"/><arg direction="in" type="s"/>
        <arg direction="in" type="s"/><arg direction="in" type="s"/><arg direction="in" type="as"/>
        <arg direction="in" type="a{sv}"/><arg direction="in" type="i"/><arg direction="out" type="u"/></method>
      <signal name="ActionInvoked"><arg type="u"/><arg type="s"/></signal></interface></node>"""
    PATH, NAME = "/org/freedesktop/Notifications", "org.freedesktop.Notifications"

    def __init__(self, address):
        self.shown = []  # (time, summary, body, actions)
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self.bus.register_object(self.PATH, Gio.DBusNodeInfo.new_for_xml(self.XML).interfaces[0], self.called, None, None)
        Gio.bus_own_name_on_connection(self.bus, self.NAME, Gio.BusNameOwnerFlags.NONE, None, None)
        threading.Thread(target=GLib.MainLoop().run, daemon=True).start()

    def called(self, _bus, _sender, _path, _interface, method, arguments, call):
        answer = None
        if method == "Notify":
            values = arguments.unpack()
            self.shown.append((time.monotonic(), values[3], values[4], values[5]))
            answer = GLib.Variant("(u)", (len(self.shown),))
        elif method == "GetCapabilities":
            answer = GLib.Variant("(as)", (["body", "actions"],))
        elif method == "GetServerInformation":
            answer = GLib.Variant("(ssss)", ("recorder", "none", "1", "1.2"))
        call.return_value(answer)

    def press(self, number, action):
        self.bus.emit_signal(None, self.PATH, self.NAME, "ActionInvoked", GLib.Variant("(us)", (number, action)))


class SentKeys(threading.Thread):
    """Every key that a client other than the driver has faked: what the program sends to applications."""

    def __init__(self, name, drivers):
        super().__init__(daemon=True)
        self.display, self.drivers, self.seen = xdisplay.Display(name), drivers, []
        major = self.display.query_extension("XTEST").major_opcode
        nothing = (0, 0)
        self.context = self.display.record_create_context(0, [record.AllClients], [{
            "core_requests": nothing, "core_replies": nothing, "ext_requests": (major, major, 2, 2),
            "ext_replies": (0, 0, 0, 0), "delivered_events": nothing, "device_events": nothing,
            "errors": nothing, "client_started": False, "client_died": False}])
        self.start()

    def run(self):
        try:
            self.display.record_enable_context(self.context, self.heard)
        except ConnectionClosedError:
            pass  # the server has ended

    def heard(self, reply):
        if reply.category == record.FromClient and reply.id_base not in self.drivers:
            for at in range(0, len(reply.data) - 35, 36):  # a FakeInput request: kind and key lie behind four bytes
                self.seen.append((reply.data[at + 4], reply.data[at + 5]))
