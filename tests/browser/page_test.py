"""Uses the page of `rksignal report` in headless Chromium as an engineer would.

    page_test.py RKSIGNAL FOLDER

The page shows the drive of hostile_drive.py. What it is to show is worked out from the formulas there.
"""

import contextlib
import pathlib
import re
import subprocess
import sys

import hostile_drive
import playwright.sync_api
from playwright.sync_api import expect, sync_playwright
from waiting import be_patient, wait_until

LOOK_FOR = """() => {
    // Whether a curve is in the highest tenth of the first plot, near the column of a time (share of the width).
    const canvas = document.querySelector(".plot canvas");
    const scale = window.devicePixelRatio, left = 56 * scale;
    const x = Math.round(left + (canvas.width - left) * SHARE);
    const pixels = canvas.getContext("2d").getImageData(x - 3, 0, 7, Math.round(canvas.height / 10)).data;
    for (let i = 0; i < pixels.length; i += 4) {
        if (pixels[i + 3] > 100 && pixels[i] < 80 && pixels[i + 2] > 120) return true;
    }
    return false;
}"""


class Session:
    """A browser that notes every complaint and every request of the page."""

    def __init__(self, browser, path, **options):
        self.path = path
        self.troubles = []
        self.page = browser.new_context(**{"viewport": {"width": 1600, "height": 1000}, **options}).new_page()
        self.page.on("console", lambda message: self.troubles.append(f"console: {message.text}"))
        self.page.on("pageerror", lambda error: self.troubles.append(f"error: {error}"))
        self.page.on("dialog", lambda dialog: self.troubles.append(f"dialog: {dialog.message}"))
        self.page.on("request", self.note_request)

    def note_request(self, request):
        if request.url.split("#")[0] != self.path.as_uri():
            self.troubles.append(f"request: {request.url}")

    def open(self, part=""):
        self.page.goto("about:blank")
        self.page.goto(self.path.as_uri() + part)
        self.page.wait_for_selector("html[data-ready]")

    def settle(self):
        """Waits until the address tells the view, which it does after a quarter of a second."""
        self.page.wait_for_timeout(1000)

    def window(self):
        """The visible seconds, as the address tells them."""
        self.settle()
        match = re.search(r"window=(\d+)-(\d+)", self.page.url)
        return (int(match[1]) / 1e6, int(match[2]) / 1e6) if match else (0.0, hostile_drive.SECONDS - 0.01)

    def panel(self, name):
        return self.page.get_by_role("group", name=name, exact=True)

    def expect_spike(self):
        share = str(hostile_drive.SPIKE / (hostile_drive.SECONDS - 0.01))
        assert self.page.evaluate(LOOK_FOR.replace("SHARE", share)), "the spike of one sample is not in the picture"


def opens_as_it_is(session):
    session.open()
    page = session.page
    expect(page.locator("#title")).to_have_text("drive <script>window.broken = 4<!--.log")
    expect(page.locator("#facts")).to_contain_text("2026-03-01 08:00:00")
    expect(session.panel("Engine.Speed").locator(".instance")).to_have_text("Engine.Speed")
    session.expect_spike()


def shows_texts_as_texts(session):
    session.open()
    page = session.page
    page.get_by_role("tab", name="Signals").click()
    names = [*hostile_drive.HOSTILE[:3], "⟨U+202E⟩gpj.exe⟨U+2066⟩"]
    for name in names:
        expect(page.locator("#table .name bdi").get_by_text(name, exact=True)).to_be_visible()
    expect(page.locator("#table .unit bdi").get_by_text("<b>⟨U+0007⟩⟨U+202E⟩V</b>").first).to_be_visible()
    expect(page.locator("#table .comment bdi").get_by_text("⟨U+0000⟩⟨U+001B⟩[31m⟨U+2028⟩").first).to_be_visible()
    assert page.evaluate("window.broken === undefined"), "a text has become a script"
    assert page.locator("b, i, body img").count() == 0, "a text has become markup"


def reads_values_at_the_cursor(session):
    for second in (10.0, 47.3, hostile_drive.SPIKE, 239.9):
        session.open(f"#cursor={round(second * 1e6)}&curves=Engine.Speed,Gear.State")
        expect(session.panel("Engine.Speed").locator(".read")).to_have_text(f"{hostile_drive.speed(second) / 4:g} rpm")
        expect(session.panel("Gear.State").locator(".read")).to_have_text(
            hostile_drive.SHOWN_STATES[hostile_drive.state(second)])
    session.open("#cursor=153000000&curves=Engine.Speed")
    expect(session.panel("Engine.Speed").locator(".read")).to_have_text("–")


def zooms(session):
    session.open()
    page = session.page
    box = page.locator(".plot").first.bounding_box()
    left, width, y = box["x"] + 56, box["width"] - 56, box["y"] + 50
    page.mouse.move(left + width * 0.25, y)
    page.mouse.down()
    page.mouse.move(left + width * 0.4, y)
    page.mouse.move(left + width * 0.5, y)
    page.mouse.up()
    begin, end = session.window()
    assert abs(begin - 60) < 1 and abs(end - 120) < 1, (begin, end)
    page.mouse.wheel(0, -100)
    smaller = session.window()
    assert begin < smaller[0] < smaller[1] <= end, smaller
    page.mouse.dblclick(left + width / 2, y)
    assert session.window() == (0.0, hostile_drive.SECONDS - 0.01), session.window()


