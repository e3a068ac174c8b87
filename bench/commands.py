"""The commands that are measured as a whole, and the recordings and definitions that they get."""

import pathlib
import re
import shutil
import subprocess
import sys
from functools import partial

ROOT = pathlib.Path(__file__).resolve().parent.parent
DRIVE = ROOT / "examples" / "drive"
CHANNELS = [f"0={DRIVE}/drive.dbc", f"1={DRIVE}/body.dbc"]
DEFINITIONS = ["--dbc", CHANNELS[0], "--dbc", CHANNELS[1]]
NETWORK = ["--definitions", DRIVE / "drive.arxml", "--signals", DRIVE / "logger.json"]


class Command:
    """What runs a program: `prepare` gives its arguments, and how many messages (or bytes) it handles.

    with_waiting: measured by the time that passes, since it works in several threads; otherwise by the processor's,
    which other programs disturb less. runs: at most so many.
    """

    def __init__(self, name, prepare, with_waiting=False, runs=None, unit="M/s"):
        self.name, self.make, self.with_waiting, self.runs, self.unit = name, prepare, with_waiting, runs, unit

    def prepare(self):
        arguments, self.amount = self.make()
        self.arguments = [str(part) for part in arguments]


class NotMade(Exception):
    """A recording that the programs, those of an earlier state, cannot make."""


class Recordings:
    """Simulated drives in a folder, each made when it is asked for."""

    def __init__(self, programs, folder):
        self.programs, self.folder, self.made = programs, folder, {}

    def drive(self, ending, **length):
        """A drive's path and how many messages it holds; `log`, `rktrace`, `pcapng` (CAN), `ethernet.pcapng`."""
        unit, number = next(iter(length.items()))
        stem = self.folder / f"{number}_{unit}"
        path = pathlib.Path(f"{stem}.{ending}")
        if path not in self.made:
            self.made[path] = self.make(path, ending, [f"--{unit}", str(number)], length)
        return path, self.made[path]

    def make(self, path, ending, length_option, length):
        if ending == "pcapng":
            return self.convert(self.drive("log", **length)[0], path)
        option = {"log": "--output", "rktrace": "--records", "ethernet.pcapng": "--capture"}[ending]
        told = self.run("make_drive", *length_option, option, path)
        if ending == "ethernet.pcapng":
            told = self.run("rksignal", "info", "--quiet", "--format", "json", path)
            return int(re.search(r'"messages": *(\d+)', told)[1])
        return int(re.search(r"(\d+) " + ("records" if ending == "rktrace" else "frames"), told)[1])

    def convert(self, path, converted):
        return int(re.search(r"converted: (\d+)", self.run("rksignal", "convert", path, converted))[1])

    def run(self, program, *arguments):
        command = [str(part) for part in (self.programs / program, *arguments)]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode not in (0, 1):
            raise NotMade(done.stderr.strip())
        return done.stdout + done.stderr

    def for_floor(self):
        """A log and definitions as text_floor takes them, about five rows a frame, and the number of frames. Long, so
        that the 15 ms in which the program starts do not count."""
        log, definitions = self.folder / "floor.log", self.folder / "floor.dbc"
        if log not in self.made:
            with open(self.drive("log", hours=4)[0]) as whole, open(log, "w") as part:
                part.writelines(line for line in whole if " can0 " in line and "##" not in line and "#R" not in line)
            definitions.write_text(plain_messages((DRIVE / "drive.dbc").read_text()))
            with open(log) as lines:
                self.made[log] = sum(1 for _ in lines)
        return log, definitions, self.made[log]


def plain_messages(dbc):
    """A DBC file without its messages that hold multiplexers or floating-point numbers, and what is said of them."""
    floating = set(re.findall(r"^SIG_VALTYPE_ (\d+)", dbc, re.M))
    blocks = re.split(r"(?=^BO_ )", dbc, flags=re.M)
    left_out = {block.split()[1] for block in blocks[1:]
                if block.split()[1] in floating or re.search(r"^ SG_ \S+ (M|m\d+) ", block, re.M)}
    kept, within = [], False
    for line in dbc.splitlines(True):
        words = line.split()
        within = words[:1] == ["BO_"] and words[1] in left_out or within and line.startswith(" SG_")
        if not within and not (line[:3] in ("CM_", "BA_", "VAL", "SIG") and left_out.intersection(words[:5])):
            kept.append(line)
    return "".join(kept)


def compared(every):
    """The commands in groups of those that are compared, such as `last/candump/1_job` and `last_floor/candump`. They
    run next to each other, so that a slow phase of the machine meets all of them, and several times, as they are short;
    ratios are those of neighbours.
    """
    rounds = 3
    groups = {}
    for command in every:
        form, condition = command.name.split("/")[:2]
        groups.setdefault((form.removesuffix("_floor"), condition), []).append(command)
    for group in groups.values():
        if any(command.runs for command in group):
            yield group
        else:
            yield from [group] * rounds


