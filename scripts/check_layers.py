#!/usr/bin/env python3
"""Checks that each folder of src/ includes only headers of the layers below it; see docs/architecture.md."""
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
    "player/base": set(),
    "player/host": SDK | {"player/base"},
    "player/content": SDK | {"player/base", "player/host"},
    "player/play": SDK | {"player/base", "player/content"},
    "player/server": SDK | {"player/base", "player/host", "player/content", "player/play"},
    "player/memory": SDK | {"player/base", "player/host", "player/content", "player/play"},
    "player/mpris": SDK | {"player/play"},
    "player": SDK
    | {"player/base", "player/host", "player/content", "player/play", "player/memory", "player/server", "player/mpris"},
    "sandbox": set(),
}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)


def layer_of(path):
    return next((layer for layer in ALLOWED if path.startswith(layer + "/")), None)


def main():
    source = pathlib.Path(__file__).resolve().parent.parent / "src"
    faults, count = [], 0
    for file in sorted(p for p in source.rglob("*") if p.suffix in {".h", ".cpp"}):
        name = file.relative_to(source).as_posix()
        layer = layer_of(name)
        if layer is None:
            faults.append(f"{name}: is in an unknown folder; add the folder to scripts/check_layers.py")
            continue
        count += 1
        for included in INCLUDE.findall(file.read_text(encoding="utf-8")):
            target = layer_of(included)
            if target and target != layer and target not in ALLOWED[layer]:
                faults.append(f"{name}: includes {included}, but {target} is not below {layer}")
    print("\n".join(faults) if faults else f"{count} files include only headers of the layers below them.")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
