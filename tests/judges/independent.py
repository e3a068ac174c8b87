"""Reads the frames of traces with independent readers, as the lines that list_frames prints.

| files | reader | times | channels |
|---|---|---|---|
| .blf, .asc | python-can | floats, good for 1 us | it counts from 0, the files and we from 1 |
| .trc | python-can | the same | as in the file; version 1.0 and 1.1 have none |
| .log | python-can | the same | the digits at the end of the interface's name |
| .mf4 | asammdf | the same | as in the file |
| .pcap, .pcapng, .cap | tshark | exact | the interface's number among those of its bus; FlexRay channel B is one more |
| .screen | python-can reads the .log beside it, of which log2long made it | the same | the same; it tells no CAN FD |
| .csv of GVRET | the csv module of Python | exact | as in the file |
| .log of BUSMASTER | the columns that its head names | exact | as in the file |
| .blf, if it is asked for | tshark | exact | not told, nor is CAN FD; it reads no error frames |

python-can reads CAN only. What it does not know is not counted as missing there (see judge.py).
"""

import csv
import json
import os
import pathlib
import re
import subprocess
import time
import warnings

os.environ["TZ"] = "UTC"  # dates without a zone are taken for UTC
time.tzset()
warnings.simplefilter("ignore")


class Reading:
    """Frames of one file: tuples (nanoseconds, text of the rest of the line)."""

    def __init__(self, judge, tolerance, buses):
        self.judge = judge
        self.tolerance = tolerance  # nanoseconds
        self.buses = buses  # that the judge reads
        self.frames = []
        self.tells_fd = True  # whether CAN FD frames are told from classic ones
        self.is_absolute = True  # whether its times have a date

    def add(self, nanoseconds, bus, channel, identifier, flags, data):
        channel = "*" if channel is None else channel
        text = bytes(data).hex().upper() or "-"
        self.frames.append((nanoseconds, f"{bus} {channel} {identifier} {flags} {text}"))

    def add_kind(self, nanoseconds, kind):
        self.frames.append((nanoseconds, f"- - - {kind} -"))


def can_id(identifier, is_extended):
    return f"{identifier:08X}" if is_extended else f"{identifier:03X}"


def nanoseconds(seconds):
    return round(seconds * 1_000_000_000)


def read_python_can(path):
    import can

    ending = path.suffix.lower()
    reading = Reading("python-can", 1000, {"can"})
    options = {"relative_timestamp": False} if ending == ".asc" else {}
    reader = {".blf": can.BLFReader, ".asc": can.ASCReader, ".trc": can.TRCReader,
              ".log": can.CanutilsLogReader}[ending](path, **options)
    for frame in reader:
        at = nanoseconds(frame.timestamp)
        channel = frame.channel
        if ending == ".log":
            channel = int(re.search(r"\d*$", str(channel)).group() or 0)
        elif channel is not None:
            channel = int(channel) + (ending != ".trc")
        if frame.is_error_frame:
            reading.add_kind(at, "error")
        elif frame.is_remote_frame and not frame.is_fd:  # it takes FD frames without data in ASC logs for such
            reading.add_kind(at, "remote")
        else:
            reading.add(at, "can", channel, can_id(frame.arbitration_id, frame.is_extended_id),
                        "fd" if frame.is_fd else "-", frame.data)
    if ending in (".trc", ".asc"):
        reading.is_absolute = bool(reader.start_time)
    return reading


def member(signals, event, name, index, default=0):
    values = signals.get(f"{event}.{name}")
    return default if values is None else values[index]


def read_asammdf(path):
    import asammdf

    reading = Reading("asammdf", 1000, {"can", "lin", "flexray", "ethernet"})
    with asammdf.MDF(path) as file:
        start = nanoseconds(file.header.start_time.timestamp())
        for number, group in enumerate(file.groups):
            names = [channel.name for channel in group.channels]
            events = [name for name in names if re.fullmatch(
                r"(CAN_(Data|Remote|Error)Frame|LIN_(Frame|\w*Error)|FLX_(Frame|ErrorFrame)|ETH_(Frame|ErrorFrame))", name)]
            if group.channel_group.cycles_nr == 0 or not events:
                continue
            signals = {}
            for name in names:
                if name.startswith(events[0] + "."):
                    signal = file.get(name, group=number, raw=True)
                    signals[name] = signal.samples
                    times = signal.timestamps
            for index, seconds in enumerate(times):
                add_mdf_event(reading, start + nanoseconds(float(seconds)), events[0], signals, index)
    return reading


