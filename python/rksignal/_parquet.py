"""Traces as Parquet files: a folder a drive, in it a folder a message."""

import dataclasses
import os

from . import _folders, _parquet_files
from ._errors import warn
from ._reading import read

_BATCH_ROWS = {"message": 1 << 16, "long": 1 << 20, "intervals": 1 << 20}  # those of all messages are sorted by message


@dataclasses.dataclass(frozen=True)
class ParquetSummary:
    """What `to_parquet` has written.

    Attributes
    ----------
    files : tuple of str
    rows, bytes : int
        Of all files.
    remarks : tuple of TraceWarning
        What was remarkable in the traces.
    """

    files: tuple
    rows: int
    bytes: int
    remarks: tuple

    def __repr__(self):
        return (f"<ParquetSummary: {len(self.files)} files, {self.rows} rows, {self.bytes} bytes, "
                f"{len(self.remarks)} remarks>")


def to_parquet(traces, db, folder, layout="message", compression="zstd", *, signals=None, start=None, end=None,
               raw=None, text=True, gap=None, overwrite=False, progress=False):
    """Decodes traces into Parquet files, for data lakes and fleets. Needs pyarrow.

    The files are ``FOLDER/drive=DRIVE/message=MESSAGE/part-0.parquet``, with further parts where there are many rows or
    messages. Readers of partitioned data sets know `drive` and `message` from these names.

    Each drive appears at once when it is whole, also where it replaces another one. What ends before leaves nothing.

    Parameters
    ----------
    traces : str, path, several of them, or a mapping
        Each trace is a drive with the name of its file. Where two files have one name, as many of their folders stand
        before it as it takes to tell them apart. In a mapping the keys name the drives, and several traces of a drive
        are merged by time.
    db : Database
    folder : str or path
        It is made if there is none.
    layout : str
        As that of `read`. ``"message"``, a row a frame, is the smallest and fastest one.
    compression : str
        ``"zstd"``, ``"snappy"``, ``"gzip"``, ``"brotli"``, ``"lz4"`` or ``"none"``.
    signals, start, end, raw, text, gap, progress
        As those of `read`.
    overwrite : bool
        Replaces drives that are there already. Without it they are an error, before anything is read.

    Returns
    -------
    ParquetSummary

    Raises
    ------
    Error
        As `read`; or a drive is there already, or one of the traces or definition files lies in a drive that would be
        replaced. Drives that were complete before stay.

    Warns
    -----
    TraceWarning
        As `read`.

    Notes
    -----
    Columns of signals have metadata: `instance`, `unit`, `comment`, `factor`, `offset`, `minimum`, `maximum` and `values`,
    the value table as JSON. The metadata of a file hold the same for all its signals, as JSON under ``rksignal.signals``,
    also in the other layouts, and what is known of the message. The names of columns differ by more than the case of
    letters, and none is `drive` or `message`: one that is has ``_2`` behind it.

    Examples
    --------
    >>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
    >>> summary = rksignal.to_parquet("drive.log", db, "lake")
    >>> summary.rows, len(summary.files)
    (121440, 19)
    >>> import pyarrow.parquet
    >>> gears = pyarrow.parquet.read_table("lake/drive=drive.log/message=Gear")
    >>> gears.schema.field("Current").metadata[b"instance"]
    b'Gear.Current'
    """
    drives = _folders.drives_of(traces)
    inputs = [*db.files, *(path for paths in drives.values() for path in paths)]
    targets = {drive: _folders.Target(folder, drive, overwrite, inputs) for drive in drives}
    options = {"signals": signals, "layout": layout, "start": start, "end": end, "raw": raw, "text": text, "gap": gap}
    summary = ParquetSummary((), 0, 0, ())
    for drive, paths in drives.items():
        rows = read(paths, db, **options, batch_rows=_BATCH_ROWS.get(layout, 1), progress=progress)
        done = _write(targets[drive], rows, _parquet_files.Settings(db, layout, compression))
        summary = ParquetSummary(*(before + now for before, now in zip(dataclasses.astuple(summary), done)))
        warn(done[3])
    return summary


def _write(target, rows, settings):
    """Writes a drive. `(files, rows, bytes, remarks)`"""
    with target as folder:
        with _parquet_files.PartitionWriter(folder, settings) as writer:
            remarks = _parquet_files.copy(rows, writer)
        target.publish()
    files = tuple(os.path.join(target.path, name) for name in writer.files)
    return files, writer.rows, sum(map(os.path.getsize, files)), tuple(remarks)
