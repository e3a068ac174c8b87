"""What a job of Spark reads: files and parts of them, and the rows in each."""

import dataclasses
import functools
import glob
import hashlib
import json
import os
import warnings

import numpy

from . import _times
from ._definitions import load
from ._errors import Error, FileError, FileMissingError, TraceWarning
from ._reading import LAYOUTS, parts, read


class Request:
    """The options of a job, checked. Is sent to the executors."""

    def __init__(self, given, folder):
        self._folder = folder  # in which relative names lie
        if not given.get("definitions"):
            raise Error("the option definitions names no file")
        self.definitions = tuple(map(self._absolute_definition, _several(given["definitions"])))
        self.clusters = tuple(_several(given.get("clusters", "")))
        self.channels = tuple((name, int(channel)) for name, _, channel in
                              (item.rpartition("=") for item in _several(given.get("channels", ""))))
        self.layout = _one_of(given, "layout", LAYOUTS)
        self.table = _one_of(given, "table", ("values", "remarks"))
        self.message = given.get("message")
        self.signals = tuple(_several(given["signals"])) if "signals" in given else None
        self.start, self.end = given.get("start"), given.get("end")
        self.gap = float(given["gap"]) if "gap" in given else None
        self.raw = _is_true(given, "raw")
        self.text = _is_true(given, "text") is not False
        self.part_bytes = int(given.get("partbytes", 128 << 20))
        paths = json.loads(given["paths"]) if "paths" in given else [given["path"]] if "path" in given else []
        self.paths = [os.path.join(folder, path.removeprefix("file://")) for path in paths]
        self.digests = tuple(map(_digest, self.definitions))

    def _absolute_definition(self, text):
        channel, equals, path = text.partition("=")
        if not equals or "/" in channel or os.path.exists(os.path.join(self._folder, text)):
            channel, path = None, text
        return channel, os.path.join(self._folder, path)

    def database(self):
        """The definitions, which a process reads once."""
        return _database(self.definitions, self.clusters, self.channels, self.digests)


@functools.lru_cache(maxsize=4)
def _database(definitions, clusters, channels, digests):
    for definition, digest in zip(definitions, digests):
        if _digest(definition) != digest:
            raise Error(f"{definition[1]} is not what it was when the job began", definition[1])
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        return load(*definitions, clusters=clusters, channels=dict(channels))


def _digest(definition):
    try:
        with open(definition[1], "rb") as file:
            return hashlib.file_digest(file, "sha256").hexdigest()
    except FileNotFoundError as error:
        raise FileMissingError(f"cannot open {definition[1]}: {error.strerror}", definition[1]) from error
    except OSError as error:
        raise FileError(f"cannot open {definition[1]}: {error.strerror}", definition[1]) from error


def _several(text):
    if text.lstrip().startswith("["):
        return json.loads(text)
    return [item.strip() for item in text.split(",") if item.strip()]


def _one_of(given, name, choice):
    value = given.get(name, choice[0])
    if value not in choice:
        raise Error(f"{name}={value!r} is none of {', '.join(choice)}")
    return value


def _is_true(given, name):
    if name not in given:
        return None
    if given[name].lower() not in ("true", "false"):
        raise Error(f"{name}={given[name]!r} is neither true nor false")
    return given[name].lower() == "true"


def plan(request, wanted=None):
    """The partitions: `(file, stamp, part)` each, in the order of the files' names.

    `stamp` is the size and time of change of a file; None: it is not there.
    """
    db = request.database()
    made = []
    for file in _files(request.paths):
        if wanted is None or file in wanted:
            made += [(file, _stamp(file), part) for part in _parts(file, db, request)]
    return made


def _files(paths):
    if not paths:
        raise Error("there are no traces: load() names files, folders or patterns")
    found = {}
    for path in paths:
        matching = [path] if os.path.lexists(path) else sorted(glob.glob(path, recursive=True))
        if not matching:
            raise FileMissingError(f"there is no {path}", path)
        for each in matching:
            found.update(dict.fromkeys(_files_in(each) if os.path.isdir(each) else [each]))
    return sorted(found)


def _files_in(folder):
    for where, folders, names in os.walk(folder):
        folders.sort()
        yield from (os.path.join(where, name) for name in sorted(names) if not name.startswith((".", "_")))


def _stamp(file):
    try:
        status = os.stat(file)
    except OSError:
        return None
    return status.st_size, status.st_mtime_ns


def _parts(file, db, request):
    """Opens only what is large, and text."""
    try:
        if os.path.getsize(file) >= 2 * request.part_bytes and _is_text(file):
            return parts(file, db, request.layout, request.part_bytes)
    except (Error, OSError):
        pass  # the table of remarks will tell
    return [None]


def _is_text(file):
    with open(file, "rb") as content:
        head = content.read(4096)
    return head.isascii() and b"\0" not in head


@dataclasses.dataclass(frozen=True)
class Narrowed:
    """What the conditions of a query leave."""

    start: int | None = None  # nanoseconds
    end: int | None = None
    instances: frozenset | None = None  # names; None: all


def rows_of(request, table, narrowed, partition):
    """The rows of a partition, as batches of pyarrow."""
    file, stamp, part = partition
    if stamp != _stamp(file):
        raise Error(f"{file} is not what it was when the job began", file)
    options = _options(request, table, narrowed)
    if options["signals"] == []:
        return
    is_wanted = request.table == "values"
    try:
        batches = read(file, request.database(), **options, part=part)
        while (batch := batches._take()) is not None:
            if is_wanted:
                yield table.batch(file, batch)
        remarks = batches._remarks
    except Error as error:
        remarks = [TraceWarning(error.file or file, error.line, "error", str(error))]
    if not is_wanted:
        yield table.remarks(remarks)


def _options(request, table, narrowed):
    """For `read`."""
    signals = table.signals if request.signals is None else list(request.signals)
    if narrowed.instances is not None and request.layout == "long" and request.table == "values":
        signals = _among(request.database(), signals, narrowed.instances)
    return {
        "signals": signals,
        "layout": request.layout,
        "gap": request.gap,
        "raw": table.has_raw,
        "text": table.has_text,
        "start": _bound(request.start, narrowed.start, max),
        "end": _bound(request.end, narrowed.end, min),
    }


def _among(db, signals, instances):
    """Those of the instances that are wanted, too."""
    wanted = set(db if signals is None else db.select(signals))
    return sorted(name for name in instances if name in wanted or name.rpartition("@SA")[0] in wanted)


def _bound(option, nanoseconds, choose):
    """The narrower one of an option and of what conditions leave. What is relative is left to Spark."""
    if nanoseconds is None:
        return option
    given = _times.moment("time", option)
    if given is not None and given[1]:
        return option
    narrow = nanoseconds if given is None else choose(given[0], nanoseconds)
    return numpy.datetime64(min(max(narrow, 0), 2**63 - 1), "ns")
