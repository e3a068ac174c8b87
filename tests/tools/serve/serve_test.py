"""Asks `rksignal serve` over the loopback address, while feed_slots writes the signals it shows.

    serve_test.py RKSIGNAL FEED_SLOTS FOLDER
"""

import http.client
import json
import math
import pathlib
import socket
import subprocess
import sys

from live_server import Feeder, Server
from prometheus_client.openmetrics.parser import text_string_to_metric_families

PREFIX = "ServeTest."
HOSTILE = 'x"\\<b>{\u202e'
UNIT = 'a"\\b\nc'
TOKEN = "correct-horse.battery_staple~42"
DEFINITIONS = {"can": [
    {"instance": PREFIX + "Speed", "msgId": 0x100, "startbit": 0, "bits": 16, "scale": 0.25, "offset": -10,
     "unit": "rpm"},
    {"instance": PREFIX + "Gear", "msgId": 0x100, "startbit": 16, "bits": 8, "valueDescriptions": {"2": "Drive"}},
    {"instance": PREFIX + HOSTILE, "msgId": 0x101, "startbit": 0, "bits": 8, "unit": UNIT},
    {"instance": PREFIX + "Never", "msgId": 0x102, "startbit": 0, "bits": 8},
    *({"instance": f"{PREFIX}Many{n}", "msgId": 0x200 + n, "startbit": 0, "bits": 32} for n in range(400))]}
SPEED, GEAR, ODD, NEVER = range(4)


class Stream:
    """The events of a server, read when they are asked for."""

    def __init__(self, server, receive=None):
        self.socket = socket.socket()
        if receive:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive)
        self.socket.settimeout(10)
        self.socket.connect(("127.0.0.1", server.port))
        self.socket.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
        self.file = self.socket.makefile("rb")
        self.status = int(self.file.readline().split()[1])
        self.bytes = 0
        self.headers = http.client.parse_headers(self.file)

    def next(self):
        size = int(self.file.readline(), 16)
        chunk = self.file.read(size + 2)
        self.bytes += size
        lines = chunk[:size].decode()
        assert lines.startswith("data: ") and lines.endswith("}\n\n"), lines
        return json.loads(lines[6:])

    def until(self, found):
        """Returns the first event in which something is found."""
        while True:
            event = self.next()
            if found(event):
                return event

    def close(self):
        self.file.close()
        self.socket.close()


def refuses_what_it_must(server, _feeder):
    cases = [("/", "GET", {}, 200), ("/", "HEAD", {}, 200), ("/page.js", "GET", {}, 200), ("/healthz", "GET", {}, 200),
             ("/nothing", "GET", {}, 404), ("/../etc/passwd", "GET", {}, 404), ("/page.js/", "GET", {}, 404),
             ("/", "POST", {}, 405), ("/api/values", "DELETE", {}, 405), ("/api/values", "OPTIONS", {}, 405),
             ("/api/values", "GET", {"Host": "evil.example"}, 403),
             ("/", "GET", {"Host": "127.0.0.1.evil.example"}, 403),
             ("/", "GET", {"Host": "[::1]:80"}, 200), ("/", "GET", {"Host": "localhost:80"}, 200),
             ("/api/values", "GET", {"Sec_Fetch_Site": "cross-site"}, 403),
             ("/", "GET", {"Sec_Fetch_Site": "cross-site"}, 200), # a link
             ("/api/values", "GET", {"Sec_Fetch_Site": "same-origin"}, 200),
             ("/api/curves", "GET", {}, 400), ("/api/curves?signal=Nobody", "GET", {}, 404)]
    for path, method, headers, expected in cases:
        status, answer, _ = server.ask(path, method, **headers)
        assert status == expected, (path, method, headers, status)
        assert answer["X-Content-Type-Options"] == "nosniff" and "default-src 'none'" in answer[
            "Content-Security-Policy"], (path, answer)
        assert "Access-Control-Allow-Origin" not in answer


