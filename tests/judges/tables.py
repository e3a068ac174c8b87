"""Compares the tables of `rksignal export` with those that pandas makes of the rows of `rksignal decode`.

    tables.py RKSIGNAL FOLDER LOG [CHANNEL=]DBC...

LOG is a candump log, which is sorted by time first. Values are compared to 1e-12 of their size. MAT-files are read by
SciPy, JSON lines by Python.
"""

import io
import json
import pathlib
import re
import subprocess
import sys

import numpy
import pandas
import scipy.io

LOOK_AHEAD = 10_000  # rows between two values that are interpolated at most


def run(*command):
    result = subprocess.run([str(each) for each in command], stdout=subprocess.PIPE, check=False)
    if result.returncode not in (0, 1):  # 1: frames of the log are short, or lines damaged
        sys.exit(f"{command} ended with {result.returncode}")
    return result.stdout.decode()


def nanoseconds(text):
    second, fraction = text.split(".")
    return int(second) * 10**9 + int(fraction.ljust(9, "0"))


def stamp_of(line):
    return nanoseconds(line[1:line.index(")")])


def read_table(text, origin=0):
    table = pandas.read_csv(io.StringIO(text), dtype={"time": str, "time [s]": str}, float_precision="round_trip")
    table = table.rename(columns={name: name.split(" [")[0] for name in table.columns})
    table.insert(0, "ns", table.pop("time").map(nanoseconds) - origin)
    return table


def states(dbc):
    """Names of the signals that are never interpolated."""
    text = pathlib.Path(dbc.split("=")[-1]).read_text(encoding="latin-1")
    found, messages, name = set(), {}, ""
    line = r'^(BO_) (\d+) (\w+)|^ *SG_ +(\w+)[^:]*: *\d+\|(\d+)@\d[+-] *\(([^,]+),[^)]*\) *\[[^\]]*\] *"([^"]*)"'
    for match in re.finditer(line, text, re.MULTILINE):
        if match[1]:
            name = messages[match[2]] = match[3]
        elif int(match[5]) == 1 or (match[7].strip() == "" and float(match[6]) == 1):
            found.add(f"{name}.{match[4]}")
    for message, signal in re.findall(r"^VAL_ +(\d+) +(\w+) +-?\d", text, re.MULTILINE):
        found.add(f"{messages.get(message)}.{signal}")
    return found  # floating point numbers with neither a unit nor a scale do not occur


def held(rows, times, max_age):
    left = pandas.DataFrame({"ns": times})
    return pandas.merge_asof(left, rows[["ns", "value"]].assign(start=rows.ns), on="ns", tolerance=max_age)


def interpolated(rows, times, max_age):
    table = held(rows, times, max_age)
    ahead = rows.drop_duplicates("ns")[["ns", "value"]].rename(columns={"value": "next"})
    ahead["end"] = ahead.ns
    table = pandas.merge_asof(table, ahead, on="ns", direction="forward")
    inside = (table.start < table.ns) & table.end.notna()
    between = table[inside].groupby("start").ns.transform("count")
    usable = inside & (between.reindex(table.index) <= LOOK_AHEAD)
    if max_age is not None:
        usable &= table.end - table.start <= max_age
    share = (table.ns - table.start) / (table.end - table.start)
    return table.value.where(~usable, table.value + (table.next - table.value) * share)


def compare(found, expected, what):
    close = numpy.isclose(found, expected, rtol=1e-12, atol=1e-12, equal_nan=True)
    if not close.all():
        at = int(numpy.argmin(close))
        sys.exit(f"{what}: row {at} has {found[at]}, expected {expected[at]}")


