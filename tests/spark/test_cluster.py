"""Tables of a cluster compared with what one process reads."""

import os
import pathlib
import signal
import threading
import time
import warnings

import pyarrow
import pytest

import rksignal
from conftest import DEFINITIONS


def source(spark, lake, **options):
    definitions = ",".join(each.replace("=", f"={lake}/") for each in DEFINITIONS)
    return spark.read.format("rksignal").options(definitions=definitions, partBytes="500000", **options)


def traces_of(lake):
    return sorted(str(path) for path in lake.glob("traces/**/*.*") if path.suffix != ".bin")


def one_process(lake, db, **options):
    """The rows of all files, file by file, in the columns that Spark has, too."""
    tables = []
    for file in traces_of(lake):
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", rksignal.TraceWarning)
            rows = pyarrow.RecordBatchReader.from_stream(rksignal.read(file, db, **options)).read_all()
        times = {name: rows[name].cast(pyarrow.int64()) for name in rows.column_names
                 if pyarrow.types.is_timestamp(rows.schema.field(name).type)}
        columns = {"file": pyarrow.repeat(file, len(rows))}
        for name in rows.column_names:
            column = rows[name].combine_chunks()
            columns[name + "_ns" if name in times else name] = times.get(name, column.cast(pyarrow.string())
                                                                         if pyarrow.types.is_dictionary(column.type) else column)
        tables.append(pyarrow.table(columns))
    return pyarrow.concat_tables(tables, promote_options="permissive")


def in_order(table, columns):
    """The rows as a sorted list: nothing may be there twice, nothing be missing."""
    cells = [table[name].to_pylist() for name in columns]
    return sorted(zip(*cells), key=repr)


def check_equal(frame, expected):
    columns = [name for name in expected.column_names]
    made = frame.select(*[f"`{name}`" for name in columns]).toArrow()
    assert made.num_rows == expected.num_rows
    assert in_order(made, columns) == in_order(expected, columns)


def executors():
    """The process ids of executors of this cluster."""
    found = []
    for entry in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            line = (entry / "cmdline").read_bytes()
        except OSError:
            continue
        if b"CoarseGrainedExecutorBackend" in line and b"--app-id" in line:
            found.append((int(entry.name), line.split(b"--app-id\0")[1].split(b"\0")[0].decode()))
    return found


def test_an_executor_is_killed(spark, lake, db):
    """Result equal to that of one process: nothing twice, nothing lost."""
    mine = [number for number, app in executors() if app == spark.sparkContext.applicationId]
    frame = source(spark, lake).load(f"{lake}/traces")
    killed = []

    def kill():
        status = spark.sparkContext.statusTracker()
        while not killed:
            for stage in status.getActiveStageIds():
                info = status.getStageInfo(stage)
                if info is not None and 0 < info.numCompletedTasks < info.numTasks and info.numActiveTasks > 0:
                    os.kill(mine[0], signal.SIGKILL)
                    killed.append((mine[0], info.numCompletedTasks, info.numTasks))
                    return
            time.sleep(0.02)

    watcher = threading.Thread(target=kill, daemon=True)
    watcher.start()
    expected = one_process(lake, db)
    check_equal(frame, expected)
    watcher.join(10)
    assert killed, "the job was over before an executor could be killed"
    print(f"\nexecutor {killed[0][0]} of {mine} killed after {killed[0][1]} of {killed[0][2]} tasks: "
          f"{expected.num_rows} rows, as one process reads them")


@pytest.mark.parametrize("layout", ["message", "intervals"])
def test_layouts(spark, lake, db, layout):
    options = {"message": "Gear"} if layout == "message" else {"signals": "Gear.*"}
    frame = source(spark, lake, layout=layout, **options).load(f"{lake}/traces")
    check_equal(frame, one_process(lake, db, layout=layout, signals="Gear.*"))
    if layout == "message":
        assert frame.schema["Current"].metadata["instance"] == "Gear.Current"


def test_conditions_and_columns(spark, lake, db):
    """Conditions leave the rows that they leave of all rows, also where they are pushed down."""
    rows = source(spark, lake).schema("file string, time timestamp, time_ns bigint, instance string, value double").load(
        f"{lake}/traces")
    at = 1700000010_000_000_000
    conditions = {
        f"instance = 'Engine.Speed' and time >= timestamp_micros({at // 1000}) and time_ns < {at + 10**9}": 100,
        f"instance in ('Engine.Speed', 'no such') and time = timestamp_micros({at // 1000 + 242})": None,
        "instance = 'no such'": 0,
    }
    engine = one_process(lake, db, signals="Engine.Speed").select(["file", "time_ns", "instance", "value"])
    everything = spark.createDataFrame(engine.to_pandas())
    for condition, count in conditions.items():
        found = rows.where(condition).select("file", "time_ns", "instance", "value")
        again = everything.selectExpr("*", "timestamp_micros(time_ns div 1000) as time")
        expected = again.where(condition).select("file", "time_ns", "instance", "value").toArrow()
        check_equal(found, expected)
        assert count is None or expected.num_rows == count, condition


def test_relative_windows_are_those_of_files(spark, lake, db):
    frame = source(spark, lake, signals="Engine.Speed", start="+10s", end="+11s").load(f"{lake}/traces")
    check_equal(frame, one_process(lake, db, signals="Engine.Speed", start="+10s", end="+11s"))


def test_bad_files_are_remarks(spark, lake):
    remarks = source(spark, lake, table="remarks").load(f"{lake}/traces").where("severity = 'error'").collect()
    told = {(os.path.basename(row.file), row.line, row.text) for row in remarks}
    assert len(told) == 2
    assert ("damaged.log", 2) in {row[:2] for row in told}
    assert "no trace.bin" in {row[0] for row in told}


def test_wrong_options_say_so(spark, lake):
    wrong = {"no such": {"signal": "x"}, "Gear.Curent": {"signals": "Gear.Curent"}, "none of": {"layout": "wide"}}
    for text, options in wrong.items():
        with pytest.raises(Exception, match=text if text != "no such" else "no option"):
            source(spark, lake, **options).load(f"{lake}/traces").count()
