#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Runs the command again and again, each time with another call failing, and holds what it does against what it
does undisturbed. What is claimed, and how one run is repeated: docs/torture.md.

A run is named CASE/CLASS/CALLERS/MODE/NTH, for instance dump-dbase/allocation/own/once/1071.
"""
import argparse
import collections
import concurrent.futures
import contextlib
import itertools
import json
import os
import pathlib
import random
import re
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import threading
import zlib

# Libraries that a failed call of their own may crash or keep busy for ever, by the class of the call; why is told
# in docs/torture.md.
THIRD_PARTIES = {"place": ("libhdf5_serial.so",), "allocation": ("libfontconfig.so", "libproj.so")}
GIVING_UP = ("libnetcdf.so", "libfontconfig.so")  # when a signal interrupts a call of their own
PASSING = ("libc.so", "libstdc++.so", "libgcc_s.so")
FOREIGN = ("Fontconfig error",)  # lines of others on standard error
OLD = b"what was there before\n"
DATE = re.compile(rb"/CreationDate \([^)]*\)")  # of a PDF
# At least as many allocations as a wrong command line makes behind the parser's set-up, to tell what is wrong (6 when
# they were looked at): all before these belong to the set-up, which every command does alike.
TELLING_WHAT_IS_WRONG = 60
NOT_CLEAR = re.compile(r"std::|bad_alloc|basic_string|vector::|terminate|Success$|unknown error", re.I)
MEMORY_TOLD = "lindra: memory is exhausted; "

Run = collections.namedtuple("Run", "case kind callers mode nth")
Judgement = collections.namedtuple("Judgement", "run outcome known_crash complaint")
Outcome = collections.namedtuple("Outcome", "code output errors files calls failed place ended")


# --- The cases ---

class Case:
    """A command line. {in} is the directory of the inputs; files are named relative to the run's own directory."""

    def __init__(self, name, arguments, outputs=(), old=()):
        self.name, self.arguments, self.outputs, self.old = name, arguments.split(), set(outputs), set(old)

    def prepare(self, directory, inputs):
        for name in self.old:
            (directory / name).write_bytes(OLD)

    def contents(self, directory):
        """Every file of the run's directory, with what it holds, and every directory that holds nothing."""
        inside = {str(path.relative_to(directory)): path for path in sorted(directory.rglob("*"))}
        files = {name: DATE.sub(b"", path.read_bytes()) for name, path in inside.items() if path.is_file()}
        empty = {name + "/": b"" for name, path in inside.items() if path.is_dir() and not any(path.iterdir())}
        return {**files, **empty}

    # What is wrong with an outcome that is not the undisturbed one: None where nothing is. Each case tells what else
    # than the claims of all it allows, and why.

    def complaint_about_files(self, outcome, undisturbed):
        for name, content in outcome.files.items():
            if name not in self.outputs:
                return f"{name} is left behind"
            if content == undisturbed.files.get(name):
                continue
            if outcome.code == 0:
                return f"{name} differs, and the exit status is 0"
            if not (name in self.old and content == OLD):
                return f"{name} is neither what it was nor complete"
        missing = (self.outputs if outcome.code == 0 else self.old) - set(outcome.files)
        return f"{missing} is gone" if missing else None

    def complaint_about_output(self, outcome, undisturbed):
        if outcome.code == 0 and outcome.output != undisturbed.output:
            return "standard output differs, and the exit status is 0"
        if not undisturbed.output.startswith(outcome.output):
            return "standard output is no beginning of what it should be"
        return None


def json_of(output):
    try:
        return json.loads(output)
    except ValueError:
        return None


def is_part(shown, whole):
    """Whether all that is shown is in the whole: members of objects, the first elements of arrays, equal values."""
    if isinstance(shown, dict) and isinstance(whole, dict):
        return all(name in whole and is_part(value, whole[name]) for name, value in shown.items())
    if isinstance(shown, list) and isinstance(whole, list):
        return len(shown) <= len(whole) and all(map(is_part, shown, whole))
    return shown == whole


