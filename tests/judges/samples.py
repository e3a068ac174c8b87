"""Small traces of each format, written by python-can and asammdf: what tests of the readers read.

The files hold the same few hundred frames as far as their format and its writer can. They are written anew by every
run of the tests, and are the same each time.
"""

import datetime
import logging
import random

START = 1_700_000_000.25


def frames(with_fd=True, with_kinds=True, count=300):
    """Messages of python-can in the order of time: lengths and identifiers of all kinds on two channels."""
    import can

    draw = random.Random(1)
    at = START
    for index in range(count):
        at += draw.choice([0, 1, 5, 10, 1000]) * 0.001
        is_extended = draw.random() < 0.5
        common = {"timestamp": at, "channel": draw.randrange(2), "is_extended_id": is_extended,
                  "arbitration_id": draw.choice([0, 1, 0x7FF, 0x1FFFFFFF if is_extended else 0x7F0,
                                                 draw.randrange(0x7FF)])}
        if with_kinds and index % 50 == 7:
            yield can.Message(is_remote_frame=True, dlc=draw.randrange(9), **common)
        elif with_kinds and index % 50 == 8:
            yield can.Message(is_error_frame=True, **common)
        elif with_fd and index % 3 == 0:
            length = draw.choice([0, 1, 7, 8, 12, 16, 20, 24, 32, 48, 64])
            yield can.Message(is_fd=True, bitrate_switch=draw.random() < 0.5, data=draw.randbytes(length), **common)
        else:
            yield can.Message(data=draw.randbytes(draw.randrange(9)), **common)


def write_python_can(folder):
    import can

    logging.getLogger("can").setLevel(logging.ERROR)
    # One container of 128 KB is never filled by so few frames; small ones have objects across their ends.
    writers = {
        "deflated.blf": lambda path: can.BLFWriter(path, max_container_size=1000),
        "plain.blf": lambda path: can.BLFWriter(path, compression_level=0, max_container_size=777),
        "fd.asc": can.ASCWriter,
        "fd.log": can.CanutilsLogWriter,
    }
    for name, make in writers.items():
        with make(folder / name) as writer:
            for frame in frames():
                writer.on_message_received(frame)
    for name, make in {"classic.asc": can.ASCWriter, "classic.trc": can.TRCWriter}.items():
        with make(folder / name) as writer:
            for frame in frames(with_fd=False, with_kinds=False):
                writer.on_message_received(frame)
    with can.TRCWriter(folder / "classic10.trc") as writer:
        writer.file_version = can.TRCFileVersion.V1_0
        for frame in frames(with_fd=False, with_kinds=False):
            writer.on_message_received(frame)


def can_rows():
    """Frames by the name of their MDF event: (seconds since START, values of the members)."""
    rows = {"CAN_DataFrame": [], "CAN_RemoteFrame": [], "CAN_ErrorFrame": []}
    for frame in frames():
        event = ("CAN_RemoteFrame" if frame.is_remote_frame else
                 "CAN_ErrorFrame" if frame.is_error_frame else "CAN_DataFrame")
        rows[event].append((frame.timestamp - START, {
            "BusChannel": frame.channel + 1, "ID": frame.arbitration_id, "IDE": frame.is_extended_id,
            "DLC": min(frame.dlc, 8), "DataLength": len(frame.data), "EDL": frame.is_fd, "BRS": frame.bitrate_switch,
            "DataBytes": bytes(frame.data)}))
    return rows


def lin_rows():
    draw = random.Random(2)
    return {"LIN_Frame": [(index * 0.01, {
        "BusChannel": 1 + index % 2, "ID": draw.randrange(64), "DataLength": 1 + index % 8,
        "ReceivedDataByteCount": 1 + index % 8, "DataBytes": draw.randbytes(1 + index % 8)}) for index in range(40)]}


def flexray_rows():
    draw = random.Random(3)
    return {"FLX_Frame": [(index * 0.005, {
        "BusChannel": 1, "ID": 1 + draw.randrange(2047), "CycleCount": index % 64, "DataLength": 2 * (index % 9),
        "DataBytes": draw.randbytes(2 * (index % 9))}) for index in range(40)]}


MDF_TYPES = {"BusChannel": "<u1", "ID": "<u4", "IDE": "<u1", "DLC": "<u1", "DataLength": "<u1", "EDL": "<u1",
             "BRS": "<u1", "ReceivedDataByteCount": "<u1", "CycleCount": "<u1"}


def append_events(mdf, event, rows, width, bus_type):
    import asammdf
    import numpy as np
    from asammdf.blocks.v4_blocks import SourceInformation
    from asammdf.blocks.v4_constants import SOURCE_BUS

    members = [(f"{event}.{name}", f"({width},)u1" if name == "DataBytes" else MDF_TYPES[name])
               for name in rows[0][1]]
    samples = np.zeros(len(rows), dtype=np.dtype(members))
    for index, (_, values) in enumerate(rows):
        for name, value in values.items():
            if name == "DataBytes":
                value = np.frombuffer(value.ljust(width, b"\0"), dtype="u1")
            samples[f"{event}.{name}"][index] = value
    times = np.array([at for at, _ in rows])
    mdf.append(asammdf.Signal(name=event, samples=samples, timestamps=times,
                              source=SourceInformation(source_type=SOURCE_BUS, bus_type=bus_type)))


def write_asammdf(folder):
    import asammdf
    from asammdf.blocks.v4_constants import BUS_TYPE_CAN, BUS_TYPE_FLEXRAY, BUS_TYPE_LIN

    start = datetime.datetime.fromtimestamp(START, tz=datetime.timezone.utc)
    for name, compression in {"plain.mf4": 0, "deflated.mf4": 1, "transposed.mf4": 2}.items():
        with asammdf.MDF(version="4.11") as mdf:
            mdf.header.start_time = start
            for rows, width, bus_type in ((can_rows(), 64, BUS_TYPE_CAN), (lin_rows(), 8, BUS_TYPE_LIN),
                                          (flexray_rows(), 16, BUS_TYPE_FLEXRAY)):
                for event, members in rows.items():
                    append_events(mdf, event, members, width, bus_type)
            mdf.save(folder / name, overwrite=True, compression=compression)


def write_all(folder):
    folder.mkdir(parents=True, exist_ok=True)
    write_python_can(folder)
    write_asammdf(folder)
