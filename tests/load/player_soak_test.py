#!/usr/bin/env python3
"""A long-running player in a short time: a real `pelk serve` with the sandbox starts tracks in every possible way, with track
changes, broken streams, stalls, failures and logins. Its resources at the end (descriptors, threads, live objects of
GStreamer, memory) must be those after the first starts, and the service must have received one start and one end per track.
Usage: tests/load/player_soak_test.py --bin FOLDER-OF-THE-PROGRAMS; with PELK_TEST_LONG=1 the long run."""
import argparse
import collections
import contextlib
import http.client
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
LIST, LIST_END = "qobuz:favourites/tracks", 5
LIMIT_SECONDS = 60
WARM_UP_STARTS = 50
MEMORY_LIMIT_KIB = 4 * 1024
# The HTTP client keeps as many connections as it once needed at the same time, which depends on the machine's speed.
MOST_CONNECTIONS = 8
Plan = collections.namedtuple("Plan", "starts seams breaks stalls logins")
SHORT = Plan(starts=450, seams=4, breaks=10, stalls=3, logins=3)
LONG = Plan(starts=9950, seams=1000, breaks=250, stalls=250, logins=200)
WARM_UP = Plan(starts=WARM_UP_STARTS, seams=1, breaks=2, stalls=1, logins=1)


class Failed(Exception):
    pass


def check(condition, sentence):
    if not condition:
        raise Failed(sentence)


def until(condition, what):
    """Waits for a condition and returns its value."""
    ends = time.monotonic() + LIMIT_SECONDS
    while time.monotonic() < ends:
        value = condition()
        if value:
            return value
        time.sleep(0.001)
    raise Failed(f"This never came: {what() if callable(what) else what}")


class Processes:
    """The sandbox, a session bus and the player, with their own home folder."""

    def __init__(self, programs, home):
        self.trace = home / "gstreamer.log"
        self.bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"], stdout=subprocess.PIPE, text=True)
        self.environment = dict(
            os.environ, HOME=str(home), XDG_CONFIG_HOME=str(home / "config"), XDG_STATE_HOME=str(home / "state"),
            XDG_CACHE_HOME=str(home / "cache"), DBUS_SESSION_BUS_ADDRESS=self.bus.stdout.readline().strip(),
            GST_TRACERS="leaks", GST_LEAKS_TRACER_SIG="1", GST_DEBUG="GST_TRACER:7", GST_DEBUG_FILE=str(self.trace),
            GST_DEBUG_NO_COLOR="1")
        self.sandbox = subprocess.Popen([programs / "qobuz-sandbox", "--port", "0"], stdout=subprocess.PIPE, text=True)
        self.api = self.sandbox.stdout.readline().split(": ", 1)[1].strip()
        subprocess.run([ROOT / "scripts" / "sandbox_settings", self.api, home / "config" / "pelk" / "pelk.ini"], check=True)
        self.player = subprocess.Popen([programs / "pelk", "serve", "--listen", "127.0.0.1:0", "--panel", str(home)],
                                       env=self.environment, stdout=subprocess.PIPE, text=True)
        line = self.player.stdout.readline()
        check(line.startswith("The panel is at http://127.0.0.1:"), f"The player said: {line!r}")
        self.address = line.split("//")[1].strip().rstrip("/")

    def end(self):
        for process in (self.player, self.sandbox, self.bus):
            process.terminate()
            try:
                process.wait(30)
            except subprocess.TimeoutExpired:
                process.kill()


Use = collections.namedtuple("Use", "files threads memory_kib objects")


def open_files(pid, service_port):
    """The file descriptors by type, with all pipes and all sockets of a kind together."""
    connected = set()
    for line in pathlib.Path(f"/proc/{pid}/net/tcp").read_text().splitlines()[1:]:
        fields = line.split()
        if int(fields[2].split(":")[1], 16) == service_port:
            connected.add(f"socket:[{fields[9]}]")
    files = collections.Counter()
    for entry in os.scandir(f"/proc/{pid}/fd"):
        with contextlib.suppress(FileNotFoundError):
            target = os.readlink(entry.path)
            files["connection to the service" if target in connected else re.sub(r":\[\d+\]", "", target)] += 1
    return files


def resident_kib(pid):
    rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return int(re.search(r"^Rss:\s+(\d+)", rollup, re.M)[1])


