#!/usr/bin/env python3
"""Tests of the case runner itself, with small scripts in the place of the program."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import readable_bytes

RUNNER = Path(__file__).resolve().parent / "run_case.py"

GOOD_PROGRAM = r"""#!/bin/sh
printf '%s %s \n' "$0" "$*" | sed 's,^.*/tavindex,tavindex,'
printf '\nTAVENOR INDEX COMMAND   2.10.3\nCreated tmp/dsortaB3xYz as temp file 1\n\033\t'
printf 'key data' > tmp/dsortaB3xYz
printf 'KISI\003\374' > data.ISI
printf '\nStart time = 23:59:59  Stop time = 00:00:01  Elapsed time = 00:00:02\n'
printf 'no line end'
exit 3
"""

GOOD_STDOUT = r"""tavindex a b\s

TAVENOR INDEX COMMAND   VERSION
Created tmp/dsortXXXXXX as temp file 1
\x1b\t
Start time = HH:MM:SS  Stop time = HH:MM:SS  Elapsed time = HH:MM:SS
no line end\c
"""

GOOD_CASE = {
    "cmd": "tavindex a b\n",
    "exit": "3\n",
    "stdout": GOOD_STDOUT,
    "make": 'data.TXT: "one\\n" *2 "x"\n',
    "files/data.ISI.hex": '0: "KISI" # signature\n4: 03 FC # version\n6: # end\n',
    "files/tmp/dsort-1": "key data",
}


class Runner(unittest.TestCase):
    def run_case(self, program=GOOD_PROGRAM, wrapper=None, **changes):
        """Runs the good case with some of its files changed (None: left out)."""
        paths = {name.replace("__", "/").replace("_", "."): name for name in changes}
        case = {**GOOD_CASE, **{path: changes[name] for path, name in paths.items()}}
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            script = root / "tavindex"
            script.write_text(program)
            script.chmod(0o755)
            for name, text in case.items():
                if text is not None:
                    path = root / "case" / name
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_text(text)
            env = {**os.environ, **({"TAVINDEX_WRAPPER": wrapper} if wrapper else {})}
            done = subprocess.run(
                [sys.executable, "-B", RUNNER, "--tavindex", script, root / "case"],
                capture_output=True, text=True, env=env, check=False,
            )
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def assert_fails(self, reason, **changes):
        status, output = self.run_case(**changes)
        self.assertEqual(status, 1)
        self.assertIn(reason, output)

    def test_good_case_passes(self):
        self.assertEqual(self.run_case(), (0, ""))

    def test_wrapper_runs_the_program(self):
        self.assertEqual(self.run_case(wrapper="env WRAPPED=1"), (0, ""))
        status, _ = self.run_case(wrapper="false")
        self.assertEqual(status, 1)
        self.assertEqual(self.run_case(wrapper="false", unwrapped="it needs itself\n"), (0, ""))

    def test_exit_status(self):
        self.assert_fails("exit status: expected 0, found 3", exit="0\n")

    def test_stdout(self):
        self.assert_fails("+no line end\\c", stdout=GOOD_STDOUT.replace("no line end", "another"))
        self.assert_fails("stdout differs", stdout=None)

    def test_elapsed_time(self):
        program = GOOD_PROGRAM.replace("Elapsed time = 00:00:02", "Elapsed time = 00:00:03")
        self.assert_fails("the elapsed time is wrong", program=program)

    def test_standard_error(self):
        self.assert_fails("standard error is not empty", cmd="echo x >&2; tavindex a b")

    def test_field_of_a_binary_file(self):
        changed = '0: "KISI"\n4: 04 FC # version\n6:\n'
        self.assert_fails("- 4: 04 FC # version", files__data_ISI_hex=changed)
        self.assert_fails("+ 4: 03 FC  |..|", files__data_ISI_hex=changed)

    def test_size_of_a_binary_file(self):
        self.assert_fails("size: expected 8, found 6", files__data_ISI_hex='0: "KISI" 03 FC\n8:\n')
        self.assert_fails("size: expected 4, found 6", files__data_ISI_hex='0: "KISI"\n')

    def test_missing_and_unexpected_files(self):
        self.assert_fails("data.ERR is missing", files__data_ERR="x")
        self.assert_fails("tmp/dsort-1 is not expected", **{"files__tmp__dsort-1": None})
        self.assert_fails("data.ISI is not expected", files__data_ISI_hex=None)

    def test_input_files_must_stay_as_they_were(self):
        self.assert_fails("data.TXT differs", cmd="tavindex a b; r=$?; echo y >> data.TXT; exit $r")
        self.assert_fails("data.TXT is missing", cmd="tavindex a b; r=$?; rm data.TXT; exit $r")
        remove = "tavindex a b; r=$?; rm data.TXT; exit $r"
        self.assertEqual(self.run_case(gone="data.TXT\n", cmd=remove), (0, ""))
        self.assert_fails("data.TXT is not expected", gone="data.TXT\n")

    def test_only_regular_files_are_files(self):
        self.assert_fails("data.ISI is no regular file",
                          cmd="tavindex a b; r=$?; rm data.ISI; mkfifo data.ISI; exit $r")

    def test_environment(self):
        self.assert_fails("+EXTRA= TMPDIR=tmp\\c", cmd='printf "EXTRA=$HOME TMPDIR=$TMPDIR"')
        self.assert_fails("+TMPDIR=other\\c", env="TMPDIR=other\n", cmd='printf "TMPDIR=$TMPDIR"')


class ReadableBytes(unittest.TestCase):
    def build(self, text):
        return readable_bytes.build(readable_bytes.parse(text))

    def test_items(self):
        self.assertEqual(self.build('0: "a\\n\\x00\\"" FF # "no" 12'), b'a\n\0"\xff')
        self.assertEqual(self.build("le16 258 le32 0x01020304 le64 1"),
                         b"\2\1\4\3\2\1" + b"\1" + bytes(7))
        self.assertEqual(self.build('*3 "ab" *2 00'), b"ababab\0\0")
        self.assertEqual(self.build("le32s 1 4 2"), b"\1\0\0\0\5\0\0\0")

    def test_offsets(self):
        self.assertEqual(self.build("2: 01\n 02\n6:"), b"\0\0\1\2\0\0")
        with self.assertRaises(readable_bytes.DescriptionError):
            self.build("0: 01 02\n1: 03")

    def test_nonsense_is_refused(self):
        for text in ("XYZ", "0: 1", '"open'):
            with self.assertRaises(readable_bytes.DescriptionError):
                self.build(text)

    def test_escape(self):
        self.assertEqual(readable_bytes.escape(b"a \nb\t\\\r\xff"), "a\\s\nb\\t\\\\\\r\\xff\\c\n")


if __name__ == "__main__":
    unittest.main()
