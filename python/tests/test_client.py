import json
import threading
import time

import audvik
import pytest
from conftest import sound_service, soundctl


@pytest.fixture
def tv(service):
    with audvik.Client() as tv:
        yield tv


def test_every_command_brings_about_what_it_does_from_soundctl(tv):
    interface = json.loads(soundctl("list", "--json"))
    fields = {command["name"]: command["fields"] for command in interface["commands"]}
    asked = 0
    for notification in interface["notifications"]:
        command, name = notification["command"], notification["name"]
        if notification["relation"] == "streams":
            continue
        arguments = {field["name"]: 1 for field in fields[command] if "least" in field}
        expected = soundctl("send", command, "--json", json.dumps(arguments), "--expect", name)
        answer = getattr(tv, command)(**arguments, expect=getattr(audvik, name), timeout=5)
        assert answer.to_dict() == json.loads(expected)["arguments"], command
        asked += 1
    assert asked > 15


def test_arguments_are_fields_or_a_record(tv):
    volume = audvik.soundVolumeParams_t(1, 30)
    for answer in (tv.cmdVolumeSet(volume, expect=audvik.onVolumeInfoNotify),
                   tv.cmdVolumeSet(1, field2=30, expect=audvik.onVolumeInfoNotify)):
        assert answer == audvik.soundVolumeInfo_t(1, 30)
    text = "T\xf6ne \N{MUSICAL SYMBOL G CLEF}"
    assert tv.cmdAudiolinkTest(text, expect=audvik.onAudiolinkTestInfoNotify).field1 == text
    assert tv.cmdVolumeSet(1, 31) is None


def test_an_expectation_ends_in_time(tv):
    started = time.monotonic()
    with pytest.raises(TimeoutError, match="no onMuteInfoNotify came within 0.3 s"):
        tv.cmdVolumeSet(1, 1, expect=audvik.onMuteInfoNotify, timeout=0.3)
    with pytest.raises(TimeoutError):
        tv.expect(audvik.onVolumeInfoNotify, timeout=0)
    assert 0.3 <= time.monotonic() - started < 5
    threading.Timer(0.1, tv.cmdMuteSet, (1, 1)).start()
    assert tv.expect(audvik.onMuteInfoNotify, timeout=10) == audvik.soundMuteInfo_t(1, 1)


def test_callbacks_may_do_what_they_like(tv, monkeypatch):
    raised, heard, ended = [], [], threading.Event()
    monkeypatch.setattr(threading, "excepthook", raised.append)

    def on_volume(info):
        if info.field2 == 1:
            raise ArithmeticError("in a callback")
        # Which the delivery thread, if it waited for this, could never bring.
        heard.append(tv.cmdMuteSet(1, info.field2, expect=audvik.onMuteInfoNotify, timeout=10))
        tv.close()
        ended.set()

    tv.on(audvik.onVolumeInfoNotify, on_volume)
    for volume in (1, 2, 3):
        tv.cmdVolumeSet(1, volume)
    assert ended.wait(10)
    with pytest.raises(RuntimeError, match="is closed"):
        tv.expect(audvik.onMuteInfoNotify)
    assert [each.exc_type for each in raised] == [ArithmeticError]
    assert heard == [audvik.soundMuteInfo_t(1, 2)]


def test_nobody_waits_for_who_does_not_take_notifications(tv):
    idle = tv.notifications()
    for volume in range(10_050):
        tv.cmdVolumeSet(1, volume)
    assert tv.cmdMuteSet(1, 1, expect=audvik.onMuteInfoNotify, timeout=30)
    assert idle.overruns == 51
    idle.close()
    assert [each.field2 for each in idle] == list(range(10_000))


def test_without_a_service_commands_are_refused():
    with audvik.Client() as tv:
        with pytest.raises(ConnectionRefusedError, match="start one, for example sound-service"):
            while True:  # an earlier test's may just be going
                tv.cmdVolumeSet(1, 1)
        with sound_service():
            assert tv.cmdVolumeSet(1, 2, expect=audvik.onVolumeInfoNotify, timeout=10).field2 == 2
