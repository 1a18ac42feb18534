#!/usr/bin/env python3
"""Runs the benchmarks and prints one table: bench/table.py PROGRAM CMHOST [--level LEVEL]
[--repetitions N] [--only PATTERN]

Each row compares our time with that of another library for the same work. The subjects of a group run
alternately, in a new random order for every repetition, so that changes in the machine's speed affect
all of them; the least time of each counts. Times are processor time of the thread, which other programs
on the machine hardly affect; only teams of threads are measured by wall-clock time. The last rows
compare complete programs; see whole_program.py.
"""

import argparse
import json
import os
import platform
import re
import subprocess
import sys
from collections import namedtuple

import whole_program

# group: of the benchmarks; other: the subject to compare with; goal: the maximum ratio of our time to
# the other's, as a dictionary by level if it differs, or None.
Row = namedtuple("Row", "what group other goal")

SIZES = {"720p_to_1080p": "720p to 1080p", "1080p_to_720p": "1080p to 720p",
         "1080p_to_2160p": "1080p to 2160p"}
LAYOUTS = {"420": "4:2:0", "422": "4:2:2", "444": "4:4:4"}
PRIMITIVES = ["convert_8u32f", "convert_16u32f", "convert_32f8u", "mul_c_32f", "add_32f", "mul_32f"]
NAMES = {"copy": "copy", "literal": "literal loop, -O3", "zimg": "zimg",
         "zimg_512_bit": "zimg, 512 bits allowed", "swscale": "swscale", "libyuv": "libyuv",
         "opencv": "OpenCV GaussianBlur", "opencv_filter2d": "OpenCV filter2D",
         "one_thread": "one thread", "plain": "plain loop, -O3 -march=native"}


def compositor_rows():
    for layout, name in LAYOUTS.items():
        for size in ("720p", "1080p", "2160p"):
            what, group = f"compositor, {size} {name}", f"compositor_{layout}/{size}"
            yield Row(what, group, "copy", 1.5)
            if (layout, size) == ("420", "1080p"):
                yield Row(what, group, "literal", 0.3)


def scaling_rows():
    zimg, swscale = {"avx512": 1.0, "avx2": 1.5}, {"avx512": 0.8, "avx2": 1.2}
    methods = [("cubic, 4:2:0", "cubic_420", [("zimg", zimg), ("zimg_512_bit", None),
                                              ("swscale", swscale)]),
               ("linear, 4:2:0", "linear_420", [("swscale", 1.0), ("libyuv", 1.0)]),
               ("nearest, 4:2:0", "nearest_420", [("libyuv", 1.0)]),
               ("cubic, 16-bit 4:2:2", "cubic_422_16", [("zimg", {"avx512": 1.0}),
                                                        ("zimg_512_bit", None)])]
    for method, group, peers in methods:
        for peer, goal in peers:
            for size, name in SIZES.items():
                yield Row(f"resizer, {method}, {name}", f"{group}/{size}", peer, goal)


def gaussian_rows():
    for bits, peers in (("8", {"3x3": [("opencv", 0.5)],
                               "5x5": [("opencv", 0.8), ("opencv_filter2d", 0.2)]}),
                        ("16", {"3x3": [("opencv", 0.7)],
                                "5x5": [("opencv", 0.7), ("opencv_filter2d", None)]})):
        for mask, others in peers.items():
            for other, goal in others:
                yield Row(f"Gaussian {mask}, {bits}-bit, 1080p", f"gauss_{mask}_{bits}/1080p", other,
                          goal)
    for mask in ("3x3", "5x5"):
        yield Row(f"Gaussian {mask}, 8-bit, 1080p, two threads", f"gauss_{mask}_8_team/1080p",
                  "one_thread", 0.55)


ROWS = [*compositor_rows(), *scaling_rows(), *gaussian_rows(),
        *(Row(f"{name}, 1920 elements", f"{name}/1920", "plain", 1.0) for name in PRIMITIVES),
        Row("configuration of the module, 1080p", "configure/1080p", "zimg", 3.0)]

# The increase of the time per pixel from the smallest to the largest frame, ours against the copy.
GROWTH_FROM, GROWTH_TO = ("compositor_420/360p", 640 * 360), ("compositor_420/4320p", 7680 * 4320)


class Benchmarks:
    """Least times in nanoseconds by "group/subject", from the benchmark program."""

    def __init__(self, program, level, repetitions):
        self.command = [program, "--benchmark_format=json", "--benchmark_min_time=0.02",
                        f"--benchmark_repetitions={repetitions}",
                        "--benchmark_enable_random_interleaving=true"]
        if level:
            self.command.append(f"--level={level}")
        self.times = {}
        self.level = level

    def run(self, group):
        command = [*self.command, f"--benchmark_filter=^{group}/"]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"{' '.join(command)}: {done.stderr.strip()}")
        if not done.stdout.strip():
            return  # no benchmark of that name
        report = json.loads(done.stdout)
        self.level = report["context"]["level"]
        for run in report["benchmarks"]:
            if run["run_type"] != "iteration":
                continue
            if run.get("error_occurred"):
                sys.exit(f"{run['name']}: {run['error_message']}")
            subject, *settings = run["name"].removeprefix(f"{group}/").split("/")
            name = f"{group}/{subject}"
            time = run["real_time" if "real_time" in settings else "cpu_time"]
            self.times[name] = min(time, self.times.get(name, time))

    def time(self, group, subject):
        return self.times.get(f"{group}/{subject}")


