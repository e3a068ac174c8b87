#!/usr/bin/env python3
"""FlexRay and Ethernet of ARXML files against a naive reader of the XML.

networks.py PROGRAM FOLDER FILE...: takes from each FILE, and from system descriptions that random_networks.py makes, by
XPath what lies where in which frames, writes an ASC log of FlexRay frames and a capture of Ethernet frames with random
payloads to the folder, decodes them naively and lets `rksignal decode` decode them, and compares all values. A folder
stands for all its ARXML files. Prints a table; ends with 1 where they differ.
"""

import collections
import csv
import random
import struct
import subprocess
import sys
from pathlib import Path

from lxml import etree
from scapy.all import IP, TCP, UDP, Dot1Q, Ether, Raw, wrpcap

import random_networks

FIRST_TIME = 1700000000
Field = collections.namedtuple("Field", "instance start bits big kind factor offset update")
# A place of a field: `frames` says which ones, the data begin at byte `at` of `container`.
Place = collections.namedtuple("Place", "frames container identifier at update field")


class Description:
    def __init__(self, path):
        self.root = etree.parse(str(path)).getroot()
        self.elements = {}
        for element in self.root.iter(etree.Element):
            element.tag = etree.QName(element).localname
        for element in self.root.iter("SHORT-NAME"):
            names = element.xpath("ancestor::*/SHORT-NAME/text()")
            self.elements["/" + "/".join(names)] = element.getparent()

    def target(self, element, path):
        """What the first reference at `path` leads to; None if there is none."""
        found = element.xpath(path) if element is not None else []
        return self.elements[found[0].text] if found else None

    def conversion(self, compu):
        """Factor and offset."""
        coefficients = compu.xpath(".//COMPU-NUMERATOR/V/text()") if compu is not None else []
        return (float(coefficients[1]), float(coefficients[0])) if coefficients else (1, 0)

    def kind(self, base, bits):
        encoding = base.findtext("BASE-TYPE-ENCODING") if base is not None else "NONE"
        return {"2C": "signed", "IEEE754": "float" if bits == 32 else "double"}.get(encoding, "unsigned")

    def fields(self, pdu):
        name = pdu.findtext("SHORT-NAME")
        for mapping in pdu.xpath("*/I-SIGNAL-TO-I-PDU-MAPPING"):
            signal = self.target(mapping, "I-SIGNAL-REF")
            if signal.xpath(".//DATA-TRANSFORMATION-REF"):
                yield from self.serialized(name, signal)
                continue
            bits = int(signal.findtext("LENGTH"))
            compu = self.target(self.target(signal, "SYSTEM-SIGNAL-REF"), ".//COMPU-METHOD-REF")
            update = mapping.findtext("UPDATE-INDICATION-BIT-POSITION")
            yield Field(f"{name}.{signal.findtext('SHORT-NAME')}", int(mapping.findtext("START-POSITION")), bits,
                        mapping.findtext("PACKING-BYTE-ORDER").endswith("FIRST"),
                        self.kind(self.target(signal, ".//BASE-TYPE-REF"), bits), *self.conversion(compu),
                        None if update is None else int(update))

    def serialized(self, name, signal):
        """The elements of a structure, one behind the other, from behind the header of SOME/IP."""
        system = signal.findtext("SYSTEM-SIGNAL-REF")
        mapping = self.root.xpath(f"//SENDER-RECEIVER-TO-SIGNAL-MAPPING[SYSTEM-SIGNAL-REF='{system}']")[0]
        data = self.target(self.target(mapping, ".//TARGET-DATA-PROTOTYPE-REF"), "TYPE-TREF")
        chain = self.target(self.target(signal, ".//DATA-TRANSFORMATION-REF"), ".//TRANSFORMER-CHAIN-REF")
        big = chain.xpath(".//BYTE-ORDER/text()")[0].endswith("FIRST")
        at = 0
        for label, element in self.leaves("", data):
            base = self.target(element, ".//BASE-TYPE-REF")
            bits = int(base.findtext("BASE-TYPE-SIZE"))
            compu = self.target(element, ".//COMPU-METHOD-REF")
            yield Field(f"{name}.{label}", 8 * at + (7 if big else 0), bits, big, self.kind(base, bits),
                        *self.conversion(compu), None)
            at += bits // 8

    def leaves(self, label, element):
        join = lambda name: f"{label}_{name}" if label else name
        category = element.findtext("CATEGORY")
        children = element.xpath("SUB-ELEMENTS/IMPLEMENTATION-DATA-TYPE-ELEMENT")
        if category == "TYPE_REFERENCE":
            yield from self.leaves(label, self.target(element, ".//IMPLEMENTATION-DATA-TYPE-REF"))
        elif category == "ARRAY":
            for index in range(int(children[0].findtext("ARRAY-SIZE"))):
                inner = self.target(children[0], ".//IMPLEMENTATION-DATA-TYPE-REF")
                yield from self.leaves(join(str(index)), inner if inner is not None else children[0])
        elif category == "STRUCTURE":
            for child in children:
                yield from self.leaves(join(child.findtext("SHORT-NAME")), child)
        else:
            yield label, element


