"""Traces as tables of Spark, decoded where the cluster runs. Needs PySpark 4 and pyarrow.

    import rksignal.spark

    rksignal.spark.register(spark)
    rows = (spark.read.format("rksignal")
            .option("definitions", "0=drive.dbc,1=body.dbc")
            .option("signals", "Engine.*,Vehicle.Speed")
            .load("/archive/2026"))

The package, the definition files and the traces must be in reach of every executor, under the same names.
"""

import dataclasses
import datetime
import os

from pyspark.sql import datasource

from . import _spark_rows, _spark_tables
from ._errors import Error

__all__ = ["TraceSource", "register"]

_OPTIONS = ("definitions", "clusters", "channels", "signals", "layout", "message", "start", "end", "gap", "raw", "text",
            "table", "partbytes", "path", "paths")
_EPOCH = datetime.datetime.fromtimestamp(0, datetime.timezone.utc)


def register(spark):
    """Makes the format ``rksignal`` known to a Spark session."""
    spark.dataSource.register(TraceSource)


class TraceSource(datasource.DataSource):
    """The format ``rksignal``.

    Loaded are files, folders with all files in them, and patterns as ``/archive/*/drive.log``. A partition is a file, or
    a part of a large log, see `rksignal.parts`. What a partition holds depends on its file alone: a task that is
    repeated gives the same rows.

    Options
    -------
    definitions : several, required
        Definition files, as `rksignal.load` takes them. Executors compare them with those of the driver.
    clusters, channels : several
        As those of `rksignal.load`; channels as ``INTERFACE=CHANNEL``.
    signals : several
        As those of `rksignal.read`: names and patterns.
    layout : ``long`` (the default), ``message``, ``intervals``
        As that of `rksignal.read`.
    message : str
        Of the layout ``message``: which one. Not needed if the signals are those of one message.
    start, end : str
        As those of `rksignal.read`. Times as ``+95s`` count from the first message of each file.
    gap : number
    raw, text : ``true``, ``false``
    partBytes : int
        Logs that can be cut are cut into parts of so many bytes: 134217728 without it.
    table : ``values`` (the default), ``remarks``
        With ``remarks`` the table says what could not be read or understood: `file`, `line`, `severity`, `text`. Files
        that cannot be read end no job.

    Several are parted by commas, or stand in a JSON array.

    Columns are those of `rksignal.read`, behind `file`, and in the layout ``message`` also behind `table`. Spark's
    timestamps have microseconds: beside each time, as `time`, stands `time_ns`, its nanoseconds since 1970. Unsigned
    integers have the next wider type; names of columns differ by more than the case of letters. With a schema of one's
    own, ``.schema("file string, time_ns bigint, Speed double")``, no other columns are made.

    From PySpark 4.1 on, with ``spark.sql.python.filterPushdown.enabled``, conditions on `time`, `time_ns`, `instance` and
    `file` leave out what is not wanted before it is decoded.
    """

    @classmethod
    def name(cls):
        return "rksignal"

    def __init__(self, options):
        super().__init__(options)
        given = {key.lower(): value for key, value in options.items()}
        unknown = sorted(set(given) - set(_OPTIONS))
        if unknown:
            raise Error(f"there is no option {unknown[0]}: the options are {', '.join(_OPTIONS)}")
        self._request = _spark_rows.Request(given, os.getcwd())

    def schema(self):
        return _spark_tables.schema_of(self._request)

    def reader(self, schema):
        return _Reader(self._request, schema)


class _Reader(datasource.DataSourceReader):
    def __init__(self, request, schema):
        self._request = request
        self._table = _spark_tables.Table(request, schema)
        self._files = None  # those that conditions leave; None: all
        self._narrowed = _spark_rows.Narrowed()

    def pushFilters(self, filters):
        """Notes what conditions make needless. All are returned, so that Spark looks at each row, too."""
        for each in filters:
            column = each.attribute[0] if len(each.attribute) == 1 else None
            kind = type(each).__name__
            if column in ("time", "time_ns"):
                self._limit(kind, each)
            elif kind in ("EqualTo", "In") and column in ("instance", "file"):
                self._choose(column, frozenset(each.value if kind == "In" else [each.value]))
        return filters

    def _choose(self, column, wanted):
        if column == "file":
            self._files = wanted if self._files is None else self._files & wanted
        else:
            before = self._narrowed.instances
            instances = wanted if before is None else before & wanted
            self._narrowed = dataclasses.replace(self._narrowed, instances=instances)

    def _limit(self, kind, condition):
        span = _span(getattr(condition, "value", None))
        narrowed = self._narrowed
        if span is not None and kind in ("EqualTo", "GreaterThan", "GreaterThanOrEqual"):
            narrowed = dataclasses.replace(narrowed, start=max(span[0], narrowed.start or 0))
        if span is not None and kind in ("EqualTo", "LessThan", "LessThanOrEqual"):
            end = span[1] if narrowed.end is None else min(span[1], narrowed.end)
            narrowed = dataclasses.replace(narrowed, end=end)
        self._narrowed = narrowed

    def partitions(self):
        return [datasource.InputPartition(each) for each in _spark_rows.plan(self._request, self._files)]

    def read(self, partition):
        if partition is None:  # no file is left
            return iter(())
        return _spark_rows.rows_of(self._request, self._table, self._narrowed, partition.value)


def _span(value):
    """The nanoseconds that a value of a condition stands for, first and last; None if it is no moment."""
    if isinstance(value, datetime.datetime) and value.tzinfo is not None:
        first = (value - _EPOCH) // datetime.timedelta(microseconds=1) * 1000
        return first, first + 999
    return (value, value) if isinstance(value, int) else None
