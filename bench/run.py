#!/usr/bin/env python3
"""Measures everything beside what it is compared with, and prints a table of ratios with the bar beside each.

    bench/run.py BIN [--runs N] [--only REGEX] [--json FILE] [--compare FILE] [--markdown]

BIN holds the programs, of this state of the project or of another. Each benchmark program and each command is run in N
processes, all in turn. scripts/bench builds the programs and calls this.
"""

import argparse
import datetime
import json
import os
import pathlib
import platform
import re
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
import commands
import report
from figures import Figures, peers, ratio

ROOT = pathlib.Path(__file__).resolve().parent.parent
REPETITIONS = ["--benchmark_repetitions=3", "--benchmark_min_time=0.02", "--benchmark_report_aggregates_only=true",
               "--benchmark_enable_random_interleaving=true"]
SELDOM = {"bench_life": "^Life/build/.*/10000/"}  # one run, only these: memory counts, which is the same each time
BUSY = 0.5  # of a processor, by other programs


def text_of(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, cwd=ROOT, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return ""  # programs of before may lack one


def machine():
    with open("/proc/cpuinfo") as lines:
        names = [line.split(":", 1)[1].strip() for line in lines if line.startswith("model name")]
    with open("/proc/meminfo") as lines:
        kibibytes = int(next(lines).split()[1])
    return {"processor": names[0] if names else platform.machine(), "processors": len(os.sched_getaffinity(0)),
            "memory_MiB": kibibytes // 1024, "kernel": platform.release()}


def progress(text):
    if sys.stderr.isatty():
        print(f"\r\x1b[K{text}", end="", file=sys.stderr, flush=True)


def measure(programs, runs, only):
    figures = Figures()
    benchmarks = sorted(programs.glob("bench_*"))
    with tempfile.TemporaryDirectory(prefix="drives.", dir=ROOT / "build") as folder:
        recordings = commands.Recordings(programs, pathlib.Path(folder))
        whole = commands.prepared(programs, recordings, lambda name: re.search(only or "", name))
        if any("_floor/" in command.name for command in whole):
            commands.check_floor(programs, recordings)
        for run in range(runs):
            for program in benchmarks:
                progress(f"run {run + 1} of {runs}: {program.name}")
                if program.name not in SELDOM:
                    figures.run_benchmarks(program, only or ".", REPETITIONS)
                elif run == 0:
                    figures.run_benchmarks(program, only or SELDOM[program.name], ["--benchmark_min_time=0.01"])
            for group in commands.compared(whole):
                progress(f"run {run + 1} of {runs}: {group[0].name}")
                if not all([figures.run_command(command) for command in group if run < (command.runs or runs)]):
                    whole = [command for command in whole if command not in group]
        if re.search(only or "", "columns") and (programs / "column_rates").exists():
            log, _ = recordings.drive("log", hours=1)
            figures.run_columns([programs / "column_rates", log, *commands.CHANNELS])
    progress("")
    return figures.json()


def comparisons(figures, bars, in_part):
    """All pairs that are compared, those with a bar first, in its order. A bar that nothing was measured for is told,
    unless only a part was measured.
    """
    found, seen = [], set()
    for bar in bars:
        pairs = list(report.matches(bar, figures))
        seen.update(pairs)
        found += [comparison(figures, name, other, bar) for name, other in pairs]
        if not pairs and not in_part:
            found.append({"figure": bar["figure"], "beside": None, "ratio": None, "work": bar["work"],
                          "bar": bar["bar"], "reached": False})
    found += [comparison(figures, name, other) for name, other in peers(figures) if (name, other) not in seen]
    return found


def comparison(figures, name, other, bar=None):
    """`ratio` is that of the figures, or, without one to compare with, the figure itself."""
    made = {"figure": name, "beside": other}
    own = figures[name]
    made["ratio"] = ratio(own, figures[other]) if other else {key: own[key] for key in ("median", "spread", "runs")}
    if bar:
        value = made["ratio"]["median"]
        reached = value <= bar["at_most"] if "at_most" in bar else value >= bar["at_least"]
        made |= {"work": bar["work"], "bar": bar["bar"], "reached": reached,
                 "limit": bar.get("at_most", bar.get("at_least"))}
    return made


def load():
    return [round(each, 2) for each in os.getloadavg()]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", metavar="BIN", type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=5, help="processes that each program is run in (5)")
    parser.add_argument("--only", metavar="REGEX", help="only figures whose name matches, e.g. CanDecode or ^last")
    parser.add_argument("--json", metavar="FILE", type=pathlib.Path, help="write all figures there")
    parser.add_argument("--compare", metavar="FILE", type=pathlib.Path, help="a file of an earlier --json")
    parser.add_argument("--markdown", action="store_true", help="print the table as Markdown")
    arguments = parser.parse_args()
    programs = arguments.programs.resolve()
    for name in ("rksignal", "make_drive"):
        if not (programs / name).exists():
            parser.error(f"{arguments.programs} lacks {name}: build with RKSIGNAL_BENCH and RKSIGNAL_TOOLS")
    if arguments.json and arguments.compare and arguments.json.resolve() == arguments.compare.resolve():
        parser.error("--json would replace the figures of --compare")
    before = json.loads(arguments.compare.read_text()) if arguments.compare else None

    results = {"started": datetime.datetime.now().astimezone().isoformat(timespec="seconds"), "machine": machine(),
               "load_before": load(), "commit": text_of("git", "rev-parse", "--short", "HEAD"),
               "changed": bool(text_of("git", "status", "--porcelain", "--untracked-files=no")),
               "compiler": text_of(programs / "hot_paths", "--compiler"), "runs": arguments.runs,
               "plain_paths": os.environ.get("RKSIGNAL_PLAIN", "") == "1"}
    if results["load_before"][0] > BUSY:
        print(f"The machine is busy: its load is {results['load_before'][0]}. Ratios can be trusted more than figures.",
              file=sys.stderr)
    start = time.monotonic()
    results["figures"] = measure(programs, arguments.runs, arguments.only)
    bars = json.loads((ROOT / "bench" / "bars.json").read_text())
    results["comparisons"] = comparisons(results["figures"], bars, arguments.only is not None)
    results |= {"load_after": load(), "seconds": round(time.monotonic() - start)}
    if arguments.json:
        arguments.json.write_text(json.dumps(results, indent=1) + "\n")
    print(report.text(results, before, arguments.markdown, everything=arguments.only is not None))


if __name__ == "__main__":
    main()