def flexray_places(description):
    """`frames` are the channel (1 A, 2 B), the slot, the base cycle, the repetition and the length."""
    for triggering in description.root.xpath("//FLEXRAY-PHYSICAL-CHANNEL/FRAME-TRIGGERINGS/FLEXRAY-FRAME-TRIGGERING"):
        channel = "AB".index(triggering.xpath("../../CHANNEL-NAME/text()")[0][-1]) + 1
        frame = description.target(triggering, "FRAME-REF")
        for timing in triggering.xpath(".//FLEXRAY-ABSOLUTELY-SCHEDULED-TIMING"):
            counter = timing.xpath(".//CYCLE-COUNTER/text()")
            cycles = ((int(counter[0]), 64) if counter else
                      (int(timing.xpath(".//BASE-CYCLE/text()")[0]),
                       int(timing.xpath(".//CYCLE-REPETITION/CYCLE-REPETITION/text()")[0].rsplit("-", 1)[1])))
            frames = (channel, int(timing.findtext("SLOT-ID")), *cycles, int(frame.findtext("FRAME-LENGTH")))
            for mapping in frame.iter("PDU-TO-FRAME-MAPPING"):
                pdu = description.target(mapping, "PDU-REF")
                at = int(mapping.findtext("START-POSITION")) // 8
                update = mapping.findtext("UPDATE-INDICATION-BIT-POSITION")
                for field in description.fields(pdu):
                    bit = int(update) if update is not None else None if field.update is None else 8 * at + field.update
                    yield Place(frames, None, None, at, bit, field)
                for reference in pdu.iter("CONTAINED-PDU-TRIGGERING-REF"):
                    contained = description.target(description.elements[reference.text], "I-PDU-REF")
                    header = int(contained.xpath(".//HEADER-ID-SHORT-HEADER/text()")[0])
                    for field in description.fields(contained):
                        yield Place(frames, "short", header, 0, None, field)


