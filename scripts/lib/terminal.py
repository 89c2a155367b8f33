"""A shell in a pseudo-terminal, driven as a person drives one."""

import fcntl
import os
import pty
import select
import signal
import struct
import termios
import time

# Stands round the exit code in the shell's prompt; no program prints it.
MARK = "\x1d"


class Terminal:
    """One shell. Used by one thread; what it is told shows in what it prints, not at once."""

    def __init__(self, folder, environment, columns=200, rows=50):
        self.text = ""
        self._prompts = 0
        self._commands = 0
        self._process, self._descriptor = pty.fork()
        if self._process == 0:
            os.chdir(folder)
            os.execvpe("bash", ["bash", "--norc", "--noprofile", "--noediting"],
                       {**environment, "PS1": f"{MARK}$?{MARK}", "PS2": "", "TERM": "xterm-256color"})
        fcntl.ioctl(self._descriptor, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        settings = termios.tcgetattr(self._descriptor)
        settings[3] &= ~termios.ECHO
        termios.tcsetattr(self._descriptor, termios.TCSANOW, settings)
        self.wait(lambda: self.is_idle(), 10)
        self.text = ""

    def type(self, command):
        self._commands += 1
        os.write(self._descriptor, command.encode() + b"\n")

    def interrupt(self):
        os.write(self._descriptor, b"\x03")

    def is_idle(self):
        """Whether the shell waits for a command."""
        return self._prompts > self._commands

    def wait(self, condition, seconds):
        """Reads until the condition holds; answers whether it does in time."""
        deadline = time.monotonic() + seconds
        while not condition():
            left = deadline - time.monotonic()
            if left <= 0 or not self._read(left):
                return condition()
        return True

    def close(self):
        """Ends the shell and all that it started, with Ctrl-C first."""
        if not self.is_idle():
            self.interrupt()
            self.wait(self.is_idle, 15)
        os.kill(self._process, signal.SIGHUP)
        while self._read(1):
            pass
        os.close(self._descriptor)
        os.waitpid(self._process, 0)

    def _read(self, seconds):
        if not select.select([self._descriptor], [], [], seconds)[0]:
            return False
        try:
            data = os.read(self._descriptor, 65536).decode(errors="replace")
        except OSError:
            return False
        self.text += data.replace("\r\n", "\n")
        self._prompts += data.count(MARK) / 2
        return bool(data)
