#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Fails when an #include points upward in the tool's floors, or when the
emulated platform or zorcored reach into the tool beyond the library's
interface header. docs/architecture.md draws the floors.

usage: scripts/check-layers.py   (from anywhere in the tree; prints each
upward include and exits 1, or prints one line and exits 0)
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TOOL = ROOT / "apps/net/dvs"
INTERFACE = TOOL / "state/include"

# (floor, name, test) from the lowest floor up; the first test that holds wins.
FLOORS = [
    (0, "library interface", lambda p: INTERFACE in p.parents),
    (1, "ground", lambda p: TOOL / "base" in p.parents),
    (2, "state", lambda p: TOOL / "state" in p.parents),
    (3, "families and events", lambda p: TOOL / "props" in p.parents or TOOL / "events" in p.parents),
    (4, "listing and commands",
     lambda p: TOOL / "listing" in p.parents or p.stem in ("switch_cmds", "uplink_cmds")),
    (5, "front end", lambda p: p.parent == TOOL),
]

# Where quoted includes are looked up, besides the including file's folder.
SEARCH = {
    "apps": [TOOL, INTERFACE],
    "platform": [ROOT / "platform", INTERFACE],
    "zorcored": [ROOT / "zorcored", ROOT / "platform", INTERFACE],
}

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def floor_of(path):
    for number, name, test in FLOORS:
        if test(path):
            return number, name
    return None, None


def resolve(source, name, dirs):
    for d in [source.parent] + dirs:
        candidate = (d / name).resolve()
        if candidate.is_file():
            return candidate
    return None


def main():
    problems = []
    checked = 0
    for top, dirs in SEARCH.items():
        for source in sorted((ROOT / top).rglob("*")):
            if source.suffix not in (".h", ".cpp") or not source.is_file():
                continue
            src_floor, src_name = floor_of(source) if top == "apps" else (None, top)
            rel = source.relative_to(ROOT)
            for name in INCLUDE.findall(source.read_text(errors="replace")):
                checked += 1
                target = resolve(source, name, dirs)
                if target is None:
                    problems.append(f'{rel}: "{name}" is not a header of the tree')
                    continue
                if top != "apps":
                    if TOOL in target.parents and INTERFACE not in target.parents:
                        problems.append(f'{rel}: "{name}" is the tool\'s; the {top} sees '
                                        "only the library's interface")
                    continue
                dst_floor, dst_name = floor_of(target)
                if dst_floor is None or src_floor is None:
                    problems.append(f'{rel}: "{name}" lies on no floor')
                elif dst_floor > src_floor:
                    problems.append(f'{rel} ({src_name}) includes "{name}" ({dst_name}), '
                                    "a floor above it")
    for p in problems:
        print(p, file=sys.stderr)
    if problems:
        print(f"check-layers: {len(problems)} include(s) against the floors", file=sys.stderr)
        return 1
    print(f"check-layers: {checked} includes, none points upward")
    return 0


if __name__ == "__main__":
    sys.exit(main())