def is_in_order(lines, whole):
    rest = iter(whole)
    return all(line in rest for line in lines)


class DumpCase(Case):
    """What can be read of a file is printed before the error: all that is printed is right, and in its order."""

    def complaint_about_output(self, outcome, undisturbed):
        complaint = super().complaint_about_output(outcome, undisturbed)
        if not complaint or outcome.code != 1:
            return complaint
        shown, whole = json_of(outcome.output), json_of(undisturbed.output)
        if shown is not None and whole is not None:
            return None if is_part(shown, whole) else "the JSON is no part of what it should be"
        if is_in_order(outcome.output.splitlines(), undisturbed.output.splitlines()):
            return None
        return complaint


class SiblingsCase(Case):
    """A file that cannot be read is told in its place, with those that can."""

    def complaint_about_output(self, outcome, undisturbed):
        complaint = super().complaint_about_output(outcome, undisturbed)
        if not complaint or outcome.code != 0:
            return complaint
        shown, whole = self.facts(outcome.output), self.facts(undisturbed.output)
        if [path for path, fact in shown] != [path for path, fact in whole]:
            return "other files are told"
        for (path, fact), (_, undisturbed_fact) in zip(shown, whole):
            if fact == undisturbed_fact:
                continue
            if not fact.startswith(f"{path} cannot be read: ") or NOT_CLEAR.search(fact):
                return f"of {path} it is told that {fact}"
        return None

    @staticmethod
    def facts(output):
        found = json_of(output)
        if found is not None:
            return [(each["path"], each["holds"]) for each in found]
        return [tuple(line.split("  ", 1)) for line in output.decode().splitlines()]


class FetchCase(Case):
    """Shapes that are lost are told, the first of each file by its number and all by how many; the others are
    fetched."""

    LOST = re.compile(r"lindra: (\d+) of (\d+) shapes? could not be fetched$")
    TOLD = re.compile(r"lindra: .*: shape (\d+): |lindra: .*: shape (\d+) is told of and is not there|"
                      r"lindra: there is no shape (\d+)$")
    files_of_shapes = {}  # by their numbers

    @classmethod
    def lost(cls, outcome):
        """How many of how many shapes are told to be lost."""
        lines = outcome.errors.splitlines()
        found = cls.LOST.match(lines[-1]) if lines else None
        return found and tuple(map(int, found.groups()))

    @classmethod
    def told(cls, outcome):
        found = (cls.TOLD.match(line) for line in outcome.errors.splitlines())
        return {int(next(filter(None, each.groups()))) for each in found if each}

    @classmethod
    def first_of_each_file(cls, shapes):
        first = {}
        for number in sorted(shapes):
            first.setdefault(cls.files_of_shapes[number], number)
        return set(first.values())

    def complaint_about_files(self, outcome, undisturbed):
        if outcome.code != 1 or not self.lost(outcome):
            return super().complaint_about_files(outcome, undisturbed)
        return None if set(outcome.files) == self.outputs else f"there is {set(outcome.files)}, not {self.outputs}"

    def complaint_about_output(self, outcome, undisturbed):
        lost = outcome.code == 1 and self.lost(outcome)
        if not lost:
            return super().complaint_about_output(outcome, undisturbed)
        try:
            got = self.fetched(outcome)
        except (ValueError, TypeError, KeyError) as reason:
            return f"what is fetched cannot be taken apart: {reason}"
        return self.complaint_about_shapes(lost, self.told(outcome), got, self.fetched(undisturbed))

    def complaint_about_shapes(self, lost, told, got, whole):
        missing = set(whole) - set(got)
        if any(whole.get(number) != text for number, text in got.items()) or not is_in_order(got, whole):
            return "a shape, or what stands around all, is another"
        if lost != (len(missing), len(whole) - 1):
            return f"{lost} shapes are told to be lost, and it is {missing}"
        if told != self.first_of_each_file(missing):
            return f"shapes {told} are told to be lost, and it is {missing}"
        return None

    def fetched(self, outcome):
        """The bytes of each shape by its number, and by None those around all."""
        written = b"".join(outcome.files.values()) if self.outputs else outcome.output
        if "geojson" in self.arguments:
            head, *features, tail = written.split(b"\n")[:-1]
            features = [line.rstrip(b",") for line in features]
            around, shapes = (head, tail), [(json.loads(line)["id"], line) for line in features]
        elif "geojsonseq" in self.arguments:
            around, shapes = b"", [(json.loads(line.lstrip(b"\x1e"))["id"], line) for line in written.splitlines()]
        else:
            around, *texts = re.split(rb"(?m)^(?=Record\()", written)
            shapes = [(int(re.match(rb"Record\((\d+)\):", text)[1]), text) for text in texts]
        if len(dict(shapes)) < len(shapes):
            raise ValueError("a shape is there twice")
        return {None: around, **dict(shapes)}


