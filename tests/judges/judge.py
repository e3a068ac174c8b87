#!/usr/bin/env python3
"""Compares the frames that the replay library reads with those that independent readers do.

  judge.py list FILE                          the lines of the independent reader, in the form of list_frames
  judge.py compare [--judge tshark] FILE...   a table of what differs; the exit status is 1 if anything does. A folder
                                              stands for all its files that an independent reader knows
  judge.py write FOLDER                       small files of all formats, written by the independent tools

Run it with the Python of build/judges, which `scripts/environment judges` makes. The environment variable LIST_FRAMES names the
program; without it that of build/dev is taken.

Frames are equal if everything but the time is, and their times are, within the tolerance of the judge. If the file
has no date, times are compared from the first frame on. Frames of buses that the judge does not read do not count.
"""

import argparse
import os
import pathlib
import subprocess
import sys

import independent

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIST_FRAMES = os.environ.get("LIST_FRAMES", ROOT / "build/dev/bin/list_frames")
KINDS_OF_NO_JUDGE = {"other", "xl"}
# Recordings that differ, by how much, and why.
EXPLAINED = {
    "EcuBus-Pro/LinTest.asc": (1, "the error of a LIN frame, which python-can does not read"),
    "kona-ev-can/250105-1-2020-comp-can-heating.converted.candump.log":
        (217, "lines with a time before 1970, which are malformed in a candump log"),
}


class Comparison:
    def __init__(self, judge, judged, ours, different, first):
        self.judge = judge
        self.judged = judged  # number of frames
        self.ours = ours
        self.different = different  # frames of either that the other has not
        self.first = first  # the first of them, or an empty text


def our_frames(path):
    """Our frames as (nanoseconds, rest), and what was said about damage."""
    run = subprocess.run([LIST_FRAMES, path], capture_output=True, text=True, check=False)
    if run.returncode not in (0, 1):
        raise RuntimeError(run.stderr.strip() or f"list_frames ended with status {run.returncode}")
    frames = []
    for line in run.stdout.splitlines():
        at, _, rest = line.partition(" ")
        frames.append((int(at), rest))
    return frames, run.stderr.strip()


def comparable(frames, reading):
    """Those frames that the judge can know, with times and channels as far as it has them."""
    kept = []
    for at, rest in frames:
        bus, channel, identifier, flags, data = rest.split(" ")
        if (bus == "-" and flags in KINDS_OF_NO_JUDGE) or (bus != "-" and bus not in reading.buses):
            continue
        if bus == "can" and not reading.tells_fd:
            rest = f"{bus} {channel} {identifier} - {data}"
        kept.append((at, rest))
    if not reading.is_absolute and kept:
        first = min(at for at, _ in kept)
        kept = [(at - first, rest) for at, rest in kept]
    return kept


def without_channel(rest):
    bus, _, remainder = rest.split(" ", 2)
    return f"{bus} * {remainder}"


def by_content(frames):
    contents = {}
    for at, rest in frames:
        contents.setdefault(rest, []).append(at)
    return contents


def unmatched(times, others, tolerance):
    """Pairs of two sorted lists of times that are equal are taken away. Returns (time, whether it is of `times`)."""
    left = []
    i = j = 0
    while i < len(times) or j < len(others):
        if i < len(times) and j < len(others) and abs(times[i] - others[j]) <= tolerance:
            i, j = i + 1, j + 1
        elif j == len(others) or (i < len(times) and times[i] < others[j]):
            left.append((times[i], True))
            i += 1
        else:
            left.append((others[j], False))
            j += 1
    return left


def compare(path, judge=None):
    """\\return nothing if no judge reads files of this ending"""
    reading = independent.read(path, judge)
    if reading is None:
        return None
    judged = comparable(reading.frames, reading)
    ours = comparable(our_frames(path)[0], reading)
    if any(rest.split(" ")[1] == "*" for _, rest in judged):
        ours = [(at, without_channel(rest)) for at, rest in ours]
    judged_contents, our_contents = by_content(judged), by_content(ours)
    differences = []
    for rest in judged_contents.keys() | our_contents.keys():
        for at, is_judged in unmatched(sorted(judged_contents.get(rest, [])), sorted(our_contents.get(rest, [])),
                                       reading.tolerance):
            differences.append((at, is_judged, rest))
    first = ""
    if differences:
        at, is_judged, rest = min(differences)
        first = f"only {reading.judge if is_judged else 'ours'}: {at} {rest}"
    return Comparison(reading.judge, len(judged), len(ours), len(differences), first)


def compare_all(paths, judge):
    """Prints a row a file, also of a file that one of both cannot read. Files of a folder that no judge knows have none."""
    print("| file | judge | frames of the judge | ours | different | |\n|---|---|---|---|---|---|")
    failures = 0
    for path in map(pathlib.Path, paths):
        for file in sorted(filter(pathlib.Path.is_file, path.rglob("*"))) if path.is_dir() else [path]:
            name = file.relative_to(path) if path.is_dir() else file
            try:
                result = compare(file, judge)
                if result is not None:
                    expected, why = EXPLAINED.get(str(name), (0, ""))
                    is_explained = result.different == expected and (result.judged > 0 or path.is_dir())
                    print(f"| {name} | {result.judge} | {result.judged} | {result.ours} | {result.different} "
                          f"| {why if is_explained else result.first[:120]} |")
                    failures += not is_explained
                elif not path.is_dir():
                    raise RuntimeError("no judge reads such files")
            except Exception as error:
                text = str(error).replace("\n", " ")[:120] or type(error).__name__
                print(f"| {name} | | | | | {text} |")
                failures += 1
    return 0 if failures == 0 else 1


def list_frames(path):
    reading = independent.read(path)
    if reading is None:
        print(f"{path}: no judge reads such files", file=sys.stderr)
        return 2
    for at, rest in sorted(reading.frames, key=lambda frame: frame[0]):
        print(at, rest)
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("list").add_argument("file")
    compare_command = commands.add_parser("compare")
    compare_command.add_argument("--judge", choices=["tshark"], help="instead of the one of the file's ending")
    compare_command.add_argument("file", nargs="+")
    commands.add_parser("write").add_argument("folder")
    arguments = parser.parse_args()
    if arguments.command == "list":
        return list_frames(arguments.file)
    if arguments.command == "compare":
        return compare_all(arguments.file, arguments.judge)
    import samples

    samples.write_all(pathlib.Path(arguments.folder))
    return 0


if __name__ == "__main__":
    sys.exit(main())
