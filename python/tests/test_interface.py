import copy
import json
import pickle

import audvik
import numpy
import pytest
from conftest import run_python, soundctl


def test_everything_that_soundctl_lists_is_there():
    interface = json.loads(soundctl("list", "--json"))
    for message in interface["notifications"]:
        notification = getattr(audvik, message["name"])
        assert list(notification().to_dict()) == [field["name"] for field in message["fields"]]
    assert [each.__name__ for each in audvik.interface.notifications] == [
        message["name"] for message in interface["notifications"]]
    commands = {name for name in dir(audvik.Client) if name.startswith("cmd")}
    assert commands == {message["name"] for message in interface["commands"]}


def test_what_does_not_fit_is_refused_with_field_value_and_range():
    checked = 0
    for command in json.loads(audvik._native.describe())["commands"]:
        for field in command["fields"]:
            scalar = field.get("element", field)
            if "record" not in command or "least" not in scalar:
                continue
            record = audvik.interface.records[command["record"]]()
            for value in (scalar["least"] - 1, scalar["most"] + 1):
                with pytest.raises(ValueError) as refused:
                    setattr(record, field["name"], [value] if "element" in field else value)
                for said in (field["name"], value, scalar["least"], scalar["most"]):
                    assert str(said) in str(refused.value)
            assert record == type(record)()
            setattr(record, field["name"],
                    [scalar["most"]] if "element" in field else scalar["most"])
            checked += 1
    assert checked > 150


@pytest.mark.parametrize("wrong", [1.5, True, "1", None, float("nan"), 10**30, numpy.float32(1)])
def test_other_types_are_not_taken_for_integers(wrong):
    with pytest.raises(ValueError):
        audvik.soundVolumeParams_t(field2=wrong)
    with pytest.raises((ValueError, TypeError)):
        audvik.soundVolumeParams_t(field2=object())


def test_fields_are_given_by_position_and_by_name():
    volume = audvik.soundVolumeParams_t(1, field3=3)
    assert volume.to_dict() == {"field1": 1, "field2": 0, "field3": 3, "field4": 0, "field5": 0}
    assert repr(volume) == "soundVolumeParams_t(field1=1, field2=0, field3=3, field4=0, field5=0)"
    for arguments, fields in [((1, 2, 3, 4, 5, 6), {}), ((1,), {"field1": 1})]:
        with pytest.raises(TypeError):
            audvik.soundVolumeParams_t(*arguments, **fields)
    with pytest.raises(ValueError, match="volume: there is no such field"):
        audvik.soundVolumeParams_t(volume=1)
    with pytest.raises(AttributeError):
        volume.field6 = 1


def test_records_are_compared_and_copied_as_values():
    heard = audvik.onVolumeInfoNotify(field2=30)
    assert heard == audvik.soundVolumeInfo_t(field2=30) != audvik.soundVolumeInfo_t(field2=31)
    assert audvik.soundMuteParams_t() != audvik.soundMuteInfo_t()
    assert audvik.onAudiolinkTestInfoNotify("a") != audvik.onAudiolinkTestInfoNotify("b")
    for twin in (copy.deepcopy(heard), pickle.loads(pickle.dumps(heard)),
                 audvik.onVolumeInfoNotify.from_dict(heard.to_dict())):
        assert twin == heard
        twin.field2 = 0
        assert heard.field2 == 30
    match heard:
        case audvik.onVolumeInfoNotify(field2=volume):
            assert volume == 30


def records_with(kind):
    for record in audvik.interface.records.values():
        for name, value in vars(record).items():
            if isinstance(value, property) and isinstance(getattr(record(), name), kind):
                yield record(), name


def set_first(record):
    name = record.__match_args__[0]
    value = getattr(record, name)
    if isinstance(value, audvik.Record):
        set_first(value)
    else:
        setattr(record, name, [1] if isinstance(value, tuple) else type(value)(1))


def test_arrays_are_whole_and_parts_are_parts():
    arrays = list(records_with(tuple))
    for record, name in arrays:
        count = len(getattr(record, name))
        setattr(record, name, numpy.arange(1, 3))
        assert getattr(record, name) == (1, 2) + (0,) * (count - 2)
        with pytest.raises(ValueError):
            setattr(record, name, [3, "no number"])
        with pytest.raises(ValueError, match=f"at most {count} values"):
            setattr(record, name, range(count + 1))
        assert getattr(record, name)[:2] == (1, 2)
    parts = list(records_with(audvik.Record))
    for record, name in parts:
        part = getattr(record, name)
        set_first(part)
        assert record.to_dict()[name] == part.to_dict() != type(part)().to_dict()
        setattr(record, name, {})
        del record
        assert part == type(part)()
    assert arrays and parts


def test_a_users_names_work_beside_the_numbers(tmp_path):
    names = tmp_path / "names.json"
    names.write_text(json.dumps({
        "soundVolumeParams_t": {"field2": {"name": "volume", "unit": "%", "least": 0, "most": 100}},
        "soundMuteParams_t": {"field1": {"name": "to_dict"}}}))
    status, output, errors = run_python("""if True:
        import os, sys
        import audvik
        audvik.use_names(sys.argv[1])
        record = audvik.soundVolumeParams_t(volume=30)
        assert record.volume == record.field2 == 30, record
        record.field2 = 100
        print(record)
        print("volume" in audvik.Client.cmdVolumeSet.__doc__)
        for change in ({"volume": 101}, {"field2": 101}):
            try:
                audvik.soundVolumeParams_t(**change)
            except ValueError as error:
                print(error)
        print(audvik.soundMuteParams_t().to_dict())
        client = audvik.Client()
        try:
            audvik.use_names(sys.argv[1])
        except ValueError as error:
            print("too late" if "before the first" in str(error) else error)
    """, str(names))
    assert (status, errors) == (0, "")
    refused = "volume: 101 is not a uint32 from 0 to 100\n"
    assert output == ("soundVolumeParams_t(field1=0, volume=100, field3=0, field4=0, field5=0)\nTrue\n"
                      + 2 * refused + "{'field1': 0, 'field2': 0, 'field3': 0, 'field4': 0}\ntoo late\n")
