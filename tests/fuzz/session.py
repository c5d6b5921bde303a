#!/usr/bin/env python3
"""The mad host of process.py in a session that is logged in: every kind of command in any order, most as a page would send
them, some mutated, against the recording libraries (device.py), whose device refuses and calls back as it likes. It passes
under the same conditions, when each login as a page would send it is good, and when the calls of a session were made."""
import argparse
import json
import os
import shutil
import sys
import tempfile
import time

import process
from device import Device
from window import open_window

AS_A_PAGE_SENDS_IT = 0.6 # of the commands; the others are mutated
CALL_BACK = 0.4          # chance behind each command
BURST = 25
ADDRESS = "10.9.8.7"     # of the logins that must be good; mutated ones seldom keep it
MUST_BE_CALLED = ["LUMONET_Login", "LUMONET_Logout", "LUMONET_RealPlay", "LUMONET_StopRealPlay", "LUMONET_PlayBackByTimeEx",
                  "LUMONET_PlayBackByName", "LUMONET_StartFileDownload", "LUMODEC_OpenStream", "LUMODEC_Play", "LUMODEC_InputData",
                  "LUMODEC_CloseStream"]


def login(kind=0):
    device = {"LoginType": kind, "IP": ADDRESS, "SN": ADDRESS, "tcsToken": "t", "Port": 80, "User": "admin", "Password": "p"}
    return {"MainType": 8, "MsgID": 1, "Browse": 1, "Title": "t", "WebType": "Black", "AlarmStyle": "Tool", "Device": device}


def live_commands(channel):
    for sub in (0, 1, 2, 4, 8, 9, 10):
        yield {"MainType": 4, "SubType": sub, "Channel": channel, "Stream": channel & 1, "Record": channel & 1}
    for which in (-1, 255, 100, 400):
        yield {"MainType": 4, "SubType": 0, "Channel": which, "Stream": 1}
    yield {"MainType": 4, "SubType": 1, "Channel": -1}
    for sub in range(8):
        yield {"MainType": 24, "SubType": sub, "Channel": channel, "Step": 5, "Preset": 1}
    for sub in range(3):
        yield {"MainType": 6, "SubType": sub, "Channel": channel, "Stream": 1}
    yield {"MainType": 12, "SubType": 2, "Pos": {"Left": 10, "Top": 10, "Width": 600, "Height": 400}}
    yield {"MainType": 34, "SubType": 0, "Channel": 0, "RuleType": 1, "ShowRule": 1, "AlarmDirectRegion": 0, "ptsNum": 3,
           "RuleRegion": [{"X": 100, "Y": 100}, {"X": 8000, "Y": 100}, {"X": 4000, "Y": 8000}],
           "RuleLine": {"StartX": 0, "StartY": 0, "StopX": 8192, "StopY": 8192}, "AlarmDirectLine": 0}


def span(minutes):
    return {"BeginTime": "2025-03-29 10:00:00", "EndTime": f"2025-03-29 10:{minutes:02d}:00", "FileLength": "0x00001000",
            "FileName": "a/b/20250329T100000Z.h265x"}


def playback_commands(channel, wnd):
    entry = {**span(1), "Channel": channel, "Wnd": wnd, "FileType": 0}
    for mode in (1, 2):
        yield {"MainType": 5, "SubType": 36, "Mode": mode}
        for _ in range(3):
            yield {"MainType": 5, "SubType": 34, "Mode": mode, "SelectWnd": wnd, "Stream": 0, "Channel": channel, "FileInfo": [entry] * mode}
    for command in (2, 3, 4, 10, 11, 100, 101):
        for which in (channel, -1):
            yield {"MainType": 5, "SubType": 40, "Channel": which, "Cmd": command, "Param": 500}
    for sub in (35, 41, 42, 43, 44, 45, 46):
        yield {"MainType": 5, "SubType": sub, "Channel": channel}
    yield {"MainType": 5, "SubType": 35, "Channel": -1}
    for more in ({"FileType": 0}, {"Event": "PicturePlay"}):
        yield {"MainType": 5, "SubType": 39, "Stream": 0, "Channel": channel, "FileInfo": [span(0), span(1)], **more}


