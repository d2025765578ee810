#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# vlan_bench.sh - end-to-end cost of one port VLAN edit (-v with a priority and two
# ranges) and one private-VLAN map edit (-V with three entries), in file mode on 16
# switches x 1024 ports x 8 properties, beside the floor of an edit (process start
# plus reading and writing the file's bytes, as edit_bench.sh measures it) and the -s
# edit that edit_bench.sh times. Neither command reads the kernel, so no zorcored runs;
# -n spares the alias lookup.
#
# Needs hyperfine (installed when missing). Tunables (environment):
#   DIR=/tmp/brakkvbench  scratch dir, wiped and recreated
#   RUNS=30               timed runs per hyperfine benchmark
#   BUILD=build-bench     Release build directory
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkvbench}
RUNS=${RUNS:-30}
BUILD=${BUILD:-build-bench}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
command -v hyperfine >/dev/null || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq hyperfine >/dev/null
cmake -S . -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C "$BUILD" brakk mkconfig floor >/dev/null
B=$PWD/$BUILD
BRAKK=$B/apps/net/dvs/brakk

rm -rf "$DIR"; mkdir -p "$DIR"
trap 'rm -rf "$DIR"' EXIT

SW="64 76 73 33 00 00 00 00-00 00 00 00 00 00 00 00" # derived from dvs3
F=$DIR/dvs.db
bytes=$("$B/bench/mkconfig" "$F" 16 1024 8)
edit=("$BRAKK" -f "$F" -n -s com.corvane.common.port.speed=9000 -p 7 "$SW")
vlan=("$BRAKK" -f "$F" -n -v '10;t5;100-200,300' -p 7 "$SW")
pvlan=("$BRAKK" -f "$F" -n -V '100,101,i;100,102,c;100,100,p' "$SW")
# Both changes must succeed and show in the listing before they are timed.
"${vlan[@]}" && "${pvlan[@]}" >/dev/null &&
  [ "$("$BRAKK" -f "$F" -l dvs3 2>/dev/null | grep -c -e 'ranges = 100-200 300' -e '(100, 102) - community')" = 2 ] ||
  { echo "-v or -V did not take" >&2; exit 1; }

. bench/common.sh
echo "configuration: 16 switches x 1024 ports x 8 properties, $bytes bytes"
measure_floor "$F"
vs_floor "for comparison, -s (-n, as edit_bench.sh)" "$(hf edit "" "${edit[@]}")"
vs_floor "-v (-n, '10;t5;100-200,300' on port 7)" "$(hf vlan "" "${vlan[@]}")" "(goal <= 3x)"
vs_floor "-V (-n, three entries)" "$(hf pvlan "" "${pvlan[@]}")"
