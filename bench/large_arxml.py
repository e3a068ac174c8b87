#!/usr/bin/env python3
"""Writes an AUTOSAR system description of about so many megabytes to standard output: CAN FD frames of eight signals,
each with a compu method of its own, some of them text tables.

  large_arxml.py [MEGABYTES]
"""
import sys


def frame(n):
    signals = range(8)
    mappings = "".join(f"""
            <I-SIGNAL-TO-I-PDU-MAPPING UUID="{n:08x}{i:08x}0000000000000001">
              <SHORT-NAME>Mapping_{i}</SHORT-NAME>
              <I-SIGNAL-REF DEST="I-SIGNAL">/Signals/Frame_{n}/Signal_{i}</I-SIGNAL-REF>
              <PACKING-BYTE-ORDER>MOST-SIGNIFICANT-BYTE-LAST</PACKING-BYTE-ORDER>
              <START-POSITION>{8 * i}</START-POSITION>
            </I-SIGNAL-TO-I-PDU-MAPPING>""" for i in signals)
    yield "Triggerings", f"""
          <CAN-FRAME-TRIGGERING UUID="{n:08x}000000000000000000000002">
            <SHORT-NAME>Triggering_{n}</SHORT-NAME>
            <FRAME-REF DEST="CAN-FRAME">/Frames/Frame_{n}</FRAME-REF>
            <CAN-ADDRESSING-MODE>EXTENDED</CAN-ADDRESSING-MODE>
            <CAN-FRAME-RX-BEHAVIOR>CAN-FD</CAN-FRAME-RX-BEHAVIOR>
            <IDENTIFIER>{n}</IDENTIFIER>
          </CAN-FRAME-TRIGGERING>"""
    yield "Frames", f"""
        <CAN-FRAME>
          <SHORT-NAME>Frame_{n}</SHORT-NAME>
          <FRAME-LENGTH>8</FRAME-LENGTH>
          <PDU-TO-FRAME-MAPPINGS>
            <PDU-TO-FRAME-MAPPING>
              <SHORT-NAME>Mapping</SHORT-NAME>
              <PACKING-BYTE-ORDER>MOST-SIGNIFICANT-BYTE-LAST</PACKING-BYTE-ORDER>
              <PDU-REF DEST="I-SIGNAL-I-PDU">/Pdus/Pdu_{n}</PDU-REF>
              <START-POSITION>0</START-POSITION>
            </PDU-TO-FRAME-MAPPING>
          </PDU-TO-FRAME-MAPPINGS>
        </CAN-FRAME>"""
    yield "Pdus", f"""
        <I-SIGNAL-I-PDU>
          <SHORT-NAME>Pdu_{n}</SHORT-NAME>
          <LENGTH>8</LENGTH>
          <I-SIGNAL-TO-PDU-MAPPINGS>{mappings}
          </I-SIGNAL-TO-PDU-MAPPINGS>
        </I-SIGNAL-I-PDU>"""
    yield "Signals", f"""
      <AR-PACKAGE>
        <SHORT-NAME>Frame_{n}</SHORT-NAME>
        <ELEMENTS>""" + "".join(f"""
          <I-SIGNAL UUID="{n:08x}{i:08x}0000000000000003">
            <SHORT-NAME>Signal_{i}</SHORT-NAME>
            <LENGTH>8</LENGTH>
            <NETWORK-REPRESENTATION-PROPS>
              <SW-DATA-DEF-PROPS-VARIANTS>
                <SW-DATA-DEF-PROPS-CONDITIONAL>
                  <BASE-TYPE-REF DEST="SW-BASE-TYPE">/Types/uint8</BASE-TYPE-REF>
                  <COMPU-METHOD-REF DEST="COMPU-METHOD">/Signals/Frame_{n}/Method_{i}</COMPU-METHOD-REF>
                  <UNIT-REF DEST="UNIT">/Types/kilometre</UNIT-REF>
                </SW-DATA-DEF-PROPS-CONDITIONAL>
              </SW-DATA-DEF-PROPS-VARIANTS>
            </NETWORK-REPRESENTATION-PROPS>
          </I-SIGNAL>
          <COMPU-METHOD UUID="{n:08x}{i:08x}0000000000000004">
            <SHORT-NAME>Method_{i}</SHORT-NAME>
            <CATEGORY>SCALE_LINEAR_AND_TEXTTABLE</CATEGORY>
            <COMPU-INTERNAL-TO-PHYS>
              <COMPU-SCALES>
                <COMPU-SCALE>
                  <LOWER-LIMIT INTERVAL-TYPE="CLOSED">0</LOWER-LIMIT>
                  <UPPER-LIMIT INTERVAL-TYPE="CLOSED">253</UPPER-LIMIT>
                  <COMPU-RATIONAL-COEFFS>
                    <COMPU-NUMERATOR><V>{i}</V><V>1</V></COMPU-NUMERATOR>
                    <COMPU-DENOMINATOR><V>2</V></COMPU-DENOMINATOR>
                  </COMPU-RATIONAL-COEFFS>
                </COMPU-SCALE>
                <COMPU-SCALE>
                  <LOWER-LIMIT>254</LOWER-LIMIT>
                  <UPPER-LIMIT>255</UPPER-LIMIT>
                  <COMPU-CONST><VT>no value</VT></COMPU-CONST>
                </COMPU-SCALE>
              </COMPU-SCALES>
            </COMPU-INTERNAL-TO-PHYS>
          </COMPU-METHOD>""" for i in signals) + """
        </ELEMENTS>
      </AR-PACKAGE>"""


