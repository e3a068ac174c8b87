#!/usr/bin/env python3
"""Compares definition files with what `rksignal convert FILE OUT.dbc` makes of them, both read by cantools.

dbc.py PROGRAM FOLDER PATH...: converts every DBC, KCD, SYM and ARXML file of the paths that cantools reads into the
folder. Messages are found again by identifier and format; compared are name, length and sender, cycle time and comment,
and of each signal layout, scaling, limits, unit, texts, multiplexing, receivers and comment. Prints a row a format and
what differs; ends with 1 if anything does that EXPLAINED does not name.
"""

import argparse
import collections
import logging
import pathlib
import subprocess
import sys

import cantools

SUFFIXES = (".dbc", ".kcd", ".sym", ".arxml")
SHOWN = 5  # differences of a file
# How many differences a file has, and why.
EXPLAINED = {"the_homer.kcd": (2, "it has two signals StationId7 in a message; a DBC file must call one otherwise")}


def encoding_of(path):
    try:
        path.read_bytes().decode("utf-8")
        return "utf-8"
    except UnicodeError:
        return "cp1252"


def load(path):
    """As cantools reads it; None if it does not."""
    try:
        return cantools.database.load_file(path, strict=False, encoding=encoding_of(path), sort_signals=None)
    except Exception:  # of any kind, for files with faults
        return None


def texts(signal):
    return {} if signal.choices is None else {key: str(value) for key, value in signal.choices.items()}


def facts_of_signal(signal, is_dbc):
    """What both files must say. What only DBC files say in this form is left to them."""
    facts = {
        "start": signal.start,
        "length": signal.length,
        "order": signal.byte_order,
        "signed": signal.is_signed or signal.is_float,
        "float": signal.is_float,
        "scale": float(signal.scale),
        "offset": float(signal.offset),
        "unit": signal.unit or "",
        "by": signal.multiplexer_signal,
        "ids": sorted(signal.multiplexer_ids or []),
    }
    if is_dbc:
        facts["limits"] = [float(limit or 0) for limit in (signal.minimum, signal.maximum)]
        facts["texts"] = texts(signal)  # in other files cantools does not read all of them
        facts["receivers"] = sorted(signal.receivers)
        facts["comment"] = (signal.comment or "").replace("\r\n", "\n")
    return facts


def facts_of_message(message, is_dbc):
    facts = {"name": message.name, "length": message.length, "fd": message.is_fd or message.length > 8}
    if is_dbc:
        facts["sender"] = message.senders[:1]
        facts["cycle"] = message.cycle_time or None
        facts["comment"] = (message.comment or "").replace("\r\n", "\n")
    return facts


def differences(expected, found, is_dbc):
    def compare(what, left, right):
        for key, value in left.items():
            if value != right[key]:
                yield f"{what}: {key} {value!r}, found {right[key]!r}"

    written = collections.defaultdict(list)
    for message in found.messages:
        written[message.frame_id, message.is_extended_frame].append(message)
    for message in expected.messages:
        if message.is_container:  # which DBC files do not hold
            continue
        same = written[message.frame_id, message.is_extended_frame]
        same = [each for each in same if each.name == message.name] or same  # of several buses in a KCD file
        if len(same) != 1:
            yield f"{message.name}: {len(same)} messages of its identifier"
            continue
        yield from compare(message.name, facts_of_message(message, is_dbc), facts_of_message(same[0], is_dbc))
        signals = {signal.name: signal for signal in same[0].signals}
        for signal in message.signals:
            if signal.name not in signals:
                yield f"{message.name}.{signal.name}: absent"
                continue
            yield from compare(
                f"{message.name}.{signal.name}",
                facts_of_signal(signal, is_dbc),
                facts_of_signal(signals.pop(signal.name), is_dbc),
            )
        yield from (f"{message.name}.{name}: not in the original" for name in signals)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("paths", nargs="+", type=pathlib.Path)
    arguments = parser.parse_args()
    logging.disable(logging.CRITICAL)
    arguments.folder.mkdir(parents=True, exist_ok=True)
    files = sorted(
        file for path in arguments.paths for file in ([path] if path.is_file() else path.rglob("*")) if file.suffix in SUFFIXES
    )
    table = collections.defaultdict(collections.Counter)
    for number, file in enumerate(files):
        expected = load(file)
        if expected is None:
            table[file.suffix]["not read by cantools"] += 1
            continue
        output = arguments.folder / f"{number}.dbc"
        subprocess.run([arguments.program, "convert", "--quiet", file, output], capture_output=True, check=False)
        found = load(output)
        wrong = ["cannot be read"] if found is None else list(differences(expected, found, file.suffix == ".dbc"))
        row = table[file.suffix]
        row["files"] += 1
        row["messages"] += len(expected.messages)
        row["signals"] += sum(len(message.signals) for message in expected.messages)
        if wrong and len(wrong) == EXPLAINED.get(file.name, (0, ""))[0]:
            row["explained"] += len(wrong)
            continue
        row["different"] += len(wrong)
        for line in wrong[:SHOWN]:
            print(f"{file}: {line}")
        if len(wrong) > SHOWN:
            print(f"{file}: and {len(wrong) - SHOWN} more")
    for suffix, row in table.items():
        print(suffix, ", ".join(f"{count} {name}" for name, count in row.items()))
    sys.exit(any(row["different"] for row in table.values()))


main()
