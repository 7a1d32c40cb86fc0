#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the instructions of works on small fixed inputs and compares them with those in instructions.json.

usage: compare.py BUILD [--refresh]

A work that takes over 10 % more than is written there is named, and the exit status is 1; so it is for one that is not
written there, or is no more. --refresh writes the file anew. Counts are those of valgrind's callgrind, the same in every
run; another compiler, or a processor without AVX2, has others, which is told.
"""
import json
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from os import cpu_count, environ
from pathlib import Path

COUNTS = Path(__file__).with_name("instructions.json")
MOST = 1.10  # times as many instructions as before


def conditions(build):
    """What the counts depend on besides the sources."""
    path = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE).group(1)
    compiler = subprocess.run([path, "-dumpfullversion"], capture_output=True, check=True, text=True).stdout.strip()
    return {"compiler": f"{Path(path).name} {compiler}", "avx2": " avx2 " in Path("/proc/cpuinfo").read_text()}


def count(program, work):
    """Names are bound beforehand, so that no call is charged with looking one up."""
    with tempfile.TemporaryDirectory() as scratch:
        done = subprocess.run(["valgrind", "--tool=callgrind", "--toggle-collect=counted_work",
                               f"--callgrind-out-file={scratch}/out", program, work],
                              capture_output=True, check=False, text=True, env={**environ, "LD_BIND_NOW": "1"})
    found = re.search(r"Collected : (\d+)", done.stderr)
    if done.returncode != 0 or not found or int(found.group(1)) == 0:
        sys.exit(f"{work} cannot be counted:\n{done.stderr}")
    return int(found.group(1))


def count_all(build):
    program = build / "bin/bench_instructions"
    works = subprocess.run([program], capture_output=True, check=True, text=True).stdout.split()
    with ThreadPoolExecutor(cpu_count()) as threads:
        return dict(zip(works, threads.map(lambda work: count(program, work), works)))


def complaints(before, now):
    for work in sorted(before.keys() | now.keys()):
        if work not in before or work not in now:
            yield f"{work} is {'new' if work in now else 'gone'}: run ./dev bench --compare --refresh"
        elif now[work] > MOST * before[work]:
            yield f"{work} takes {now[work]:,} instructions, {now[work] / before[work] - 1:.0%} more than {before[work]:,}"


def main():
    if len(sys.argv) not in (2, 3) or sys.argv[2:] not in ([], ["--refresh"]):
        sys.exit(__doc__)
    build = Path(sys.argv[1]).resolve()
    found = {**conditions(build), "works": count_all(build)}
    if sys.argv[2:]:
        COUNTS.write_text(json.dumps(found, indent=2) + "\n")
        return 0
    known = json.loads(COUNTS.read_text())
    for key in ("compiler", "avx2"):
        if known[key] != found[key]:
            print(f"{key} is {found[key]}; the counts were made with {known[key]}", file=sys.stderr)
    for work, number in found["works"].items():
        print(f"{work:28} {number:14,} {number / known['works'].get(work, number):7.1%}")
    slower = list(complaints(known["works"], found["works"]))
    for text in slower:
        print(text, file=sys.stderr)
    return 1 if slower else 0


if __name__ == "__main__":
    sys.exit(main())
