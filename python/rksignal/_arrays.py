"""Columns of batches as arrays of NumPy."""

import numpy

from . import _rksignal

_WIDTHS = {"c": "i1", "C": "u1", "s": "i2", "S": "u2", "i": "i4", "I": "u4", "l": "i8", "L": "u8", "f": "f4", "g": "f8"}


class Column:
    """A column of one or more batches, without copies of what is not needed."""

    def __init__(self, name, kind, nullable):
        self.name = name
        self.kind = kind  # the format in the Arrow C data interface, or "dictionary"
        self.nullable = nullable
        self.texts = None  # of a dictionary: index by text
        self._parts = []  # cells
        self._valid = []  # None, or which cells are no nulls
        self._last = None  # place of the last dictionary, the codes of its texts, and what keeps it

    def add(self, parts):
        _, kind, _, offset, length, validity, cells, dictionary = parts
        here = slice(offset, offset + length)
        values = _cells(kind, cells, here)
        valid = None if validity is None else _bits(validity, here)
        if dictionary is not None:
            if valid is not None:
                values = numpy.where(valid, values, 0)
            values = self._codes(dictionary)[values] if length else values.astype(numpy.int32)
        self._parts.append(values)
        self._valid.append(valid)

    def _codes(self, dictionary):
        place = _place(dictionary)
        if self._last is None or self._last[0] != place:
            self.texts = {} if self.texts is None else self.texts
            codes = [self.texts.setdefault(text, len(self.texts)) for text in _texts(dictionary)]
            self._last = place, numpy.array(codes or [0], dtype=numpy.int32), dictionary
        return self._last[1]

    def values(self):
        """The cells; of a dictionary their codes."""
        if not self._parts:
            return numpy.empty(0, dtype=_dtype(self.kind))
        return self._parts[0] if len(self._parts) == 1 else numpy.concatenate(self._parts)

    def valid(self):
        """Which cells are no nulls, or None if there are no nulls."""
        if all(valid is None for valid in self._valid):
            return None
        parts = [numpy.ones(len(part), bool) if valid is None else valid
                 for part, valid in zip(self._parts, self._valid)]
        return numpy.concatenate(parts)

    @property
    def is_text(self):
        return self.kind == "dictionary"

    def categories(self):
        return list(self.texts or ())

    def array(self):
        """What `to_numpy` gives."""
        values, valid = self.values(), self.valid()
        if self.is_text:
            texts = numpy.array(self.categories() + [None], dtype=object)
            return texts[values if valid is None else numpy.where(valid, values, -1)]
        if values.dtype.kind == "f":
            return values if valid is None else numpy.where(valid, values, numpy.nan).astype(values.dtype)
        if self.nullable and values.dtype.kind in "iu":
            return numpy.ma.MaskedArray(values, mask=False if valid is None else ~valid)
        return values


class Columns(dict):
    """The columns of one table by their names, filled batch by batch."""

    def __init__(self, schema):
        for name, kind, nullable in _rksignal.schema_columns(schema):
            self[name] = Column(name, kind, nullable)

    def add(self, batch):
        for parts in batch.columns():
            self[parts[0]].add(parts)


def _dtype(kind):
    if kind.startswith("ts"):
        return numpy.dtype("datetime64[ns]")
    if kind == "b":
        return numpy.dtype(bool)
    if kind == "dictionary":
        return numpy.dtype(numpy.int32)
    return numpy.dtype(_WIDTHS.get(kind, object))


def _cells(kind, cells, here):
    if kind == "b":
        return _bits(cells, here)
    if kind in "uz":
        return _pieces(kind, cells, here)
    if cells is None:
        return numpy.empty(0, dtype=_dtype(kind))
    return cells.view(_dtype(kind))[here]


def _bits(cells, here):
    if cells is None:
        return numpy.empty(0, dtype=bool)
    return numpy.unpackbits(cells, bitorder="little")[here].astype(bool)


def _pieces(kind, cells, here):
    ends, content = cells
    whole = b"" if content is None else content.tobytes()
    ends = [0] if ends is None else ends.view(numpy.int32).tolist()
    ends = ends[here.start:here.stop + 1]
    made = numpy.empty(len(ends) - 1, dtype=object)
    made[:] = [whole[first:last] for first, last in zip(ends, ends[1:])]
    return made


def _place(dictionary):
    """Where a dictionary lies in memory: the batches of a run share it as long as no text is added."""
    _, _, _, offset, length, _, cells, _ = dictionary
    return offset, length, *(None if part is None else part.ctypes.data for part in cells)


def _texts(dictionary):
    _, kind, _, offset, length, _, cells, _ = dictionary
    return [text.decode("utf-8", "replace") for text in _pieces(kind, cells, slice(offset, offset + length))]
