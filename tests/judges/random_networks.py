"""Makes AUTOSAR system descriptions with a FlexRay and an Ethernet cluster of random frames, PDUs and signals."""

FIRST, LAST = "MOST-SIGNIFICANT-BYTE-FIRST", "MOST-SIGNIFICANT-BYTE-LAST"
BASES = {"u": ("NONE", None), "s": ("2C", None), "f": ("IEEE754", None), "u8": ("NONE", 8), "u16": ("NONE", 16),
         "s32": ("2C", 32), "f32": ("IEEE754", 32), "f64": ("IEEE754", 64)}


def e(tag, content, dest=None):
    return f"<{tag} DEST=\"{dest}\">{content}</{tag}>" if dest else f"<{tag}>{content}</{tag}>"


def named(tag, name, *content):
    return e(tag, e("SHORT-NAME", name) + "".join(content))


def package(name, *elements):
    return named("AR-PACKAGE", name, e("ELEMENTS", "\n".join(elements)))


class Networks:
    def __init__(self, random_):
        self.random = random_
        self.pdus, self.signals, self.systems, self.frames, self.types, self.mappings = [], [], [], [], [], []
        self.triggered = {"A": [], "B": []}  # PDUs of FlexRay

    def props(self, base, compu=None):
        content = e("BASE-TYPE-REF", f"/Types/{base}", "SW-BASE-TYPE") if base else ""
        content += e("COMPU-METHOD-REF", f"/Compu/C{compu}", "COMPU-METHOD") if compu is not None else ""
        return e("SW-DATA-DEF-PROPS-VARIANTS", e("SW-DATA-DEF-PROPS-CONDITIONAL", content))

    def signal(self, name, bits, base, extra=""):
        compu = self.random.randrange(4)
        self.signals.append(named("I-SIGNAL", name, extra, e("LENGTH", bits),
                                  e("NETWORK-REPRESENTATION-PROPS", self.props(base)),
                                  e("SYSTEM-SIGNAL-REF", f"/Systems/{name}", "SYSTEM-SIGNAL")))
        self.systems.append(named("SYSTEM-SIGNAL", name, e("PHYSICAL-PROPS", self.props(None, compu))))

    def pdu(self, length, props="", update=False):
        """A PDU with signals anywhere, in both byte orders."""
        name = f"Pdu{len(self.pdus)}"
        mappings = []
        for number in range(self.random.randint(1, 5)):
            bits = self.random.randint(1, min(8 * length, 64))
            first = self.random.randint(0, 8 * length - bits)
            first = first // 8 * 8 if first % 8 + bits > 64 else first  # in 8 bytes
            order = self.random.choice((FIRST, LAST))
            start = first // 8 * 8 + 7 - first % 8 if order == FIRST else first
            signal = f"{name}S{number}"
            self.signal(signal, bits, self.random.choice("us") if bits not in (32, 64) else "f")
            updated = e("UPDATE-INDICATION-BIT-POSITION", 8 * length - 1) if update and number % 2 == 0 else ""
            mappings.append(named("I-SIGNAL-TO-I-PDU-MAPPING", signal, e("I-SIGNAL-REF", f"/Signals/{signal}", "I-SIGNAL"),
                                  e("PACKING-BYTE-ORDER", order), e("START-POSITION", start), updated))
        self.pdus.append(named("I-SIGNAL-I-PDU", name, e("LENGTH", length), props,
                               e("I-SIGNAL-TO-PDU-MAPPINGS", "".join(mappings))))
        return name

    def container(self):
        inner = [self.pdu(self.random.randint(1, 6), e("CONTAINED-I-PDU-PROPS", e("HEADER-ID-SHORT-HEADER", 0x100 + i)))
                 for i in range(3)]
        self.triggered["A"] += inner
        name = f"Pdu{len(self.pdus)}"
        refs = "".join(e("CONTAINED-PDU-TRIGGERING-REF", f"/Clusters/Chassis/A/{each}", "PDU-TRIGGERING") for each in inner)
        self.pdus.append(named("CONTAINER-I-PDU", name, e("LENGTH", 40), e("CONTAINED-PDU-TRIGGERING-REFS", refs),
                               e("HEADER-TYPE", "SHORT-HEADER")))
        return name

    def frame(self, number):
        """Its mappings, and for each of its channels a triggering with one or two timings."""
        name = f"Frame{number}"
        mappings, at = [], 0
        for _ in range(self.random.randint(1, 3)):
            is_container = number % 5 == 4
            length = 40 if is_container else self.random.randint(1, 9)
            pdu = self.container() if is_container else self.pdu(length, update=self.random.random() < 0.3)
            update = e("UPDATE-INDICATION-BIT-POSITION", 8 * (at + length) + 3) if not is_container and \
                "UPDATE-INDICATION" not in self.pdus[-1] and self.random.random() < 0.5 else ""
            mappings.append(named("PDU-TO-FRAME-MAPPING", pdu, e("PACKING-BYTE-ORDER", LAST),
                                  e("PDU-REF", f"/Pdus/{pdu}", "I-PDU"), e("START-POSITION", 8 * at), update))
            at += length + 1
            if is_container:
                break
        self.frames.append(named("FLEXRAY-FRAME", name, e("FRAME-LENGTH", at + at % 2),
                                 e("PDU-TO-FRAME-MAPPINGS", "".join(mappings))))
        timings = ""
        if self.random.random() < 0.3:
            timings = "".join(self.timing(number + 1, e("CYCLE-COUNTER", e("CYCLE-COUNTER", cycle)))
                              for cycle in self.random.sample(range(64), 2))
        else:
            repetition = 2 ** self.random.randrange(1, 7)
            for slot, base in ((number + 1, 0), (self.random.choice((number + 1, number + 41)), 1)):
                timings += self.timing(slot, e("CYCLE-REPETITION", e("BASE-CYCLE", base) +
                                               e("CYCLE-REPETITION", f"CYCLE-REPETITION-{repetition}")))
        triggering = named("FLEXRAY-FRAME-TRIGGERING", name, e("FRAME-REF", f"/Frames/{name}", "FLEXRAY-FRAME"),
                           e("ABSOLUTELY-SCHEDULED-TIMINGS", timings))
        return {channel: triggering for channel in self.random.choice(("A", "B", "AB"))}

    @staticmethod
    def timing(slot, cycles):
        return e("FLEXRAY-ABSOLUTELY-SCHEDULED-TIMING", e("COMMUNICATION-CYCLE", cycles) + e("SLOT-ID", slot))

    def flexray(self):
        channels = {"A": "", "B": ""}
        for number in range(20):
            for channel, triggering in self.frame(number).items():
                channels[channel] += triggering + "\n"
        content = "".join(
            named("FLEXRAY-PHYSICAL-CHANNEL", channel, e("FRAME-TRIGGERINGS", triggerings),
                  e("PDU-TRIGGERINGS", "".join(named("PDU-TRIGGERING", pdu, e("I-PDU-REF", f"/Pdus/{pdu}", "I-PDU"))
                                               for pdu in self.triggered[channel])),
                  e("CHANNEL-NAME", f"CHANNEL-{channel}")) for channel, triggerings in channels.items())
        return named("FLEXRAY-CLUSTER", "Chassis", e("FLEXRAY-CLUSTER-VARIANTS", e("FLEXRAY-CLUSTER-CONDITIONAL", e(
            "PHYSICAL-CHANNELS", content) + e("NUMBER-OF-STATIC-SLOTS", 30))))

    def structure(self, name, depth=0):
        """A type of elements, arrays and structures."""
        elements = []
        for number in range(self.random.randint(1, 4)):
            kind = self.random.choice(("value", "value", "array", "structure")) if depth < 2 else "value"
            base = self.random.choice(("u8", "u16", "s32", "f32", "f64"))
            label = f"E{number}"
            props = e("SW-DATA-DEF-PROPS", self.props(base, self.random.randrange(4)))
            if kind == "array":
                item = named("IMPLEMENTATION-DATA-TYPE-ELEMENT", "Item", e("CATEGORY", "VALUE"),
                             e("ARRAY-SIZE", self.random.randint(1, 3)), props)
                elements.append(named("IMPLEMENTATION-DATA-TYPE-ELEMENT", label, e("CATEGORY", "ARRAY"),
                                      e("SUB-ELEMENTS", item)))
            elif kind == "structure":
                self.structure(f"{name}{label}", depth + 1)
                reference = e("IMPLEMENTATION-DATA-TYPE-REF", f"/Types/{name}{label}", "IMPLEMENTATION-DATA-TYPE")
                elements.append(named("IMPLEMENTATION-DATA-TYPE-ELEMENT", label, e("CATEGORY", "TYPE_REFERENCE"), e(
                    "SW-DATA-DEF-PROPS", e("SW-DATA-DEF-PROPS-VARIANTS", e("SW-DATA-DEF-PROPS-CONDITIONAL", reference)))))
            else:
                elements.append(named("IMPLEMENTATION-DATA-TYPE-ELEMENT", label, e("CATEGORY", "VALUE"), props))
        self.types.append(named("IMPLEMENTATION-DATA-TYPE", name, e("CATEGORY", "STRUCTURE"),
                                e("SUB-ELEMENTS", "".join(elements))))

    def event(self):
        """A PDU whose only signal is a serialized structure."""
        name = f"Pdu{len(self.pdus)}"
        self.signal(name, 800, None, e("DATA-TRANSFORMATIONS", e("DATA-TRANSFORMATION-REF-CONDITIONAL", e(
            "DATA-TRANSFORMATION-REF", f"/Transformation/Set/{self.random.choice((FIRST, LAST))}", "DATA-TRANSFORMATION"))))
        self.structure(f"{name}Type")
        self.types.append(named("SENDER-RECEIVER-INTERFACE", f"{name}If", e("DATA-ELEMENTS", named(
            "VARIABLE-DATA-PROTOTYPE", "Data", e("TYPE-TREF", f"/Types/{name}Type", "IMPLEMENTATION-DATA-TYPE")))))
        self.mappings.append(e("SENDER-RECEIVER-TO-SIGNAL-MAPPING", e("DATA-ELEMENT-IREF", e(
            "TARGET-DATA-PROTOTYPE-REF", f"/Types/{name}If/Data", "VARIABLE-DATA-PROTOTYPE")) + e(
                "SYSTEM-SIGNAL-REF", f"/Systems/{name}", "SYSTEM-SIGNAL")))
        self.pdus.append(named("I-SIGNAL-I-PDU", name, e("LENGTH", 100), e("I-SIGNAL-TO-PDU-MAPPINGS", named(
            "I-SIGNAL-TO-I-PDU-MAPPING", name, e("I-SIGNAL-REF", f"/Signals/{name}", "I-SIGNAL"),
            e("PACKING-BYTE-ORDER", "OPAQUE"), e("START-POSITION", 0)))))
        return name

    def bundle(self, path, number):
        """A connection with PDUs of one kind, and its triggerings and sockets."""
        server, client = self.random.sample(("Ecu1", "Ecu2", "Ecu3"), 2)
        protocol = self.random.choice(("UDP", "TCP"))
        kind = self.random.choice(("long", "long", "someip", "plain"))
        identifiers, triggerings = "", ""
        for index in range(1 if kind == "plain" else self.random.randint(1, 4)):
            pdu = self.event() if kind == "someip" else self.pdu(self.random.randint(1, 20))
            owner = self.random.choice((server, client)) if kind != "plain" else server
            port = self.random.choice((f"/Ecus/{owner}/Net/Out", f"/Ecus/{client if owner == server else server}/Net/In"))
            triggerings += named("PDU-TRIGGERING", pdu, e("I-PDU-PORT-REFS", e("I-PDU-PORT-REF", port, "I-PDU-PORT")),
                                 e("I-PDU-REF", f"/Pdus/{pdu}", "I-SIGNAL-I-PDU"))
            header = {"long": 0x1000 * number + index, "someip": 0x21000000 + 0x10000 * number + 0x8000 + index}.get(kind)
            identifiers += e("SOCKET-CONNECTION-IPDU-IDENTIFIER", (e("HEADER-ID", header) if header is not None else "") +
                             e("PDU-TRIGGERING-REF", f"{path}/{pdu}", "PDU-TRIGGERING"))
        sockets = "".join(named(
            "SOCKET-ADDRESS", f"{ecu}S{number}", named(
                "APPLICATION-ENDPOINT", "Endpoint", e("NETWORK-ENDPOINT-REF", f"{path}/{ecu}", "NETWORK-ENDPOINT"),
                e("TP-CONFIGURATION", e(f"{protocol}-TP", e(f"{protocol}-TP-PORT", e("PORT-NUMBER", 5000 + number))))),
            e("CONNECTOR-REF", f"/Ecus/{ecu}/Net", "ETHERNET-COMMUNICATION-CONNECTOR")) for ecu in (server, client))
        connection = e("SOCKET-CONNECTION", e("CLIENT-PORT-REF", f"{path}/{client}S{number}", "SOCKET-ADDRESS") +
                       e("PDUS", identifiers))
        return named("SOCKET-CONNECTION-BUNDLE", f"Bundle{number}", e("BUNDLED-CONNECTIONS", connection), e(
            "SERVER-PORT-REF", f"{path}/{server}S{number}", "SOCKET-ADDRESS")), triggerings, sockets

    def ethernet(self):
        channels = ""
        for name, vlan in (("Plain", None), ("Tagged", 7)):
            path = f"/Clusters/Network/{name}"
            parts = [self.bundle(path, number) for number in range(1 if vlan else 11, 11 if vlan else 21)]
            bundles, triggerings, sockets = ("\n".join(part) for part in zip(*parts))
            endpoints = "".join(named("NETWORK-ENDPOINT", f"Ecu{n}", e("NETWORK-ENDPOINT-ADDRESSES", e(
                "IPV-4-CONFIGURATION", e("IPV-4-ADDRESS", f"192.168.{vlan or 0}.{n}")))) for n in (1, 2, 3))
            channels += named("ETHERNET-PHYSICAL-CHANNEL", name, e("PDU-TRIGGERINGS", triggerings),
                              e("NETWORK-ENDPOINTS", endpoints),
                              e("SO-AD-CONFIG", e("CONNECTION-BUNDLES", bundles) + e("SOCKET-ADDRESSS", sockets)),
                              named("VLAN", "Vlan", e("VLAN-IDENTIFIER", vlan)) if vlan else "")
        return named("ETHERNET-CLUSTER", "Network", e("ETHERNET-CLUSTER-VARIANTS", e("ETHERNET-CLUSTER-CONDITIONAL", e(
            "PHYSICAL-CHANNELS", channels))))


