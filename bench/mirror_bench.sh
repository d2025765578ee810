#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# mirror_bench.sh - end-to-end cost of one -m in file mode: 64 sessions naming 256
# dvPorts (four each) on one switch of 4,096 ports with 8 properties each, beside
# the floor of an edit of that file (process start plus reading and writing, with
# fsync and rename, the file's bytes), and -l of that switch before and after.
#
# -m replaces every table each time, so repeated runs all do the same work: clear
# nothing new, write the same 256 tables, save the file.
#
# Needs hyperfine (installed when missing). Tunables (environment):
#   DIR=/tmp/brakkmirror  scratch dir, wiped and recreated
#   RUNS=30               timed runs per hyperfine benchmark
#   BUILD=build-bench     build directory (Release unless it exists already)
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkmirror}
RUNS=${RUNS:-30}
BUILD=${BUILD:-build-bench}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
command -v hyperfine >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq hyperfine >/dev/null

[ -f "$BUILD/build.ninja" ] || cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C "$BUILD" brakk mkconfig floor >/dev/null
B=$PWD/$BUILD
BRAKK=$B/apps/net/dvs/brakk
rm -rf "$DIR"; mkdir -p "$DIR"
trap 'rm -rf "$DIR"' EXIT
# No daemon: kernel-mode lookups must not find one.
export ZORCORE_SOCKET=$DIR/none.sock

F=$DIR/dvs.db
$B/bench/mkconfig "$F" 1 4096 8 >/dev/null
SW="64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00" # derived from dvs0

# Session i mirrors dvPort a to b and c (ingress) and d (egress); the 256 ports are
# spread over the switch, 16 apart.
text="v2"
for i in $(seq 0 63); do
  a=$((i * 64)) b=$((i * 64 + 16)) c=$((i * 64 + 32)) d=$((i * 64 + 48))
  text+="*s$i;session $i;DVPORT;;;e;;$a;$b,$c;$d;"
done
mirror=("$BRAKK" -f "$F" -n -m "$text" "$SW")
list=("$BRAKK" -f "$F" -n -l "$SW")

. bench/common.sh

bytes_before=$(stat -c %s "$F")
t_list0=$(hf list_plain "" "${list[@]}")
"${mirror[@]}" >"$DIR/mirror.out"
tail -1 "$DIR/mirror.out" | grep -qx 'total ports: 256' || { echo "unexpected -m output" >&2; exit 1; }
bytes=$(stat -c %s "$F")
tables=$("${list[@]}" | grep -c 'port.mirrorSessions:$')
[ "$tables" -eq 256 ] || { echo "expected 256 tables, listed $tables" >&2; exit 1; }

echo "configuration: 1 switch x 4096 ports x 8 properties, $bytes_before bytes;" \
  "$bytes bytes with 256 session tables"
measure_floor "$F"
vs_floor "-m, 64 sessions, 256 dvPorts" "$(hf mirror "" "${mirror[@]}")" "(goal <= 3x)"
echo "-l of the switch (> /dev/null): $t_list0 ms without tables," \
  "$(hf list "" "${list[@]}") ms with 256 tables"
