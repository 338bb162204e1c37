"""The report of run.py: medians, rows of the table, and the comparison of instruction counts."""
import statistics

UNIT_NS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# The tolerated growth of an instruction count; after a larger decrease, the count should be stored again.
TOLERANCE_PERCENT = 5


class Row:
    """A line of the table. `reached` is None if nothing is judged."""

    def __init__(self, name, measured, target, reached):
        self.name, self.measured, self.target, self.reached = name, measured, target, reached


def medians(result, measure="real_time"):
    """Google Benchmark's JSON, as {name: median of the rounds in ns}. The programs define the names."""
    rounds = {}
    for run in result["benchmarks"]:
        if run.get("error_occurred"):
            raise ValueError(f"{run['name']}: {run.get('error_message', 'failed')}")
        if run["run_type"] == "iteration":
            name = run["run_name"].removesuffix("/manual_time").removesuffix("/real_time")
            rounds.setdefault(name, []).append(run[measure] * UNIT_NS[run["time_unit"]])
    return {name: statistics.median(times) for name, times in rounds.items()}


def counters(result, key):
    """Like medians(), for a counter of the programs."""
    values = {}
    for run in result["benchmarks"]:
        if run["run_type"] == "iteration" and key in run:
            values.setdefault(run["run_name"].removesuffix("/real_time"), []).append(run[key])
    return {name: statistics.median(all_values) for name, all_values in values.items()}


def time_text(ns):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}" if ns / size < 100 else f"{ns / size:.0f} {unit}"
    return f"{ns:.0f} ns"


def at_most(name, ours, theirs, limit):
    ratio = ours / theirs
    return Row(name, f"{ratio:.2f} × ({time_text(ours)} : {time_text(theirs)})", f"at most {limit:g} ×", ratio <= limit)


def faster(name, ours, theirs, factor):
    ratio = theirs / ours
    return Row(name, f"{ratio:.2f} × as fast ({time_text(ours)} : {time_text(theirs)})", f"at least {factor:g} × as fast",
               ratio >= factor)


def difference(name, ours, theirs, limit, unit):
    grown = ours - theirs
    return Row(name, f"{grown:+.2f} {unit} ({ours:.2f} : {theirs:.2f})", f"at most +{limit:g} {unit}", grown <= limit)


def count_ratio(name, ours, theirs, limit):
    return Row(name, f"{ours / theirs:.2f} × ({ours} : {theirs})", f"at most {limit:g} ×", ours <= limit * theirs)


def size(name, kib, limit):
    return Row(name, f"{kib:.1f} KiB", f"at most {limit:g} KiB", kib <= limit)


def figure(name, value, limit, unit):
    return Row(name, f"{value:.1f} {unit}".strip(), f"at most {limit:g} {unit}".strip(), value <= limit)


def within(name, typical_ms, longest_ms, limit):
    return Row(name, f"{typical_ms:.0f} ms (the longest {longest_ms:.0f} ms)", f"at most {limit:g} ms", longest_ms <= limit)


def flat(name, costs, percent, text=time_text):
    """`costs`: {size: cost}. The most expensive compared with the cheapest."""
    ratio = max(costs.values()) / min(costs.values())
    measured = ", ".join(f"{size:,}: {text(cost)}" for size, cost in costs.items())
    return Row(name, f"+{(ratio - 1) * 100:.1f} % ({measured})", f"flat within {percent:g} %", ratio <= 1 + percent / 100)


def grown(name, before, after, percent):
    change = after / before - 1
    return Row(name, f"{change * 100:+.2f} % ({before:,} KiB, then {after:,} KiB)", f"flat within {percent:g} %",
               after * 100 <= before * (100 + percent))


def table(rows):
    """The rows as lines of a Markdown table, in columns."""
    words = {True: "yes", False: "no", None: ""}
    lines = [("row", "measured", "target", "reached")]
    lines += [(row.name, row.measured, row.target, words[row.reached]) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(4)]
    texts = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |" for line in lines]
    texts.insert(1, "|" + "|".join("-" * (width + 2) for width in widths) + "|")
    return texts


def compare_counts(stored, key, counts):
    """Compares instruction counts with those stored for the same compiler and libraries. Returns lines to print, and
    whether a count grew by more than the tolerance."""
    lines, failed = [], False
    known = stored.get(key)
    for name, count in counts.items():
        before = (known or {}).get(name)
        if before is None:
            lines.append(f"{name}: {count:,} instructions")
            continue
        change = count / before - 1
        lines.append(f"{name}: {count:,} instructions, {before:,} stored ({change * 100:+.2f} %)")
        if count * 100 > before * (100 + TOLERANCE_PERCENT):
            failed = True
            lines.append(f"FAILED: {name} takes {count:,} instructions, over {TOLERANCE_PERCENT} % more than the {before:,} stored.")
        elif count * 100 < before * (100 - TOLERANCE_PERCENT):
            lines.append(f"{name} takes considerably fewer than stored: renew the store with bench/run.py --store.")
    if known is None or any(name not in known for name in counts):
        lines.append(f"Nothing is stored for \"{key}\": bench/run.py --store stores these counts.")
    return lines, failed