def transformation(order):
    technology = f"Serializer{order}"
    return (named("DATA-TRANSFORMATION", order, e("TRANSFORMER-CHAIN-REFS", e(
        "TRANSFORMER-CHAIN-REF", f"/Transformation/Set/{technology}", "TRANSFORMATION-TECHNOLOGY"))),
            named("TRANSFORMATION-TECHNOLOGY", technology, e("PROTOCOL", "SOMEIP"), e("TRANSFORMATION-DESCRIPTIONS", e(
                "SOMEIP-TRANSFORMATION-DESCRIPTION", e("ALIGNMENT", 8) + e("BYTE-ORDER", order)))))


def system(random_):
    networks = Networks(random_)
    clusters = [networks.flexray(), networks.ethernet()]
    direction = lambda name: named("I-PDU-PORT", name, e("COMMUNICATION-DIRECTION", name.upper()))
    ecus = [named("ECU-INSTANCE", f"Ecu{n}", e("CONNECTORS", named("ETHERNET-COMMUNICATION-CONNECTOR", "Net", e(
        "ECU-COMM-PORT-INSTANCES", direction("In") + direction("Out"))))) for n in (1, 2, 3)]
    bases = [named("SW-BASE-TYPE", name, e("BASE-TYPE-SIZE", size) if size else "", e("BASE-TYPE-ENCODING", encoding))
             for name, (encoding, size) in BASES.items()]
    compu = [named("COMPU-METHOD", f"C{n}", e("CATEGORY", "LINEAR"), e("COMPU-INTERNAL-TO-PHYS", e("COMPU-SCALES", e(
        "COMPU-SCALE", e("COMPU-RATIONAL-COEFFS", e("COMPU-NUMERATOR", e("V", 3 * n) + e("V", factor)) + e(
            "COMPU-DENOMINATOR", e("V", 1))))))) for n, factor in enumerate((1, 0.5, 0.01, -2))]
    chains, technologies = zip(*map(transformation, (FIRST, LAST)))
    packages = [package("Clusters", *clusters), package("Ecus", *ecus), package("Frames", *networks.frames),
                package("Pdus", *networks.pdus), package("Signals", *networks.signals),
                package("Systems", *networks.systems), package("Types", *bases, *networks.types), package("Compu", *compu),
                package("Transformation", named("DATA-TRANSFORMATION-SET", "Set", e("DATA-TRANSFORMATIONS", "".join(chains)),
                                                e("TRANSFORMATION-TECHNOLOGYS", "".join(technologies)))),
                package("System", named("SYSTEM", "Car", e("MAPPINGS", named("SYSTEM-MAPPING", "Mapping", e(
                    "DATA-MAPPINGS", "".join(networks.mappings))))))]
    return ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<AUTOSAR xmlns=\"http://autosar.org/schema/r4.0\"><AR-PACKAGES>\n" +
            "\n".join(packages) + "\n</AR-PACKAGES></AUTOSAR>\n")
