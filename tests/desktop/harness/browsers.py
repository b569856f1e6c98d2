"""Script browsers: applications of the private desktop that write down each launch."""

import json
import os
import shutil
import stat

_HERE = os.path.dirname(os.path.abspath(__file__))
_RECORDER = os.path.join(_HERE, "recorder.py")
_SERVICE = os.path.join(_HERE, "browser_service.py")


class Launch:
    """One start of a script browser, as the browser itself saw it."""

    def __init__(self, record):
        self.id = record["id"]
        self.pid = record["pid"]
        self.arguments = [bytes.fromhex(text) for text in record["arguments"]]
        pairs = (entry.partition(b"=") for entry in bytes.fromhex(record["environment"]).split(b"\0") if entry)
        self.environment = {os.fsdecode(key): os.fsdecode(value) for key, _, value in pairs}
        self.parent = record["parent"]
        self.parent_arguments = bytes.fromhex(record["parent_command"]).split(b"\0")[:-1]
        self.files = {int(number): target for number, target in record["files"].items()}
        self.folder = record["folder"]

    def __repr__(self):
        return f"Launch({self.id}, {self.arguments})"


class BrowserLog:
    """The file that the script browsers of one desktop append to."""

    def __init__(self, path):
        self.path = path

    def launches(self):
        """All launches so far, in the order of their records."""
        try:
            with open(self.path, "rb") as file:
                data = file.read()
        except FileNotFoundError:
            return []
        return [Launch(json.loads(line)) for line in data.split(b"\n")[:-1]]


def desktop_entry(**keys):
    lines = ["[Desktop Entry]", "Type=Application"]
    return "\n".join(lines + [f"{key}={value}" for key, value in keys.items()]) + "\n"


def write_script(path, text):
    """Writes an executable file and returns its path."""
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    os.chmod(path, stat.S_IRWXU | stat.S_IRGRP | stat.S_IXGRP | stat.S_IROTH | stat.S_IXOTH)
    return path


def install_browser(folder, entries, browser_id, log, mode="exit", field="%u", extra=None):
    """Writes the program and the desktop entry of one script browser; returns the program's path.

    `folder` holds programs, `entries` is an applications folder. `mode` is "exit", "stay" or "fail" (see recorder.py),
    or "line": the cheapest one, which appends nothing but its process id and its argument as one line of text.
    """
    program = os.path.join(folder, browser_id)
    if mode == "line":
        text = f"#!/bin/sh\nprintf '%s %s\\n' $$ \"$1\" >>'{log}'\n"
    else:
        # A copy: the desktop's user need not be able to read this source tree.
        recorder = shutil.copy(_RECORDER, folder)
        os.chmod(recorder, 0o755)
        text = f"#!/bin/sh\nexec /usr/bin/python3 -IS '{recorder}' '{log}' {browser_id} {mode} \"$@\"\n"
    write_script(program, text)
    keys = {"Name": browser_id, "Exec": f"{program} {field}".strip(),
            "MimeType": "x-scheme-handler/http;x-scheme-handler/https;text/html;"}
    keys.update(extra or {})
    with open(os.path.join(entries, browser_id + ".desktop"), "w", encoding="utf-8") as file:
        file.write(desktop_entry(**keys))
    return program


def install_activatable_browser(entries, services, browser_id, log):
    """Installs a browser that is started by the bus and told its links by Open; its program takes no arguments."""
    with open(os.path.join(entries, browser_id + ".desktop"), "w", encoding="utf-8") as file:
        file.write(desktop_entry(Name=browser_id, Exec=_SERVICE, DBusActivatable="true",
                                 MimeType="x-scheme-handler/http;x-scheme-handler/https;"))
    with open(os.path.join(services, browser_id + ".service"), "w", encoding="utf-8") as file:
        file.write(f"[D-BUS Service]\nName={browser_id}\nExec={_SERVICE} {browser_id} {log}\n")
