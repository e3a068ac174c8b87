"""Moments as people write them, in nanoseconds."""

import datetime
import decimal
import operator

import numpy

from . import _rksignal
from ._errors import Error

_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
_LATEST_SECOND = 10**11


def nanoseconds(seconds):
    """Seconds, as a number, exactly as it is shown."""
    return int(decimal.Decimal(repr(float(seconds))).scaleb(9))


def moment(name, value):
    """`(nanoseconds, whether they count from the start of the traces)`, or None."""
    if value is None:
        return None
    made = _moment(value)
    if made is None:
        raise Error(f"{name}={value!r} is not a time")
    if not 0 <= made[0] < 2**64:
        raise Error(f"{name}={value!r} is out of range: times lie between 1970 and 2554")
    return made


def _moment(value):
    if isinstance(value, str):
        return _rksignal.parse_moment(value)
    if isinstance(value, numpy.datetime64):
        return None if numpy.isnat(value) else (int(value.astype("datetime64[ns]").astype(numpy.int64)), False)
    if isinstance(value, numpy.timedelta64):
        return None if numpy.isnat(value) else (int(value.astype("timedelta64[ns]").astype(numpy.int64)), True)
    if hasattr(value, "as_unit"):  # Timestamp and Timedelta of pandas
        return value.as_unit("ns").value, not isinstance(value, datetime.datetime)
    if isinstance(value, datetime.datetime):
        if value.tzinfo is None:
            value = value.replace(tzinfo=datetime.timezone.utc)
        return _microseconds(value - _EPOCH) * 1000, False
    if isinstance(value, datetime.timedelta):
        return _microseconds(value) * 1000, True
    return _number(value)


def _microseconds(duration):
    return duration // datetime.timedelta(microseconds=1)


def _number(value):
    """Whole numbers are seconds as long as no year has more than four digits, then nanoseconds."""
    if isinstance(value, (bool, numpy.bool_)):
        return None
    try:
        whole = operator.index(value)
        return (whole if abs(whole) >= _LATEST_SECOND else whole * 10**9), False
    except TypeError:
        pass
    try:
        return nanoseconds(value), False
    except (TypeError, ValueError, OverflowError, decimal.InvalidOperation):
        return None
