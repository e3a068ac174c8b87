"""Uses the page of `rksignal serve` in headless Chromium, while feed_slots writes what it shows.

    live_page_test.py RKSIGNAL FEED_SLOTS FOLDER
"""

import json
import pathlib
import sys

from live_server import Feeder, Server
from playwright.sync_api import expect, sync_playwright
from waiting import be_patient, wait_until

HOSTILE = "<img src=x onerror='window.broken = 1'>\u202e"
DEFINITIONS = {"can": [
    {"instance": "LivePage.Speed", "msgId": 0x100, "startbit": 0, "bits": 16, "scale": 0.25, "unit": "rpm",
     "comment": "</script><script>window.broken = 2</script>"},
    {"instance": "LivePage.Gear", "msgId": 0x100, "startbit": 16, "bits": 8,
     "valueDescriptions": {"1": "<i>first</i>", "2": "second"}},
    {"instance": "LivePage." + HOSTILE, "msgId": 0x101, "startbit": 0, "bits": 8, "unit": "<b>V</b>"}]}
INK = """() => {
    // Whether there is a line of the curve's colour in the right half of the first plot.
    const canvas = document.querySelector(".plot canvas");
    const half = canvas.width / 2;
    const pixels = canvas.getContext("2d").getImageData(half, 0, half, canvas.height).data;
    let blue = 0;
    for (let i = 0; i < pixels.length; i += 4) {
        if (pixels[i + 3] > 200 && pixels[i] < 60 && pixels[i + 1] > 90 && pixels[i + 2] > 150) ++blue;
    }
    return blue > 20;
}"""


class Session:
    """The page, its server and a writer; every complaint of the page is noted."""

    def __init__(self, browser, program, feed, folder):
        self.program, self.names = program, folder / "live.json"
        self.names.write_text(json.dumps(DEFINITIONS))
        self.feeder = Feeder(feed, self.names)
        self.server = self.serve(0)
        self.troubles = []
        self.page = browser.new_context(viewport={"width": 1600, "height": 1000}).new_page()
        be_patient(self.page)
        self.page.on("pageerror", lambda error: self.troubles.append(f"error: {error}"))
        self.page.on("console", lambda message: self.troubles.append(message.text) if "ERR_" not in message.text else 0)
        self.page.on("request", self.note_request)

    def serve(self, port):
        return Server(self.program, self.names, "--when", "fast=LivePage.Speed > 100", "--stale", "1.5", port=port)

    def note_request(self, request):
        if not request.url.startswith((f"http://127.0.0.1:{self.server.port}/", "data:")):
            self.troubles.append(f"request: {request.url}")

    def write(self, name, raw):
        self.feeder.write(f"LivePage.{name}={raw}")

    def row(self, name):
        return self.page.locator("#table .body .tr", has=self.page.get_by_text(f"LivePage.{name}", exact=True))

    def open(self):
        self.page.goto(self.server.url)
        self.page.wait_for_selector("html[data-ready]")


def shows_values(session):
    session.write("Speed", 100)
    session.open()
    speed = session.row("Speed")
    expect(speed.locator(".current")).to_have_text("25")
    for raw in (200, 444):
        session.write("Speed", raw)
        expect(speed.locator(".current")).to_have_text(f"{raw / 4:g}")
    expect(speed).to_have_class("tr fresh")
    session.write("Gear", 2)
    expect(session.row("Gear").locator(".current")).to_have_text("second (2)")
    expect(session.page.locator(".panel .instance")).to_have_text(["LivePage.Speed"]) # the condition's
    expect(session.page.locator(".panel .read")).to_have_text("111 rpm")
    wait_until(session.page, f"({INK})()")
    expect(speed).to_have_class("tr stale") # nothing is written any more
    expect(session.page.locator(".panel .read")).to_have_class("read stale")
    session.write("Gear", "")
    expect(session.row("Gear").locator(".current")).to_have_text("no value")


