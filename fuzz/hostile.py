#!/usr/bin/env python3
"""Reads damaged variants of traces and definition files and counts what a reader must never do: crash, hang, or take
much memory.

  hostile.py [--variants N] [--program LIST_FRAMES] FILE...
  hostile.py --program "build/dev/bin/rksignal check" FILE...    definition files

Each file has N variants (1,200 by default), the same in each run: bytes changed, bits flipped, blocks removed,
doubled, zeroed or exchanged, numbers replaced by extreme ones, ends cut off. Exit status 1 if any variant crashed,
took longer than 20 s or more than 256 MB. What fails is kept in the working folder, build/hostile.
"""

import argparse
import os
import pathlib
import random
import shlex
import signal
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
SECONDS = 20
MEGABYTES = 256
EXTREMES = [b"\0\0\0\0", b"\xff\xff\xff\xff", b"\xff\xff\xff\x7f", b"\0\0\0\x80", b"\x01\0\0\0", b"\0\0\0\0\0\0\0\x80",
            b"\xff" * 8, b"\0\0\0\x01", b"\0\0\x10\0", b"\0\x10\0\0"]


def change_bytes(draw, data):
    for _ in range(draw.choice([1, 2, 8, 64])):
        data[draw.randrange(len(data))] = draw.randrange(256)


def flip_bit(draw, data):
    data[draw.randrange(len(data))] ^= 1 << draw.randrange(8)


def extreme_number(draw, data):
    word = draw.choice(EXTREMES)
    # half of them near the beginning, where heads are
    at = draw.randrange(min(len(data), 1024) if draw.random() < 0.5 else len(data))
    data[at:at + len(word)] = word


def block(draw, data):
    start = draw.randrange(len(data))
    return start, min(len(data), start + draw.choice([1, 4, 16, 100, 4096]))


def remove_block(draw, data):
    start, end = block(draw, data)
    del data[start:end]


def double_block(draw, data):
    start, end = block(draw, data)
    data[end:end] = data[start:end]


def zero_block(draw, data):
    start, end = block(draw, data)
    data[start:end] = bytes(end - start)


def move_block(draw, data):
    start, end = block(draw, data)
    piece = data[start:end]
    to = draw.randrange(len(data))
    data[to:to + len(piece)] = piece


def cut_off(draw, data):
    del data[draw.randrange(len(data)):]


MUTATIONS = [change_bytes, flip_bit, extreme_number, extreme_number, remove_block, double_block, zero_block, move_block,
             cut_off]


def variant(original, number):
    draw = random.Random(number)
    data = bytearray(original)
    for _ in range(draw.choice([1, 1, 1, 2, 4])):
        if data:
            draw.choice(MUTATIONS)(draw, data)
    return data


def run(command):
    """\\return exit status (negative after a signal, None if it took too long), seconds, most memory in MB"""
    start = time.monotonic()
    with open(os.devnull, "wb") as nothing:
        process = subprocess.Popen(command, stdout=nothing, stderr=nothing)
        signal.signal(signal.SIGALRM, lambda *_: process.kill())
        signal.alarm(SECONDS)
        _, status, usage = os.wait4(process.pid, 0)
        signal.alarm(0)
    seconds = time.monotonic() - start
    code = os.waitstatus_to_exitcode(status)
    process.returncode = code
    return (None if code == -signal.SIGKILL else code), seconds, usage.ru_maxrss / 1024


def attack(program, path, count, folder):
    original = path.read_bytes()
    crashes = hangs = heavy = 0
    longest = most = 0.0
    for number in range(count):
        place = folder / (str(number) + "-" + path.name)
        place.write_bytes(variant(original, number))
        status, seconds, megabytes = run([*shlex.split(str(program)), place])
        longest, most = max(longest, seconds), max(most, megabytes)
        crashed = status is not None and (status < 0 or status > 2)
        crashes, hangs, heavy = crashes + crashed, hangs + (status is None), heavy + (megabytes > MEGABYTES)
        if not crashed and status is not None and megabytes <= MEGABYTES:
            place.unlink()
    print(f"| {path.name} | {count} | {crashes} | {hangs} | {longest:.2f} s | {most:.0f} MB |")
    sys.stdout.flush()
    return crashes + hangs + heavy


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--variants", type=int, default=1200)
    parser.add_argument("--program", default=ROOT / "build/dev/bin/list_frames")
    parser.add_argument("file", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    folder = ROOT / "build/hostile"
    folder.mkdir(parents=True, exist_ok=True)
    print("| file | variants | crashes | hangs | longest | most memory |\n|---|---|---|---|---|---|")
    failures = sum(attack(arguments.program, path, arguments.variants, folder) for path in arguments.file)
    return 0 if failures == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
