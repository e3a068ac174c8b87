"""A drive of four minutes whose texts try to become markup, script or control characters.

Engine.Speed has one spike of one sample. Nothing is sent for six seconds.
"""

import json
import math
import struct

START = 1_772_352_000  # 2026-03-01T08:00:00Z
SECONDS = 240
SPIKE = 100.37
GAP = (150.0, 156.0)
HOSTILE = [
    "<script>window.broken = 1</script>",
    "</script><img src=x onerror='window.broken = 2'>",
    '"\'`&amp;&#60;${window.broken}',
    "\u202egpj.exe\u2066",
]
UNIT = "<b>\u0007\u202eV</b>"
STATES = {"0": "<i>off</i>", "1": "on\n</script>", "2": "\u2067fast"}
SHOWN_STATES = ["<i>off</i> (0)", "on⟨U+000A⟩</script> (1)", "⟨U+2067⟩fast (2)"]


def speed(second):
    """The raw number of Engine.Speed, a quarter of a revolution a minute."""
    return 60_000 if second == SPIKE else int(6000 + 4000 * math.sin(second / 20))


def state(second):
    return int(second // 20) % 3


def definitions():
    signals = [
        {"instance": "Engine.Speed", "msgId": 0x100, "startbit": 0, "bits": 16, "scale": 0.25, "unit": "rpm",
         "comment": "<script>window.broken = 3</script>"},
        {"instance": "Engine.Second", "msgId": 0x100, "startbit": 16, "bits": 16, "scale": 0.5, "unit": "rpm"},
        {"instance": "Gear.State", "msgId": 0x200, "startbit": 0, "bits": 8, "valueDescriptions": STATES},
    ]
    for number, name in enumerate(HOSTILE):
        signals.append({"instance": name, "msgId": 0x200, "startbit": 8 * number + 8, "bits": 8, "scale": 0.1,
                        "unit": UNIT, "comment": name + "\u0000\u001b[31m\u2028"})
    return {"can": signals}


def frames():
    """Lines of candump."""
    for tick in range(SECONDS * 100):
        second = tick / 100
        if GAP[0] < second < GAP[1]:
            continue
        stamp = f"({START + tick // 100}.{tick % 100:02}0000) can0"
        yield f"{stamp} 100#{struct.pack('<HH', speed(second), tick % 5000).hex().upper()}\n"
        if tick % 10 == 0:
            payload = bytes([state(second), *((tick // 10 + k) % 200 for k in range(4))])
            yield f"{stamp} 200#{payload.hex().upper()}\n"


def write(folder):
    """Writes trace and definitions. Returns their paths."""
    trace = folder / "drive <script>window.broken = 4<!--.log"
    trace = folder / trace.name.replace("/", "")
    trace.write_text("".join(frames()))
    names = folder / "names.json"
    names.write_text(json.dumps(definitions()))
    return trace, names