def obeys_keys(session):
    session.open()
    page = session.page
    steps = [("+", 59.9975, 179.9925), ("+", 89.99625, 149.99375), ("ArrowRight", 101.99575, 161.99325),
             ("Home", 0, 59.9975), ("End", 179.9925, 239.99), ("-", 119.995, 239.99), ("0", 0, 239.99)]
    for key, begin, end in steps:
        page.keyboard.press(key)
        found = session.window()
        assert abs(found[0] - begin) < 0.001 and abs(found[1] - end) < 0.001, (key, found)
    page.keyboard.press("Shift+ArrowRight")
    expect(page.locator("#spoken")).to_contain_text("Engine.Speed")
    page.keyboard.press("?")
    expect(page.get_by_role("dialog")).to_be_visible()
    page.keyboard.press("Escape")
    page.keyboard.press("/")
    expect(page.locator("#search")).to_be_focused()


def finds_adds_and_removes_curves(session):
    session.open("#curves=Engine.Speed")
    page = session.page
    expect(page.locator(".panel")).to_have_count(1)
    page.fill("#search", "engine rpm")
    expect(page.locator("#found")).to_have_text("2 of 7")
    page.get_by_label("Show the curve of Engine.Second").check()
    expect(page.locator(".panel")).to_have_count(2)
    page.get_by_role("button", name="Join units").click()
    expect(session.panel("Engine.Speed, Engine.Second")).to_be_visible()
    page.fill("#search", "fast")  # a text of Gear.State
    page.locator("#table .body .tr").drag_to(page.locator(".plot").first)
    expect(session.panel("Gear.State")).to_be_visible()
    session.settle()
    page.reload()
    expect(page.locator(".panel")).to_have_count(2)
    page.get_by_role("button", name="Close Engine.Second").click()
    page.get_by_role("button", name="Close Gear.State").click()
    expect(page.locator(".instance")).to_have_text(["Engine.Speed"])


def jumps_to_firings_and_findings(session):
    session.open("#curves=Gear.State")
    page = session.page
    page.get_by_role("tab", name="Firings 1").click()
    page.locator(".firing summary").click()
    expect(page.locator(".firing pre")).to_contain_text("Engine.Speed: 15000 rpm")
    page.locator(".firing .moment").click()
    begin, end = session.window()
    assert begin < hostile_drive.SPIKE < end and end - begin < 20, (begin, end)
    page.get_by_role("tab", name="Findings").click()
    page.locator(".finding", has_text="6000 ms").locator(".moment").first.click()
    begin, end = session.window()
    assert begin < hostile_drive.GAP[0] < end and end - begin < 20, (begin, end)
    page.get_by_role("tab", name="Gaps 1").click()
    page.locator(".gap .moment").click()
    begin, end = session.window()
    assert begin < hostile_drive.GAP[0] < hostile_drive.GAP[1] < end, (begin, end)


def suits_the_screen(session):
    session.open()
    page = session.page
    shade = "getComputedStyle(document.body).backgroundColor"
    light = page.evaluate(shade)
    page.emulate_media(color_scheme="dark")
    dark = page.evaluate(shade)
    assert light != dark, "dark is not darker"
    page.get_by_role("button", name="Light").click()
    wait_until(page, f"{shade} === '{light}'")
    for width in (1600, 1000, 700, 400, 320):
        page.set_viewport_size({"width": width, "height": 800})
        wait_until(page, f"innerWidth === {width} && document.documentElement.scrollWidth <= {width}")


def obeys_fingers(session):
    session.open()
    page = session.page
    box = page.locator(".plot").first.bounding_box()
    page.touchscreen.tap(box["x"] + 56 + (box["width"] - 56) / 2, box["y"] + 40)
    expect(page.locator("#when")).to_contain_text("+1")
    expect(page.locator("#cursor")).to_be_visible()


def keeps_what_is_known_of_damage(session):
    session.open("#window=abc&curves=%E0%A4%A&cursor=-5&theme=blue")
    expect(session.panel("Engine.Speed")).to_be_visible()


CASES = [opens_as_it_is, shows_texts_as_texts, reads_values_at_the_cursor, zooms, obeys_keys,
         finds_adds_and_removes_curves, jumps_to_firings_and_findings, suits_the_screen,
         keeps_what_is_known_of_damage]
SMALL = {"viewport": {"width": 400, "height": 800}, "has_touch": True, "is_mobile": True, "device_scale_factor": 2}


def make_page(rksignal, folder):
    trace, names = hostile_drive.write(folder)
    page = folder / "page.html"
    subprocess.run([rksignal, "report", "--quiet", "--definitions", names, "--when", "fast=Engine.Speed > 10000", trace,
                    "-o", page], check=True)
    return page.resolve()


def run_cases(browser, path):
    failed = 0
    runs = [(case, {}) for case in CASES] + [(case, SMALL) for case in (opens_as_it_is, obeys_fingers)]
    for case, options in runs:
        session = Session(browser, path, **options)
        be_patient(session.page)
        trouble = None
        try:
            case(session)
        except (AssertionError, playwright.sync_api.Error) as error:
            trouble = error
        session.page.context.close()
        if trouble or session.troubles:
            failed += 1
            print(f"FAILED {case.__name__}: {trouble or ''}", *session.troubles[:5], sep="\n    ")
        else:
            print(f"ok {case.__name__}{' on a small screen' if options else ''}")
    return failed


def main(rksignal, folder):
    path = make_page(rksignal, pathlib.Path(folder))
    with sync_playwright() as driver, contextlib.closing(
            driver.chromium.launch(executable_path="/usr/bin/chromium")) as browser:
        sys.exit(1 if run_cases(browser, path) else 0)


if __name__ == "__main__":
    main(*sys.argv[1:])
