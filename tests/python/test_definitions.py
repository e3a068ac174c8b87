"""Definition files from Python: what they say, and what is wrong with them."""

import pathlib
import pickle
import warnings

import pytest

import rksignal

BODY = """VERSION ""
BU_: A
BO_ 256 Lamp: 8 A
 SG_ Mode : 0|3@1+ (1,0) [0|7] "" A
 SG_ Volt : 8|16@1- (0.5,-10) [0|0] "V" A
CM_ SG_ 256 Mode "chosen by
the driver";
VAL_ 256 Mode 0 "Off" 2 "Fl\xfcssig" ;
"""


def test_browsing(db):
    speed = db["Vehicle.Speed"]
    told = (speed.signal, speed.message, speed.bus, speed.channel, speed.id, speed.unit, speed.factor, speed.bits,
            speed.byte_order)
    assert told == ("Speed", "Vehicle", "can", 0, 0xF1, "km/h", 0.01, 16, "little")
    assert [signal.name for signal in db.messages["Brake"].signals] == [name for name in db if name.startswith("Brake.")]
    assert db["Engine.Speed"].byte_order == "big" and db["Gear"].cycle_time == 0.02
    assert len(db) == len(db.signals) == 97 and "Gear.Current" in db.signals and "Gear.Curent" not in db
    assert db.select(["Gear.L*", db["Gear.Current"], "Tank"])[:2] == ["Gear.Lever", "Gear.Current"]
    assert "Vehicle.Speed" in db._repr_html_()
    again = pickle.loads(pickle.dumps(db))
    assert again.signals == db.signals and again["Vehicle.Speed"].channel == 0
    with pytest.raises(KeyError, match="close are Gear.Current"):
        db["Gear.Curent"]


def test_a_file_word_by_word(tmp_path):
    path = tmp_path / "lamp.dbc"
    path.write_bytes(BODY.encode("latin-1"))
    db = rksignal.load((3, path))
    mode, volt = db.signals
    assert mode.values == {0: "Off", 2: "Flüssig"} and mode.comment == "chosen by\nthe driver"
    assert (mode.minimum, mode.maximum, volt.minimum) == (0, 7, None)
    assert (volt.type, volt.factor, volt.offset, volt.start_bit, volt.channel) == ("signed", 0.5, -10, 8, 3)
    assert mode.place == f"{path}:4"


FAULTS = {
    "missing": (None, FileNotFoundError, None),
    "folder": ("folder", OSError, None),
    "trace": ("(1700000000.0) can0 123#11\n", rksignal.Error, None),
    "text": ("nothing of the kind\n", rksignal.Error, None),
    "json": ('{"can": [{"instance": 7}]}', rksignal.Error, None),
    "syntax": ('{"can": [\n{]}', rksignal.Error, 2),
}


@pytest.mark.parametrize("fault", FAULTS)
def test_errors_name_file_and_line(fault, tmp_path):
    content, kind, line = FAULTS[fault]
    path = tmp_path / "fault.x"
    if content == "folder":
        path.mkdir()
    elif content is not None:
        path.write_text(content)
    with pytest.raises(kind) as caught:
        rksignal.load(path)
    assert isinstance(caught.value, rksignal.Error) and isinstance(caught.value, ValueError)
    assert (caught.value.file, caught.value.line) == (str(path), line) and path.name in str(caught.value)


def test_remarks_are_warnings(tmp_path):
    path = tmp_path / "lamp.dbc"
    path.write_text(BODY.replace(" SG_ Volt : 8|16", " SG_ Volt : 8|99"))
    with pytest.warns(rksignal.DefinitionWarning) as caught:
        db = rksignal.load(path)
    (remark,) = (each.message for each in caught)
    assert (remark.file, remark.line, remark.severity) == (str(path), 5, "warning")
    assert caught[0].filename == __file__ and remark in db.remarks
    with warnings.catch_warnings(), pytest.raises(rksignal.Remark):
        warnings.simplefilter("error")
        rksignal.load(path)


@pytest.mark.parametrize("wrong", [("300=drive.dbc",), ((-1, "drive.dbc"),), (("", "drive.dbc"),)])
def test_channels_that_are_none(wrong):
    with pytest.raises(rksignal.Error, match="is no channel"):
        rksignal.load(*wrong)


def test_channels_by_name():
    db = rksignal.load(("powertrain", "drive.dbc"), channels={"powertrain": 1})
    assert {signal.channel for signal in db.signals} == {1}


def test_names_that_are_no_text(tmp_path):
    path = tmp_path / "l\udcff.dbc"
    path.write_bytes(BODY.encode("latin-1"))
    assert rksignal.load(path).signals[0].place == f"{path}:4"
    assert rksignal.load(pathlib.Path(path), "drive.dbc").files[0] == str(path)