def ethernet_places(description):
    """`frames` are source, destination (address and port), protocol and VLAN identifier."""
    def socket(element):
        endpoint = element.find("APPLICATION-ENDPOINT")
        address = description.target(endpoint, "NETWORK-ENDPOINT-REF").xpath(".//IPV-4-ADDRESS/text()")[0]
        port = endpoint.xpath(".//PORT-NUMBER")[0]
        return address, int(port.text), TCP if port.getparent().tag.startswith("TCP") else UDP

    for identifier in description.root.iter("SOCKET-CONNECTION-IPDU-IDENTIFIER"):
        channel = identifier.xpath("ancestor::ETHERNET-PHYSICAL-CHANNEL")[0]
        server = description.target(identifier, "ancestor::SOCKET-CONNECTION-BUNDLE/SERVER-PORT-REF")
        client = description.target(identifier, "../../CLIENT-PORT-REF")
        triggering = description.target(identifier, "PDU-TRIGGERING-REF")
        port = triggering.xpath(".//I-PDU-PORT-REF/text()")[0]
        if port.startswith(client.findtext("CONNECTOR-REF") + "/") == port.endswith("/Out"):
            server, client = client, server
        pdu = description.target(triggering, "I-PDU-REF")
        vlan = channel.xpath("VLAN/VLAN-IDENTIFIER/text()")
        source, destination = socket(server), socket(client)
        header = identifier.findtext("HEADER-ID")
        frames = (source[:2], destination[:2], source[2], int(vlan[0]) if vlan else None)
        serialized = any(description.target(mapping, "I-SIGNAL-REF").xpath(".//DATA-TRANSFORMATION-REF")
                         for mapping in pdu.xpath("*/I-SIGNAL-TO-I-PDU-MAPPING"))
        container = "someip" if serialized else None if header is None else "long"
        for field in description.fields(pdu):
            yield Place(frames, container, header and int(header), 0, None, field)


def extract(data, at, field):
    """The raw word, or nothing if it reaches beyond the data."""
    data = data[at:]
    first = field.start // 8 * 8 + 7 - field.start % 8 if field.big else field.start
    if first + field.bits > 8 * len(data):
        return None
    shift = 8 * len(data) - first - field.bits if field.big else first
    return int.from_bytes(data, "big" if field.big else "little") >> shift & (1 << field.bits) - 1


def physical(field, raw):
    if field.kind in ("float", "double"):
        code, size = (">f", 4) if field.kind == "float" else (">d", 8)
        raw = struct.unpack(code, raw.to_bytes(size, "big"))[0]
    elif field.kind == "signed" and raw >> field.bits - 1:
        raw -= 1 << field.bits
    return raw * field.factor + field.offset


