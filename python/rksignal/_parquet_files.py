"""Batches of rows written to Parquet files, each message to its own."""

import collections
import concurrent.futures
import contextlib
import dataclasses
import json
import os

import numpy

from . import _folders
from ._definitions import Database
from ._errors import Error, FileError

_MOST_FILES = 200  # that are open at a time
_MOST_ROWS = 1 << 24  # of a file, so that what its end lists stays small
_RESERVED = ("drive", "message")  # columns that folders stand for


def _pyarrow():
    try:
        import pyarrow.parquet
    except ImportError as error:
        raise Error("Parquet files need pyarrow: pip install pyarrow") from error
    return pyarrow


def copy(rows, writer):
    """Writes all batches; the next one is decoded meanwhile. The remarks about the traces."""
    with rows, concurrent.futures.ThreadPoolExecutor(1) as reader:
        ahead = reader.submit(rows._take)
        while (batch := ahead.result()) is not None:
            ahead = reader.submit(rows._take)
            writer.add(batch)
    return rows._remarks


@dataclasses.dataclass(frozen=True)
class Settings:
    db: Database
    layout: str
    compression: str


class PartitionWriter:
    """Writes to ``FOLDER/message=MESSAGE/part-N.parquet``. As a context manager: closes its files."""

    def __init__(self, folder, settings):
        self._pa = _pyarrow()
        self._folder = folder
        self._settings = settings
        self._open = collections.OrderedDict()  # by message; the one that was used last stands last
        self._parts = collections.Counter()
        self._messages = _MessagesOfRows(self._pa, settings.db)
        self.files = []  # below the folder
        self.rows = 0

    def add(self, batch):
        table = batch.table
        batch = self._pa.record_batch(batch)
        if self._settings.layout == "message":
            self._write(table, batch)
        else:
            for message, rows in self._messages.split(batch):
                self._write(message, rows)

    def _write(self, message, batch):
        file = self._open.get(message) or self._begin(message, batch.schema)
        self._open.move_to_end(message)
        file.write(batch)
        self.rows += len(batch)
        if file.rows >= _MOST_ROWS:
            self._open.pop(message).close()

    def _begin(self, message, schema):
        if len(self._open) >= _MOST_FILES:
            self._open.popitem(last=False)[1].close()
        name = os.path.join(_folders.partition("message", message), f"part-{self._parts[message]}.parquet")
        self._parts[message] += 1
        signals = self._messages.described(message) if self._settings.layout != "message" else None
        file = _File(self._pa, os.path.join(self._folder, name), schema, signals, self._settings.compression)
        self._open[message] = file
        self.files.append(name)
        return file

    def __enter__(self):
        return self

    def __exit__(self, *_):
        while self._open:
            self._open.popitem()[1].close()


class _File:
    """A Parquet file. Each batch is a row group."""

    def __init__(self, pa, path, schema, signals, compression):
        self._pa = pa
        self._names = free_names(schema.names, _RESERVED)
        if signals is None:
            signals = {name: _text_of(field.metadata) for name, field in zip(self._names, schema) if field.metadata}
        metadata = {**(schema.metadata or {}), b"rksignal.signals": json.dumps(signals, ensure_ascii=False)}
        self._schema = pa.schema([field.with_name(name) for field, name in zip(schema, self._names)], metadata)
        times = [field.name for field in schema if pa.types.is_timestamp(field.type)]
        texts = [field.name for field in self._schema if pa.types.is_dictionary(field.type)]
        self._path = path
        with _naming(path):
            os.makedirs(os.path.dirname(path), exist_ok=True)
            self._writer = pa.parquet.ParquetWriter(
                path, self._schema, compression=compression, use_dictionary=texts,
                column_encoding={name: "DELTA_BINARY_PACKED" for name in times})
        self.rows = 0

    def write(self, batch):
        with _naming(self._path):
            self._writer.write_batch(self._pa.RecordBatch.from_arrays(batch.columns, schema=self._schema))
        self.rows += len(batch)

    def close(self):
        with _naming(self._path):
            self._writer.close()


@contextlib.contextmanager
def _naming(path):
    """Errors of the system name the file."""
    try:
        yield
    except OSError as error:
        raise FileError(f"cannot write {path}: {error.strerror or error}", path) from error


def free_names(names, reserved=()):
    """Names that differ by more than the case of letters, and are not reserved."""
    taken = set(reserved)
    free = []
    for name in names:
        number, wanted = 1, name
        while wanted.casefold() in taken:
            number += 1
            wanted = f"{name}_{number}"
        taken.add(wanted.casefold())
        free.append(wanted)
    return free


def _text_of(metadata):
    return {key.decode(): value.decode("utf-8", "replace") for key, value in metadata.items()}


class _MessagesOfRows:
    """Tells rows of all messages apart, by their instances."""

    def __init__(self, pa, db):
        self._pa = pa
        self._db = db
        self._numbers = {}  # of messages, by name
        self._of_text = {}  # the same by instance

    def split(self, batch):
        """`(message, rows)`, the rows in their order."""
        instance = batch.column("instance")
        names = instance.dictionary.to_pylist()
        of_code = numpy.array([self._number(name) for name in names] or [0], dtype=numpy.int32)
        numbers = of_code[instance.indices.to_numpy()]
        order = numpy.argsort(numbers.astype(numpy.uint16) if len(self._numbers) < 1 << 16 else numbers, kind="stable")
        sorted_rows = batch.take(self._pa.array(order))
        counts = numpy.bincount(numbers, minlength=len(self._numbers))
        first = 0
        for message, count in zip(list(self._numbers), counts.tolist()):
            if count > 0:
                yield message, self._compact(sorted_rows.slice(first, count))
            first += count

    def _number(self, instance):
        number = self._of_text.get(instance)
        if number is None:
            signal = self._db.get(instance) or self._db[instance.rpartition("@SA")[0]]
            number = self._of_text[instance] = self._numbers.setdefault(signal.message, len(self._numbers))
        return number

    def _compact(self, rows):
        """The same with those texts alone that these rows have."""
        return self._pa.RecordBatch.from_arrays([self._used(column) for column in rows.columns], schema=rows.schema)

    def _used(self, column):
        if not self._pa.types.is_dictionary(column.type):
            return column
        codes = column.indices.fill_null(0).to_numpy()
        used = numpy.flatnonzero(numpy.bincount(codes, minlength=len(column.dictionary)))
        place = numpy.zeros(len(column.dictionary) or 1, dtype=codes.dtype)
        place[used] = numpy.arange(len(used), dtype=codes.dtype)
        valid = column.is_valid().to_numpy(zero_copy_only=False)
        fewer = self._pa.array(place[codes], mask=~valid)
        return self._pa.DictionaryArray.from_arrays(fewer, column.dictionary.take(self._pa.array(used)))

    def described(self, message):
        """The signals of a message, as the metadata of a file have them."""
        return {signal.name: _description(signal) for signal in self._db.signals if signal.message == message}


def _description(signal):
    made = {"instance": signal.name, "unit": signal.unit, "comment": signal.comment, "factor": repr(signal.factor),
            "offset": repr(signal.offset), "minimum": signal.minimum, "maximum": signal.maximum,
            "values": json.dumps({str(raw): text for raw, text in signal.values.items()}, ensure_ascii=False)}
    return {key: str(value) for key, value in made.items() if value not in ("", None, "{}")}
