#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# json_bench.sh - the JSON listing (-l --json) beside the text listing (-l) of the
# same configuration, file mode, 16 switches x 1024 ports x 8 properties: both to
# /dev/null, end to end with hyperfine, interleaved (each round times the text
# listing, then the JSON listing, ROUNDS times, so that both meet the same load of
# a shared machine); the ratio of the two medians in each round and the median of
# those ratios; the sizes of the two outputs; peak RSS of each (GNU time) against
# the listing's cap of 3 x the file + 4 MiB.
#
# Needs hyperfine and GNU time (installed when missing). Tunables (environment):
#   DIR=/tmp/brakkbench-json  scratch dir, wiped and recreated
#   ROUNDS=6                  interleaved rounds
#   RUNS=10                   timed runs of each listing per round
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkbench-json}
ROUNDS=${ROUNDS:-6}
RUNS=${RUNS:-10}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
for p in hyperfine time; do
  command -v "$p" >/dev/null || [ -x /usr/bin/$p ] || \
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "$p" >/dev/null
done

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
ninja -C build-bench brakk mkconfig >/dev/null
B=$PWD/build-bench
rm -rf "$DIR"; mkdir -p "$DIR"
# No daemon: kernel-mode lookups must not find one.
export ZORCORE_SOCKET=$DIR/none.sock

. bench/common.sh
peak_kb() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -1; }

F=$DIR/dvs.db
bytes=$($B/bench/mkconfig "$F" 16 1024 8)
text=($B/apps/net/dvs/brakk -f "$F" -l)
json=($B/apps/net/dvs/brakk -f "$F" -l --json)

echo "configuration: 16 switches x 1024 ports x 8 properties, $bytes bytes"
echo "output: text $("${text[@]}" | wc -c) bytes, JSON $("${json[@]}" | wc -c) bytes"
"${json[@]}" | python3 -c "import json,sys; json.load(sys.stdin)" && echo "the JSON document parses"
ratios=()
for r in $(seq "$ROUNDS"); do
  t=$(hf "text$r" "" "${text[@]}")
  j=$(hf "json$r" "" "${json[@]}")
  ratio=$(awk -v t="$t" -v j="$j" 'BEGIN { printf "%.3f", j / t }')
  ratios+=("$ratio")
  echo "round $r: text $t ms, JSON $j ms, JSON / text = $ratio"
done
printf '%s\n' "${ratios[@]}" | sort -n |
  awk '{ a[NR] = $1 } END { m = NR % 2 ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2;
         printf "median JSON / text over %d rounds: %.3f (goal <= 1.5)\n", NR, m }'
echo "peak RSS: text $(peak_kb "${text[@]}") kB, JSON $(peak_kb "${json[@]}") kB;" \
  "cap 3 x file + 4 MiB = $(((3 * bytes + 4 * 1048576) / 1024)) kB"
