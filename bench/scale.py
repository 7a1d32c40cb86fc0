# SPDX-License-Identifier: MIT
"""Time and memory of views by the number of points, and the picture of both."""
import subprocess
import tempfile

SIZES = [10**power for power in range(3, 9)]


def measure_scale(build):
    """For each size: time in ms, and memory besides the file's pages in bytes."""
    found = {}
    for size in SIZES:
        with tempfile.TemporaryDirectory(dir=build / "data") as scratch:
            told = subprocess.run([build / "bin/bench_scale", str(size), scratch], capture_output=True, check=True,
                                  text=True).stdout.split()
        found[size] = (float(told[0]), int(told[1]))
    return found


def draw_scale(found, path):
    import matplotlib  # of Debian: nothing else needs it
    matplotlib.use("svg")
    # Names that are the same in every run.
    matplotlib.rcParams["svg.hashsalt"] = "lindra"
    from matplotlib import pyplot

    figure, (time, memory) = pyplot.subplots(1, 2, figsize=(9, 3.5), layout="constrained")
    time.loglog(found.keys(), [each[0] for each in found.values()], "o-")
    time.set(xlabel="points", ylabel="ms", title="time to look at every point")
    memory.loglog(found.keys(), [each[1] / 2**20 for each in found.values()], "o-")
    memory.set(xlabel="points", ylabel="MiB", title="memory besides the file's pages")
    memory.set_ylim(1e-2, 1e4)
    figure.savefig(path, metadata={"Date": None})
