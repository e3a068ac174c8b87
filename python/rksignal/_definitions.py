"""Definition files: messages and signals, to look at and to decode with."""

import collections.abc
import dataclasses
import fnmatch
import html
import os

from . import _rksignal
from ._errors import DefinitionWarning, Error, warn


@dataclasses.dataclass(frozen=True)
class Signal:
    """A signal, as its definition has it. The physical value is raw value * `factor` + `offset`.

    Attributes
    ----------
    name : str
        Its unique name, as in the rows of tables: ``Message.Signal``, or what the file chooses.
    signal : str
        Its name in its message.
    message : str
        The name of its message.
    bus : str
        ``can``, ``lin``, ``flexray``, ``ethernet``, ``digital``, ``analog``, ``keyboard``, ``status`` or ``gps``.
    channel : int or None
        None: frames of all channels.
    id : int or None
        The identifier of its frame; the slot of FlexRay; None of other buses.
    unit, comment : str
    type : str
        ``unsigned``, ``signed``, ``float`` or ``double``.
    factor, offset : float
    minimum, maximum : float or None
        Physical, as far as the file tells them.
    values : dict of int to str
        The value table: texts of raw values.
    start_bit, bits : int
        Bit n is bit n % 8 of byte n // 8, and is the least significant one of a little-endian signal, the most
        significant one of a big-endian signal.
    byte_order : str
        ``little`` or ``big``.
    multiplexing : tuple or None
        Name of the multiplexer, and the ranges of its raw values, `(first, last)` each, for which the signal is there.
    initial, invalid : int or None
        Raw values that say that there is no value yet, or none.
    receivers : tuple of str
    place : str
        Where it is defined: ``FILE:LINE``.
    """

    name: str
    signal: str
    message: str
    bus: str
    channel: int | None
    id: int | None
    unit: str
    comment: str
    type: str
    factor: float
    offset: float
    minimum: float | None
    maximum: float | None
    values: dict = dataclasses.field(hash=False)
    start_bit: int
    bits: int
    byte_order: str
    multiplexing: tuple | None
    initial: int | None
    invalid: int | None
    receivers: tuple
    place: str

    def __repr__(self):
        unit = f" in {self.unit}" if self.unit else ""
        return f"<Signal {self.name}{unit}, {self.bits} bits of {self.bus} {_identifier(self)}>".replace(" >", ">")


@dataclasses.dataclass(frozen=True)
class Message:
    """A message: a frame, or a part of one, with its signals.

    Attributes
    ----------
    name, bus, channel, id
        As those of `Signal`.
    extended, fd : bool
        An identifier of CAN with 29 bits; a frame of CAN FD.
    parameter_group : bool
        A parameter group of SAE J1939: frames are matched by group and source address.
    length : int or None
        In bytes.
    sender, comment : str
    cycle_time : float or None
        In seconds.
    signals : Names of Signal
    place : str
        Where it is defined: ``FILE:LINE``.
    """

    name: str
    bus: str
    channel: int | None
    id: int | None
    extended: bool
    fd: bool
    parameter_group: bool
    length: int | None
    sender: str
    comment: str
    cycle_time: float | None
    signals: "Names"
    place: str

    def __repr__(self):
        return f"<Message {self.name}, {self.bus} {_identifier(self)}: {len(self.signals)} signals>"


def _identifier(item):
    if item.id is None:
        return ""
    return f"{item.id:X}" if item.bus != "flexray" else str(item.id)


class Names(tuple):
    """Messages or signals in their order, that can also be found by name: ``db.messages["Engine"]``."""

    def __getitem__(self, key):
        if not isinstance(key, str):
            return super().__getitem__(key)
        for item in self:
            if item.name == key:
                return item
        raise KeyError(_missing(key, [item.name for item in self]))

    def __contains__(self, key):
        return any(item.name == key for item in self) if isinstance(key, str) else super().__contains__(key)

    def names(self):
        """Their names, as a list."""
        return [item.name for item in self]