def explains_conditions(session):
    page = session.page
    entry = page.locator("#conditions li", has_text="fast")
    expect(entry.locator(".state")).to_have_text("true")
    expect(entry.locator(".times")).to_have_text("fired once")
    entry.get_by_text("Why, and when").click()
    expect(entry.locator("pre").first).to_have_text("LivePage.Speed > 100: true\n  LivePage.Speed: 111 rpm\n")
    expect(entry.locator(".firing summary")).to_contain_text("still true")
    session.write("Speed", 40)
    expect(entry.locator(".state")).to_have_text("false")
    expect(entry.locator("pre").first).to_contain_text("LivePage.Speed: 10 rpm")
    entry.locator(".firing summary").click()
    expect(entry.locator(".firing pre")).to_contain_text("LivePage.Speed: 111 rpm")


def shows_texts_as_texts(session):
    page = session.page
    session.write("Gear", 1)
    session.write(HOSTILE, 7)
    expect(session.row("Gear").locator(".current")).to_have_text("<i>first</i> (1)")
    expect(session.row(HOSTILE[:-1] + "⟨U+202E⟩").locator(".unit")).to_have_text("<b>V</b>")
    assert page.evaluate("window.broken === undefined"), "a text has become a script"
    assert page.locator("b, i, body img").count() == 0, "a text has become markup"


def obeys_keys(session):
    page = session.page
    page.locator("body").click(position={"x": 800, "y": 5})
    page.keyboard.press("/")
    page.keyboard.type("second")
    expect(page.locator("#table .body .tr .name")).to_have_text(["LivePage.Gear"])
    expect(page.locator("#found")).to_have_text("1 of 3")
    page.get_by_label("Show the curve of LivePage.Gear").check()
    expect(page.get_by_role("group", name="LivePage.Gear")).to_be_visible()
    page.fill("#search", "")
    page.keyboard.press("Escape")
    page.keyboard.press("Space")
    expect(page.locator("#pause")).to_have_text("Go on")
    session.write("Speed", 80)
    page.wait_for_timeout(300)
    expect(session.row("Speed").locator(".current")).to_have_text("10") # held still
    page.keyboard.press("Space")
    expect(session.row("Speed").locator(".current")).to_have_text("20")
    page.keyboard.press("-")
    expect(page.locator("#span")).to_have_text("2 min")
    page.keyboard.press("?")
    expect(page.get_by_role("dialog")).to_be_visible()
    page.keyboard.press("Escape")
    page.get_by_role("button", name="Value", exact=True).click()
    expect(page.locator("#table .head .current")).to_have_attribute("aria-sort", "ascending")
    page.reload()
    expect(page.locator(".panel .instance")).to_have_text(["LivePage.Speed", "LivePage.Gear"])


def suits_the_screen(session):
    page = session.page
    shade = "getComputedStyle(document.body).backgroundColor"
    light = page.evaluate(shade)
    page.keyboard.press("t")
    wait_until(page, f"{shade} !== '{light}'")
    for width in (1600, 1000, 700, 400, 320):
        page.set_viewport_size({"width": width, "height": 800})
        wait_until(page, f"innerWidth === {width} && document.documentElement.scrollWidth <= {width}")
    page.set_viewport_size({"width": 1600, "height": 1000})


def finds_its_server_again(session):
    page = session.page
    session.server.end()
    expect(page.get_by_role("alert")).to_contain_text("lost")
    session.server = session.serve(session.server.port)
    expect(page.locator("#facts .link")).to_have_text("connected")
    session.write("Speed", 160)
    expect(session.row("Speed").locator(".current")).to_have_text("40")


def main(program, feed, folder):
    with sync_playwright() as driver:
        browser = driver.chromium.launch(executable_path="/usr/bin/chromium")
        session = Session(browser, program, feed, pathlib.Path(folder))
        try:
            for case in (shows_values, explains_conditions, shows_texts_as_texts, obeys_keys, suits_the_screen,
                         finds_its_server_again):
                case(session)
                assert not session.troubles, session.troubles
                print(f"ok {case.__name__} on the live page")
            session.server.end()
            session.feeder.end()
        finally:  # whoever waits for the output of this test waits for theirs, too
            session.server.process.kill()
            session.feeder.process.kill()
        browser.close()


if __name__ == "__main__":
    main(*sys.argv[1:])
