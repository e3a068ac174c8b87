"""How a signal comes to its value."""

import dataclasses

from . import _progress, _reading, _rksignal
from ._definitions import Signal
from ._errors import TraceWarning, warn


@dataclasses.dataclass(frozen=True, repr=False)
class Explanation:
    """How a signal came to its last value, or why it has none. Shows itself as text.

    Attributes
    ----------
    name : str
    value : float or None
        The last one; None: it has no value.
    text : str
        What ``rksignal explain`` writes.
    """

    name: str
    value: float | None
    text: str

    def __repr__(self):
        return self.text


def explain(traces, db, signal, start=None, end=None, *, frames=5, progress=False):
    """Explains how a signal comes to its value, or why it has none.

    Parameters
    ----------
    traces, db, start, end, progress
        As those of `rksignal.read`.
    signal : str or Signal
        One, by its name; also one that the definitions have and that is not decoded.
    frames : int
        How many of the last frames are shown.

    Returns
    -------
    Explanation

    Examples
    --------
    >>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
    >>> rksignal.explain("drive.log", db, "Gear.Current", frames=1)
    Gear.Current: 6
      defined   drive.dbc:...
      ...
    >>> rksignal.explain("drive.log", db, "Crash.Severity").value
    """
    bar = _progress.bar(progress)
    name = signal.name if isinstance(signal, Signal) else signal
    try:
        request = _reading.request(traces, start, end, bar)
        value, text, remarks = _rksignal.explain(db._definitions, request, name, _reading.rows_of(frames, "frames"))
    finally:
        if bar is not None:
            bar.close()
    warn([TraceWarning(*remark) for remark in remarks])
    return Explanation(name, value, text)
