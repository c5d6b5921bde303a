#!/usr/bin/env python3
"""Plays a host gone mad: broken frames, mutated JSON, absurd values, in any order, to the real executable. It passes when
the process is alive at the end, has answered a plain command after every burst, has not grown without bound, and ends
with code 0 when the socket closes."""
import argparse
import base64
import fcntl
import json
import os
import random
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import termios
import time

LIMIT_S = 60        # for any one answer
GROWTH_MB = 200     # beyond what it had after the first burst
CIPHER_BLOCK = 16   # bytes

NUMBERS = [0, 1, -1, 2, 63, 64, 65, 99, 100, 200, 255, 256, 6400, -100, 2**31 - 1, -2**31, 2**31, 2**32, 2**63 - 1, 1e18, 0.5,
           -0.0, 1e308]
TEXTS = ["", "x", "%1 %2 %n", "a\u0000b", "ä" * 40, "\U0001F600", "../../etc", "A" * 300, "A" * 70000, "\n\r\t", "\\", "\""]

# A page that chooses the key itself is answered plainly from then on.
PLAIN_FROM_HERE = {"MainType": 32, "SubType": 0, "Potocol": 1, "key": "0123456789abcdef"}


def valid_commands():
    device = {"LoginType": 0, "IP": "127.0.0.1", "Port": 1, "User": "u", "Password": "p"}
    yield {"MainType": 8, "MsgID": 1, "Device": device, "Browse": 2, "Title": "t", "WebType": "Black"}
    yield {"MainType": 9}
    yield {"MainType": 28}
    for sub in range(0, 15):
        yield {"MainType": 4, "SubType": sub, "Channel": 0, "Stream": 0, "Record": 1, "Type": 0, "Value": 64}
    for sub in range(0, 8):
        yield {"MainType": 3, "SubType": sub}
    for sub in range(0, 6):
        yield {"MainType": 12, "SubType": sub, "Pos": {"Left": 0, "Top": 0, "Width": 100, "Height": 100}}
    yield {"MainType": 11, "SubType": 0}
    yield {"MainType": 29, "SubType": 0, "Speed": 1}
    yield {"MainType": 14, "alarmtype": {"Prompt": True, "all": False, "Motion": 1, "Carshape": None}}
    yield {"MainType": 15}
    yield {"MainType": 22, "SubType": 0}
    yield {"MainType": 18, "SubType": 51}
    yield {"MainType": 18, "SubType": 48}
    for sub in range(0, 3):
        yield {"MainType": 6, "SubType": sub, "Channel": 0, "Stream": 0}
    for sub in range(-1, 12):
        yield {"MainType": 24, "SubType": sub, "Channel": 0, "Step": 100, "Preset": 1}
    yield {"MainType": 34, "SubType": 1, "Channel": 0, "RuleType": 1, "ShowRule": 1, "AlarmDirectLine": 2,
           "AlarmDirectRegion": 2, "ptsNum": 3, "RuleLine": {"StartX": 0, "StartY": 0, "StopX": 8192, "StopY": 8192},
           "RuleRegion": [{"X": 0, "Y": 0}, {"X": 8192, "Y": 0}, {"X": 0, "Y": 8192}]}
    for sub in range(0, 4):
        yield {"MainType": 2, "SubType": sub}
    span = {"Channel": 0, "Wnd": 0, "FileType": 0, "BeginTime": "2026-11-20 10:00:00", "EndTime": "2026-11-20 10:10:00"}
    for mode in range(0, 3):
        yield {"MainType": 5, "SubType": 36, "Mode": mode}
        yield {"MainType": 5, "SubType": 34, "Mode": mode, "SelectWnd": 0, "Stream": 0, "FileInfo": [span, {**span, "Wnd": 3}]}
    for sub in range(33, 48):
        yield {"MainType": 5, "SubType": sub, "Channel": 0, "Cmd": 3, "Param": 500}
    for sub in range(0, 3):
        yield {"MainType": 16, "SubType": sub, "Channel": 255}
    yield {"MainType": 19, "SubType": 0}
    for sub in range(0, 5):
        yield {"MainType": 20, "SubType": sub, "Channel": 0, "FilePurpose": 0}
        yield {"MainType": 30, "SubType": sub, "Channel": 0, "MsgID": 5}
    for sub in range(0, 2):
        yield {"MainType": 21, "SubType": sub}
        yield {"MainType": 25, "SubType": sub, "FileName": "firmware"}
    yield {"MainType": 32, "SubType": 0}
    yield PLAIN_FROM_HERE


