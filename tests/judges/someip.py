#!/usr/bin/env python3
"""SOME/IP in Ethernet frames against another dissector.

someip.py PROGRAM FOLDER: writes captures with scapy to the folder, lets tshark dissect them, lets `rksignal decode`
decode them with definitions of every byte of every message, and compares service, method and payload of each message,
frame by frame. So it does with recordings in the folder that RKSIGNAL_RECORDINGS names. What `--strict` finds must be
found, too. Ends with 1 where they differ.
"""

import collections
import csv
import json
import os
import random
import struct
import subprocess
import sys
from decimal import Decimal
from pathlib import Path

from scapy.all import IP, TCP, UDP, Dot1AD, Dot1Q, Ether, IPv6, IPv6ExtHdrDestOpt, IPv6ExtHdrHopByHop, Raw, wrpcap

PORT = 30500
PORTS = (PORT, 29180, 16832)  # and those of the recordings
COOKIE = "0xffff0000"  # the magic cookie of a client
METHOD = 0x8001
MAX_BYTES = 40  # of a payload, that are compared


def message(random_, service, size, counted=8):
    """A message with a payload of `size` bytes; the length counts so many bytes of the header."""
    head = struct.pack(">HHIHHBBBB", service, METHOD, counted + size, 7, 1, 1, 1, 2, 0)
    return head + random_.randbytes(size)


def segmented(random_, service, size, session, step=64):
    """The same in segments of SOME/IP-TP."""
    payload = random_.randbytes(size)
    for offset in range(0, size, step):
        part = payload[offset : offset + step]
        more = offset + step < size
        head = struct.pack(">HHIHHBBBBI", service, METHOD, 12 + len(part), 7, session, 1, 1, 0x22, 0, offset | more)
        yield head + part


def envelopes(protocol):
    """Frames of the forms that are told apart."""
    ports = protocol(sport=PORT, dport=PORT)
    ether = Ether(src="02:00:00:00:00:01", dst="02:00:00:00:00:02")
    ip = IP(src="10.0.0.1", dst="10.0.0.2")
    ip6 = IPv6(src="fd00::1", dst="fd00::2")
    layers = [ip, Dot1Q(vlan=5) / ip, Dot1AD(vlan=6) / Dot1Q(vlan=5) / ip,
              Dot1Q(vlan=7) / Dot1Q(vlan=6) / Dot1Q(vlan=5) / ip, ip6,
              Dot1Q(vlan=5) / ip6 / IPv6ExtHdrHopByHop() / IPv6ExtHdrDestOpt()]
    return [ether / each / ports for each in layers]


def datagrams(random_):
    frames = []
    for envelope in envelopes(UDP):
        for count in range(1, 5):
            body = b"".join(message(random_, random_.choice((0x1234, 0x1235)), random_.randrange(1, 20)) for _ in range(count))
            frames.append(envelope / Raw(body))
    return frames


def transports(random_):
    """Messages in segments, in order and not, several at a time."""
    envelope = envelopes(UDP)[0]
    first = list(segmented(random_, 0x2000, 300, 1))
    second = list(segmented(random_, 0x2000, 200, 2))
    third = list(segmented(random_, 0x2001, 9000, 3, 1392))
    mixed = [part for pair in zip(first, second + [None]) for part in pair if part]
    return [envelope / Raw(part) for part in mixed[:4] + mixed[2:] + third]


def streams(random_):
    """Connections cut anywhere, with magic cookies, sent twice, and with sequence numbers that wrap around."""
    frames = []
    cookie = bytes.fromhex("FFFF000000000008DEADBEEF01010100")
    for number, envelope in enumerate(envelopes(TCP)):
        sequence = 0xFFFFFF00 + number
        envelope[TCP].sport = 1000 + number
        start = envelope.copy()
        start[TCP].flags, start[TCP].seq = "S", sequence
        frames.append(start)
        sequence += 1
        stream = b"".join((cookie if i % 7 == 0 else b"") +
                          message(random_, random_.choice((0x3000, 0x3001)), random_.randrange(1, 60))
                          for i in range(40))
        cut = []
        while stream:
            size = random_.choice((1, 5, 16, 17, 60, 100, 200))
            part = envelope.copy() / Raw(stream[:size])
            part[TCP].flags, part[TCP].seq = "PA", sequence % 2**32
            cut.append(part)
            sequence += len(stream[:size])
            stream = stream[size:]
        for at in range(5, len(cut) - 5, 9):
            cut[at], cut[at + 1] = cut[at + 1], cut[at]  # in another order
        for at in range(len(cut) - 3, 3, -11):
            cut.insert(at + 2, cut[at].copy())  # once more
        frames += cut
    return frames