def device_commands(folder, channel):
    for kind in (0, 1, 2):
        yield login(kind)
    yield {"MainType": 28}
    yield {"MainType": 9}
    yield {"MainType": 16, "SubType": 0, "Channel": channel}
    yield {"MainType": 16, "SubType": 1, "Channel": channel}
    for sub in range(5):
        yield {"MainType": 20, "SubType": sub, "Channel": channel, "FilePurpose": 0}
    for sub in (2, 3, 4):
        yield {"MainType": 30, "SubType": sub, "Channel": channel, "MsgID": 5}
    for sub in range(2):
        yield {"MainType": 21, "SubType": sub}
    yield {"MainType": 25, "SubType": 1, "FileName": os.path.join(folder, "firmware")}
    yield {"MainType": 29, "SubType": channel & 1, "Speed": 1}
    for sub in (0, 1, 0, 2, 0):
        yield {"MainType": 2, "SubType": sub}


def session_commands(folder):
    for channel in range(4):
        yield from device_commands(folder, channel)
        yield from live_commands(channel)
        yield from playback_commands(channel, channel)


def message(fuzzer):
    if fuzzer.random.random() < AS_A_PAGE_SENDS_IT:
        return json.dumps(fuzzer.random.choice(fuzzer.commands)).encode()
    return fuzzer.body()


def enter(host, device, marker):
    """A log in as a page sends it, and its reply."""
    before = device.logins.count(ADDRESS)
    host.send(json.dumps({**login(), "MsgID": marker}).encode())
    reply = host.expect(marker)
    if reply.get("Ret") != 100 or device.logins.count(ADDRESS) != before + 1:
        host.fail(f"no login: {reply}, asked for at the device: {device.logins[-3:]}")


def show_a_channel(host, device):
    """What a page does first must still work at the end, when the device refuses nothing any more."""
    device.refuses = False
    host.send(json.dumps({"MainType": 9}).encode())
    enter(host, device, "last")
    host.send(json.dumps({"MainType": 4, "SubType": 0, "MsgID": "shown", "Channel": 3, "Stream": 0}).encode())
    reply = host.expect("shown")
    if reply.get("Ret") != 100:
        host.fail(f"the last command is answered {reply}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("fakes")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--messages", type=int, default=400)
    parser.add_argument("--growth-mb", type=int, default=process.GROWTH_MB, help="a sanitizer keeps what was freed for a while")
    options = parser.parse_args()
    begun = time.monotonic()
    device = Device(options.seed)
    with tempfile.TemporaryDirectory() as folder:
        program = shutil.copy(options.program, folder) # it writes beside itself
        with open(os.path.join(folder, "firmware"), "w", encoding="ascii") as firmware:
            firmware.write("no firmware\n")
        libraries = ":".join(filter(None, [options.fakes, os.environ.get("LD_LIBRARY_PATH")]))
        host = process.Process(program, folder, browser=f"{open_window(800, 600):x}",
                               environment={"LD_LIBRARY_PATH": libraries, "LUMO_FAKE_PORT": str(device.port)})
        host.growth_mb = options.growth_mb
        host.context = lambda: "\n".join(device.last)
        fuzzer = process.Fuzzer(options.seed)
        fuzzer.commands += session_commands(folder)
        for i in range(options.messages):
            if i % BURST == 0:
                enter(host, device, f"in-{i}")
            host.send(message(fuzzer))
            if fuzzer.random.random() < CALL_BACK:
                device.call_back()
            if i % BURST == BURST - 1:
                host.check(f"marker-{i}")
        show_a_channel(host, device)
        if not device.wait_for_callbacks(process.LIMIT_S):
            host.fail(f"{device.raised} callbacks, of which {device.returned} returned")
        host.end()
        if device.fault:
            sys.exit(f"a library was called wrongly: {device.fault}")
    never = [name for name in MUST_BE_CALLED if not device.calls.get(name)]
    if never:
        sys.exit(f"never called: {never}; called: {device.calls}")
    print(f"{options.messages} messages, {len(device.logins)} logins, {sum(device.calls.values())} calls, {device.raised} callbacks, "
          f"{time.monotonic() - begun:.1f} s")


if __name__ == "__main__":
    main()
