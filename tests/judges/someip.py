#!/usr/bin/env python3
"""SOME/IP in Ethernet frames against another dissector.

someip.py PROGRAM FOLDER: writes captures with scapy to the folder, lets tshark dissect them, lets `rksignal decode`
decode them with definitions of every byte of every message, and compares service, method and payload of each message,
frame by frame. What `--strict` finds must be found, too. Ends with 1 where they differ.
"""

import collections
import csv
import json
import random
import struct
import subprocess
import sys
from pathlib import Path

from scapy.all import IP, TCP, UDP, Dot1AD, Dot1Q, Ether, IPv6, IPv6ExtHdrDestOpt, IPv6ExtHdrHopByHop, Raw, wrpcap

PORT = 30500
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
    return [
        ether / ip / ports,
        ether / Dot1Q(vlan=5) / ip / ports,
        ether / Dot1AD(vlan=6) / Dot1Q(vlan=5) / ip / ports,
        ether / Dot1Q(vlan=7) / Dot1Q(vlan=6) / Dot1Q(vlan=5) / ip / ports,
        ether / ip6 / ports,
        ether / Dot1Q(vlan=5) / ip6 / IPv6ExtHdrHopByHop() / IPv6ExtHdrDestOpt() / ports,
    ]


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
        start[TCP].flags = "S"
        start[TCP].seq = sequence
        frames.append(start)
        sequence += 1
        stream = b"".join(
            (cookie if i % 7 == 0 else b"") + message(random_, random_.choice((0x3000, 0x3001)), random_.randrange(1, 60))
            for i in range(40)
        )
        cut = []
        while stream:
            size = random_.choice((1, 5, 16, 17, 60, 100, 200))
            part = envelope.copy() / Raw(stream[:size])
            part[TCP].seq = sequence % 2**32
            part[TCP].flags = "PA"
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
    """By frame and service the payloads of whole messages, as tshark has them."""
    fields = ["frame.number", "someip.serviceid", "someip.payload", "someip.messagetype", "someip.tp.reassembled.data"]
    command = ["tshark", "-r", path, "-Y", "someip", "-T", "fields"]
    command += ["-d", f"udp.port=={PORT},someip", "-d", f"tcp.port=={PORT},someip"]
    command += ["-o", "tcp.reassemble_out_of_order:TRUE"] + [part for field in fields for part in ("-e", field)]
    output = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    messages = collections.defaultdict(list)
    for line in output.splitlines():
        frame, services, payloads, types, whole = line.split("\t")
        if types == "0x22":  # a segment
            if whole:
                messages[int(frame), int(services, 16)].append(whole[: 2 * MAX_BYTES])
            continue
        services = [service for service in services.split(",") if service != "0xffff"]  # magic cookies
        for service, payload in zip(services, filter(None, payloads.split(",")), strict=True):
            messages[int(frame), int(service, 16)].append(payload[: 2 * MAX_BYTES])
    return messages


def decode(program, folder, path, *options):
    """The same as `rksignal decode` has them, by definitions of each byte, and the summary."""
    services = (0x1234, 0x1235, 0x2000, 0x2001, 0x3000, 0x3001, 0x4000, 0x4001)
    signals = [
        {
            "instance": f"{service:04x}.{byte}",
            "bits": 8,
            "endian": "big",
            "positions": [
                {
                    "ethSignalType": "SOME/IP",
                    "startBit": 8 * byte + 7,
                    "serviceId": service,
                    "methodEventId": METHOD,
                    "destinationPort": PORT,
                }
            ],
        }
        for service in services
        for byte in range(MAX_BYTES)
    ]
    definitions = folder / "bytes.json"
    definitions.write_text(json.dumps({"ethernet": signals}))
    command = [program, "decode", *options, "--signals", definitions, path]
    run = subprocess.run(command, capture_output=True, text=True, check=True)
    messages = collections.defaultdict(list)
    for row in csv.DictReader(run.stdout.splitlines()):
        service, byte = row["instance"].split(".")
        payloads = messages[round(float(row["time"])), int(service, 16)]
        if byte == "0":
            payloads.append("")
        payloads[-1] += f"{int(row['raw']):02x}"
    return messages, run.stderr


def compare(program, folder, make):
    """Prints what differs. Returns whether nothing does."""
    name = make.__name__
    path = str(folder / f"{name}.pcap")
    frames = make(random.Random(name))
    for number, frame in enumerate(frames, 1):
        frame.time = number
    wrpcap(path, frames)
    ours, summary = decode(program, folder, path)
    strict, _ = decode(program, folder, path, "--strict")
    judge = {} if make is logger else dissect(path)
    count = lambda messages: sum(len(payloads) for payloads in messages.values())
    differing = [key for key in judge.keys() | (ours.keys() if judge else ()) if judge.get(key) != ours.get(key)]
    # Of a message that is too short, the library reads what follows in the frame.
    missed = [key for key in strict if strict[key][0][:2] not in [payload[:2] for payload in ours.get(key, [])]]
    print(f"{name}: {len(frames)} frames, messages: tshark {count(judge)}, rksignal {count(ours)}, strict {count(strict)}")
    for key in sorted(differing + missed)[:10]:
        print(f"  frame {key[0]} service {key[1]:04x}: tshark {judge.get(key)}, rksignal {ours.get(key)}, strict {strict.get(key)}")
    print("".join(f"  {line}\n" for line in summary.splitlines() if line.startswith("SOME/IP")), end="")
    return count(ours) > 0 and not differing and not missed


if __name__ == "__main__":
    target = Path(sys.argv[2])
    target.mkdir(parents=True, exist_ok=True)
    results = [compare(sys.argv[1], target, make) for make in (datagrams, transports, streams, logger)]
    sys.exit(0 if all(results) else 1)
