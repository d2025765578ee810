#!/usr/bin/env bash
# Checks that the code follows .clang-format, builds brakk twice, once as a
# Release build and once with AddressSanitizer and UndefinedBehaviorSanitizer,
# runs every test in both builds, checks that the Release build installs its
# programs and that its Debian package installs and removes cleanly, and
# gives every fuzz target a short round. Warnings are errors here.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs=$(nproc)

# The code follows .clang-format.
find apps platform zorcored tests fuzz bench -name '*.cpp' -o -name '*.h' |
  xargs clang-format --dry-run --Werror
# No #include points upward in the floors of docs/architecture.md.
scripts/check-layers.py

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_WERROR=ON >/dev/null
ninja -C build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs"

stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT
cmake --install build --prefix "$stage" >/dev/null
for program in bin/brakk sbin/zorcored; do
  [ -x "$stage/$program" ] || { echo "install: $program is missing" >&2; exit 1; }
done

# The Debian package, installed, used and purged in a throwaway root (about
# half a minute; it needs root for the mount namespace and dpkg).
if [ "$(id -u)" -eq 0 ]; then
  scripts/package-test.sh build
else
  echo "package test skipped: it needs root" >&2
fi

cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBRAKK_SANITIZE=ON \
  -DBRAKK_BENCH=OFF -DBRAKK_WERROR=ON >/dev/null
ninja -C build-asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs"

# A short round of every fuzz target (scripts/fuzz.sh; about three minutes of
# fuzzing after its build); any crash or sanitizer report fails the run.
BRAKK_FUZZ_JOBS="$jobs" scripts/fuzz.sh 30
