#!/usr/bin/env python3
"""Plays the calculator in a terminal that somebody else wrote, pyte, and compares what that shows with what should be
seen: the prompt and the line, wrapped, the cursor where it belongs, the reports above as they were.

usage: terminal_screen.py PROGRAM
"""
import fcntl
import os
import pty
import random
import select
import signal
import struct
import sys
import tempfile
import termios
import time

import pyte
from pyte.screens import wcwidth

PATIENCE = 20  # seconds


class Terminal:
    """The program in a window. It begins to type at the first prompt."""

    def __init__(self, program, columns, rows):
        self.screen = pyte.Screen(columns, rows)
        self.screen.write_process_input = lambda reply: os.write(self.master, reply.encode())
        self.stream = pyte.ByteStream(self.screen)
        self.home = tempfile.TemporaryDirectory()
        self.written = 0
        self.is_edited = False
        self.process, self.master = pty.fork()
        if self.process == 0:
            os.chdir(self.home.name)
            os.environ.update(HOME=self.home.name, TERM="linux")
            for variable in "XDG_STATE_HOME", "NO_COLOR":
                os.environ.pop(variable, None)
            os.execv(program, [program])
        self.set_size(columns, rows)
        self.expect("no prompt", lambda: self.is_edited and self.shows("", 0))

    def set_size(self, columns, rows):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def resize(self, columns, rows):
        self.screen.resize(rows, columns)
        self.set_size(columns, rows)

    def type(self, keys):
        os.write(self.master, keys.encode(errors="surrogateescape"))

    def read(self, seconds):
        """Shows what the program writes within the time. False if that is nothing."""
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        data = os.read(self.master, 65536)
        self.written += len(data)
        self.is_edited = self.is_edited or b"\033[?2004h" in data
        self.stream.feed(data)
        return True

    def rows(self):
        return [row.rstrip() for row in self.screen.display]

    def expect(self, what, seen, retry=""):
        """Waits until `seen()` holds. Types the keys to try again now and then."""
        deadline = time.monotonic() + PATIENCE
        later = time.monotonic() + 1
        while not seen():
            self.read(0.05)
            if retry and time.monotonic() > later:
                later += 1
                self.type(retry)
            if time.monotonic() > deadline:
                cursor = self.screen.cursor
                sys.exit(f"{what}\nin {self.screen.columns} columns, {self.screen.lines} rows; cursor in column "
                         f"{cursor.x}, row {cursor.y}\n" + "\n".join(self.rows()))

    def shows(self, line, cursor, below=None):
        """Whether the line is seen behind the last prompt, with the cursor, and nothing below but what may be."""
        shown = ["> "] + [self.shown_as(character) for character in line]
        wrapped, at = wrap("".join(shown), len("".join(shown[:1 + cursor])), self.screen.columns)
        rows = self.rows()
        top = self.screen.cursor.y - at[0]
        height = self.screen.lines
        is_scrolled_too_far = top < 0 and top + len(wrapped) < height
        if self.screen.cursor.x != at[1] or is_scrolled_too_far:
            return False
        for i, row in enumerate(wrapped):
            if 0 <= top + i < height and rows[top + i] != row.rstrip():
                return False
        rest = rows[max(top + len(wrapped), 0):]
        return below is None or [row.strip() for row in rest if row] == below

    def shown_as(self, character):
        """A character as it is shown."""
        if wcwidth(character) > self.screen.columns:
            return "?"
        return {"\x01": "^A", "\x85": "\\x85", "\udcff": "\\xff"}.get(character, character)

    def styles(self, length):
        """How the characters of a line in the row of the cursor are marked, a letter for each."""
        row = self.screen.buffer[self.screen.cursor.y]
        letters = {"default": ".", "red": "U", "magenta": "!"}  # unknown, unmatched
        return "".join("|" if row[2 + i].underscore else letters[row[2 + i].fg] for i in range(length))

    def end(self):
        os.close(self.master)
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)


def wrap(text, cursor, columns):
    """The rows of a text, and the row and column of the cursor."""
    rows, width, at = [""], 0, None
    for i, character in enumerate(text + " "):
        size = wcwidth(character)
        if width + size > columns:
            rows.append("")
            width = 0
        if i == cursor:
            at = len(rows) - 1, width
        rows[-1] += character
        width += size
    last = rows[-1][:-1]
    return rows[:-1] + ([last] if last or cursor == len(text) else []), at


