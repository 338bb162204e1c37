#!/usr/bin/env python3
"""Measures the panel's server: `pelk serve` with the sandbox, under load from panelload.
Usage: bench/panelserver.py [--bin DIR] [--load PROGRAM]; prints one figure per line. run.py also has them as rows."""
import argparse
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
PAGE = "/api/rows?path=qobuz:favourites/albums&from=0&to=49"
STREAMS, IDLE = 64, 400
MEDIAN, LONGEST = (f"a change until the last of 64 streams, ms, {which}" for which in ("median", "longest"))


class Server:
    """The sandbox and the player as processes, with a scratch home and the demo account logged in."""

    def __init__(self, programs, environment):
        self.home = tempfile.TemporaryDirectory()
        home = pathlib.Path(self.home.name)
        environment = dict(environment, HOME=str(home), XDG_CONFIG_HOME=str(home / "config"), XDG_STATE_HOME=str(home / "state"),
                           XDG_CACHE_HOME=str(home / "cache"))
        self.sandbox = subprocess.Popen([programs / "qobuz-sandbox", "--port", "0"], stdout=subprocess.PIPE, text=True)
        api = self.sandbox.stdout.readline().split(": ", 1)[1].strip()
        subprocess.run([HERE.parent / "scripts" / "sandbox_settings", api, home / "config" / "pelk" / "pelk.ini"], check=True)
        self.player = subprocess.Popen([programs / "pelk", "serve", "--listen", "127.0.0.1:0"], env=environment,
                                       stdout=subprocess.PIPE, text=True)
        self.url = self.player.stdout.readline().split(" ")[-1].strip().rstrip("/")
        self.port = self.url.rsplit(":", 1)[1]
        form = {"path": "account:qobuz", "role": "value", "value": {"type": 138, "qobuzAccount": {
            "operation": 1, "username": "demo@example.com", "password": "demo"}}}
        request = urllib.request.Request(self.url + "/api/data", json.dumps(form).encode(), {"Content-Type": "application/json"})
        urllib.request.urlopen(request).read()

    def resident_kib(self):
        lines = pathlib.Path(f"/proc/{self.player.pid}/smaps_rollup").read_text().splitlines()
        return int(next(line for line in lines if line.startswith("Rss:")).split()[1])

    def processor_seconds(self):
        fields = pathlib.Path(f"/proc/{self.player.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def threads(self):
        return len(os.listdir(f"/proc/{self.player.pid}/task"))

    def end(self):
        for process in (self.player, self.sandbox):
            process.send_signal(signal.SIGTERM)
            process.wait(20)
            process.stdout.close()
        self.home.cleanup()


def first_page_bytes(panel):
    """The compressed size of the page and all files that it refers to."""
    names = ["index.html", *(f"assets/{path.name}" for path in (panel / "assets").glob("*") if path.suffix in (".js", ".css"))]
    return sum(min(path.stat().st_size for path in (panel / name, panel / (name + ".br"), panel / (name + ".gz")) if path.exists())
               for name in names)


def measure(programs, load, environment, smoke):
    """{figure: value}"""
    server = Server(programs, environment)

    def run(*words):
        result = subprocess.run([load, *map(str, words)], capture_output=True, text=True)
        if result.returncode != 0:
            raise RuntimeError(result.stderr.strip())
        return [float(word) for word in result.stdout.split()]

    try:
        figures = {}
        for what, target, usual in (("GET /api/player", "/api/player", 20000), ("50 rows", PAGE, 1000)):
            for connections in (1, 32):
                count = 64 if smoke else usual
                used = server.processor_seconds()
                figures[f"{what}, {connections} connections, requests per second"] = run(
                    "requests", server.port, target, connections, count)[0]
                used = server.processor_seconds() - used
                figures[f"{what}, {connections} connections, µs of the player's processor time"] = used / count * 1e6
        median, longest = run("reach", server.port, STREAMS, 3 if smoke else 50)
        figures[MEDIAN] = median / 1000
        figures[LONGEST] = longest / 1000
        for used, what in ((0, "that sent nothing"), (IDLE, "that had a response")):
            before = server.resident_kib()
            with subprocess.Popen([load, "hold", server.port, str(STREAMS), str(IDLE), str(used)], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE) as holder:
                if holder.stdout.readline() != b"ready\n":
                    raise RuntimeError("the connections could not be held")
                figures[f"64 streams and 400 connections {what}, MiB"] = (server.resident_kib() - before) / 1024
                figures["threads meanwhile"] = server.threads()
                holder.stdin.close()
        return figures
    finally:
        server.end()


def main():
    parser = argparse.ArgumentParser(usage=__doc__.replace("%", "%%"))
    build = HERE.parent / "build" / "dev"
    parser.add_argument("--bin", type=pathlib.Path, default=build / "bin")
    parser.add_argument("--load", type=pathlib.Path, default=build / "bench" / "panelload")
    arguments = parser.parse_args()
    for name, value in measure(arguments.bin, arguments.load, os.environ, False).items():
        print(f"{name}: {value:,.1f}", flush=True)


if __name__ == "__main__":
    main()