class FetchMapCase(FetchCase):
    """The others are on the map, which is compared with one of them alone; where all are lost, there is none."""

    maps = {}  # by the numbers of the shapes on them

    def complaint_about_files(self, outcome, undisturbed):
        lost = outcome.code == 1 and self.lost(outcome)
        if lost and lost[0] == lost[1]:
            return f"there is {set(outcome.files)} without a shape" if outcome.files else None
        return super().complaint_about_files(outcome, undisturbed)

    def complaint_about_output(self, outcome, undisturbed):
        lost = outcome.code == 1 and self.lost(outcome)
        if not lost:
            return Case.complaint_about_output(self, outcome, undisturbed)
        everything = frozenset(self.files_of_shapes)
        if lost[1] != len(everything):
            return f"{lost} shapes are told to be lost, and there are {len(everything)}"
        if lost[0] == lost[1]:
            told = self.told(outcome)
            return None if told == self.first_of_each_file(everything) else f"only {told} are told to be lost"
        right = (self.maps[everything - set(missing)] for missing in itertools.combinations(everything, lost[0])
                 if self.first_of_each_file(missing) == self.told(outcome))
        return None if outcome.files["map.png"] in right else "the map has not the shapes that are not told to be lost"


def png_size(content):
    """Width and height of a PNG of which every part is there and whole; else None."""
    if not content.startswith(b"\x89PNG\r\n\x1a\n"):
        return None
    at, names, size = 8, [], None
    while at + 12 <= len(content):
        length, = struct.unpack(">I", content[at:at + 4])
        named = content[at + 4:at + 8 + length]
        if content[at + 8 + length:at + 12 + length] != struct.pack(">I", zlib.crc32(named)):
            return None
        names.append(named[:4])
        if named[:4] == b"IHDR":
            size = struct.unpack(">II", named[4:12])
        at += 12 + length
    return size if at == len(content) and names[0] == b"IHDR" and names[-1] == b"IEND" else None


class CaptionedCase(Case):
    """Where a font cannot be read, fontconfig and Cairo write with another or none."""

    def complaint_about_files(self, outcome, undisturbed):
        complaint = super().complaint_about_files(outcome, undisturbed)
        of_fonts = any(library in outcome.place for library in ("libfontconfig", "libfreetype", "libcairo"))
        if not complaint or outcome.code != 0 or not of_fonts or set(outcome.files) != self.outputs:
            return complaint
        sizes = {png_size(each.files["sheet.png"]) for each in (outcome, undisturbed)}
        return None if len(sizes) == 1 and None not in sizes else complaint


