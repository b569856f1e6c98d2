"""A control group for an application, as the service manager of a desktop makes one."""

import contextlib
import os

from . import processes
from .processes import wait_until


class ControlGroup:
    """A control group below our own, named as systemd names an application's."""

    def __init__(self, app_id):
        group = next((line[3:] for line in self._lines("/proc/self/cgroup") if line.startswith("0::")), "/")
        mounts = [line.split()[4] for line in self._lines("/proc/self/mountinfo") if " - cgroup2 " in line]
        if not mounts:
            raise OSError("there are no version 2 control groups")
        self.path = os.path.join(mounts[0], group.strip("/"), f"app-gnome-{app_id}-{os.getpid()}.scope")
        os.mkdir(self.path)

    @staticmethod
    def _lines(path):
        with open(path, encoding="utf-8") as file:
            return file.read().splitlines()

    def command(self, command):
        """The command, to be run inside."""
        return ["/bin/sh", "-c", f'echo $$ >"{self.path}/cgroup.procs" && exec "$@"', "sh", *command]

    def end(self):
        """Ends the processes in it, and removes it."""
        for pid in (processes.read_bytes(self.path + "/cgroup.procs") or b"").split():
            processes.end_process(int(pid))

        def gone():
            with contextlib.suppress(FileNotFoundError):
                try:
                    os.rmdir(self.path)
                except OSError:
                    return False
            return True

        wait_until(gone, "the control group to be empty")
