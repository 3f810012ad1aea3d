#!/usr/bin/env python3
"""test_nightly.py BIN_DIR: examples/nightly over the sample shop, on good nights and bad."""

import fcntl
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
INDEXES = ["bycust.ISI", "byname.ISI", "customers.ISI", "open.ISI", "orders.ISI", "stock.ISI"]
FILE_LOCK, RANGE_LOCK = (0x7FFFFFFFFFFFFFFF, 1), (0x7FFFFFFFFFFFFFFD, 2)


class Nights(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.shop = Path(folder.name)
        self.run_in_shop([ROOT / "examples/make-shop", "."])

    def run_in_shop(self, command):
        env = os.environ | {"PATH": f"{BIN_DIR}:/usr/bin:/bin", "NIGHTLY_PATIENCE": "1"}
        return subprocess.run(command, cwd=self.shop, env=env, capture_output=True, text=True)

    def night(self):
        done = self.run_in_shop([ROOT / "examples/nightly"])
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.splitlines()

    def good_night(self):
        self.assertEqual(self.night(), (0, []))
        self.assertEqual(sorted(path.name for path in self.shop.glob("*.ISI*")), INDEXES)

    def overwrite(self, name, at, data):
        with open(self.shop / name, "r+b") as file:
            file.seek(at)
            file.write(data)

    def bytes_of(self, name):
        return (self.shop / name).read_bytes()

    def test_two_nights(self):
        self.good_night()
        self.good_night()

    def test_a_changed_name_is_indexed_anew(self):
        self.good_night()
        self.overwrite("customers.TXT", 7, b"Zzyzx, Zoe              ")
        self.good_night()
        found = self.run_in_shop([BIN_DIR / "isitool", "find", "byname.ISI", "ZZYZX, ZOE"])
        self.assertEqual(found.returncode, 0)

    def test_a_damaged_index_is_rebuilt(self):
        self.good_night()
        before = self.bytes_of("stock.ISI")
        self.overwrite("stock.ISI", 2048, bytes(512))
        self.good_night()
        self.assertEqual(len(self.bytes_of("stock.ISI")), len(before))
        # Without its header there is no line to rebuild it from.
        self.overwrite("stock.ISI", 0, bytes(1024))
        self.good_night()

    def test_a_number_that_comes_twice(self):
        self.overwrite("customers.TXT", 61, b"107919")
        self.assertEqual(
            self.night(),
            (1, ["nightly: customers.ISI could not be built", "nightly: see customers.ERR"]),
        )
        self.assertEqual(self.bytes_of("customers.ERR").count(b"\n"), 1)
        self.assertFalse((self.shop / "customers.ISI").exists())
        self.assertTrue((self.shop / "stock.ISI").exists())

    def test_a_backup_that_was_left(self):
        self.good_night()
        (self.shop / "byname.ISI.bak").write_bytes(b"left")
        self.overwrite("byname.ISI", 2048, bytes(512))
        before = self.bytes_of("byname.ISI")
        status, words = self.night()
        self.assertEqual((status, len(words)), (1, 1))
        self.assertIn("byname.ISI.bak is left", words[0])
        self.assertEqual(self.bytes_of("byname.ISI"), before)
        self.assertEqual(self.bytes_of("byname.ISI.bak"), b"left")

    def test_locks_of_others(self):
        self.good_night()
        before = self.bytes_of("stock.ISI")
        for start, length in (FILE_LOCK, RANGE_LOCK):
            with open(self.shop / "stock.DAT", "r+b") as data:
                fcntl.lockf(data, fcntl.LOCK_EX, length, start)
                self.assertEqual(self.night(), (1, ["nightly: stock.ISI was not compacted"]))
            self.assertEqual(self.bytes_of("stock.ISI"), before)
            self.assertFalse((self.shop / "stock.ISI.bak").exists())

    def test_no_such_shop(self):
        self.assertEqual(self.run_in_shop([ROOT / "examples/nightly", "nowhere"]).returncode, 1)


if __name__ == "__main__":
    BIN_DIR = Path(sys.argv.pop(1)).resolve()
    unittest.main()