class IndexCase(Case):
    """The outcome is a database, compared by what it holds; a journal beside it is one's that SQLite plays back.
    What is begun with stands in a directory of that name: half.db and the shapefiles as they are now."""

    def __init__(self, name, arguments, begins_with=None, says=""):
        super().__init__(name, arguments, {"shapes.db"})
        self.begins_with, self.says = begins_with, says
        self.before = {}  # what the database holds

    def prepare(self, directory, inputs):
        if not self.begins_with:
            return
        shutil.copytree(inputs / self.begins_with / "shapes", directory / "shapes")
        shutil.copy(inputs / self.begins_with / "half.db", directory / "shapes.db")
        self.before = self.rows(inputs / self.begins_with / "half.db")

    def contents(self, directory):
        names = {path.name for path in directory.iterdir()} - {"shapes"}
        rest = {name: b"" for name in names - {"shapes.db", "shapes.db-journal"}}
        if "shapes.db" not in names:
            return {**rest, **{name: b"" for name in names}}
        return {**rest, "shapes.db": self.rows(directory / "shapes.db")}

    @staticmethod
    def rows(path):
        with contextlib.closing(sqlite3.connect(path)) as database:
            if database.execute("PRAGMA integrity_check").fetchall() != [("ok",)]:
                return "damaged"
            names = [row[0] for row in database.execute("SELECT name FROM sqlite_schema WHERE type = 'table'")]
            if "shape" not in names:
                return {}  # what cannot be looked at is not removed; it hinders nobody
            files = database.execute("SELECT fileid, filename FROM filename ORDER BY 2").fetchall()
            return {name: [database.execute(f"SELECT {what} WHERE fileid = ? ORDER BY 1", (number,)).fetchall()
                           for what in ("offset, shape_type, xmin, attributes FROM shape", "name, type FROM field")]
                    for number, name in files}

    def complaint_about_files(self, outcome, undisturbed):
        left = set(outcome.files) - {"shapes.db"}
        if left:
            return f"{left} is left behind"
        rows, whole = outcome.files.get("shapes.db", {}), undisturbed.files["shapes.db"]
        if isinstance(rows, str):
            return f"the database is {rows}"
        if outcome.code == 0:
            return None if rows == whole else "the database differs, and the exit status is 0"
        # Files are entered one by one, each whole.
        for name, contents in rows.items():
            if contents in (self.before.get(name), whole.get(name)):
                continue
            if name not in whole or self.places(contents) != self.places(whole[name]):
                return f"the database has {name} in part"
            if pathlib.Path(name).stem + "." not in outcome.errors:
                return f"the database has {name} without its attributes, of which nothing is told"
        lost = [name for name in self.before if name not in rows and self.before[name] == whole.get(name)]
        return f"{lost}, which has not changed, is gone from the database" if lost else None

    @staticmethod
    def places(contents):
        """Without attributes, which are told to be lost, or in another encoding, where their file is not read."""
        return [row[:-1] for row in contents[0]]


PLAIN = "--style plain,text=none --size 120x"
FETCH_MAP = f"fetch {{in}}/shapes.db {PLAIN} --layers coast -o map.png"


