#!/usr/bin/env python3
"""Fails when a hot path takes more than 5 % more instructions than recorded in bench/hot_paths.json.

    bench/check_instructions.py BIN [--record] [--only PATTERN]

BIN holds the programs hot_paths, make_drive and rksignal, e.g. build/test/bin. The instructions are counted by
`valgrind --tool=callgrind`, so the load of the machine does not matter: the same programs give the same counts. Those
of hot_paths count from mark to mark. Those of rksignal are the difference between a long and a short drive, so that
starting and reading definitions do not count.

--record writes what was counted to bench/hot_paths.json; do so, with a reason in the commit, when a path has become
longer on purpose, or shorter. Another compiler gives other counts: then they are shown and nothing fails.
"""

import argparse
import concurrent.futures
import fnmatch
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
RECORDED = ROOT / "bench" / "hot_paths.json"
TOLERANCE = 0.05
SHORT, LONG = 5, 25  # seconds of a drive

# What the C library would choose by the processor stays the same on all of them.
ENVIRONMENT = {
    "PATH": os.environ["PATH"],
    "LC_ALL": "C",
    "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX,-AVX2,-AVX_Fast_Unaligned_Load,-AVX512F,-AVX512BW,-AVX512VL,-BMI1,-BMI2,"
    "-ERMS,-FSRM,-LZCNT,-MOVBE,-POPCNT,-RTM,-SSE4_1,-SSE4_2,-SSSE3:glibc.cpu.x86_non_temporal_threshold=0xc0000",
}

DEFINITIONS = ["--dbc", f"0={ROOT}/examples/drive/drive.dbc", "--dbc", f"1={ROOT}/examples/drive/body.dbc"]
DECODE = ["decode", "--quiet", *DEFINITIONS]
CONDITIONS = ["--when", "fast=Vehicle.Speed > 100 && Gear.Current == 6", "--when", "hot=EngineTemperature.Coolant > 90"]
PROGRAM_PATHS = {  # arguments of rksignal, and the ending of the drive that it gets
    "decode/last/candump": (DECODE + ["--last"], "log"),
    "decode/csv/candump": (DECODE, "log"),
    "decode/csv_of_one_signal/candump": (DECODE + ["--only", "Vehicle.Speed"], "log"),
    "decode/last/rktrace": (DECODE + ["--last"], "rktrace"),
    "decode/last/pcapng": (DECODE + ["--last"], "pcapng"),
    "trigger/candump": (["trigger", "--quiet", *DEFINITIONS, *CONDITIONS], "log"),
}


def run(command):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, env=ENVIRONMENT)
    if done.returncode not in (0, 1):  # 1 of rksignal: nothing fired, or error frames were left out
        sys.exit(f"{' '.join(map(str, command))}: exit status {done.returncode}\n{done.stderr}")
    return done


def count(command, *options):
    """The instructions that a command takes, and what it prints."""
    valgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *options]
    done = run(valgrind + command)
    return int(re.search(r"Collected : (\d+)", done.stderr)[1]), done.stdout


class Paths:
    """All paths by name; each is counted by a call that gives instructions a unit, and the unit."""

    def __init__(self, programs, drives):
        self.programs, self.drives, self.units = programs, drives, {}
        self.by_name = {name: self.marked for name in run([programs / "hot_paths"]).stdout.split()}
        self.by_name |= {name: self.whole for name in PROGRAM_PATHS}
        self.one_job = ["--jobs", "1"] if "--jobs" in run([programs / "rksignal", "decode", "--help"]).stdout else []

    def marked(self, name):
        instructions, text = count([self.programs / "hot_paths", name], "--toggle-collect=measuredWork")
        units, unit = text.split()
        return instructions / int(units), unit

    def whole(self, name):
        arguments, ending = PROGRAM_PATHS[name]
        jobs = self.one_job if arguments[0] == "decode" else []
        command = [self.programs / "rksignal", *arguments, *jobs]
        short, long = (count(command + [self.drive(seconds, ending)])[0] for seconds in (SHORT, LONG))
        return (long - short) / (self.units[LONG, ending] - self.units[SHORT, ending]), "message"

    def drive(self, seconds, ending):
        return self.drives / f"{seconds}.{ending}"

    def make_drives(self):
        for seconds in (SHORT, LONG):
            log, records, capture = (self.drive(seconds, ending) for ending in ("log", "rktrace", "pcapng"))
            made = run([self.programs / "make_drive", "--seconds", seconds, "-o", log, "--records", records]).stderr
            converted = run([self.programs / "rksignal", "convert", log, capture]).stderr
            self.units[seconds, "log"] = int(re.search(r"(\d+) frames", made)[1])
            self.units[seconds, "rktrace"] = int(re.search(r"(\d+) records", made)[1])
            self.units[seconds, "pcapng"] = int(re.search(r"converted: (\d+)", converted)[1])


def count_all(programs, wanted):
    with tempfile.TemporaryDirectory() as drives, concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        paths = Paths(programs, pathlib.Path(drives))
        paths.make_drives()
        names = [name for name in paths.by_name if fnmatch.fnmatch(name, wanted)]
        counted = pool.map(lambda name: paths.by_name[name](name), names)
        return {name: {"instructions": round(each, 3), "a": unit} for name, (each, unit) in zip(names, counted)}


def record(compiler, counted):
    lines = ",\n".join(f'    "{name}": {json.dumps(path)}' for name, path in counted.items())
    RECORDED.write_text(f'{{\n  "compiler": "{compiler}",\n  "paths": {{\n{lines}\n  }}\n}}\n')
    print(f"{len(counted)} paths recorded in {RECORDED.relative_to(ROOT)}")


def compare(recorded, counted):
    """Prints a line a path. Returns what is wrong, and what has become better, as sentences."""
    wrong, better = [], []
    print(f"{'path':34} {'recorded':>10} {'counted':>10}")
    for name, path in counted.items():
        now, unit = path["instructions"], path["a"]
        before = recorded.get(name, {}).get("instructions")
        if before is None:
            print(f"{name:34} {'-':>10} {now:10.5g}")
            wrong.append(f"{name} is not recorded")
            continue
        change = now / before - 1
        print(f"{name:34} {before:10.5g} {now:10.5g} {change:+8.1%}")
        sentence = f"{name}: {before:.5g} instructions a {unit} recorded, {now:.5g} counted, {change:+.1%}"
        if change > TOLERANCE:
            wrong.append(sentence)
        elif change < -TOLERANCE:
            better.append(sentence)
    return wrong, better


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", metavar="BIN", type=pathlib.Path)
    parser.add_argument("--record", action="store_true", help="keep what is counted")
    parser.add_argument("--only", metavar="PATTERN", default="*", help="only paths such as 'can/*'")
    arguments = parser.parse_args()
    programs = arguments.programs.resolve()
    compiler = run([programs / "hot_paths", "--compiler"]).stdout.strip()
    recorded = json.loads(RECORDED.read_text()) if RECORDED.exists() else {"compiler": compiler, "paths": {}}
    counted = count_all(programs, arguments.only)
    if arguments.record:
        return record(compiler, (recorded["paths"] if arguments.only != "*" else {}) | counted)
    wrong, better = compare(recorded["paths"], counted)
    if compiler != recorded["compiler"]:
        print(f"Recorded with {recorded['compiler']}, made by {compiler}: not comparable.")
        return None
    for sentence in better:
        print(f"Shorter: {sentence}. Keep it with --record.")
    for sentence in wrong:
        print(f"error: {sentence}", file=sys.stderr)
    return 1 if wrong else None


if __name__ == "__main__":
    sys.exit(main())
