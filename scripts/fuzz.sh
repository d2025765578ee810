#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the libFuzzer targets under fuzz/ with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer on) and runs each one, one after the other, for
# a bounded time on its seed corpus in fuzz/corpus/. Fails when any target
# finds a crash, a leak, a sanitizer report, a timeout or a broken
# invariant; the input that did it is left in the build directory's
# artifacts/ (add it to fuzz/corpus/<target>/ once the fault is fixed).
#
# usage: scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]
#   SECONDS_PER_TARGET  default 30
#   TARGET              default every target
# Environment: BRAKK_FUZZ_BUILD (build directory, default build-fuzz),
#   BRAKK_FUZZ_JOBS (build jobs, default nproc), BRAKK_FUZZ_NICE (default 19),
#   BRAKK_FUZZ_RUNS (stop a target after this many executions, default no limit).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(args_fuzz print_fuzz config_fuzz kernel_fuzz server_fuzz reply_fuzz)
build=${BRAKK_FUZZ_BUILD:-build-fuzz}
jobs=${BRAKK_FUZZ_JOBS:-$(nproc)}
niceness=${BRAKK_FUZZ_NICE:-19}
runs=${BRAKK_FUZZ_RUNS:--1}

if [ ! -f "$build/CMakeCache.txt" ]; then
  CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DBRAKK_FUZZ=ON -DBRAKK_SANITIZE=ON -DBUILD_TESTING=OFF -DBRAKK_BENCH=OFF >/dev/null
fi
ninja -C "$build" -j"$jobs" "${targets[@]}"

artifacts="$build/artifacts"
mkdir -p "$artifacts"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

passed=0
failed=0
for t in "${targets[@]}"; do
  mkdir -p "$work/$t"
  log="$work/$t.log"
  start=$SECONDS
  # New inputs go to a scratch corpus; the seeds in the repository are only read.
  # -close_fd_mask=2 silences the code's own error messages; sanitizer reports still show.
  if ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
    nice -n "$niceness" "$build/fuzz/$t" "$work/$t" "fuzz/corpus/$t" \
    -max_total_time="$seconds" -runs="$runs" -timeout=30 -rss_limit_mb=4096 -close_fd_mask=2 \
    -print_final_stats=1 -artifact_prefix="$artifacts/$t-" >"$log" 2>&1; then
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    cov=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1)
    corpus=$(find "$work/$t" -type f | wc -l)
    printf '%-12s ok: %s executions in %d s, %s, %s new inputs\n' \
      "$t" "$execs" $((SECONDS - start)) "$cov" "$corpus"
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "$t FAILED; its log:" >&2
    grep -v '^#[0-9]\|^INFO:\|NEW_FUNC' "$log" | tail -60 >&2
  fi
done
echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
