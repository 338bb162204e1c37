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
static int pelkFault()
{{
    static const char* const number = std::getenv("{VARIABLE}");
    static const int fault = number ? std::atoi(number) : 0;
    return fault;
}}
"""


def enclosing_body(text, start, end):
    """The span between the braces of the function around a place; None where there is none."""
    opening = None
    for found in re.compile(r"^\{\n", re.MULTILINE).finditer(text, 0, start):
        opening = found
    if not opening:
        return None
    closing = re.compile(r"^\}", re.MULTILINE).search(text, opening.end())
    if not closing or closing.start() < end:
        return None
    return opening.end(), closing.start()


def can_be_woven(fault, text):
    return fault.source.endswith(".cpp") and enclosing_body(text, *fault.place(text)) is not None


def weave(text, numbered, path):
    """The text with all faults of one source, given as pairs of number and fault."""
    bodies = {}
    for number, fault in numbered:
        bodies.setdefault(enclosing_body(text, *fault.place(text)), []).append((number, fault))
    woven = []
    at = 0
    for (start, end), faults in sorted(bodies.items()):
        woven.append(text[at:start])
        for number, fault in faults:
            place = fault.place(text)
            body = text[start:place[0]] + fault.replacement + text[place[1]:end]
            woven.append(f"if (pelkFault() == {number}) {{\n#line {number * LINES_A_FAULT} \"{path}\"\n{body}}} else ")
        line = text.count("\n", 0, start) + 1
        woven.append(f"{{\n#line {line} \"{path}\"\n{text[start:end]}}}\n")
        at = end
    woven.append(text[at:])
    result = "".join(woven)
    # Behind the last include, so that it stands before every function.
    last = [found.end() for found in re.finditer(r"^#include .*\n", text, re.MULTILINE)][-1]
    return result[:last] + CHOICE + result[last:]


def faults_in_errors(log):
    """The numbers of the faults that a compiler complains about."""
    lines = (int(line) for line in re.findall(r"\.cpp:(\d+):\d+: (?:fatal )?error:", log))
    return {line // LINES_A_FAULT for line in lines if line >= LINES_A_FAULT}
