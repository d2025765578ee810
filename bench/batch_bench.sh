#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# batch_bench.sh - 4,096 changes, one on each port of a switch of 4,096 ports
# with 8 properties each: as one --batch (file mode, and kernel mode against
# zorcored) against the 4,096 single invocations, beside the floor of one
# edit of the file plus the time that the batch takes to read and check its
# lines. Two batches: a property (-s) on every port, and a VLAN (-v).
#
# Needs hyperfine and GNU time (installed when missing). Tunables (environment):
#   DIR=/tmp/brakkbatch  scratch dir, wiped and recreated
#   RUNS=10              timed runs per hyperfine benchmark
#   BUILD=build-bench    build directory (Release unless it exists already)
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkbatch}
RUNS=${RUNS:-10}
BUILD=${BUILD:-build-bench}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
for p in hyperfine time; do
  command -v "$p" >/dev/null || [ -x /usr/bin/$p ] ||
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "$p" >/dev/null
done
[ -f "$BUILD/build.ninja" ] || cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C "$BUILD" brakk zorcored mkconfig floor >/dev/null
B=$PWD/$BUILD
BRAKK=$B/apps/net/dvs/brakk
rm -rf "$DIR"; mkdir -p "$DIR"
daemon=''
trap '[ -n "$daemon" ] && kill $daemon 2>/dev/null; wait 2>/dev/null; rm -rf "$DIR"' EXIT
export ZORCORE_SOCKET=$DIR/none.sock # file mode: no kernel to look aliases up in

F=$DIR/dvs.db
bytes=$("$B/bench/mkconfig" "$F" 1 4096 8)
cp "$F" "$DIR/pristine.db"
for p in $(seq 0 4095); do echo "-s com.corvane.common.port.speed=$p -p $p dvs0"; done >"$DIR/set.batch"
for p in $(seq 0 4095); do echo "-v $((p % 4094 + 1)) -p $p dvs0"; done >"$DIR/vlan.batch"

. bench/common.sh
peak_kb() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -1; }

echo "configuration: 1 switch x 4096 ports x 8 properties, $bytes bytes; batches of 4096 lines"
measure_floor "$F"
# Reading and checking the lines alone: kernel mode --check runs nothing.
parse=$(hf parse "" "$BRAKK" --batch "$DIR/set.batch" --check)
echo "read and check 4096 lines (--check in kernel mode): $parse ms"
goal=$(awk -v f="$FLOOR" -v p="$parse" 'BEGIN { printf "%.2f", 3 * f + p }')

for kind in set vlan; do
  batch=("$BRAKK" -f "$F" --batch "$DIR/$kind.batch")
  t=$(hf "batch_$kind" "cp $DIR/pristine.db $F" "${batch[@]}")
  cp "$DIR/pristine.db" "$F"
  kb=$(peak_kb "${batch[@]}")
  # The same changes as 4096 single commands, once (they take half a minute).
  cp "$DIR/pristine.db" "$F"
  start=$(date +%s.%N)
  while IFS= read -r line; do eval "\"$BRAKK\" -f \"$F\" $line" >/dev/null 2>&1; done <"$DIR/$kind.batch"
  singles=$(awk -v s="$start" -v e="$(date +%s.%N)" 'BEGIN { printf "%.0f", (e - s) * 1000 }')
  awk -v k="$kind" -v t="$t" -v s="$singles" -v g="$goal" -v kb="$kb" \
    -v cap=$(((3 * bytes + 4 * 1048576) / 1024)) 'BEGIN {
    printf "file mode, %s: batch %.1f ms (goal <= 3 x floor + parse = %.1f ms: %s); "\
      "4096 single commands %d ms = %.0f x the batch (goal >= 100 x); peak RSS %d kB (cap %d kB)\n",
      k, t, g, t <= g ? "met" : "NOT met", s, s / t, kb, cap }'
done

# Kernel mode: the same batches against zorcored holding the configuration.
export ZORCORE_SOCKET=$DIR/zorcore.sock
"$B/zorcored/zorcored" --socket "$ZORCORE_SOCKET" --state-dir "$DIR/state" &
daemon=$!
for _ in $(seq 1 100); do [ -S "$ZORCORE_SOCKET" ] && break; sleep 0.05; done
"$BRAKK" -f "$DIR/pristine.db" -S
for kind in set vlan; do
  t=$(hf "kernel_$kind" "" "$BRAKK" --batch "$DIR/$kind.batch")
  echo "kernel mode, $kind: batch $t ms"
done
