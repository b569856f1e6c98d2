"""Counts what happens to the files of one folder, through inotify."""

import ctypes
import os
import struct

IN_MODIFY = 0x2
IN_MOVED_TO = 0x80

_libc = ctypes.CDLL(None, use_errno=True)


class FolderWatch:
    """Collects (mask, file name) of each event in the folder from construction on; the kernel queues, nothing polls."""

    def __init__(self, folder):
        self._descriptor = _libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if self._descriptor < 0:
            raise OSError(ctypes.get_errno(), "inotify_init1")
        mask = IN_MODIFY | IN_MOVED_TO
        if _libc.inotify_add_watch(self._descriptor, os.fsencode(folder), mask) < 0:
            raise OSError(ctypes.get_errno(), "inotify_add_watch")

    def events(self):
        """The events since the last call, in order."""
        found = []
        while True:
            try:
                data = os.read(self._descriptor, 65536)
            except BlockingIOError:
                return found
            offset = 0
            while offset < len(data):
                _, mask, _, length = struct.unpack_from("iIII", data, offset)
                offset += 16
                name = data[offset:offset + length].rstrip(b"\0").decode()
                offset += length
                found.append((mask, name))

    def writes_of(self, name):
        """How many times another file took this one's place, or bytes were written into it."""
        return sum(1 for _, written in self.events() if written == name)

    def close(self):
        os.close(self._descriptor)
