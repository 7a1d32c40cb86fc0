#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Measures lindra against its peers and against what the machine can do, and tells how far it is from its targets.

usage: report.py BUILD [--repetitions N] [--only FAMILY]... [--output FILE]

BUILD is the build directory with the programs in bin/ and their files in data/ (./dev bench makes both). Tables go to
standard output; with --output, which needs all families, a page of them all is written as well, with a picture of cost
against size beside it.
"""
import argparse
import os
import re
import subprocess
import sys
from pathlib import Path

from measure import PROGRAMS, measure_all
from scale import draw_scale, measure_scale
from targets import FAMILIES, MISSING, PEERS, WORKS

PACKAGES = ("libgmt6", "libgdal32", "libshp2", "libnetcdf19", "libsquish0", "libbenchmark1debian", "gmt", "shapelib",
            "netcdf-bin")


def number(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


class Row:
    """A work, as measured: every time is in milliseconds, every judgement empty where there is no target."""

    def __init__(self, work, times, failures):
        self.work = work
        prefix = work.name + "/"
        self.times = {name[len(prefix):]: time for name, time in times.items() if name.startswith(prefix)}
        self.failures = {name[len(prefix):]: text for name, text in failures.items() if name.startswith(prefix)}
        self.lindra = self.times.get("lindra")
        self.limit = self.times.get("limit")

    def peers(self):
        return {who: time for who, time in self.times.items() if who in (*PEERS, self.work.peer)}

    def best_peer(self):
        peers = self.peers()
        return min(peers, key=peers.get) if peers and self.lindra else None

    def faster_than(self, who):
        """How many times as long as lindra that peer takes."""
        return self.times[who] / self.lindra

    def verdicts(self):
        """For each target of the work its words and whether it is reached; None: not measured."""
        work, found = self.work, []
        if work.faster is not None:
            reached = self.faster_than(work.peer) >= work.faster if self.lindra and work.peer in self.times else None
            found.append((f"{work.faster:g} x {work.peer}", reached))
        if work.limit is not None:
            reached = self.lindra <= work.limit * self.limit if self.lindra and self.limit else None
            found.append((f"<= {number(work.limit)} x limit", reached))
        if work.longest is not None:
            found.append((f"<= {work.longest:g} ms", self.lindra <= work.longest if self.lindra else None))
        return found

    def cells(self):
        best = self.best_peer()
        target = self.work.peer if self.lindra and self.work.peer in self.times else best
        others = ", ".join(f"{who} {number(time)}" for who, time in sorted(self.times.items(), key=lambda item: item[1])
                           if who not in ("lindra", "limit"))
        judged = "; ".join(f"{text}: {'not measured' if reached is None else 'reached' if reached else '**missed**'}"
                           for text, reached in self.verdicts())
        return [self.work.title,
                number(self.lindra) if self.lindra else "-",
                others or "-",
                f"{number(self.faster_than(best))} x {best}" if best else "-",
                f"{number(self.faster_than(target))} x {target}" if target and target != best else "",
                number(self.limit) if self.limit else "-",
                number(self.lindra / self.limit) if self.lindra and self.limit else "-",
                judged or "-"]


HEADINGS = ["work", "lindra, ms", "others, ms", "faster than the best peer", "than the one of the target", "limit, ms",
            "lindra : limit", "target"]


def table(headings, rows):
    return "\n".join("| " + " | ".join(cells) + " |" for cells in [headings, ["---"] * len(headings), *rows])


def family_table(family, times, failures):
    rows = [Row(work, times, failures) for work in WORKS if work.name.startswith(family + "/")]
    lines = [table(HEADINGS, [row.cells() for row in rows])]
    for row in rows:
        lines += [f"\n{row.work.title}: {who} was not measured: {text}" for who, text in row.failures.items()]
    return "\n".join(lines)


def limits_table(times):
    rows = [[name.split("/")[1].replace("_", " "), number(time)] for name, time in sorted(times.items())
            if name.startswith("limits/")]
    return table(["what the machine does", "ms"], rows)


def memory_text(build):
    """What the globe takes of memory, against what it may."""
    told = subprocess.run([build / "bin/bench_memory"], capture_output=True, check=True, text=True).stdout.split()
    taken, allowed = (int(word) / 1e6 for word in told)
    return (f"The globe's coastlines at full resolution, selected and read: {taken:.1f} MB resident at most, the mapped file "
            f"included; target, the file, 32 bytes for each polygon and twice the largest one: {allowed:.1f} MB, "
            + ("reached." if taken <= allowed else "**missed**."))


def scale_table(scale):
    return table(["points", "ms", "ns for each point", "memory besides the file's pages, MiB"],
                 [[f"{size:,}", number(time), number(time / size * 1e6), f"{memory / 2**20:.2f}"]
                  for size, (time, memory) in scale.items()])


# --- The machine ---

def processor():
    found = re.search(r"^model name\s*: (.*)$", Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    return found.group(1) if found else os.uname().machine


def compiler(build):
    path = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE).group(1)
    return subprocess.run([path, "--version"], capture_output=True, check=True, text=True).stdout.splitlines()[0]


def versions():
    told = subprocess.run(["dpkg-query", "-W", "-f=${Package} ${Version}\n", *PACKAGES], capture_output=True, check=False,
                          text=True).stdout
    return ", ".join(told.splitlines())


def machine(build, load):
    memory = re.search(r"MemTotal:\s*(\d+)", Path("/proc/meminfo").read_text()).group(1)
    return [f"{processor()}, {os.cpu_count()} processors, {int(memory) / 2**20:.0f} GiB",
            f"{compiler(build)}; Linux {os.uname().release}", versions(),
            f"load of the machine before the run: {load:.2f}" + (", so that the numbers are noisy" if load > 0.3 else "")]


# --- The page ---

PAGE = """# Performance