def add_mdf_event(reading, at, event, signals, index):
    def value(name, default=0):
        return int(member(signals, event, name, index, default))

    def data(length):
        return bytes(member(signals, event, "DataBytes", index, b"")[:length])

    if "Error" in event:
        reading.add_kind(at, "error")
    elif event == "CAN_RemoteFrame":
        reading.add_kind(at, "remote")
    elif event == "CAN_DataFrame":
        identifier = value("ID")
        is_extended = bool(value("IDE", identifier >> 31))
        reading.add(at, "can", value("BusChannel"), can_id(identifier & 0x1FFFFFFF, is_extended),
                    "fd" if value("EDL") else "-", data(value("DataLength")))
    elif event == "LIN_Frame":
        length = value("ReceivedDataByteCount", value("DataLength"))
        reading.add(at, "lin", value("BusChannel"), f"{value('ID') & 0x3F:02X}", "-", data(length))
    elif event == "FLX_Frame":
        reading.add(at, "flexray", value("BusChannel"), f"{value('ID')}.{value('CycleCount')}", "-",
                    data(value("DataLength")))
    elif event == "ETH_Frame":
        head = b"".join(bytes(member(signals, event, name, index, b""))[:6] for name in ("Destination", "Source"))
        reading.add(at, "ethernet", value("BusChannel"), "-", "-",
                    head + value("EthType").to_bytes(2, "big") + data(value("DataLength")))


def read_tshark(path):
    reading = Reading("tshark", 0, {"can", "lin", "flexray", "ethernet"})
    run = subprocess.run(["tshark", "-Q", "-n", "-r", path, "-T", "json", "-x", "-J", "frame can canfd lin flexray"],
                         capture_output=True, check=True)
    packets = [packet["_source"]["layers"] for packet in json.loads(run.stdout)]
    numbers = interface_numbers(packets)
    for layers in packets:
        add_packet(reading, layers, numbers)
    if pathlib.Path(path).suffix.lower() == ".blf":
        reading.tells_fd = False
        reading.frames = [(at, re.sub(r" \d+ ", " * ", rest, count=1)) for at, rest in reading.frames]
    return reading


def interface_numbers(packets):
    """The number of each interface among those of its link type."""
    link_types = {int(layers["frame"].get("frame.interface_id", 0)): layers["frame"]["frame.encap_type"]
                  for layers in packets}
    return {interface: sum(1 for other in link_types if other < interface and link_types[other] == link_type)
            for interface, link_type in link_types.items()}


def add_packet(reading, layers, numbers):
    frame = layers["frame"]
    seconds, _, fraction = frame["frame.time_epoch"].partition(".")
    at = int(seconds) * 1_000_000_000 + int(fraction.ljust(9, "0"))
    raw = bytes.fromhex(layers["frame_raw"][0])
    # can3, lin3, flexray3 and eth3 are channel 3; other interfaces are counted among those of their bus
    digits = re.fullmatch(r"(v?can|lin|flexray|eth)(\d+)", find(frame, "frame.interface_name") or "")
    channel = int(digits.group(2)) if digits else numbers[int(frame.get("frame.interface_id", 0))]
    can = layers.get("can") or layers.get("canfd")
    if int(frame["frame.cap_len"]) < int(frame["frame.len"]):
        reading.add_kind(at, "truncated")
    elif can:
        add_can_packet(reading, at, channel, can, raw)
    elif "lin" in layers:
        add_lin_packet(reading, at, channel, layers["lin"], raw)
    elif "flexray" in layers:
        add_flexray_packet(reading, at, channel, layers["flexray"], raw)
    elif frame["frame.protocols"].startswith("eth"):
        reading.add(at, "ethernet", channel, "-", "-", raw)
    else:
        reading.add_kind(at, "other")


