"""The load of a running player, `pelk serve` with the sandbox, on the machine: its memory and its wake-ups."""
import contextlib
import json
import os
import pathlib
import re
import subprocess
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIMIT_SECONDS = 60


class Player:
    def __init__(self, programs, environment, home):
        environment = {**environment, "HOME": home, **{f"XDG_{name.upper()}_HOME": f"{home}/{name}" for name in ("config", "state", "cache")}}
        self.sandbox = subprocess.Popen([programs / "qobuz-sandbox", "--port", "0"], stdout=subprocess.PIPE, text=True)
        api = self.sandbox.stdout.readline().split(": ", 1)[1].strip()
        subprocess.run([ROOT / "scripts" / "sandbox_settings", api, f"{home}/config/pelk/pelk.ini"], check=True)
        self.process = subprocess.Popen([programs / "pelk", "serve", "--listen", "127.0.0.1:0", "--panel", home], env=environment,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.address = self.process.stdout.readline().split()[-1].rstrip("/")

    def end(self):
        for process in (self.process, self.sandbox):
            process.terminate()
            process.wait(LIMIT_SECONDS)

    def post(self, target, **body):
        request = urllib.request.Request(f"{self.address}/api/{target}", json.dumps(body).encode(), {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=LIMIT_SECONDS):
            pass

    def until(self, state):
        ends = time.monotonic() + LIMIT_SECONDS
        while time.monotonic() < ends:
            if self.status()["state"] == state:
                return
            time.sleep(0.02)
        raise RuntimeError(f"the player was never {state}")

    def status(self):
        with urllib.request.urlopen(f"{self.address}/api/player", timeout=LIMIT_SECONDS) as reply:
            return json.load(reply)

    def start_ms(self):
        """From a request to play, while stopped, to the first sound, including resolving the stream's address."""
        self.post("player/stop")
        self.until("stopped")
        began = time.perf_counter()
        self.post("player/play")
        while not self.status()["positionMs"]:
            if time.perf_counter() - began > LIMIT_SECONDS:
                raise RuntimeError("nothing was heard")
        return (time.perf_counter() - began) * 1e3

    def next_track(self):
        before = self.status()["entry"]
        self.post("player/next")
        ends = time.monotonic() + LIMIT_SECONDS
        while (now := self.status())["entry"] == before or now["state"] != "playing":
            if time.monotonic() > ends:
                raise RuntimeError(f"another track than entry {before} never came: {now}")

    def resident_kib(self):
        return int(re.search(r"^Rss:\s+(\d+)", pathlib.Path(f"/proc/{self.process.pid}/smaps_rollup").read_text(), re.M)[1])

    def switches(self):
        """How often a thread has waited; each wait except the current one ended in a wake-up."""
        count = 0
        for task in os.listdir(f"/proc/{self.process.pid}/task"):
            with contextlib.suppress(FileNotFoundError):  # a thread that has just ended
                status = pathlib.Path(f"/proc/{self.process.pid}/task/{task}/status").read_text()
                count += int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)", status, re.M)[1])
        return count

    def wakeups_a_second(self, seconds):
        time.sleep(min(seconds, 12))  # what was under way is over, connections that were kept have ended
        before = self.switches()
        time.sleep(seconds)
        return (self.switches() - before) / seconds


def measure(programs, environment, smoke):
    """Resident KiB when idle, the wake-ups a second while stopped and while paused, the times in ms from a request to play to
    sound, and the resident KiB after some tracks and after many."""
    seconds = 0.5 if smoke else 30
    few, many = (2, 4) if smoke else (50, 1000)
    with tempfile.TemporaryDirectory() as home:
        player = Player(programs, environment, home)
        try:
            player.post("data", path="account:qobuz", role="value", value={
                "type": 138, "qobuzAccount": {"operation": 1, "username": "demo@example.com", "password": "demo"}})
            stopped = player.wakeups_a_second(seconds)
            resident = player.resident_kib()
            player.post("player/queue/add", path="qobuz:favourites/tracks", where="replace", **{"from": 0, "to": 5})
            player.until("playing")
            player.post("player/pause")
            player.until("paused")
            paused = player.wakeups_a_second(seconds)
            player.post("player/mode", repeat="all")
            starts = [player.start_ms() for _ in range(2 if smoke else 30)]
            for _ in range(few):
                player.next_track()
            after_few = player.resident_kib()
            for _ in range(many - few):
                player.next_track()
            return resident, stopped, paused, starts, after_few, player.resident_kib()
        finally:
            player.end()