def enciphered(body):
    """Whether a message may be one under a key that the program made."""
    try:
        size = len(base64.b64decode(body, validate=True))
    except ValueError:
        return False
    return size > 0 and size % CIPHER_BLOCK == 0


class Fuzzer:
    def __init__(self, seed):
        self.random = random.Random(seed)
        self.commands = list(valid_commands())

    def value(self, depth=0):
        r = self.random
        kind = r.randrange(7 if depth < 3 else 4)
        if kind == 0:
            return r.choice(NUMBERS)
        if kind == 1:
            return r.choice(TEXTS)
        if kind == 2:
            return r.choice([None, True, False])
        if kind == 3:
            return r.randrange(-2**33, 2**33)
        if kind == 4:
            return [self.value(depth + 1) for _ in range(r.randrange(4))]
        return {r.choice(["MainType", "SubType", "Channel", "x", ""]): self.value(depth + 1) for _ in range(r.randrange(4))}

    def mutate(self, node):
        r = self.random
        if isinstance(node, dict):
            node = {k: self.mutate(v) if r.random() < 0.3 else v for k, v in node.items()}
            if node and r.random() < 0.3:
                node[r.choice(list(node))] = self.value()
            if node and r.random() < 0.15:
                del node[r.choice(list(node))]
            return node
        return self.value() if r.random() < 0.4 else node

    def body(self):
        r = self.random
        kind = r.randrange(12)
        if kind == 0:
            return bytes(r.randrange(256) for _ in range(r.randrange(200)))
        if kind == 1:
            depth = r.choice([10, 500, 2000, 20000])
            return b'{"MainType":4,"a":' + b"[" * depth + b"]" * depth + b"}"
        text = json.dumps(self.mutate(self.random.choice(self.commands)), ensure_ascii=r.random() < 0.5).encode("utf-8", "surrogatepass")
        if kind == 2:
            return text[:r.randrange(len(text) + 1)]
        if kind == 3:
            broken = bytearray(text)
            for _ in range(r.randrange(1, 5)):
                broken[r.randrange(len(broken))] = r.randrange(256)
            return bytes(broken)
        return text