HEAD = """<?xml version="1.0" encoding="UTF-8"?>
<AUTOSAR xmlns="http://autosar.org/schema/r4.0">
  <AR-PACKAGES>
    <AR-PACKAGE>
      <SHORT-NAME>Types</SHORT-NAME>
      <ELEMENTS>
        <SW-BASE-TYPE>
          <SHORT-NAME>uint8</SHORT-NAME>
          <BASE-TYPE-ENCODING>NONE</BASE-TYPE-ENCODING>
        </SW-BASE-TYPE>
        <UNIT>
          <SHORT-NAME>kilometre</SHORT-NAME>
          <DISPLAY-NAME>km</DISPLAY-NAME>
        </UNIT>
      </ELEMENTS>
    </AR-PACKAGE>"""
PACKAGES = {
    "Triggerings": ("""
    <AR-PACKAGE>
      <SHORT-NAME>Cluster</SHORT-NAME>
      <ELEMENTS>
        <CAN-CLUSTER>
          <SHORT-NAME>Cluster</SHORT-NAME>
          <CAN-CLUSTER-VARIANTS><CAN-CLUSTER-CONDITIONAL><PHYSICAL-CHANNELS><CAN-PHYSICAL-CHANNEL>
          <SHORT-NAME>Channel</SHORT-NAME>
          <FRAME-TRIGGERINGS>""", """
          </FRAME-TRIGGERINGS>
          </CAN-PHYSICAL-CHANNEL></PHYSICAL-CHANNELS></CAN-CLUSTER-CONDITIONAL></CAN-CLUSTER-VARIANTS>
        </CAN-CLUSTER>
      </ELEMENTS>
    </AR-PACKAGE>"""),
    **{name: (f"\n    <AR-PACKAGE>\n      <SHORT-NAME>{name}</SHORT-NAME>\n      <{children}>",
              f"\n      </{children}>\n    </AR-PACKAGE>")
       for name, children in (("Frames", "ELEMENTS"), ("Pdus", "ELEMENTS"), ("Signals", "AR-PACKAGES"))},
}

size = sum(len(text) for _, text in frame(0))
count = int(float(sys.argv[1] if len(sys.argv) > 1 else 100) * 1e6 / size)
sys.stdout.write(HEAD)
for package, (before, after) in PACKAGES.items():
    sys.stdout.write(before)
    for n in range(count):
        sys.stdout.write("".join(text for name, text in frame(n) if name == package))
    sys.stdout.write(after)
sys.stdout.write("\n  </AR-PACKAGES>\n</AUTOSAR>\n")