def edit_at_random(program, columns, rows, count):
    """Types and edits, and looks at the screen after each key."""
    terminal = Terminal(program, columns, rows)
    line, cursor = "", 0
    for _ in range(count):
        key = random.choice(["1", "+", "x", "2", "漢", "\x01", "\x85", "\udcff", "left", "left", "right", "home",
                             "end", "erase", "erase", "kill", "drop"])
        if key == "left":
            terminal.type("\033[D")
            cursor -= 1 if cursor else 0
        elif key == "right":
            terminal.type("\033[C")
            cursor += 1 if cursor < len(line) else 0
        elif key in ("home", "end"):
            terminal.type("\033[H" if key == "home" else "\033[F")
            cursor = 0 if key == "home" else len(line)
        elif key == "kill":
            terminal.type("\x15")
            line, cursor = line[cursor:], 0
        elif key == "drop":
            terminal.type("\x03")
            line, cursor = "", 0
        elif key == "erase":
            terminal.type("\x7f")
            line, cursor = line[:max(cursor - 1, 0)] + line[cursor:], max(cursor - 1, 0)
        else:
            terminal.type("\033[200~" + key + "\033[201~")
            line, cursor = line[:cursor] + key + line[cursor:], cursor + 1
        terminal.expect(f"{key!r}: not {line!r}, {cursor}", lambda: terminal.shows(line, cursor))
    terminal.end()


def advise(program):
    """Shows the answer and signatures below the line, and leaves no trace of them."""
    terminal = Terminal(program, 60, 12)

    def typed(keys, line, below, cursor=None):
        terminal.type(keys)
        at = len(line) if cursor is None else cursor
        # On a busy machine the time for the answer may be over too soon.
        terminal.expect(f"{keys!r}: not {line!r} above {below}", lambda: terminal.shows(line, at, below),
                        " \x7f" if below else "")

    typed("12*1.19", "12*1.19", ["14.28"])
    typed("+", "12*1.19+", [])
    typed("\x7f\r", "", [])
    assert terminal.rows()[:3] == ["> 12*1.19", "        Scalar : 14.28", ">"], terminal.rows()
    typed("area = pi*2^2", "area = pi*2^2", ["12.5663706143592"])
    typed("\x15_", "_", ["14.28"])  # nothing was stored
    line = "10^9*<1, 2, 3, 4, 5, 6>"
    numbers = ", ".join(f"{i}000000000" for i in range(1, 7))
    typed("\x15" + line, line, [f"<{numbers}>"[:57] + "\u2026"])
    for last, shown in ("123456", "123456>"), ("1234567", "123456\u2026"):
        numbers = "<" + "123, " * 10
        typed(f"\x151*{numbers}{last}>", f"1*{numbers}{last}>", [numbers + shown])
    typed("\x157.5", "7.5", [])  # the answer is what was typed
    typed("\x15a=7.5", "a=7.5", [])
    typed("\x15rand()", "rand()", [])
    typed("\x15f &= rand()", "f &= rand()", [])
    typed("\x15~", "~", [])
    typed("\x15a = 2; a^3", "a = 2; a^3", ["8"])
    typed("\x15?a", "?a", [])
    typed("\x15atan(", "atan(", ["atan(Scalar)  atan(Scalar, Scalar)"])
    typed("1, 2)", "atan(1, 2)", ["0.463647609000806"])
    typed("\x15atan((1)+(2)", "atan((1)+(2)", ["atan(Scalar)  atan(Scalar, Scalar)"])
    typed("\x15atan(1; (", "atan(1; (", [])
    typed("\x15a = round_up(", "a = round_up(", ["round_up(Scalar)"])
    typed("\x15atan(1, 2)", "atan(1, 2)", ["0.463647609000806"])
    typed("\033a", "atan(1, 2)", [])
    typed("\033a", "atan(1, 2)", ["0.463647609000806"])
    typed("\x156\u00d7(\u22122)\u00a0\u00f74", "6*(-2) /4", ["-3"])
    typed("\r", "", [])
    typed("6*", "6*(-2) /4", [], 2)  # the rest is suggested
    row = terminal.screen.buffer[terminal.screen.cursor.y]
    assert [row[i].bold for i in (2, 3, 4, 10)] == [False] * 2 + [True] * 2, row  # bold black is grey
    typed("\033[C", "6*(-2) /4", ["-3"])
    written = terminal.written
    typed("\033[C", "6*(-2) /4", ["-3"])
    terminal.read(0.2)
    assert terminal.written == written, "something was written though nothing changed"
    line = "12" + "3" * 40
    typed("\x15\033a" + line + "\x01\x06", line, [], 1)
    written = terminal.written
    typed("\x14", "21" + line[2:], [], 2)
    terminal.read(0.2)
    assert terminal.written - written < len(line), "more was written than differs"
    typed("\x05\x15\033a", "", [])
    for keys, line, cursor, styles in (
            ("\x15nme+(", "nme+(", 5, "UUU.!"),
            ("\x15[1; 2]", "[1; 2]", 6, "!....!"),
            ("\x15(<1>)", "(<1>)", 5, "|...."), ("\033[D", "(<1>)", 4, "||..."),
            ("\033[D\033[D", "(<1>)", 2, "...|."), ("\033[D\033[D", "(<1>)", 0, "....|"),
            ("\x0b\x15(nme)", "(nme)", 5, "|UUU."), ("\x15ata", "ata", 3, "..."),  # "atan" begins so
            ("+1", "ata+1", 5, "UUU.."), ("\033[D\033[D", "ata+1", 3, "....."),
            ("\x0b\x15nme+oth\u00e9+x", "nme+oth\u00e9+x", 10, "UUU.UUU..U")):
        terminal.type(keys)
        terminal.expect(f"{keys!r}: not {styles!r}", lambda: terminal.shows(line, cursor) and
                        terminal.styles(len(line)) == styles)
    for answer in "-2", "-1":
        typed("\x0b\x15_+1", "_+1", [answer])
        typed("\r", "", [])
    typed("a\t", "a", [])
    terminal.read(0.2)
    assert not any(row.startswith("abs(") for row in terminal.rows()), terminal.rows()  # only when asked for again
    typed("\x15ab = 1; abc = 2\r", "", [])
    terminal.type("ab\t\t")
    terminal.expect("not listed below the line", lambda: "ab    abc   abs(" in terminal.rows())
    assert terminal.rows()[terminal.rows().index("ab    abc   abs(") - 1] == "> ab", terminal.rows()
    typed("c\t\t", "abc", ["2"])
    assert "abc" not in terminal.rows(), terminal.rows()  # nothing to choose from
    typed("\x152*-3\r", "", [])
    errors = [i for i, row in enumerate(terminal.rows()) if "Error" in row]
    for column in 8, len(terminal.rows()[errors[-1]]) - 1:
        assert terminal.screen.buffer[errors[-1]][column].fg == "red"
    assert terminal.rows()[errors[-1] + 1:][:2] == [" " * 24 + "2 *", ">"], terminal.rows()
    for keys, row in ("?\r", " " * 34 + "&expression"), ("1+\t\t", "Scalar(      acos(        max(         round_up("):
        terminal.type(keys)
        terminal.expect(f"{keys!r}: not {row!r}", lambda: row in terminal.rows())
    terminal.end()


