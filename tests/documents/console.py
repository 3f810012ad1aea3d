"""The commands in the documents: found, run, and compared with the output that stands below them.

A fenced block tells by its first line what becomes of it:

    ```console                commands after "$ " (going on after "> "), each followed by its output
    ```console any-output     the same, but only the exit status of each command is looked at: 0
    ```sh                     not run; the line before the block says why: <!-- not run: REASON -->
    ``` or another word       no commands

All blocks of a document run in one scratch folder, in order, on a terminal of 80 columns (through a
pipe where the machine gives none), with the programs that were built, and the scripts of examples/, on the PATH. `cd` lasts, and `$?` is the
status of the command before. In the expected output

    ...      alone on a line stands for any lines
    [..]     inside a line stands for any characters

and clock times (10:00:01) stand for any time. The blocks' exit statuses are 0 but where the next
command is `echo $?`.
"""

import os
import re
import select
import signal
import struct
import fcntl
import termios
import time
from dataclasses import dataclass, field

CLOCK = re.compile(r"\b\d\d:\d\d:\d\d\b")
NOT_RUN = re.compile(r"<!-- not run: (.+) -->")
FENCE = re.compile(r"^\s*```(.*)$")
ECHO = re.compile(rb"^tavindex .* \n", re.MULTILINE)  # the arguments, when no terminal is there
CONTROL = re.compile(r"\x1b\[[0-9;]*[A-Za-z]|.", re.DOTALL)
TIME_LIMIT = 60


@dataclass
class Command:
    line: int
    text: str
    expected: list = field(default_factory=list)


@dataclass
class Block:
    line: int
    kind: str
    lines: list
    reason: str = ""

    def commands(self):
        """The commands of a console block. Output before the first command is a mistake."""
        found = []
        for number, line in enumerate(self.lines, self.line + 1):
            if line.startswith("$ "):
                found.append(Command(number, line[2:]))
            elif not found:
                raise ValueError(f"line {number}: output without a command")
            elif line.startswith("> ") and not found[-1].expected:
                found[-1].text += "\n" + line[2:]
            else:
                found[-1].expected.append(line)
        return found


def blocks_of(text):
    """The fenced blocks of a document."""
    blocks, block, before = [], None, ""
    for number, line in enumerate(text.splitlines(), 1):
        fence = FENCE.match(line)
        if block is None and fence:
            reason = NOT_RUN.search(before)
            block = Block(number, fence.group(1).strip(), [], reason.group(1) if reason else "")
        elif block is not None and fence:
            blocks.append(block)
            block = None
        elif block is not None:
            block.lines.append(line)
        if line.strip():
            before = line
    if block is not None:
        raise ValueError(f"line {block.line}: the block has no end")
    return blocks


def line_shown(line):
    """A line as it stands when all of it was received."""
    cells, at = [], 0
    for piece in CONTROL.findall(line):
        if piece == "\r":
            at = 0
        elif piece == "\b":
            at = max(0, at - 1)
        elif piece == "\x1b[K":
            del cells[at:]
        elif len(piece) == 1 and piece != "\a":
            cells[at : at + 1] = [piece]
            at += 1
    return "".join(cells).rstrip()


def as_shown(data):
    """What a terminal shows after these bytes: a carriage return begins the line anew, and what
    the new text does not cover stays. Colours are left out."""
    screen = [line_shown(line) for line in data.decode("utf-8", "replace").split("\n")]
    while screen and not screen[-1]:
        screen.pop()
    return screen


def open_terminal():
    """The two sides of a new terminal of 80 columns, or None where there are none: some chroots."""
    try:
        ours, theirs = os.openpty()
    except OSError:
        return None
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 25, 80, 0, 0))
    return ours, theirs


class Terminal:
    """Runs commands of a document, each on a terminal of its own, in a folder that `cd` changes."""

    def __init__(self, folder, env):
        self.folder, self.env, self.status = str(folder), env, 0
        self.is_terminal = True

    def run(self, command):
        """Runs a command and gives the lines that it shows."""
        terminal = open_terminal()
        self.is_terminal = terminal is not None
        ours, theirs = terminal or os.pipe()
        reader, writer = os.pipe()
        script = f'(exit {self.status})\n{command}\nstatus=$?\npwd >&{writer}\nexit "$status"\n'
        pid = os.fork()
        if pid == 0:
            os.setsid()
            if self.is_terminal:
                fcntl.ioctl(theirs, termios.TIOCSCTTY, 0)
            for standard in (0, 1, 2):
                os.dup2(theirs, standard)
            os.close(ours)
            os.close(reader)
            os.set_inheritable(writer, True)
            os.chdir(self.folder)
            os.execve("/bin/sh", ["sh", "-c", script], self.env)
        os.close(theirs)
        os.close(writer)
        shown = self.collect(pid, ours)
        with os.fdopen(reader) as where:
            folder = where.readline().rstrip("\n")
        self.folder = folder or self.folder
        return as_shown(shown if self.is_terminal else ECHO.sub(b"", shown))

    def collect(self, pid, ours):
        """Everything that the terminal receives until the command ends."""
        shown, end = b"", time.monotonic() + TIME_LIMIT
        while True:
            ready, _, _ = select.select([ours], [], [], max(0, end - time.monotonic()))
            if not ready:
                os.kill(pid, signal.SIGKILL)
                shown += b"\n(ran too long)\n"
                break
            try:
                piece = os.read(ours, 65536)
            except OSError:  # the other side is closed
                piece = b""
            if not piece:
                break
            shown += piece
        os.close(ours)
        self.status = os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])
        return shown


def line_pattern(line):
    """A regular expression for one expected line."""
    pieces = (re.escape(CLOCK.sub("HH:MM:SS", piece)) for piece in line.split("[..]"))
    return ".*".join(pieces)


def output_matches(expected, shown):
    """Whether the lines shown are the expected ones."""
    pattern = ""
    for line in expected:
        pattern += "(?:.*\n)*" if line.strip() == "..." else line_pattern(line.rstrip()) + "\n"
    text = "".join(CLOCK.sub("HH:MM:SS", line) + "\n" for line in shown)
    return re.fullmatch(pattern, text) is not None
