"""Small traces of each format, written by python-can, asammdf, scapy, mergecap and can-utils: what tests of the readers
read.

The files hold the same few hundred frames as far as their format and its writer can. They are written anew by every
run of the tests, and are the same each time.
"""

import datetime
import logging
import random
import struct
import subprocess

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


# What the columns of TRC logs are called in `$COLUMNS`, and how a version orders them.
TRC_COLUMNS = {"1.1": "NOdILD", "1.3": "NOBdIrLD", "2.0": "NOTIdlD", "2.1": "NOTBIdRLD"}


def trc_line(number, frame, version):
    """One frame as the versions 1.1 to 2.1 of the format have it; `r` and `R` are a column without a meaning."""
    has_types = version >= "2"
    kind = ("RR" if frame.is_remote_frame else "DT" if not frame.is_fd else "FB" if frame.bitrate_switch else "FD")
    data = frame.data.hex(" ").upper()
    if frame.is_remote_frame:
        data = "" if has_types else "RTR"
    fields = {"N": f"{number}" if has_types else f"{number})", "O": f"{(frame.timestamp - START) * 1000:.3f}", "T": kind,
              "B": str(frame.channel + 1), "I": f"{frame.arbitration_id:0{8 if frame.is_extended_id else 4}X}",
              "d": "Rx", "r": "-", "R": "-", "l": str(len(frame.data)), "L": str(frame.dlc), "D": data}
    return " ".join(fields[column] for column in TRC_COLUMNS[version]).rstrip()


def write_trc(folder):
    days = START / 86400 + 25569  # since 1899-12-30
    for version, columns in TRC_COLUMNS.items():
        head = [f";$FILEVERSION={version}", f";$STARTTIME={days:.14f}"]
        if version >= "2":
            head.append(";$COLUMNS=" + ",".join(columns))
        lines = [trc_line(number, frame, version) for number, frame in enumerate(frames(with_fd=version >= "2"), 1)
                 if not frame.is_error_frame]
        (folder / f"version{version}.trc").write_text("\r\n".join(head + lines) + "\r\n")


def write_captures(folder):
    """A capture for each link type, and all of them in one with an interface for each."""
    from scapy.utils import RawPcapWriter

    draw = random.Random(4)
    packets = {
        227: [struct.pack(">IBBBB", frame.arbitration_id | frame.is_extended_id << 31, len(frame.data),
                          4 * frame.is_fd, 0, 0) + frame.data for frame in frames(with_kinds=False)],
        212: [struct.pack(">B3xBBBB", 1, 4 * 16 + 1, index, 0, 0) + draw.randbytes(4) for index in range(40)],
        210: [struct.pack(">BBHBBB", 1 + 128 * (index % 2), 0, 0x2000 + 50 * index, 2 * (index % 30), 0, index % 64) +
              draw.randbytes(2 * (index % 30)) for index in range(40)],
        1: [draw.randbytes(60 + index) for index in range(40)],
    }
    names = []
    for link_type, payloads in packets.items():
        for snapshot in (65535, 40):
            names.append(folder / f"link{link_type}-{snapshot}.pcap")
            with RawPcapWriter(str(names[-1]), linktype=link_type, nano=snapshot == 40, endianness="<>"[snapshot == 40],
                               snaplen=snapshot) as writer:
                writer.write_header(None)
                for index, payload in enumerate(payloads):
                    writer.write_packet(payload[:snapshot], sec=int(START) + index, usec=index * 1000,
                                        wirelen=len(payload))
    subprocess.run(["mergecap", "-I", "none", "-w", folder / "interfaces.pcapng", *names], check=True)
    subprocess.run(["mergecap", "-F", "nsecpcap", "-w", folder / "again.pcap", names[0]], check=True)


def write_can_utils(folder):
    """The candump log in the other forms that can-utils turn it to; without remote frames, which they drop."""
    log = folder / "data.log"
    lines = (folder / "fd.log").read_text().splitlines(keepends=True)
    log.write_text("".join(line for line in lines if "#R" not in line and " 20000080#" not in line))
    with open(folder / "data.log.screen", "w") as screen:
        subprocess.run(["log2long"], stdin=open(log), stdout=screen, check=True)
    subprocess.run(["log2asc", "-I", log, "-O", folder / "data.log.asc", "can0", "can1"], check=True)


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
    write_trc(folder)
    write_captures(folder)
    write_can_utils(folder)
    write_asammdf(folder)
