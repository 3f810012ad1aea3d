"""Runs commands turn by turn, and says what they took."""

import os
import statistics
import subprocess
from dataclasses import dataclass
from pathlib import Path


class BenchError(Exception):
    """The bench cannot go on; the text says why."""


@dataclass(frozen=True)
class Figures:
    """Of one command: seconds, and the peak of its memory in MiB."""
    wall: float
    cpu: float
    memory: float


@dataclass(frozen=True)
class Program:
    """A command, and the files that it writes, which are not there when it starts."""
    command: list
    writes: tuple = ()


def remove(directory, names):
    for name in names:
        (directory / name).unlink(missing_ok=True)


class Bench:
    """The directory of the data files, and the programs that were built."""

    def __init__(self, directory, programs):
        self.directory = directory
        self.programs = programs  # name -> path
        self.environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", "TMPDIR": str(directory)}

    def call(self, command, log="call.log"):
        """Runs a command to its end; its output is in the log."""
        path = self.programs.get(command[0], command[0])
        with open(self.directory / log, "wb") as output:
            done = subprocess.run([str(path), *command[1:]], cwd=self.directory, stdout=output,
                                  stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                  env=self.environment, check=False)
        text = (self.directory / log).read_text(errors="replace")
        if done.returncode != 0:
            raise BenchError(f"{' '.join(map(str, command))}\nended with {done.returncode}:\n"
                             f"{text[-2000:]}")
        return text

    def measure(self, program):
        # An output that is there already would be emptied or freed in the time that is measured.
        remove(self.directory, program.writes)
        path = self.programs.get(program.command[0], program.command[0])
        self.call(["measure", "figures", str(path), *program.command[1:]], "measure.log")
        wall, user, system, peak = map(float, (self.directory / "figures").read_text().split())
        return Figures(wall, user + system, peak / 1024)

    def turn_by_turn(self, programs, runs):
        """The medians of each program; each runs once before, to have its files in the cache."""
        for program in programs:
            self.measure(program)
        taken = [[self.measure(program) for program in programs] for _ in range(runs)]
        return [medians(column) for column in zip(*taken)]


def medians(figures):
    return Figures(statistics.median(f.wall for f in figures),
                   statistics.median(f.cpu for f in figures),
                   max(f.memory for f in figures))


def instructions(bench, command):
    """What callgrind counts for one of our programs."""
    valgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    text = bench.call([*valgrind, str(bench.programs[command[0]]), *command[1:]])
    for line in text.splitlines():
        if "Collected :" in line:
            return int(line.split()[-1])
    raise BenchError(f"callgrind counted nothing:\n{text[-2000:]}")


def built(build_directory):
    """The programs of a build, by name."""
    build_directory = Path(build_directory)
    return {
        "tavindex": build_directory / "tavindex",
        "isi-check": build_directory / "tests/checker/isi-check",
        "make_data": build_directory / "bench/make_data",
        "measure": build_directory / "bench/measure",
        "floor": build_directory / "bench/floor",
    }
