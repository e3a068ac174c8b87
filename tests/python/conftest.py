"""What the tests share: the drive of the demo, its definitions, and the program to compare with."""

import os
import pathlib
import subprocess

import pytest

import rksignal

ROOT = pathlib.Path(__file__).resolve().parents[2]
RECORDINGS = os.environ.get("RKSIGNAL_RECORDINGS")


@pytest.fixture(autouse=True)
def drive(tmp_path_factory, monkeypatch):
    """A folder with the traces of the drive and its definitions, which is the current one."""
    made = os.environ.get("RKSIGNAL_DRIVE")
    if not made:
        pytest.skip("RKSIGNAL_DRIVE names no folder with the traces of make_drive")
    folder = tmp_path_factory.mktemp("drive")
    for file in [*pathlib.Path(made).glob("drive.*"), *(ROOT / "examples/drive").glob("*.*")]:
        if file.suffix not in (".cpp", ".h", ".txt"):
            (folder / file.name).symlink_to(file)
    monkeypatch.chdir(folder)
    return folder


@pytest.fixture
def db():
    return rksignal.load("0=drive.dbc", "1=body.dbc")


@pytest.fixture
def program():
    """Calls the program, and returns what it writes."""
    path = os.environ.get("RKSIGNAL_PROGRAM")
    if not path:
        pytest.skip("RKSIGNAL_PROGRAM names no program")

    def call(*arguments):
        done = subprocess.run([path, *map(str, arguments)], capture_output=True, check=False)
        assert done.returncode in (0, 1), done.stderr
        return done.stdout.decode()

    return call