def find(fields, name):
    """The value of a field, however deep it is."""
    for key, value in fields.items():
        if key == name:
            return value
        inner = find(value, name) if isinstance(value, dict) else None
        if inner is not None:
            return inner
    return None


def number(fields, name):
    return int(find(fields, name), 0)  # decimal or 0x..., as the field is


def is_set(fields, name):
    return find(fields, name) in ("1", "True")


def add_can_packet(reading, at, channel, fields, raw):
    if is_set(fields, "can.flags.err"):
        reading.add_kind(at, "error")
        return
    is_fd = find(fields, "canfd.flags.brs") is not None
    if is_set(fields, "can.flags.rtr") and not is_fd:
        reading.add_kind(at, "remote")
        return
    identifier = can_id(number(fields, "can.id"), is_set(fields, "can.flags.xtd"))
    length = number(fields, "can.len")
    # 4 bytes of identifier and 4 of length and flags, wherever the link layer's head ends
    start = find(fields, "can.len_raw")[1] + 4
    reading.add(at, "can", channel, identifier, "fd" if is_fd else "-", raw[start:start + length])


def add_lin_packet(reading, at, channel, fields, raw):
    if number(fields, "lin.message_type") != 0:
        reading.add_kind(at, "other")
    elif raw[7] & 0x1F:
        reading.add_kind(at, "error")
    else:
        length = number(fields, "lin.length")
        reading.add(at, "lin", channel, f"{number(fields, 'lin.frame_id'):02X}", "-", raw[8:8 + length])


def add_flexray_packet(reading, at, channel, fields, raw):
    if number(fields, "flexray.ti") != 1:
        reading.add_kind(at, "other")
        return
    errors = ("fcrc_err", "hcrc_err", "fes_err", "cod_err", "tss_viol")
    if any(is_set(fields, "flexray." + error) for error in errors):
        reading.add_kind(at, "error")
    elif not is_set(fields, "flexray.nfi"):
        reading.add_kind(at, "other")
    else:
        channel += is_set(fields, "flexray.ch")
        length = 2 * number(fields, "flexray.pl")
        reading.add(at, "flexray", channel, f"{number(fields, 'flexray.fid')}.{number(fields, 'flexray.cc')}", "-",
                    raw[7:7 + length])


def read_log2long(path):
    reading = read_python_can(path.with_suffix(""))
    reading.tells_fd = False
    return reading


def read_gvret(path):
    reading = Reading("csv module", 0, {"can"})
    with open(path, newline="") as file:
        for row in csv.DictReader(file):
            data = [int(row[f"D{index + 1}"], 16) for index in range(int(row["LEN"]))]
            reading.add(max(0, int(row["Time Stamp"])) * 1000, "can", int(row["Bus"]),
                        can_id(int(row["ID"], 16), row["Extended"] == "true"), "-", data)
    return reading


def read_busmaster(path):
    reading = Reading("columns", 0, {"can"})
    reading.is_absolute = False
    for line in path.read_text().splitlines():
        if not line.startswith("***"):
            at, _, channel, identifier, kind, _, *data = line.split()
            hours, minutes, seconds, milliseconds = map(int, at.split(":"))
            reading.add((((hours * 60 + minutes) * 60 + seconds) * 1000 + milliseconds) * 1_000_000, "can", int(channel),
                        can_id(int(identifier, 16), kind == "x"), "-", [int(byte, 16) for byte in data])
    return reading


READERS = {".blf": read_python_can, ".asc": read_python_can, ".trc": read_python_can, ".screen": read_log2long,
           ".mf4": read_asammdf, ".pcap": read_tshark, ".pcapng": read_tshark, ".cap": read_tshark}
# What files begin with whose ending does not tell their format.
BEGINS = {b"***BUSMASTER": read_busmaster, b"Time Stamp,ID,Extended,": read_gvret, b"(": read_python_can}


def read(path, judge=None):
    """The frames of a file, or None if no judge reads such files."""
    path = pathlib.Path(path)
    reader = read_tshark if judge == "tshark" else READERS.get(path.suffix.lower())
    if path.suffix in (".log", ".csv"):
        begin = path.read_bytes()[:100].lstrip()
        reader = next((reader for bytes_, reader in BEGINS.items() if begin.startswith(bytes_)), None)
    return reader(path) if reader else None
