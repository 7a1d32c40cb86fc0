#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What command_torture.py claims, held against outcomes that break it: each check must be able to fail."""
import json
import struct
import tempfile
import unittest
import zlib

import command_torture as torture
from command_torture import (CaptionedCase, Case, DumpCase, FetchCase, FetchMapCase, IndexCase, Outcome, Run,
                             SiblingsCase)

GONE = "lindra: /in/ponds.shp: shape 1: the file is gone; put it back, or run lindra index again\n"


def outcome(code=0, output=b"", errors="", files=None, failed=1, place=""):
    return Outcome(code, output, errors, files or {}, 9, failed, place, "")


def judge(**known):
    made = torture.Torture(None, torture.pathlib.Path("/"))
    for name, value in known.items():
        setattr(made, name, {"case": value})
    return made


def complaint(case, undisturbed, seen, mode="once"):
    return judge(cases=case, undisturbed=undisturbed).complaint(Run("case", "read", "all", mode, 1), seen)


class Judged(unittest.TestCase):
    def right(self, case, undisturbed, seen, **more):
        self.assertIsNone(complaint(case, undisturbed, seen, **more))

    def wrong(self, what, case, undisturbed, seen, **more):
        self.assertIn(what, complaint(case, undisturbed, seen, **more) or "nothing")


class Claims(Judged):
    def test_every_case(self):
        case, whole = Case("case", "", {"a"}, {"a"}), outcome(output=b"12", files={"a": b"new"})
        told = "lindra: a cannot be written: no room\n"
        self.right(case, whole, whole)
        self.right(case, whole, outcome(1, b"1", told, {"a": torture.OLD}))
        self.right(case, whole, outcome(1, b"1", told, {"a": b"new"}))
        self.wrong("no beginning", case, whole, outcome(1, b"2", told, {"a": b"new"}))
        self.wrong("no message", case, whole, outcome(1, b"1", "", {"a": b"new"}))
        self.wrong("without 'lindra: '", case, whole, outcome(1, b"1", told + "oops\n", {"a": b"new"}))
        self.wrong("not clear", case, whole, outcome(1, b"1", "lindra: std::bad_alloc\n", {"a": b"new"}))
        self.wrong("neither", case, whole, outcome(1, b"1", told, {"a": b"ne"}))
        self.wrong("is gone", case, whole, outcome(1, b"1", told, {}))
        self.wrong("left behind", case, whole, outcome(1, b"1", told, {"a": b"new", "a.XXXXXX": b""}))
        self.wrong("exit status is 0", case, whole, outcome(0, b"1", files={"a": b"new"}))
        self.wrong("exit status is 0", case, whole, outcome(0, b"12", files={"a": b"ne"}))
        self.wrong("is gone", case, whole, outcome(0, b"12"))
        self.wrong("nothing failed", case, whole, outcome(1, b"1", told, {"a": b"new"}, failed=0))
        for mode in ("short", "interrupted"):
            self.wrong("cut short or interrupted", case, whole, outcome(1, b"1", told, {"a": b"new"}), mode=mode)
        self.wrong("ends by -11", case, whole, outcome(-11))
        self.wrong("should be 2", Case("case", ""), outcome(2, errors="lindra: no\n"), outcome(0))

    def test_empty_directory_is_left_behind(self):
        case = Case("case", "", {"maps/a"})
        with tempfile.TemporaryDirectory() as name:
            directory = torture.pathlib.Path(name)
            (directory / "maps").mkdir()
            empty = outcome(1, b"", "lindra: no\n", case.contents(directory))
            (directory / "maps/a").write_bytes(b"new")
            whole = outcome(files=case.contents(directory))
        self.right(case, whole, whole)
        self.wrong("maps/ is left behind", case, whole, empty)

    def test_interrupted_call_of_others(self):
        def told(place, code=1):
            return outcome(code, b"1", "lindra: no\n", place=place)
        case, whole, of_netcdf = Case("case", ""), outcome(output=b"12"), "libc.so.6+0x1 libnetcdf.so.19+0x2 lindra+0x3"
        self.right(case, whole, told(of_netcdf), mode="interrupted")
        self.wrong("exit status is 0", case, whole, told(of_netcdf, 0), mode="interrupted")
        self.wrong("cut short", case, whole, told(of_netcdf), mode="short")
        self.wrong("cut short", case, whole, told("lindra+0x3 " + of_netcdf), mode="interrupted")

    def test_exhausted_memory(self):
        def seen(errors, name="case", kind="allocation", callers="own", code=1):
            made = judge(cases=Case(name, ""), undisturbed=outcome(output=b"12"))
            made.cases, made.undisturbed = {name: made.cases["case"]}, {name: made.undisturbed["case"]}
            return made.complaint(Run(name, kind, callers, "once", 1), outcome(code, b"1", errors)) or ""
        told, blames = "lindra: memory is exhausted; close other programs\n", "lindra: a.shp is damaged at byte 8\n"
        self.assertEqual(seen(told), "")
        self.assertEqual(seen(blames + told), "")
        self.assertIn("not told that memory", seen(blames))
        self.assertIn("not told that memory", seen("lindra: a.shp: memory is exhausted\n"))
        for other in ({"kind": "memory"}, {"callers": "all"}, {"code": 2}):
            self.assertEqual(seen(blames, **other), "")
        tried = "lindra: a.nc is damaged: reading it with libnetcdf failed badly\n"
        self.assertIn("not told that memory", seen(tried, "import"))

    def test_known_crash(self):
        def library(ended, kind="allocation", callers="all", code=-11):
            run = Run("case", kind, callers, "once", 1)
            return judge().known_crash(run, outcome(code)._replace(ended=ended))
        within = "libc.so.6+0x1 libproj.so.25+0x2 lindra+0x3"
        self.assertEqual(library(within), "libproj")
        self.assertEqual(library("libhdf5_serial.so.103+0x1", "place"), "libhdf5_serial")
        for other in (library(within, "place"), library(within, "open"), library(within, callers="own"),
                      library(within, code=1), library("lindra+0x3 " + within), library("")):
            self.assertIsNone(other)

    def test_dump(self):
        case, told = DumpCase("case", ""), "lindra: x is damaged\n"
        whole = outcome(output=b"File:\n  one\n  two\n")
        self.right(case, whole, outcome(1, b"File:\n  two\n", told))
        self.wrong("no beginning", case, whole, outcome(1, b"File:\n  three\n", told))
        self.wrong("no beginning", case, whole, outcome(1, b"  two\nFile:\n", told))
        self.wrong("no message", case, whole, outcome(1, b"File:\n  two\n"))
        self.wrong("left behind", case, whole, outcome(1, b"File:\n  two\n", told, {"core": b""}))
        self.wrong("exit status is 0", case, whole, outcome(0, b"File:\n  two\n"))

    def test_dump_json(self):
        case, told = DumpCase("case", ""), "lindra: x is damaged\n"
        whole = outcome(output=json.dumps({"a": 1, "records": [{"n": 1}, {"n": 2}]}).encode())

        def shown(facts):
            return outcome(1, json.dumps(facts).encode(), told)
        self.right(case, whole, shown({"a": 1, "records": []}))
        self.right(case, whole, shown({"records": [{"n": 1}]}))
        self.wrong("no part", case, whole, shown({"a": 2, "records": []}))
        self.wrong("no part", case, whole, shown({"b": 1}))
        self.wrong("no part", case, whole, shown({"records": [{"n": 2}]}))
        self.wrong("no part", case, whole, shown({"records": [{"n": 1}, {"n": 2}, {"n": 3}]}))
        self.wrong("no beginning", case, whole, outcome(1, b'{"a": 2', told))

    def test_siblings(self):
        def told(shapes, encoding):
            return outcome(output=f"r.shp  {shapes}\nr.cpg  {encoding}\n".encode())
        case, whole = SiblingsCase("case", ""), told("shapes: points", "encoding: UTF-8")
        self.right(case, whole, told("shapes: points", "r.cpg cannot be read: I/O error"))
        self.wrong("is told that", case, whole, told("shapes: lines", "r.cpg cannot be read: I/O error"))
        self.wrong("is told that", case, whole, told("shapes: points", "r.shp cannot be read: I/O error"))
        self.wrong("is told that", case, whole, told("shapes: points", "r.cpg cannot be read: Success"))
        self.wrong("other files", case, whole, outcome(output=b"r.cpg  r.cpg cannot be read: I/O error\n"))


