#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Changes the library in small ways, one at a time, and counts the changes that the tests notice.

usage: mutate.py SOURCE BUILD [--share SHARE] [--seed SEED] [--only FILE]
       mutate.py SOURCE BUILD --mutant NUMBER

A change flips a comparison (< and <=, > and >=, == and !=), drops a statement, or adds one to a constant (from one that
is returned it takes one: a result of 0 or -1 is asked for its sign). All of them are written into a copy of the tree in
BUILD at once, so that it is built once; an environment variable makes one of them (mutant.hpp). A change is tried with
the test suites that come by it, the quickest first, until one of them fails, crashes, leaks or takes five times as long as
undisturbed: then it is killed. What the tests come by only at compile time is not tried: the compiler is what notices it.
Every suite is also run with no change among the others, and must pass.

SHARE is the part of the changes that is tried, chosen by SEED. A change that survives must be listed with its reason in
survivors.toml beside this file. Those that are equal, which no test could tell from the code as it is, are no part of the
score, as is usual ("An Analysis and Survey of the Development of Mutation Testing", IEEE Transactions on Software
Engineering 37, 2011); the score with them is told too. The exit status is 1 when another survives, when one that is
listed does not or can no longer be made, or when less than 95 % are killed.
"""
import argparse
import concurrent.futures
import contextlib
import os
import random
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import tomllib
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

HERE = Path(__file__).parent
SURVIVORS = HERE / "survivors.toml"
PROGRAMS = ["lindra_test", "face_test"]
LEAST_KILLED = 0.95
TIMES_AS_LONG, SECONDS_MORE = 5, 5
MOST_MEMORY = 8 << 30

COMPARISONS = {"<": "Less", "<=": "LessEqual", ">": "Greater", ">=": "GreaterEqual", "==": "Equal", "!=": "Unequal"}
# Text in which nothing is changed: comments, strings, characters.
QUIET = re.compile(r'//.*|R"\w*\(.*|"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'')
COMPARISON = re.compile(r"(?<= )(<=|>=|==|!=|<|>)(?= )")
NUMBER = re.compile(r"(?<![\w.'])(?<!\de[-+])(?:0[xX][0-9a-fA-F]+|\d+\.\d*|\d+)(?:[uUlL]+)?(?![\w.'])")
# How lines end behind which another statement begins.
ENDED = re.compile(r"(?:[;{}):]|\belse|\bdo)\s*$")
# Around a constant that is returned, alone or as one of two.
RETURNED = re.compile(r"\breturn (?:.* [?:] )?-?$"), re.compile(r" :|;(?: })?$")
# A call or an assignment that stands alone on its line.
STATEMENT = re.compile(r"^(\s+)((?:\*|\+\+|--)?[\w:.>\-\[\]*&]+(?:\(.*\)|\+\+|--|\s[-+*/%&|^]?=\s.*|<<=.*|>>=.*));$")
NO_STATEMENT = re.compile(r"^\s+(?:return|break|continue|goto|using|typedef|throw|delete|friend|static_assert|case|default)\b")
# What stands between the brackets of a declaration, not of a call.
PARAMETER = re.compile(r"\w [&*]+\w|\b(?!sizeof\b)\w+ \w")
# Lines of the language's own, which are no expressions of ours.
UNTOUCHED = re.compile(r"^\s*#|operator|requires|concept|template|static_assert|<=>|\) (?:const |noexcept )*= 0;$|_mm\d*_|\basm\b|extern \"C\"|"
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
        lines, inside_text, before = [], False, "}"
        for i, text in enumerate(source.splitlines(), 1):
            opens = 'R"' in text and ')"' not in text.split('R"', 1)[1]
            untouched = inside_text or opens or text.endswith("\\") or UNTOUCHED.search(text)
            lines.append(text if untouched else self.rewrite_line(file, i, text, ENDED.search(before)))
            if text.strip() and not text.strip().startswith("//"):
                before = text.partition(" //")[0]
            inside_text = opens or (inside_text and ')"' not in text)
        return "\n".join(lines) + "\n"

    def rewrite_line(self, file, line, text, begins):
        """begins: whether the line begins a statement, and is none that goes on from above."""
        quiet = [match.span() for match in QUIET.finditer(text)]
        places = [(match, "comparison") for match in COMPARISON.finditer(text)]
        places += [(match, "number") for match in NUMBER.finditer(text)]
        places = [place for place in places if not any(a <= place[0].start() < b for a, b in quiet)]
        statement = STATEMENT.match(text)
        is_dropped = begins and statement and is_statement(text)
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
            before, behind = RETURNED
            sign = "-" if before.search(text[:match.start()]) and behind.match(text[match.end():]) else "+"
            number = self.add(file, line, f"column {column}: {match[0]} {sign} 1", text)
            return f"mutant::shifted({number}, {match[0]}, {sign}1)"
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
    flags = f"-std=c++20 -fsanitize=leak -include {HERE / 'mutant.hpp'} -w -Wno-narrowing -fpermissive"
    subprocess.run(["cmake", "-S", tree, "-B", directory, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DLINDRA_COMMAND=OFF",
                    f"-DCMAKE_CXX_FLAGS={flags}"], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", directory, "--target", *PROGRAMS, "--", "-k", "0"], check=True)


@dataclass
class Suite:
    program: Path
    name: str
    seconds: float = 0
    reached: set = field(default_factory=set)

    def passes(self, limit=None, **environment):
        """Whether its tests pass, in a directory of their own for what they leave behind when they are killed."""
        with tempfile.TemporaryDirectory() as scratch:
            os.chmod(scratch, 0o755)  # some tests are another user for a while
            run = subprocess.Popen([self.program, f"--gtest_filter={self.name}.*", "--gtest_brief=1", "--gtest_fail_fast"],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                                   start_new_session=True, preexec_fn=limit_memory,
                                   env={**os.environ, "TMPDIR": scratch, **environment})
            try:
                return run.wait(limit) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                end_session(run)

    def notices(self, number):
        return not self.passes(TIMES_AS_LONG * self.seconds + SECONDS_MORE, LINDRA_MUTANT=str(number))

    def measure(self):
        """Its time, and the changes that it comes by undisturbed."""
        with tempfile.NamedTemporaryFile() as record:
            begin = time.monotonic()
            if not self.passes(LINDRA_REACHED=record.name):
                sys.exit(f"mutate.py: {self.name} fails without a change")
            self.seconds = time.monotonic() - begin
            numbers = record.read()
        self.reached = set(struct.unpack(f"{len(numbers) // 4}i", numbers))
        return self


def end_session(run):
    """Ends what is left of it: the child of a test may have been left without an end."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(run.pid, signal.SIGKILL)
    run.wait()