class Soak:
    def __init__(self, processes):
        self.processes = processes
        self.pid = processes.player.pid
        self.http = http.client.HTTPConnection(processes.address, timeout=LIMIT_SECONDS)
        self.starts = 0
        self.reported = 0
        self.unheard = collections.Counter()  # by the track's id, since the last rest
        self.ways = collections.Counter()

    # The player.

    def ask(self, method, target, body=None):
        content = None if body is None else json.dumps(body).encode()
        for attempt in (1, 2):  # a connection that was kept may have ended
            try:
                self.http.request(method, target, content, {"Content-Type": "application/json"} if content else {})
                response = self.http.getresponse()
                text = response.read()
                check(response.status < 300, f"{method} {target}: {response.status} {text[:500]}")
                return json.loads(text) if text else None
            except (http.client.HTTPException, OSError):
                self.http.close()
                if attempt == 2:
                    raise

    def do(self, what, **body):
        return self.ask("POST", f"/api/player/{what}", body)

    def status(self):
        return self.ask("GET", "/api/player")

    def account(self, **account):
        self.ask("POST", "/api/data", {"path": "account:qobuz", "role": "value",
                                       "value": {"type": 138, "qobuzAccount": account}})

    def log_in(self):
        self.account(operation=1, username="demo@example.com", password="demo")

    def mpris(self, method):
        subprocess.run(["dbus-send", "--session", "--print-reply", "--dest=org.mpris.MediaPlayer2.pelk", "/org/mpris/MediaPlayer2",
                        f"org.mpris.MediaPlayer2.Player.{method}"], env=self.processes.environment, check=True,
                       stdout=subprocess.DEVNULL)

    def heard(self, before):
        """Waits until an entry other than `before` is heard; None: any entry."""
        def is_heard():
            now = self.status()
            return now if now["state"] == "playing" and not now["stalled"] and now["entry"] not in (None, before) else None
        now = until(is_heard, lambda: f"another track than entry {before}, but {self.status()}")
        self.starts += 1
        return now

    # The ways in which a track starts.

    def replace(self):
        before = self.status()["entry"]
        self.do("queue/add", path=LIST, where="replace", **{"from": 0, "to": LIST_END, "startAt": self.starts % LIST_END})
        self.heard(before)
        until(lambda: self.status()["queue"]["count"] == LIST_END + 1, "all of the list")

    def next(self):
        before = self.status()["entry"]
        self.do("next")
        self.heard(before)

    def previous(self):
        before = self.status()["entry"]
        self.do("previous")
        self.heard(before)

    def jump(self):
        before = self.status()["entry"]
        entries = [entry["id"] for entry in self.ask("GET", "/api/player/queue?from=0&to=99")["entries"]]
        self.do("jump", entry=next(entry for entry in entries[self.starts % len(entries):] + entries if entry != before))
        self.heard(before)

    def again(self):
        self.do("stop")
        self.do("play")
        self.heard(None)

    def insert(self):
        before = self.status()
        self.do("queue/add", path=LIST, where="next", **{"from": 0, "to": 0})
        until(lambda: self.status()["queue"]["revision"] != before["queue"]["revision"], "what was inserted")
        self.do("next")
        self.heard(before["entry"])

    def remove(self):
        before = self.status()["entry"]
        self.do("queue/remove", entries=[before])
        self.heard(before)

    def shuffled(self):
        self.do("mode", shuffle=True)
        self.next()
        self.do("mode", shuffle=False)

    def paused_and_sought(self):
        self.do("pause")
        until(lambda: self.status()["state"] == "paused", lambda: f"a pause, but {self.status()}")
        self.do("seek", positionMs=self.status()["durationMs"] // 2)
        self.do("play")
        until(lambda: self.status()["state"] == "playing", lambda: f"the end of a pause, but {self.status()}")
        self.next()

    def failed(self):
        self.fault("track/getFileUrl", kind="status", status=500)
        self.next()  # past the one that fails, unless the next one was resolved already
        self.control("faults", method="DELETE")

    def media_key(self):
        before = self.status()["entry"]
        self.mpris("Next" if self.starts % 2 else "Previous")
        self.heard(before)

    # Failures, and other operations.

    def fault(self, endpoint, **fault):
        self.control("faults", {"endpoint": endpoint, "count": 1, **fault})

    def control(self, path, body=None, method=None):
        address = self.processes.api.split("/api.json")[0] + "/control/" + path
        request = urllib.request.Request(address, None if body is None else json.dumps(body).encode(), method=method)
        with urllib.request.urlopen(request, timeout=LIMIT_SECONDS) as reply:
            return json.loads(reply.read())

    def seam(self):
        now = self.status()
        self.do("seek", positionMs=now["durationMs"] - 350)
        self.heard(now["entry"])

    def broken(self):
        self.fault("stream", kind="truncate", bytes=150000)
        while self.control("faults")["faults"]:  # the stream of the next one may be open already
            self.next()

    def stalled(self):
        """Before it is heard: it is opened, and its end is reported without a start, as the module is specified."""
        self.do("stop")
        self.fault("stream", kind="stall", bytes=60000)
        self.do("play")
        until(lambda: not self.control("faults")["faults"], "the stall")
        now = self.status()
        check(now["state"] == "opening", f"A stream that stalled at once is {now['state']}.")
        self.unheard[now["row"]["path"].split("id=")[1]] += 1
        self.do("next")
        self.heard(now["entry"])

    def log_in_again(self):
        # A logout while a track plays leaves its end unreported: the login that the report needs has gone.
        self.do("stop")
        self.account(operation=2)
        self.log_in()
        self.replace()

    def take(self, way):
        self.ways[way.__name__] += 1
        try:
            way()
        except Failed as failure:
            raise Failed(f"{way.__name__} after {self.starts} starts: {failure}") from failure

    def run(self, plan):
        self.do("mode", repeat="all")
        self.replace()
        ways = [self.next, self.previous, self.jump, self.again, self.insert, self.next, self.remove, self.shuffled, self.replace,
                self.paused_and_sought, self.failed, self.media_key, self.media_key]
        turns = plan.starts - 1
        for number in range(turns):
            way = ways[number % len(ways)]
            self.take(way)
            for other, count in ((self.seam, plan.seams), (self.broken, plan.breaks), (self.stalled, plan.stalls),
                                 (self.log_in_again, plan.logins)):
                if (number + 1) * count // turns > number * count // turns:
                    self.take(other)
            if number % 1000 == 999:  # before the sandbox forgets
                self.rest()
                self.take(self.again)

    def reports(self):
        return collections.Counter(
            (report["endpoint"].split("/")[1], report["items"]["track_id"]) for report in self.control("reports")["reports"])

    def rest(self):
        """Stops, and checks that every start report has its end report."""
        self.do("stop")
        until(lambda: self.status()["state"] == "stopped", "the end of the playing")

        def unmatched():
            heard = self.reports()
            tracks = {track for _, track in heard}
            starts, ends = ({track: heard[kind, track] for track in tracks} for kind in ("reportStreamingStart", "reportStreamingEnd"))
            return {track: (starts[track], ends[track], self.unheard[track]) for track in tracks
                    if starts[track] + self.unheard[track] != ends[track]}
        with contextlib.suppress(Failed):
            until(lambda: not unmatched(), "the last reports")
        check(not unmatched(), f"Starts, ends and unheard ones do not match: {unmatched()}")
        starts = sum(count for (kind, _), count in self.reports().items() if kind == "reportStreamingStart")
        self.unheard.clear()
        self.control("requests", method="DELETE")
        self.reported += starts

    def objects(self):
        """The live objects of GStreamer by their type."""
        before = self.processes.trace.stat().st_size
        self.processes.player.send_signal(signal.SIGUSR1)
        sizes = []

        def is_written():
            sizes.append(self.processes.trace.stat().st_size)
            return len(sizes) > 50 and sizes[-1] == sizes[-50] and sizes[-1] > before
        until(is_written, "the list of live objects")
        with self.processes.trace.open() as lines:
            lines.seek(before)
            return collections.Counter(re.findall(r"object-alive, type-name=\(string\)(\w+)", lines.read()))

    def files_and_threads(self):
        files = open_files(self.pid, int(self.processes.api.split(":")[2].split("/")[0]))
        files["connection to the service"] = max(MOST_CONNECTIONS, files["connection to the service"])
        return files, len(os.listdir(f"/proc/{self.pid}/task"))

    def use(self, limits=None):
        """The resources of the player at rest. Waits for sockets, threads and files that are about to be closed."""
        self.rest()
        taken = []

        def is_within():
            taken.append(Use(*self.files_and_threads(), resident_kib(self.pid), self.objects()))
            return not taken[-1].files - limits.files and taken[-1].threads <= limits.threads and taken[-1].objects == limits.objects

        if limits:
            with contextlib.suppress(Failed):
                until(is_within, "as little as before")
            return taken[-1]
        seen = []
        until(lambda: seen.append(self.files_and_threads()) or (len(seen) > 50 and all(one == seen[-1] for one in seen[-50:])), "a rest")
        return Use(*seen[-1], resident_kib(self.pid), self.objects())


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", type=pathlib.Path, required=True)
    arguments = parser.parse_args()
    plan = LONG if os.environ.get("PELK_TEST_LONG") else SHORT
    with tempfile.TemporaryDirectory() as folder:
        processes = Processes(arguments.bin.resolve(), pathlib.Path(folder))
        try:
            signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that the processes end
            soak = Soak(processes)
            soak.log_in()
            began = time.monotonic()
            soak.run(WARM_UP)
            first = soak.use()
            print(f"After {soak.starts} starts, {time.monotonic() - began:.1f} s: {first}", flush=True)
            soak.run(plan)
            last = soak.use(limits=first)
            print(f"After {soak.starts} starts, {time.monotonic() - began:.1f} s: {last}")
            print(f"{soak.reported} starts and as many ends reported; {dict(soak.ways)}", flush=True)
            check(soak.reported >= soak.starts, f"{soak.starts} starts were heard, {soak.reported} reported.")
            check(not last.files - first.files, f"More descriptors: {last.files - first.files}")
            check(last.threads <= first.threads, f"{last.threads} threads, {first.threads} before")
            check(last.objects == first.objects,
                  f"More live objects: {last.objects - first.objects}; fewer: {first.objects - last.objects}")
            check(last.memory_kib - first.memory_kib <= MEMORY_LIMIT_KIB,
                  f"{last.memory_kib} KiB resident, {first.memory_kib} before")
        except Failed as failure:
            print(f"FAILED: {failure}", file=sys.stderr)
            return 1
        finally:
            processes.end()
    return 0


if __name__ == "__main__":
    sys.exit(main())
