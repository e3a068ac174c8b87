"""Recorded vehicle bus traffic as columns of named values.

>>> import rksignal
>>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
>>> frame = rksignal.read("drive.log", db, ["Vehicle.Speed", "Engine.*"]).to_pandas()

`load` reads definition files, `read` the values of traces, `frames` their raw frames. `triggers` tells when conditions
come true, `explain` how a signal comes to its value.
"""

from ._definitions import Database, Message, Signal, load
from ._errors import ConditionWarning, DefinitionWarning, Error, FileError, FileMissingError, Remark, TraceWarning
from ._explain import Explanation, explain
from ._parquet import ParquetSummary, to_parquet
from ._reading import Batch, Batches, frames, parts, read
from ._rksignal import __version__
from ._triggers import Firing, triggers

__all__ = [
    "Batch",
    "Batches",
    "ConditionWarning",
    "Database",
    "DefinitionWarning",
    "Error",
    "Explanation",
    "FileError",
    "FileMissingError",
    "Firing",
    "Message",
    "ParquetSummary",
    "Remark",
    "Signal",
    "TraceWarning",
    "__version__",
    "explain",
    "frames",
    "load",
    "parts",
    "read",
    "to_parquet",
    "triggers",
]
