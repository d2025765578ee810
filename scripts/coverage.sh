#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# coverage.sh - which lines of brakk, the emulated platform and zorcored the
# test suite runs, from a clang build instrumented for source coverage
# (build-cov). Every process the tests start (brakk, zorcored) adds to the
# profile, except those ended by SIGKILL or SIGTERM (the listeners and
# daemons that tests stop that way), whose lines show as not run.
#
#   scripts/coverage.sh            line, function and branch coverage, file
#                                  by file
#   scripts/coverage.sh --each     every test run alone, then the total and
#                                  the tests that run no line or branch that
#                                  no other test runs
#
# A test in the second list is not redundant by that alone: it may pin a
# byte layout, a boundary or a message that other tests run past without
# checking. It is a place to look, with scripts/mutants.py to tell.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
command -v llvm-cov >/dev/null && command -v llvm-profdata >/dev/null ||
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq llvm >/dev/null

flags="-fprofile-instr-generate -fcoverage-mapping"
CC=clang CXX=clang++ cmake -S . -B build-cov -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBRAKK_BENCH=OFF \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_EXE_LINKER_FLAGS="-fprofile-instr-generate" >/dev/null
ninja -C build-cov -j"$(nproc)" >/dev/null
B=$PWD/build-cov
out=$(mktemp -d /tmp/brakk-cov.XXXXXX)
trap 'rm -rf "$out"' EXIT
objects=("$B/apps/net/dvs/brakk" -object "$B/zorcored/zorcored" -object "$B/tests/unit_tests"
         -object "$B/tests/platform_tests")
ignore='(^/usr/|/tests/|/build-cov/)'

# Two tests start brakk with an environment of their own, so its profile
# would land among their files and fail them; they are left out.
skip="FileSafety.KilledWritersLeaveAFileThatLoads:Reliability.OtherUsersAreRefused"

# A test's processes merge into a pool of four files a binary (%4m), so that
# the tests that start a thousand brakk processes do not leave a thousand files.
run() { # run DIR BINARY [gtest arguments]
  local dir=$1 bin=$2
  shift 2
  mkdir -p "$dir"
  LLVM_PROFILE_FILE="$dir/%4m.profraw" "$B/tests/$bin" "$@" </dev/null >"$dir.log" 2>&1 ||
    echo "failed under coverage: $bin $*" >&2
  compgen -G "$dir/*.profraw" >/dev/null && llvm-profdata merge -sparse "$dir"/*.profraw -o "$dir.profdata"
  rm -rf "$dir"
}

if [ "${1:-}" != --each ]; then
  for bin in platform_tests unit_tests cmd_tests; do run "$out/$bin" "$bin" --gtest_filter="-$skip"; done
  llvm-profdata merge -sparse "$out"/*.profdata -o "$out/all.profdata"
  llvm-cov report -instr-profile="$out/all.profdata" "${objects[@]}" -ignore-filename-regex="$ignore" \
    2>/dev/null
  exit 0
fi

for bin in platform_tests unit_tests cmd_tests; do
  LLVM_PROFILE_FILE=/dev/null "$B/tests/$bin" --gtest_list_tests --gtest_filter="-$skip" |
    awk '/^[^ ]/ { s = $1 } /^  / { print s $1 }' |
    while read -r t; do run "$out/each/$t" "$bin" --gtest_filter="$t"; done
done
llvm-profdata merge -sparse "$out"/each/*.profdata -o "$out/all.profdata"
llvm-cov report -instr-profile="$out/all.profdata" "${objects[@]}" -ignore-filename-regex="$ignore" \
  2>/dev/null | tail -1
python3 - "$out/each" "$ignore" "${objects[@]}" <<'PY'
import collections, os, re, subprocess, sys
each, ignore, objects = sys.argv[1], re.compile(sys.argv[2]), sys.argv[3:]
runs = {}
for f in sorted(os.listdir(each)):
    if not f.endswith(".profdata"):
        continue
    lcov = subprocess.run(["llvm-cov", "export", "-format=lcov", "-instr-profile=" + os.path.join(each, f)]
                          + objects, capture_output=True, text=True, check=True).stdout
    seen, src = set(), ""
    for line in lcov.splitlines():
        if line.startswith("SF:"):
            src = line[3:]
        elif ignore.search(src):
            continue
        elif line.startswith("DA:") and line.split(",")[1] != "0":
            seen.add((src, "line", line[3:].split(",")[0]))
        elif line.startswith("BRDA:") and line.split(",")[3] not in ("-", "0"):
            seen.add((src, "branch", line[5:].rsplit(",", 1)[0]))
    runs[f[:-len(".profdata")]] = seen
count = collections.Counter(item for seen in runs.values() for item in seen)
alone = [t for t, seen in runs.items() if all(count[item] > 1 for item in seen)]
print(f"{len(alone)} of {len(runs)} tests run no line or branch of their own:")
for t in alone:
    print("  " + t)
PY