def logger(random_):
    """Messages whose length counts from the end of the header, as the library has it."""
    body = lambda: b"".join(message(random_, random_.choice((0x4000, 0x4001)), random_.randrange(1, 9), 0) for _ in range(3))
    return [envelope / Raw(body() + bytes(20)) for envelope in envelopes(UDP)[:2] + envelopes(TCP)[:2] for _ in range(4)]


def dissect(path):
    """By time and identifier (service and method) the payloads of whole messages, as tshark has them."""
    fields = ["frame.time_epoch", "someip.messageid", "someip.payload", "someip.tp.offset", "someip.tp.reassembled.data"]
    command = ["tshark", "-r", path, "-Y", "someip", "-o", "tcp.reassemble_out_of_order:TRUE", "-T", "fields"]
    command += [part for port in PORTS for protocol in ("udp", "tcp") for part in ("-d", f"{protocol}.port=={port},someip")]
    command += [part for field in fields for part in ("-e", field)]
    output = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    messages = collections.defaultdict(list)
    for line in output.splitlines():
        time, identifiers, payloads, offset, whole = line.split("\t")
        if offset:  # a segment
            payloads = whole
        identifiers = [each for each in identifiers.split(",") if payloads and each != COOKIE]
        for identifier, payload in zip(identifiers, filter(None, payloads.split(",")), strict=True):
            messages[Decimal(time), int(identifier, 16)].append(payload[: 2 * MAX_BYTES])
    return messages


def decode(program, folder, path, identifiers, *options):
    """The same as `rksignal decode` has them, by definitions of each byte, and the summary."""
    signals = [{"instance": f"{identifier}.{byte}", "bits": 8,
                "positions": [{"ethSignalType": "SOME/IP", "startBit": 8 * byte, "serviceId": identifier >> 16,
                               "methodEventId": identifier & 0xFFFF}]}
               for identifier in sorted(identifiers) for byte in range(MAX_BYTES)]
    definitions = folder / "bytes.json"
    definitions.write_text(json.dumps({"ethernet": signals}))
    command = [program, "decode", *options, "--signals", definitions, path]
    run = subprocess.run(command, capture_output=True, text=True, check=True)
    messages = collections.defaultdict(list)
    for row in csv.DictReader(run.stdout.splitlines()):
        identifier, byte = row["instance"].split(".")
        payloads = messages[Decimal(row["time"]), int(identifier)]
        if byte == "0":
            payloads.append("")
        payloads[-1] += f"{int(row['raw']):02x}"
    return messages, run.stderr


def compare(program, folder, path, judge, identifiers):
    """Prints what differs from the judge, if there is one. Returns whether nothing does."""
    ours, summary = decode(program, folder, path, identifiers)
    strict, _ = decode(program, folder, path, identifiers, "--strict")
    keys = ours.keys() | judge.keys() if judge is not None else ()
    differing = [key for key in keys if judge.get(key) != ours.get(key)]
    # Of a message that is too short, the library reads what follows in the frame.
    missed = [key for key in strict if strict[key][0][:2] not in [payload[:2] for payload in ours.get(key, [])]]
    judged = {"tshark": judge or {}, "rksignal": ours, "strict": strict}
    counts = [f"{name} {sum(map(len, messages.values()))}" for name, messages in judged.items()]
    print(f"{Path(path).name}: messages: {', '.join(counts)}")
    for key in sorted(differing + missed)[:10]:
        print(f"  {key[0]} {key[1]:08x}: " + ", ".join(f"{name} {messages.get(key)}" for name, messages in judged.items()))
    print("".join(f"  {line}\n" for line in summary.splitlines() if line.startswith("SOME/IP")), end="")
    return not differing and not missed


if __name__ == "__main__":
    program, folder = sys.argv[1], Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    same = True
    for make in (datagrams, transports, streams, logger):
        path = str(folder / f"{make.__name__}.pcap")
        frames = make(random.Random(make.__name__))
        for number, frame in enumerate(frames, 1):
            frame.time = number
        wrpcap(path, frames)
        judge = dissect(path) if make is not logger else None
        identifiers = {identifier for _, identifier in judge} if judge else {0x40008001, 0x40018001}
        same = compare(program, folder, path, judge, identifiers) and judge != {} and same
    for path in sorted(Path(os.environ.get("RKSIGNAL_RECORDINGS", folder / "none")).glob("PcapPlusPlus/[Ss]ome*.pcapng")):
        judge = dissect(str(path))
        same = compare(program, folder, str(path), judge, {key[1] for key in judge} | {0xD05F8001}) and same
    sys.exit(0 if same else 1)
