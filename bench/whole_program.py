"""Measures cmhost against ffmpeg's overlay filter as whole programs: the same artwork at the same
position on the same 1080p frames. Raw frames are read from memory and written to nothing, or raw to
/dev/null: a file in memory would measure how fast the system finds free pages. H.264 is decoded and
encoded with equal settings.

The programs run alternately. Reported are the least elapsed time, the least processor time and the
largest peak memory of each. ffmpeg gets the artwork scaled in advance, as its users would keep it.
Both programs choose their number of threads.
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
# What is measured, and the goals: ratios of elapsed time, processor time and peak memory.
TASKS = {"raw to nothing": (0.5, 0.6, None),
         "raw to raw": (0.8, 1.0, None),
         "H.264 to H.264": (1.0, 1.0, 1.0)}
COSTS = ["frames per second", "processor time per frame", "peak memory"]

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
    """Costs of a run by task and program. The raw clip has 600 MB."""
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        raw, coded, mark = f"{folder}/clip.y4m", f"{folder}/clip.mp4", f"{folder}/mark.png"
        marked = f"{folder}/marked.mp4"
        encoder = ["-c:v", "libx264", "-crf", 18]
        run(ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={WIDTH}x{HEIGHT}:rate=25", "-frames:v", FRAMES,
                   "-pix_fmt", "yuv420p", raw))
        run(ffmpeg("-i", raw, *encoder, coded))
        run(ffmpeg("-i", ARTWORK, "-vf", f"scale={MARK_WIDTH}:{MARK_HEIGHT}", mark))

        def overlay(clip, *output):
            return ffmpeg("-i", clip, "-i", mark, "-filter_complex", f"overlay={MARK_X}:{MARK_Y}",
                          "-pix_fmt", "yuv420p", *output)

        commands = {
            ("raw to nothing", "ours"): [cmhost, "--quiet", raw, "null:"],
            ("raw to nothing", "theirs"): overlay(raw, "-f", "null", "-"),
            ("raw to raw", "ours"): [cmhost, "--quiet", raw, "-"],
            ("raw to raw", "theirs"): overlay(raw, "-f", "yuv4mpegpipe", "-"),
            ("H.264 to H.264", "ours"): [cmhost, "--quiet", "--overwrite", "--encoder", "libx264",
                                         "--encoder-option", "crf=18", coded, marked],
            ("H.264 to H.264", "theirs"): overlay(coded, *encoder, marked)}
        costs = {key: [] for key in commands}
        for _ in range(repetitions):
            for key, command in commands.items():
                costs[key].append(run(command))
    return {key: Cost(min(cost.clock for cost in runs), min(cost.processor for cost in runs),
                      max(cost.memory for cost in runs)) for key, runs in costs.items()}


def names():
    return [f"cmhost, 1080p {task}, {cost}" for task in TASKS for cost in COSTS]


def comparisons(cmhost, repetitions):
    """(ours, theirs, ratio of costs, goal) for each of `names`."""
    costs = measure(cmhost, repetitions)
    for task, goals in TASKS.items():
        ours, theirs = costs[task, "ours"], costs[task, "theirs"]
        texts = [lambda cost: f"{FRAMES / cost.clock:.0f}",
                 lambda cost: f"{cost.processor / FRAMES * 1e3:.3g} ms",
                 lambda cost: f"{cost.memory / 1e6:.0f} MB"]
        for text, goal, our_cost, their_cost in zip(texts, goals, ours, theirs):
            yield text(ours), text(theirs), our_cost / their_cost, goal
