#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# kernel_bench.sh - kernel mode against zorcored holding 16 switches x 1024 ports x
# 8 properties: one -s end to end (with -n, and with the alias lookup), beside the
# file-mode -s of the same configuration; the daemon's peak memory against the
# serialised state; the channel round trip, whole-state transfer and event delivery
# (bench/channel_bench).
#
# Tunables (environment): DIR=/tmp/brakkkbench, RUNS=30.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkkbench}
RUNS=${RUNS:-30}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
command -v hyperfine >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq hyperfine >/dev/null
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C build-bench brakk zorcored mkconfig channel_bench >/dev/null
B=$PWD/build-bench
BRAKK=$B/apps/net/dvs/brakk

rm -rf "$DIR"; mkdir -p "$DIR"
export ZORCORE_SOCKET=$DIR/zorcore.sock
"$B/zorcored/zorcored" --socket "$ZORCORE_SOCKET" --state-dir "$DIR/state" &
daemon=$!
trap 'kill $daemon 2>/dev/null; wait $daemon 2>/dev/null' EXIT
for _ in $(seq 1 100); do [ -S "$ZORCORE_SOCKET" ] && break; sleep 0.05; done

F=$DIR/dvs.db
bytes=$("$B/bench/mkconfig" "$F" 16 1024 8)
"$BRAKK" -f "$F" -S # the configuration into the kernel
SW="64 76 73 33 00 00 00 00-00 00 00 00 00 00 00 00" # derived from dvs3, alias dvs3

. bench/common.sh

t_kernel_n=$(hf kernel_n "" "$BRAKK" -n -s com.corvane.common.port.speed=9000 -p 7 "$SW")
t_kernel_alias=$(hf kernel_alias "" "$BRAKK" -s com.corvane.common.port.speed=9000 -p 7 dvs3)
t_file_n=$(hf file_n "" "$BRAKK" -f "$F" -n -s com.corvane.common.port.speed=9000 -p 7 "$SW")
t_kernel_list=$(hf kernel_list "" "$BRAKK" -l)
# Eight clients reading the whole state at once, ten times each.
for c in $(seq 1 8); do
  (for i in $(seq 1 10); do "$BRAKK" -l >/dev/null; done) &
done
wait $(jobs -p | grep -v "^$daemon$") 2>/dev/null || true
hwm=$(awk '/VmHWM/ {print $2}' /proc/$daemon/status)
rss=$(awk '/VmRSS/ {print $2}' /proc/$daemon/status)

echo "configuration: 16 switches x 1024 ports x 8 properties, $bytes bytes"
echo "kernel -s (-n):          $t_kernel_n ms"
echo "kernel -s (alias dvs3):  $t_kernel_alias ms"
echo "file   -s (-n):          $t_file_n ms"
awk -v k="$t_kernel_n" -v a="$t_kernel_alias" -v f="$t_file_n" 'BEGIN {
  printf "kernel/file: %.2fx with -n, %.2fx with the alias lookup (goal <= 2x)\n", k / f, a / f }'
echo "kernel -l:               $t_kernel_list ms"
awk -v h="$hwm" -v r="$rss" -v b="$bytes" 'BEGIN {
  printf "zorcored memory (after 8 concurrent readers): peak %d kB, now %d kB; cap 3 x state + 8 MiB = %d kB\n",
         h, r, (3 * b + 8 * 1048576) / 1024 }'
"$B/bench/channel_bench" --benchmark_min_time=1 2>/dev/null | grep -E '^BM_|^Benchmark'
