"""The results as Markdown tables and as a plot."""

from dataclasses import dataclass
from html import escape

import rows
from measuring import Figures


@dataclass(frozen=True)
class Measured:
    row: rows.Row
    ours: Figures
    other: Figures

    @property
    def ratio(self):
        return self.ours.wall / self.other.wall

    @property
    def cpu_ratio(self):
        return self.ours.cpu / self.other.cpu

    @property
    def reached(self):
        return self.ratio <= self.row.target


@dataclass(frozen=True)
class Findings:
    results: list
    memory: dict
    instructions: float
    checked: int
    runs: int
    records: int
    machine: list


INTRODUCTION = """# Performance

What an index build takes, beside what other programs and other builds take on the same machine, in
the same minutes, over the same files. `bench/run` wrote this page.

![Ratios and targets](performance.svg)

## How to read it

- *Ratio* is our time divided by the other's: below 1 we are faster. The targets are the most that the
  ratio may be. It is the ratio of the medians of {runs} runs each, taken turn by turn (ours, the other,
  ours, ...), after one run of each that is not counted. The times are wall times; *CPU ratio* is the
  same for user and system time, which says less about the disk and more about the program.
- Records are 100 bytes and an LF, {records:,} of them unless the row says otherwise, from
  `bench/make_data`. The data files are in the page cache. Sort memory is the default (1 MiB), also in
  the rival sort. Everything runs in one thread, and no output file is there when a run starts.
- *sort* is `LC_ALL=C sort -s -k1.1,1.10 -S 1M --parallel=1` into a file, with the columns of the row. It
  writes whole records; a build writes keys.
- *SQLite* imports ready lines of key and position and creates an index, journal and sync off.
- *floor* (`bench/floor.cpp`) reads the data in blocks, finds the record ends, sorts key prefixes in
  memory (all of it, without a budget) and writes leaves: the least that such a build must do.
- *{plain}* is the build of the first row, taken again beside each row.
- Every index that was measured was proven by `isi-check` against its data: {checked} of {checked}.
"""


def table(results):
    lines = ["| work | against | ours, s | other, s | ratio | target | | CPU ratio |",
             "|---|---|---:|---:|---:|---:|---|---:|"]
    for result in results:
        row = result.row
        lines.append(f"| {row.work} | {row.against} | {result.ours.wall:.3f} | "
                     f"{result.other.wall:.3f} | {result.ratio:.2f} | {row.target:.2f} | "
                     f"{'ok' if result.reached else '**missed**'} | {result.cpu_ratio:.2f} |")
    return lines


def memory_lines(memory):
    work = max(memory, key=memory.get)
    peak = memory[work]
    state = "ok" if peak <= rows.MEMORY_TARGET_MIB else "**missed**"
    return ["| peak memory at the default budget | MiB | target | |", "|---|---:|---:|---|",
            f"| the least of all rows | {min(memory.values()):.1f} | | |",
            f"| the most ({work}) | {peak:.1f} | {rows.MEMORY_TARGET_MIB} | {state} |", "",
            "That is resident memory, the shared libraries included. It does not grow with the data.",
            "Beside the sort memory a build takes 256 KiB for its writes, 256 KiB for key prefixes,",
            "160 KB for the starts of trains and 64 KiB for its reads."]


def markdown(found):
    others = [r for r in found.results if r.row.against not in (rows.PLAIN, rows.BUILDING)]
    own = [r for r in found.results if r not in others]
    lines = [INTRODUCTION.format(runs=found.runs, records=found.records, checked=found.checked,
                                 plain=rows.PLAIN.capitalize())]
    lines += ["## Against other programs", "", *table(others), ""]
    lines += ["## Against our own build", "", *table(own), ""]
    lines += ["## Memory and instructions", "", *memory_lines(found.memory), "",
              f"The first row takes **{found.instructions:.0f} instructions a record** (callgrind). "
              "That figure hardly depends",
              "on the machine; `bench/compare BASE` holds a change against it.", ""]
    lines += ["## Machine", "", "| | |", "|---|---|",
              *(f"| {name} | {value} |" for name, value in found.machine)]
    return "\n".join(lines) + "\n"


# The plot: a bar for each ratio, a mark for its target.
LINE = 22
TOP = 54
LABELS = 400
SCALE = 300  # pixels of a ratio of 1
AXIS_END = 1.75
WIDTH = LABELS + int(SCALE * AXIS_END) + 60
REACHED = "#3b7dd8"
MISSED = "#d9622b"
STYLE = ("text{font:13px sans-serif;fill:#222}.note{fill:#666}.value{font-size:12px}"
         "line{stroke:#ddd}.target{stroke:#222;stroke-width:3}")


def text(x, y, words, anchor="start", kind=""):
    style = f' class="{kind}"' if kind else ""
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}"{style}>{escape(words)}</text>'


def bar(result, y):
    length = min(result.ratio, AXIS_END) * SCALE
    mark = LABELS + result.row.target * SCALE
    end = max(LABELS + length, mark)
    label = f"{result.row.work} / {result.row.against}".replace("`", "")
    return [text(LABELS - 8, y + 14, label, "end"),
            f'<rect x="{LABELS}" y="{y + 3}" width="{length:.1f}" height="{LINE - 6}" '
            f'fill="{REACHED if result.reached else MISSED}"/>',
            f'<line class="target" x1="{mark:.1f}" x2="{mark:.1f}" y1="{y + 1}" '
            f'y2="{y + LINE - 1}"/>',
            text(end + 6, y + 14, f"{result.ratio:.2f}", kind="value")]


def axis(height):
    parts = []
    for quarter in range(int(AXIS_END * 4) + 1):
        x = LABELS + quarter * SCALE / 4
        parts.append(f'<line x1="{x:.0f}" x2="{x:.0f}" y1="{TOP - 6}" y2="{height - 8}"/>')
        parts.append(text(x, TOP - 12, f"{quarter / 4:g}", "middle", "note"))
    return parts


def svg(results):
    height = TOP + LINE * len(results) + 14
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}">', f"<style>{STYLE}</style>",
             f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>',
             text(LABELS, 18, "our time / the other's; the black mark is the target", kind="note"),
             *axis(height)]
    for number, result in enumerate(results):
        parts += bar(result, TOP + number * LINE)
    return "\n".join([*parts, "</svg>"]) + "\n"
