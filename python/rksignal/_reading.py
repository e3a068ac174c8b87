"""Traces as batches of rows in columns."""

import operator
import os

from . import _arrays, _progress, _rksignal, _tables, _times
from ._errors import Error, TraceWarning, warn

LAYOUTS = ("long", "message", "intervals")


def read(traces, db, signals=None, layout="long", start=None, end=None, *, raw=None, text=True, gap=None,
         batch_rows=65536, part=None, progress=False):
    """Decodes traces into columns of values.

    Parameters
    ----------
    traces : str, path or several of them
        Files of any format that `rksignal decode` reads, also compressed and in archives; several are merged by time.
    db : Database
        See `load`.
    signals : str, Signal, Message or several of them, optional
        What is wanted, by names or patterns as ``"Engine.*"``, see `Database.select`. Without it, everything. Frames
        without a wanted signal are not decoded.
    layout : str
        What a row is. All times are ``timestamp[ns, UTC]``.

        ``"long"``
            A value: `time`, `channel`, `bus`, `instance`, `value`, `raw`, `text`, in the order of decoding, as the
            rows of ``rksignal decode``.
        ``"message"``
            A frame: `time`, `channel`, and a column a signal, by its name in the message, with its text behind it;
            null where the frame gave the signal no value. There is a table a message: `Batch.table` tells which.
        ``"intervals"``
            As long as a raw value stays: `instance`, `channel`, `bus`, `from`, `to`, `count`, `value`, `raw`, `text`.
    start, end : optional
        Only messages from `start` up to `end`, both included. A time is a `datetime.datetime` (without zone: UTC), a
        `numpy.datetime64`, a `pandas.Timestamp`, seconds since 1970 as a number, a whole number of nanoseconds since
        1970 (from 10^11 on), or a text as ``"2026-11-22T10:00:00+01:00"``. A `datetime.timedelta`, also that of NumPy
        or pandas, or a text as ``"+95s"``, counts from the first message of the traces.
    raw : bool, optional
        Whether there are columns of raw values: without it, not in the layout ``"message"``.
    text : bool
        Whether there are columns of texts.
    gap : float, optional
        Of intervals: they end after so many seconds without a value.
    batch_rows : int
        So many rows make a batch.
    part : (int, int), optional
        Only the lines that begin in these bytes of a log, the last one not included: one of `parts`.
    progress : bool
        Shows a bar, if tqdm is there.

    Returns
    -------
    Batches
        To be iterated once, or turned into arrays or frames as a whole. Reading goes on when the next batch is asked
        for, in memory that does not depend on the length of the traces.

    Raises
    ------
    Error
        A trace cannot be read, or an argument cannot be used.

    Warns
    -----
    TraceWarning
        At the end: a part of a trace could not be understood, or nothing in the traces has a definition.

    Examples
    --------
    >>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
    >>> rows = rksignal.read("drive.log", db, ["Vehicle.Speed", "Gear.Current"], start="+2min", end="+121s")
    >>> columns = rows.to_numpy()
    >>> columns["time"][0], columns["instance"][0], columns["value"][0]
    (np.datetime64('2023-11-14T22:15:20.000455000'), 'Gear.Current', np.float64(2.0))

    >>> gear = rksignal.read("drive.log", db, ["Gear.Current", "Gear.Ratio"], layout="message").to_numpy()
    >>> list(gear)
    ['time', 'channel', 'Current', 'Current.text', 'Ratio']

    >>> for batch in rksignal.read("drive.log", db):
    ...     values = batch.to_numpy()["value"]
    """
    if layout not in LAYOUTS:
        raise Error(f"layout={layout!r} is none of {', '.join(LAYOUTS)}")
    settings = {
        "layout": layout,
        "signals": None if signals is None else db.select(signals),
        "raw": raw,
        "text": text,
        "gap": None if gap is None else _times.nanoseconds(gap),
        "batch_rows": rows_of(batch_rows),
    }
    bar = _progress.bar(progress)
    wanted = request(traces, start, end, bar, part)
    reading = _rksignal.read_columns(db._definitions, wanted, settings)
    return Batches(reading, reading.tables(), bar)


