#!/usr/bin/env bash
# techniques.sh - what each speed technique of the emulated platform is worth.
# Builds the current tree once as it is and once per technique with that
# technique switched off (a one-line change to a copy of the tree), then runs
# the technique's benchmark command for every build in turn, interleaved so
# that a busy machine slows them all alike, and prints the medians.
#
#   reload  the second load of identical bytes reuses the first one's checks  (edit)
#   pool    port objects carved out of large blocks                            (listing)
#   huge    large blocks 2 MiB aligned and advised to use huge pages           (edit, listing)
#   crc     the processor's CRC32 instruction instead of the byte table       (edit)
#   share   zorcored shares one serialised state among replies   (peak memory, 8 readers)
#
# Tunables: DIR=/tmp/brakktech (scratch, wiped), RUNS=30.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakktech}
RUNS=${RUNS:-30}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac
rm -rf "$DIR"; mkdir -p "$DIR"
trap 'pkill -f "$DIR/.*/zorcored" 2>/dev/null || true' EXIT

# variant NAME FILE OLD NEW: a copy of the tree with one text replaced, built.
variant() {
  mkdir -p "$DIR/$1"
  git archive HEAD | tar -x -C "$DIR/$1"
  if [ -n "$2" ]; then
    python3 - "$DIR/$1/$2" "$3" "$4" <<'PY'
import sys
p, old, new = sys.argv[1:]
s = open(p).read()
if old not in s: sys.exit(f"{p}: the text to switch the technique off is gone; update this script")
open(p, 'w').write(s.replace(old, new, 1))
PY
  fi
  cmake -S "$DIR/$1" -B "$DIR/$1/b" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON -DBUILD_TESTING=OFF \
    -DBRAKK_BENCH=OFF >/dev/null
  ninja -C "$DIR/$1/b" brakk zorcored >/dev/null
}
variant base "" "" ""
variant reload platform/core/config_model.cpp "const bool again =" "const bool again = false &&"
variant pool platform/core/config_model.cpp "return Pool().Take();" "return ::operator new(sizeof(PortObj));"
variant huge platform/core/wire.cpp "if (n < kBigBlock)" "if (true)"
variant crc platform/core/wire.cpp "if (HaveHardwareCrc())" "if (false)"
variant share zorcored/kernel.cpp "reply->shared = stateCache_;" "reply->shared = stateCache_; stateCache_.reset();"

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C build-bench mkconfig >/dev/null
build-bench/bench/mkconfig "$DIR/big.db" 16 1024 8 >/dev/null
export ZORCORE_SOCKET=$DIR/none.sock

python3 - "$DIR" "$RUNS" <<'PY'
import os, shutil, statistics, subprocess, sys, time
d, runs = sys.argv[1], int(sys.argv[2])
sw = "64 76 73 33 00 00 00 00-00 00 00 00 00 00 00 00"
def brakk(v): return f"{d}/{v}/b/apps/net/dvs/brakk"
def cmd(kind, v):
    f = f"{d}/{v}.db"
    if kind == "edit":
        return [brakk(v), "-f", f, "-n", "-s", "com.corvane.common.port.speed=9000", "-p", "7", sw]
    return [brakk(v), "-f", f, "-l"]
def compare(kind, variants):
    times = {v: [] for v in variants}
    for v in variants:
        shutil.copy(f"{d}/big.db", f"{d}/{v}.db")
        for _ in range(3): subprocess.run(cmd(kind, v), stdout=subprocess.DEVNULL, check=True)
    for _ in range(runs):
        for v in variants:
            t = time.perf_counter()
            subprocess.run(cmd(kind, v), stdout=subprocess.DEVNULL, check=True)
            times[v].append((time.perf_counter() - t) * 1e3)
    base = statistics.median(times["base"])
    for v in variants:
        m = statistics.median(times[v])
        label = "as built" if v == "base" else f"without {v}"
        print(f"{kind:5} {label:16} {m:8.2f} ms  {100 * (m - base) / base:+7.1f} %")
compare("edit", ["base", "reload", "huge", "crc"])
compare("list", ["base", "pool", "huge"])
PY

# share: zorcored's peak memory after eight concurrent readers, with and without it.
for v in base share; do
  export ZORCORE_SOCKET=$DIR/$v.sock
  "$DIR/$v/b/zorcored/zorcored" --socket "$ZORCORE_SOCKET" --state-dir "$DIR/$v.state" &
  daemon=$!
  for _ in $(seq 1 100); do [ -S "$ZORCORE_SOCKET" ] && break; sleep 0.05; done
  "$DIR/$v/b/apps/net/dvs/brakk" -f "$DIR/big.db" -S
  for c in $(seq 1 8); do
    (for i in $(seq 1 10); do "$DIR/$v/b/apps/net/dvs/brakk" -l >/dev/null; done) &
  done
  wait $(jobs -p | grep -v "^$daemon$") 2>/dev/null || true
  label=$([ $v = base ] && echo "as built" || echo "without share")
  printf 'zorcored peak memory, %-13s %8d kB\n' "$label" "$(awk '/VmHWM/ {print $2}' /proc/$daemon/status)"
  kill $daemon; wait $daemon 2>/dev/null || true
done
