"""The other end of the recording libraries (tests/fakes/Wire.h): a device and a decoder that take every call, now and then
refuse one, and call back. What they do follows from the seed and the number of the call."""
import collections
import json
import random
import socket
import threading
import time
import urllib.parse

CHANNELS = 16
REFUSED = 0.07 # of the calls
FIRST_HANDLE = 100
NOT_LOGGED_IN = -11307
ERRORS = [-11301, -11300, -11303, -11307, -10005, -512, -11401, -1]
TEXTS = ["", "null", "[]", "{", "{\"Name\":\"x\"}", "{\"Ret\":100,\"Name\":\"OPSensorGet\",\"OPSensorGet\":[{\"Scale\":1.5}]}",
         "{\"Name\":7,\"Ret\":\"no\"}", "[" * 200 + "]" * 200]
OPENS = {"LUMONET_RealPlay": "stream", "LUMONET_PlayBackByName": "play", "LUMONET_PlayBackByTimeEx": "play",
         "LUMONET_StartFileDownload": "download", "LUMONET_StartVoiceCom_MR": "talk", "LUMONET_StartVoiceCom_NVR_IPC": "talk",
         "LUMONET_SendFileDataToDevice": "file", "LUMONET_StartLocalUpgrade": "upgrade", "LUMONET_StartOnlineUpgrade": "upgrade"}
OF_A_LOGIN = {*OPENS, "LUMONET_HasAbility", "LUMONET_GetDevConfig", "LUMONET_SetDevConfig"} # and all the ..._Json


