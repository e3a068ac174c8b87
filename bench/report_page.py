"""Measures the page of `rksignal report`: how long it takes to write and to open, its size, and how fluently it zooms.

    build/browser/bin/python bench/report_page.py BIN FOLDER [FRAMES...]

BIN holds the programs rksignal and make_drive; the drives and pages are written to the folder. Chromium runs without a
screen and without a graphics processor, so that it draws with the processor alone: 1600 by 1000 pixels, eight panels.
The page is opened five times; the wheel then zooms in and out for five seconds, a step each time the browser asks for
a picture. Printed are the median time to open, pictures a second, and the time within which 95 of 100 pictures came.
"""

import pathlib
import statistics
import subprocess
import sys
import time

from playwright.sync_api import sync_playwright

SAMPLE = 20  # seconds of the drive that tell how many frames a second has
ZOOM = """async () => {
    const plot = document.querySelector(".plot");
    const box = plot.getBoundingClientRect();
    const times = [];
    const start = performance.now();
    for (let last = start; last < start + 5000;) {
        const deltaY = (last - start) % 2000 < 1000 ? -20 : 20;
        plot.dispatchEvent(new WheelEvent("wheel", {deltaY, clientX: box.left + box.width * 0.6, clientY: box.top + 20,
                                                    bubbles: true, cancelable: true}));
        await new Promise((done) => requestAnimationFrame(done));
        times.push(performance.now() - last);
        last = performance.now();
    }
    times.sort((a, b) => a - b);
    return [times.length / 5, times[Math.floor(times.length * 0.95)]];
}"""


def write_drive(programs, log, seconds):
    subprocess.run([programs / "make_drive", "--seconds", str(seconds), "--output", log], check=True,
                   stdout=subprocess.DEVNULL)


def count_lines(path):
    with open(path, "rb") as file:
        return sum(piece.count(b"\n") for piece in iter(lambda: file.read(1 << 20), b""))


def write_page(programs, log, page):
    drive = pathlib.Path(__file__).parent.parent / "examples" / "drive"
    started = time.monotonic()
    subprocess.run([programs / "rksignal", "report", "--quiet", "--dbc", f"0={drive / 'drive.dbc'}",
                    "--dbc", f"1={drive / 'body.dbc'}", "--when", "overspeed=Vehicle.Speed > 100 && Gear.Current == 6",
                    log, "-o", page], check=True)
    return time.monotonic() - started


def open_page(browser, path):
    page = browser.new_context(viewport={"width": 1600, "height": 1000}).new_page()
    page.goto(path.resolve().as_uri())
    page.wait_for_selector("html[data-ready]", timeout=60_000)
    opened = page.evaluate("""() => new Promise((done) =>
        requestAnimationFrame(() => requestAnimationFrame(() => done(performance.now()))))""")
    return page, opened / 1000


def measure(browser, path):
    times = []
    for _ in range(5):
        page, opened = open_page(browser, path)
        times.append(opened)
        shown = page.evaluate(ZOOM) if len(times) == 5 else None
        page.context.close()
    return statistics.median(times), *shown


def main(programs, folder, *wanted):
    programs, folder = pathlib.Path(programs), pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    sample = folder / "sample.log"
    write_drive(programs, sample, SAMPLE)
    rate = count_lines(sample) / SAMPLE
    print("    frames  written in s  page in MB  opens in s  pictures/s  95 % within ms")
    with sync_playwright() as driver:
        browser = driver.chromium.launch(executable_path="/usr/bin/chromium")
        for frames in wanted or ("10000", "1000000", "10000000"):
            log = folder / f"{frames}.log"
            if not log.exists():
                write_drive(programs, log, round(int(frames) / rate))
            path = folder / f"{frames}.html"
            written = write_page(programs, log, path)
            opened, pictures, within = measure(browser, path)
            print(f"{count_lines(log):10}  {written:12.2f}  {path.stat().st_size / 1e6:10.2f}  {opened:10.2f}"
                  f"  {pictures:10.1f}  {within:14.1f}", flush=True)
        browser.close()


if __name__ == "__main__":
    main(*sys.argv[1:])
