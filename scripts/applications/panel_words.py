"""Prints what the accessibility tree says of the open panel, as JSON lines: role, name, text, left, top, width, height."""
import json

import gi
gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402


def walk(node, depth=0):
    if depth > 12:
        return
    try:
        if not node.get_state_set().contains(Atspi.StateType.SHOWING) and depth > 1:
            return
        box = node.get_extents(Atspi.CoordType.SCREEN)
        text = node.get_text_iface()
        words = Atspi.Text.get_text(text, 0, Atspi.Text.get_character_count(text)) if text else ""
        print(json.dumps([node.get_role_name(), node.get_name(), words, node.get_description(), box.x, box.y, box.width, box.height]))
        for number in range(min(node.get_child_count(), 60)):
            child = node.get_child_at_index(number)
            if child:
                walk(child, depth + 1)
    except GLib.Error:
        pass


Atspi.set_timeout(800, 3000)
desktop = Atspi.get_desktop(0)
for index in range(desktop.get_child_count()):
    application = desktop.get_child_at_index(index)
    if application and "ovalin" in (application.get_name() or "").lower():
        walk(application)
