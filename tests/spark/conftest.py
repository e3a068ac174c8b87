"""What the tests share: a drive in several files, and a cluster with executors of their own."""

import os
import pathlib
import subprocess
import sys

import pytest

import rksignal

ROOT = pathlib.Path(__file__).resolve().parents[2]
DEFINITIONS = ["0=drive.dbc", "1=body.dbc"]


@pytest.fixture(scope="session")
def lake(tmp_path_factory):
    """A folder with logs, one of them large, one compressed, one damaged, a record file, and what is no trace."""
    make_drive = os.environ.get("RKSIGNAL_MAKE_DRIVE")
    if not make_drive:
        pytest.skip("RKSIGNAL_MAKE_DRIVE names no program make_drive")
    folder = tmp_path_factory.mktemp("lake")
    for source in (ROOT / "examples/drive").glob("*.dbc"):
        (folder / source.name).write_bytes(source.read_bytes())
    traces = folder / "traces"
    (traces / "day 2").mkdir(parents=True)

    def drive(seconds, *arguments):
        subprocess.run([make_drive, "--seconds", str(seconds), *map(str, arguments)], check=True, stderr=subprocess.DEVNULL)

    drive(120, "-o", traces / "large.log")
    drive(10, "--start", 1700001000, "-o", traces / "day 2" / "short.log", "--records", traces / "day 2" / "short.rktrace")
    subprocess.run(["gzip", traces / "day 2" / "short.log"], check=True)
    with open(traces / "damaged.log", "w", encoding="ascii") as damaged:
        damaged.write("(1700002000.000000) can0 0C9#0CCB000000000000\n(1700002000.5) can0 0C9#zz\n")
    (traces / "no trace.bin").write_bytes(bytes(range(256)) * 10)
    return folder


@pytest.fixture(scope="session")
def spark():
    from pyspark.sql import SparkSession

    os.environ.update(SPARK_LOCAL_IP="127.0.0.1", SPARK_LOCAL_HOSTNAME="localhost", PYSPARK_PYTHON=sys.executable)
    session = (SparkSession.builder.master("local-cluster[2,1,1024]").appName("rksignal")
               .config("spark.driver.host", "127.0.0.1").config("spark.driver.bindAddress", "127.0.0.1")
               .config("spark.ui.enabled", "false").config("spark.sql.session.timeZone", "Europe/Berlin")
               .config("spark.sql.python.filterPushdown.enabled", "true")
               .config("spark.executorEnv.PYTHONPATH", os.environ.get("PYTHONPATH", "")).getOrCreate())
    session.sparkContext.setLogLevel("ERROR")
    import rksignal.spark

    rksignal.spark.register(session)
    yield session
    session.stop()


@pytest.fixture
def db(lake, monkeypatch):
    monkeypatch.chdir(lake)
    return rksignal.load(*DEFINITIONS)