class Database(collections.abc.Mapping):
    """What definition files say, as `load` makes it: a mapping from the names of signals to signals.

    A name that no signal has may be that of a message. Does not change: any number of threads may read traces with it
    at the same time. Can be pickled: then the files are read again where it is unpickled.

    Attributes
    ----------
    messages : Names of Message
    signals : Names of Signal
    files : tuple of str
    remarks : list of DefinitionWarning
        All that was remarkable in the files; what is more than a remark was also issued through `warnings`.

    Examples
    --------
    >>> db = rksignal.load("0=drive.dbc", "1=body.dbc")
    >>> db["Vehicle.Speed"].unit
    'km/h'
    >>> db["Gear.Current"].values[6]
    'Sixth'
    >>> db.messages["Brake"].signals.names()[:2], db.messages["Brake"].cycle_time
    (['Brake.PedalPressed', 'Brake.AbsActive'], 0.02)
    >>> "Vehicle.Height" in db
    False
    """

    def __init__(self, sources, clusters, channels):
        self._arguments = (sources, clusters, channels)
        self._definitions = _rksignal.load(sources, clusters, channels)
        self.files = tuple(os.fsdecode(path) for path, _ in sources)
        self.messages = Names(_message(fields) for fields in self._definitions.messages())
        self.signals = Names(signal for message in self.messages for signal in message.signals)
        self.remarks = [DefinitionWarning(*remark) for remark in self._definitions.remarks()]
        self._by_name = {message.name: message for message in reversed(self.messages)}
        self._by_name.update((signal.name, signal) for signal in self.signals)
        warn(self.remarks)
        if not self.signals:
            raise Error(f"no usable definition in {', '.join(self.files)}", self.files[0])

    def __reduce__(self):
        return Database, self._arguments

    def __getitem__(self, name):
        try:
            return self._by_name[name]
        except KeyError:
            raise KeyError(_missing(name, list(self._by_name))) from None

    def __iter__(self):
        return iter(self.signals.names())

    def __len__(self):
        return len(self.signals)

    def __repr__(self):
        return (f"<Database of {', '.join(map(os.path.basename, self.files))}: "
                f"{len(self.messages)} messages, {len(self.signals)} signals>")

    def _repr_html_(self):
        most = 100
        head = ("signal", "unit", "message", "bus", "id", "channel", "texts", "comment")
        rows = [(s.name, s.unit, s.message, s.bus, _identifier(s), "all" if s.channel is None else s.channel,
                 ", ".join(f"{raw} {text}" for raw, text in list(s.values.items())[:8]), s.comment)
                for s in self.signals[:most]]
        cells = ["<tr>" + "".join(f"<td>{html.escape(str(cell))}</td>" for cell in row) + "</tr>" for row in rows]
        rest = f"<p>and {len(self) - most} more signals</p>" if len(self) > most else ""
        names = "".join(f"<th>{name}</th>" for name in head)
        return f"<table><thead><tr>{names}</tr></thead><tbody>{''.join(cells)}</tbody></table>{rest}"

    def select(self, signals):
        """The names of signals that are meant.

        Parameters
        ----------
        signals : str, Signal, Message, or several of them
            Names, or patterns as those of file names: ``"Engine.*"``. A message stands for its signals. The name of
            one sender's instance, as ``EEC1.EngSpeed@SA21``, is taken as it is.

        Returns
        -------
        list of str
            In the order of definition, each once.

        Raises
        ------
        Error
            Something matches no signal.
        """
        if isinstance(signals, (str, Signal, Message)):
            signals = [signals]
        wanted = {name: None for item in signals for name in self._meant(item)}
        return [name for name in self if name in wanted] + [name for name in wanted if name not in self._by_name]

    def _meant(self, item):
        if isinstance(item, Message):
            return item.signals.names()
        name = item.name if isinstance(item, Signal) else item
        if not isinstance(name, str):
            raise TypeError(f"signals are chosen by names, not by {type(name).__name__}")
        found = self._by_name.get(name)
        if found is not None:
            return found.signals.names() if isinstance(found, Message) else [name]
        if name.rpartition("@SA")[0] in self._by_name:
            return [name]
        matching = fnmatch.filter(self, name)
        if not matching:
            raise Error(_missing(name, list(self)))
        return matching


def load(*definitions, clusters=(), channels=None):
    """Reads definition files: DBC, JSON, LDF, KCD, SYM and ARXML, recognised by their content, also compressed.

    Parameters
    ----------
    *definitions : str, path or tuple
        A path; or ``(channel, path)``, or ``"channel=path"``, for frames of one channel only, which is a number or the
        name of an interface as traces have it (``can0``).
    clusters : iterable of str or tuple, optional
        Which clusters are read of ARXML and KCD files, by name or as ``(channel, name)``. Without it all are.
    channels : mapping of str to int, optional
        Channels of interfaces: without it, the digits at the end of a name are its channel.

    Returns
    -------
    Database

    Raises
    ------
    Error
        A file cannot be used. `Error.file` and `Error.line` say where.

    Warns
    -----
    DefinitionWarning
        A part of a file cannot be used. `Database.remarks` has all of them.

    Examples
    --------
    >>> rksignal.load("drive.dbc", ("1", "body.dbc"), "logger.json")
    <Database of drive.dbc, body.dbc, logger.json: 31 messages, 157 signals>
    """
    if not definitions:
        raise TypeError("load() takes at least one file of definitions")
    sources = [_source(each) for each in definitions]
    return Database(sources, [_cluster(each) for each in clusters], dict(channels or {}))


def _message(fields):
    common = {key: fields[key] for key in ("bus", "channel", "id")}
    signals = Names(Signal(message=fields["name"], **common, **each) for each in fields["signals"])
    return Message(**{**fields, "signals": signals})


def _source(definition):
    """`(path, channel)`"""
    if isinstance(definition, tuple):
        channel, path = definition
        return os.fsencode(path), _channel(channel)
    path = os.fspath(definition)
    if isinstance(path, str) and isinstance(definition, str):
        channel, equals, rest = path.partition("=")
        if equals and "/" not in channel and not os.path.exists(path):
            return os.fsencode(rest), _channel(channel)
    return os.fsencode(path), None


def _cluster(cluster):
    channel, name = cluster if isinstance(cluster, tuple) else (None, cluster)
    return name.encode(), _channel(channel)


def _channel(channel):
    if channel is None or isinstance(channel, str) and channel and not channel.isdecimal():
        return channel
    try:
        number = int(channel)
    except ValueError:
        number = -1
    if not 0 <= number <= 255:
        raise Error(f"{channel!r} is no channel: they are numbers from 0 to 255, or names of interfaces")
    return number


def _missing(name, names):
    return f"there is no signal {name}{_rksignal.close_names(name, names)}" if isinstance(name, str) else name