class FetchClaims(Judged):
    def setUp(self):
        FetchCase.files_of_shapes = {1: 7, 2: 7, 10: 8}
        self.texts = {number: b"Record(%d):\n  x=%d\n" % (number, number) for number in (1, 2, 10)}

    def fetched(self, numbers, errors, code=1):
        return outcome(code, b"".join(self.texts[number] for number in numbers), errors)

    def check_all(self, case, whole, fetched):
        lost = "lindra: {} of 3 shapes could not be fetched\n".format
        ten = GONE.replace("shape 1", "shape 10")
        self.right(case, whole, fetched([10], GONE + lost(2)))
        self.right(case, whole, fetched([2, 10], GONE + lost(1)))
        self.right(case, whole, fetched([1, 2], ten + lost(1)))
        self.right(case, whole, fetched([], GONE + ten + lost(3)))
        # 10 is not 1, and what is not told must be there.
        self.assertIsNotNone(complaint(case, whole, fetched([2, 10], ten + lost(1))))
        self.assertIsNotNone(complaint(case, whole, fetched([1, 2], GONE + lost(1))))
        self.assertIsNotNone(complaint(case, whole, fetched([10], GONE + lost(1))))
        self.assertIsNotNone(complaint(case, whole, fetched([2], GONE + lost(2))))
        self.assertIsNotNone(complaint(case, whole, fetched([2, 10], lost(1))))
        self.assertIsNotNone(complaint(case, whole, fetched([2, 10], GONE + lost(1).replace("3", "4"))))
        self.assertIsNotNone(complaint(case, whole, fetched([2, 10], GONE)))
        self.assertIsNotNone(complaint(case, whole, fetched([2, 10], GONE + lost(1), 0)))

    def test_text(self):
        case, whole = FetchCase("case", "fetch"), self.fetched([1, 2, 10], "", 0)
        self.check_all(case, whole, self.fetched)
        errors = GONE + "lindra: 1 of 3 shapes could not be fetched\n"
        changed = outcome(1, b"Record(2):\n  x=3\n" + self.texts[10], errors)
        self.wrong("is another", case, whole, changed)
        self.wrong("is another", case, whole, self.fetched([10, 2], errors))
        self.wrong("is another", case, whole, self.fetched([2, 10], errors)._replace(output=b"x" + changed.output))
        self.wrong("twice", case, whole, self.fetched([2, 2, 10], errors))
        self.wrong("left behind", case, whole, self.fetched([2], GONE)._replace(files={"x": b""}))

    def test_geojson_file(self):
        def fetched(numbers, errors, code=1):
            features = b",\n".join(b'{"id":%d}' % number for number in numbers)
            text = b'{"features":[' + (b"\n" + features if features else b"") + b"\n]}\n"
            return outcome(code, b"", errors, {"all.json": text})
        case = FetchCase("case", "fetch --format geojson", {"all.json"}, {"all.json"})
        whole = fetched([1, 2, 10], "", 0)
        self.check_all(case, whole, fetched)
        errors = GONE + "lindra: 1 of 3 shapes could not be fetched\n"
        self.wrong("there is", case, whole, outcome(1, b"", errors, {}))
        self.wrong("taken apart", case, whole, outcome(1, b"", errors, {"all.json": b"half a line"}))

    def test_geojson_sequence(self):
        def fetched(numbers, errors, code=1):
            return outcome(code, b"".join(b'\x1e{"id":%d}\n' % number for number in numbers), errors)
        self.check_all(FetchCase("case", "fetch --format geojsonseq"), fetched([1, 2, 10], "", 0), fetched)

    def test_map(self):
        def fetched(numbers, errors, code=1):
            return outcome(code, b"", errors, {"map.png": bytes(numbers)} if numbers else {})
        FetchMapCase.maps = {frozenset(some): bytes(some) for count in range(4)
                             for some in torture.itertools.combinations((1, 2, 10), count)}
        case, whole = FetchMapCase("case", "fetch", {"map.png"}), fetched([1, 2, 10], "", 0)
        self.check_all(case, whole, fetched)
        errors = GONE + "lindra: 3 of 3 shapes could not be fetched\n"
        self.wrong("only {1} are told", case, whole, fetched([], errors))
        self.wrong("without a shape", case, whole, fetched([], errors)._replace(files={"map.png": b""}))


