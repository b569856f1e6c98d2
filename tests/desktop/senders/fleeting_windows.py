#!/usr/bin/python3
"""Opens windows and closes each at once, as fast as the display takes them; each is announced as the active one first.

Usage: fleeting_windows.py COUNT
"""
import ctypes
import sys

x11 = ctypes.CDLL("libX11.so.6")
for name in ("XOpenDisplay", "XDefaultRootWindow", "XCreateSimpleWindow", "XInternAtom"):
    getattr(x11, name).restype = ctypes.c_ulong
display = ctypes.c_void_p(x11.XOpenDisplay(None))
root = ctypes.c_ulong(x11.XDefaultRootWindow(display))
ACTIVE = ctypes.c_ulong(x11.XInternAtom(display, b"_NET_ACTIVE_WINDOW", 0))
WINDOW = ctypes.c_ulong(33)
REPLACE = 0

for _ in range(int(sys.argv[1])):
    window = ctypes.c_ulong(x11.XCreateSimpleWindow(display, root, 0, 0, 9, 9, 0, ctypes.c_ulong(0), ctypes.c_ulong(0)))
    x11.XMapWindow(display, window)
    x11.XChangeProperty(display, root, ACTIVE, WINDOW, 32, REPLACE, ctypes.byref(window), 1)
    x11.XDestroyWindow(display, window)
    x11.XFlush(display)
x11.XSync(display, 0)
