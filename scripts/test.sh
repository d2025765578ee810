#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks that the code follows .clang-format, that no #include points
# upward and that every source names its licence, builds brakk twice, once as a Release build and once with
# AddressSanitizer and UndefinedBehaviorSanitizer, runs every test in both
# builds, checks that the Release build installs its programs, builds the
# Debian package and tries it in a throwaway root (as root), and gives
# every fuzz target a short round. Warnings are errors here.
#
# It prints one line per stage, with its result and time; everything the
# stages print goes to the log whose path it gives (build-logs/test.log).
# The first stage that fails ends the run with its status, after the end
# of its output.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
mkdir -p build-logs
log=$PWD/build-logs/test.log
: >"$log"
echo "scripts/test.sh: the full log is $log"
stage_out=$(mktemp)
stage_dir=$(mktemp -d)
trap 'rm -rf "$stage_out" "$stage_dir"' EXIT
started=$SECONDS

# stage NAME COMMAND...: runs the command with its output in the log, and
# prints the stage's line. The command runs as a job of its own, so that
# "set -e" holds inside the shell functions below.
stage() {
  local name=$1 start=$SECONDS status=0 detail
  shift
  printf '\n===== %s: %s\n' "$name" "$*" >>"$log"
  "$@" >"$stage_out" 2>&1 &
  wait $! || status=$?
  cat "$stage_out" >>"$log"
  # The tests' and the package's summaries, when the stage printed one.
  detail=$(grep -E 'tests passed|package test passed|^lintian: ' "$stage_out" | tail -n 1 || true)
  if [ "$status" -eq 0 ]; then
    printf '%-16s ok     %4d s  %s\n' "$name" $((SECONDS - start)) "$detail"
    return 0
  fi
  printf '%-16s FAILED %4d s  (status %d); its last lines:\n' "$name" $((SECONDS - start)) "$status"
  tail -n 30 "$stage_out" | sed 's/^/  | /'
  echo "scripts/test.sh: failed at \"$name\"; the full log is $log"
  exit "$status"
}

format() {
  find apps platform zorcored tests fuzz bench -name '*.cpp' -o -name '*.h' |
    xargs clang-format --dry-run --Werror
}
release_build() {
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_WERROR=ON
  ninja -C build -j"$jobs"
}
release_tests() { ctest --test-dir build --output-on-failure -j"$jobs"; }
install_check() {
  cmake --install build --prefix "$stage_dir"
  for program in bin/brakk sbin/zorcored; do
    [ -x "$stage_dir/$program" ] || { echo "install: $program is missing"; return 1; }
  done
}
asan_build() {
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DBRAKK_SANITIZE=ON \
    -DBRAKK_BENCH=OFF -DBRAKK_WERROR=ON
  ninja -C build-asan -j"$jobs"
}
asan_tests() {
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --test-dir build-asan --output-on-failure -j"$jobs"
}
# A 30-second round of every fuzz target (about three minutes of fuzzing
# after its build); any crash or sanitizer report fails the run.
fuzz() { BRAKK_FUZZ_JOBS="$jobs" scripts/fuzz.sh 30; }

stage deps scripts/deps.sh
stage format format
stage layers scripts/check-layers.py
stage licence scripts/check-licence.py
stage release-build release_build
stage release-tests release_tests
stage install install_check
# The Debian package, built with Debian's flags, checked by lintian,
# installed, used and purged in a throwaway root (about a minute; it needs
# root for the mount namespace and dpkg).
if [ "$(id -u)" -eq 0 ]; then
  stage package scripts/package-test.sh
else
  printf '%-16s skipped: it needs root\n' package
fi
stage asan-build asan_build
stage asan-tests asan_tests
stage fuzz fuzz
echo "scripts/test.sh: all stages passed in $((SECONDS - started)) s; the full log is $log"
