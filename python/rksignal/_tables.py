"""Columns as tables of those libraries that are there."""

import numpy


def numpy_of(columns):
    """A dict of arrays."""
    return {name: column.array() for name, column in columns.items()}


def pandas_of(columns):
    """A frame; texts are categories, integers that can be null have types of their own."""
    import pandas

    return pandas.DataFrame({name: _series(pandas, column) for name, column in columns.items()})


def _series(pandas, column):
    values, valid = column.values(), column.valid()
    if column.is_text:
        codes = values if valid is None else numpy.where(valid, values, -1)
        return pandas.Categorical.from_codes(codes, column.categories())
    if values.dtype.kind == "M":
        return pandas.Series(values).dt.tz_localize("UTC")
    if column.nullable and values.dtype.kind in "iu":
        missing = numpy.zeros(len(values), bool) if valid is None else ~valid
        return pandas.arrays.IntegerArray(values.copy(), missing)
    return column.array()


def polars_of(stream):
    """What speaks the Arrow C stream interface as a frame."""
    import polars

    return polars.DataFrame(stream)
