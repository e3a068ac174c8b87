"""How runs behave: side by side, interrupted, over damaged files, with much to read."""

import concurrent.futures
import os
import pathlib
import signal
import subprocess
import sys
import time

import numpy
import pytest

import rksignal


def test_several_threads_at_once(db):
    def total(_):
        values = rksignal.read("drive.log", db, ["Engine.Speed", "Gear.*"]).to_numpy()["value"]
        fired = list(rksignal.triggers("drive.log", db, {"fast": "Vehicle.Speed > 100"}, edge=True))
        return len(values), values.sum(), len(fired)

    with concurrent.futures.ThreadPoolExecutor(4) as threads:
        assert len(set(threads.map(total, range(8)))) == 1


INTERRUPTED = {
    "waiting": "rksignal.read('pipe', db)",
    "numpy": "rksignal.read(['drive.log'] * 200, db).to_numpy()",
    "polars": "rksignal.read(['drive.log'] * 200, db).to_polars()",
    "triggers": "list(rksignal.triggers(['drive.log'] * 200, db, {'never': 'Vehicle.Speed > 1000'}))",
}


@pytest.mark.parametrize("work", INTERRUPTED)
def test_ctrl_c(work):
    if work == "polars":
        pytest.importorskip("polars")
    os.mkfifo("pipe")
    code = ("import rksignal, sys\ndb = rksignal.load('0=drive.dbc')\nprint('begins', flush=True)\n"
            f"try:\n    {INTERRUPTED[work]}\nexcept KeyboardInterrupt:\n    sys.exit(99)\n")
    # Who runs the tests in the background may ignore it.
    with subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE,
                          preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL)) as child:
        assert child.stdout.readline() == b"begins\n"
        time.sleep(0.3)  # it has begun, and is by far not at its end
        child.send_signal(signal.SIGINT)
        try:
            assert child.wait(timeout=20) == 99
        finally:
            child.kill()


def test_what_stands_before_damage_is_used(db):
    whole = pathlib.Path("drive.rktrace").read_bytes()
    pathlib.Path("cut.rktrace").write_bytes(whole[: len(whole) // 2])
    with pytest.warns(rksignal.TraceWarning) as caught:
        cut = rksignal.read("cut.rktrace", db, "Vehicle.Speed").to_numpy()
    assert caught[0].message.file == "cut.rktrace" and caught[0].filename == __file__
    full = rksignal.read("drive.rktrace", db, "Vehicle.Speed").to_numpy()
    assert 0 < len(cut["value"]) < len(full["value"])
    numpy.testing.assert_array_equal(cut["value"], full["value"][: len(cut["value"])])


def test_damaged_lines_are_told_by_number(db):
    lines = pathlib.Path("drive.log").read_text().splitlines(keepends=True)[:100]
    lines[41] = "(17000000zz.0) can0 123#11\n"
    pathlib.Path("bad.log").write_text("".join(lines))
    with pytest.warns(rksignal.TraceWarning) as caught:
        list(rksignal.frames("bad.log"))
    assert [(each.message.file, each.message.line) for each in caught] == [("bad.log", 42)]


def test_traces_without_a_definition(tmp_path):
    (tmp_path / "other.log").write_text("(1700000000.0) can0 7FF#11\n")
    with pytest.warns(rksignal.TraceWarning, match="none of 1 messages has a definition"):
        assert not list(rksignal.read(tmp_path / "other.log", rksignal.load("drive.dbc")))


WRONG = {
    "trace": (FileNotFoundError, lambda db: rksignal.read("absent.log", db)),
    "definitions": (rksignal.Error, lambda db: rksignal.frames("drive.dbc")),
    "none": (rksignal.Error, lambda db: rksignal.read([], db)),
    "layout": (rksignal.Error, lambda db: rksignal.read("drive.log", db, layout="wide")),
    "signal": (rksignal.Error, lambda db: rksignal.read("drive.log", db, "Engin.Sped")),
    "time": (rksignal.Error, lambda db: rksignal.read("drive.log", db, start="yesterday")),
    "range": (rksignal.Error, lambda db: rksignal.read("drive.log", db, end=-1)),
    "condition": (rksignal.Error, lambda db: rksignal.triggers("drive.log", db, "Vehicle.Speed >")),
    "tables": (rksignal.Error, lambda db: rksignal.read("drive.log", db, layout="message").__arrow_c_stream__()),
}


@pytest.mark.parametrize("wrong", WRONG)
def test_arguments_that_cannot_be_used(wrong, db):
    kind, call = WRONG[wrong]
    with pytest.raises(kind) as caught:
        call(db)
    if wrong in ("trace", "definitions"):
        assert caught.value.file == {"trace": "absent.log", "definitions": "drive.dbc"}[wrong]


def test_memory_does_not_grow_with_the_trace():
    text = pathlib.Path("drive.log").read_text()
    with open("long.log", "w", encoding="ascii") as log:
        for _ in range(12):
            log.write(text)
    code = ("import rksignal, resource, sys\ndb = rksignal.load('0=drive.dbc', '1=body.dbc')\n"
            "rows = sum(map(len, rksignal.read(sys.argv[1], db)))\n"
            "print(rows, resource.getrusage(resource.RUSAGE_SELF).ru_maxrss)\n")
    told = [subprocess.run([sys.executable, "-c", code, name], capture_output=True, check=True).stdout.split()
            for name in ("drive.log", "long.log")]
    assert int(told[1][0]) == 12 * int(told[0][0])
    assert int(told[1][1]) - int(told[0][1]) < 16 * 1024  # KB; the rows take 12 times 24 MB


@pytest.mark.parametrize("name", ["Engine.Speed", "Crash.Severity", "Maintenance.OilLife"])
def test_explanations_are_those_of_the_program(name, db, program):
    shown = program("explain", name, "--dbc", "0=drive.dbc", "--dbc", "1=body.dbc", "drive.log")
    explained = rksignal.explain("drive.log", db, name)
    assert explained.text == shown and (explained.value is None) == ("no value" in shown.split("\n")[0])


def test_triggers_as_the_program_has_them(db, program):
    condition = "overspeed = Vehicle.Speed > 100 && Gear.Current == 6"
    rows = program("trigger", "--quiet", "--edge", "--explain", "--dbc", "0=drive.dbc", "--dbc", "1=body.dbc",
                   "--when", condition, "drive.log").strip().split("\n\n")
    fired = list(rksignal.triggers("drive.log", db, {"overspeed": condition.partition("= ")[2]}, edge=True))
    assert [row.split("\n", 1)[1] for row in rows] == [each.explanation for each in fired]
    times = [int(each.time.astype(int)) for each in fired]
    assert [row.split()[0] for row in rows] == [f"{t // 10**9}.{t % 10**9 // 1000:06d}" for t in times]
