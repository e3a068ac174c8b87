"""Columns of librkreplay as pyarrow reads them, against the rows of `rksignal decode`.

columns.py MODULE RKSIGNAL DEFINITION,... TRACE,...      definitions as FILE or CHANNEL=FILE

Every batch is checked in full by pyarrow. The long layout must have the rows of `decode`, in their order and value for
value; the layout of messages the same values, null where there are none; and the intervals must be those that the rows,
walked through one by one, give.
"""

import csv
import ctypes
import io
import struct
import subprocess
import sys

import pyarrow

MESSAGE, LONG, INTERVALS = range(3)


class Columns:
    """What the module gives out."""

    def __init__(self, module, layout, definitions, traces, batch_rows):
        self.library = ctypes.CDLL(module)
        for name in ("openColumns", "tableName"):
            getattr(self.library, name).restype = ctypes.c_void_p
        self.library.tableName.restype = ctypes.c_char_p
        self.session = ctypes.c_void_p(self.library.openColumns(
            layout, ctypes.c_size_t(batch_rows), "\n".join(definitions).encode(), "\n".join(traces).encode()))
        assert self.session

    def batches(self):
        """Gives a name of a table and a batch."""
        array, schema = (ctypes.create_string_buffer(80) for _ in range(2))
        while (table := self.library.nextColumns(self.session, array, schema)) >= 0:
            batch = pyarrow.RecordBatch._import_from_c(ctypes.addressof(array), ctypes.addressof(schema))
            batch.validate(full=True)
            yield self.library.tableName(self.session, ctypes.c_size_t(table)).decode(), batch
        assert table == -1
        self.library.closeColumns(self.session)

    def reader(self):
        """The same through the stream interface."""
        stream = ctypes.create_string_buffer(40)
        assert self.library.exportColumns(self.session, stream)
        return pyarrow.RecordBatchReader._import_from_c(ctypes.addressof(stream))


def nanoseconds(text):
    seconds, decimals = text.split(".")
    return int(seconds) * 10**9 + int(decimals.ljust(9, "0"))


def bits(value):
    """Equal for equal numbers, and for all that are none."""
    return struct.pack("<d", value + 0.0) if value == value else b"nan"


def raw_word(text):
    word = int(text, 16) if text.startswith("0x") else int(text)
    return word - 2**64 if word >= 2**63 else word


def decoded(program, definitions, traces):
    """The rows of `rksignal decode`: time, channel, bus, instance, value, raw, text."""
    command = [program, "decode", "--quiet"]
    for definition in definitions:
        command += ["--definitions", definition]
    with subprocess.Popen(command + ["--"] + traces, stdout=subprocess.PIPE) as run:
        for row in csv.DictReader(io.TextIOWrapper(run.stdout, "utf-8", newline="")):
            yield (nanoseconds(row["time"]), int(row["channel"]) if row["channel"] else None, row["bus"],
                   row["instance"], bits(float(row["value"])), raw_word(row["raw"]), row["text"] or None)


def cells(batch, name):
    column = batch.column(name)
    is_time = pyarrow.types.is_timestamp(column.type)
    return (column.cast(pyarrow.int64()) if is_time else column).to_pylist()


def long_rows(columns):
    for batch in columns.reader():
        batch.validate(full=True)
        values = map(bits, cells(batch, "value"))
        yield from zip(*(cells(batch, name) for name in ("time", "channel", "bus", "instance")), values,
                       cells(batch, "raw"), cells(batch, "text"))


def message_values(columns):
    """All values of all tables, sorted; a table knows the instances of its columns."""
    found = []
    for _, batch in columns.batches():
        times, channels = cells(batch, "time"), cells(batch, "channel")
        for number, field in enumerate(batch.schema):
            instance = (field.metadata or {}).get(b"instance")
            if instance is None:
                continue
            raws = batch.column(number + 1).to_pylist()
            has_text = number + 2 < len(batch.schema) and batch.schema.field(number + 2).name == field.name + ".text"
            texts = batch.column(number + 2).to_pylist() if has_text else [None] * len(raws)
            for time, channel, value, raw, text in zip(times, channels, batch.column(number).to_pylist(), raws, texts):
                assert (value is None) == (raw is None)
                if value is not None:
                    found.append((time, -1 if channel is None else channel, instance.decode(), bits(float(value)), raw, text or ""))
    return sorted(found)


def expected_intervals(rows):
    """Instance, channel, from, to, count, value, raw, text: by the definition alone, sorted."""
    intervals, open_ones = [], {}
    for time, channel, _, instance, value, raw, text in rows:
        former = open_ones.get((instance, channel))
        if former and former[6] == raw and time >= former[3]:
            former[3] = time
            former[4] += 1
        else:
            interval = [instance, -1 if channel is None else channel, time, time, 1, value, raw, text or ""]
            open_ones[instance, channel] = interval
            intervals.append(interval)
    return sorted(map(tuple, intervals))


def intervals_of(columns):
    found = []
    for _, batch in columns.batches():
        names = ("instance", "channel", "from", "to", "count", "value", "raw", "text")
        for row in zip(*(cells(batch, name) for name in names)):
            found.append((row[0], -1 if row[1] is None else row[1], *row[2:5], bits(row[5]), row[6], row[7] or ""))
    return sorted(found)


def compare(what, found, expected):
    if found != expected:
        differing = next((pair for pair in zip(found, expected) if pair[0] != pair[1]), None)
        sys.exit(f"{what}: {len(found)} instead of {len(expected)}; first difference: {differing}")


def main(module, program, definitions, traces):
    definitions, traces = definitions.split(","), traces.split(",")
    open_columns = lambda layout, rows: Columns(module, layout, definitions, traces, rows)
    rows = list(decoded(program, definitions, traces))
    compare("long", list(long_rows(open_columns(LONG, 1000))), rows)
    compare("message", message_values(open_columns(MESSAGE, 100)),
            sorted((time, -1 if channel is None else channel, instance, value, raw, text or "")
                   for time, channel, _, instance, value, raw, text in rows))
    intervals = intervals_of(open_columns(INTERVALS, 500))
    if not any(row[2] == "gps" for row in rows):  # a receiver without a fix also ends them
        compare("intervals", intervals, expected_intervals(rows))
    assert sum(interval[4] for interval in intervals) == len(rows)
    print(f"{len(rows)} rows, {len(intervals)} intervals: {traces[0]}")


if __name__ == "__main__":
    main(*sys.argv[1:])
