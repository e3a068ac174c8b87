"""Every layout of columns compared with the rows of `rksignal decode`, value for value and null for null."""

import csv
import io
import pathlib
import struct

import pytest

import rksignal
from conftest import RECORDINGS

pytestmark = pytest.mark.filterwarnings("ignore::rksignal.TraceWarning")

BUSES = ["0=drive.dbc", "1=body.dbc", "logger.json"]
DRIVES = ["drive.log", "drive.rktrace", "drive.nmea", "drive.pcapng"]
KONA, TRUCK = "kona-ev-can/", "remora_ctrl_proto/"
RECORDED = {
    KONA + "250105-1-2020-comp-can-heating.converted.candump.log": KONA + "comp_can.dbc",
    KONA + "230112-7-2019-pcan-ccan-power-off-on-ready-off.converted.candump.log":
        KONA + "pcan.with_BS_BU.derived.dbc",
    "pcap_converted/kona-pcan-first12000.socketcan.pcap": KONA + "pcan.with_BS_BU.derived.dbc",
    TRUCK + "candump-2021-07-21_220402-15-seconds-engine-on-big-truck.log": TRUCK + "remora_exact_ids.derived.dbc",
    TRUCK + "candump-2021-07-22_220952-short-temp-sensor-black-box.log": TRUCK + "remora.dbc",
    "pcap_converted/remora-truck-15s.socketcan.pcapng": TRUCK + "remora_exact_ids.derived.dbc",
    "CSS-api-examples/2F6913DB-00000001.MF4": "CSS-api-examples/canmod-gps.dbc",
    "gpsd/nmea": "logger.json",
}


def exact(value):
    """Equal for the same number, and for all that are none."""
    return struct.pack("<d", float(value) + 0.0) if value == value else b"nan"


def nanoseconds(text):
    seconds, decimals = text.split(".")
    return int(seconds) * 10**9 + int(decimals.ljust(9, "0"))


def signed(word):
    return word - 2**64 if word >= 2**63 else word


def decoded_rows(program, traces, definitions, end):
    """Time, channel, bus, instance, value, raw, text."""
    arguments = [part for each in definitions for part in ("--definitions", each)] + (["--to", end] if end else [])
    for row in csv.DictReader(io.StringIO(program("decode", "--quiet", *arguments, "--", *traces), newline="")):
        yield (nanoseconds(row["time"]), int(row["channel"]) if row["channel"] else None, row["bus"], row["instance"],
               exact(float(row["value"])), signed(int(row["raw"], 0)), row["text"] or None)


def checked_batches(traces, db, end, layout, batch_rows):
    """Batches as pyarrow has them, each checked in full."""
    pyarrow = pytest.importorskip("pyarrow")
    for batch in rksignal.read(traces, db, end=end, layout=layout, batch_rows=batch_rows, raw=True):
        made = pyarrow.record_batch(batch)
        made.validate(full=True)
        yield made


def cells(batch, *names):
    """The columns with these names, row by row; times as integers."""
    columns = [batch.column(name) for name in names]
    return zip(*((each.cast("int64") if str(each.type).startswith("timestamp") else each).to_pylist()
                 for each in columns))


def values_of_message(batch):
    """Time, channel, instance, value, raw, text of every cell that is not null."""
    for field in batch.schema:
        if field.metadata is None:
            continue
        names = ["time", "channel", field.name, field.name + ".raw"]
        has_text = field.name + ".text" in batch.schema.names
        for time, channel, value, raw, *text in cells(batch, *names, *([field.name + ".text"] if has_text else [])):
            assert (value is None) == (raw is None)
            if value is not None:
                instance = field.metadata[b"instance"].decode()
                yield time, channel, instance, exact(value), raw, text[0] if has_text else None


def expand(intervals, rows):
    """The intervals must hold the rows of their series exactly, in their order."""
    series = {}
    for time, channel, bus, instance, *value in rows:
        series.setdefault((instance, channel, bus), []).append((time, value))
    taken = dict.fromkeys(series, 0)
    former = {}
    for instance, channel, bus, start, end, count, value, raw, text in intervals:
        key = (instance, channel, bus)
        mine = series[key][taken[key]:taken[key] + count]
        taken[key] += count
        times = [time for time, _ in mine]
        assert times == sorted(times) and (times[0], times[-1], len(times)) == (start, end, count)
        assert all(each == [exact(value), raw, text] for _, each in mine)
        last_end, last_raw = former.get(key, (None, None))
        assert bus == "gps" or raw != last_raw or start < last_end, "two that are one"
        former[key] = end, raw
    assert taken == {key: len(rows) for key, rows in series.items()}


def check(program, traces, definitions, end=None):
    db = rksignal.load(*definitions)
    rows = list(decoded_rows(program, traces, definitions, end))
    names = ("time", "channel", "bus", "instance", "value", "raw", "text")
    found = [row[:4] + (exact(row[4]),) + row[5:]
             for batch in checked_batches(traces, db, end, "long", 1000) for row in cells(batch, *names)]
    assert found == rows
    by_name = lambda row: (row[0], str(row[1]), row[2:5], str(row[5]))  # noqa: E731
    values = [value for batch in checked_batches(traces, db, end, "message", 100) for value in values_of_message(batch)]
    assert sorted(values, key=by_name) == sorted((row[:2] + row[3:] for row in rows), key=by_name)
    names = ("instance", "channel", "bus", "from", "to", "count", "value", "raw", "text")
    expand([row for batch in checked_batches(traces, db, end, "intervals", 500) for row in cells(batch, *names)], rows)
    assert rows


@pytest.mark.parametrize("trace", DRIVES)
def test_drives(trace, program):
    check(program, [trace], ["drive.arxml", "drive.ldf"] if trace == "drive.pcapng" else BUSES, end="+30")


@pytest.mark.parametrize("trace", RECORDED)
def test_recordings(trace, program):
    if not RECORDINGS:
        pytest.skip("RKSIGNAL_RECORDINGS names no folder of recordings")
    recorded, definitions = pathlib.Path(RECORDINGS, trace), pathlib.Path(RECORDINGS, RECORDED[trace])
    if not recorded.exists():
        pytest.skip(f"{trace} is not among the recordings")
    if recorded.is_dir():
        for each in sorted(recorded.glob("*.log")):
            check(program, [each], ["logger.json"])
    else:
        check(program, [recorded], [definitions])
