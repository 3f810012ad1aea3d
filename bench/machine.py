"""What the figures were taken on."""

import datetime
import os
import platform
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def first_line(command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False)
    return done.stdout.splitlines()[0].strip() if done.stdout else "unknown"


def processor():
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def memory_gib():
    return os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30


def system():
    for line in Path("/etc/os-release").read_text().splitlines():
        if line.startswith("PRETTY_NAME="):
            return line.split("=", 1)[1].strip('"')
    return platform.system()


def commit():
    """The commit that was built, with a mark when files were changed since."""
    name = first_line(["git", "-C", str(ROOT), "rev-parse", "--short", "HEAD"])
    changed = subprocess.run(["git", "-C", str(ROOT), "diff", "--quiet", "HEAD", "--", "src"],
                             stderr=subprocess.DEVNULL, check=False).returncode
    return f"{name} with changes" if changed else name


def version():
    """As CMakeLists.txt gives it."""
    words = (ROOT / "CMakeLists.txt").read_text().split()
    return words[words.index("VERSION", words.index("project(tavindex")) + 1]


def describe(bench):
    """Name and value of everything that the figures depend on."""
    files = first_line(["findmnt", "-n", "-o", "FSTYPE", "-T", str(bench.directory)])
    load = ", ".join(f"{value:.1f}" for value in os.getloadavg())
    return [
        ("date", datetime.date.today().isoformat()),
        ("processor", f"{processor()}, {os.cpu_count()} cores"),
        ("memory", f"{memory_gib():.0f} GiB"),
        ("system", f"{system()}, kernel {platform.release()}, files on {files}"),
        ("load at the end (1, 5, 15 minutes)", load),
        ("tavindex", f"{version()}, commit {commit()}, release build"),
        ("compiler", first_line(["c++", "--version"])),
        ("sort", first_line(["sort", "--version"])),
        ("SQLite", first_line(["sqlite3", "--version"]).split()[0]),
        ("callgrind", first_line(["valgrind", "--version"])),
    ]