def check_floor(programs, recordings):
    """Ends the program if the floor and rksignal give different rows: a yardstick that does other work measures
    nothing."""
    log, definitions, _ = recordings.for_floor()
    ours = [programs / "rksignal", "decode", "--quiet", "--dbc", definitions, log]
    with subprocess.Popen(ours, stdout=subprocess.PIPE) as mine, \
            subprocess.Popen([programs / "text_floor", "csv", log, definitions], stdout=subprocess.PIPE) as its:
        while part := mine.stdout.read(1 << 20):
            if part != its.stdout.read(len(part)):
                sys.exit("rksignal decode and text_floor give different rows")
        if its.stdout.read(1) or mine.wait() != 0:
            sys.exit("rksignal decode gives fewer rows than text_floor")


def floor_commands(programs, recordings, jobs):
    def decode(*options):
        log, definitions, frames = recordings.for_floor()
        return [programs / "rksignal", "decode", "--quiet", "--dbc", definitions, log, *options], frames

    def floor(form):
        log, definitions, frames = recordings.for_floor()
        return [programs / "text_floor", form, log, definitions], frames

    def lines():
        log, _, frames = recordings.for_floor()
        return ["wc", "-l", log], frames

    for form, options in (("last", ["--last"]), ("csv", []), ("csv_of_one_signal", ["--only", "Vehicle.Speed"])):
        yield Command(f"{form}/candump/1_job", partial(decode, *options, *jobs(1)))
        if jobs(2):
            yield Command(f"{form}/candump/2_jobs", partial(decode, *options, *jobs(2)), with_waiting=True)
    yield Command("last_floor/candump", partial(floor, "last"))
    yield Command("csv_floor/candump", partial(floor, "csv"))
    yield Command("wc_-l/candump", lines)


def container_commands(programs, recordings, jobs):
    def decode(ending, hours, *options):
        path, messages = recordings.drive(ending, hours=hours)
        return [programs / "rksignal", "decode", "--quiet", path, *options], messages

    # So long that each has more than a million messages: the start of the program does not count.
    kinds = {"rktrace": ("rktrace", 1, DEFINITIONS), "rktrace_all_buses": ("rktrace", 1, DEFINITIONS + NETWORK),
             "pcapng_can": ("pcapng", 1, DEFINITIONS), "pcapng_ethernet": ("ethernet.pcapng", 4, NETWORK)}
    for name, (ending, length, definitions) in kinds.items():
        last = partial(decode, ending, length, "--last", *definitions)
        yield Command(f"last/{name}/1_job", partial(last, *jobs(1)))
        if jobs(2):
            yield Command(f"last/{name}/2_jobs", partial(last, *jobs(2)), with_waiting=True)
    for hours, name in ((1, "1_hour"), (4, "4_hours")):
        yield Command(f"csv/candump_{name}/2_jobs", partial(decode, "log", hours, *DEFINITIONS, *jobs(2)),
                      with_waiting=True, runs=1)


def peer_commands(recordings):
    """Other programs, where they are there, on short drives: they are slow."""
    tshark = shutil.which("tshark")
    cantools = shutil.which("cantools") or shutil.which(ROOT / "build" / "judges" / "bin" / "cantools")

    def by_tshark(ending):
        path, messages = recordings.drive(ending, seconds=120)
        return [tshark, "-r", path, "-T", "fields", "-e", "frame.time_epoch"], messages

    def by_cantools():
        log, messages = recordings.drive("log", seconds=20)
        return ["sh", "-c", f'exec "{cantools}" decode --single-line "{DRIVE}/drive.dbc" <"{log}"'], messages

    if tshark:
        yield Command("tshark/pcapng_can", partial(by_tshark, "pcapng"), runs=2)
        yield Command("tshark/pcapng_ethernet", partial(by_tshark, "ethernet.pcapng"), runs=2)
    if cantools:
        yield Command("cantools/candump", by_cantools, runs=2)


def check_command(programs, recordings):
    size = 100

    def check():
        path = recordings.folder / "large.arxml"
        with open(path, "wb") as file:
            subprocess.run([sys.executable, ROOT / "bench" / "large_arxml.py", str(size)], stdout=file, check=True)
        return [programs / "rksignal", "check", "--definitions", path], path.stat().st_size

    return Command(f"check/arxml_{size}_MB", check, runs=1, unit="MB/s")


def prepared(programs, recordings, is_wanted):
    """The commands whose names are wanted and whose programs are there, with their recordings made."""
    help_text = subprocess.run([programs / "rksignal", "decode", "--help"], capture_output=True, text=True).stdout
    # Programs of before have no such option; then they are measured with the one job that they are.
    jobs = (lambda count: ["--jobs", str(count)]) if "--jobs" in help_text else (lambda count: [])
    every = [*floor_commands(programs, recordings, jobs), *container_commands(programs, recordings, jobs),
             *peer_commands(recordings), check_command(programs, recordings)]
    made = []
    for command in every:
        try:
            if is_wanted(command.name):
                command.prepare()
                made.append(command)
        except (NotMade, OSError) as error:
            print(f"{command.name} is left out: {error}", file=sys.stderr)
    return [command for command in made if shutil.which(command.arguments[0])]
