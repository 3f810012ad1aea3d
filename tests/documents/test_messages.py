#!/usr/bin/env python3
"""Every text that the programs print stands in the tables of docs/operations.md, and every text of
the tables is printed by one of them.

The texts are taken from the sources: each string literal that reads like a message. What differs
from run to run (%s in the source, {name} in the tables) is cut out of both, and the pieces that are
left must be found, in order, on the other side.
"""

import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
LITERALS = re.compile(r'"(?:[^"\\\n]|\\.)*"(?:\s*(?:PRI\w+\s*)?"(?:[^"\\\n]|\\.)*")*')
CONVERSION = re.compile(r"%[-+ #0]*[\d*]*(?:\.[\d*]+)?(?:hh|h|ll|l|z|j)?[diuxXscp]")
ESCAPES = {"\\n": "\n", "\\r": "\r", "\\b": " ", "\\a": " ", '\\"': '"', "\\\\": "\\", "\\t": "\t"}
QUOTE = re.compile(r"'\\?\"'")  # the character, which begins no literal
# What a %s of a message can become; the tables show it.
INSERTED = ("INDEX", "Indexing", "Compacting", "specified", "maximum")
# Usage texts are documents of their own, and these show an index in words, which is no message.
LEFT_OUT = {"usage.cpp", "header_words.cpp", "info.cpp", "stat.cpp",
            "map_picture.cpp", "map_svg.cpp", "map_text.cpp", "text.cpp", "json.cpp"}
# Pieces of output that are no message either.
NOT_MESSAGES = {" in ", "   address  length    dup  key\n", "isitool: ", "remark: ", "header: ", "sector ", "sector %u: ",
                "deleted record", "isitool (tavindex) %s\n",
                "  record at %llu, %s, duplicate %u, sector %u entry %u\n"}


def unescape(literal):
    pieces = re.findall(r'"((?:[^"\\\n]|\\.)*)"', literal)
    return re.sub(r'\\[nrba"\\t]', lambda found: ESCAPES[found.group()], "".join(pieces))


def fragments(text, variable):
    """The constant pieces of a text, white space made equal."""
    pieces = (re.sub(r"\s+", " ", piece).strip() for piece in variable.split(text))
    return tuple(piece for piece in pieces if re.search(r"\w", piece))


def reads_like_a_message(text):
    return text not in NOT_MESSAGES and re.search(r"[A-Za-z]{2}", text) and re.search(r"\s", text)


def literals_of(path):
    """The string literals of a source file, neighbours joined."""
    source = QUOTE.sub("0", COMMENT.sub("", path.read_text()))
    source = re.sub(r"^#include.*$", "", source, flags=re.MULTILINE)
    return [unescape(literal) for literal in LITERALS.findall(source)]


def sources():
    paths = sorted(ROOT.glob("src/*/*.cpp"))
    return [path for path in paths if path.name not in LEFT_OUT]


def printed_texts():
    """Each message in the sources: its constant pieces, and where it stands."""
    for path in sources():
        for text in literals_of(path):
            if reads_like_a_message(text) and fragments(text, CONVERSION):
                yield fragments(text, CONVERSION), f"{path.relative_to(ROOT)}: {text!r}"


def tables():
    """Each message in the tables: its constant pieces, and its line."""
    text = (ROOT / "docs/operations.md").read_text()
    part = text[text.index("\n## Messages\n") :]
    for row in re.findall(r"^\| `(.+?)` \|", part, re.MULTILINE):
        yield fragments(row, re.compile(r"\{[^}]*\}")), row


def found_in(pieces, whole):
    """Whether the pieces stand in the whole, in order."""
    joined, at = "\0".join(whole), 0
    for piece in pieces:
        at = joined.find(piece, at)
        if at < 0:
            return False
        at += len(piece)
    return True


def covers(printed, row):
    """Whether a printed text has every constant piece of a row, or, where a message is printed by
    several calls, stands in the row itself."""
    pieces = fragments(re.sub(rf"\b({'|'.join(INSERTED)})\b", "{}", row), re.compile(r"\{[^}]*\}"))
    return all(piece in printed for piece in pieces) or printed in " ".join(pieces)


class Messages(unittest.TestCase):
    def test_every_message_is_in_the_tables(self):
        documented = [pieces for pieces, _ in tables()]
        texts = list(printed_texts())
        self.assertGreater(len(texts), 100)
        missing = [
            where for pieces, where in texts if not any(found_in(pieces, row) for row in documented)
        ]
        self.assertEqual(missing, [])

    def test_every_row_is_printed(self):
        printed = [" ".join(pieces) for pieces, _ in printed_texts()]
        stale = [row for _, row in tables() if not any(covers(text, row) for text in printed)]
        self.assertEqual(stale, [])

    def test_inserted_words_are_in_the_sources(self):
        words = {text for path in sources() for text in literals_of(path)}
        self.assertEqual(set(INSERTED) - words, set())

    def test_no_message_stands_twice(self):
        rows = [row for _, row in tables()]
        self.assertEqual(sorted(set(rows)), sorted(rows))


class Reader(unittest.TestCase):
    def test_literals_are_joined_and_cut(self):
        (literal,) = LITERALS.findall('f("\\nA %d b\\n"\n  "c\\n", x)')
        self.assertEqual(fragments(unescape(literal), CONVERSION), ("A", "b c"))

    def test_order_counts(self):
        self.assertTrue(found_in(("a", "b"), ("a", "b")))
        self.assertFalse(found_in(("b", "a"), ("a", "b")))


if __name__ == "__main__":
    unittest.main()