class Device:
    def __init__(self, seed):
        self.seed = seed
        self.random = random.Random(seed) # of the callbacks; the answers have their own, for calls come from several threads
        self.server = socket.create_server(("127.0.0.1", 0))
        self.port = self.server.getsockname()[1]
        self.lock = threading.Lock()
        self.wires = {}                   # library: connection
        self.calls = {}                   # name: how often
        self.logins = []                  # address of each
        self.open = {}                    # kind: handles that were given
        self.inside = set()               # logins that stand
        self.captures = False             # the microphone is taken
        self.ports = set()                # that are open
        self.fault = ""
        self.last = collections.deque(maxlen=60) # calls and answers, for the eye
        self.handle = FIRST_HANDLE
        self.raised = self.returned = 0
        self.refuses = True
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            wire, _ = self.server.accept()
            wire.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=self.serve, args=(wire,), daemon=True).start()

    def serve(self, wire):
        library = ""
        try:
            for line in wire.makefile("r", encoding="utf-8", newline="\n"):
                verb, _, rest = line.rstrip("\n").partition(" ")
                if verb == "hello":
                    library = rest
                    with self.lock:
                        self.wires[library] = wire
                elif verb == "call":
                    number, _, name, args = rest.split(" ", 3)
                    value, fields = self.answer(library, int(number), name, json.loads(args))
                    self.last.append(f"{name} {args[:100]} -> {value}")
                    self.tell(library, f"ret {number} {value}", fields)
                elif verb == "done":
                    with self.lock:
                        self.returned += 1
                elif verb == "fault":
                    self.fault = rest
        except OSError:
            pass # the process is gone

    def tell(self, library, line, fields):
        words = "".join(f" {key}={urllib.parse.quote(str(value), safe='')}" for key, value in fields.items())
        self.wires[library].sendall((line + words + "\n").encode())

    def answer(self, library, number, name, args):
        rnd = random.Random(f"{self.seed} {library} {number}")
        with self.lock:
            self.calls[name] = self.calls.get(name, 0) + 1
        if name.startswith("LUMONET_Login"):
            return self.login(args)
        if name.startswith("LUMONET_Init"):
            return 1, {}
        if (name in OF_A_LOGIN or name.endswith("_Json")) and args[0] not in self.inside:
            return 0, {"error": NOT_LOGGED_IN}
        if name == "LUMONET_Logout":
            self.inside.discard(args[0])
            return 1, {}
        if name.endswith("AudioCapture"):
            wanted = name.startswith("LUMODEC_Start")
            works, self.captures = self.captures != wanted, wanted
            return int(works), {}
        if name == "LUMODEC_OpenStream" and args[0] in self.ports:
            return 0, {}
        # What is to end always ends: the libraries know of no other end of it.
        may_refuse = self.refuses and "Stop" not in name and "Close" not in name
        if may_refuse and rnd.random() < REFUSED:
            return 0, ({"error": rnd.choice(ERRORS)} if library == "LumoNet" else {})
        if name == "LUMODEC_OpenStream":
            self.ports.add(args[0])
        if name == "LUMODEC_CloseStream":
            self.ports.discard(args[0])
        if name in OPENS:
            return self.next_handle(OPENS[name]), {}
        if name.endswith("_Json"):
            return 1, {"output": rnd.choice(TEXTS)}
        return 1, {"answer": rnd.randrange(-2, 5), "brightness": 64, "contrast": 64, "saturation": 64, "hue": 64,
                   "count": rnd.randrange(3), "version": "F_V4.03.bin", "date": "2026-01-02"}

    def login(self, args):
        with self.lock:
            self.logins.append(args[0])
        handle = self.next_handle("login")
        self.inside.add(handle)
        return handle, {"channels": CHANNELS, "extra": 0, "type": self.random.choice([0, 2]), "serial": "S1",
                                           "software": "V1", "name": "Fuzzed", "year": 2026, "month": 1, "day": 2}

    def next_handle(self, kind):
        with self.lock:
            self.handle += 1
            self.open.setdefault(kind, []).append(self.handle)
            return self.handle

    def a_handle(self, kind):
        """One that was given lately, open or not."""
        with self.lock:
            return self.random.choice(self.open.get(kind, [])[-8:] or [1])

    def call_back(self):
        """Raises one callback; whether anybody listens, the library knows."""
        r = self.random
        size = r.choice([0, 1, 8, 172, 4000])
        data = "x" * r.choice([1, 20, 4000])
        library, kind, fields = r.choice([
            ("LumoNet", "frame", {"handle": self.a_handle("stream"), "type": r.randrange(-1, 5), "width": r.choice([0, 640, 65535]),
                                  "height": r.choice([0, 360, 65535]), "data": data}),
            ("LumoNet", "frame", {"handle": self.a_handle("play"), "type": r.randrange(4), "width": 640, "height": 360, "data": data}),
            ("LumoNet", "position", {"handle": self.a_handle("play"), "total": r.choice([0, 1000]), "current": r.choice([-1, 0, 500, 1000])}),
            ("LumoNet", "position", {"handle": self.a_handle("download"), "total": r.choice([-1, 0, 1000]),
                                     "current": r.choice([-2, -1, 0, 500, 1000])}),
            ("LumoNet", "disconnect", {"login": self.a_handle("login"), "ip": "10.0.0.9", "port": 80}),
            ("LumoNet", "voice", {"handle": self.a_handle("talk"), "type": r.randrange(3), "data": data}),
            ("LumoNet", "alarm", {"login": self.a_handle("login"), "channel": r.randrange(-1, 70), "event": r.randrange(-1, 50),
                                  "status": r.randrange(-1, 4), "size": size, "kind": r.randrange(3), "times": r.choice([1, 50])}),
            ("LumoNet", "sendfile", {"handle": self.a_handle("file"), "status": r.randrange(3), "code": r.choice(ERRORS), "extra": 0}),
            ("LumoNet", "upgrade", {"handle": self.a_handle("upgrade"), "total": 100, "sent": r.randrange(-1, 102)}),
            ("LumoDecode", "draw", {"port": r.randrange(64), "width": r.choice([1, 160]), "height": r.choice([1, 120])}),
            ("LumoDecode", "fileend", {"port": 128 + r.randrange(4)}),
            ("LumoDecode", "convert", {"current": r.choice([0, 50, 100]), "total": 100}),
            ("LumoDecode", "capture", {"size": 640, "sample": r.randrange(65536)}),
        ])
        with self.lock:
            if library not in self.wires:
                return
            self.raised += 1
            number = self.raised
        self.tell(library, f"raise {number} {kind}", fields)

    def wait_for_callbacks(self, limit_s):
        end = time.monotonic() + limit_s
        while self.returned < self.raised:
            if time.monotonic() > end:
                return False
            time.sleep(0.005) # between two looks
        return True