What lindra takes, beside its peers on the same files in one process and beside what the machine can do. `./dev bench`
measures all this anew and writes this page; `./dev bench --compare` counts instructions and tells what has become slower.

## How it was measured

{machine}

- Medians of {repetitions} repetitions in random order, in milliseconds of processor time: of one thread with its files in the page cache
  that is the time that passes, and other programs disturb it less.
- Before anything is timed, each reader must deliver as many records and points as lindra. What is delivered is used.
- "Limit" is what the work takes when nothing is done but moving its bytes: coastlines and rivers, all points
  converted from memory to floats (`limit_avx2`: by AVX2); first select, one pass over the headers in a fresh mapping; records kept, a copy of
  the file to fresh heap; views, the bytes of a fresh mapping summed; headers, the blocks of the decoded header allocated and
  released; textures, streaming stores.
- libgmt is asked by the functions that its module coast stands on; `libgmt_coast` is the module, its lines kept in memory.
  `netcdf_c` opens a file and asks for every name and value, which a decoded header has, too; `netcdf_c_open` only opens it and closes it.
- `lindra_warm` has opened the files before, as a program that draws several windows has.
- Whole processes are measured with all that they start.

{families}

## Memory

{memory}

## Scale

Every coordinate of a shapefile of lines of a thousand points looked at, by the views of `lindra.hpp`. Files up to 16 MiB are
read into memory, larger ones mapped; of each record 16 bytes are kept.

![Time and memory by the number of points]({picture})

{scale}

## What the machine can do

The polygon shapefile (231 MB) is what is summed and copied; the coastline at full resolution what is converted.

{limits}

## Not measured

{missing}
"""


def page(build, load, repetitions, times, failures, scale, picture):
    families = "\n\n".join(f"## {title}\n\n{family_table(family, times, failures)}" for family, title in FAMILIES.items())
    return PAGE.format(machine="\n".join(f"- {line}" for line in machine(build, load)), repetitions=repetitions,
                       families=families, limits=limits_table(times), memory=memory_text(build),
                       scale=scale_table(scale), picture=picture,
                       missing="\n".join(f"- {what}: {why}." for what, why in MISSING))


def arguments():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("--repetitions", type=int, default=9)
    parser.add_argument("--only", action="append", choices=[*PROGRAMS, "process"])
    parser.add_argument("--output", type=Path)
    given = parser.parse_args()
    if given.output and given.only:
        parser.error("--output needs all families")
    return given


def main():
    given = arguments()
    build = given.build.resolve()
    load = os.getloadavg()[0]
    times, failures = measure_all(build, given.repetitions, given.only or [*PROGRAMS, "process"])
    for family, title in FAMILIES.items():
        if not given.only or family in given.only:
            print(f"\n{title}\n\n{family_table(family, times, failures)}")
    if not given.only or "limits" in given.only:
        print(f"\n{limits_table(times)}")
    print("\n" + "\n".join(machine(build, load)))
    if given.output:
        picture = given.output.with_name(given.output.stem + "-scale.svg")
        scale = measure_scale(build)
        draw_scale(scale, picture)
        given.output.write_text(page(build, load, given.repetitions, times, failures, scale, picture.name))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