def all_cases():
    cases = [Case("version", "--version"), Case("help", "dump --help"),
             Case("wrong-command", "drow"), Case("wrong-option", "dump --jsn {in}/header.nc")]
    for name, file in (("netcdf", "header.nc"), ("shapefile", "shape.shp"), ("dbase", "cities.dbf"),
                       ("dds", "texture.dds"), ("siblings", "shapes/roads")):
        kind = SiblingsCase if name == "siblings" else DumpCase
        cases.append(kind(f"dump-{name}", f"dump {{in}}/{file}"))
        cases.append(kind(f"dump-{name}-json", f"dump --json {{in}}/{file}"))
    for ending in ("png", "svg", "pdf"):
        cases.append(Case(f"draw-{ending}", f"draw {PLAIN} -o map.{ending}", {f"map.{ending}"},
                          {f"map.{ending}"} if ending != "svg" else ()))
    cases.append(Case("draw-shapes", f"draw {PLAIN} --projection laea --layers coast -o map.png "
                      "{in}/shapes/roads.shp {in}/shapes/ponds.shp", {"map.png"}))
    cases.append(Case("segments", "segments --layers land,lakes,borders,rivers"))
    cases.append(Case("segments-geojson", "segments --layers land,rivers --format geojson -o all.json", {"all.json"},
                      {"all.json"}))
    cases.append(Case("segments-geojsonseq", "segments --format geojsonseq --window -25/5/-15/10"))
    cases.append(IndexCase("index", "index {in}/shapes -o shapes.db"))
    cases.append(IndexCase("index-again", "index shapes -o shapes.db", "again",
                           says="1 file read, 1 unchanged, 1 removed"))
    cases.append(FetchCase("fetch", "fetch {in}/shapes.db"))
    cases.append(FetchCase("fetch-geojson", "fetch {in}/shapes.db --format geojson --where LANES>3 -o all.json",
                           {"all.json"}, {"all.json"}))
    cases.append(FetchCase("fetch-window", "fetch {in}/shapes.db --format geojsonseq --window 8/9.5/49/52"))
    cases.append(FetchMapCase("fetch-map", FETCH_MAP, {"map.png"}))
    cases.append(Case("texture", "texture {in}/texture.dds", {"texture.png"}))
    cases.append(Case("texture-all", "texture {in}/texture.dds --level all -o t.png",
                      {f"t-level{level}.png" for level in range(3)}, {"t-level1.png"}))
    cases.append(CaptionedCase("texture-sheet", "texture {in}/texture.dds --sheet -o sheet.png", {"sheet.png"}))
    cases.append(Case("import", "import {in}/packages -o .",
                      {f"maps/lindra/{name}" for name in ("gshhs_c.b", "binned_river_c.cdf")}))
    return cases


# --- What fails ---

KINDS = ("allocation", "open", "read", "write", "memory", "stat", "place")
MODES = {"allocation": ("once", "on"), "read": ("once", "on", "short", "interrupted"),
         "write": ("once", "on", "short", "interrupted")}


