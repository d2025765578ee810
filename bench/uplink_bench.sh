#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# uplink_bench.sh - end-to-end cost of one teaming edit (-L) and one --setLACP that
# changes one LAG, in file mode on 16 switches x 1024 ports x 8 properties, beside
# the floor of an edit (process start plus reading and writing the file's bytes, as
# edit_bench.sh measures it) and the -s edit that edit_bench.sh times.
#
# --setLACP reads the stored LAG table from the kernel in file mode too, so a private
# zorcored holds the same configuration, whose LAG table has lag1 with 2 ports. Each
# timed --setLACP starts from a copy of that file (hyperfine's prepare step, not
# timed) and grows lag1 to 3 ports: one new LAG port, both uplink lists and the LAG
# table rewritten, the file saved.
#
# Needs hyperfine (installed when missing). Tunables (environment):
#   DIR=/tmp/brakkubench  scratch dir, wiped and recreated
#   RUNS=30               timed runs per hyperfine benchmark
#   BUILD=build-bench     Release build directory
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkubench}
RUNS=${RUNS:-30}
BUILD=${BUILD:-build-bench}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
command -v hyperfine >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq hyperfine >/dev/null
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C "$BUILD" brakk zorcored mkconfig floor >/dev/null
B=$PWD/$BUILD
BRAKK=$B/apps/net/dvs/brakk

rm -rf "$DIR"; mkdir -p "$DIR"
export ZORCORE_SOCKET=$DIR/zorcore.sock
"$B/zorcored/zorcored" --socket "$ZORCORE_SOCKET" --state-dir "$DIR/state" &
daemon=$!
trap 'kill $daemon 2>/dev/null; wait $daemon 2>/dev/null; rm -rf "$DIR"' EXIT
for _ in $(seq 1 100); do [ -S "$ZORCORE_SOCKET" ] && break; sleep 0.05; done

SW="64 76 73 33 00 00 00 00-00 00 00 00 00 00 00 00" # derived from dvs3
BASE=$DIR/base.db
F=$DIR/dvs.db
bytes=$("$B/bench/mkconfig" "$BASE" 16 1024 8)
"$BRAKK" -f "$BASE" -n --setLACP 'v2*lag1;1;2;1;3;' "$SW" # lag1 with 2 ports in the file
"$BRAKK" -f "$BASE" -S                                     # and the same table in the kernel
cp "$BASE" "$F"
edit=("$BRAKK" -f "$F" -n -s com.corvane.common.port.speed=9000 -p 7 "$SW")
teaming=("$BRAKK" -f "$F" -n -L uplink0,uplink1 -t 4 -c -p 7 "$SW")
lacp=("$BRAKK" -f "$F" -n --setLACP 'v2*lag1;1;3;1;3;' "$SW")
# The change must succeed silently before it is timed.
[ -z "$("${lacp[@]}" 2>&1)" ] && "$BRAKK" -f "$F" -l dvs3 | grep -c 'lag1-2:' >/dev/null ||
  { echo "--setLACP did not grow lag1" >&2; exit 1; }

. bench/common.sh
echo "configuration: 16 switches x 1024 ports x 8 properties, $bytes bytes"
measure_floor "$F"
vs_floor "for comparison, -s (-n, as edit_bench.sh)" "$(hf edit "" "${edit[@]}")"
vs_floor "-L (-n, teaming on port 7)" "$(hf teaming "" "${teaming[@]}")" "(goal <= 3x)"
vs_floor "--setLACP (-n, lag1 from 2 to 3 ports)" "$(hf lacp "cp $BASE $F" "${lacp[@]}")" \
  "(goal <= 3x)"
