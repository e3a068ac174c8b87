"""Columns compared with the rows of `rksignal decode`, and with each other."""

import csv
import datetime
import io
import re
import subprocess
import sys

import numpy
import pytest

import rksignal

BUSES = ["drive.dbc", "body.dbc", "drive.ldf", "drive.arxml", "logger.json"]
CASES = {
    "log": (["drive.log"], ["0=drive.dbc", "1=body.dbc"]),
    "records": (["drive.rktrace"], BUSES),
    "capture": (["drive.pcapng"], ["drive.arxml"]),
    "merged": (["drive.log", "drive.nmea"], ["drive.dbc", "logger.json"]),
}


def decoded(program, traces, definitions):
    """The rows of `rksignal decode`, column by column."""
    arguments = [part for each in definitions for part in ("--definitions", each)]
    rows = list(csv.DictReader(io.StringIO(program("decode", "--quiet", *arguments, *traces))))
    return {name: [row[name] for row in rows] for name in ("time", "channel", "bus", "instance", "value", "raw", "text")}


def as_rows(columns, db):
    """Columns of the layout `long`, written as rows are."""
    nanoseconds = columns["time"].astype(numpy.int64)
    times = [f"{t // 10**9}.{t % 10**9:09d}".removesuffix("000") for t in nanoseconds.tolist()]
    types = {signal.name: (signal.type, signal.bits) for signal in db.signals}
    made = dict(columns)
    made["time"] = times
    made["channel"] = ["" if channel is None else str(channel) for channel in columns["channel"].tolist()]
    made["raw"] = [raw_text(raw, *types[name.partition("@SA")[0]])
                   for raw, name in zip(columns["raw"].tolist(), columns["instance"])]
    made["text"] = [text or "" for text in columns["text"]]
    return {name: list(cells) for name, cells in made.items()}


def raw_text(raw, kind, bits):
    if kind in ("float", "double"):
        return f"0x{raw & (2**bits - 1):0{bits // 4}x}"
    return str(raw % 2**64 if kind == "unsigned" else raw)


def check_rows(rows, columns, db):
    """Value for value: texts are compared as they stand, values as numbers."""
    made = as_rows(columns, db)
    values = [float(value) for value in rows.pop("value")]
    numpy.testing.assert_array_equal(made.pop("value"), values)
    rows["raw"], made["raw"] = ([raw.lower() for raw in each["raw"]] for each in (rows, made))
    for name, cells in rows.items():
        assert made[name] == cells, name
    return len(values)


@pytest.mark.parametrize("case", CASES)
def test_long_is_what_decode_writes(case, program):
    traces, definitions = CASES[case]
    db = rksignal.load(*definitions)
    assert check_rows(decoded(program, traces, definitions), rksignal.read(traces, db).to_numpy(), db) > 100


def test_inactive_branches_are_null(db):
    pytest.importorskip("pandas")
    frame = rksignal.read("drive.log", db, "Maintenance", layout="message").to_pandas()
    branches = [signal for signal in db.messages["Maintenance"].signals if signal.multiplexing]
    for signal in branches:
        selector = frame[db[signal.multiplexing[0]].signal]
        active = sum(selector.between(*bounds) for bounds in signal.multiplexing[1]).astype(bool)
        assert (frame[signal.signal].notna() == active).all(), signal.name
    assert len(branches) > 2


def test_every_library_sees_the_same(db):
    pyarrow, polars, duckdb, _ = map(pytest.importorskip, ("pyarrow", "polars", "duckdb", "pandas"))
    read = lambda: rksignal.read("drive.log", db, "Gear.*", batch_rows=1000)  # noqa: E731
    columns = read().to_numpy()
    table = pyarrow.RecordBatchReader.from_stream(read()).read_all()
    table.validate(full=True)
    frame = read().to_pandas()
    shown = read().to_polars()
    assert isinstance(shown, polars.DataFrame)
    batches = read()  # duckdb finds it by its name
    counted = duckdb.sql("select instance, count(*), sum(value) from batches group by all order by all").fetchall()
    for name in columns:
        expected = columns[name].tolist()
        if name == "time":
            assert table[name].cast("int64").to_pylist() == expected == shown[name].to_physical().to_list()
            assert frame[name].astype("int64").tolist() == expected
            continue
        assert table[name].to_pylist() == expected == shown[name].to_list()
        assert frame[name].astype(object).where(frame[name].notna(), None).tolist() == expected
    names = sorted(set(columns["instance"]))
    of_name = [columns["value"][columns["instance"] == name] for name in names]
    assert counted == [(name, len(values), pytest.approx(values.sum())) for name, values in zip(names, of_name)]


WINDOWS = {
    "seconds": (1700000100.5, 1700000101),
    "nanoseconds": (1700000100_500_000_000, 1700000101_000_000_000),
    "datetime": (datetime.datetime(2023, 11, 14, 22, 15, 0, 500000), datetime.datetime(2023, 11, 14, 22, 15, 1)),
    "zone": (datetime.datetime.fromisoformat("2023-11-14T23:15:00.5+01:00"), "2023-11-14T22:15:01Z"),
    "numpy": (numpy.datetime64("2023-11-14T22:15:00.5"), numpy.datetime64("2023-11-14T22:15:01", "ns")),
    "relative": (datetime.timedelta(seconds=100, milliseconds=499, microseconds=810), "+100.999810s"),
}


@pytest.mark.parametrize("form", WINDOWS)
def test_windows(form, db):
    start, end = WINDOWS[form]
    whole = rksignal.read("drive.log", db, "Engine.Speed").to_numpy()
    part = rksignal.read("drive.log", db, "Engine.Speed", start=start, end=end).to_numpy()
    inside = [numpy.datetime64(text) <= whole["time"] for text in ("2023-11-14T22:15:00.5", "2023-11-14T22:15:01.000000001")]
    numpy.testing.assert_array_equal(part["value"], whole["value"][inside[0] & ~inside[1]])
    assert len(part["value"]) == 50


def test_frames():
    columns = rksignal.frames("drive.log").to_numpy()
    with open("drive.log", encoding="ascii") as log:
        lines = [re.sub("##.", "##", line.split()[2]) for line in log
                 if "#R" not in line and " 2000" not in line]  # no remote and error frames
    shown = [f"{number:08X}" if extended else f"{number:03X}"
             for number, extended in zip(columns["id"].tolist(), columns["extended"])]
    assert lines == [f"{number}{'##' if fd else '#'}{data.hex().upper()}"
                     for number, fd, data in zip(shown, columns["fd"], columns["data"])]
    pytest.importorskip("pandas")
    buses = rksignal.frames("drive.rktrace").to_pandas()
    assert set(buses["bus"]) == {"can", "lin", "flexray", "ethernet"}
    assert buses["cycle"].notna().equals(buses["bus"] == "flexray")
    assert buses["id"].isna().equals(buses["bus"] == "ethernet")


def test_numpy_is_enough():
    """All but pandas and Polars works where there is nothing else."""
    blocked = "import sys\nfor name in ('pyarrow', 'pandas', 'polars', 'tqdm'): sys.modules[name] = None\n"
    told = subprocess.run([sys.executable, "-c", blocked + (
        "import rksignal\n"
        "db = rksignal.load('0=drive.dbc')\n"
        "print(rksignal.read('drive.log', db, 'Gear.Current', 'intervals', progress=True).to_numpy()['count'].sum())\n"
        "print(len(rksignal.frames('drive.log').to_numpy()['id']))\n")], capture_output=True, check=True)
    assert told.stdout.split() == [b"12000", b"123120"]
