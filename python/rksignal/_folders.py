"""Folders of drives: their names, and how they appear as a whole or not at all."""

import collections.abc
import fcntl
import hashlib
import os
import shutil

from ._errors import Error, FileError

_UNSAFE = set('"#%\'*/:=?\\{}[]^<>|') | {chr(code) for code in (*range(32), 127)}
_LONGEST = 200  # bytes of a name, of the 255 that file systems allow


def partition(key, name):
    """``KEY=NAME``, escaped as Apache Hive does it: readers of partitioned data sets undo it."""
    text = os.fsencode(name).decode("utf-8", "backslashreplace")
    escaped = [f"%{ord(char):02X}" if char in _UNSAFE else char for char in text]
    if len("".join(escaped).encode()) > _LONGEST:
        mark = "~" + hashlib.sha256(text.encode()).hexdigest()[:16]
        while len("".join(escaped).encode()) > _LONGEST - len(mark):
            escaped.pop()
        escaped.append(mark)
    return f"{key}={''.join(escaped) or '__HIVE_DEFAULT_PARTITION__'}"


def drives_of(traces):
    """The paths of each drive, by its name."""
    if isinstance(traces, collections.abc.Mapping):
        named = {str(name): _paths(of_drive) for name, of_drive in traces.items()}
    else:
        named = dict(zip(*_names(_paths(traces))))
    if not named or not all(named.values()):
        raise Error("there are no traces")
    return named


def _paths(traces):
    several = [traces] if isinstance(traces, (str, bytes, os.PathLike)) else list(traces)
    return [os.fsdecode(path) for path in several]


def _names(paths):
    """Of each path its last components, as many as it takes to tell it from the others."""
    whole = [os.path.realpath(path) for path in paths]
    if len(set(whole)) < len(whole):
        twice = next(path for path, real in zip(paths, whole) if whole.count(real) > 1)
        raise Error(f"{twice} is named twice", twice)
    parts = [os.path.abspath(path).split("/") for path in paths]
    length = [1] * len(paths)
    while True:
        names = ["/".join(each[-count:]) for each, count in zip(parts, length)]
        many = {name for name in names if names.count(name) > 1} if len(set(names)) < len(names) else set()
        if not many:
            return names, [[path] for path in paths]
        length = [count + (name in many) for name, count in zip(names, length)]


def _is_in(path, folder):
    return os.path.realpath(path).startswith(os.path.join(os.path.realpath(folder), ""))


class Target:
    """The folder of a drive. As a context manager: a folder to write to, which becomes that of the drive when it is
    published, and else is removed."""

    def __init__(self, folder, drive, overwrite, inputs):
        self.path = os.path.join(os.fspath(folder), partition("drive", drive))
        self._overwrite = overwrite
        self._temporary = os.path.join(os.fspath(folder), f".{os.path.basename(self.path)}.part")
        self._lock = None
        if os.path.lexists(self.path) and not overwrite:
            raise Error(f"{self.path} is there already", self.path)
        for path in inputs:
            if any(_is_in(path, replaced) for replaced in (self.path, self._temporary)):
                raise Error(f"{path} is read, and lies in {self.path}, which would be replaced", path)

    def __enter__(self):
        try:
            self._open()
        except FileError:
            raise
        except OSError as error:
            raise FileError(f"cannot write {self._temporary}: {error.strerror}", self._temporary) from error
        return self._temporary

    def _open(self):
        """What a process that was killed has left is taken over; one that still writes holds the lock."""
        os.makedirs(self._temporary, exist_ok=True)
        self._lock = os.open(self._temporary, os.O_RDONLY | os.O_DIRECTORY)
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            self._refuse()
        if not os.path.samestat(os.fstat(self._lock), os.stat(self._temporary)):
            self._refuse()  # it has just become a drive
        for entry in os.scandir(self._temporary):
            shutil.rmtree(entry.path) if entry.is_dir(follow_symlinks=False) else os.remove(entry.path)

    def _refuse(self):
        os.close(self._lock)
        raise FileError(f"{self.path} is being written by another process", self.path) from None

    def publish(self):
        """From now on the drive is there."""
        former = f"{self._temporary}.old"
        try:
            shutil.rmtree(former, ignore_errors=True)
            if self._overwrite and os.path.lexists(self.path):
                os.rename(self.path, former)
            os.rename(self._temporary, self.path)
            shutil.rmtree(former, ignore_errors=True)
        except OSError as error:
            raise FileError(f"cannot write {self.path}: {error.strerror}", self.path) from error

    def __exit__(self, *_):
        if os.path.isdir(self._temporary):
            shutil.rmtree(self._temporary)
        os.close(self._lock)
