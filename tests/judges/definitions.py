#!/usr/bin/env python3
"""Compares the values of definition files with those that independent readers give.

definitions.py [--made] PROGRAM FOLDER PATH...: for every definition file of the paths that a judge reads (cantools: DBC, KCD, SYM
and ARXML; ldfparser: LDF), writes a log with random payloads of all its messages to the folder, with every value of
every multiplexer, and compares each row that `rksignal decode --definitions` makes of it: raw value, physical value
and text. A signal that the judge decodes and we do not counts as left out if a remark names it, else as different. Rows
that the judge does not have count as different, too. Prints a row a format and the first differences of each file; ends
with 1 where any are left that EXPLAINED does not name. With `--made`, cantools also writes a KCD and a SYM file of each
DBC file to the folder, and these are compared, too.
"""

import argparse
import collections
import csv
import io
import logging
import pathlib
import random
import re
import subprocess
import sys

import cantools
import ldfparser

PAYLOADS = 8  # of each message, or of each value of a multiplexer
FD_LENGTHS = [*range(9), 12, 16, 20, 24, 32, 48, 64]
LIN_CHANNEL = 1
ONE_MULTIPLEXER = "of several independent multiplexers in a SYM file, cantools takes the first for all"
# Files whose values differ, by the end of the path, how many, and why.
EXPLAINED = {
    "issue_184_extended_mux_independent_multiplexors.sym": (82, ONE_MULTIPLEXER),
    "issue_184_extended_mux_independent_multiplexors_dumped.sym": (81, ONE_MULTIPLEXER),
}


class Expected:
    """What a judge finds in one frame: (raw, physical or None, text or None) by signal."""

    def __init__(self, identifier, data, message, is_extended=False, is_fd=False, signals=None):
        self.identifier = identifier
        self.data = data
        self.message = message
        self.is_extended = is_extended
        self.is_fd = is_fd
        self.signals = signals or {}


