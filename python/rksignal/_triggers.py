"""Trigger conditions over traces."""

import collections.abc
import dataclasses

import numpy

from . import _progress, _reading, _rksignal, _times
from ._errors import ConditionWarning, TraceWarning, warn


@dataclasses.dataclass(frozen=True)
class Firing:
    """A condition that fired.

    Attributes
    ----------
    condition : str
        Its name.
    time : numpy.datetime64
        In nanoseconds, UTC: that of the message, or of the end of a time-out.
    number : int
        Which firing of the condition this is, from 1.
    channel : int or None
    bus : str or None
        Of the message; None after a time-out.
    values : dict of str to float
        The signals of the condition at that time; None where one has no value.
    explanation : str
        The condition and each of its parts with their values, a line each. Empty if it was not asked for.
    """

    condition: str
    time: numpy.datetime64
    number: int
    channel: int | None
    bus: str | None
    values: dict
    explanation: str


def triggers(traces, db, conditions, start=None, end=None, *, edge=False, timeout=None, allow_unknown=False,
             explain=True, progress=False):
    """Watches conditions while traces are decoded.

    Parameters
    ----------
    traces, db, start, end, progress
        As those of `rksignal.read`.
    conditions : mapping of str to str, or str, or several
        Conditions by their names: ``{"fast": "Vehicle.Speed > 100 && Gear.Current == 6"}``. Without a name a condition
        is its own name. They are those of ``rksignal trigger``.
    edge : bool
        Whether conditions fire when they become true. Otherwise they fire each time that they are evaluated, as one
        of their signals has changed, and are true.
    timeout : float, optional
        Seconds after which a signal that is not written becomes unknown; without it never.
    allow_unknown : bool
        Whether a name that no signal has counts as 0 instead of being an error.
    explain : bool
        Whether firings come with an explanation.

    Yields
    ------
    Firing
        In the order in which they happen.

    Raises
    ------
    Error
        A condition cannot be used, or a trace cannot be read.

    Examples
    --------
    >>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
    >>> conditions = {"overspeed": "Vehicle.Speed > 100 && Gear.Current == 6"}
    >>> firings = list(rksignal.triggers("drive.log", db, conditions, edge=True))
    >>> firings[0].time, firings[0].values
    (np.datetime64('2023-11-14T22:16:36.600463000'), {'Gear.Current': 6.0, 'Vehicle.Speed': 106.05})
    >>> print(firings[0].explanation)
    Vehicle.Speed > 100 && Gear.Current == 6: true
      Vehicle.Speed > 100: true
        Vehicle.Speed: 106.05 km/h
      Gear.Current == 6: true
        Gear.Current: 6 (Sixth)
    """
    bar = _progress.bar(progress)
    settings = {
        "conditions": _named(conditions),
        "edge": edge,
        "timeout": None if timeout is None else _times.nanoseconds(timeout),
        "allow_unknown": allow_unknown,
        "explain": explain,
    }
    reading = _rksignal.read_triggers(db._definitions, _reading.request(traces, start, end, bar), settings)
    warn([ConditionWarning(*remark) for remark in reading.condition_remarks()])
    return _firings(reading, bar)


def _firings(reading, bar):
    try:
        while found := reading.next():
            for name, time, *rest in found:
                yield Firing(name, numpy.datetime64(time, "ns"), *rest)
    finally:
        if bar is not None:
            bar.close()
    warn([TraceWarning(*remark) for remark in reading.remarks()])


def _named(conditions):
    if isinstance(conditions, str):
        conditions = [conditions]
    if not isinstance(conditions, collections.abc.Mapping):
        conditions = {condition: condition for condition in conditions}
    return list(conditions.items())
