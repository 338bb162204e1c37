"""The test programs of a build, run as CTest would run them."""

import json
import os
import re
import signal
import subprocess
import threading

from weave import VARIABLE

FOLDERS = {"src/modules/": "tests/module/", "src/api/": "tests/unit/api/"}
LIMIT_S = 120
FAILED = re.compile(r"^(?:FAIL!|XPASS)\s*: \w+::(\w+)\((.*?)\)")


class Suites:
    def __init__(self, build):
        listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True,
                                stdout=subprocess.PIPE).stdout
        listing = json.loads(listed)
        self.build = build
        self.folders = {}
        self.tests = {}
        for test in listing["tests"]:
            folder = folder_of(test.get("backtrace"), listing["backtraceGraph"])
            properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
            if folder and "long" not in properties.get("LABELS", []):
                self.folders[test["name"]] = folder
                self.tests[test["name"]] = (test.get("command"), properties)

    def keep(self, sources, named):
        """Keeps only the programs in the folders of these sources, and the named ones."""
        wanted = {folder for start, folder in FOLDERS.items() for source in sources if source.startswith(start)}
        self.folders = {name: folder for name, folder in self.folders.items() if folder in wanted or name in named}
        self.tests = {name: self.tests[name] for name in self.folders}

    def of(self, source):
        """The programs for a source: first those of its own folder, then all others."""
        own = next(folder for start, folder in FOLDERS.items() if source.startswith(start))
        return sorted(self.folders, key=lambda name: (self.folders[name] != own, name))

    def run(self, name, number=0, case=None, slot=0):
        """Runs a program, or a single case of it, with a fault. Returns the first failure as (text, case), or None.
        No other run may use the same slot at the same time."""
        command, properties = self.tests[name]
        # Events that a fault prevents are not waited for as long as on a busy machine.
        environment = dict(os.environ, PELK_PATIENCE_MS="10000", **{VARIABLE: str(number)})
        for entry in properties.get("ENVIRONMENT", []):
            key, value = entry.split("=", 1)
            environment[key] = value.replace("/tests/home/", f"/tests/home/{slot}/")
        os.makedirs(environment["HOME"], exist_ok=True)
        limit = min(LIMIT_S, float(properties.get("TIMEOUT", LIMIT_S)))
        process = subprocess.Popen([*command, *([case] if case else [])], env=environment, text=True, errors="replace",
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                                   cwd=properties.get("WORKING_DIRECTORY", self.build))
        overdue = threading.Event()

        def stop():
            overdue.set()
            end(process)

        timer = threading.Timer(limit, stop)
        timer.start()
        last = ""
        try:
            for line in process.stdout:
                failed = FAILED.match(line)
                if failed:
                    found = failed[1] + (f":{failed[2]}" if failed[2] else "")
                    return f"{name}: {found}", found
                last = line.strip() or last
            code = process.wait()
            if overdue.is_set():
                return f"{name}: not done after {limit:.0f} s; last: {last}", None
            return (f"{name}: ended with {code}; last: {last}", None) if code else None
        finally:
            timer.cancel()
            end(process)


def folder_of(node, graph):
    """The relevant folder whose CMakeLists.txt adds a Qt Test program; the target has the same name."""
    while node is not None:
        entry = graph["nodes"][node]
        if "command" in entry and graph["commands"][entry["command"]] == "pelk_test":
            file = graph["files"][entry["file"]]
            for folder in FOLDERS.values():
                if f"/{folder}" in f"/{file}" and file.endswith("CMakeLists.txt"):
                    return folder
        node = entry.get("parent")
    return None


def end(process):
    """Ends a test and all processes that it started."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()
