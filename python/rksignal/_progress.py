"""A bar for who waits, where tqdm is there."""


def bar(wanted):
    """What is told how far reading has come: called with bytes read, and all bytes; or None."""
    if not wanted:
        return None
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return None
    return _Bar(tqdm)


class _Bar:
    def __init__(self, tqdm):
        self._tqdm = tqdm
        self._bar = None

    def __call__(self, position, size):
        if self._bar is None:
            self._bar = self._tqdm(total=size or None, unit="B", unit_scale=True)
        self._bar.update(position - self._bar.n)

    def close(self):
        if self._bar is not None:
            self._bar.close()
