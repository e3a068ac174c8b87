"""Waiting for what a page shows."""

import time


def wait_until(page, expression, seconds=15):
    """Waits until a JavaScript expression is true. The page's Content Security Policy allows no scripts of others, so
    that it cannot wait by itself: it is asked again and again."""
    end = time.monotonic() + seconds
    while not page.evaluate(expression):
        assert time.monotonic() < end, f"never true: {expression}"
        page.wait_for_timeout(20)
