"""Parquet files read back by others, and what stands in them."""

import json
import os
import pathlib
import shutil

import numpy
import pytest

import rksignal
from rksignal import _command

pytest.importorskip("pyarrow")
import pyarrow.parquet  # noqa: E402

LAKE = pathlib.Path("lake")


def rows_of(program):
    """The rows of `rksignal decode`: `(instance, time, value)`, sorted."""
    lines = program("decode", "-q", "--dbc", "0=drive.dbc", "--dbc", "1=body.dbc", "drive.log").splitlines()[1:]
    cells = [line.split(",") for line in lines]
    return sorted((row[3], int(row[0].replace(".", "").ljust(19, "0")), float(row[4])) for row in cells)


def by_library(glob):
    """Instance, time and value as each library reads them."""
    duckdb, polars = pytest.importorskip("duckdb"), pytest.importorskip("polars")
    table = pyarrow.parquet.ParquetDataset("lake").read(columns=["instance", "time", "value"])
    table = table.set_column(1, "time", table["time"].cast(pyarrow.int64()))
    yield "pyarrow", zip(*(column.to_pylist() for column in table.columns))
    yield "duckdb", duckdb.sql(f"select instance, epoch_ns(time), value from read_parquet('{glob}')").fetchall()
    frame = polars.read_parquet(glob, columns=["instance", "time", "value"])
    yield "polars", frame.with_columns(frame["time"].to_physical()).select("instance", "time", "value").rows()


def test_values_are_those_of_decode(db, program):
    expected = rows_of(program)
    summary = rksignal.to_parquet("drive.log", db, "lake", "long")
    assert (summary.rows, len(summary.files)) == (len(expected), 19)
    assert summary.bytes == sum(path.stat().st_size for path in LAKE.rglob("*.parquet"))
    for name, rows in by_library("lake/*/*/*.parquet"):
        assert sorted(rows) == expected, name
    rksignal.to_parquet("drive.log", db, "lake", "intervals", overwrite=True)
    table = pyarrow.parquet.ParquetDataset("lake").read()
    assert sum(table["count"].to_pylist()) == len(expected)


def test_messages_and_their_metadata(db):
    rksignal.to_parquet("drive.log", db, "lake", raw=True)
    for message, columns in rksignal.read("drive.log", db, layout="message", raw=True).to_numpy().items():
        if len(columns["time"]) == 0:  # it did not come
            continue
        file = LAKE / "drive=drive.log" / f"message={message}" / "part-0.parquet"
        table = pyarrow.parquet.ParquetFile(file).read()
        assert table.schema.names == list(columns)
        for name, cells in columns.items():
            cells = numpy.ma.masked_invalid(cells) if cells.dtype.kind == "f" else cells
            made = table[name].cast(pyarrow.int64()) if name == "time" else table[name]
            assert made.to_pylist() == cells.tolist(), name
    field = pyarrow.parquet.read_schema(LAKE / "drive=drive.log/message=Gear/part-0.parquet").field("Current")
    assert json.loads(field.metadata[b"values"])["6"] == "Sixth"
    metadata = pyarrow.parquet.read_metadata(LAKE / "drive=drive.log/message=Vehicle/part-0.parquet").metadata
    speed = json.loads(metadata[b"rksignal.signals"])["Speed"]
    assert (speed["instance"], speed["unit"], metadata[b"message"]) == ("Vehicle.Speed", "km/h", b"Vehicle")


def test_names_are_safe_and_distinct(db, tmp_path):
    names = ["a/drive.log", "b/drive.log", "=%:?*\n.log", "\udcff.log", "x" * 250]
    for name in names:
        (tmp_path / name).parent.mkdir(exist_ok=True)
        shutil.copy("drive.log", tmp_path / name)
    paths = [tmp_path / name for name in names]
    rksignal.to_parquet(paths, db, "lake", signals="Gear.Current", end="+1s")
    drives = sorted(os.listdir("lake"))
    assert drives[:2] == ["drive=%3D%25%3A%3F%2A%0A.log", "drive=%5Cxff.log"]
    assert drives[2:4] == ["drive=a%2Fdrive.log", "drive=b%2Fdrive.log"]
    assert len(drives) == 5 and all(os.listdir(LAKE / drive) == ["message=Gear"] for drive in drives)
    with pytest.raises(rksignal.Error, match="named twice"):
        rksignal.to_parquet([paths[0], tmp_path / "b" / ".." / "a" / "drive.log"], db, "other")


def test_a_drive_is_there_as_a_whole(db, monkeypatch):
    rksignal.to_parquet("drive.log", db, "lake", signals="Gear.*")
    before = sorted(LAKE.rglob("*"))
    with pytest.raises(rksignal.Error, match="is there already"):
        rksignal.to_parquet("drive.log", db, "lake")
    taken = rksignal.Batches._take
    batches = iter(range(5))

    def interrupted(self):
        if next(batches, None) is None:
            raise KeyboardInterrupt
        return taken(self)

    monkeypatch.setattr(rksignal.Batches, "_take", interrupted)
    with pytest.raises(KeyboardInterrupt):
        rksignal.to_parquet("drive.log", db, "lake", overwrite=True)
    assert sorted(LAKE.rglob("*")) == before
    monkeypatch.undo()


def test_no_input_is_replaced(db):
    rksignal.to_parquet({"d": "drive.log"}, db, "lake", signals="Gear.*")
    shutil.copy("drive.log", "lake/drive=d/kept.log")
    with pytest.raises(rksignal.Error, match="would be replaced"):
        rksignal.to_parquet({"d": "lake/drive=d/kept.log"}, db, "lake", overwrite=True)
    assert os.path.exists("lake/drive=d/kept.log")


def test_the_command(capsys):
    arguments = ["--definitions", "0=drive.dbc", "--definitions", "1=body.dbc", "-o", "lake"]
    assert _command.main([*arguments, "drive.log"]) == 0
    assert capsys.readouterr().err.startswith("drives 1, files 19, rows ")
    assert _command.main([*arguments, "drive.log"]) == 2
    with open("damaged.log", "w", encoding="ascii") as damaged:
        damaged.write("(1700000000.0) can0 0C9#0CCB000000000000\n(1700000000.5) can0 0C9#zz\n")
    assert _command.main([*arguments, "damaged.log", "drive.dbc"]) == 1
    told = capsys.readouterr().err
    assert "damaged.log:2: " in told and "drive.dbc is a DBC file, not a trace" in told
    assert sorted(os.listdir("lake")) == ["drive=damaged.log", "drive=drive.log"]
    with pytest.raises(SystemExit) as ended:
        _command.main(["--help"])
    assert ended.value.code == 0 and "exit status:" in capsys.readouterr().out


def test_parts_give_each_row_once(db):
    parts = rksignal.parts("drive.log", db, size=1 << 20)
    assert len(parts) > 3 and rksignal.parts("drive.log", db, "intervals", 1 << 20) == [None]
    of_parts = [rksignal.read("drive.log", db, "Gear.*", start="+10s", part=part).to_numpy() for part in parts]
    whole = rksignal.read("drive.log", db, "Gear.*", start="+10s").to_numpy()
    for name, cells in whole.items():
        assert numpy.concatenate([part[name] for part in of_parts]).tolist() == cells.tolist()
