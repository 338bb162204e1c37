#!/usr/bin/env python3
"""Checks that the folders of src/ include only what stands below them; see docs/architecture.md for the picture."""
import pathlib
import re
import sys

SDK = {"api/types", "api/core", "api/http", "api/play"}
ALLOWED = {
    "api/types": set(),
    "api/core": {"api/types"},
    "api/http": {"api/types", "api/core"},
    "api/play": {"api/types", "api/core"},
    "api/testing": {"api/types", "api/core"},
    "modules/qobuz": SDK,
    "player/host": SDK,
    "player/content": SDK | {"player/host"},
    "player/play": SDK | {"player/host", "player/content"},
    "player/server": SDK | {"player/host", "player/content", "player/play"},
    "player/mpris": SDK | {"player/play"},
    "player": SDK | {"player/host", "player/content", "player/play", "player/server", "player/mpris"},
    "sandbox": set(),
}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)


def room_of(path):
    return next((room for room in ALLOWED if path.startswith(room + "/")), None)


def main():
    source = pathlib.Path(__file__).resolve().parent.parent / "src"
    faults, count = [], 0
    for file in sorted(p for p in source.rglob("*") if p.suffix in {".h", ".cpp"}):
        name = file.relative_to(source).as_posix()
        room = room_of(name)
        if room is None:
            faults.append(f"{name}: lies in no room that this check knows; add it to scripts/check_layers.py")
            continue
        count += 1
        for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
            target = room_of(included)
            if target and target != room and target not in ALLOWED[room]:
                faults.append(f"{name}: includes {included}, but {room} stands beside or below {target}")
    print("\n".join(faults) if faults else f"{count} files include only what stands below them.")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