def asks_for_its_token(server, _feeder):
    status, headers, _ = server.ask(f"/?token={TOKEN}")
    assert (status, headers["Set-Cookie"]) == (
        200, f"rksignal_{server.port}={TOKEN}; Path=/; HttpOnly; SameSite=Strict"), headers
    cookie = f"rksignal_{server.port}"
    other = TOKEN[:-1] + "3"
    cases = [({}, 401), ({"Authorization": f"Bearer {TOKEN}"}, 200), ({"Authorization": f"Bearer {other}"}, 401),
             ({"Authorization": TOKEN}, 401), ({"Authorization": "Bearer "}, 401),
             ({"Cookie": f"a=b; {cookie}={TOKEN}"}, 200), ({"Cookie": f"{cookie}={other}"}, 401),
             ({"Cookie": f"x{cookie}={TOKEN}"}, 401), ({"Cookie": f"{cookie}="}, 401),
             ({"Authorization": f"Bearer {TOKEN}", "Host": "proxy.example"}, 200),
             ({"Cookie": f"{cookie}={TOKEN}", "Sec_Fetch_Site": "same-site"}, 403)]
    for path in ("/api/values", "/metrics", "/api/events"):
        for headers, expected in cases[:1] if path == "/api/events" else cases:
            status, answer, _ = server.ask(path, **headers)
            assert status == expected, (path, headers, status)
            assert (status == 401) == ("WWW-Authenticate" in answer)
    assert server.ask("/healthz")[0] == 200


def streams_changes(server, feeder):
    header = server.json("/api/signals")
    micros = lambda stamp: (stamp - int(header["origin"])) // 1000
    first = feeder.write(PREFIX + "Speed=400", PREFIX + "Gear=2")
    stream = Stream(server)
    assert stream.headers["Content-Type"] == "text/event-stream"
    event = stream.next()
    while len(event.get("values", [])) < 2:
        event |= stream.next()
    assert event["run"] == header["run"] and [SPEED, "live"] in event["connections"], event
    assert event["values"][:2] == [[SPEED, 400, micros(first[0]), 1], [GEAR, 2, micros(first[1]), 1]], event
    assert event["states"] == [[0, False, 0]], event
    [stamp] = feeder.write(PREFIX + "Speed=500")
    event = stream.until(lambda event: "values" in event)
    assert event == {"now": event["now"], "values": [[SPEED, 500, micros(stamp), 2]], "states": [[0, True, 1]]}, event
    feeder.write(PREFIX + "Gear=")
    event = stream.until(lambda event: "values" in event)
    assert event["values"] == [[GEAR, None, micros(first[1]), 1]], event
    assert event["connections"] == [[GEAR, "no value"]], event
    stream.close()
    [told] = server.json("/api/conditions")["conditions"]
    why = f"{PREFIX}Speed > 100: true\n  {PREFIX}Speed: 115 rpm\n"
    assert told == {"name": "fast", "text": f"{PREFIX}Speed > 100", "state": True, "why": why, "firings": 1,
                    "last": [{"at": micros(stamp), "until": None, "why": why}]}, told
    curve = server.json(f"/api/curves?signal={PREFIX}Speed&signal={PREFIX}Gear")["curves"]
    assert curve[0] == {"signal": SPEED, "times": [micros(first[0]), micros(stamp)], "values": [400, 500]}, curve
    assert curve[1]["values"] == [2, None], curve


def tells_values(server, feeder):
    speed, gear, odd = feeder.write(PREFIX + "Speed=440", PREFIX + "Gear=2", PREFIX + HOSTILE + "=7")
    Stream(server).until(lambda event: any(value[0] == ODD for value in event.get("values", [])))
    values = server.json("/api/values")["values"]
    cut = [{name: value[name] for name in value if name != "updates"} for value in values[:4]]
    assert cut == [
        {"instance": PREFIX + "Speed", "connection": "live", "value": 100, "unit": "rpm", "raw": 440,
         "timestamp": speed},
        {"instance": PREFIX + "Gear", "connection": "live", "value": 2, "unit": "", "raw": 2, "text": "Drive",
         "timestamp": gear},
        {"instance": PREFIX + HOSTILE, "connection": "live", "value": 7, "unit": UNIT, "raw": 7, "timestamp": odd},
        {"instance": PREFIX + "Never", "connection": "no value", "value": None, "unit": ""}], cut


