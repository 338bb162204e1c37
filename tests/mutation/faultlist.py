"""The list of faults: reads faults/*.yaml and README.md, and applies a fault to a source."""

import re
from pathlib import Path

import yaml

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
KEYS = {"id", "file", "find", "with", "within", "why", "suites"}
NEEDED = {"id", "find", "with", "why"}


class ListError(Exception):
    """The list does not match the sources."""


class Fault:
    def __init__(self, source, suites, entry):
        wrong = (set(entry) - KEYS) | (NEEDED - set(entry))
        if wrong:
            raise ListError(f"{entry.get('id', entry)}: unknown or missing keys: {', '.join(sorted(wrong))}")
        self.id = entry["id"]
        self.source = entry.get("file", source)
        self.find = entry["find"]
        self.replacement = entry["with"]
        self.within = entry.get("within")
        self.why = entry["why"]
        self.likely = entry.get("suites", suites)  # the programs to try first

    def place(self, text):
        """The start and end of the fault in the text."""
        start, end = 0, len(text)
        if self.within:
            heads = places(text, self.within)
            if len(heads) != 1:
                raise ListError(f"{self.id}: {self.source} has {len(heads)} places for {self.within!r}")
            start = heads[0][0]
            closing = re.compile(r"^\}", re.MULTILINE).search(text, start)
            end = closing.end() if closing else end
        found = places(text[start:end], self.find)
        if len(found) != 1:
            raise ListError(f"{self.id}: {self.source} has {len(found)} places for {self.find!r}")
        return start + found[0][0], start + found[0][1]

    def apply(self, text):
        """The text with the fault applied."""
        start, end = self.place(text)
        faulty = text[:start] + self.replacement + text[end:]
        if faulty == text:
            raise ListError(f"{self.id}: the replacement changes nothing")
        return faulty


def places(text, wanted):
    """All occurrences of a text. White space matches any white space, including line breaks."""
    pattern = r"\s+".join(re.escape(word) for word in wanted.split())
    return [found.span() for found in re.finditer(pattern, text)]


def load():
    faults = []
    for path in sorted((HERE / "faults").glob("*.yaml")):
        page = yaml.safe_load(path.read_text(encoding="utf-8"))
        faults += [Fault(page["source"], page["suites"], entry) for entry in page["faults"]]
    ids = [fault.id for fault in faults]
    twice = sorted({one for one in ids if ids.count(one) > 1})
    if twice:
        raise ListError(f"names that stand twice: {', '.join(twice)}")
    return faults


def equivalents(faults):
    """The names of the faults that README.md calls equivalent."""
    table = (HERE / "README.md").read_text(encoding="utf-8").split("## Equivalent faults", 1)[1]
    named = set(re.findall(r"^\| `([^`]+)` *\|", table, re.MULTILINE))
    unknown = named - {fault.id for fault in faults}
    if unknown:
        raise ListError(f"README.md names faults that the list does not have: {', '.join(sorted(unknown))}")
    return named


def misfits(faults):
    """The errors of the list, one line each: every fault must match the sources of this checkout."""
    errors = []
    texts = {}
    for fault in faults:
        if fault.source not in texts:
            texts[fault.source] = (ROOT / fault.source).read_text(encoding="utf-8")
        try:
            fault.apply(texts[fault.source])
        except ListError as error:
            errors.append(str(error))
    return errors
