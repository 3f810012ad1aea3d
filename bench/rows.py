"""What is measured: each row is one kind of work, held against another program or run.

The commands run in the directory of the data files. {data} stands for the name of the row's data
file, {isi} for the index that is built, {out} for what a rival writes.
"""

from dataclasses import dataclass

MILLION = 1_000_000
DEFAULT_BUDGET = 1_048_576

# 32768 items of 20 bytes fill an area of this size: 24 bytes for each with its reference, and two
# spare places. A power of two is what a Shell sort with halved gaps likes least.
BUDGET_OF_32768 = (32768 + 2) * 24

# 31 single columns in no order, none of them beside the next.
SINGLE_COLUMNS = ",".join(str(i * 37 % 97 + 1) for i in range(31))


@dataclass(frozen=True)
class Data:
    """A data file of make_data; `millions` of records."""
    kind: str
    millions: int = 1

    @property
    def name(self):
        return f"{self.kind}-{self.millions}m.txt"


@dataclass(frozen=True)
class Build:
    """One index build: its data, its command line, and how isi-check is told of it."""
    data: Data = Data("random")
    options: str = ""
    columns: str = "1-10"
    pre: tuple = ()
    field: str = ""  # behind the index's name: a record length
    check: tuple = ()

    @property
    def default_budget(self):
        return not any(option.startswith("-m") for option in self.pre)

    def command(self, isi):
        line = f"{self.data.name},{isi}{self.field}"
        return ["tavindex", *self.pre, line, f"-{self.options}{self.columns}"]

    def checks(self):
        return ["--data", self.data.name, "--columns", self.columns, "--fill", "100", *self.check]


@dataclass(frozen=True)
class Row:
    work: str
    build: Build
    against: str  # a rival's name, or PLAIN or BUILDING
    target: float
    compaction: bool = False  # of the index that `build` makes, in place


PLAIN = "the random run"
BUILDING = "building it"


def against_others():
    million = Build()
    yield Row("random 10-byte keys", million, "sort", 0.30)
    yield Row("random 10-byte keys", million, "SQLite", 0.18)
    yield Row("random 10-byte keys", million, "floor", 1.25)
    yield Row("10,000,000 random 10-byte keys", Build(Data("random", 10)), "sort", 0.27)
    yield Row("already in order", Build(Data("sorted")), "sort", 0.28)
    yield Row("60-byte keys", Build(columns="1-60"), "sort", 0.48)
    yield Row("60-byte keys, 50 bytes out of 64 heads", Build(Data("heads"), columns="1-60"),
              "sort", 0.62)
    yield Row("20-byte keys with a constant head of 10", Build(Data("constant-head"), columns="1-20"),
              "sort", 0.45)


def orders():
    budget = f"-m{BUDGET_OF_32768}"
    for method, option in (("Shell sort", "-0"), ("quicksort", "-1")):
        yield f"in order backwards, {method}", Build(Data("backwards"), pre=(option,))
        yield f"rising then falling, {method}", Build(Data("rise-fall"), pre=(option,))
        yield f"all equal, {method}", Build(Data("equal"), pre=(option,))
        yield f"32,768 items an area, {method}", Build(pre=(option, budget))


def duplicates():
    repeated = Data("duplicates")
    yield "20 % duplicates", Build(repeated)
    yield "20 % duplicates, `n0`", Build(repeated, "n0,", check=("--duplicates", "n0"))
    yield "20 % duplicates, `e`", Build(repeated, "e,")
    yield "31 single columns out of order", Build(columns=SINGLE_COLUMNS)


def formats():
    tabs = ("--compressed",)
    yield "fixed binary, `f`", Build(Data("binary"), "f,", field=",l100", check=("--binary", "100"))
    yield "variable, `v`", Build(Data("variable"), "v,", check=("--variable",))
    yield "CR LF", Build(Data("crlf"))
    yield "TABs, `s`", Build(Data("tabs"), "s,", check=tabs)
    yield "TABs, one before the key, `s`", Build(Data("tabs-before"), "s,", "9-18", check=tabs)


def against_the_random_run():
    for target, works in ((1.2, orders()), (1.5, duplicates()), (1.3, formats())):
        for work, build in works:
            yield Row(work, build, PLAIN, target)
    yield Row("64 MiB of sort memory, `-m67108864`", Build(pre=("-m67108864",)), PLAIN, 1.1)
    yield Row("compaction in place, sync included", Build(), BUILDING, 0.8, compaction=True)


MEMORY_TARGET_MIB = 6