class Process:
    def __init__(self, program, folder, browser="", environment=None):
        path = os.path.join(folder, "host")
        server = socket.socket(socket.AF_UNIX)
        server.bind(path)
        server.listen(1)
        self.errors = open(os.path.join(folder, "errors"), "w+b")
        self.process = subprocess.Popen([program, "7", path, folder, browser], stdout=self.errors, stderr=self.errors,
                                        env={**os.environ, **(environment or {})})
        server.settimeout(LIMIT_S)
        self.socket, _ = server.accept()
        self.socket.settimeout(LIMIT_S)
        self.received = b""
        self.first_mb = None
        self.growth_mb = GROWTH_MB
        self.context = str # what else to tell of a failure

    def fail(self, text):
        self.errors.seek(0)
        said = self.errors.read().decode(errors="replace")
        report = re.search("^.*(Sanitizer: |runtime error: )", said, re.M) # it may stand long before the end
        sys.exit("\n".join([text, said[report.start():][:6000] if report else "", said[-6000:], self.context()]))

    def drained(self):
        """Waits until the process has read all that was sent: a frame must come in one read."""
        end = time.monotonic() + LIMIT_S
        while struct.unpack("i", fcntl.ioctl(self.socket, termios.TIOCOUTQ, b"\0" * 4))[0]:
            self.alive()
            if time.monotonic() > end:
                self.fail("the process no longer reads")
            self.take(0.002)

    def alive(self):
        if self.process.poll() is not None:
            self.fail(f"the process ended with {self.process.returncode}")

    def gone(self):
        try:
            self.fail(f"the process ended with {self.process.wait(LIMIT_S)}")
        except subprocess.TimeoutExpired:
            self.fail("the process closed the socket")

    def take(self, seconds):
        self.socket.settimeout(seconds)
        try:
            data = self.socket.recv(1 << 20)
            if not data:
                self.gone()
            self.received += data
        except TimeoutError:
            pass
        except ConnectionError:
            self.gone()

    def frames(self):
        while len(self.received) >= 8:
            size = int(self.received[:8], 16)
            if len(self.received) < 8 + size:
                return
            body, self.received = self.received[8:8 + size], self.received[8 + size:]
            yield body

    def send(self, body):
        self.socket.settimeout(LIMIT_S)
        try:
            self.socket.sendall(b"%08x" % len(body) + body)
        except ConnectionError:
            self.gone()
        self.drained()

    def expect(self, msg_id):
        end = time.monotonic() + LIMIT_S
        while time.monotonic() < end:
            for body in self.frames():
                try:
                    message = json.loads(body)
                    if message.get("MsgID") == msg_id:
                        return message
                except ValueError:
                    if len(body) < 65536 and not enciphered(body):
                        self.fail(f"sent what is no JSON: {body[:200]!r}")
            self.alive()
            self.take(0.05)
        self.fail("no answer to a plain command")

    def resident_mb(self):
        with open(f"/proc/{self.process.pid}/statm", encoding="ascii") as f:
            return int(f.read().split()[1]) * os.sysconf("SC_PAGE_SIZE") / 1e6

    def check(self, marker):
        """Proves that a plain command still works and that nothing piled up."""
        self.send(json.dumps(PLAIN_FROM_HERE).encode())
        self.send(json.dumps({"MainType": 12, "SubType": 3, "MsgID": marker, "Pos": {}}).encode())
        self.expect(marker)
        now = self.resident_mb()
        self.first_mb = self.first_mb or now
        if now > self.first_mb + self.growth_mb:
            self.fail(f"grew from {self.first_mb:.0f} to {now:.0f} MB")

    def end(self):
        self.socket.close()
        try:
            code = self.process.wait(LIMIT_S)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.fail("did not end when the socket closed")
        if code != 0:
            self.fail(f"ended with {code}")


def copy_of(program, folder):
    """The program and its libraries in a folder of its own: it writes beside itself, and there it finds a picker that a
    user leaves at once. Real dialogs would outlive it, and stand over the windows of other tests."""
    for name in ["libLumoNet.so", "libLumoDecode.so", "style.ss"]:
        shutil.copy(os.path.join(os.path.dirname(program), name), folder)
    picker = os.path.join(folder, "Browse")
    with open(picker, "w", encoding="ascii") as script:
        script.write("#!/bin/sh\nexit 0\n")
    os.chmod(picker, 0o755)
    return shutil.copy(program, folder)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--messages", type=int, default=1500)
    options = parser.parse_args()
    fuzzer = Fuzzer(options.seed)
    with tempfile.TemporaryDirectory() as folder:
        process = Process(copy_of(options.program, folder), folder)
        for i in range(options.messages):
            process.send(fuzzer.body())
            if i % 50 == 49:
                process.check(f"marker-{i}")
        last = process.resident_mb()
        process.end()
        print(f"{options.messages} messages, {process.first_mb:.0f} MB after the first burst, {last:.0f} MB at the end")


if __name__ == "__main__":
    main()