class OtherClaims(Judged):
    def test_caption(self):
        def png(width, pixels=b"pixels"):
            parts = ((b"IHDR", struct.pack(">II", width, 7) + b"....."), (b"IDAT", pixels), (b"IEND", b""))
            return b"\x89PNG\r\n\x1a\n" + b"".join(
                struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
                for name, data in parts)

        def drawn(content, place="libfontconfig.so.1+0x1 "):
            return outcome(files={"sheet.png": content}, place=place)
        case, whole = CaptionedCase("case", "", {"sheet.png"}), drawn(png(5))
        self.right(case, whole, drawn(png(5, b"others")))
        for other in (drawn(png(6)), drawn(png(5, b"others")[:-1]), drawn(png(5, b"others").replace(b"oth", b"0th")),
                      drawn(png(5, b"others"), "lindra+0x1 ")):
            self.wrong("exit status is 0", case, whole, other)

    def test_index(self):
        def rows(*values):
            return [[(100, 1, value, attributes) for value, attributes in values], [("NAME", "C")]]
        case = IndexCase("case", "")
        old, new, same = rows((1, "a")), rows((2, "b"), (3, "c")), rows((4, "d"))
        case.before = {"changed.shp": old, "same.shp": same, "gone.shp": old}
        whole = outcome(files={"shapes.db": {"changed.shp": new, "same.shp": same}})
        told = "lindra: /w/changed.dbf cannot be read\n"

        def found(errors=told, code=1, **files):
            return outcome(code, b"", errors, {"shapes.db": {name + ".shp": held for name, held in files.items()}})
        self.right(case, whole, found(changed=old, same=same, gone=old))
        self.right(case, whole, found(same=same))
        self.right(case, whole, found(changed=rows((2, None), (3, None)), same=same))
        self.wrong("in part", case, whole, found(changed=rows((2, "b")), same=same))
        self.wrong("in part", case, whole, found(same=same, gone=new))
        self.wrong("without its attributes", case, whole,
                   found("lindra: no\n", changed=rows((2, None), (3, None)), same=same))
        self.wrong("has not changed", case, whole, found(changed=new))
        self.wrong("exit status is 0", case, whole, found(code=0, changed=old, same=same))
        self.wrong("damaged", case, whole, outcome(1, b"", told, {"shapes.db": "damaged"}))
        self.wrong("left behind", case, whole, outcome(1, b"", told, {"shapes.db": {"same.shp": same}, "x": b""}))


if __name__ == "__main__":
    unittest.main()
