#!/usr/bin/python3
"""Applies small faults to the sources of the module and the SDK and checks that a test fails for each.

Works on a copy of the checkout in build/mutation; README.md explains how to use it and how to add a fault.
"""

import sys

sys.dont_write_bytecode = True

# pylint: disable=wrong-import-position
import argparse
import hashlib
import json
import os
import queue
import shutil
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import faultlist
import weave
from faultlist import ROOT
from suites import Suites

WORK = ROOT / "build/mutation"
TREE = WORK / "tree"
BUILD = TREE / "build/dev"
MODULE = "src/modules/qobuz/CMakeLists.txt"
LOG = WORK / "build.log"
VERDICTS = WORK / "verdicts.json"  # which state of the files a fault was noticed in, see state_of()
KILLERS = WORK / "killers.json"  # which case was the first to go red the last time, to be tried first


def copy_checkout():
    """Makes the copy equal to the checkout. Unchanged files keep their times, so that little is built again."""
    TREE.mkdir(parents=True, exist_ok=True)
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "-z", "-co", "--exclude-standard"], check=True,
                            stdout=subprocess.PIPE).stdout.decode().split("\0")
    wanted = {name for name in listed if name and (ROOT / name).is_file()}
    for name in wanted:
        content = (ROOT / name).read_bytes()
        if name == MODULE:  # compiled often, run little
            content += b"target_compile_options(qobuz_objects PRIVATE -O0 -g0)\n"
        put(TREE / name, content)
        shutil.copymode(ROOT / name, TREE / name)
    for path in TREE.rglob("*"):
        name = path.relative_to(TREE).as_posix()
        if path.is_file() and not name.startswith("build/") and name not in wanted:
            path.unlink()


def put(path, content):
    if not path.exists() or path.read_bytes() != content:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


def build(*targets):
    """Builds targets of the copy; returns whether it succeeded. Without targets, configures it, which registers all tests."""
    environment = dict(os.environ)
    environment.setdefault("CCACHE_DIR", str(ROOT / ".cache/ccache"))
    environment.setdefault("CCACHE_BASEDIR", str(ROOT))
    environment.setdefault("CCACHE_NOHASHDIR", "1")
    # -k 0 reports the errors of all sources at once.
    command = ["cmake", "--build", BUILD, "--target", *targets, "--", "-k", "0"] if targets else \
        ["cmake", "--preset", "dev"]
    with LOG.open("w", encoding="utf-8") as log:
        return subprocess.run(command, cwd=TREE, env=environment, stdout=log, stderr=subprocess.STDOUT,
                              check=False).returncode == 0


def state_of(fault, killer):
    """A digest of everything on which the verdict "killed" depends: the fault, its source, and the program that detected it."""
    digest = hashlib.sha256(repr((fault.find, fault.within, fault.replacement)).encode())
    sources = list(ROOT.glob(f"tests/**/{killer}.cpp"))
    for path in sorted([ROOT / fault.source, *sources, *ROOT.glob("tests/support/*.*"), *ROOT.glob("tests/module/*.h")]):
        digest.update(path.read_bytes())
    return digest.hexdigest() if sources else ""


def read(path):
    return json.loads(path.read_text(encoding="utf-8")) if path.exists() else {}


def unchanged(fault, killers, verdicts):
    killer = killers.get(fault.id, (None, None))[0]
    return killer is not None and verdicts.get(fault.id) == state_of(fault, killer) != ""