def frames(traces, start=None, end=None, *, batch_rows=65536, progress=False):
    """Reads the raw frames of traces: those of CAN, LIN, FlexRay and Ethernet.

    Parameters
    ----------
    traces, start, end, batch_rows, progress
        As those of `read`.

    Returns
    -------
    Batches
        With the columns `time`, `channel`, `bus`, `id` (the slot of FlexRay; null of Ethernet), `extended` (29
        bits), `fd`, `cycle` (of FlexRay, else null) and `data` (the payload; of Ethernet the frame). Remote and error
        frames are left out.

    Examples
    --------
    >>> first = next(rksignal.frames("drive.log")).to_numpy()
    >>> hex(first["id"][0]), first["data"][0].hex()
    ('0x18ff0b10', '0000000000000000')
    """
    bar = _progress.bar(progress)
    reading = _rksignal.read_frames(request(traces, start, end, bar), rows_of(batch_rows))
    return Batches(reading, [("", reading.schema_capsule())], bar)


def parts(trace, db, layout="long", size=128 << 20):
    """Where a trace can be cut, so that several processes or machines read it.

    Logs as ``candump -l`` writes them can be, if they are not compressed: each of their lines stands for itself. They
    are not cut where values come from more than one line, of SAE J1939 and in the layout ``"intervals"``.

    Parameters
    ----------
    trace, db, layout
        As those of `read`.
    size : int
        So many bytes at least make a part.

    Returns
    -------
    list
        To be given to `read` one by one; ``[None]`` of a trace that is read as a whole. The values of all parts are
        those of the trace, in their order.

    Examples
    --------
    >>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
    >>> parts = rksignal.parts("drive.log", db, size=1 << 20)
    >>> len(parts)
    5
    >>> sum(len(batch) for part in parts for batch in rksignal.read("drive.log", db, part=part))
    636448
    """
    whole = request(trace, None, None, None)
    if len(whole["paths"]) != 1:
        raise Error("parts are those of one trace")
    depends = layout == "intervals" or any(message.parameter_group for message in db.messages)
    if depends or not _rksignal.is_divisible(db._definitions, whole):
        return [None]
    length = os.path.getsize(whole["paths"][0])
    count = max(1, length // rows_of(size))
    cuts = [length * number // count for number in range(count)] + [2**64 - 1]
    return [None] if count == 1 else list(zip(cuts, cuts[1:]))


def request(traces, start, end, progress, part=None):
    """What the module wants to know of the traces."""
    paths = [traces] if isinstance(traces, (str, bytes, os.PathLike)) else list(traces)
    if not paths:
        raise Error("there are no traces")
    return {
        "paths": [os.fsencode(path) for path in paths],
        "start": _times.moment("start", start),
        "end": _times.moment("end", end),
        "part": part,
        "progress": progress,
    }


def rows_of(rows, name="batch_rows"):
    number = operator.index(rows)
    if number <= 0:
        raise Error(f"{name}={rows} is no number of them: it must be positive")
    return number


class Batch:
    """Some rows in columns, which do not change.

    ``pyarrow.record_batch(batch)`` and everything else that knows the Arrow PyCapsule interface takes it as it is.

    Attributes
    ----------
    table : str
        Of the layout ``"message"``: the name of the message, with ``@CHANNEL`` or ``#2`` behind it where several have
        it, and ``@SA21`` for a further sender. Otherwise empty.
    """

    def __init__(self, batch):
        self._batch = batch
        self.table = batch.table

    def __len__(self):
        return len(self._batch)

    def __repr__(self):
        return f"<Batch{' of ' if self.table else ''}{self.table}: {len(self)} rows>"

    def __arrow_c_schema__(self):
        return self._batch.schema_capsule()

    def __arrow_c_array__(self, requested_schema=None):
        return self._batch.schema_capsule(), self._batch.array_capsule()

    def __arrow_c_stream__(self, requested_schema=None):
        return _rksignal.stream_capsule(iter([self]), self._batch.schema_capsule())

    def to_numpy(self):
        """Arrays by the names of the columns, see `Batches.to_numpy`."""
        return _tables.numpy_of(self._columns())

    def to_pandas(self):
        """A `pandas.DataFrame`, see `Batches.to_pandas`."""
        return _tables.pandas_of(self._columns())

    def to_polars(self):
        """A `polars.DataFrame`, which shares the columns."""
        return _tables.polars_of(self)

    def _columns(self):
        columns = _arrays.Columns(self._batch.schema_capsule())
        columns.add(self._batch)
        return columns


class Batches:
    """Rows of traces, batch by batch: an iterator of `Batch`, which reads on when the next one is asked for.

    Can be iterated once, by one thread at a time. Each method below takes all batches that are left. Everything that
    knows the Arrow PyCapsule interface takes it as it is, as ``pyarrow.RecordBatchReader.from_stream(batches)`` and
    ``duckdb.sql("select ... from batches")`` do, and reads it piece by piece.

    Attributes
    ----------
    tables : tuple of str
        Of the layout ``"message"``: the names of the messages that there are. Otherwise one that is empty.
    """

    def __init__(self, reading, tables, progress):
        self._reading = reading
        self._schemas = dict(tables)
        self._progress = progress
        self._remarks = []
        self.tables = tuple(self._schemas)

    def __repr__(self):
        return f"<Batches{' of ' if self.tables[0] else ''}{', '.join(self.tables)}>"

    def __iter__(self):
        return self

    def __next__(self):
        batch = self._take()
        if batch is None:
            warn(self._remarks)
            self._remarks = []
            raise StopIteration
        return batch

    def _take(self):
        """The next batch, or None: then `_remarks` is complete."""
        if self._reading is None:
            return None
        try:
            batch = self._reading.next()
        except BaseException:
            self.close()
            raise
        if batch is None:
            self._remarks = [TraceWarning(*remark) for remark in self._reading.remarks()]
            self.close()
            return None
        return Batch(batch)

    def close(self):
        """Ends reading: the files are closed. There are no further batches."""
        self._reading = None
        if self._progress is not None:
            self._progress.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _only(self, purpose):
        if len(self.tables) != 1:
            raise Error(f"{purpose} is of one table, and there are {len(self.tables)}: "
                        f"iterate, or choose the signals of one message")
        return self._schemas[self.tables[0]]

    def __arrow_c_schema__(self):
        return _rksignal.schema_capsule(self._only("an Arrow schema"))

    def __arrow_c_stream__(self, requested_schema=None):
        return _rksignal.stream_capsule(self._of_one_table(), self._only("an Arrow stream"))

    def to_numpy(self):
        """All rows as arrays.

        Returns
        -------
        dict of str to numpy.ndarray
            By the names of the columns; of several messages a dict of these by their names. Times are
            ``datetime64[ns]`` in UTC, texts and bytes are objects, None where there is none. Integers that can be null
            are masked arrays; numbers with decimals are NaN where they are null.

        Examples
        --------
        >>> db = rksignal.load("0=drive.dbc")
        >>> columns = rksignal.read("drive.log", db, "Vehicle.Speed", layout="message").to_numpy()
        >>> float(columns["Speed"].max())
        107.95
        """
        return self._each(_arrays.Columns, _tables.numpy_of)

    def to_pandas(self):
        """All rows as a `pandas.DataFrame`, of several messages a dict of these by their names.

        Texts are categories, integers that can be null have nullable types (``UInt8``). pyarrow is not needed.

        Examples
        --------
        >>> db = rksignal.load("0=drive.dbc")
        >>> frame = rksignal.read("drive.log", db, "Gear.Current", layout="intervals").to_pandas()
        >>> frame[["value", "text", "count"]].head(3)
           value     text  count
        0    0.0  Neutral    750
        1   -1.0  Reverse    450
        2    1.0    First    268
        """
        return self._each(_arrays.Columns, _tables.pandas_of)

    def to_polars(self):
        """All rows as a `polars.DataFrame`, of several messages a dict of these by their names.

        pyarrow is not needed.

        Examples
        --------
        >>> db = rksignal.load("0=drive.dbc")
        >>> rksignal.read("drive.log", db, "Engine.S*").to_polars().group_by("instance").len().sort("instance").rows()
        [('Engine.Speed', 24000), ('Engine.State', 24000)]
        """
        return self._each(_Stream, _tables.polars_of)

    def _each(self, gather, make):
        """What is made of the batches of each table."""
        gathered = {name: gather(schema) for name, schema in self._schemas.items()}
        for batch in self:
            if batch.table not in gathered:  # of a further sender
                gathered[batch.table] = gather(batch.__arrow_c_schema__())
            gathered[batch.table].add(batch._batch)
        made = {name: make(batches) for name, batches in gathered.items()}
        return made if len(made) != 1 else made.popitem()[1]

    def _of_one_table(self):
        for batch in self:
            if batch.table != self.tables[0]:
                raise Error(f"a further sender has a table of its own, {batch.table}: iterate over the batches")
            yield batch


class _Stream:
    """Batches of one table that are there already."""

    def __init__(self, schema):
        self._schema = schema
        self._batches = []

    def add(self, batch):
        self._batches.append(Batch(batch))

    def __arrow_c_stream__(self, requested_schema=None):
        return _rksignal.stream_capsule(iter(self._batches), self._schema)
