"""Makes the picture of the page of `rksignal serve` in the manual: the example drive at its own pace for a minute.

    build/browser/bin/python docs/pictures/live_page.py BIN PICTURE [WIDTH HEIGHT [dark]]

BIN holds the programs rksignal, make_drive and feed_slots.
"""

import json
import pathlib
import subprocess
import sys
import tempfile
import threading
import time

from playwright.sync_api import sync_playwright

DEFINITIONS = pathlib.Path(__file__).parent.parent.parent / "examples" / "drive" / "drive.dbc"
BEGIN, SECONDS = 30, 70
CONDITIONS = ["--when", "fast = Vehicle.Speed > 50", "--when", "high_revs = Engine.Speed > 2500 && Gear.Current >= 2"]


def read_values(programs, log):
    """The values of the drive, each (second, line for feed_slots)."""
    rows = subprocess.run([programs / "rksignal", "decode", "--quiet", "--format", "jsonl", "--time", "relative", "--dbc",
                           DEFINITIONS, log], check=True, capture_output=True, text=True).stdout.splitlines()
    for row in map(json.loads, rows):
        raw = row["raw"] if isinstance(row["raw"], int) else int(row["raw"], 16)
        yield row["time"], f"{row['instance']}={raw % 2**64}\n"


def feed(process, values):
    started = time.monotonic()
    for second, line in values:
        wait = started + second - BEGIN - time.monotonic()
        if wait > 0.002:
            process.stdin.flush()
            time.sleep(wait)
        process.stdin.write(line)
    process.stdin.close()


def take(url, picture, width, height, scheme):
    with sync_playwright() as driver:
        browser = driver.chromium.launch(executable_path="/usr/bin/chromium")
        page = browser.new_context(viewport={"width": width, "height": height}, color_scheme=scheme).new_page()
        page.goto(url)
        page.wait_for_selector("html[data-ready]")
        page.locator("details summary").last.click()
        page.wait_for_timeout((SECONDS - 12) * 1000)
        page.screenshot(path=picture)
        browser.close()


def main(programs, picture, width="1280", height="900", scheme="light"):
    programs = pathlib.Path(programs)
    with tempfile.TemporaryDirectory() as folder:
        log = pathlib.Path(folder) / "drive.log"
        subprocess.run([programs / "make_drive", "--seconds", str(BEGIN + SECONDS), "--output", log], check=True,
                       stdout=subprocess.DEVNULL)
        values = [value for value in read_values(programs, log) if value[0] >= BEGIN]
    feeder = subprocess.Popen([programs / "feed_slots", DEFINITIONS], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                              text=True)
    thread = threading.Thread(target=feed, args=(feeder, values))
    thread.start()
    server = subprocess.Popen([programs / "rksignal", "serve", "--quiet", "--dbc", DEFINITIONS, "--listen", ":0",
                               *CONDITIONS], stdout=subprocess.PIPE, text=True)
    take(server.stdout.readline().strip(), picture, int(width), int(height), scheme)
    server.terminate()
    server.wait()
    thread.join()
    feeder.wait()


if __name__ == "__main__":
    main(*sys.argv[1:])
