"""The command rksignal-parquet."""

import argparse
import os
import sys
import warnings

from . import __version__, _folders
from ._definitions import load
from ._errors import Error, Remark
from ._parquet import to_parquet
from ._reading import LAYOUTS

_EXAMPLES = """\
examples:
  rksignal-parquet --definitions 0=drive.dbc --definitions 1=body.dbc -o lake drive.log
  rksignal-parquet --definitions car.arxml -o lake --layout intervals archive/*.mf4
  rksignal-parquet --definitions drive.dbc -o lake --only 'Engine.*' --from +1min --to +2min drive.log
  rksignal-parquet --definitions drive.dbc -o lake --drive monday can.log gps.txt
  find archive -name '*.log' | parallel rksignal-parquet -q --definitions drive.dbc -o lake --drive {/.} {}

exit status:
  0    all input was understood
  1    lines of a trace could not be understood, or a trace not be read; all the rest is there
  2    nothing could be done: wrong options, no usable definition, a drive that is there already
  130  ended by Ctrl-C; the drives that were complete are there
"""


def parser():
    made = argparse.ArgumentParser(
        prog="rksignal-parquet", formatter_class=argparse.RawDescriptionHelpFormatter, epilog=_EXAMPLES,
        description="Decodes traces into Parquet files: FOLDER/drive=TRACE/message=MESSAGE/part-0.parquet.")
    made.add_argument("traces", nargs="+", metavar="TRACE",
                      help="a file of any format that rksignal decode reads; a drive")
    made.add_argument("--definitions", action="append", required=True, metavar="[CHANNEL=]FILE",
                      help="definitions of signals; may be given several times")
    made.add_argument("-o", "--output", required=True, metavar="FOLDER",
                      help="where the drives are; made if there is none")
    made.add_argument("--layout", choices=LAYOUTS, default="message",
                      help="a row: a frame (message), a value (long), as long as a value stays (intervals); message if "
                           "not given")
    made.add_argument("--compression", choices=("zstd", "snappy", "gzip", "brotli", "lz4", "none"), default="zstd",
                      help="zstd if not given")
    made.add_argument("--only", action="append", metavar="GLOB", help="only these signals; may be given several times")
    made.add_argument("--from", dest="start", metavar="TIME",
                      help="only from this time on: seconds since 1970, a date as 2026-11-22T10:00:00+01:00, or +95s "
                           "from the start of a trace")
    made.add_argument("--to", dest="end", metavar="TIME", help="only up to this time")
    made.add_argument("--raw", action="store_true", help="columns of raw values also in the layout message")
    made.add_argument("--drive", metavar="NAME", help="all traces are one drive with this name, merged by time")
    made.add_argument("--overwrite", action="store_true", help="replace drives that are there already")
    made.add_argument("--skip-existing", action="store_true", help="pass over drives that are there already")
    made.add_argument("--progress", action="store_true", help="show a bar, if tqdm is there")
    made.add_argument("-q", "--quiet", action="store_true", help="errors alone, no summary")
    made.add_argument("--version", action="version", version=f"%(prog)s {__version__}")
    return made


def main(arguments=None):
    """Runs the command, and returns its exit status."""
    options = parser().parse_args(arguments)
    warnings.simplefilter("ignore", Remark)  # they are told below
    try:
        return _run(options)
    except KeyboardInterrupt:
        return 130
    except Error as error:
        print(f"rksignal-parquet: {error}", file=sys.stderr)
        return 2


def _run(options):
    db = load(*options.definitions)
    status = _tell(db.remarks, options.quiet)
    drives = _folders.drives_of({options.drive: options.traces} if options.drive else options.traces)
    if options.skip_existing:
        drives = {drive: paths for drive, paths in drives.items()
                  if not os.path.lexists(_folders.Target(options.output, drive, True, ()).path)}
        if not drives:
            return status
    inputs = [*db.files, *options.traces]
    for drive in drives:  # before anything is read
        _folders.Target(options.output, drive, options.overwrite, inputs)
    done = files = rows = size = 0
    for drive, paths in drives.items():
        try:
            made = to_parquet({drive: paths}, db, options.output, options.layout, options.compression,
                              signals=options.only, start=options.start, end=options.end, raw=options.raw or None,
                              overwrite=options.overwrite, progress=options.progress)
        except Error as error:
            if len(drives) == 1:
                raise
            print(f"rksignal-parquet: {error}", file=sys.stderr)
            status = 1
            continue
        status = max(status, _tell(made.remarks, options.quiet))
        done, files, rows, size = done + 1, files + len(made.files), rows + made.rows, size + made.bytes
    if not options.quiet:
        print(f"drives {done}, files {files}, rows {rows}, bytes {size}", file=sys.stderr)
    return status if done else 2


def _tell(remarks, quiet):
    """Prints what is more than a remark. 1 if there was an error, else 0."""
    for remark in remarks:
        if remark.severity == "error" or not quiet and remark.severity != "remark":
            print(f"rksignal-parquet: {remark.severity}: {remark}", file=sys.stderr)
    return int(any(remark.severity == "error" for remark in remarks))
