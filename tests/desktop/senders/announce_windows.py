#!/usr/bin/python3
"""Announces windows as the active one, in the window manager's name.

Each line of input is a list of window ids and, between them, pauses in microseconds with a sign: "41943054 +150 37748742".
Answers each line with an empty one when the display has taken it all.
"""
import ctypes
import sys
import time

x11 = ctypes.CDLL("libX11.so.6")
for name in ("XOpenDisplay", "XDefaultRootWindow", "XInternAtom"):
    getattr(x11, name).restype = ctypes.c_ulong
display = ctypes.c_void_p(x11.XOpenDisplay(None))
root = ctypes.c_ulong(x11.XDefaultRootWindow(display))
ACTIVE = ctypes.c_ulong(x11.XInternAtom(display, b"_NET_ACTIVE_WINDOW", 0))
WINDOW = ctypes.c_ulong(33)
REPLACE = 0

for line in sys.stdin:
    for word in line.split():
        if word.startswith("+"):
            end = time.perf_counter() + int(word) / 1e6
            while time.perf_counter() < end:
                pass
            continue
        window = ctypes.c_ulong(int(word))
        x11.XChangeProperty(display, root, ACTIVE, WINDOW, 32, REPLACE, ctypes.byref(window), 1)
        x11.XFlush(display)
    x11.XSync(display, 0)
    print(flush=True)
