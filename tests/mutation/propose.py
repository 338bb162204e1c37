#!/usr/bin/python3
"""Proposes small faults for C++ sources, as entries for faults/*.yaml: replaced operators and constants, omitted
statements. At most one fault per line of a function's body, the first that applies. Usage: propose.py SOURCE..."""

import re
import sys
from pathlib import Path

sys.dont_write_bytecode = True

# pylint: disable=wrong-import-position
from faultlist import ROOT, places
from weave import enclosing_body

# The text in a line, its replacement, and why that is wrong.
EXCHANGES = [
    (r" == ", " != ", "a comparison is turned round"),
    (r" != ", " == ", "a comparison is turned round"),
    (r" <= ", " < ", "a bound is left out"),
    (r" >= ", " > ", "a bound is left out"),
    (r"(?<![<\w]) < (?!<)", " <= ", "a bound is taken in"),
    (r" > (?=\d|\w+[);&|])", " >= ", "a bound is taken in"),
    (r" && ", " || ", "one condition is enough"),
    (r" \|\| ", " && ", "both conditions are needed"),
    (r"\bif \(!", "if (", "a condition is turned round"),
    (r"\bif \((?=[\w.>():-]+\)$)", "if (!", "a condition is turned round"),
    (r"\bwhile \(!", "while (", "a condition is turned round"),
    (r"\breturn !", "return ", "an answer is turned round"),
    (r"\btrue\b", "false", "a truth is turned round"),
    (r"\bfalse\b", "true", "a truth is turned round"),
    (r" \+ 1\b", "", "a step is left out"),
    (r" - 1\b", "", "a step is left out"),
    (r"(?<=[ (])0(?=[,);])", "1", "a number is another"),
    (r"\breturn -1;", "return 0;", "a number is another"),
    (r"(?<=[( ,])(\d{2,})(?=[,); ])", r"\g<1>1", "a number is another"),
    (r"\breturn \w+\.value\(", "return QVariant(", "a value is not read"),
]
STATEMENT = re.compile(r"^\s+(?!return|delete|using|case|default|break|Q_ASSERT|else|static|const|auto|throw)"
                       r"[\w.>()*:-]+(?:\(.*\)| [-+|&]?= .*|\+\+|--)?;$")
HEAD = re.compile(r"^(?:class|struct|enum|namespace|union|extern)\b")


def function_of(text, start):
    """The head of the function around a place; None outside of functions."""
    body = enclosing_body(text, start, start)
    if not body:
        return None
    opening = text.rindex("\n", 0, body[0] - 1) if text[body[0] - 2:body[0]] == "{\n" else body[0]
    lines = text[:opening].splitlines()
    for line in reversed(lines):
        if not line or line[0] in " {}/#":
            if line.startswith((" ", "    :")):
                continue
            return None
        return None if HEAD.match(line) or line.endswith(";") else line
    return None


def fault_of(line):
    for pattern, replacement, why in EXCHANGES:
        if re.search(pattern, line):
            return re.sub(pattern, replacement, line, count=1), why
    if STATEMENT.match(line):
        return re.match(r"\s*", line)[0] + "{}", "a step is left out"
    return None


def quoted(text):
    return "'" + text.replace("'", "''") + "'"


def propose(source):
    text = (ROOT / source).read_text(encoding="utf-8")
    at = 0
    count = 0
    stem = Path(source).stem
    for line in text.splitlines(keepends=True):
        start, at = at, at + len(line)
        bare = line.rstrip("\n").split(" // ")[0].rstrip()
        if not bare.startswith("    ") or bare.lstrip().startswith(("//", "#", "/*", ":", ",")):
            continue
        head = function_of(text, start)
        faulty = fault_of(bare) if head else None
        if not faulty:
            continue
        find, replacement = bare.strip(), faulty[0].strip()
        within = len(places(text, find)) > 1
        if within:
            body = enclosing_body(text, start, start)
            if len(places(text, head)) != 1 or len(places(text[body[0]:body[1]], find)) != 1:
                continue
        count += 1
        print(f"  - id: {stem}-{count}\n    find: {quoted(find)}")
        if within:
            print(f"    within: {quoted(head)}")
        print(f"    with: {quoted(replacement)}\n    why: {faulty[1]}")


def main():
    for source in sys.argv[1:]:
        print(f"source: {source}\nsuites: []\nfaults:")
        propose(source)


if __name__ == "__main__":
    main()
