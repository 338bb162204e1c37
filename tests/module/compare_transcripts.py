#!/usr/bin/env python3
"""Runs two commands, which may have arguments in one word, and compares what they print.
Usage: compare_transcripts.py COMMAND COMMAND"""
import difflib
import shlex
import subprocess
import sys


def transcript(command):
    result = subprocess.run(shlex.split(command), capture_output=True, text=True, timeout=600)
    if result.returncode != 0:
        sys.exit(f"{command}: exit code {result.returncode}\n{result.stderr}")
    return result.stdout.splitlines()


first, second = (transcript(command) for command in sys.argv[1:])
difference = list(difflib.unified_diff(first, second, *sys.argv[1:], lineterm="", n=3))
print("\n".join(difference[:200]))
wire = sum(line.startswith("  wire ") for line in first)
print(f"{len(first)} lines, {wire} requests on the wire: " + ("they differ" if difference else "the same"))
sys.exit(bool(difference) or wire == 0)