def judge_steps(export, series, state, stamps, step, max_age, interpolate):
    options = ["--step", f"{step}ns"] + (["--max-age", f"{max_age}ns"] if max_age else [])
    table = read_table(export(*options, *(["--interpolate"] if interpolate else [])), stamps[0])
    times = numpy.arange(0, stamps[-1] - stamps[0] + 1, step)
    if list(table.ns) != list(times):
        sys.exit(f"step {step}: {len(table)} rows from {table.ns[0]}, expected {len(times)} from {times[0]}")
    for name in table.columns[1:]:
        rows = series.get(name, pandas.DataFrame({"ns": numpy.array([], "int64"), "value": numpy.array([], float)}))
        if interpolate and name not in state:
            expected = interpolated(rows, times, max_age)
        else:
            expected = held(rows, times, max_age).value
        compare(table[name].to_numpy(float), expected.to_numpy(float), f"{name}, {options}")
    return table.size


def judge_trigger(export, rows, trigger):
    """A row for each message that holds the trigger: a pivot whose gaps are filled from above."""
    table = read_table(export("--on", trigger))
    origin = rows[["ns", "channel", "message"]]
    message = origin.ne(origin.shift()).any(axis=1).cumsum()
    pivot = rows.assign(at=message).pivot_table(index="at", columns="instance", values="value", aggfunc="last").ffill()
    triggered = message[rows.instance == trigger].unique()
    for name in table.columns[1:]:
        if name in pivot.columns:
            compare(table[name].to_numpy(float), pivot.loc[triggered, name].to_numpy(float), f"{name} on {trigger}")
    return table.size


def judge_forms(export, folder):
    """MAT-files and JSON lines hold what CSV holds."""
    options = ["--step", "100ms", "--interpolate", "--max-age", "1s"]
    table = read_table(export(*options))
    lines = [json.loads(line) for line in export(*options, "--format", "jsonl").splitlines()]
    path = folder / "table.mat"
    export(*options, "-o", path)
    content = scipy.io.loadmat(path, squeeze_me=False)
    variables = {row[1][0]: row[0][0] for row in content["signals"]}
    if list(variables) != list(table.columns[1:]) or "start" not in content:
        sys.exit("the MAT-file does not name the signals of the table")
    start = pandas.Timestamp(str(content["start"][0])).value
    if (numpy.rint(content["time"][:, 0] * 1e9).astype("int64") + start).tolist() != table.ns.tolist():
        sys.exit("the MAT-file has other times")
    for name, variable in variables.items():
        if not variable.isidentifier() or not numpy.array_equal(content[variable][:, 0], table[name], equal_nan=True):
            sys.exit(f"{name} is another one as {variable} of the MAT-file")
        values = numpy.array([line[name] for line in lines], float)
        if not numpy.array_equal(values, table[name], equal_nan=True):
            sys.exit(f"{name} is another one in JSON lines")
    return 2 * table.size


def main(rksignal, folder, source, *definitions):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    with open(source, encoding="latin-1") as lines:
        frames = sorted((line for line in lines if re.match(r"\(\d+\.", line)), key=stamp_of)
    stamps = [stamp_of(line) for line in frames]
    log = folder / "sorted.log"
    log.write_text("".join(frames), encoding="latin-1")
    inputs = [each for dbc in definitions for each in ("--dbc", dbc)] + ["--quiet", log]
    rows = pandas.read_csv(io.StringIO(run(rksignal, "decode", *inputs)), dtype={"time": str},
                           float_precision="round_trip")
    rows["ns"] = rows.time.map(nanoseconds) - stamps[0]  # pandas makes doubles of them, which hold small ones
    rows["message"] = rows.instance.str.split(".").str[0]
    series = {name: each for name, each in rows.groupby("instance")}
    state = set().union(*map(states, definitions))

    def export(*options):
        return run(rksignal, "export", *inputs, *options)

    cells = 0
    for step in (10_000_000, 333_333_333) + ((50_000,) if len(stamps) < 20_000 else ()):
        for max_age in (None, 250_000_000):
            for interpolate in (False, True):
                cells += judge_steps(export, series, state, stamps, step, max_age, interpolate)
    for trigger in rows.instance.value_counts().index[[0, -1]]:
        cells += judge_trigger(export, rows, trigger)
    cells += judge_forms(export, folder)
    print(f"{source}: {cells} cells of tables are equal")


if __name__ == "__main__":
    main(*sys.argv[1:])
