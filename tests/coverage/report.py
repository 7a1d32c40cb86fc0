#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Prints what the tests reach of the library: lines, branches and conditions (MC/DC), a row for each file.

usage: report.py BUILD SOURCE PROGRAM...

BUILD is the build directory of the preset coverage, SOURCE the root of the tree. The programs have run, and left
*.profraw in BUILD/profiles. A line that is never run and a condition that is never true, or never false, must be listed
with its reason in exceptions.txt beside this file; what is not, and what is listed without need, is named, and the exit
status is 1. A constexpr function that is run by the compiler alone is left out, and named.
"""
import glob
import json
import subprocess
import sys
from pathlib import Path

EXCEPTIONS = Path(__file__).with_name("exceptions.txt")
CLANG = "19"


class Reach:
    """What is there and what was reached of one file: by line, by the place of a condition, by that of a decision."""

    def __init__(self, name, exported, compile_time):
        self.name = name
        self.lines = line_counts(exported["segments"])
        self.compile_time = compile_time
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
        for first, last in compile_time:
            for line in range(first, last + 1):
                self.lines.pop(line, None)
            for places in self.sides, self.decisions:
                for place in [place for place in places if first <= place[0] <= last]:
                    del places[place]

    def missed(self):
        """(line, what) of everything that no test reaches."""
        found = [(line, "is never run") for line, count in self.lines.items() if count == 0]
        for (line, column, *_), (yes, no) in self.sides.items():
            if yes == 0:
                found.append((line, f"column {column} is never true"))
            if no == 0:
                found.append((line, f"column {column} is never false"))
        return sorted(found)

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


def compile_time_functions(functions, root):
    """{file: {(first line, last line)}} of the constexpr functions of which no instance runs."""
    counts = {}
    for function in functions:
        path = Path(function["filenames"][0]).resolve()
        if path.is_relative_to(root):
            first, _, last, _, count, *_ = function["regions"][0]
            place = str(path), first, last
            counts[place] = counts.get(place, 0) + count
    found = {}
    for (path, first, last), count in counts.items():
        if count == 0 and "constexpr " in Path(path).read_text().splitlines()[first - 1]:
            found.setdefault(path, set()).add((first, last))
    return found


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
    compile_time = compile_time_functions(data["functions"], core)
    files = []
    for exported_file in data["files"]:
        path = Path(exported_file["filename"]).resolve()
        if path.is_relative_to(core):
            files.append(Reach(str(path.relative_to(core.parent)), exported_file, compile_time.get(str(path), set())))
    return sorted(files, key=lambda file: file.name)


def read_exceptions():
    """{(file, text of the line): reason}; a line of the list reads file | text | reason."""
    exceptions = {}
    for entry in EXCEPTIONS.read_text().splitlines():
        if not entry or entry.startswith("#"):
            continue
        name, text, reason = (part.strip() for part in entry.split(" | "))
        exceptions[name, text] = reason
    return exceptions


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


def unexplained(files, source, exceptions):
    """The complaints, and the number of those that the list explains."""
    complaints, used, explained = [], set(), 0
    for file in files:
        text = (Path(source) / file.name).read_text().splitlines()
        for line, what in file.missed():
            key = file.name, text[line - 1].strip()
            if key in exceptions:
                used.add(key)
                explained += 1
            else:
                complaints.append(f"{file.name}:{line}: {what}: {key[1]}")
    complaints += [f"{EXCEPTIONS.name}: needless: {name} | {text}" for name, text in exceptions if (name, text) not in used]
    return complaints, explained


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    build, source, *programs = sys.argv[1:]
    files = measure(build, source, programs)
    print_table(files)
    for file in files:
        for first, _ in sorted(file.compile_time):
            print(f"by the compiler alone: {file.name}:{first}")
    complaints, explained = unexplained(files, source, read_exceptions())
    print(f"{explained} places are not reached for a reason ({EXCEPTIONS.name}), {len(complaints)} without one")
    for complaint in complaints:
        print(complaint)
    sys.exit(1 if complaints else 0)


main()
