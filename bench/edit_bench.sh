#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# edit_bench.sh - end-to-end cost of file-mode commands on a large configuration
# (16 switches x PORTS ports x 8 properties), beside the physical floor of an
# edit on this machine: process start plus reading and writing (fsync, rename)
# the file's bytes. Also peak memory of one command against the file size, and
# the edit at several sizes to show that costs grow linearly.
#
# Needs hyperfine and GNU time (installed when missing). Tunables (environment):
#   DIR=/tmp/brakkbench  scratch dir, wiped and recreated
#   RUNS=30              timed runs per hyperfine benchmark
#   SIZES="256 512 1024 2048"  ports per switch for the linearity rows
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkbench}
RUNS=${RUNS:-30}
SIZES=${SIZES:-"256 512 1024 2048"}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
for p in hyperfine time; do
  command -v "$p" >/dev/null || [ -x /usr/bin/$p ] || \
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "$p" >/dev/null
done

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C build-bench brakk mkconfig floor >/dev/null
B=$PWD/build-bench
rm -rf "$DIR"; mkdir -p "$DIR"
# No daemon: kernel-mode lookups must not find one.
export ZORCORE_SOCKET=$DIR/none.sock

id_of() { # the switch ID text brakk derives from a name
  printf '%s' "$1" | head -c 15 | od -An -tx1 -v | tr -s ' \n' ' ' | sed 's/^ //; s/ $//' |
    awk '{n=split($0,a," "); for(i=n+1;i<=16;i++)a[i]="00"; s=a[1];
          for(i=2;i<=16;i++) s=s (i==9?"-":" ") a[i]; print s}'
}
SW=$(id_of dvs3)

. bench/common.sh
peak_kb() { /usr/bin/time -f %M "$@" 2>&1 >/dev/null | tail -1; }

F=$DIR/dvs.db
bytes=$($B/bench/mkconfig "$F" 16 1024 8)
edit=($B/apps/net/dvs/brakk -f "$F" -n -s com.corvane.common.port.speed=9000 -p 7 "$SW")
list=($B/apps/net/dvs/brakk -f "$F" -l)

echo "configuration: 16 switches x 1024 ports x 8 properties, $bytes bytes"
measure_floor "$F"
vs_floor "edit (-s, -n)" "$(hf edit "" "${edit[@]}")" "(goal <= 3x)"
echo "list (-l > /dev/null): $(hf list "" "${list[@]}") ms"
echo "peak RSS: edit $(peak_kb "${edit[@]}") kB, list $(peak_kb "${list[@]}") kB;" \
  "cap 3 x file + 4 MiB = $(((3 * bytes + 4 * 1048576) / 1024)) kB"

echo "linearity (edit median ms by ports per switch):"
for n in $SIZES; do
  bytes=$($B/bench/mkconfig "$DIR/lin.db" 16 "$n" 8)
  t=$(hf "lin$n" "" $B/apps/net/dvs/brakk -f "$DIR/lin.db" -n -s com.corvane.common.port.speed=9000 \
      -p 7 "$SW")
  tl=$(hf "linl$n" "" $B/apps/net/dvs/brakk -f "$DIR/lin.db" -l)
  echo "  16 x $n ports: $bytes bytes, edit $t ms, list $tl ms"
done
