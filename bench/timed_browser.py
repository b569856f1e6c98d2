"""TimedBrowser: an application that says when it began to run."""

import os
import select
import struct
import subprocess
import sys

SOURCE = r"""
#include <fcntl.h>
#include <stdint.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

int main(int argc, char** argv) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t when = now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
    const int64_t record[2] = {when, argc == 2 ? (int64_t)strlen(argv[1]) : -1};
    const int report = open(REPORT, O_WRONLY);
    return report >= 0 && write(report, record, sizeof record) == sizeof record ? 0 : 1;
}
"""
RECORD = struct.Struct("=qq")
PATIENCE = 30.0


class TimedBrowser:
    """A small C program on a private desktop, installed as a browser, that first of all reads the monotonic clock."""

    def __init__(self, desktop, app_id):
        self._desktop = desktop
        fifo = os.path.join(desktop.root, "report")
        os.mkfifo(fifo)
        # For writing as well: a browser that comes finds a reader, and the last one leaves no end of file behind.
        self._report = os.open(fifo, os.O_RDWR | os.O_NONBLOCK)
        source = desktop.write(os.path.join(desktop.root, "browser.c"), f'#define REPORT "{fifo}"\n' + SOURCE)
        self.program = os.path.join(desktop.programs, "browser")
        subprocess.run(["cc", "-O2", "-Wall", "-Werror", source, "-o", self.program], check=True)
        desktop.add_application(app_id, self.program + " %u", MimeType="x-scheme-handler/http;x-scheme-handler/https;")

    def started(self, link):
        """Waits for the browser, which must have got the link; when its clock was read, in nanoseconds."""
        if not select.select([self._report], [], [], PATIENCE)[0]:
            sys.exit("the browser did not start\n" + self._desktop.describe())
        when, length = RECORD.unpack(os.read(self._report, RECORD.size))
        if length != len(link):
            sys.exit("the browser did not get the link")
        return when

    def close(self):
        os.close(self._report)
