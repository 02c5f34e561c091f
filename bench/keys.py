#!/usr/bin/env python3
"""Measures the calculator at a terminal: the time from its start to the prompt, from a key to what it shows, for a
pasted million characters, and for keys in the middle of a line.

usage: keys.py PROGRAM
"""
import fcntl
import os
import pty
import select
import signal
import statistics
import struct
import sys
import tempfile
import termios
import time


class Terminal:
    """The program in a window of 80 columns and 24 rows."""

    def __init__(self, program):
        self.home = tempfile.TemporaryDirectory()
        self.shown = b""
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.chdir(self.home.name)
            os.environ.update(HOME=self.home.name, TERM="xterm")
            for variable in "XDG_STATE_HOME", "NO_COLOR":
                os.environ.pop(variable, None)
            os.execv(program, [program])
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        os.set_blocking(self.master, False)

    def type(self, keys, until):
        """Types, and waits until the text is shown behind that. Returns the time that took."""
        start = time.perf_counter()
        self.shown = b""
        while until not in self.shown:
            readable, writable, _ = select.select([self.master], [self.master] if keys else [], [], 30)
            if readable:
                self.shown += os.read(self.master, 65536)
            elif writable:
                keys = keys[os.write(self.master, keys[:4096]):]
            else:
                sys.exit(f"{until!r} is not shown")
        return time.perf_counter() - start

    def wait(self):
        """Waits until nothing more is shown. Returns how much was."""
        count = 0
        while select.select([self.master], [], [], 0.02)[0]:
            count += len(os.read(self.master, 65536))
        return count

    def end(self):
        os.close(self.master)
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)


def main():
    program = os.path.abspath(sys.argv[1])
    starts = []
    for _ in range(50):
        begin = time.perf_counter()
        terminal = Terminal(program)
        terminal.type(b"", b"> ")
        starts.append(time.perf_counter() - begin)
        terminal.end()
    print(f"start to prompt            {statistics.median(starts) * 1e3:8.2f} ms")

    terminal = Terminal(program)
    terminal.type(b"", b"> ")
    terminal.type(b"loan = 1000; rate = 0.03; n = 5\r", b"\n\x1b[?2004h> ")
    keys, count = [], 0
    for key in "loan*(rate/12)/(1-(1+rate/12)^(-12*n))":
        keys.append(terminal.type(key.encode(), key.encode()))
        count += len(terminal.shown) + terminal.wait()
    print(f"a key, with the answer     {statistics.median(keys) * 1e3:8.2f} ms, {count / len(keys):.0f} bytes")
    terminal.type(b"\x15", b"\x1b")
    terminal.wait()
    paste = terminal.type(b"\x1b[200~1" + b"+1" * 500_000 + b"\x1b[201~\r", b"500001")
    print(f"a million characters pasted{paste * 1e3:8.0f} ms")
    for count in 4_000, 8_000, 16_000:
        terminal.wait()
        terminal.type(b"2\x1b[D", b"2")
        terminal.wait()
        middle = terminal.type(b"1+" * (count // 2) + b"\r", b"Scalar : ")
        print(f"{count:6} keys in the middle  {middle * 1e3:8.1f} ms")
    terminal.end()


main()
