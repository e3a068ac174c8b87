"""The programs with which `rksignal serve` is tested."""

import contextlib
import http.client
import json
import re
import signal
import subprocess


class Feeder:
    def __init__(self, program, names):
        self.process = subprocess.Popen([program, names], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert self.process.stdout.readline() == "ready\n"

    def write(self, *lines):
        """Writes what the lines say, see feed_slots.cpp. Returns the time stamps."""
        self.process.stdin.write("".join(f"{line}\n" for line in lines))
        self.process.stdin.flush()
        return [int(self.process.stdout.readline()) for _ in lines]

    def end(self):
        self.process.stdin.close()
        assert self.process.wait(10) == 0


class Server:
    def __init__(self, program, names, *options, port=0):
        self.process = subprocess.Popen([program, "serve", "--signals", names, "--listen", f":{port}", *options],
                                        stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().strip()
        self.port = int(re.fullmatch(r"http://127\.0\.0\.1:(\d+)/(\?token=[0-9a-f]{32})?", self.url)[1])

    def ask(self, path, method="GET", **headers):
        """Returns status, headers and body."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        with contextlib.closing(connection):
            connection.request(method, path, headers={name.replace("_", "-"): text for name, text in headers.items()})
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read().decode()

    def json(self, path):
        status, _, body = self.ask(path)
        assert status == 200, (path, status, body)
        return json.loads(body)

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        assert self.process.wait(10) == 0
