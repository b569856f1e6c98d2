#!/usr/bin/python3 -IS
# A stand-in for a browser. Usage: recorder.py LOG ID MODE [ARGUMENT...]; appends one record of this very launch to LOG
# with a single write, then ends (MODE "exit"), stays until it is ended ("stay") or fails ("fail").
import json
import os
import signal
import sys


def read(path):
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return b""


def link(path):
    try:
        return os.readlink(path)
    except OSError:
        return ""


# From the kernel's copy, so that no decoding stands between the launcher and the record.
raw = read("/proc/self/cmdline").split(b"\0")[:-1]
start = raw.index(os.fsencode(sys.argv[0])) + 1
log, identity, mode = (os.fsdecode(part) for part in raw[start:start + 3])
parent = os.getppid()
record = {
    "id": identity,
    "pid": os.getpid(),
    "arguments": [part.hex() for part in raw[start + 3:]],
    "environment": read("/proc/self/environ").hex(),
    "parent": parent,
    "parent_command": read(f"/proc/{parent}/cmdline").hex(),
    "files": {name: target for name in os.listdir("/proc/self/fd") if (target := link(f"/proc/self/fd/{name}"))},
    "folder": link("/proc/self/cwd"),
}
descriptor = os.open(log, os.O_WRONLY | os.O_CREAT | os.O_APPEND | os.O_CLOEXEC, 0o644)
os.write(descriptor, json.dumps(record).encode() + b"\n")
os.close(descriptor)
if mode == "stay":
    signal.pause()
sys.exit(3 if mode == "fail" else 0)