def bit_places(signal):
    """The bits of a signal as (byte, bit in the byte), the least significant one first."""
    if signal.byte_order == "little_endian":
        return [divmod(signal.start + i, 8) for i in range(signal.length)]
    first = signal.start // 8 * 8 + 7 - signal.start % 8
    return [((first + i) // 8, 7 - (first + i) % 8) for i in reversed(range(signal.length))]


def put(data, signal, value):
    for i, (byte, bit) in enumerate(bit_places(signal)):
        data[byte] = data[byte] & ~(1 << bit) | (value >> i & 1) << bit


def branches(message):
    """Sets of values of multiplexers under which each signal is in the frame."""
    by_name = {signal.name: signal for signal in message.signals}
    found = {()}
    for signal in message.signals:
        for value in signal.multiplexer_ids or []:
            chain = [(signal.multiplexer_signal, value)]
            above = by_name.get(signal.multiplexer_signal)
            while above is not None and above.multiplexer_ids and len(chain) < 8:
                chain.append((above.multiplexer_signal, above.multiplexer_ids[0]))
                above = by_name.get(above.multiplexer_signal)
            found.add(tuple(chain))
    return by_name, sorted(found)


def cantools_frames(path, draw):
    try:
        pathlib.Path(path).read_bytes().decode("utf-8")
        encoding = "utf-8"
    except UnicodeDecodeError:
        encoding = "cp1252"
    database = cantools.database.load_file(path, strict=False, encoding=encoding)
    for message in getattr(database, "messages", []):
        if getattr(message, "is_container", False):
            continue
        by_name, chains = branches(message)
        length = next((size for size in FD_LENGTHS if size >= message.length), None)
        if length is None:
            continue  # a parameter group in several frames
        for chain in chains:
            for _ in range(PAYLOADS):
                data = bytearray(draw.randbytes(length))
                try:
                    for name, value in chain:
                        put(data, by_name[name], value)
                    yield cantools_frame(message, bytes(data))
                except (cantools.database.errors.Error, IndexError, KeyError):
                    continue  # of a value for which there is nothing


def cantools_frame(message, data):
    own = data[: message.length]
    raw = message.decode(own, decode_choices=False, scaling=False, allow_truncated=True)
    scaled = message.decode(own, decode_choices=False, allow_truncated=True)
    texts = message.decode(own, scaling=False, allow_truncated=True)
    signals = {}
    for name, value in raw.items():
        text = texts[name]
        signals[name] = (value, scaled[name], text.name if hasattr(text, "name") else None)
    return Expected(message.frame_id, data, message.name, message.is_extended_frame,
                    message.is_fd or message.length > 8, signals)


def ldf_value(signal, raw):
    """Physical value and text, as far as the encoding gives them."""
    if signal.is_array() or signal.encoding_type is None:
        return None, None
    try:
        value = signal.encoding_type.decode(raw, signal)
    except (ValueError, AttributeError):
        return None, None
    return (None, value) if isinstance(value, str) else (value, None)


def ldf_frames(path, draw):
    ldf = ldfparser.parse_ldf(path)
    frames = [*ldf.get_unconditional_frames(), *ldf.get_diagnostic_frames()]
    for frame in frames:
        for _ in range(PAYLOADS * 4):
            data = draw.randbytes(frame.length)
            signals = {}
            by_name = {signal.name: signal for _, signal in frame.signal_map}
            for name, value in frame.decode_raw(data).items():
                number = int.from_bytes(bytes(value), "little") if isinstance(value, list) else value
                signals[name] = (number, *ldf_value(by_name[name], value))
            yield Expected(frame.frame_id, data, frame.name, signals=signals)


def candump_log(frames):
    for at, frame in enumerate(frames):
        identifier = f"{frame.identifier:08X}" if frame.is_extended else f"{frame.identifier:03X}"
        yield f"({at}.000000) can0 {identifier}{'##0' if frame.is_fd else '#'}{frame.data.hex().upper()}\n"


def asc_log(frames):
    yield "date Mon May 18 10:00:00.000 2026\nbase hex  timestamps absolute\nno internal events logged\n"
    for at, frame in enumerate(frames):
        yield (f"{at}.000000 Li {frame.identifier:x} Rx {len(frame.data)} {frame.data.hex(' ')} "
               "checksum = 00 CSM = enhanced\n")


class Format:
    def __init__(self, read, log, prefix=""):
        self.read = read
        self.log = log
        self.prefix = prefix  # of the file on the command line


FORMATS = {
    ".dbc": Format(cantools_frames, candump_log),
    ".kcd": Format(cantools_frames, candump_log),
    ".sym": Format(cantools_frames, candump_log),
    ".arxml": Format(cantools_frames, candump_log),
    ".ldf": Format(ldf_frames, asc_log, f"{LIN_CHANNEL}="),
}


class Result:
    def __init__(self):
        self.files = self.messages = self.signals = self.values = self.left_out = self.different = self.remarks = 0
        self.first = []

    def add(self, other):
        for name in ("files", "messages", "signals", "values", "left_out", "different", "remarks"):
            setattr(self, name, getattr(self, name) + getattr(other, name))


def decoded(program, form, path, log):
    """Our rows by the number of the frame: {instance without the suffix of a taken name: [row]}, and the remarks."""
    run = subprocess.run([program, "decode", "--definitions", form.prefix + str(path), str(log)], capture_output=True,
                         text=True, check=False)
    if run.returncode > 1 and "no usable definition" not in run.stderr:
        raise RuntimeError(run.stderr.strip())
    rows = collections.defaultdict(lambda: collections.defaultdict(list))
    origin = None
    for row in csv.DictReader(io.StringIO(run.stdout)):
        time = float(row["time"])
        origin = time if origin is None else origin
        rows[time][re.sub(r"(@SA[0-9A-F]{2})?(#\d+)?$", "", row["instance"])].append(row)
    return rows, run.stderr


def is_equal(row, value):
    raw, physical, text = value
    if isinstance(raw, float):  # ours is the raw word
        ours = float(row["value"])
        return abs(ours - physical) <= 1e-6 * abs(physical) or str(ours) == str(physical)  # infinite, or no number
    if int(row["raw"]) != raw or (text is not None and row["text"] != text):
        return False
    return physical is None or abs(float(row["value"]) - physical) <= 1e-9 * max(1, abs(physical))


def compare(program, path, frames, folder):
    form = FORMATS[path.suffix.lower()]
    log = folder / (path.name + (".asc" if form.log is asc_log else ".log"))
    log.write_text("".join(form.log(frames)))
    rows, remarks = decoded(program, form, path, log)
    base = min(rows) if rows and form.log is asc_log else 0
    result = Result()
    result.files = 1
    result.messages = len({frame.message for frame in frames})
    seen = set()
    remarked = set()
    result.remarks = sum(line.startswith(str(path)) for line in remarks.splitlines())
    for number, frame in enumerate(frames):
        ours = rows.get(base + number, {})
        for name, value in frame.signals.items():
            seen.add((frame.message, name))
            found = ours.get(f"{frame.message}.{name}", [])
            if not found and is_remarked(remarks, frame.message, name):
                remarked.add((frame.message, name))
            elif any(is_equal(row, value) for row in found):
                result.values += 1
            else:
                result.different += 1
                result.first.append(f"{path}: frame {frame.identifier:X} {frame.data.hex()} {frame.message}.{name}: "
                                    f"expected {value}, ours {[(r['raw'], r['value'], r['text']) for r in found]}")
        for instance in ours:
            message, _, name = instance.rpartition(".")
            if message == frame.message and name not in frame.signals:
                result.different += 1
                result.first.append(f"{path}: frame {frame.identifier:X} {frame.data.hex()}: {instance} not expected")
    result.signals = len(seen)
    result.left_out = len(remarked)
    return result


def is_remarked(remarks, message, signal):
    return f"signal {signal} of message {message} " in remarks or f"{message}.{signal} is not decoded" in remarks


def files_in(paths):
    for path in map(pathlib.Path, paths):
        for file in sorted(path.rglob("*")) if path.is_dir() else [path]:
            if file.suffix.lower() in FORMATS and file.is_file():
                yield file


def make_files(path, folder):
    """The KCD and the SYM file that cantools makes of a DBC file, as far as it can."""
    folder.mkdir(parents=True, exist_ok=True)
    try:
        database = cantools.database.load_file(str(path), strict=False)
    except Exception:  # as above
        return
    for suffix, dump, encoding in ((".kcd", database.as_kcd_string, "utf-8"), (".sym", database.as_sym_string, "cp1252")):
        try:
            text = dump()
        except TypeError:  # it cannot write texts of multiplexed signals
            continue
        made = folder / (path.stem + suffix)
        made.write_text(text, encoding=encoding, errors="replace")
        yield made


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--made", action="store_true")
    parser.add_argument("program")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("path", nargs="+")
    arguments = parser.parse_args()
    logging.disable(logging.CRITICAL)
    arguments.folder.mkdir(parents=True, exist_ok=True)
    totals = collections.defaultdict(Result)
    unread = collections.Counter()
    failures = 0
    paths = list(files_in(arguments.path))
    if arguments.made:
        for path in [path for path in paths if path.suffix.lower() == ".dbc"]:
            paths += make_files(path, arguments.folder / "made")
    for path in paths:
        try:
            frames = list(FORMATS[path.suffix.lower()].read(str(path), random.Random(path.name)))
        except Exception as error:  # of any kind that a judge has
            unread[path.suffix.lower()] += 1
            print(f"not read by the judge: {path}: {str(error).splitlines()[0][:100] if str(error) else type(error)}")
            continue
        result = compare(arguments.program, path, frames, arguments.folder)
        totals[path.suffix.lower()].add(result)
        expected, why = next((EXPLAINED[end] for end in EXPLAINED if str(path).endswith(end)), (0, ""))
        if result.different != expected:
            failures += 1
            print("\n".join(result.first[:3]))
        elif why:
            print(f"{path}: {result.different} differ: {why}")
    print("\n| format | files | not read by the judge | messages | signals | values equal | different | left out, with a remark "
          "| remarks |\n|---|---|---|---|---|---|---|---|---|")
    for suffix, total in sorted(totals.items()):
        print(f"| {suffix[1:].upper()} | {total.files} | {unread[suffix]} | {total.messages} | {total.signals} "
              f"| {total.values} | {total.different} | {total.left_out} | {total.remarks} |")
    return 0 if failures == 0 and totals else 1


if __name__ == "__main__":
    sys.exit(main())