def tells_metrics(server, feeder):
    [stamp] = feeder.write(PREFIX + "Speed=444")
    Stream(server).until(lambda event: any(value[1] == 444 for value in event.get("values", [])))
    _, headers, body = server.ask("/metrics")
    assert headers["Content-Type"] == "application/openmetrics-text; version=1.0.0; charset=utf-8"
    samples = {(sample.name, frozenset(sample.labels.items())): sample.value
               for family in text_string_to_metric_families(body) for sample in family.samples}
    of = lambda name, **labels: samples[name, frozenset(labels.items())]
    instance = PREFIX + "Speed"
    assert of("rksignal_signal_value", instance=instance, unit="rpm") == 101
    assert of("rksignal_signal_value", instance=PREFIX + HOSTILE, unit=UNIT) == 7
    assert math.isclose(of("rksignal_signal_timestamp_seconds", instance=instance), stamp / 1e9, rel_tol=1e-15)
    assert of("rksignal_signal_valid", instance=PREFIX + "Never") == 0
    assert not any(("instance", PREFIX + "Never") in labels for name, labels in samples if name.endswith("_value"))
    assert of("rksignal_condition_true", condition="fast") == 1
    changes, updates = (of(f"rksignal_signal_{name}_total", instance=instance) for name in ("changes", "updates"))
    assert 0 < changes < updates
    assert of("rksignal_signals", connection="live") == 3


def leaves_slow_clients_behind(server, feeder):
    """A client that does not read gets the latest values when it does, and not all those between."""
    slow, quick = Stream(server, 4096), Stream(server)
    last = {}
    for round_ in range(100):
        feeder.write(*(f"{PREFIX}Many{n}={round_ * 1000 + n}" for n in range(400)))
        quick.until(lambda event: [4 + 399, round_ * 1000 + 399] in [value[:2] for value in event.get("values", [])])
    while last.get(4 + 399) != 99 * 1000 + 399:
        last |= {value[0]: value[1] for value in slow.next().get("values", [])}
    assert all(last[4 + n] == 99 * 1000 + n for n in range(400))
    assert slow.bytes < quick.bytes / 2, (slow.bytes, quick.bytes)
    third = Stream(server)
    assert third.status == 503 # --clients 2
    for stream in (slow, quick, third):
        stream.close()


def tells_what_is_gone(server, feeder):
    """And ends with an open stream."""
    stream = Stream(server)
    stream.next()
    feeder.end() # which removes the segments
    event = stream.until(lambda event: [SPEED, "removed"] in event.get("connections", []))
    assert SPEED in [value[0] for value in event["values"]] and [0, None, 1] in event["states"], event


def refuses_bad_arguments(program, names, folder):
    busy = socket.create_server(("127.0.0.1", 0))
    port = busy.getsockname()[1]
    short = folder / "short"
    short.write_text("too short\n")
    cases = [(["--listen", f":{port}"], f"http://127.0.0.1:{port}/: another program listens on this port; --listen "
                                        "takes another one"),
             (["--listen", "host:port"], "--listen host:port: the port is not a number from 0 to 65535"),
             (["--listen", "[::1]x"], "--listen [::1]x: not of the form ADDRESS, ADDRESS:PORT or :PORT"),
             (["--token-file", short], f"{short}: the first line is no token of 16 to 128 letters, digits and -._~"),
             (["--token-file", folder / "none"], f"{folder / 'none'}: No such file or directory"),
             (["--interval", "0"], "--interval 0: not from 0.001 to 10 seconds")]
    for options, expected in cases:
        run = subprocess.run([program, "serve", "--signals", names, *options], capture_output=True, text=True,
                             timeout=20)
        assert (run.returncode, run.stderr) == (2, f"rksignal: {expected}\n"), (options, run.stderr)
    busy.close()


def main(program, feed, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    names = folder / "names.json"
    names.write_text(json.dumps(DEFINITIONS))
    token = folder / "token"
    token.write_text(TOKEN + "\n")
    refuses_bad_arguments(program, names, folder)
    feeder = Feeder(feed, names)
    closed = Server(program, names, "--token-file", token)
    asks_for_its_token(closed, feeder)
    closed.end()
    fast = ("--when", f"fast={PREFIX}Speed > 100")
    runs = [((), [refuses_what_it_must, streams_changes, tells_values, tells_metrics]),
            (("--clients", "2"), [leaves_slow_clients_behind]), ((), [tells_what_is_gone])]
    for options, cases in runs:
        server = Server(program, names, *fast, *options)
        for case in cases:
            case(server, feeder)
            print(f"ok {case.__name__}")
        server.end()


if __name__ == "__main__":
    main(*sys.argv[1:])
