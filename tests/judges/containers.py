#!/usr/bin/env python3
"""CAN frames of ARXML files, with containers, secured and multiplexed PDUs, against a naive reader of the XML.

containers.py PROGRAM FOLDER PATH...: lists by XPath which signals the frames of each PATH and of random system
descriptions have and where, writes a candump log of random payloads to the folder, decodes it bit by bit and compares
with all rows of `rksignal decode`. A folder stands for all its ARXML files. Prints a table; ends with 1 where they
differ.
"""

import collections
import csv
import random
import subprocess
import sys
from pathlib import Path

from lxml import etree

PAYLOADS = 24  # of each PDU
DESCRIPTIONS = 8
HEADERS = {"SHORT-HEADER": (3, 1), "LONG-HEADER": (4, 4)}  # bytes of identifier and length
# `when`: (start bit, bits, big, values) of the multiplexers above
Signal = collections.namedtuple("Signal", "name start bits big signed factor offset when")


def bits_of(start, bits, big):
    """Places of the bits, counted from the most significant of each byte, the most significant bit first."""
    if big:
        return range(start // 8 * 8 + 7 - start % 8, start // 8 * 8 + 7 - start % 8 + bits)
    return [bit // 8 * 8 + 7 - bit % 8 for bit in range(start + bits - 1, start - 1, -1)]


def whole(text):
    return int(text, 8) if text[0] == "0" and text.isdigit() else int(text, 0)


def raw_of(data, start, bits, big):
    text = "".join(f"{byte:08b}" for byte in data)
    return int("".join(text[bit] for bit in bits_of(start, bits, big)), 2)


class Description:
    def __init__(self, path):
        self.root = etree.parse(str(path)).getroot()
        for element in self.root.iter(etree.Element):
            element.tag = etree.QName(element).localname
        self.elements = {}
        for name in self.root.iter("SHORT-NAME"):
            self.elements["/" + "/".join(name.xpath("ancestor::*/SHORT-NAME/text()"))] = name.getparent()

    def target(self, element, path):
        """What the first reference at `path` leads to; None if there is none, or it leads nowhere."""
        found = element.xpath(path) if element is not None else []
        if not found:
            return None
        text = found[0].text
        base = found[0].get("BASE")
        if not text.startswith("/"):
            wanted = f"SHORT-LABEL='{base}'" if base else "IS-DEFAULT='true'"
            text = found[0].xpath(f"ancestor::AR-PACKAGE/REFERENCE-BASES/REFERENCE-BASE[{wanted}]/PACKAGE-REF")[-1].text + "/" + text
        return self.elements.get(text)

    def signals(self, pdu, at, frame, message, when=()):
        """Those of a PDU whose first byte is number `at`."""
        number = lambda name: whole(pdu.findtext(name))
        if pdu.tag == "MULTIPLEXED-I-PDU":
            big = (pdu.findtext("SELECTOR-FIELD-BYTE-ORDER") or "").endswith("FIRST")
            selector = (8 * at + number("SELECTOR-FIELD-START-POSITION"), number("SELECTOR-FIELD-LENGTH"), big)
            frame["selectors"] += 1
            yield Signal(f"{frame['name']}_selector{frame['selectors']}", *selector, False, 1, 0, when)
            codes = collections.defaultdict(list)
            for alternative in pdu.iter("DYNAMIC-PART-ALTERNATIVE"):
                codes[self.target(alternative, "I-PDU-REF")].append(whole(alternative.findtext("SELECTOR-FIELD-CODE")))
            for part, values in codes.items():
                for signal in self.signals(part, at, frame, message, (*when, (*selector, values))):
                    if signal[1:3] != selector[:2]:
                        yield signal
            for part in pdu.xpath("STATIC-PARTS/STATIC-PART|STATIC-PART[I-PDU-REF]"):
                yield from self.signals(self.target(part, "I-PDU-REF"), at, frame, message, when)
        elif pdu.tag == "SECURED-I-PDU":
            payload = self.target(self.target(pdu, "PAYLOAD-REF"), "I-PDU-REF")
            yield from self.signals(payload, at, frame, message, when)
            first = 8 * (at + whole(payload.findtext("LENGTH")))
            for name, reference, length in (("Freshness", "FRESHNESS", "FRESHNESS-VALUE"),
                                            ("Authenticator", "AUTHENTICATION", "AUTH-INFO")):
                bits = int(self.target(pdu, reference + "-PROPS-REF").findtext(length + "-TX-LENGTH"))
                piece = 0
                while bits > 0:
                    piece += 1
                    width = min(bits, 64 - first % 8)
                    suffix = f"_{piece}" if piece > 1 else ""
                    yield Signal(f"{message}_{name}{suffix}", first // 8 * 8 + 7 - first % 8, width, True, False, 1, 0, when)
                    first, bits = first + width, bits - width
        else:
            for mapping in pdu.xpath("*/I-SIGNAL-TO-I-PDU-MAPPING"):
                signal = self.target(mapping, "I-SIGNAL-REF|SIGNAL-REF")
                system = self.target(signal, "SYSTEM-SIGNAL-REF")
                start = mapping.findtext("START-POSITION")
                if signal is None or start is None or (system is not None and system.tag != "SYSTEM-SIGNAL"):
                    continue
                kind = self.target(signal, "NETWORK-REPRESENTATION-PROPS//BASE-TYPE-REF")
                encoding = kind.findtext("BASE-TYPE-ENCODING") if kind is not None else "NONE"
                if encoding == "IEEE754":
                    continue  # left to the other judge
                length = signal.findtext("LENGTH") or system.findtext("LENGTH")
                yield Signal(signal.findtext("SHORT-NAME"), 8 * at + whole(start), whole(length),
                             (mapping.findtext("PACKING-BYTE-ORDER") or "").endswith("FIRST"),
                             encoding in ("2C", "1C", "SM"), *self.line(signal, system), when)

    def line(self, signal, system):
        """Factor and offset."""
        compu = self.target(signal, ".//COMPU-METHOD-REF")
        compu = self.target(system, ".//COMPU-METHOD-REF") if compu is None else compu
        compu = self.target(self.target(system, "DATA-TYPE-REF"), ".//COMPU-METHOD-REF") if compu is None else compu
        for scale in compu.iter("COMPU-RATIONAL-COEFFS") if compu is not None else []:
            above, below = ([float(v.text) for v in scale.findall(f"{part}/V")] for part in ("COMPU-NUMERATOR", "COMPU-DENOMINATOR"))
            if len(above) == 2 and len(below) == 1:
                return above[1] / below[0], above[0] / below[0]
        return 1, 0

    def messages(self):
        """(identifier, extended, header, its identifier, length, name, signals) of each frame and PDU with a header."""
        for triggering in self.root.iter("CAN-FRAME-TRIGGERING"):
            element = self.target(triggering, "FRAME-REF")
            name = element.findtext("SHORT-NAME")
            frame = {"name": name, "selectors": 0}
            fixed = []
            has_header = False
            identity = (whole(triggering.findtext("IDENTIFIER")), triggering.findtext("CAN-ADDRESSING-MODE") == "EXTENDED")
            for mapping in element.iter("PDU-TO-FRAME-MAPPING"):
                pdu = self.target(mapping, "PDU-REF")
                at = whole(mapping.findtext("START-POSITION") or "0") // 8
                header = pdu.findtext("HEADER-TYPE")
                if pdu.tag != "CONTAINER-I-PDU":
                    taken = {signal.name for signal in fixed}
                    for signal in self.signals(pdu, at, frame, name):
                        free = f"{pdu.findtext('SHORT-NAME')}_{signal.name}" if signal.name in taken else signal.name
                        fixed.append(signal._replace(name=free))
                for reference in pdu.xpath("CONTAINED-PDU-TRIGGERING-REFS/CONTAINED-PDU-TRIGGERING-REF"):
                    contained = self.target(self.elements[reference.text], "I-PDU-REF")
                    properties = contained.find("CONTAINED-I-PDU-PROPS")
                    if header == "NO-HEADER":
                        own = contained.findtext("SHORT-NAME")
                        fixed += self.signals(contained, at + int(properties.findtext("OFFSET")), frame, own)
                        continue
                    has_header = True
                    identifier = properties.findtext("HEADER-ID-" + header) if properties is not None else None
                    if identifier is not None:
                        own = contained.findtext("SHORT-NAME")
                        yield (*identity, header, whole(identifier), whole(contained.findtext("LENGTH")), own,
                               list(self.signals(contained, 0, frame, own)))
            if fixed or not has_header:
                yield (*identity, None, None, whole(element.findtext("FRAME-LENGTH")), name, fixed)


def expected_rows(data, message, signals):
    rows = {}
    for signal in signals:
        present = all(raw_of(data, start, bits, big) in values for start, bits, big, values in signal.when)
        if present and max(bits_of(signal.start, signal.bits, signal.big)) < 8 * len(data):
            raw = raw_of(data, signal.start, signal.bits, signal.big)
            raw -= (raw >> signal.bits - 1 & 1) << signal.bits if signal.signed else 0
            rows[f"{message}.{signal.name}"] = (str(raw), raw * signal.factor + signal.offset)
    return rows


def frames_of(description, draw):
    """Each payload with what is expected of it; those of containers hold the PDU between two unknown ones."""
    for identifier, extended, header, pdu, length, name, signals in description.messages():
        for _ in range(PAYLOADS):
            data = bytearray(draw.randbytes(length))
            for start, bits, big, values in draw.choice(signals).when if signals else ():
                for bit, digit in zip(bits_of(start, bits, big), f"{draw.choice(values):0{bits}b}"):
                    data[bit // 8] = data[bit // 8] & ~(128 >> bit % 8) | int(digit) * (128 >> bit % 8)
            payload = bytes(data)
            if header:
                sizes = HEADERS[header]
                chunk = lambda number, content: number.to_bytes(sizes[0], "big") + len(content).to_bytes(sizes[1], "big") + content
                payload = chunk(0xFFFFF0, draw.randbytes(2)) + chunk(pdu, payload) + chunk(0xFFFFF1, b"")
            is_fd = header or length > 8
            yield (f"can0 {identifier:0{8 if extended else 3}X}{'##0' if is_fd else '#'}{payload.hex()}",
                   expected_rows(bytes(data), name, signals))


def compare(program, folder, path):
    """(frames, values, differences)"""
    frames = list(frames_of(Description(path), random.Random(path.name)))
    log = folder / (path.stem + ".log")
    log.write_text("".join(f"({number}.000000) {frame}\n" for number, (frame, _) in enumerate(frames)))
    run = subprocess.run([program, "decode", "--definitions", path, log], capture_output=True, text=True, check=False)
    found = collections.defaultdict(dict)
    for row in csv.DictReader(run.stdout.splitlines()):
        found[int(float(row["time"]))][row["instance"]] = (row["raw"], float(row["value"]))
    values = differences = 0
    for number, (frame, expected) in enumerate(frames):
        ours = {name: row for name, row in found[number].items() if "." not in row[0] and not row[0].startswith("0x")}
        close = lambda a, b: a is not None and a[0] == b[0] and abs(a[1] - b[1]) <= 1e-9 * max(1, abs(b[1]))
        wrong = [name for name, row in expected.items() if not close(ours.get(name), row)] + [*(ours.keys() - expected.keys())]
        values += len(expected)
        differences += len(wrong)
        if wrong and differences <= 5:
            print(f"{path}: {frame}: {wrong[0]}: expected {expected.get(wrong[0])}, found {ours.get(wrong[0])}", file=sys.stderr)
    return len(frames), values, differences


# What follows writes random system descriptions.

def element(tag, content):
    return f"<{tag}>{content}</{tag}>"


def named(tag, name, content=""):
    return element(tag, element("SHORT-NAME", name) + content)


class Writer:
    def __init__(self, draw):
        self.draw = draw
        self.elements = []
        self.count = 0

    def add(self, tag, content):
        self.count += 1
        name = f"{tag[0]}{self.count}"
        self.elements.append(named(tag, name, content))
        return "/p/" + name

    def plain(self, length, properties, free_from=0):
        """Fields one behind the other, in both byte orders."""
        mappings = ""
        bit = free_from
        while True:
            bit += self.draw.randrange(6)
            bits = self.draw.randint(1, 40)
            if bit + bits > 8 * length:
                break
            big = self.draw.random() < 0.5
            start = bit // 8 * 8 + 7 - bit % 8 if big else bit
            if not big and bit % 8:
                start = bit = (bit + 7) // 8 * 8
                bits = 8 * self.draw.randint(1, 3)
            elif not big:
                bits = 8 * self.draw.randint(1, 5)
            if bit + bits > 8 * length:
                break
            signal = self.add("I-SIGNAL", element("LENGTH", bits) + element("NETWORK-REPRESENTATION-PROPS", element(
                "SW-DATA-DEF-PROPS-VARIANTS", element("SW-DATA-DEF-PROPS-CONDITIONAL", element(
                    "BASE-TYPE-REF", "/p/" + self.draw.choice(["signed", "unsigned"])) + element("COMPU-METHOD-REF", "/p/method")))))
            mappings += named("I-SIGNAL-TO-I-PDU-MAPPING", f"M{bit}", element("I-SIGNAL-REF", signal) + element(
                "PACKING-BYTE-ORDER", "MOST-SIGNIFICANT-BYTE-" + ("FIRST" if big else "LAST")) + element("START-POSITION", start))
            bit += bits
        return self.add("I-SIGNAL-I-PDU", element("LENGTH", length) + properties + element("I-SIGNAL-TO-PDU-MAPPINGS", mappings))

    def multiplexed(self, length, properties):
        alternatives = "".join(element("DYNAMIC-PART-ALTERNATIVE", element("I-PDU-REF", self.plain(length, "", 8)) +
                                       element("SELECTOR-FIELD-CODE", code)) for code in self.draw.sample(range(8), 3))
        return self.add("MULTIPLEXED-I-PDU", element("LENGTH", length) + properties + element("DYNAMIC-PARTS", element(
            "DYNAMIC-PART", element("DYNAMIC-PART-ALTERNATIVES", alternatives))) + element(
                "SELECTOR-FIELD-BYTE-ORDER", "MOST-SIGNIFICANT-BYTE-FIRST") + element(
                    "SELECTOR-FIELD-LENGTH", 3) + element("SELECTOR-FIELD-START-POSITION", 6))

    def secured(self, length, properties):
        payload = self.draw.randint(1, length - 3)
        inner = self.draw.choice([self.plain, self.multiplexed])(payload, "")
        freshness = self.draw.choice([0, 3, 8])
        props = (self.add("SECURE-COMMUNICATION-FRESHNESS-PROPS", element("FRESHNESS-VALUE-TX-LENGTH", freshness)),
                 self.add("SECURE-COMMUNICATION-AUTHENTICATION-PROPS",
                          element("AUTH-INFO-TX-LENGTH", self.draw.randint(1, 8 * (length - payload) - freshness))))
        return self.add("SECURED-I-PDU", element("LENGTH", length) + properties + element("FRESHNESS-PROPS-REF", props[0]) +
                        element("AUTHENTICATION-PROPS-REF", props[1]) + element("PAYLOAD-REF", self.triggering(inner)))

    def triggering(self, pdu):
        return self.add("PDU-TRIGGERING", element("I-PDU-REF", pdu))

    def any(self, length, properties=""):
        return self.draw.choice([self.plain, self.plain, self.multiplexed, self.secured])(length, properties)

    def container(self, header):
        references = ""
        at = 0
        for _ in range(3):
            length = self.draw.randint(4, 20)
            properties = (element("OFFSET", at) if header == "NO-HEADER" else
                          element("HEADER-ID-" + header, hex(self.draw.randrange(1 << 23))))
            contained = self.any(length, element("CONTAINED-I-PDU-PROPS", properties))
            references += element("CONTAINED-PDU-TRIGGERING-REF", self.triggering(contained))
            at += length
        return self.add("CONTAINER-I-PDU", element("LENGTH", 64) + element("HEADER-TYPE", header) +
                        element("CONTAINED-PDU-TRIGGERING-REFS", references))

    def frame(self, number):
        kind = self.draw.choice(["SHORT-HEADER", "LONG-HEADER", "NO-HEADER", None])
        pdus = [(0, self.container(kind))] if kind else [(0, self.any(20)), (20, self.any(40))]
        mappings = "".join(named("PDU-TO-FRAME-MAPPING", f"M{at}", element("PDU-REF", pdu) + element("START-POSITION", 8 * at))
                           for at, pdu in pdus)
        frame = self.add("CAN-FRAME", element("FRAME-LENGTH", 64) + element("PDU-TO-FRAME-MAPPINGS", mappings))
        return named("CAN-FRAME-TRIGGERING", f"T{number}", element("FRAME-REF", frame) + element(
            "CAN-ADDRESSING-MODE", "EXTENDED") + element("IDENTIFIER", 0x100 + number))

    def system(self):
        for name, encoding in (("signed", "2C"), ("unsigned", "NONE")):
            self.elements.append(named("SW-BASE-TYPE", name, element("BASE-TYPE-ENCODING", encoding)))
        self.elements.append(named("COMPU-METHOD", "method", "<COMPU-INTERNAL-TO-PHYS><COMPU-SCALES><COMPU-SCALE>"
            "<COMPU-RATIONAL-COEFFS><COMPU-NUMERATOR><V>-3</V><V>0.5</V></COMPU-NUMERATOR><COMPU-DENOMINATOR><V>4</V>"
            "</COMPU-DENOMINATOR></COMPU-RATIONAL-COEFFS></COMPU-SCALE></COMPU-SCALES></COMPU-INTERNAL-TO-PHYS>"))
        triggerings = "".join(self.frame(number) for number in range(24))
        cluster = named("CAN-CLUSTER", "Bus", element("CAN-CLUSTER-VARIANTS", element("CAN-CLUSTER-CONDITIONAL", element(
            "PHYSICAL-CHANNELS", named("CAN-PHYSICAL-CHANNEL", "Ch", element("FRAME-TRIGGERINGS", triggerings))))))
        return element("AUTOSAR", element("AR-PACKAGES", named("AR-PACKAGE", "p", element(
            "ELEMENTS", cluster + "\n".join(self.elements)))))


def main():
    program, folder = sys.argv[1], Path(sys.argv[2])
    folder.mkdir(parents=True, exist_ok=True)
    for seed in range(DESCRIPTIONS):
        (folder / f"random{seed}.arxml").write_text(Writer(random.Random(seed)).system())
    paths = [folder, *map(Path, sys.argv[3:])]
    print("| file | frames | values | different |\n|---|---|---|---|")
    failures = 0
    for path in (file for path in paths for file in (sorted(path.rglob("*.arxml")) if path.is_dir() else [path])):
        frames, values, differences = compare(program, folder, path)
        failures += differences
        print(f"| {path.name} | {frames} | {values} | {differences} |")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