class Torture:
    def __init__(self, options, scratch):
        self.options = options
        self.scratch = scratch
        self.inputs = scratch / "in"
        self.cases = {case.name: case for case in all_cases()}
        self.undisturbed = {}
        self.own = threading.local()
        self.servers = []

    # --- One run ---

    def server(self):
        """The command with the module preloaded, waiting for requests; one for each thread."""
        if not hasattr(self.own, "server"):
            environment = {"PATH": "/usr/bin:/bin", "HOME": "/nonexistent", "PROJ_NETWORK": "OFF",
                           "LINDRA_DATA": str(self.inputs / "data"), "FONTCONFIG_FILE": str(self.inputs / "fonts.conf"),
                           "LD_PRELOAD": self.options.shim, "LINDRA_FAULT": "server"}
            self.servers.append(subprocess.Popen([self.options.command], env=environment, bufsize=0,
                                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE))
            self.own.server = self.servers[-1]
        return self.own.server

    def close(self):
        for server in self.servers:
            server.stdin.close()
            server.wait()

    def ask(self, words):
        text = b"".join(word.encode() + b"\0" for word in words)
        server = self.server()
        server.stdin.write(struct.pack("I", len(text)) + text)
        told = b""
        while len(told) < 4 + 16 + 2 * 512:
            piece = server.stdout.read(4 + 16 + 2 * 512 - len(told))
            if not piece:
                sys.exit(f"the server has ended; was asked for {words}")
            told += piece
        return told

    def run(self, run):
        case = self.cases[run.case]
        with tempfile.TemporaryDirectory(dir=self.scratch) as name:
            directory = pathlib.Path(name) / "work"
            directory.mkdir()
            case.prepare(directory, self.inputs)
            arguments = [word.replace("{in}", str(self.inputs)) for word in case.arguments]
            told = self.ask(["/".join(map(str, run[1:])), name, "lindra"] + arguments)
            code = os.waitstatus_to_exitcode(struct.unpack("i", told[:4])[0])
            calls, failed = struct.unpack("QQ", told[4:20])
            place, ended = (told[at:at + 512].split(b"\0")[0].decode() for at in (20, 532))
            # Directories differ from run to run.
            errors = (pathlib.Path(name) / "errors").read_text(errors="replace").replace(name, "")
            return Outcome(code, (pathlib.Path(name) / "output").read_bytes(), errors, case.contents(directory),
                           calls, failed, place, ended)

    # --- What is claimed ---

    def complaint(self, run, outcome):
        case, undisturbed = self.cases[run.case], self.undisturbed[run.case]
        if outcome.code not in (0, 1, 2):
            what = "hangs" if outcome.code == -signal.SIGALRM else "ends"
            return f"{what} by {outcome.code} in {self.culprit(outcome.ended)}: {outcome.errors.strip()[-200:]}"
        # A fault that is told and changes nothing else is no difference.
        if (outcome.code, outcome.output, outcome.files) == (undisturbed.code, undisturbed.output, undisturbed.files):
            return self.complaint_about_messages(outcome)
        if outcome.failed == 0:
            return "differs, though nothing failed"
        gives_up = run.mode == "interrupted" and self.culprit(outcome.place).startswith(GIVING_UP)
        if run.mode in ("short", "interrupted") and not gives_up:
            return f"differs after a call that was cut short or interrupted: {outcome.errors.strip()[-200:]}"
        if outcome.code == 0 and undisturbed.code != 0:
            return f"the exit status is 0, and should be {undisturbed.code}"
        return (case.complaint_about_files(outcome, undisturbed) or self.complaint_about_messages(outcome)
                or case.complaint_about_output(outcome, undisturbed) or self.complaint_about_memory(run, outcome))

    @staticmethod
    def culprit(callers):
        """The first of them that is not passed through by everybody's calls."""
        return next((name for name in callers.split() if not name.startswith(PASSING)), "")

    def known_crash(self, run, outcome):
        """The library within which the process was ended by a signal, where that is known of it; else None."""
        culprit = self.culprit(outcome.ended)
        is_crash = outcome.code not in (0, 1, 2) and run.callers == "all"
        is_known = is_crash and culprit.startswith(THIRD_PARTIES.get(run.kind, ("none",)))
        return culprit.split(".so")[0] if is_known else None

    @staticmethod
    def complaint_about_messages(outcome):
        lines = [line for line in outcome.errors.splitlines() if not line.startswith(FOREIGN)]
        if outcome.code != 0 and not lines:
            return f"no message: {outcome.errors[-200:]!r}"
        if not all(line.startswith("lindra: ") for line in lines):
            return f"a message without 'lindra: ': {outcome.errors[-200:]!r}"
        return next((f"the message is not clear: {line}" for line in lines if NOT_CLEAR.search(line)), None)

    @staticmethod
    def complaint_about_memory(run, outcome):
        """Nothing else is to blame where one of lindra's own allocations failed."""
        if (run.kind, run.callers) != ("allocation", "own") or outcome.code != 1 or MEMORY_TOLD in outcome.errors:
            return None
        return f"it is not told that memory is exhausted: {outcome.errors.strip()[-200:]}"

    # --- All runs ---

    def lindra(self, words, directory):
        subprocess.run([self.options.command] + words, cwd=directory, check=True, capture_output=True,
                       env={"PATH": "/usr/bin:/bin", "LINDRA_DATA": str(self.inputs / "data")})

    def make_inputs(self):
        subprocess.run([self.options.maker, self.inputs], check=True)
        # Without a cache, which one run would leave to the next.
        (self.inputs / "fonts.conf").write_text("<fontconfig><dir>/usr/share/fonts/truetype/dejavu</dir>"
                                                "<cachedir>/proc/none</cachedir></fontconfig>")
        self.lindra(["index", "shapes", "-o", "shapes.db"], self.inputs)
        with contextlib.closing(sqlite3.connect(self.inputs / "shapes.db")) as database:
            FetchCase.files_of_shapes = dict(database.execute("SELECT shapeid, fileid FROM shape"))
        self.make_half_index(self.inputs / "again")
        self.make_maps()

    def make_half_index(self, directory):
        """An index of three files, of which afterwards one is as it was, one is another, and one has gone."""
        now = directory / "shapes"
        now.mkdir(parents=True)
        for name in ("ponds", "roads", "gone"):
            for ending in (".shp", ".dbf", ".cpg"):
                shutil.copy2(self.inputs / "shapes" / ("ponds" + ending), now / (name + ending))
        self.lindra(["index", "shapes", "-o", "half.db"], directory)
        for path in now.glob("gone.*"):
            path.unlink()
        for path in (self.inputs / "shapes").glob("roads.*"):
            shutil.copy2(path, now)

    def make_maps(self):
        words = FETCH_MAP.replace("{in}", str(self.inputs)).split()
        everything = list(FetchCase.files_of_shapes)
        for count in range(len(everything) + 1):
            for shapes in itertools.combinations(everything, count):
                chosen = ["--id", ",".join(map(str, shapes))] if shapes else ["--where", "0"]
                self.lindra(words + chosen, self.inputs)
                FetchMapCase.maps[frozenset(shapes)] = (self.inputs / "map.png").read_bytes()

    def look_undisturbed(self, case):
        first = self.run(Run(case.name, "open", "all", "once", 0))
        again = self.run(Run(case.name, "read", "all", "once", 0))
        if first._replace(calls=0) != again._replace(calls=0):
            sys.exit(f"{case.name} is not the same twice: {first} {again}")
        expected = 2 if case.name.startswith("wrong") else 0
        if first.code != expected:
            sys.exit(f"{case.name} does not work: {first}")
        if isinstance(case, IndexCase) and case.says not in first.errors:
            sys.exit(f"{case.name} does not say '{case.says}': {first.errors}")
        self.undisturbed[case.name] = first

    def count(self, run):
        return self.run(run).calls

    def plan(self, chance):
        """The runs of all cases: what every command does alike is let fail in the first one alone."""
        set_up = {callers: self.count(Run("wrong-command", "allocation", callers, "once", 0)) - TELLING_WHAT_IS_WRONG
                  for callers in self.options.callers}
        for case in self.cases.values():
            if self.options.cases and not re.fullmatch(self.options.cases, case.name):
                continue
            for kind in self.options.kinds:
                for callers in (self.options.callers if kind == "allocation" else ("all",)):
                    calls = self.count(Run(case.name, kind, callers, "once", 0))
                    share = self.options.others if self.options.others and kind != "allocation" else self.options.share
                    alike = set_up[callers] if kind == "allocation" and case.name != "version" else 0
                    for mode in MODES.get(kind, ("once", "on")):
                        for nth in range(1 + alike, calls + 1):
                            if chance.random() < share:
                                yield Run(case.name, kind, callers, mode, nth)

    def judge(self, run):
        outcome = self.run(run)
        library = self.known_crash(run, outcome)
        return Judgement(run, outcome, library, None if library else self.complaint(run, outcome))

    def torture(self):
        chance = random.Random(self.options.seed)
        counts, crashes, wrong = collections.Counter(), collections.Counter(), []
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            runs = list(self.plan(chance))
            for run, outcome, known_crash, complaint in pool.map(self.judge, runs):
                counts[run.case, run.kind, run.callers] += outcome.failed > 0
                if known_crash:
                    crashes[known_crash] += 1
                if complaint:
                    wrong.append(run)
                    self.tell(run, outcome, complaint)
        return counts, crashes, wrong

    # --- Places that cannot be written ---

    def run_at(self, case, words, **streams):
        """Ends by itself with what it says on standard error; without the module."""
        environment = {"PATH": "/usr/bin:/bin", "HOME": "/nonexistent", "LINDRA_DATA": str(self.inputs / "data"),
                       "FONTCONFIG_FILE": str(self.inputs / "fonts.conf")}
        with tempfile.TemporaryDirectory(dir=self.scratch) as directory:
            done = subprocess.run([self.options.command] + words, cwd=directory, env=environment, timeout=60,
                                  stderr=subprocess.PIPE, text=True, **streams)
            lines = done.stderr.splitlines()
            if done.returncode != 1 or not lines or not lines[-1].startswith("lindra: "):
                yield f"{case.name}: {words} ends with {done.returncode}: {done.stderr[-200:]!r}"
            # What import has put in place before it tells of it stays.
            if os.listdir(directory) and case.name != "import":
                yield f"{case.name}: {words} leaves {os.listdir(directory)}"

    def places(self):
        """Standard output that is full or closed; a file that is a full device, or in a directory that takes none."""
        for case in self.cases.values():
            words = [word.replace("{in}", str(self.inputs)) for word in case.arguments]
            if self.undisturbed[case.name].output:
                with open("/dev/full", "wb") as full:
                    yield from self.run_at(case, words, stdout=full)
                yield from self.run_at(case, words, preexec_fn=lambda: os.close(1))
            if "-o" in words and len(case.outputs) == 1:
                at = words.index("-o") + 1
                ending = words[at][words[at].rindex("."):]
                nowhere = words[:at] + ["/proc/nothing" + ending] + words[at + 1:]
                yield from self.run_at(case, nowhere, stdout=subprocess.DEVNULL)
                if not isinstance(case, IndexCase):
                    device = self.scratch / ("full" + ending)
                    if not device.exists():
                        device.symlink_to("/dev/full")
                    yield from self.run_at(case, words[:at] + [str(device)] + words[at + 1:],
                                           stdout=subprocess.DEVNULL)

    def tell(self, run, outcome, complaint):
        print(f"{'/'.join(map(str, run))}: {complaint}", flush=True)
        if self.options.verbose:
            print(f"    failed: {outcome.place}\n    ended: {outcome.ended}", flush=True)


