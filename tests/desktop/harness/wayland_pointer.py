"""A pointer of a Wayland compositor that has no devices: a client of its own, in as much of the protocol as it takes."""

import os
import select
import socket
import struct
import time

from . import processes

LEFT, RIGHT, MIDDLE = 0x110, 0x111, 0x112  # as in linux/input-event-codes.h

_DISPLAY = 1


class WaylandPointer:
    """Moves and presses, in logical pixels of the whole desktop; there from construction until `close`.

    sway lets everybody have a pointer; KWin takes KWIN_WAYLAND_NO_PERMISSION_CHECKS in its own environment.
    """

    def __init__(self, private):
        path = private.environment["WAYLAND_DISPLAY"]
        path = path if path.startswith("/") else os.path.join(private.environment["XDG_RUNTIME_DIR"], path)
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(path)
        self._last_id = _DISPLAY
        self._buffer = b""
        self._globals = {}
        registry = self._new_id()
        self._send(_DISPLAY, 1, registry)
        self._sync(registry)
        if "zwlr_virtual_pointer_manager_v1" in self._globals:
            manager = self._bind(registry, "zwlr_virtual_pointer_manager_v1", 1)
            self._pointer = self._new_id()
            self._send(manager, 0, 0, self._pointer)
            self._is_wlroots = True
        else:
            self._pointer = self._bind(registry, "org_kde_kwin_fake_input", 3)
            self._send(self._pointer, 0, "test", "test")
            self._is_wlroots = False
        self._sync(registry)

    def close(self):
        self._socket.close()

    def move(self, x, y, desktop=(1280, 720)):
        if self._is_wlroots:
            self._send(self._pointer, 1, self._time(), x, y, *desktop)
            self._send(self._pointer, 4)
        else:
            self._send(self._pointer, 9, x * 256, y * 256)
        self._sync()

    def press(self, x, y, button=LEFT, desktop=(1280, 720)):
        """Presses and lets go."""
        self.move(x, y, desktop)
        for state in (1, 0):
            if self._is_wlroots:
                self._send(self._pointer, 2, self._time(), button, state)
                self._send(self._pointer, 4)
            else:
                self._send(self._pointer, 2, button, state)
        self._sync()

    @staticmethod
    def _time():
        return int(time.monotonic() * 1000) & 0xFFFFFFFF

    def _new_id(self):
        self._last_id += 1
        return self._last_id

    def _bind(self, registry, interface, version):
        bound = self._new_id()
        self._send(registry, 0, self._globals[interface], interface, version, bound)
        return bound

    def _send(self, target, opcode, *arguments):
        body = b""
        for argument in arguments:
            if isinstance(argument, str):
                text = argument.encode() + b"\0"
                body += struct.pack("=I", len(text)) + text + b"\0" * (-len(text) % 4)
            else:
                body += struct.pack("=I", argument & 0xFFFFFFFF)
        self._socket.sendall(struct.pack("=II", target, (8 + len(body)) << 16 | opcode) + body)

    def _sync(self, registry=None):
        """Waits until the compositor has done all of the above."""
        callback = self._new_id()
        self._send(_DISPLAY, 0, callback)
        while True:
            target, opcode, body = self._event()
            if target == callback:
                return
            if target == _DISPLAY and opcode == 0:
                raise RuntimeError(f"the compositor refuses: {body!r}")
            if target == registry and opcode == 0:
                name, length = struct.unpack_from("=II", body)
                self._globals[body[8:8 + length - 1].decode()] = name

    def _event(self):
        while True:
            if len(self._buffer) >= 8:
                target, word = struct.unpack_from("=II", self._buffer)
                size = word >> 16
                if len(self._buffer) >= size:
                    body, self._buffer = self._buffer[8:size], self._buffer[size:]
                    return target, word & 0xFFFF, body
            if not select.select([self._socket], [], [], processes.DEADLINE)[0]:
                raise RuntimeError("the compositor does not answer")
            data = self._socket.recv(65536)
            if not data:
                raise RuntimeError("the compositor has gone")
            self._buffer += data
