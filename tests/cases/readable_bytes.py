"""Bytes written so that a person can read them, and the way back from bytes to such text.

A description is a list of lines `OFFSET: items   # comment`:

    0:    "KISI" 03 FC       # signature, version and its complement
    8:    le16 3 le16 150    # record length, key length
    1024: *150 "A"           # a repeat count stands before the item it repeats
    2048:                    # nothing but an offset: zeros up to here

What lies between two lines is zero. An offset may be left out: the line then goes on where the one
before ended. Items:

    4B               one byte, two hex digits
    "text\r\n"       text; escapes \\n \\r \\t \\a \\b \\0 \\" \\\\ \\xNN
    le16 N, le32 N   an unsigned number, decimal or 0x..., little-endian; le64 alike
    le32s A S N      N numbers of 32 bits: A, A + S, A + 2 S, ...
    *N item          the item N times
"""

import re
import struct
from dataclasses import dataclass

ESCAPES = {"n": 10, "r": 13, "t": 9, "a": 7, "b": 8, "0": 0, '"': 34, "\\": 92}
NUMBER_FORMATS = {"le16": "<H", "le32": "<I", "le64": "<Q"}
TOKEN = re.compile(r'\s*(?:(#.*)|("(?:[^"\\]|\\.)*")|([^\s"#]+))')


class DescriptionError(Exception):
    """A description that cannot be read."""


@dataclass
class Piece:
    """What one line of a description stands for."""

    start: int
    data: bytes
    line: str


def tokens_of(line):
    """The tokens of a line without its comment."""
    position, line, found = 0, line.rstrip(), []
    while position < len(line):
        match = TOKEN.match(line, position)
        if not match:
            raise DescriptionError(f"cannot read: {line}")
        if match.group(1):
            break
        found.append(match.group(2) or match.group(3))
        position = match.end()
    return found


def unescape(text):
    """The bytes of a text with escapes."""
    out, position = bytearray(), 0
    while position < len(text):
        char = text[position]
        position += 1
        if char != "\\":
            out += char.encode("latin-1")
        elif text[position] == "x":
            out.append(int(text[position + 1 : position + 3], 16))
            position += 3
        else:
            out.append(ESCAPES[text[position]])
            position += 1
    return bytes(out)


def item_bytes(tokens):
    """Takes one item from the front of `tokens` and gives its bytes."""
    token = tokens.pop(0)
    if token.startswith("*"):
        return int(token[1:]) * item_bytes(tokens)
    if token.startswith('"'):
        return unescape(token[1:-1])
    if token in NUMBER_FORMATS:
        return struct.pack(NUMBER_FORMATS[token], int(tokens.pop(0), 0))
    if token == "le32s":
        first, step, count = (int(tokens.pop(0), 0) for _ in range(3))
        return b"".join(struct.pack("<I", first + step * n) for n in range(count))
    if re.fullmatch(r"[0-9A-Fa-f]{2}", token):
        return bytes.fromhex(token)
    raise DescriptionError(f"unknown item: {token}")


def items_bytes(tokens):
    """The bytes of a list of items."""
    out = bytearray()
    while tokens:
        out += item_bytes(tokens)
    return bytes(out)


def parse(text):
    """The pieces of a description, in ascending order of their offsets."""
    pieces, end = [], 0
    for line in text.splitlines():
        tokens = tokens_of(line)
        if not tokens:
            continue
        start = end
        if re.fullmatch(r"\d+:", tokens[0]):
            start = int(tokens.pop(0)[:-1])
        if start < end:
            raise DescriptionError(f"overlaps the line before: {line}")
        data = items_bytes(tokens)
        pieces.append(Piece(start, data, line))
        end = start + len(data)
    return pieces


def build(pieces):
    """The bytes that pieces stand for, with zeros between them."""
    out = bytearray()
    for piece in pieces:
        out += bytes(piece.start - len(out)) + piece.data
    return bytes(out)


def escape(data):
    """Bytes as text: printable characters and line ends as they are, the rest as escapes.

    A blank before a line end is written \\s, and text that does not end with a line end gets \\c
    and one, so that nothing of what is compared is invisible or changed by an editor.
    """
    names = {13: "\\r", 9: "\\t", 7: "\\a", 8: "\\b", 92: "\\\\"}
    text = "".join(
        names.get(byte) or (chr(byte) if byte == 10 or 32 <= byte < 127 else f"\\x{byte:02x}")
        for byte in data
    )
    if text and not text.endswith("\n"):
        text += "\\c\n"
    return text.replace(" \n", "\\s\n")


def hex_line(start, data):
    """A few bytes in hex and as characters."""
    shown = data[:32]
    hexed = " ".join(f"{byte:02X}" for byte in shown) or "(nothing)"
    chars = "".join(chr(byte) if 32 <= byte < 127 else "." for byte in shown)
    return f"{start}: {hexed}  |{chars}|" + (" ..." if len(data) > len(shown) else "")


def spans(pieces, size):
    """Every part of a file of `size` bytes, zeros between pieces included: (start, end, line)."""
    position, found = 0, []
    for piece in pieces:
        if piece.start > position:
            found.append((position, piece.start, "zeros"))
        position = piece.start + len(piece.data)
        found.append((piece.start, position, piece.line.strip()))
    found.append((position, max(size, position), "nothing (end of the file)"))
    return found


def difference(pieces, actual):
    """The lines of a description that `actual` does not agree with, each with what is there."""
    expected, report = build(pieces), []
    if len(expected) != len(actual):
        report.append(f"  size: expected {len(expected)}, found {len(actual)}")
    for start, end, line in spans(pieces, len(actual)):
        if expected[start:end] == actual[start:end]:
            continue
        first = next(
            n for n in range(start, end) if expected[n : n + 1] != actual[n : n + 1]
        )
        report.append(f"- {line}")
        report.append(f"+ {hex_line(first, actual[first:end])}")
    return report
