#!/usr/bin/env python3
"""Runs all measurements of bench/ and prints one table; README.md describes the rows. Stores the results in
BUILD/bench/results. Fails if an instruction count grew by more than 5 %, or if a measurement could not run.
Usage: bench/run.py [--build BUILD] [--smoke | --store]
  --build  the build folder, with the target bench built; default: build/dev
  --smoke  runs each row as briefly as possible, only to check that it works
  --store  only counts instructions, and stores the counts for these compilers and libraries"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import time

sys.dont_write_bytecode = True
import panelserver  # noqa: E402
import player  # noqa: E402
import report  # noqa: E402

HERE = pathlib.Path(__file__).resolve().parent
STORE = HERE / "instructions.json"


class Bench:
    def __init__(self, build, smoke):
        self.build = build
        self.smoke = smoke
        self.programs = build / "bench"
        self.results = build / "bench" / "results"
        self.results.mkdir(parents=True, exist_ok=True)
        home = self.results / "home"
        home.mkdir(exist_ok=True)
        self.environment = {**os.environ, "HOME": str(home), "LC_ALL": "C.UTF-8", "QT_HASH_SEED": "0", "http_proxy": "",
                            "no_proxy": "*", "XDG_CONFIG_HOME": str(home), "XDG_STATE_HOME": str(home), "XDG_CACHE_HOME": str(home)}

    def rounds(self, usual):
        return 1 if self.smoke else usual

    def run(self, program, *arguments, before=()):
        command = [*before, str(self.programs / program), *arguments]
        result = subprocess.run(command, env=self.environment, capture_output=True, text=True)
        if result.returncode != 0:
            raise RuntimeError(f"{program} failed ({result.returncode}): {result.stderr.strip()[-2000:]}")
        return result.stdout

    def numbers(self, program, *arguments):
        return [int(word) for word in self.run(program, *arguments).split() if word.isdigit()]

    def google(self, program, rounds):
        """Runs a program of Google Benchmark: short rounds of all its measurements, in random order."""
        out = self.results / f"{program}.json"
        self.run(program, f"--benchmark_out={out}", "--benchmark_out_format=json", f"--benchmark_repetitions={self.rounds(rounds)}",
                 f"--benchmark_min_time={0.0001 if self.smoke else 0.02}", "--benchmark_enable_random_interleaving=true")
        return json.loads(out.read_text())

    def alternately(self, rounds, *measurements):
        """Medians of measurements that take turns."""
        values = [[] for _ in measurements]
        for _ in range(self.rounds(rounds)):
            for taken, measurement in zip(values, measurements):
                taken.append(measurement())
        return [statistics.median(taken) for taken in values]

    def start_ms(self, program):
        """From the start of a process to its line "ready"."""
        began = time.perf_counter()
        with subprocess.Popen([self.programs / program], env=self.environment, stdout=subprocess.PIPE) as process:
            line = process.stdout.readline()
            elapsed = time.perf_counter() - began
            process.stdout.read()
        if line != b"ready\n" or process.returncode != 0:
            raise RuntimeError(f"{program} failed ({process.returncode})")
        return elapsed * 1e3

    def instruction_counts(self):
        """The key of the store, and {row: instructions per page}."""
        key, counts = "", {}
        for kind, name in (("albums", "50 albums"), ("tracks", "500 tracks")):
            out = self.results / f"callgrind.{kind}"
            text = self.run("instruction_count", kind, before=("valgrind", "--quiet", "--tool=callgrind", "--instr-atstart=no",
                                                               f"--callgrind-out-file={out}"))
            key, pages = text.splitlines()
            totals = next(line for line in out.read_text().splitlines() if line.startswith("totals:"))
            counts[name] = int(totals.split()[1]) // int(pages.split()[0])
            if counts[name] == 0:
                raise RuntimeError(f"callgrind counted nothing for {name}")
        return key, counts


def conversion_rows(bench):
    result = bench.google("conversion_bench", 40)
    times = report.medians(result)
    context = result["context"]
    print(f"Pages: 50 albums, {int(context['albums_bytes']):,} bytes; 500 tracks, {int(context['tracks_bytes']):,} bytes", flush=True)
    albums, tracks = "50 albums, JSON in memory to rows", "500 tracks, JSON in memory to rows"
    return [
        report.at_most(f"{albums} : simdjson's DOM alone", times["albums/module"], times["albums/simdjson"], 3.5),
        report.at_most(f"{tracks} : simdjson's DOM alone", times["tracks/module"], times["tracks/simdjson"], 5),
        report.faster(f"{albums} : QJsonDocument", times["albums/module"], times["albums/qjsondocument"], 3),
        report.faster(f"{tracks} : QJsonDocument", times["tracks/module"], times["tracks/qjsondocument"], 3),
        report.faster(f"{albums} : Python with json", times["albums/module"], times["albums/json"], 2),
        report.faster(f"{tracks} : Python with json", times["tracks/module"], times["tracks/json"], 2),
        report.faster(f"{albums} : Python with ujson", times["albums/module"], times["albums/ujson"], 3.5),
        report.faster(f"{tracks} : Python with ujson", times["tracks/module"], times["tracks/ujson"], 3),
        report.flat("a row, in pages of so many tracks",
                    {size: times[f"rows/{size}"] / size for size in (10, 50, 100, 200, 500)}, 20),
        report.flat("a page of 50 albums, of a list of so many", {total: times[f"total/{total}"] for total in (100, 10000, 1000000)}, 20),
    ]


def http_rows(bench):
    result = bench.google("http_bench", 60)
    times = report.medians(result)
    share = report.counters(result, "server_us")
    used = report.medians(result, "cpu_time")
    print("The server's processor time in libcurl's rows: " + ", ".join(
        f"{name.split('/')[0]} {report.time_text(share[name] * 1e3)} of {report.time_text(times[name])}"
        for name in ("single/curl", "eight/curl", "page/curl", "preplay/curl")))
    print("The client's own processor time: " + ", ".join(
        f"{text} {used[ours] / used[theirs]:.2f} × ({report.time_text(used[ours])} : {report.time_text(used[theirs])})"
        for text, ours, theirs in (("one at a time", "single/httpclient", "single/curl"),
                                   ("8 in flight", "eight/httpclient", "eight/curl"))), flush=True)
    return [
        report.at_most("GET of 60 KiB, one at a time : libcurl easy", times["single/httpclient"], times["single/curl"], 1.2),
        report.at_most("32 GETs of 60 KiB, 8 in flight : libcurl multi", times["eight/httpclient"], times["eight/curl"], 1.2),
        report.at_most("50 albums over loopback, request to reply : libcurl easy", times["page/module"], times["page/curl"], 3),
        report.at_most("pre-play over loopback, request to reply : libcurl easy", times["preplay/module"], times["preplay/curl"], 1.3),
        report.at_most("fixed rows from a host thread : queued call and back", times["fixed/module"], times["fixed/invoke"], 1.5),
    ]


def footprint_rows(bench):
    allocations, carried = bench.numbers("allocation_count")
    start, empty = bench.alternately(30, lambda: bench.start_ms("module_host"), lambda: bench.start_ms("empty_program"))
    with_module, without = bench.alternately(11, lambda: bench.numbers("module_host")[0],
                                             lambda: bench.numbers("module_host", "without")[0])
    stripped = bench.results / "libqobuz.so"
    subprocess.run(["strip", "-o", stripped, bench.build / "lib" / "pelk" / "modules" / "libqobuz.so"], check=True)
    return [
        report.count_ratio("allocations, 50 albums : strings and containers in the rows", allocations, carried, 4.5),
        report.difference("start to the root menu's first reply : an empty program", start, empty, 15, "ms"),
        report.difference("resident, host with the module, idle : without it", with_module / 1024, without / 1024, 3, "MiB"),
        report.size("module, stripped", stripped.stat().st_size / 1024, 400),
    ]


def memory_row(bench):
    pages = 20 if bench.smoke else 100000
    first, last = bench.numbers("page_memory", str(pages))
    return [report.grown(f"resident after {pages:,} pages : after the first 1,000", first, last, 1)]


def sound_rows(bench):
    cd, cd_longest, hires, hires_longest = bench.numbers("sound_start", "1" if bench.smoke else "30")
    return [report.within(f"from the address to the first sound, {name}", typical / 1000, longest / 1000, 300)
            for name, typical, longest in (("16 bit / 44.1 kHz", cd, cd_longest), ("24 bit / 192 kHz", hires, hires_longest))]


def panel_rows(bench):
    panel = bench.build / "share" / "pelk" / "panel"
    figures = panelserver.measure(bench.build / "bin", bench.programs / "panelload", bench.environment, bench.smoke)
    rates = "; ".join(f"{name.removesuffix(', requests per second')} {value:,.0f}" for name, value in figures.items()
                      if name.endswith("requests per second"))
    used = "; ".join(f"{name.split(', µs')[0]} {value:,.0f}" for name, value in figures.items() if "processor time" in name)
    print(f"The panel's server, requests per second: {rates}\nIts processor time a request, µs: {used}", flush=True)
    memory = {name: value for name, value in figures.items() if name.endswith("MiB")}
    return [
        report.within("the panel: a change of the player until the last of 64 streams has it", figures[panelserver.MEDIAN],
                      figures[panelserver.LONGEST], 20),
        *(report.size(f"the panel: {name.removesuffix(', MiB')}", value * 1024, 8 * 1024) for name, value in memory.items()),
        report.size("the panel: first page on the wire, without heads", panelserver.first_page_bytes(panel) / 1024, 40),
    ]


def player_rows(bench):
    save, restore = bench.numbers("saved_queue", "1" if bench.smoke else "21")
    spans = ("300",) if bench.smoke else ("10000",)
    engine, pipeline = bench.alternately(3, lambda: bench.numbers("play_cost", "engine", *spans)[0],
                                         lambda: bench.numbers("play_cost", "pipeline", *spans)[0])
    resident, stopped, paused, starts, after_few, after_many = player.measure(bench.build / "bin", bench.environment, bench.smoke)
    return [
        report.figure("saving a queue of 20,000 entries, processor time", save / 1000, 100, "ms"),
        report.figure("restoring a queue of 20,000 entries, processor time", restore / 1000, 300, "ms"),
        report.at_most("playing 24 bit / 192 kHz, processor time : GStreamer alone", engine * 1e3, pipeline * 1e3, 1.3),
        report.within("from a request to play to sound, through the sandbox", statistics.median(starts), max(starts), 60),
        report.figure("resident, pelk serve, idle", resident / 1024, 64, "MiB"),
        report.difference("resident, pelk serve, after 1,000 tracks : after 50", after_many / 1024, after_few / 1024, 4, "MiB"),
        report.figure("wake-ups a second, stopped", stopped, 1, ""),
        report.figure("wake-ups a second, paused", paused, 3, ""),
    ]


def main():
    parser = argparse.ArgumentParser(usage=__doc__.replace("%", "%%"))
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parent / "build" / "dev")
    parser.add_argument("--smoke", action="store_true")
    parser.add_argument("--store", action="store_true")
    arguments = parser.parse_args()
    bench = Bench(arguments.build.resolve(), arguments.smoke)
    if not (bench.programs / "conversion_bench").exists():
        print(f"bench/run.py: the target bench is not built in {arguments.build}; see scripts/build.", file=sys.stderr)
        return 2
    stored = json.loads(STORE.read_text()) if STORE.exists() else {}
    try:
        rows = []
        if not arguments.store:
            for measure in (conversion_rows, http_rows, footprint_rows, memory_row, sound_rows, panel_rows, player_rows):
                rows += measure(bench)
        key, counts = bench.instruction_counts()
    except (RuntimeError, ValueError, OSError, subprocess.CalledProcessError) as problem:
        print(f"bench/run.py: {problem}", file=sys.stderr)
        return 1

    if arguments.store:
        stored[key] = counts
        STORE.write_text(json.dumps(stored, indent=2, sort_keys=True, ensure_ascii=False) + "\n")
        print(f"Stored for \"{key}\": " + ", ".join(f"{name} {count:,}" for name, count in counts.items()))
        return 0
    if arguments.smoke:
        for row in rows:
            row.reached = None
    lines, failed = report.compare_counts(stored, key, counts)
    text = "\n".join([*report.table(rows), "", f"Instructions from a page's body to its reply ({key}):", *lines])
    (bench.results / "table.md").write_text(text + "\n")
    (bench.results / "table.json").write_text(json.dumps({"rows": [vars(row) for row in rows], "key": key, "instructions": counts},
                                                         indent=2, ensure_ascii=False) + "\n")
    print(text)
    return 1 if failed and not arguments.smoke else 0


if __name__ == "__main__":
    sys.exit(main())
