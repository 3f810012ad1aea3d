#!/usr/bin/env python3
"""test_pages.py BIN_DIR: what the manual pages and documents say beside their commands agrees with
the programs in BIN_DIR, with the sources, and among each other."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PAGES = sorted((ROOT / "man").glob("*.[1-9]"))


def text_of(name):
    return (ROOT / name).read_text()


def run(command, folder, expected=0):
    """Runs a shell command with the programs on the PATH; gives its output."""
    env = os.environ | {"PATH": f"{BIN_DIR}:{ROOT / 'examples'}:/usr/bin:/bin", "LC_ALL": "C.UTF-8"}
    done = subprocess.run(
        ["sh", "-c", command], cwd=folder, env=env, capture_output=True, text=True, check=False
    )
    if done.returncode != expected:
        raise AssertionError(f"{command}: status {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


class Version(unittest.TestCase):
    """The version stands in CMakeLists.txt; what tells it or its day must tell the same."""

    def setUp(self):
        project = re.search(r"^project\(tavindex VERSION (\S+)", text_of("CMakeLists.txt"), re.M)
        self.version = project[1]
        release = r"^## \[(\d\S*)\] - (\d{4}-\d\d-\d\d)$"
        self.newest = re.search(release, text_of("CHANGELOG.md"), re.M)

    def test_change_log(self):
        self.assertEqual(self.newest[1], self.version)

    def test_programs(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertIn(f"COMMAND   {self.version}\n", run("tavindex '-?'", folder, expected=1))
            self.assertIn(self.version, run("isitool --version", folder))

    def test_days_of_manual_pages(self):
        for page in PAGES:
            day = re.search(r"^\.Dd (.*)$", page.read_text(), re.M)[1]
            with tempfile.TemporaryDirectory() as folder:
                found = run(f"date -d '{day}' +%F", folder).strip()
            self.assertEqual(found, self.newest[2], page.name)


class Manual(unittest.TestCase):
    def test_messages(self):
        """The diagnostics of tavindex(1) are the rows of the tables, but for isitool's and those of
        debug mode."""
        rows = text_of("docs/operations.md")
        rows = rows[rows.index("### The command line is refused") : rows.index("### isitool")]
        expected = re.findall(r"^\| `(.+?)` \|", rows, re.M)
        page = text_of("man/tavindex.1")
        shown = re.findall(r'^\.It "(.*)"$', page[page.index(".Sh DIAGNOSTICS") :], re.M)
        for before, after in ((r"\(aq", "'"), (r"\(dq", '"'), (r" \ ", "  ")):
            shown = [line.replace(before, after) for line in shown]
        shown = [re.sub(r"\\fI(\w+)\\fR", r"{\1}", line) for line in shown]
        self.assertEqual(shown, expected)

    def test_examples(self):
        """The examples of a page run one after the other in the sample shop."""
        for page in PAGES:
            parts = page.read_text().split("\n.Sh EXAMPLES\n")
            if len(parts) == 1:
                continue
            part = parts[1].split("\n.Sh ")[0]
            examples = re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed", part, re.M | re.S)
            lines = "".join(examples).splitlines()
            self.assertGreaterEqual(len(lines), 4, page.name)
            with tempfile.TemporaryDirectory() as folder:
                run("make-shop . && tavindex customers -1-6", folder)
                run("tavindex customers,byname -u,8-31", folder)
                for line in lines:
                    run(line.replace(r"\e", "\\"), folder)

    def test_installed(self):
        listed = text_of("packaging/package.cmake")
        for page in PAGES:
            self.assertIn(f"man/{page.name}", listed)


class Settings(unittest.TestCase):
    def test_names(self):
        """Every variable that the program looks up is told."""
        sources = "".join(path.read_text() for path in ROOT.glob("src/names/*.cpp"))
        sources += text_of("src/setup/options.cpp") + text_of("src/setup/work_files.cpp")
        names = set(re.findall(r'"((?:KVR|TAVDB|DB|TMP)[A-Z_]+)"', sources))
        self.assertGreater(len(names), 10)
        page = text_of("man/tavindex.1")
        for name in names:
            self.assertRegex(text_of("README.md"), rf"`{name}\b|`{name}\{{")
            self.assertRegex(page, rf"\b{name}(\b| Ns)")


class Isitool(unittest.TestCase):
    """What the program says of itself is told by its page and its completions."""

    def setUp(self):
        with tempfile.TemporaryDirectory() as folder:
            usage = run("isitool --help", folder)
        self.options = set(re.findall(r"^  --([a-z-]+)", usage, re.M))
        self.commands = set(re.findall(r"^  ([a-z]+) FILE", usage, re.M))
        self.assertGreater(len(self.options), 5)
        self.assertGreater(len(self.commands), 5)

    def test_manual_page(self):
        page = text_of("man/isitool.1")
        self.assertEqual(set(re.findall(r"^\.It Cm ([a-z]+)$", page, re.M)), self.commands)
        part = page[page.index("The options are as follows") : page.index(".Sh CHECKING")]
        named = re.findall(r"Fl -([a-z-]+)", "\n".join(re.findall(r"^\.It (.*)$", part, re.M)))
        self.assertEqual(set(named), self.options)

    def test_completions(self):
        bash, zsh, fish = (text_of(f"completions/{name}") for name in
                           ("bash/isitool", "zsh/_isitool", "fish/isitool.fish"))
        self.assertEqual(set(re.findall(r"--([a-z-]+)", re.sub(r"#.*", "", bash))), self.options)
        self.assertEqual(set(re.findall(r"'--([a-z-]+)", zsh)), self.options)
        self.assertEqual(set(re.findall(r"^complete .*? -l ([a-z-]+)", fish, re.M)), self.options)
        for text in (bash, zsh, fish):
            for command in self.commands:
                self.assertRegex(text, rf"\b{command}\b")


class FormatExample(unittest.TestCase):
    def test_bytes(self):
        """The file that docs/isi-format.md shows byte for byte is what its command builds."""
        text = text_of("docs/isi-format.md")
        text = text[text.index("## Example") :]
        shown = bytearray(int(re.search(r"tiny\.ISI \((\d+) bytes", text)[1]))
        lines = re.findall(r"^([0-9a-f]{4})  ((?:[0-9a-f]{2} ){16})", text, re.M)
        self.assertGreater(len(lines), 20)
        for place, line in lines:
            at = int(place, 16)
            shown[at : at + 16] = bytes.fromhex(line)
        with tempfile.TemporaryDirectory() as folder:
            run("\n".join(re.findall(r"^\$ (.*)$", text, re.M)), folder)
            self.assertEqual((Path(folder) / "tiny.ISI").read_bytes(), bytes(shown))


class Links(unittest.TestCase):
    def test_files_and_headings(self):
        """Links of the documents lead to files and headings that are there."""
        for path in [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("tests/**/*.md")]:
            for target in re.findall(r"\]\(([^)\s]+)\)", path.read_text()):
                if re.match(r"https?:", target):
                    continue
                name, _, heading = target.partition("#")
                file = path.parent / name if name else path
                self.assertTrue(file.exists(), f"{path.name}: {target}")
                if heading:
                    titles = re.findall(r"^#+ (.*)$", file.read_text(), re.M)
                    words = [re.sub(r"[^\w -]", "", title.lower()) for title in titles]
                    anchors = [title.replace(" ", "-") for title in words]
                    self.assertIn(heading, anchors, f"{path.name}: {target}")

    def test_paths(self):
        """What docs/testing.md names is there; a test may be named without its suffix."""
        path = r"`((?:src|tests|packaging|bench|docs)/[\w./]+)`"
        for name in re.findall(path, text_of("docs/testing.md")):
            self.assertTrue(list(ROOT.glob(f"{name.rstrip('/')}*")), name)


if __name__ == "__main__":
    BIN_DIR = Path(sys.argv.pop(1)).resolve()
    unittest.main()