def limit_memory():
    resource.setrlimit(resource.RLIMIT_DATA, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def find_suites(directory, pool):
    """All test suites, measured, the quickest first."""
    suites = []
    for program in PROGRAMS:
        path = directory / "bin" / program
        listed = subprocess.run([path, "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
        suites += [Suite(path, line.partition(".")[0]) for line in listed.splitlines() if re.match(r"[\w/]+\.", line)]
    return sorted(pool.map(Suite.measure, suites), key=lambda suite: suite.seconds)


def is_killed(suites, number):
    return any(suite.notices(number) for suite in suites if number in suite.reached)


def read_survivors():
    """How often a change to a line of that text survives for a reason: those that are equal, and the others."""
    equal, unseen = Counter(), Counter()
    for entry in tomllib.loads(SURVIVORS.read_text()).get("survivor", []):
        if not entry["reason"]:
            sys.exit(f"{SURVIVORS.name}: a survivor of {entry['file']} has no reason")
        for line in entry["lines"]:
            for change in entry["changes"]:
                (equal if entry["equal"] else unseen)[entry["file"], line, change] += 1
    return equal, unseen


def refuse_stale(mutants):
    """An entry whose line has been rewritten since would otherwise never be missed."""
    equal, unseen = read_survivors()
    stale = equal + unseen - Counter(mutant.key for mutant in mutants)
    for file, line, change in stale:
        print(f"no such line any more: {file}: {change}: {line}")
    if stale:
        sys.exit(f"mutate.py: {SURVIVORS.name} lists changes that can no longer be made")


def try_all(pool, suites, chosen):
    """The changes that survive. Among them every suite is run without one."""
    survivors = []
    runs = {pool.submit(is_killed, suites, mutant.number): mutant for mutant in chosen}
    controls = [(suite, pool.submit(suite.notices, 0)) for suite in suites]
    for done, run in enumerate(concurrent.futures.as_completed(runs), 1):
        if not run.result():
            survivors.append(runs[run])
            print(f"survives: {describe(runs[run])}", flush=True)
        if done % 100 == 0:
            print(f"{done} of {len(chosen)} tried, {len(survivors)} survive", flush=True)
    for suite, control in controls:
        if control.result():
            sys.exit(f"mutate.py: {suite.name} fails without a change, so that what it killed counts for nothing")
    return survivors


def describe(mutant):
    return f"{mutant.number}: {mutant.file}:{mutant.line}: {mutant.change}: {mutant.text}"


def report(chosen, survivors):
    equal, unseen = read_survivors()
    listed = equal + unseen
    found = Counter(mutant.key for mutant in survivors)
    tried = Counter(mutant.key for mutant in chosen)
    print(f"\n{'file':44}{'tried':>7}{'killed':>8}{'equal':>7}")
    for file in [*sorted({mutant.file for mutant in chosen}), ""]:
        row = [sum(count for key, count in counted.items() if key[0] == file or not file)
               for counted in (tried, tried - found, found & equal)]
        print(f"{file or 'all':44}{row[0]:7}{row[1]:8}{row[2]:7}")
    for mutant in survivors:
        if (found - listed)[mutant.key]:
            print(f"not listed: {describe(mutant)}")
    # Of a share, not all places of a line may have been tried.
    killed_though_listed = [key for key in listed if tried[key] >= listed[key] > found[key]]
    for file, line, change in killed_though_listed:
        print(f"killed, though listed: {file}: {change}: {line}")
    score = row[1] / (row[0] - row[2])
    print(f"{100 * score:.1f} % killed of those that are not equal, {100 * row[1] / row[0]:.1f} % of all")
    return 1 if found - listed or killed_though_listed or score < LEAST_KILLED else 0


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
    refuse_stale(mutants)
    build(directory / "tree", directory)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        suites = find_suites(directory, pool)
        if options.mutant:
            print(describe(mutants[options.mutant - 1]))
            sys.exit("killed" if is_killed(suites, options.mutant) else 0)
        reached = set().union(*(suite.reached for suite in suites))
        at_run_time = [mutant for mutant in mutants if mutant.number in reached and options.only in mutant.file]
        chosen = random.Random(options.seed).sample(at_run_time, max(1, round(options.share * len(at_run_time))))
        print(f"{len(mutants)} changes, {len(at_run_time)} of them met at run time, {len(chosen)} tried with "
              f"{len(suites)} test suites", flush=True)
        sys.exit(report(chosen, try_all(pool, suites, chosen)))


if __name__ == "__main__":
    main()