def values(places, payload, containers):
    """Instances and values of a payload whose containers are (kind, identifier): data."""
    for place in places:
        if place.update is not None and not payload[place.update // 8] >> place.update % 8 & 1:
            continue
        data = payload if place.container is None else containers.get((place.container, place.identifier))
        raw = None if data is None else extract(data, place.at, place.field)
        if raw is not None:
            yield place.field.instance, physical(place.field, raw)


def pack(random_, places, kind):
    """A payload of all containers of a kind in a random order, some of them left out, some unknown, and these."""
    header = {"short": lambda i, n: (i << 8 | n).to_bytes(4, "big"), "long": lambda i, n: struct.pack(">II", i, n),
              "someip": lambda i, n: struct.pack(">IIIBBBB", i, n + 8, 1, 1, 1, 2, 0)}[kind]
    identifiers = sorted({place.identifier for place in places if place.container == kind})
    chosen = [each for each in identifiers + [0x77777] if random_.random() < 0.8]
    random_.shuffle(chosen)
    containers = {(kind, each): random_.randbytes(max([place.field.start // 8 + place.field.bits // 8 + 2 for place in places
                                                       if place.identifier == each], default=5)) for each in chosen}
    return b"".join(header(each, len(data)) + data for (_, each), data in containers.items()), containers


def flexray_log(random_, places, path):
    """Writes frames of each slot in each of its cycles. Returns the expected values by line."""
    by_frame = collections.defaultdict(list)
    for place in places:
        channel, slot, base, repetition, length = place.frames
        for cycle in range(base, 64, repetition):
            by_frame[channel, slot, cycle, length].append(place)
    expected = []
    with open(path, "w") as log:
        log.write("date Tue Nov 14 10:13:20 pm 2023\nbase hex  timestamps absolute\ninternal events logged\n")
        for number, ((channel, slot, cycle, length), placed) in enumerate(sorted(by_frame.items(), key=lambda each: each[0]), 1):
            payload, containers = random_.randbytes(length), {}
            if any(place.container for place in placed):
                payload, containers = pack(random_, placed, "short")
                payload += bytes(2 - len(payload) % 2)
            octets = " ".join(f"{octet:02x}" for octet in payload)
            log.write(f"{number}.000000 Fr RMSG 0 0 1 {channel:x} {slot:x} {cycle:x} Tx 0 0 5 0 0 frame "
                      f"{len(payload):x} {len(payload):x} {octets}\n")
            expected += [(number, *each) for each in values(placed, payload, containers)]
    return expected, len(by_frame)


def ethernet_capture(random_, places, path):
    """Writes datagrams of each connection. Returns the expected values by packet."""
    by_frame = collections.defaultdict(list)
    for place in places:
        by_frame[place.frames].append(place)
    packets, expected = [], []
    for frames, placed in by_frame.items():
        source, destination, protocol, vlan = frames
        for _ in range(8):
            containers = {}
            for kind in sorted({place.container or "" for place in placed}):
                part, found = pack(random_, placed, kind) if kind else (random_.randbytes(64), {})
                payload, containers = part, found
                packet = Ether(src="02:00:00:00:00:01", dst="02:00:00:00:00:02")
                packet = packet / Dot1Q(vlan=vlan) if vlan is not None else packet
                packet = packet / IP(src=source[0], dst=destination[0]) / protocol(sport=source[1], dport=destination[1])
                packets.append(packet / Raw(payload))
                packets[-1].time = FIRST_TIME + len(packets)
                asked = [place for place in placed if (place.container or "") == kind]
                expected += [(len(packets), *each) for each in values(asked, payload, containers)]
    if packets:
        wrpcap(str(path), packets)
    return expected, len(packets)


def decode(program, definitions, trace):
    command = [program, "decode", "--definitions", definitions, trace]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    if run.returncode not in (0, 1):
        raise RuntimeError(run.stderr)
    rows = csv.DictReader(run.stdout.splitlines())
    return [(round(float(row["time"])) - FIRST_TIME, row["instance"].split("#")[0].split("@")[0], float(row["value"]))
            for row in rows], run.stderr


def counted(rows):
    """Values are equal in 12 digits; NaN is equal to NaN."""
    return collections.Counter((number, instance, f"{value:.12g}") for number, instance, value in rows)


def compare(program, folder, path, name):
    random_ = random.Random(name)
    description = Description(path)
    same = True
    for bus, places_of, write, ending in (("FlexRay", flexray_places, flexray_log, "asc"),
                                          ("Ethernet", ethernet_places, ethernet_capture, "pcap")):
        places = list(places_of(description))
        if not places:
            continue
        trace = folder / f"{name}.{ending}"
        expected, frames = write(random_, places, trace)
        rows, messages = decode(program, path, trace)
        theirs, ours = counted(expected), counted(rows)
        different = list((theirs - ours).elements()) + list((ours - theirs).elements())
        remarks = sum(str(path) in line for line in messages.splitlines())
        signals = len({place.field.instance for place in places})
        print(f"| {name} | {bus} | {signals} | {frames} | {len(expected)} | {len(different)} | {remarks} "
              f"| {min(different, default='')} |")
        same = same and not different and bool(expected)
    return same


if __name__ == "__main__":
    program, folder = sys.argv[1], Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    files = [each for argument in map(Path, sys.argv[3:])
             for each in (sorted(argument.rglob("*.arxml")) if argument.is_dir() else [argument])]
    for seed in range(4):
        files.append(folder / f"random{seed}.arxml")
        files[-1].write_text(random_networks.system(random.Random(seed)))
    print("| file | bus | signals | frames | values | different | remarks | |\n|---|---|---|---|---|---|---|---|")
    sys.exit(0 if all([compare(program, folder, path, path.stem) for path in files]) else 1)
