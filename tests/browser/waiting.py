"""Waiting for what a page shows."""

import time

from playwright.sync_api import expect

PATIENCE = 60  # seconds: a machine that does much else may take some for what is mostly there at once
expect.set_options(timeout=1000 * PATIENCE)


def be_patient(page):
    """Gives what a test does on a page as much time as what it expects."""
    page.set_default_timeout(1000 * PATIENCE)


def wait_until(page, expression, seconds=PATIENCE):
    """Waits until a JavaScript expression is true. The page's Content Security Policy allows no scripts of others, so
    that it cannot wait by itself: it is asked again and again."""
    end = time.monotonic() + seconds
    while not page.evaluate(expression):
        assert time.monotonic() < end, f"never true: {expression}"
        page.wait_for_timeout(20)
