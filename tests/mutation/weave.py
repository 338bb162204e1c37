"""Many faults in one build: a function that has faults gets one body for each, chosen when the module runs.

A fault a build would compile the module some hundred times. So the body of a function

    { BODY }

becomes

    { if (pelkFault() == 7) { BODY with fault 7 } else if ... else { BODY }
    }

What lies outside of function bodies, in headers and in link maps cannot be chosen so; such faults are built one
by one.
"""

import re

VARIABLE = "PELK_FAULT"
LINES_A_FAULT = 10000  # fault 7 has the lines from 70000, by which the compiler's errors name it

CHOICE = f"""
#include <cstdlib>
%s
{{
    static const char* const number = std::getenv("{VARIABLE}");
    static const int fault = number ? std::atoi(number) : 0;
    return fault;
}}
"""
# A source and a header that it includes may both have faults.
SOURCE, HEADER = ("pelkFault", "static int pelkFault()"), ("pelkHeaderFault", "inline int pelkHeaderFault()")


def enclosing_body(text, start, end):
    """The span between the braces of the function around a place; None if there is none."""
    opening = None
    for found in re.compile(r"^\{\n", re.MULTILINE).finditer(text, 0, start):
        opening = found
    if not opening:
        return None
    closing = re.compile(r"^\}", re.MULTILINE).search(text, opening.end())
    if not closing or closing.start() < end:
        return None
    return opening.end(), closing.start()


def inline_body(text, start, end):
    """Like enclosing_body, for a header: the outermost braces around a place that follow the head of a function."""
    opened = []
    found = None
    for at, sign in enumerate(text):
        if sign == "{":
            opened.append(at)
        elif sign == "}":
            opening = opened.pop()
            head = re.search(r"\)\s*(?:const\s*)?(?:override\s*)?$", text[:opening])
            if head and opening < start and end <= at:
                found = opening + 1, at
    return found


def body_around(source, text, start, end):
    return (inline_body if source.endswith(".h") else enclosing_body)(text, start, end)


def change(fault, text):
    """The actual change of a fault: start, end and replacement, without the unchanged text on both sides."""
    start, end = fault.place(text)
    replacement = fault.replacement
    if not fault.source.endswith(".h"):
        return start, end, replacement
    while start < end and replacement and text[start] == replacement[0]:
        start, replacement = start + 1, replacement[1:]
    while start < end and replacement and text[end - 1] == replacement[-1]:
        end, replacement = end - 1, replacement[:-1]
    return start, end, replacement


def can_be_woven(fault, text):
    return fault.source.endswith((".cpp", ".h")) and body_around(fault.source, text, *change(fault, text)[:2]) is not None


def weave(text, numbered, path):
    """The text with all faults of one source, which are pairs of number and fault."""
    name, declaration = HEADER if path.suffix == ".h" else SOURCE
    bodies = {}
    for number, fault in numbered:
        bodies.setdefault(body_around(fault.source, text, *change(fault, text)[:2]), []).append((number, fault))
    woven = []
    at = 0
    for (start, end), faults in sorted(bodies.items()):
        woven.append(text[at:start])
        for number, fault in faults:
            first, last, replacement = change(fault, text)
            body = text[start:first] + replacement + text[last:end]
            woven.append(f"if ({name}() == {number}) {{\n#line {number * LINES_A_FAULT} \"{path}\"\n{body}}} else ")
        line = text.count("\n", 0, start) + 1
        woven.append(f"{{\n#line {line} \"{path}\"\n{text[start:end]}}}\n")
        at = end
    woven.append(text[at:])
    result = "".join(woven)
    # After the last include, so that it precedes every function.
    last = [found.end() for found in re.finditer(r"^#include .*\n", text, re.MULTILINE)][-1]
    return result[:last] + CHOICE % declaration + result[last:]


def faults_in_errors(log):
    """The numbers of the faults that a compiler complains about."""
    lines = (int(line) for line in re.findall(r"\.(?:cpp|h):(\d+):\d+: (?:fatal )?error:", log))
    return {line // LINES_A_FAULT for line in lines if line >= LINES_A_FAULT}
