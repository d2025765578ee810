#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Checks that every source file of the repository names its licence in an
SPDX line near its top, in the comment form of its language. With --fix,
adds the line where it is missing (after a shebang or mode line, if any).

Sources are the files that git tracks, less documentation, data and the fuzz
corpora: C++ sources and headers, shell, Python and CMake files, the
manual pages, the service unit, the completion scripts and the package's
maintainer scripts.
"""
import subprocess
import sys
from pathlib import Path

TAG = "SPDX-License-Identifier: Apache-2.0"
ROOT = Path(__file__).resolve().parent.parent


def comment_for(path: Path):
    """The line that names the licence in path's language, or None for a non-source."""
    name, suffix = path.name, path.suffix
    if suffix in (".cpp", ".h"):
        return "// " + TAG
    if suffix in (".1", ".8"):
        return '.\\" ' + TAG
    if suffix in (".sh", ".py", ".in") or name == "CMakeLists.txt" or suffix == ".cmake":
        return "# " + TAG
    parts = path.parts
    if parts[:2] == ("packaging", "completion"):
        return "# " + TAG
    if parts[:2] == ("packaging", "debian") and name in ("preinst", "postinst", "prerm", "postrm"):
        return "# " + TAG
    if parts[:1] == (".ci",):
        return "# " + TAG
    return None


def tracked():
    out = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True, text=True)
    return [Path(p) for p in out.stdout.splitlines()]


def main():
    fix = "--fix" in sys.argv[1:]
    missing = []
    for rel in tracked():
        line = comment_for(rel)
        path = ROOT / rel
        if line is None or not path.is_file():
            continue
        text = path.read_text(encoding="utf-8")
        if TAG in "\n".join(text.splitlines()[:5]):
            continue
        missing.append(rel)
        if fix:
            lines = text.splitlines(keepends=True)
            # A shebang or an editor's mode line stays first.
            at = 1 if lines and (lines[0].startswith("#!") or "-*-" in lines[0]) else 0
            lines.insert(at, line + "\n")
            path.write_text("".join(lines), encoding="utf-8")
    if missing and not fix:
        for rel in missing:
            print(f"{rel}: no '{TAG}' line in its first five lines", file=sys.stderr)
        return 1
    if fix:
        print(f"added the licence line to {len(missing)} files")
    return 0


if __name__ == "__main__":
    sys.exit(main())
