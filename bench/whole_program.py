"""Measures cmhost against ffmpeg's overlay filter as whole programs: the same artwork at the same
place on the same 1080p frames, read raw from memory and written into nothing, or raw to /dev/null: a
file in memory would show how fast the system finds empty pages for it.

The programs run alternately. The least time by the clock and the least processor time of each
count, and its largest peak memory. ffmpeg gets the artwork scaled beforehand, as it would be kept by
somebody who marks by it, and chooses its threads itself, as cmhost does.
"""

import os
import subprocess
import sys
import tempfile
import time
from collections import namedtuple
from pathlib import Path

WIDTH, HEIGHT, FRAMES = 1920, 1080, 200
# Where the module puts the artwork: nine tenths of the width, centred.
MARK_WIDTH, MARK_HEIGHT, MARK_X, MARK_Y = 1728, 401, 96, 339
ARTWORK = Path(__file__).parent.parent / "component/filter/video/static_watermark/artwork.png"
SINKS = {"null": "into nothing", "raw": "raw to /dev/null"}
COSTS = ["frames a second", "processor time a frame", "peak memory"]

# Seconds by the clock, processor seconds of all threads, bytes.
Cost = namedtuple("Cost", "clock processor memory")


def run(command):
    with tempfile.TemporaryFile() as messages:
        start = time.monotonic()
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=messages)
        _, status, usage = os.wait4(process.pid, 0)
        clock = time.monotonic() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            messages.seek(0)
            sys.exit(f"{' '.join(command)}: {messages.read().decode(errors='replace').strip()}")
    return Cost(clock, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024)


def ffmpeg(*arguments):
    return ["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)]


def measure(cmhost, repetitions):
    """Costs of a run by sink and program. The clip is 600 MB."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        clip, mark = f"{folder}/clip.y4m", f"{folder}/mark.png"
        run(ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={WIDTH}x{HEIGHT}:rate=25", "-frames:v", FRAMES,
                   "-pix_fmt", "yuv420p", clip))
        run(ffmpeg("-i", ARTWORK, "-vf", f"scale={MARK_WIDTH}:{MARK_HEIGHT}", mark))
        overlay = ["-i", clip, "-i", mark, "-filter_complex", f"overlay={MARK_X}:{MARK_Y}"]
        commands = {
            ("null", "ours"): [cmhost, "--quiet", clip, "null:"],
            ("null", "theirs"): ffmpeg(*overlay, "-f", "null", "-"),
            ("raw", "ours"): [cmhost, "--quiet", clip, "-"],
            ("raw", "theirs"): ffmpeg(*overlay, "-pix_fmt", "yuv420p", "-f", "yuv4mpegpipe", "-")}
        costs = {key: [] for key in commands}
        for _ in range(repetitions):
            for key, command in commands.items():
                costs[key].append(run(command))
    return {key: Cost(min(cost.clock for cost in runs), min(cost.processor for cost in runs),
                      max(cost.memory for cost in runs)) for key, runs in costs.items()}


def names():
    return [f"cmhost, 1080p {sink}, {cost}" for sink in SINKS.values() for cost in COSTS]


def comparisons(cmhost, repetitions):
    """(ours, theirs, ratio of costs, goal) for each of `names`."""
    costs = measure(cmhost, repetitions)
    for sink in SINKS:
        ours, theirs = costs[sink, "ours"], costs[sink, "theirs"]
        yield (f"{FRAMES / ours.clock:.0f}", f"{FRAMES / theirs.clock:.0f}",
               ours.clock / theirs.clock, 0.5)
        yield (f"{ours.processor / FRAMES * 1e3:.3g} ms", f"{theirs.processor / FRAMES * 1e3:.3g} ms",
               ours.processor / theirs.processor, 1.0)
        yield (f"{ours.memory / 1e6:.0f} MB", f"{theirs.memory / 1e6:.0f} MB",
               ours.memory / theirs.memory, None)
