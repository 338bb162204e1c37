#!/usr/bin/env python3
"""Runs each function of a Qt Test program in a separate process, all at the same time, for tests that mostly wait.
Usage: each_function.py PROGRAM. Exits with 1 if a function failed, and prints the output of failed functions. A function that
takes longer than four minutes fails, so that its output is printed before CTest ends the whole test."""
import concurrent.futures
import os
import pathlib
import subprocess
import sys
import time

LIMIT_SECONDS = 240


def run(program, function, home):
    folder = home / function
    folder.mkdir(parents=True, exist_ok=True)
    environment = {**os.environ, "HOME": str(folder), **{
        name: str(folder / part) for name, part in
        (("XDG_CONFIG_HOME", "config"), ("XDG_STATE_HOME", "state"), ("XDG_CACHE_HOME", "cache"))}}
    started = time.monotonic()
    process = subprocess.Popen([program, function, "-maxwarnings", "0"], env=environment, text=True, errors="replace",
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    try:
        output, _ = process.communicate(timeout=LIMIT_SECONDS)
        code = process.returncode
    except subprocess.TimeoutExpired:
        process.kill()
        output, code = process.communicate()[0] + f"not done after {LIMIT_SECONDS} s\n", 1
    return function, code, output, time.monotonic() - started


def main():
    program, home = sys.argv[1], pathlib.Path(os.environ["HOME"])
    listed = subprocess.run([program, "-functions"], text=True, check=True, capture_output=True).stdout.splitlines()
    functions = [line.strip().removesuffix("()") for line in listed if line.strip()]
    if not functions:
        sys.exit(f"{program} has no test functions.")
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(len(functions)) as pool:
        for function, code, output, seconds in pool.map(lambda name: run(program, name, home), functions):
            print(f"{'PASS' if code == 0 else 'FAIL'} {seconds:6.1f} s  {function}", flush=True)
            shown = output if code else "\n".join(line for line in output.splitlines() if line.startswith("figures: "))
            if shown:
                print(shown, flush=True)
            failed += code != 0
    print(f"{len(functions)} functions, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
