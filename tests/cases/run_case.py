#!/usr/bin/env python3
"""Runs one golden case of the tavindex program: run_case.py --tavindex PROGRAM CASE_FOLDER

A case is a folder:

    cmd      command lines for sh, run in a fresh folder with `tavindex` on the PATH
    exit     the exit status of cmd
    stdout   what cmd printed (no file: nothing)
    env      optional, lines NAME=value; without it TMPDIR=tmp, a folder that is made for the case
    make     optional input files, one a line: NAME: items (readable_bytes.py describes the items)
    in/      optional input files as they stand
    gone     optional, names of input files that must not be there afterwards
    unwrapped  optional, why TAVINDEX_WRAPPER is not to be used for this case
    files/   every file that is there afterwards, but for input files that are left as they were

A file in files/ is compared byte for byte. Its own suffix says how it is written down: NAME.hex in
readable bytes, NAME.text as escaped and masked text, NAME.same as the name of a description in
shared/, any other as it stands. A file that is missing, or there without being expected, fails the
case, and so does anything on standard error.

Text (stdout and NAME.text) has its control characters escaped, a blank at the end of a line as \\s
and a missing last line end as \\c; clock times are masked HH:MM:SS (the elapsed time of a run is
checked first), the version VERSION, and the random part of a work file's name XXXXXX. Work files
that stay are called dsort-1 and dsort-2, in the order in which the output names them.

TAVINDEX_WRAPPER may hold a command to run the program under, for example "valgrind -q
--error-exitcode=99"; TAVINDEX_CASE_TIMEOUT the seconds that a case may take.
"""

import argparse
import difflib
import os
import re
import shutil
import stat
import subprocess
import sys
import tempfile
from pathlib import Path

import readable_bytes