def ask(program):
    """A question begins with a tab, in windows with room for it and without."""
    for columns in 60, 20, 8, 5:
        terminal = Terminal(program, columns, 24)
        terminal.type("~\r" + "1" * 40)
        question = " " * 18 + "Are you sure ? ([y|Enter]/n) " + "1" * 40
        wrapped, at = wrap(question, len(question), columns)
        terminal.expect(f"not asked in {columns} columns", lambda: terminal.screen.cursor.x == at[1] and
                        terminal.rows()[terminal.screen.cursor.y - at[0]:][:len(wrapped)] ==
                        [row.rstrip() for row in wrapped])
        terminal.end()


def resize(program):
    """The same picture, after the window was resized, though this terminal cuts lines off."""
    terminal = Terminal(program, 40, 10)
    terminal.type("1+1\r")
    terminal.expect("no report", lambda: terminal.shows("", 0) and terminal.rows()[0] == "> 1+1")
    line = "+".join("1" * 26)
    terminal.type(line)
    terminal.expect("not typed", lambda: terminal.shows(line, len(line)))
    full = "+" * (2 * 40 - len("> " + line))  # the cursor is alone in a row
    for columns, more in (37, full), *((columns, "+") for columns in (30, 55, 80, 17, 40, 21, 40, 21, 40)):
        line += more
        terminal.type(more)
        terminal.resize(columns, 10)  # perhaps while the key is answered
        terminal.expect(f"not again in {columns} columns",
                        lambda: terminal.shows(line, len(line)) and terminal.rows()[0] == "> 1+1")
    terminal.end()


def main():
    program = sys.argv[1]
    advise(program)
    ask(program)
    resize(program)
    for columns, rows in (1, 5), (2, 1), (3, 4), (10, 3), (23, 24), (80, 24), (300, 2):
        edit_at_random(program, columns, rows, 120)


main()