def parse():
    parser = argparse.ArgumentParser()
    for name in ("command", "shim", "maker"):
        parser.add_argument(name, type=os.path.abspath)
    parser.add_argument("--share", type=float, default=1, help="of all faults, chosen by chance")
    parser.add_argument("--others", type=float, help="the share of system calls, where that differs")
    parser.add_argument("--seed", type=int, default=random.randrange(1 << 32))
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--cases", help="a regular expression")
    parser.add_argument("--kinds", nargs="+", default=KINDS)
    parser.add_argument("--callers", nargs="+", default=["own"])
    parser.add_argument("--only", help="one run, CASE/CLASS/CALLERS/MODE/NTH")
    parser.add_argument("--verbose", action="store_true", help="tell where the call failed and where it ended")
    return parser.parse_args()


def main():
    options = parse()
    with tempfile.TemporaryDirectory(prefix="lindra-torture-") as scratch:
        torture = Torture(options, pathlib.Path(scratch))
        torture.make_inputs()
        for case in torture.cases.values():
            torture.look_undisturbed(case)
        if options.only:
            case, kind, callers, mode, nth = options.only.split("/")
            judgement = torture.judge(Run(case, kind, callers, mode, int(nth)))
            print(judgement.outcome)
            sys.exit(judgement.complaint)
        unwritable = list(torture.places())
        for line in unwritable:
            print(line)
        print(f"seed {options.seed}, share {options.share}", flush=True)
        counts, crashes, wrong = torture.torture()
        torture.close()
    for (case, kind, callers), count in sorted(counts.items()):
        print(f"{case:20} {kind:10} {callers:4} {count:6}")
    for library, count in sorted(crashes.items()):
        print(f"ended within {library}: {count}")
    print(f"{sum(counts.values())} faults, {len(wrong)} wrong")
    if wrong:
        print("again: " + " ".join(sys.argv) + " --only " + "/".join(map(str, wrong[0])))
    sys.exit(bool(wrong or unwritable))


if __name__ == "__main__":
    main()
