"""Measures how long it takes from a frame to the screen: a frame is decoded into shared memory, the page of
`rksignal serve` shows its value.

    build/browser/bin/python bench/serve_latency.py BIN [FRAMES_A_SECOND [SIGNALS [SECONDS]]]

BIN holds the programs rksignal and feed_frames. That decodes frames at a steady rate (20000) into signals (2000) in
shared memory; some of them carry the time when they were made. Chromium runs without a screen and without a graphics
processor. Whenever it asks for a picture, the page puts the latest values into the table; the time is taken when the
picture has been handed on. Printed are the median, what 95 of 100 and all stayed below, and the share of a processor
that the server took.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

from playwright.sync_api import sync_playwright

LAGS = """async (seconds) => {
    const cell = [...document.querySelectorAll("#table .body .tr")]
        .find((row) => row.querySelector(".name").textContent === "Clock.Now").querySelector(".current");
    const lags = [];
    const channel = new MessageChannel();
    let shown = cell.textContent;
    channel.port1.onmessage = ({ data }) => {
        const now = (performance.timeOrigin + performance.now()) * 1000;
        lags.push((((now - data) % 1e9) + 1e9) % 1e9 / 1000);
    };
    const end = performance.now() + seconds * 1000;
    while (performance.now() < end) {
        await new Promise((done) => requestAnimationFrame(done));
        if (cell.textContent === shown) continue;
        shown = cell.textContent;
        channel.port2.postMessage(Number(shown)); // comes when the picture has been made
    }
    return lags;
}"""


def definitions(count):
    signals = [{"instance": "Clock.Now", "msgId": 0x100, "startbit": 0, "bits": 64}]
    for number in range(count - 1):
        message, byte = divmod(number, 8)
        signals.append({"instance": f"Node{message:03}.Signal{byte}", "msgId": 0x101 + message, "startbit": 8 * byte,
                        "bits": 8, "scale": 0.5, "unit": "V"})
    return {"can": signals}


def processor_seconds(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def measure(programs, names, rate, seconds):
    feeder = subprocess.Popen([programs / "feed_frames", names, str(rate), str(seconds + 15)], stdout=subprocess.PIPE,
                              text=True)
    feeder.stdout.readline()
    server = subprocess.Popen([programs / "rksignal", "serve", "--signals", names, "--listen", ":0", "--when",
                               "high=Node000.Signal0 > 100"], stdout=subprocess.PIPE, text=True)
    try:
        url = server.stdout.readline().strip()
        with sync_playwright() as driver:
            browser = driver.chromium.launch(executable_path="/usr/bin/chromium")
            page = browser.new_context(viewport={"width": 1600, "height": 1000}).new_page()
            page.goto(url)
            page.wait_for_selector("html[data-ready]")
            page.wait_for_timeout(2000)
            before = time.monotonic(), processor_seconds(server)
            lags = sorted(page.evaluate(LAGS, seconds))
            share = (processor_seconds(server) - before[1]) / (time.monotonic() - before[0])
            browser.close()
    finally:
        server.terminate()
        server.wait()
        late = feeder.communicate()[0].strip()
    return lags, share, late


def main(programs, rate="20000", signals="2000", seconds="20"):
    with tempfile.TemporaryDirectory() as folder:
        names = pathlib.Path(folder) / "names.json"
        names.write_text(json.dumps(definitions(int(signals))))
        lags, share, late = measure(pathlib.Path(programs), names, int(rate), int(seconds))
    print(f"{len(lags)} values seen, frame to screen: median {lags[len(lags) // 2]:.1f} ms, "
          f"95 % {lags[int(len(lags) * 0.95)]:.1f} ms, largest {lags[-1]:.1f} ms; "
          f"the server took {share * 100:.0f} % of a processor; {late}")


if __name__ == "__main__":
    main(*sys.argv[1:])
