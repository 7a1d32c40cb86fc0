#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints what the tests reach of the library: lines, branches and conditions (MC/DC), a row for each file.

usage: report.py BUILD SOURCE PROGRAM...

BUILD is the build directory of the preset coverage, SOURCE the root of the tree. The programs have run, and left
*.profraw in BUILD/profiles. A line that is never run, a condition that is never true, or never false, and a constexpr
function that the compiler alone runs must be listed with the reason in exceptions.toml beside this file. What is not,
and what is listed without need, is named, and the exit status is 1.
"""
import glob
import json
import subprocess
import sys
import tomllib
from collections import Counter
from pathlib import Path

EXCEPTIONS = Path(__file__).with_name("exceptions.toml")
CLANG = "19"


class Reach:
    """What is there and what was reached of one file: by line, by the place of a condition, by that of a decision."""

    def __init__(self, path, name, exported, compile_time):
        self.name = name
        self.text = path.read_text().splitlines()
        self.lines = line_counts(exported["segments"])
        self.compile_time = compile_time_functions(self.text, compile_time)
        self.sides = {}
        for branch in exported["branches"]:
            place = tuple(branch[:4])
            known = self.sides.get(place, (0, 0))
            self.sides[place] = (known[0] + branch[4], known[1] + branch[5])
        self.decisions = {}
        for record in exported.get("mcdc_records", []):
            place, conditions = tuple(record[:4]), record[-1]
            known = self.decisions.get(place, [False] * len(conditions))
            self.decisions[place] = [a or b for a, b in zip(known, conditions)]
        for first, last in self.compile_time:
            self.leave_out(first, last)

    def leave_out(self, first, last):
        for line in range(first, last + 1):
            self.lines.pop(line, None)
        for places in self.sides, self.decisions:
            for place in [place for place in places if first <= place[0] <= last]:
                del places[place]

    def missed(self):
        """(line, Missed) of everything that no test reaches."""
        found = [(line, self.told(line, "run")) for line, count in self.lines.items() if count == 0]
        for place, (yes, no) in self.sides.items():
            found += [(place[0], self.told(place[0], never, self.code(*place)))
                      for never, count in (("true", yes), ("false", no)) if count == 0]
        found += [(first, self.told(first, "run by us")) for first, _ in self.compile_time]
        return sorted(found)

    def told(self, line, never, condition=""):
        return self.name, never, condition, self.text[line - 1].strip()

    def code(self, line, column, end_line, end_column):
        """The text of a condition, on one line."""
        lines = self.text[line - 1:end_line]
        lines[-1] = lines[-1][:end_column - 1]
        lines[0] = lines[0][column - 1:]
        return " ".join(part.strip() for part in lines)

    def figures(self):
        """(reached, all) of lines, sides of branches, and conditions shown to decide by themselves."""
        sides = [count > 0 for pair in self.sides.values() for count in pair]
        conditions = [shown for decision in self.decisions.values() for shown in decision]
        lines = [count > 0 for count in self.lines.values()]
        return [(sum(kind), len(kind)) for kind in (lines, sides, conditions)]


def line_counts(segments):
    """How often each line is run: the most of the regions that begin on it and of the one that goes on from above."""
    counts = {}
    for i, (line, _, count, has_count, is_entry, is_gap) in enumerate(segments):
        if not has_count or is_gap:
            continue
        end, end_column = segments[i + 1][:2] if i + 1 < len(segments) else (line, 1)
        first = line if is_entry else line + 1
        for reached in range(first, end + (end_column > 1)):
            counts[reached] = max(counts.get(reached, 0), count)
    return counts


def idle_functions(functions, core):
    """{file: {(first line, last line)}} of the functions of which no instance runs."""
    counts = Counter()
    for function in functions:
        path = Path(function["filenames"][0]).resolve()
        if path.is_relative_to(core):
            first, _, last, _, count, *_ = function["regions"][0]
            counts[path, first, last] += count
    found = {}
    for (path, first, last), count in counts.items():
        if count == 0:
            found.setdefault(path, set()).add((first, last))
    return found


def compile_time_functions(text, idle):
    return sorted(place for place in idle if "constexpr " in text[place[0] - 1])


def measure(build, source, programs):
    profiles = glob.glob(f"{build}/profiles/*.profraw")
    merged = f"{build}/profiles/all.profdata"
    subprocess.run([f"llvm-profdata-{CLANG}", "merge", "-sparse", "-o", merged, *profiles], check=True)
    objects = [programs[0]] + [word for program in programs[1:] for word in ("-object", program)]
    exported = subprocess.run(
        [f"llvm-cov-{CLANG}", "export", "-format=text", "-skip-expansions", *objects,
         "-instr-profile", merged],
        check=True, capture_output=True, text=True).stdout
    core = Path(source).resolve() / "mapdata"
    data = json.loads(exported)["data"][0]
    idle = idle_functions(data["functions"], core)
    files = []
    for exported_file in data["files"]:
        path = Path(exported_file["filename"]).resolve()
        if path.is_relative_to(core):
            files.append(Reach(path, str(path.relative_to(core.parent)), exported_file, idle.get(path, set())))
    return sorted(files, key=lambda file: file.name)


def read_exceptions():
    """How often what is missed, as Reach.told() tells it, is missed for a reason; and what may be reached by chance."""
    exceptions, by_chance = Counter(), set()
    for entry in tomllib.loads(EXCEPTIONS.read_text()).get("exception", []):
        if not entry["reason"]:
            sys.exit(f"{EXCEPTIONS.name}: an exception of {entry['file']} has no reason")
        for line in entry["lines"]:
            missed = entry["file"], entry["never"], entry.get("condition", ""), line
            exceptions[missed] += 1
            if entry.get("by_chance", False):
                by_chance.add(missed)
    return exceptions, by_chance


def percent(reached, everything):
    return f"{100 * reached / everything:6.1f} % of {everything:5}" if everything else f"{'-':>16} "


def print_table(files):
    print(f"{'':44}{'lines':>19}{'branches':>19}{'MC/DC':>19}")
    totals = [[0, 0] for _ in range(3)]
    for file in files:
        figures = file.figures()
        print(f"{file.name:44}" + "".join(f"{percent(*figure):>19}" for figure in figures))
        for total, figure in zip(totals, figures):
            total[0] += figure[0]
            total[1] += figure[1]
    print(f"{'all':44}" + "".join(f"{percent(*total):>19}" for total in totals))


def describe(name, never, condition, text):
    return f"{condition or text}: is never {never}" + (f", in: {text}" if condition else "")


def unexplained(files, exceptions, by_chance):
    """The complaints, and the number of places that the list explains."""
    left, complaints = exceptions.copy(), []
    for file in files:
        for line, missed in file.missed():
            if left[missed] > 0:
                left[missed] -= 1
            else:
                complaints.append(f"{file.name}:{line}: {describe(*missed)}")
    explained = exceptions.total() - left.total()
    complaints += [f"{EXCEPTIONS.name}: needless: {missed[0]}: {describe(*missed)}" for missed in left.elements()
                   if missed not in by_chance]
    return complaints, explained


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    build, source, *programs = sys.argv[1:]
    files = measure(build, source, programs)
    print_table(files)
    complaints, explained = unexplained(files, *read_exceptions())
    print(f"{explained} places are not reached for a reason ({EXCEPTIONS.name}), {len(complaints)} without one")
    for complaint in complaints:
        print(complaint)
    sys.exit(1 if complaints else 0)


if __name__ == "__main__":
    main()