SHARED = Path(__file__).resolve().parent / "shared"
PASSED_ON = ("ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "GCOV_PREFIX", "LLVM_PROFILE_FILE")
DAY = 24 * 60 * 60


def install_program(case, program, bin_dir):
    """Puts the program, or a script that runs it under the wrapper, on the PATH of the case."""
    bin_dir.mkdir()
    wrapper = os.environ.get("TAVINDEX_WRAPPER")
    if not wrapper or (case / "unwrapped").exists():
        (bin_dir / "tavindex").symlink_to(program)
        return
    script = bin_dir / "tavindex"
    script.write_text(f'#!/bin/sh\nexec {wrapper} "{program}" "$@"\n')
    script.chmod(0o755)


def environment(case, bin_dir):
    """The whole environment of the commands: nothing of the caller's but sanitizer settings."""
    env = {"PATH": f"{bin_dir}:/usr/bin:/bin", "LC_ALL": "C", "TMPDIR": "tmp"}
    env.update({name: os.environ[name] for name in PASSED_ON if name in os.environ})
    if (case / "env").exists():
        for line in (case / "env").read_text().splitlines():
            name, _, value = line.partition("=")
            env[name] = value
    return env


def made_inputs(text):
    """Name and bytes of each file that a `make` description names; indented lines go on."""
    inputs, name = {}, None
    for line in text.splitlines():
        named = re.match(r"([^\s#].*?):(?=\s|$)", line)
        if named:
            name, line = named.group(1), line[named.end() :]
            inputs[name] = b""
        data = readable_bytes.items_bytes(readable_bytes.tokens_of(line))
        if data:
            inputs[name] += data
    return inputs


def inputs_of(case):
    """Name and bytes of every input file."""
    inputs = made_inputs((case / "make").read_text()) if (case / "make").exists() else {}
    folder = case / "in"
    for path in folder.rglob("*"):
        if path.is_file():
            inputs[str(path.relative_to(folder))] = path.read_bytes()
    return inputs


def write_inputs(inputs, work):
    """Writes the input files."""
    for name, data in inputs.items():
        path = work / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


def run_commands(case, work, env):
    """Runs cmd; gives its exit status, standard output and standard error."""
    limit = float(os.environ.get("TAVINDEX_CASE_TIMEOUT", "60"))
    try:
        done = subprocess.run(
            ["/bin/sh", "-c", (case / "cmd").read_text()],
            cwd=work,
            env=env,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            umask=0o022,
            timeout=limit,
        )
    except subprocess.TimeoutExpired as late:
        return None, late.stdout or b"", late.stderr or b""
    return done.returncode, done.stdout, done.stderr


def seconds(clock):
    """Seconds of the day of a time hh:mm:ss."""
    hours, minutes, secs = (int(part) for part in clock.split(":"))
    return (hours * 60 + minutes) * 60 + secs


def wrong_times(text):
    """Timing lines whose elapsed time is not the time between start and stop."""
    clock = r"(\d\d:\d\d:\d\d)"
    line = f"^Start time = {clock}  Stop time = {clock}  Elapsed time = {clock}$"
    for match in re.finditer(line, text, re.MULTILINE):
        start, stop, elapsed = (seconds(found) for found in match.groups())
        if (stop - start) % DAY != elapsed:
            yield match.group(0)


def mask(text):
    """Replaces what differs from run to run."""
    text = re.sub(r"\b\d\d:\d\d:\d\d\b", "HH:MM:SS", text)
    text = re.sub(r"(TAVENOR INDEX COMMAND   )[0-9]+(\.[0-9]+)*", r"\1VERSION", text)
    return re.sub(r"/dsort[A-Za-z0-9]{6}\b", "/dsortXXXXXX", text)


class Report:
    """Collects what went wrong in a case."""

    def __init__(self):
        self.lines = []

    def add(self, title, details=()):
        self.lines.append(f"--- {title}")
        self.lines.extend(details)

    def compare_text(self, title, expected, data, program):
        """Compares bytes with their expected escaped and masked text."""
        raw = data.decode("latin-1").replace(str(program), "tavindex")
        for line in wrong_times(raw):
            self.add(f"{title}: the elapsed time is wrong", [line])
        actual = mask(readable_bytes.escape(raw.encode("latin-1")))
        if actual != expected:
            lines = difflib.unified_diff(
                expected.splitlines(), actual.splitlines(), "expected", "found", lineterm="", n=100
            )
            self.add(f"{title} differs", lines)

    def compare_bytes(self, title, pieces, data):
        """Compares bytes with the pieces of a description."""
        details = readable_bytes.difference(pieces, data)
        if details:
            self.add(f"{title} differs (- expected, + found)", details)


def work_file_numbers(output):
    """The number of each work file by its name, in the order in which the output names them."""
    names = re.findall(rb"/(dsort[A-Za-z0-9]{6})\b", output)
    return {name.decode(): n for n, name in enumerate(dict.fromkeys(names), 1)}


def files_left(work, numbers):
    """Name and bytes of every file in the folder; anything but a regular file has None."""
    left = {}
    for folder, dirs, names in os.walk(work):
        links = [name for name in dirs if os.path.islink(os.path.join(folder, name))]
        for name in names + links:
            path = Path(folder) / name
            shown = f"dsort-{numbers[name]}" if name in numbers else name
            key = str((Path(folder) / shown).relative_to(work))
            left[key] = path.read_bytes() if stat.S_ISREG(path.lstat().st_mode) else None
    return left


def expected_files(case, inputs):
    """How each file that is left is to be checked: name -> (kind, what)."""
    expected = {}
    for name, data in inputs.items():
        expected[name] = ("hex", [readable_bytes.Piece(0, data, "the input file, unchanged")])
    if (case / "gone").exists():
        for name in (case / "gone").read_text().splitlines():
            del expected[name]
    folder = case / "files"
    for path in folder.rglob("*"):
        if path.is_file():
            name = str(path.relative_to(folder))
            expected.update([expected_file(name, path)])
    return expected


def expected_file(name, path):
    """Name and check of one file in files/."""
    if name.endswith(".text"):
        return name[: -len(".text")], ("text", path.read_text())
    if name.endswith(".hex"):
        return name[: -len(".hex")], ("hex", readable_bytes.parse(path.read_text()))
    if name.endswith(".same"):
        shared = SHARED / path.read_text().strip()
        return name[: -len(".same")], ("hex", readable_bytes.parse(shared.read_text()))
    return name, ("hex", [readable_bytes.Piece(0, path.read_bytes(), "the file as it stands")])


def compare_files(report, expected, left, program):
    """Compares the files that are left with the expected ones."""
    for name in sorted(expected.keys() - left.keys()):
        report.add(f"{name} is missing")
    for name in sorted(left.keys() - expected.keys()):
        data = left[name]
        shown = "no regular file" if data is None else readable_bytes.hex_line(0, data)
        report.add(f"{name} is not expected", [f"+ {shown}"])
    for name in sorted(expected.keys() & left.keys()):
        kind, what = expected[name]
        if left[name] is None:
            report.add(f"{name} is no regular file")
        elif kind == "text":
            report.compare_text(name, what, left[name], program)
        else:
            report.compare_bytes(name, what, left[name])


def check_case(case, program, root):
    """Runs the case in `root` and gives the report of what differs."""
    report, work = Report(), root / "work"
    (work / "tmp").mkdir(parents=True)
    install_program(case, program, root / "bin")
    inputs = inputs_of(case)
    write_inputs(inputs, work)
    status, output, errors = run_commands(case, work, environment(case, root / "bin"))
    wanted = int((case / "exit").read_text())
    if status != wanted:
        shown = "none, it ran too long" if status is None else status
        report.add(f"exit status: expected {wanted}, found {shown}")
    if errors:
        report.add("standard error is not empty", errors.decode("latin-1").splitlines())
    stdout = (case / "stdout").read_text() if (case / "stdout").exists() else ""
    report.compare_text("stdout", stdout, output, program)
    left = files_left(work, work_file_numbers(output))
    compare_files(report, expected_files(case, inputs), left, program)
    return report


def main():
    parser = argparse.ArgumentParser(description="Runs one golden case of the tavindex program.")
    parser.add_argument("--tavindex", required=True, help="the program")
    parser.add_argument("--keep", action="store_true", help="keep the folder the case ran in")
    parser.add_argument("case", help="the folder of the case")
    args = parser.parse_args()
    case, program = Path(args.case).resolve(), Path(args.tavindex).resolve()
    root = Path(tempfile.mkdtemp(prefix="tavcase-"))
    try:
        report = check_case(case, program, root)
    finally:
        if args.keep:
            print(f"kept: {root}")
        else:
            shutil.rmtree(root, ignore_errors=True)
    if report.lines:
        print(f"case {case.name} FAILED: {(case / 'cmd').read_text().strip()}")
        print("\n".join(report.lines))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