def duration(nanoseconds):
    if nanoseconds is None:
        return ""
    for limit, unit in ((1e3, "ns"), (1e6, "us"), (1e9, "ms")):
        if nanoseconds < limit:
            return f"{nanoseconds / (limit / 1e3):.3g} {unit}"
    return f"{nanoseconds / 1e9:.3g} s"


def verdict(ratio, goal):
    if ratio is None or goal is None:
        return ""
    return "reached" if round(ratio, 2) <= goal else "not reached"  # the ratio as printed


def cells(what, ours, other, theirs, copy, ratio, goal):
    return [what, ours, other, theirs, copy, "" if ratio is None else f"{ratio:.2f}",
            "" if goal is None else f"{goal:g}", verdict(ratio, goal)]


def row_cells(row, benchmarks):
    ours, theirs, copy = (benchmarks.time(row.group, subject)
                          for subject in ("ours", row.other, "copy"))
    goal = row.goal.get(benchmarks.level) if isinstance(row.goal, dict) else row.goal
    ratio = ours / theirs if ours and theirs else None
    return cells(row.what, duration(ours), NAMES[row.other], duration(theirs), duration(copy), ratio,
                 goal)


def growth_cells(benchmarks):
    def growth(subject):
        ends = [benchmarks.time(group, subject) for group, _ in (GROWTH_FROM, GROWTH_TO)]
        if None in ends:
            return None
        return (ends[1] / GROWTH_TO[1]) / (ends[0] / GROWTH_FROM[1])
    ours, copy = growth("ours"), growth("copy")
    shown = ["" if value is None else f"x {value:.2f}" for value in (ours, copy)]
    return cells("compositor, cost a pixel, 360p to 4320p", shown[0], "copy", shown[1], shown[1],
                 ours / copy if ours and copy else None, 1.0)


# Maximum number of runs of the complete programs: each run takes some seconds.
PROGRAM_REPETITIONS = 5


def program_lines(cmhost, repetitions, pattern):
    wanted = [bool(re.search(pattern, name)) for name in whole_program.names()]
    if not any(wanted):
        return []
    found = whole_program.comparisons(cmhost, min(repetitions, PROGRAM_REPETITIONS))
    return [cells(what, ours, "ffmpeg, overlay filter", theirs, "", ratio, goal)
            for want, what, (ours, theirs, ratio, goal)
            in zip(wanted, whole_program.names(), found) if want]


def print_table(lines):
    header = ["what", "ours", "against", "theirs", "copy", "ratio", "goal", "verdict"]
    numbers = {1, 3, 4, 5, 6}
    widths = [max(len(line[i]) for line in [header, *lines]) for i in range(len(header))]
    rule = ["-" * (width - 1) + ":" if i in numbers else "-" * width
            for i, width in enumerate(widths)]
    for line in [header, rule, *lines]:
        padded = (cell.rjust(width) if i in numbers else cell.ljust(width)
                  for i, (cell, width) in enumerate(zip(line, widths)))
        print("| " + " | ".join(padded) + " |")


def processor_name():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        facts = dict(re.findall(r"^([^\t:]+)\t*: (.+)$", file.read(), re.MULTILINE))
    if "model name" not in facts:
        return platform.machine()
    return f"{facts['model name']} (family {facts['cpu family']}, model {facts['model']})"


def main():
    parser = argparse.ArgumentParser(prog="script/bench", description="Prints one table of times.")
    parser.add_argument("program", help=argparse.SUPPRESS)
    parser.add_argument("cmhost", help=argparse.SUPPRESS)
    parser.add_argument("--level", help="portable, sse2, ssse3, sse41, avx2 or avx512; "
                        "without it, what start-up chooses")
    parser.add_argument("--repetitions", type=int, default=15, help="of every measurement")
    parser.add_argument("--only", default="", metavar="PATTERN",
                        help="only the rows in whose first column the regular expression is found")
    options = parser.parse_args()

    rows = [row for row in ROWS if re.search(options.only, row.what)]
    growth = re.search(options.only, "compositor, cost a pixel")
    groups = [row.group for row in rows] + ([GROWTH_FROM[0], GROWTH_TO[0]] if growth else [])
    benchmarks = Benchmarks(options.program, options.level, options.repetitions)
    for group in dict.fromkeys(groups):
        if sys.stderr.isatty():
            print(f"\r\033[K{group}", end="", file=sys.stderr, flush=True)
        benchmarks.run(group)
    if sys.stderr.isatty():
        print("\r\033[K", end="", file=sys.stderr, flush=True)

    level = f"level {benchmarks.level}, one thread, " if groups else ""
    print(f"{processor_name()}, {level}"
          f"least of {options.repetitions} repetitions, load {os.getloadavg()[1]:.1f}\n")
    lines = [row_cells(row, benchmarks) for row in rows]
    if growth:
        lines.append(growth_cells(benchmarks))
    lines += program_lines(options.cmhost, options.repetitions, options.only)
    print_table(lines)


main()
