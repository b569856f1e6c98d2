#!/usr/bin/python3
"""A window from which text can be dragged; prints "begin", and "refused" or "end" when that is over."""

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402


def tell(word, result=None):
    print(word, flush=True)
    return result


box = Gtk.EventBox()
box.add(Gtk.Label(label="text to drag"))
box.drag_source_set(Gdk.ModifierType.BUTTON1_MASK, [], Gdk.DragAction.COPY | Gdk.DragAction.MOVE)
box.drag_source_add_text_targets()
box.connect("drag-begin", lambda *_: tell("begin"))
box.connect("drag-data-get", lambda _box, _context, data, *_: data.set_text("https://example.test/dragged", -1))
box.connect("drag-failed", lambda *_: tell("refused", True))
box.connect("drag-end", lambda *_: tell("end"))
window = Gtk.Window(title="drag source")
window.set_default_size(160, 80)
window.add(box)
window.connect("destroy", Gtk.main_quit)
window.show_all()
window.move(10, 10)
Gtk.main()
