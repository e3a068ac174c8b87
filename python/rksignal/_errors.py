"""Errors and remarks: what was wrong with a file, and where in it."""

import os
import re
import sys
import warnings


class Error(ValueError):
    """A file, a condition or an argument that cannot be used.

    Attributes
    ----------
    file : str or None
        The file that it is about.
    line : int or None
        The line in the file, from 1.
    """

    def __init__(self, text, file=None, line=None):
        super().__init__(text)
        self.file = file
        self.line = line

    def __reduce__(self):
        return type(self), (str(self), self.file, self.line)


class FileError(Error, OSError):
    """A file that cannot be opened or read."""


class FileMissingError(FileError, FileNotFoundError):
    """A file that does not exist."""


class Remark(UserWarning):
    """Something in a file that is used, but not as it stands there.

    Attributes
    ----------
    file : str
    line : int or None
        From 1.
    severity : str
        ``"remark"``: something was assumed; ``"warning"``: a part is left out; ``"error"``: it could not be understood,
        and is not used. Of these, warnings and errors are issued through `warnings`.
    text : str
    """

    def __init__(self, file, line, severity, text):
        super().__init__(f"{file}:{line}: {text}" if line else f"{file}: {text}")
        self.file = file
        self.line = line
        self.severity = severity
        self.text = text

    def __reduce__(self):
        return type(self), (self.file, self.line, self.severity, self.text)


class DefinitionWarning(Remark):
    """About a definition file."""


class TraceWarning(Remark):
    """About a trace."""


class ConditionWarning(Remark):
    """About a trigger condition."""


for _public in (Error, FileError, FileMissingError, Remark, DefinitionWarning, TraceWarning, ConditionWarning):
    _public.__module__ = "rksignal"


def error_of(text, file, line):
    """The exception for an error of the library: `text` names the file, and where it can be told the line."""
    if line is None and file is not None:
        found = re.search(re.escape(file) + r":(\d+)\b", text)
        line = int(found[1]) if found else None
    if file is not None and line is None and file != "-":
        if not os.path.exists(file):
            return FileMissingError(text, file)
        if not os.access(file, os.R_OK) or os.path.isdir(file):
            return FileError(text, file)
    return Error(text, file, line)


def warn(remarks, most=20):
    """Issues what is more than a remark, as if by the code that called into this package."""
    told = [remark for remark in remarks if remark.severity != "remark"]
    level = _outside()
    for remark in told[:most]:
        warnings.warn(remark, stacklevel=level)
    if len(told) > most:
        kind = type(told[0])
        warnings.warn(kind(told[-1].file, None, "warning", f"and {len(told) - most} more"), stacklevel=level)


def _outside():
    """The stack level, for whoever is called by warn(), of the first caller outside of this package."""
    here = os.path.dirname(__file__)
    level = 1
    frame = sys._getframe(1)
    while frame is not None and os.path.dirname(frame.f_code.co_filename) == here:
        frame = frame.f_back
        level += 1
    return level
