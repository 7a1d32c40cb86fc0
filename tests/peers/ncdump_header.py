# SPDX-License-Identifier: MIT
"""Reads the text that `ncdump -h -p 9,17` writes (package netcdf-bin), in which every number has all its digits.

Names and texts stay bytes: those of a file need not be of any encoding.
"""
import re
import struct
import subprocess
from dataclasses import dataclass, field

NAME = rb'(?:\\.|[^\\\s:=(),;"])+'
FIRST_LINE = re.compile(rb'netcdf [^\n]* \{\n')
SECTION = re.compile(rb'dimensions:\n|variables:\n|\n// global attributes:\n')
DIMENSION = re.compile(rb'\t(%s) = (?:(\d+) ;|UNLIMITED ; // \((\d+) currently\))\n' % NAME)
VARIABLE = re.compile(rb'\t(byte|char|short|int|float|double) (%s)(?:\((%s(?:, %s)*)\))? ;\n' % (NAME, NAME, NAME))
ATTRIBUTE = re.compile(rb'\t\t(%s)? ?:(%s) = ((?:"(?:\\.|[^"\\])*"|[^";])+) ;\n' % (NAME, NAME))
TEXT = re.compile(rb'"((?:\\.|[^"\\])*)"')
ESCAPE = re.compile(rb'\\([0-7]{3}|.)')
CONTROLS = {b'n': b'\n', b't': b'\t', b'b': b'\b', b'f': b'\f', b'r': b'\r', b'v': b'\v'}
NUMBER_TYPES = {b'b': 'byte', b's': 'short', b'f': 'float'}


@dataclass
class Dimension:
    name: bytes
    length: int  # 0 for the record dimension


@dataclass
class Attribute:
    name: bytes
    type: str
    values: object  # bytes for char, without closing zero bytes, which ncdump leaves out; else a list


@dataclass
class Variable:
    name: bytes
    type: str
    dimensions: list  # their names
    attributes: list = field(default_factory=list)


@dataclass
class Header:
    records: int = 0
    dimensions: list = field(default_factory=list)
    attributes: list = field(default_factory=list)
    variables: list = field(default_factory=list)


def unescaped(text):
    def character(found):
        code = found[1]
        return bytes([int(code, 8)]) if len(code) == 3 else CONTROLS.get(code, code)
    return ESCAPE.sub(character, text)


def number(text):
    """Type and value; a float is rounded to what its four bytes hold."""
    kind = NUMBER_TYPES.get(text[-1:])
    digits = text[:-1] if kind else text
    if kind in ('byte', 'short'):
        return kind, int(digits)
    if kind == 'float':
        return kind, struct.unpack('f', struct.pack('f', float(digits)))[0]
    if re.fullmatch(rb'-?\d+', digits):
        return 'int', int(digits)
    return 'double', float(digits)


def attribute(name, text):
    if text.startswith(b'"'):
        return Attribute(unescaped(name), 'char', b''.join(map(unescaped, TEXT.findall(text))))
    numbers = [number(item.strip()) for item in text.split(b',')]
    kinds = {kind for kind, _ in numbers}
    assert len(kinds) == 1, text
    return Attribute(unescaped(name), kinds.pop(), [value for _, value in numbers])


class Reader:
    def __init__(self, text):
        self.text, self.place, self.header = text, 0, Header()

    def take(self, pattern):
        found = pattern.match(self.text, self.place)
        if found:
            self.place = found.end()
        return found

    def read(self):
        assert self.take(FIRST_LINE), self.text[:80]
        while self.text[self.place:] != b'}\n':
            if not (self.take(SECTION) or self.dimension() or self.variable() or self.attribute()):
                raise ValueError(b'ncdump says: ' + self.text[self.place:self.place + 80])
        return self.header

    def dimension(self):
        found = self.take(DIMENSION)
        if found:
            self.header.dimensions.append(Dimension(unescaped(found[1]), int(found[2] or 0)))
            self.header.records = int(found[3] or self.header.records)
        return found

    def variable(self):
        found = self.take(VARIABLE)
        if found:
            names = found[3].split(b', ') if found[3] else []
            self.header.variables.append(
                Variable(unescaped(found[2]), found[1].decode(), [unescaped(name) for name in names]))
        return found

    def attribute(self):
        found = self.take(ATTRIBUTE)
        if not found:
            return None
        if found[1] is None:
            owner = self.header
        else:
            owner = self.header.variables[-1]
            assert owner.name == unescaped(found[1])
        owner.attributes.append(attribute(found[2], found[3]))
        return found


def read(path, timeout=None):
    run = subprocess.run(['ncdump', '-h', '-p', '9,17', path], capture_output=True, check=True, timeout=timeout)
    return Reader(run.stdout).read()
