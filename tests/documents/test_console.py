#!/usr/bin/env python3
"""test_console.py BIN_DIR: runs every command of the README, of docs/ and of examples/ with the
programs in BIN_DIR, and compares what they show. console.py says how a document marks its blocks.

    python3 tests/documents/test_console.py build/release            all documents
    python3 tests/documents/test_console.py build/release README.md  one of them, as run by CTest
"""

import difflib
import os
import re
import sys
import tempfile
import unittest
from pathlib import Path

import console

ROOT = Path(__file__).resolve().parent.parent.parent
DOCUMENTS = sorted([ROOT / "README.md", *ROOT.glob("docs/*.md"), *ROOT.glob("examples/*.md")])
# A command that hides outside of a block. Synopses have a brace or a capital operand.
HIDDEN = re.compile(
    r"^    +(?:\$ )?(?:tavindex|isitool|sudo|cmake|ctest|cpack|apt\S*|\./\S+) (?!.*\{)"
)


def environment(home):
    """The environment of the commands: nothing of the caller's but sanitizer settings."""
    env = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
    path = f"{BIN_DIR}:{ROOT / 'examples'}:/usr/bin:/bin"
    return env | {"PATH": path, "LC_ALL": "C.UTF-8", "TERM": "dumb", "HOME": str(home), "TZ": "UTC"}


class ConsoleRules(unittest.TestCase):
    """The reader of blocks and the comparison can themselves fail."""

    def test_commands_and_their_output(self):
        (block,) = console.blocks_of("```console\n$ a\nb\n$ c \\\n> d\n```\n")
        first, second = block.commands()
        self.assertEqual((first.text, first.expected), ("a", ["b"]))
        self.assertEqual((second.text, second.expected), ("c \\\nd", []))

    def test_comparison(self):
        self.assertTrue(console.output_matches(["a [..] z", "10:00:00"], ["a b z", "23:59:59"]))
        self.assertTrue(console.output_matches(["a", "...", "z"], ["a", "b", "c", "z"]))
        self.assertFalse(console.output_matches(["a", "...", "z"], ["a", "b"]))
        self.assertFalse(console.output_matches(["a"], ["a", "b"]))
        self.assertFalse(console.output_matches([], ["a"]))
        self.assertFalse(console.output_matches(["a.c"], ["abc"]))

    def test_what_a_terminal_shows(self):
        shown = console.as_shown(b"Sort train 10\rSort tra\rab\n\n\x1b[31mx\n12345\r6\x1b[K\n")
        self.assertEqual(shown, ["abrt train 10", "", "x", "6"])

    def test_terminal_keeps_folder_and_status(self):
        with tempfile.TemporaryDirectory() as folder:
            terminal = console.Terminal(folder, environment(folder))
            self.assertEqual(terminal.run("mkdir sub; cd sub"), [])
            self.assertEqual(terminal.run('basename "$PWD"; exit 3'), ["sub"])
            self.assertEqual(terminal.run("echo $?"), ["3"])
            terminal.run("test -t 1 && test -t 0")
            self.assertEqual(terminal.status == 0, terminal.is_terminal)


class Documents(unittest.TestCase):
    def check_document(self, path):
        text = path.read_text()
        for number, line in enumerate(text.splitlines(), 1):
            where = f"{path.name}:{number}"
            self.assertIsNone(HIDDEN.match(line), f"{where}: a command outside of a block")
        with tempfile.TemporaryDirectory(prefix="tavdoc-") as folder:
            terminal = console.Terminal(folder, environment(folder))
            for block in console.blocks_of(text):
                with self.subTest(block=f"{path.name}:{block.line}"):
                    self.check_block(path, block, terminal)

    def check_block(self, path, block, terminal):
        word = block.kind.split(" ")[0]
        if word == "sh":
            self.assertTrue(block.reason, "a block that is not run needs a reason before it")
            print(f"{path.name}:{block.line}: not run: {block.reason}")
            return
        if word != "console":
            return
        self.assertIn(block.kind, ("console", "console any-output"))
        commands = block.commands()
        self.assertTrue(commands, "a console block without a command")
        for command, following in zip(commands, commands[1:] + [None]):
            shown = terminal.run(command.text)
            if following is None or following.text != "echo $?":
                self.assertEqual(terminal.status, 0, f"{command.text}\n" + "\n".join(shown))
            if block.kind == "console":
                self.compare(path, command, shown)

    def compare(self, path, command, shown):
        expected = list(command.expected)
        while expected and not expected[-1].strip():
            expected.pop()
        if not console.output_matches(expected, shown):
            lines = difflib.unified_diff(expected, shown, "document", "found", lineterm="", n=50)
            self.fail(f"{path.name}:{command.line}: {command.text}\n" + "\n".join(lines))


def add_test(path):
    name = re.sub(r"\W", "_", str(path.relative_to(ROOT)))
    setattr(Documents, f"test_{name}", lambda self: self.check_document(path))


if __name__ == "__main__":
    BIN_DIR = Path(sys.argv.pop(1)).resolve()
    chosen = [ROOT / name for name in sys.argv[1:]]
    for document in chosen or DOCUMENTS:
        add_test(document)
    unittest.main(argv=sys.argv[:1])
