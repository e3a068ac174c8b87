"""The tables of Spark: their schemas, and batches in their form."""

import os

import pyarrow
from pyspark.sql import types
from pyspark.sql.pandas.types import to_arrow_type

from ._errors import Error
from ._parquet_files import free_names
from ._reading import read

_REMARKS = types.StructType([
    types.StructField("file", types.StringType(), False),
    types.StructField("line", types.LongType()),
    types.StructField("severity", types.StringType(), False),
    types.StructField("text", types.StringType(), False),
])
_WIDER = {pyarrow.int8(): types.ByteType(), pyarrow.int16(): types.ShortType(), pyarrow.int32(): types.IntegerType(),
          pyarrow.int64(): types.LongType(), pyarrow.uint8(): types.ShortType(), pyarrow.uint16(): types.IntegerType(),
          pyarrow.uint32(): types.LongType(), pyarrow.uint64(): types.DecimalType(20, 0),
          pyarrow.float32(): types.FloatType(), pyarrow.float64(): types.DoubleType()}


def schema_of(request):
    """All columns that there are."""
    return _REMARKS if request.table == "remarks" else _Content(request).schema()


class Table:
    """The columns that a query wants, and how batches become them. Is sent to the executors."""

    def __init__(self, request, schema):
        content = _Content(request)
        known = _REMARKS.names if request.table == "remarks" else content.sources
        for name in schema.names:
            if name not in known:
                raise Error(f"there is no column {name}: the columns are {', '.join(known)}")
        self._sources = [content.sources.get(name) for name in schema.names]
        self._schema = pyarrow.schema([(field.name, to_arrow_type(field.dataType)) for field in schema])
        self.signals = content.signals
        wanted = {source[0] for source in self._sources if source is not None}
        is_message = request.layout == "message"
        self.has_raw = request.raw if is_message or request.raw is False else "raw" in wanted
        self.has_text = request.text and (is_message or "text" in wanted)

    def batch(self, file, batch):
        """The rows of a `Batch`."""
        rows = pyarrow.record_batch(batch)
        columns = [self._column(source, field.type, file, batch.table, rows)
                   for source, field in zip(self._sources, self._schema)]
        return pyarrow.RecordBatch.from_arrays(columns, schema=self._schema)

    def _column(self, source, kind, file, table, rows):
        name, form = source
        if form in ("file", "table"):
            return pyarrow.repeat(_text(file if form == "file" else table), len(rows)).cast(kind)
        if name not in rows.schema.names:  # of a sender that says less
            return pyarrow.nulls(len(rows), kind)
        column = rows.column(name)
        if form == "ns":
            column = column.cast(pyarrow.int64())
        return column.cast(kind, safe=not pyarrow.types.is_timestamp(kind))

    def remarks(self, remarks):
        """A row each."""
        cells = {
            "file": [_text(remark.file) for remark in remarks],
            "line": [remark.line for remark in remarks],
            "severity": [remark.severity for remark in remarks],
            "text": [_text(remark.text) for remark in remarks],
        }
        columns = [pyarrow.array(cells[field.name], field.type) for field in self._schema]
        return pyarrow.RecordBatch.from_arrays(columns, schema=self._schema)


class _Content:
    """What there is to be read: the columns of values, and the signals in them."""

    def __init__(self, request):
        nothing = read(os.devnull, request.database(), signals=request.signals, layout=request.layout, raw=request.raw,
                       text=request.text, gap=request.gap)
        tables = {name: pyarrow.schema(_Capsule(schema)) for name, schema in nothing._schemas.items()}
        nothing.close()
        self.signals = None
        if request.layout == "message":
            tables = _chosen(tables, request.message)
            self.signals = [field.metadata[b"instance"].decode() for schema in tables.values() for field in schema
                            if field.metadata and b"instance" in field.metadata]
            self.signals = list(dict.fromkeys(self.signals))
        elif request.message is not None:
            raise Error("the option message is of the layout message")
        self._schema = next(iter(tables.values()))
        self.sources = self._all_sources(request)

    def _all_sources(self, request):
        """By the names of columns: the name in batches, and what of it."""
        forms = [("file", "file")] + ([("table", "table")] if request.layout == "message" else [])
        for field in self._schema:
            forms.append((field.name, None))
            if pyarrow.types.is_timestamp(field.type):
                forms.append((field.name, "ns"))
        names = free_names([name + "_ns" if form == "ns" else name for name, form in forms])
        return dict(zip(names, forms))

    def schema(self):
        return types.StructType([self._field(name, *source) for name, source in self.sources.items()])

    def _field(self, name, source, form):
        if form in ("file", "table"):
            return types.StructField(name, types.StringType(), False)
        field = self._schema.field(source)
        metadata = {key.decode(): value.decode("utf-8", "replace") for key, value in (field.metadata or {}).items()}
        return types.StructField(name, _type(field.type, form), field.nullable, metadata)


class _Capsule:
    def __init__(self, schema):
        self._schema = schema

    def __arrow_c_schema__(self):
        return self._schema


def _chosen(tables, message):
    """Those of a message, which have the same columns."""
    def is_meant(name, schema):
        return message in (None, name, (schema.metadata or {}).get(b"message", b"").decode())

    chosen = {name: schema for name, schema in tables.items() if is_meant(name, schema)}
    if not chosen:
        raise Error(f"there is no message {message}: there are {', '.join(tables)}")
    schemas = list(chosen.values())
    if any(schema.names != schemas[0].names or schema.types != schemas[0].types for schema in schemas):
        raise Error(f"the option message chooses one of {', '.join(chosen)}")
    return chosen


def _type(kind, form):
    if form == "ns":
        return types.LongType()
    if pyarrow.types.is_timestamp(kind):
        return types.TimestampType()
    return types.StringType() if pyarrow.types.is_dictionary(kind) else _WIDER[kind]


def _text(name):
    return os.fsencode(name).decode("utf-8", "backslashreplace")