class Check:
    def __init__(self, faults, equivalents, everything):
        self.faults = faults
        self.equivalents = equivalents
        self.everything = everything
        self.killers, self.verdicts = read(KILLERS), read(VERDICTS)
        self.counts = {}
        self.notable = []
        self.suites = None
        self.slots = queue.Queue()
        for slot in range(os.cpu_count() or 1):
            self.slots.put(slot)

    def run(self):
        print("Copying the checkout and building the module's tests ...", flush=True)
        copy_checkout()
        if not build():
            raise SystemExit(f"mutate: the copy cannot be configured; see {LOG}.")
        self.find_suites()
        if not build("qobuz", *self.suites.tests):
            raise SystemExit(f"mutate: the sources do not build; see {LOG}.")
        self.find_suites()
        unknown = {name for fault in self.faults for name in fault.likely} - set(self.suites.tests)
        if unknown:
            raise SystemExit(f"mutate: the list names suites that are not there: {', '.join(sorted(unknown))}")

        texts = {fault.source: (TREE / fault.source).read_text(encoding="utf-8") for fault in self.faults}
        woven = [fault for fault in self.faults if weave.can_be_woven(fault, texts[fault.source])]
        try:
            self.run_woven(woven, texts)
            self.restore(texts)
            for fault in self.faults:
                if fault not in woven:
                    self.run_alone(fault, texts)
                    self.restore(texts)
        finally:
            self.restore(texts)
            for path, found in ((KILLERS, self.killers), (VERDICTS, self.verdicts)):
                path.write_text(json.dumps(found, indent=1, sort_keys=True), encoding="utf-8")

    def find_suites(self):
        self.suites = Suites(BUILD)
        if not self.everything:
            self.suites.keep({fault.source for fault in self.faults}, {name for fault in self.faults for name in fault.likely})

    @staticmethod
    def restore(texts):
        for source, text in texts.items():
            put(TREE / source, text.encode())

    def run_woven(self, faults, texts):
        """Runs all faults inside function bodies, with one build."""
        numbered = list(enumerate(faults, 1))
        print(f"Building the module with {len(numbered)} faults ...", flush=True)
        while numbered:
            for source, text in texts.items():
                own = [pair for pair in numbered if pair[1].source == source]
                put(TREE / source, (weave.weave(text, own, TREE / source) if own else text).encode())
            if build("qobuz", *self.suites.tests):
                break
            broken = weave.faults_in_errors(LOG.read_text(encoding="utf-8"))
            if not broken:
                raise SystemExit(f"mutate: the module does not build with the faults; see {LOG}.")
            for number, fault in numbered:
                if number in broken:
                    self.report(fault, "does not compile", f"see {LOG}", 0)
            numbered = [pair for pair in numbered if pair[0] not in broken]
        if not numbered:
            return
        print("Running the tests without a fault ...", flush=True)
        names = list(self.suites.tests) if self.everything else sorted({n for f in faults for n in f.likely})
        pool = ThreadPoolExecutor(self.slots.qsize())
        try:
            for red in pool.map(lambda name: self.try_suite(name, 0), names):
                if red:
                    raise SystemExit(f"mutate: red without a fault: {red[0]}")
            # In the order of the list, so that the output can be compared with it.
            for (_, fault), judged in zip(numbered, pool.map(lambda pair: self.judge(pair[1], pair[0]), numbered)):
                self.report(fault, *judged)
        finally:
            pool.shutdown(cancel_futures=True)

    def run_alone(self, fault, texts):
        put(TREE / fault.source, fault.apply(texts[fault.source]).encode())
        if build("qobuz", *self.suites.tests):
            self.report(fault, *self.judge(fault, 0))
        else:
            self.report(fault, "does not compile", f"see {LOG}", 0)

    def try_suite(self, name, number, case=None):
        slot = self.slots.get()
        try:
            return self.suites.run(name, number, case, slot)
        finally:
            self.slots.put(slot)

    def judge(self, fault, number):
        """The verdict on a built fault: verdict, detail, seconds."""
        begun = time.monotonic()
        name, case = self.killers.get(fault.id, (None, None))
        red = self.try_suite(name, number, case) if case and name in self.suites.tests else None
        if red and not red[1]:  # no case failed: the program may not have this one any more
            red = None
        for name in dict.fromkeys(fault.likely + self.suites.of(fault.source)) if not red else []:
            red = self.try_suite(name, number)
            if red:
                self.killers[fault.id] = (name, red[1])
                break
        seconds = time.monotonic() - begun
        if red:
            return "killed", red[0], seconds
        return ("equivalent" if fault.id in self.equivalents else "SURVIVED"), fault.why, seconds

    def report(self, fault, verdict, detail, seconds):
        self.verdicts.pop(fault.id, None)
        if verdict == "killed":
            self.verdicts[fault.id] = state_of(fault, self.killers[fault.id][0])
        if verdict == "killed" and fault.id in self.equivalents:
            detail += "; but README.md calls it equivalent"
            self.notable.append(fault.id)
        elif verdict not in ("killed", "equivalent"):
            self.notable.append(fault.id)
        self.counts[verdict] = self.counts.get(verdict, 0) + 1
        print(f"[{sum(self.counts.values())}/{len(self.faults)}] {fault.id}: {verdict}: {detail}"
              f"  ({seconds:.1f} s)", flush=True)


def chosen(faults, names):
    unknown = [name for name in names if not any(name in (f.id, Path(f.source).name) for f in faults)]
    if unknown:
        raise SystemExit(f"mutate: no fault and no source is called {', '.join(unknown)}; see --list.")
    return [f for f in faults if not names or f.id in names or Path(f.source).name in names]


def main():
    parser = argparse.ArgumentParser(description="Sees whether the tests notice small faults of the module.")
    parser.add_argument("only", nargs="*", metavar="ID|FILE", help="these faults, or those of these sources")
    parser.add_argument("--changed", action="store_true", help="leave out what was noticed before and has not changed since")
    parser.add_argument("--check", action="store_true", help="only see that every fault fits the sources")
    parser.add_argument("--list", action="store_true", help="only print the faults")
    arguments = parser.parse_args()
    try:
        faults = faultlist.load()
        equivalents = faultlist.equivalents(faults)
        errors = faultlist.misfits(faults)
    except faultlist.ListError as error:
        faults, errors = [], [str(error)]
    if errors:
        print("\n".join(errors))
        print(f"mutate: {len(errors)} errors in the list of faults; see tests/mutation/README.md.")
        return 1
    if arguments.check:
        print(f"{len(faults)} faults fit the sources.")
        return 0
    faults = chosen(faults, arguments.only)
    if arguments.changed:
        killers, verdicts = read(KILLERS), read(VERDICTS)
        everything = len(faults)
        faults = [fault for fault in faults if not unchanged(fault, killers, verdicts)]
        print(f"{everything - len(faults)} of {everything} faults were noticed before, and nothing that this rests on has changed.")
        if not faults:
            return 0
    if arguments.list:
        for fault in faults:
            print(f"{fault.id}  [{Path(fault.source).name}]  {fault.why}")
        return 0

    started = time.monotonic()
    check = Check(faults, equivalents, not arguments.only and not arguments.changed)
    check.run()
    minutes, seconds = divmod(int(time.monotonic() - started), 60)
    counts = ", ".join(f"{count} {verdict}" for verdict, count in sorted(check.counts.items()))
    print(f"{len(faults)} faults: {counts}  [{minutes}:{seconds:02d}]")
    if check.notable:
        print(f"mutate: look at {', '.join(check.notable)}.")
    return 1 if check.notable else 0


if __name__ == "__main__":
    sys.exit(main())
