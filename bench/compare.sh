#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# compare.sh BASE - the tree as committed (HEAD) against the tree at revision BASE,
# both built alike (Release) and run interleaved in the same run, so that a busy
# machine slows both alike:
#
#   edit    file mode, one -s with -n on 16 switches x 1024 ports x 8 properties
#   list    file mode, -l of the same configuration to /dev/null
#   mirror  file mode, -m with 64 sessions naming 256 dvPorts on one switch of 4,096 ports
#   kalias  kernel mode, one -s by alias against each build's own zorcored holding
#           16 x 1024 x 8
#
# Prints each build's median, HEAD's change against BASE, the floor of the edit
# (process start, read, write with fsync and rename: bench/floor) and what each
# build's edit adds beyond it, and the listing's peak RSS.
#
# Needs GNU time (installed when missing). Tunables: DIR=/tmp/brakkcompare (scratch,
# wiped), RUNS=30.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
[ $# -eq 1 ] || { echo "usage: bench/compare.sh BASE" >&2; exit 2; }
BASE=$(git rev-parse --verify "$1^{commit}")
DIR=${DIR:-/tmp/brakkcompare}
RUNS=${RUNS:-30}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac
[ -x /usr/bin/time ] || DEBIAN_FRONTEND=noninteractive apt-get install -y -qq time >/dev/null
rm -rf "$DIR"; mkdir -p "$DIR"
trap 'pkill -f "$DIR/.*/zorcored" 2>/dev/null || true' EXIT

# build NAME REV: the tree at REV, built in $DIR/NAME.
build() {
  mkdir -p "$DIR/$1"
  git archive "$2" | tar -x -C "$DIR/$1"
  cmake -S "$DIR/$1" -B "$DIR/$1/b" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON -DBUILD_TESTING=OFF \
    >/dev/null
  ninja -C "$DIR/$1/b" brakk zorcored mkconfig floor >/dev/null
}
build base "$BASE"
build head HEAD
H=$DIR/head/b

"$H/bench/mkconfig" "$DIR/big.db" 16 1024 8 >/dev/null
"$H/bench/mkconfig" "$DIR/mirror.db" 1 4096 8 >/dev/null
for v in base head; do
  cp "$DIR/big.db" "$DIR/$v.db"
  cp "$DIR/mirror.db" "$DIR/$v.mirror.db"
  sock=$DIR/$v.sock
  "$DIR/$v/b/zorcored/zorcored" --socket "$sock" --state-dir "$DIR/$v.state" &
  for _ in $(seq 1 100); do [ -S "$sock" ] && break; sleep 0.05; done
  ZORCORE_SOCKET=$sock "$DIR/$v/b/apps/net/dvs/brakk" -f "$DIR/big.db" -S
done

python3 - "$DIR" "$RUNS" <<'PY'
import os, statistics, subprocess, sys, time
d, runs = sys.argv[1], int(sys.argv[2])
sw3 = "64 76 73 33 00 00 00 00-00 00 00 00 00 00 00 00"  # derived from dvs3
sw0 = "64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00"  # derived from dvs0
text = "v2" + "".join(f"*s{i};session {i};DVPORT;;;e;;{i * 64};{i * 64 + 16},{i * 64 + 32};"
                      f"{i * 64 + 48};" for i in range(64))
none = f"{d}/none.sock"

def brakk(v): return f"{d}/{v}/b/apps/net/dvs/brakk"
def cmd(kind, v):
    if kind == "edit":
        return [brakk(v), "-f", f"{d}/{v}.db", "-n", "-s", "com.corvane.common.port.speed=9000",
                "-p", "7", sw3], none
    if kind == "list":
        return [brakk(v), "-f", f"{d}/{v}.db", "-l"], none
    if kind == "mirror":
        return [brakk(v), "-f", f"{d}/{v}.mirror.db", "-n", "-m", text, sw0], none
    return [brakk(v), "-s", "com.corvane.common.port.speed=9000", "-p", "7", "dvs3"], \
        f"{d}/{v}.sock"
def run(argv, sock):
    env = dict(os.environ, ZORCORE_SOCKET=sock)
    t = time.perf_counter()
    subprocess.run(argv, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True, env=env)
    return (time.perf_counter() - t) * 1e3

kinds = ["edit", "list", "mirror", "kalias"]
times = {(k, v): [] for k in kinds for v in ("base", "head")}
truth = []
for k in kinds:
    for v in ("base", "head"):
        for _ in range(3): run(*cmd(k, v))
for _ in range(runs):
    truth.append(run(["/bin/true"], none))
    for k in kinds:
        for v in ("base", "head"):
            times[(k, v)].append(run(*cmd(k, v)))
out = subprocess.run([f"{d}/head/b/bench/floor", f"{d}/big.db", str(runs)], capture_output=True,
                     text=True, check=True).stdout.split()
floor = statistics.median(truth) + float(out[3]) / 1e3 + float(out[5]) / 1e3
print(f"{runs} interleaved runs of each; medians in ms")
for k in kinds:
    b, h = statistics.median(times[(k, "base")]), statistics.median(times[(k, "head")])
    print(f"{k:7} base {b:8.2f}   head {h:8.2f}   {100 * (h - b) / b:+6.1f} %")
b, h = statistics.median(times[("edit", "base")]), statistics.median(times[("edit", "head")])
print(f"edit floor {floor:.2f} ms: beyond it base {b - floor:.2f} ms, head {h - floor:.2f} ms "
      f"({100 * ((h - floor) - (b - floor)) / (b - floor):+.1f} %)")
PY

for v in base head; do
  kb=$(/usr/bin/time -f %M "$DIR/$v/b/apps/net/dvs/brakk" -f "$DIR/$v.db" -l 2>&1 >/dev/null | tail -1)
  echo "list peak RSS, $v: $kb kB"
done
