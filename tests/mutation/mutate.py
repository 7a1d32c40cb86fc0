#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Changes the library in small ways, one at a time, and counts the changes that the tests notice.

usage: mutate.py SOURCE BUILD [--share SHARE] [--seed SEED] [--only FILE]
       mutate.py SOURCE BUILD --mutant NUMBER

A change flips a comparison (< and <=, > and >=, == and !=), drops a statement, or adds one to a constant. All of them are
written into a copy of the tree in BUILD at once, so that it is built once; an environment variable makes one of them
(mutant.hpp). A change is killed when a test fails, crashes or takes ten times as long as all of them undisturbed. What
the tests come by only at compile time is not tried: the compiler is what notices it.

SHARE is the part of the changes that is tried, chosen by SEED. A change that survives must be listed with its reason in
survivors.txt beside this file; the exit status is 1 when another survives, or when less than 95 % are killed.
"""
import argparse
import concurrent.futures
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import time
from dataclasses import dataclass
from pathlib import Path

HERE = Path(__file__).parent
SURVIVORS = HERE / "survivors.txt"
PROGRAMS = ["lindra_test", "face_test"]
LEAST_KILLED = 0.95

COMPARISONS = {"<": "Less", "<=": "LessEqual", ">": "Greater", ">=": "GreaterEqual", "==": "Equal", "!=": "Unequal"}
# Text in which nothing is changed: comments, strings, characters.
QUIET = re.compile(r'//.*|R"\w*\(.*|"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'')
COMPARISON = re.compile(r"(?<= )(<=|>=|==|!=|<|>)(?= )")
NUMBER = re.compile(r"(?<![\w.'])(?:0[xX][0-9a-fA-F]+|\d+\.\d*|\d+)(?:[uUlL]+)?(?![\w.'])")
# A call or an assignment that stands alone on its line.
STATEMENT = re.compile(r"^(\s+)((?:\*|\+\+|--)?[\w:.>\-\[\]*&]+(?:\(.*\)|\+\+|--|\s[-+*/%&|^]?=\s.*|<<=.*|>>=.*));$")
NO_STATEMENT = re.compile(r"^\s+(?:return|break|continue|goto|using|typedef|throw|delete|friend|static_assert|case|default)\b")
# What stands between the brackets of a declaration, not of a call.
PARAMETER = re.compile(r"\w [&*]+\w|\b(?!sizeof\b)\w+ \w")
# Lines of the language's own, which are no expressions of ours.
UNTOUCHED = re.compile(r"^\s*#|operator|requires|concept|template|static_assert|<=>|= 0;$|_mm\d*_|\basm\b|extern \"C\"|"
                       r"\bgnu::|std::array<|alignas")


@dataclass
class Mutant:
    number: int
    file: str
    line: int
    change: str
    text: str

    @property
    def key(self):
        return self.file, self.text, self.change


class Writer:
    """Writes changes into sources, and remembers them."""

    def __init__(self):
        self.mutants = []

    def add(self, file, line, change, text):
        self.mutants.append(Mutant(len(self.mutants) + 1, file, line, change, text.strip()))
        return len(self.mutants)

    def rewrite(self, file, source):
        lines, inside_text = [], False
        for i, text in enumerate(source.splitlines(), 1):
            opens = 'R"' in text and ')"' not in text.split('R"', 1)[1]
            untouched = inside_text or opens or text.endswith("\\") or UNTOUCHED.search(text)
            lines.append(text if untouched else self.rewrite_line(file, i, text))
            inside_text = opens or (inside_text and ')"' not in text)
        return "\n".join(lines) + "\n"

    def rewrite_line(self, file, line, text):
        quiet = [match.span() for match in QUIET.finditer(text)]
        places = [(match, "comparison") for match in COMPARISON.finditer(text)]
        places += [(match, "number") for match in NUMBER.finditer(text)]
        places = [place for place in places if not any(a <= place[0].start() < b for a, b in quiet)]
        statement = STATEMENT.match(text)
        is_dropped = statement and is_statement(text)
        written = text
        for match, kind in sorted(places, key=lambda place: -place[0].start()):
            written = written[:match.start()] + self.changed(file, line, text, match, kind) + written[match.end():]
        if is_dropped:
            number = self.add(file, line, "dropped", text)
            body = written.strip()[:-1]
            written = f"{statement[1]}mutant::active({number}) ? void() : void({body});"
        return written

    def changed(self, file, line, text, match, kind):
        column = match.start() + 1
        if kind == "number":
            number = self.add(file, line, f"column {column}: {match[0]} + 1", text)
            return f"mutant::shifted({number}, {match[0]})"
        number = self.add(file, line, f"column {column}: {match[0]} flipped", text)
        operator = f"mutant::op<mutant::{COMPARISONS[match[0]]}<{number}>>"
        return f"== {operator} ==" if match[0] in ("==", "!=") else f"< {operator} >"


def is_statement(text):
    arguments = re.sub(r'"(?:\\.|[^"\\])*"', '""', text.partition("(")[2] if "=" not in text.partition("(")[0] else "")
    return not NO_STATEMENT.match(text) and text.count("(") == text.count(")") and not PARAMETER.search(arguments)


def copy_tree(source, tree):
    """A copy of what belongs to the project, mutated where the library stands. Files that are equal keep their time."""
    writer = Writer()
    names = subprocess.run(["git", "-C", source, "ls-files", "-z"], check=True, capture_output=True, text=True).stdout
    for name in sorted(names.strip("\0").split("\0")):
        content = (source / name).read_bytes()
        if re.match(r"mapdata/.*\.[ch]pp$", name):
            content = writer.rewrite(name, content.decode()).encode()
        target = tree / name
        if target.exists() and target.read_bytes() == content:
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(content)
        shutil.copymode(source / name, target)
    return writer.mutants


def build(tree, directory):
    flags = f"-std=c++20 -include {HERE / 'mutant.hpp'} -w -Wno-narrowing -fpermissive"
    subprocess.run(["cmake", "-S", tree, "-B", directory, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DLINDRA_COMMAND=OFF",
                    f"-DCMAKE_CXX_FLAGS={flags}"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", directory, "--target", *PROGRAMS], check=True)


def run_tests(directory, limit=None, **environment):
    """Whether every test passes."""
    for program in PROGRAMS:
        try:
            done = subprocess.run([directory / "bin" / program, "--gtest_brief=1", "--gtest_fail_fast"], timeout=limit,
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                                  env={**os.environ, **environment})
        except subprocess.TimeoutExpired:
            return False
        if done.returncode != 0:
            return False
    return True


def reached_numbers(directory):
    """The changes that the undisturbed tests come by, and how long they take."""
    record = directory / "reached"
    record.unlink(missing_ok=True)
    begin = time.monotonic()
    if not run_tests(directory, LINDRA_REACHED=str(record)):
        sys.exit("mutate.py: the tests fail without a change")
    numbers = record.read_bytes()
    return set(struct.unpack(f"{len(numbers) // 4}i", numbers)), time.monotonic() - begin


def read_survivors():
    """{(file, text of the line, change): reason}."""
    survivors = {}
    for entry in SURVIVORS.read_text().splitlines():
        if entry and not entry.startswith("#"):
            name, text, change, reason = (part.strip() for part in entry.split(" | "))
            survivors[name, text, change] = reason
    return survivors


def try_all(directory, chosen, limit):
    """The changes that survive."""
    survivors = []
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = {pool.submit(run_tests, directory, limit, LINDRA_MUTANT=str(mutant.number)): mutant for mutant in chosen}
        for done, run in enumerate(concurrent.futures.as_completed(runs), 1):
            if run.result():
                survivors.append(runs[run])
                print(f"survives: {describe(runs[run])}", flush=True)
            if done % 100 == 0:
                print(f"{done} of {len(chosen)} tried, {len(survivors)} survive", flush=True)
    return survivors


def describe(mutant):
    return f"{mutant.number}: {mutant.file}:{mutant.line}: {mutant.change} | {mutant.text}"


def report(chosen, survivors):
    known = read_survivors()
    strange = [mutant for mutant in survivors if mutant.key not in known]
    print(f"\n{'file':44}{'tried':>7}{'killed':>8}")
    for file in sorted({mutant.file for mutant in chosen}):
        tried = sum(mutant.file == file for mutant in chosen)
        alive = sum(mutant.file == file for mutant in survivors)
        print(f"{file:44}{tried:7}{tried - alive:8}")
    score = 1 - len(survivors) / len(chosen)
    print(f"{'all':44}{len(chosen):7}{len(chosen) - len(survivors):8}   {100 * score:.1f} % killed")
    print(f"{len(survivors) - len(strange)} survive for a reason ({SURVIVORS.name}), {len(strange)} without one")
    return 1 if strange or score < LEAST_KILLED else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("source", type=Path)
    parser.add_argument("build", type=Path)
    parser.add_argument("--share", type=float, default=1)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--only", default="")
    parser.add_argument("--mutant", type=int)
    options = parser.parse_args()
    source, directory = options.source.resolve(), options.build.resolve()
    mutants = copy_tree(source, directory / "tree")
    build(directory / "tree", directory)
    if options.mutant:
        print(describe(mutants[options.mutant - 1]))
        sys.exit(0 if run_tests(directory, LINDRA_MUTANT=str(options.mutant)) else "killed")
    reached, seconds = reached_numbers(directory)
    at_run_time = [mutant for mutant in mutants if mutant.number in reached and options.only in mutant.file]
    chosen = random.Random(options.seed).sample(at_run_time, max(1, round(options.share * len(at_run_time))))
    print(f"{len(mutants)} changes, {len(at_run_time)} of them met at run time, {len(chosen)} tried; "
          f"the tests take {seconds:.0f} s", flush=True)
    sys.exit(report(chosen, try_all(directory, chosen, 10 * seconds)))


main()
