#!/usr/bin/env python3
"""Runs a scripted session with the sandbox: logs in, browses, searches, plays a few seconds into a WAV file, and checks what
the service received. Prints each step; exit code 0 on success. ./run --demo runs it."""
import argparse
import array
import json
import os
import pathlib
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request
import wave

ROOT = pathlib.Path(__file__).resolve().parent.parent
PLAY_SECONDS = 4
ROWS_SHOWN = 5


class Failed(Exception):
    pass


def check(condition, sentence):
    if not condition:
        raise Failed(sentence)


def heading(text):
    print(f"\n== {text}", flush=True)


class Demo:
    def __init__(self, folder, programs):
        self.folder = folder
        self.programs = programs
        home = str(folder)
        self.environment = dict(os.environ, HOME=home, XDG_CONFIG_HOME=home + "/config", XDG_STATE_HOME=home + "/state",
                                XDG_CACHE_HOME=home + "/cache",
                                COLUMNS=str(shutil.get_terminal_size((100, 24)).columns))
        self.sandbox = subprocess.Popen([self.programs / "qobuz-sandbox", "--port", "0"], stdout=subprocess.PIPE, text=True)
        line = self.sandbox.stdout.readline()
        check(line.startswith("qobuz-sandbox: "), "The sandbox did not start.")
        self.api = line.split(": ", 1)[1].strip()
        self.control = self.api.split("/api.json")[0] + "/control/"
        subprocess.run([ROOT / "scripts" / "sandbox_settings", self.api, folder / "config" / "pelk" / "pelk.ini"], check=True)

    def close(self):
        self.sandbox.send_signal(signal.SIGTERM)
        self.sandbox.wait(5)

    def pelk(self, *arguments, text=None, show=True):
        if show:
            print("$ pelk " + shlex.join(arguments), flush=True)
        result = subprocess.run([self.programs / "pelk", *arguments], input=text, env=self.environment, stdout=subprocess.PIPE,
                                text=True, timeout=120)
        check(result.returncode == 0, f"'pelk {' '.join(arguments)}' ended with exit code {result.returncode}.")
        return result.stdout

    def rows(self, path, last):
        return json.loads(self.pelk("rows", path, "--from", "0", "--to", str(last), "--json", show=False))

    def service_heard(self, what):
        with urllib.request.urlopen(self.control + what, timeout=5) as answer:
            return json.load(answer)

    def run(self):
        heading("Log in")
        print(self.pelk("login", "demo@example.com", "--password-stdin", text="demo\n"), end="")
        print(self.pelk("status"), end="")

        heading("The menu")
        print(self.pelk("rows", "qobuz:"), end="")
        menu = [row["title"] for row in self.rows("qobuz:", 99)["rows"]]
        check(menu == ["Discover", "My Playlists", "Favourites", "Purchases", "Search"], f"The menu is {menu}.")

        heading("Featured albums")
        print(self.pelk("rows", "qobuz:featured/albums", "--from", "0", "--to", str(ROWS_SHOWN - 1)), end="")
        albums = self.rows("qobuz:featured/albums", ROWS_SHOWN - 1)
        check(len(albums["rows"]) == ROWS_SHOWN and albums["count"] > ROWS_SHOWN, "Some featured albums are missing.")

        heading("The tracks of the first one")
        album = albums["rows"][0]["path"]
        print(self.pelk("rows", album), end="")
        tracks = self.rows(album, 49)["rows"]
        check(tracks, "The album has no tracks.")

        heading("Search")
        print(self.pelk("search", tracks[0]["title"].split()[0].strip(",")), end="")

        heading(f"Play {PLAY_SECONDS} seconds in the best quality")
        self.pelk("quality", "hires192")
        target = self.folder / "demo.wav"
        started = time.time()
        print(self.pelk("play", tracks[0]["path"], "--seconds", str(PLAY_SECONDS), "--to", str(target)), end="")
        took = time.time() - started
        self.check_wav(target)
        self.check_reports(took)

    def check_wav(self, target):
        with wave.open(str(target)) as sound:
            frames, rate, width = sound.getnframes(), sound.getframerate(), sound.getsampwidth()
            data = sound.readframes(frames)
        # The upper two bytes of each sample distinguish sound from silence at any resolution.
        samples = array.array("h", b"".join(data[i + width - 2:i + width] for i in range(0, len(data), width)))
        loudest = max(abs(s) for s in samples) / 32768
        print(f"{target.name}: {frames / rate:.2f} s at {rate} Hz, {8 * width} bit, loudest sample {loudest:.2f} of full scale")
        check(loudest > 0.01, "The file contains only silence.")
        check(abs(frames / rate - PLAY_SECONDS) < 0.5, "The file does not have the requested length.")

    def check_reports(self, took):
        heading("What the service received")
        requests = self.service_heard("requests")["requests"]
        streams = [r for r in requests if "track/getFileUrl" in r["target"]]
        check(streams, "No stream was requested.")
        reports = self.service_heard("reports")["reports"]
        for report in reports:
            items = report["items"]
            print(f"{report['endpoint']}: track {items['track_id']}, format {items['format_id']}, {items['duration']} s played")
        endpoints = [report["endpoint"] for report in reports]
        check(endpoints == ["track/reportStreamingStart", "track/reportStreamingEnd"],
              f"Expected one start and one end report, but got: {endpoints}.")
        duration = int(reports[1]["items"]["duration"])
        check(PLAY_SECONDS - 1 <= duration <= took + 1, f"The end report says {duration} s.")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, default=ROOT / "build" / "dev" / "bin", help="folder of the programs")
    programs = parser.parse_args().bin
    with tempfile.TemporaryDirectory(prefix="demo-", dir=ROOT / "build") as folder:
        demo = None
        try:
            demo = Demo(pathlib.Path(folder), programs)
            demo.run()
        except (Failed, subprocess.SubprocessError, OSError) as fault:
            print(f"\nThe demo failed: {fault}", file=sys.stderr)
            return 1
        finally:
            if demo:
                demo.close()
    print("\nThe demo succeeded.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
