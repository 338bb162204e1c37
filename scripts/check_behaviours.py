#!/usr/bin/env python3
"""Checks that every test named in docs/behaviours.md exists in the build, and that every test in tests/module is named there."""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

SUBJECTS = ["worker", "dispatch", "play state", "account", "reply", "pipeline", "session", "catalogue", "signing",
            "transport", "browse", "rows"]
HEAD = ["behaviour", "proved by"]
NAME = re.compile(r"([\w-]+): (\w+)(?::(.+))?")
ROOT = pathlib.Path(__file__).resolve().parent.parent


class Programs:
    """The test programs of a folder, with their functions and the tags of their rows. Runs each program once per list."""

    def __init__(self, folder, home):
        self.folder = folder
        self.known = {}
        self.missing = set()
        # The same hash seed as in the tests: some rows depend on its order.
        self.environment = {**os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "XDG_STATE_HOME": home,
                            "XDG_CACHE_HOME": home, "QT_HASH_SEED": "0"}

    def ask(self, program, option):
        run = subprocess.run([self.folder / program, option], env=self.environment, text=True, errors="replace",
                             capture_output=True, timeout=60)
        if run.returncode:
            raise RuntimeError(f"{program} {option} ends with {run.returncode}: {run.stderr.strip()}")
        return run.stdout.splitlines()

    def learn(self, program):
        """The functions and the rows of a program, or None if it is not built."""
        if not (self.folder / program).is_file():
            return None
        if program not in self.known:
            functions = {line.removesuffix("()") for line in self.ask(program, "-functions")}
            # A line contains the class, the function and, if it has rows, a tag, which may be surrounded by two spaces.
            rows = {tuple(line.split(" ", 2)[1:]) for line in self.ask(program, "-datatags") if line.count(" ") > 1}
            self.known[program] = functions, {(name, row.strip()) for name, row in rows}
        return self.known[program]

    def fault(self, program, function, tag):
        """An error in the name of a test, or None. A missing program is reported once."""
        known = self.learn(program)
        if not known:
            if program in self.missing:
                return None
            self.missing.add(program)
            return f"{program} is not built in {self.folder}"
        functions, rows = known
        if function not in functions:
            return f"{program} has no function {function}"
        if tag and (function, tag) not in rows:
            return f"{program}: {function} has no row with the tag \"{tag}\""
        return None


def tables(text, faults):
    """The rows of each subject as (line number, behaviour, proofs). Errors of form are added to the list."""
    found, subject = {}, None
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("### "):
            subject = line[4:].strip()
            if subject not in SUBJECTS:
                faults.append(f"line {number}: \"{subject}\" is no subject; one is {', '.join(SUBJECTS)}")
            elif subject in found:
                faults.append(f"line {number}: the subject \"{subject}\" has a section already")
            found.setdefault(subject, [])
        elif subject and line.startswith("|"):
            cells = [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]
            if cells == HEAD or all(re.fullmatch(r":?-+:?", cell) for cell in cells):
                continue
            if len(cells) != 2:
                faults.append(f"line {number}: a row has two columns, {' and '.join(HEAD)}; this one has {len(cells)}")
                continue
            found[subject].append((number, *cells))
    if list(found) != SUBJECTS:
        missing = [name for name in SUBJECTS if name not in found]
        faults.extend(f"the subject \"{name}\" has no section" for name in missing)
        if not missing and set(found) == set(SUBJECTS):
            faults.append(f"the subjects stand in this order: {', '.join(SUBJECTS)}")
    return found


def unnamed(sources, named, programs):
    """A sentence for each test in the folder that the page does not name."""
    for program in sorted(source.stem for source in sources.glob("*_test.cpp")):
        functions, _ = programs.learn(program) or ((), ())
        for function in sorted(set(functions) - {name for of, name in named if of == program}):
            yield f"`{program}: {function}` proves no behaviour; name it beside the one that it proves"


def check(text, programs, sources):
    """The errors, and a sentence with the counts."""
    faults, seen, tests, behaviours = [], {}, set(), 0
    found = tables(text, faults)
    for subject, rows in found.items():
        for number, behaviour, proofs in rows:
            behaviours += 1
            where = f"line {number} ({subject})"
            if not behaviour:
                faults.append(f"{where}: a proof without a behaviour")
            elif (subject, behaviour) in seen:
                faults.append(f"{where}: \"{behaviour}\" stands in line {seen[subject, behaviour]} already")
            seen.setdefault((subject, behaviour), number)
            names = re.findall(r"`([^`]+)`", proofs)
            if not names:
                faults.append(f"{where}: no test is named for \"{behaviour}\"")
            if re.sub(r"`[^`]+`", "", proofs).strip(" ,"):
                faults.append(f"{where}: beside tests in backticks and commas there is more text: {proofs}")
            for name in names:
                parts = NAME.fullmatch(name)
                fault = programs.fault(*parts.groups()) if parts else \
                    f"`{name}` names no test; write `program: function` or `program: function:row tag`"
                if fault:
                    faults.append(f"{where}: {fault}")
                tests.add(name)
    faults.extend(unnamed(sources, {NAME.fullmatch(name).groups()[:2] for name in tests if NAME.fullmatch(name)}, programs))
    faults.extend(f"the subject \"{subject}\" has no rows" for subject, rows in found.items() if not rows)
    return faults, f"{behaviours} behaviours of {len(SUBJECTS)} subjects are proved by {len(tests)} tests"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tests", type=pathlib.Path, default=ROOT / "build/dev/tests", help="the built test programs")
    parser.add_argument("--page", type=pathlib.Path, default=ROOT / "docs/behaviours.md", help="the page with the tables")
    parser.add_argument("--sources", type=pathlib.Path, default=ROOT / "tests/module",
                        help="the folder whose tests must all be named")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as home:
        try:
            text = options.page.read_text(encoding="utf-8")
            faults, counted = check(text, Programs(options.tests.resolve(), home), options.sources)
        except (OSError, RuntimeError, subprocess.TimeoutExpired) as error:
            print(f"check_behaviours: {error}", file=sys.stderr)
            return 1
    for fault in faults:
        print(f"{options.page.name}: {fault}.", file=sys.stderr)
    if not faults:
        print(f"{counted}.")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
