#!/usr/bin/python3
"""An application that opens links by running another command. Usage: child_sender.py attached|detached COMMAND...

"attached" waits for the command as its own child; "detached" leaves it behind with no parent, as many toolkits do, and
stays until it is ended.
"""
import os
import signal
import subprocess
import sys

how, command = sys.argv[1], sys.argv[2:]
if how == "attached":
    sys.exit(subprocess.run(command, check=False).returncode)
first = os.fork()
if first == 0:
    if os.fork() == 0:
        os.setsid()
        os.execvp(command[0], command)
    os._exit(0)
os.waitpid(first, 0)
signal.pause()
