# SPDX-License-Identifier: MIT
"""Runs the benchmark programs, and whole programs against each other, and tells medians.

All times are processor time in milliseconds: of one thread that finds its files in the page cache it is the time that
passes, and other programs disturb it less.
"""
import json
import os
import random
import statistics
import subprocess
import tempfile
from pathlib import Path

PROGRAMS = ("gshhs", "lines", "shapefile", "dbase", "netcdf", "s3tc", "limits")
UNIT = {"ns": 1e-6, "us": 1e-3, "ms": 1, "s": 1e3}


def run_program(path, repetitions):
    """The results of one program as Google Benchmark tells them. libgmt leaves a file where it is run."""
    with tempfile.TemporaryDirectory() as scratch:
        out = Path(scratch) / "results.json"
        subprocess.run([path, f"--benchmark_repetitions={repetitions}", "--benchmark_enable_random_interleaving=true",
                        "--benchmark_min_time=0.1", "--benchmark_out_format=json", f"--benchmark_out={out}"],
                       check=True, stdout=subprocess.DEVNULL, cwd=scratch)
        return json.loads(out.read_text())["benchmarks"]


def medians(results):
    """For each name of a measurement the median, and for those that failed why."""
    times, failures = {}, {}
    for result in results:
        name = result["run_name"].removesuffix("/process_time")
        if result.get("error_occurred"):
            failures[name] = result["error_message"]
        elif result["run_type"] == "iteration":
            times.setdefault(name, []).append(result["cpu_time"] * UNIT[result["time_unit"]])
    return {name: statistics.median(values) for name, values in times.items()}, failures


# --- Whole processes ---

def processes(build):
    """For each work who does it and how, in a directory of its own."""
    data = build / "data"
    lindra = build / "bin/lindra"
    window = "-15/40/34/72"
    shapes, header = data / "provinces.shp", data / "variables_10000.nc"
    return {
        "process/draw": {
            # Both 1772 pixels wide.
            "lindra": [lindra, "draw", "--window", window, "--layers", "coast", "--resolution", "full",
                       "--projection", "mercator", "--size", "1772x", "-o", "lindra.png"],
            "gmt": ["gmt", "coast", f"-R{window}", "-JM15c", "-Df", "-W0.25p", "-A0/0/4+ag", "-png", "gmt"],
        },
        "process/dump_shapefile": {"lindra": [lindra, "dump", shapes], "shpdump": ["shpdump", shapes]},
        "process/dump_header": {"lindra": [lindra, "dump", header], "ncdump": ["ncdump", "-h", header]},
    }


def run_process(command, environment, scratch):
    """Processor time of the command and of what it has started."""
    with open(scratch / "output", "wb") as out, tempfile.TemporaryFile() as errors:
        process = subprocess.Popen([str(part) for part in command], stdout=out, stderr=errors, env=environment, cwd=scratch)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            errors.seek(0)
            raise RuntimeError(f"it ended with {process.returncode}: {errors.read().decode(errors='replace').strip()}")
    if not any(path.stat().st_size for path in scratch.iterdir()):
        raise RuntimeError("it has written nothing")
    return (usage.ru_utime + usage.ru_stime) * 1e3


def run_once(command, environment):
    with tempfile.TemporaryDirectory() as scratch:
        return run_process(command, environment, Path(scratch))


def compare_processes(build, repetitions):
    environment = {**os.environ, "LINDRA_DATA": str(build / "data/gshhg"), "GMT_END_SHOW": "off"}
    runs = [(f"{work}/{who}", command) for work, doers in processes(build).items() for who, command in doers.items()]
    times, failures = {}, {}
    for repetition in range(repetitions + 1):
        for name, command in random.sample(runs, len(runs)):
            try:
                taken = run_once(command, environment)
            except (RuntimeError, OSError) as reason:
                failures[name] = str(reason)
                continue
            if repetition > 0:  # the first one warms the page cache
                times.setdefault(name, []).append(taken)
    return {name: statistics.median(values) for name, values in times.items() if name not in failures}, failures


def measure_all(build, repetitions, programs):
    times, failures = {}, {}
    for program in programs:
        print(f"measuring {program}", flush=True)
        if program == "process":
            found, failed = compare_processes(build, repetitions)
        else:
            found, failed = medians(run_program(build / f"bin/bench_{program}", repetitions))
        times.update(found)
        failures.update(failed)
    return times, failures
