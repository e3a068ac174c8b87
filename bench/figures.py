"""Figures, each the values of several runs, and how they are had from programs.

A figure is known by its name. What SUBJECT/CONDITION is compared with is called SUBJECT_PEER/CONDITION, in the
benchmark programs as well as among the commands.
"""

import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

COUNTERS = {  # of the benchmark programs: unit, factor, and whether more of it is better
    "a_frame": ("ns", 1e9, False),
    "a_signal": ("ns", 1e9, False),
    "bytes": ("bytes", 1, False),
    "bytes_a_signal": ("bytes", 1, False),
    "bytes_per_second": ("MB/s", 1e-6, True),
    "items_per_second": ("M/s", 1e-6, True),
}
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


class Figure:
    def __init__(self, unit, more_is_better):
        self.unit, self.more_is_better, self.values = unit, more_is_better, []

    def json(self):
        return {"unit": self.unit, "better": "more" if self.more_is_better else "less", **summary(self.values),
                "values": [round(value, 4) for value in self.values]}


def summary(values):
    """The median, and how far the runs lie apart, as a part of it."""
    median = statistics.median(values)
    return {"median": round(median, 4), "spread": round((max(values) - min(values)) / median, 4) if median else 0,
            "runs": len(values)}


class Figures:
    def __init__(self):
        self.by_name = {}

    def add(self, name, value, unit, more_is_better=False):
        self.by_name.setdefault(name, Figure(unit, more_is_better)).values.append(value)

    def json(self):
        return {name: figure.json() for name, figure in sorted(self.by_name.items())}

    def run_benchmarks(self, program, wanted, options=()):
        """One process of a benchmark program; of its repetitions the medians."""
        command = [program, f"--benchmark_filter={wanted}", "--benchmark_format=json", *options]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:  # a probe that disagrees, for one
            raise SystemExit(f"{program.name}: exit status {done.returncode}\n{done.stderr}")
        if not done.stdout.strip():
            return  # it has no such benchmark
        for benchmark in json.loads(done.stdout)["benchmarks"]:
            if benchmark.get("aggregate_name", "median") != "median" or benchmark.get("error_occurred"):
                continue
            name = benchmark["run_name"].removesuffix("/manual_time")
            kind = "real_time" if benchmark["run_name"].endswith("/manual_time") else "cpu_time"
            self.add(name, benchmark[kind] * NANOSECONDS[benchmark["time_unit"]], "ns")
            for counter, (unit, factor, more) in COUNTERS.items():
                if counter in benchmark:
                    self.add(f"{name}#{counter}", benchmark[counter] * factor, unit, more)

    def run_command(self, command):
        """One run of a `commands.Command`: its rate, and its peak memory. Returns whether it worked."""
        with tempfile.NamedTemporaryFile() as peak:
            # GNU time is small; a child of this process would count its own memory as that of the program.
            timed = ["/usr/bin/time", "--quiet", "-f", "%M", "-o", peak.name, *command.arguments]
            with subprocess.Popen(timed, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
                start = time.perf_counter()
                _, status, used = os.wait4(process.pid, 0)
                passed = time.perf_counter() - start
                process.returncode = os.waitstatus_to_exitcode(status)
            if process.returncode not in (0, 1):  # 1 of rksignal: nothing fired, and the like
                print(f"{command.name} is left out: exit status {process.returncode}", file=sys.stderr)
                return False
            self.add(f"{command.name}#memory", int(peak.read()) / 1024, "MiB")
        seconds = passed if command.with_waiting else used.ru_utime + used.ru_stime
        self.add(command.name, command.amount / seconds / 1e6, command.unit, True)
        return True

    def run_columns(self, command):
        """The rates that column_rates prints, each the median of five processes."""
        done = subprocess.run(command, capture_output=True, text=True, check=True)
        for layout, signals, rate in re.findall(r"^(\w+) +(\w+) signals +(\d+) frames/s", done.stdout, re.M):
            self.add(f"columns/{layout}/{signals}_signals", int(rate) / 1e6, "M/s", True)


def peers(figures):
    """Pairs of names: a figure, and what it is compared with."""
    subjects = {}
    for name in figures:
        if match := re.match(r"([^_/]+)_([^_/]+)(/.*)", name):
            subjects.setdefault(match[1] + match[3], []).append(name)
    return [(name, other) for name in figures for other in subjects.get(name, [])]


def ratio(figure, other):
    """Of the runs in turn, since one run of both meets the same load; of the medians where they were run unevenly."""
    if figure["runs"] == other["runs"]:
        return summary([mine / its for mine, its in zip(figure["values"], other["values"])])
    return {"median": round(figure["median"] / other["median"], 4), "spread": None, "runs": 1}
