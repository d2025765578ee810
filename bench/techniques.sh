#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# techniques.sh - what each speed technique of the emulated platform is worth.
# Builds the current tree once as it is and once per technique with that
# technique switched off (a one-line change to a copy of the tree), then runs
# the technique's benchmark command for every build in turn, interleaved so
# that a busy machine slows them all alike, and prints the medians.
#
#   reload  a load of bytes identical to the last load reuses its copy and checks  (alias)
#   pool    port objects carved out of large blocks                                 (list)
#   huge    large blocks 2 MiB aligned and advised to use huge pages                (edit, list)
#   crc     the processor's CRC32 instruction instead of the byte table            (edit)
#   share   zorcored shares one serialised state among replies   (peak memory, 8 readers)
#   overlay a loaded list keeps values of another length as overrides instead of
#           being decoded                                                       (batch)
#
# The benchmarks: "edit" is a file-mode -s by switch ID (-n); "list" is a file-mode
# -l; "batch" is a file-mode --batch of 4,096 -v lines, one on each port of a switch
# of 4,096 ports (the file copied afresh before each run); "alias" is a file-mode -s by the switch's alias while a private zorcored holds
# the same configuration as the file. The alias lookup loads the kernel's state,
# then the command loads the file: the same bytes twice. That is the one common
# command that loads identical bytes twice, and so the one that "reload" is kept
# for; a plain edit loads the file once and gains about 1 % from it.
#
# Tunables: DIR=/tmp/brakktech (scratch, wiped), RUNS=30, CASES="edit list alias batch share"
# (the benchmarks to run; only the builds they need are made), JOBS=2 (build jobs).
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakktech}
RUNS=${RUNS:-30}
CASES=${CASES:-edit list alias batch share}
JOBS=${JOBS:-2}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac
rm -rf "$DIR"; mkdir -p "$DIR"

# The private daemons this script starts, stopped by their process IDs at the end.
daemons=()
trap 'for p in "${daemons[@]}"; do kill "$p" 2>/dev/null || true; done' EXIT

# start_daemon BUILD SOCKET: a zorcored of that build on SOCKET, with a state dir of its own.
start_daemon() {
  "$DIR/$1/b/zorcored/zorcored" --socket "$2" --state-dir "$2.state" &
  daemons+=($!)
  for _ in $(seq 1 100); do [ -S "$2" ] && break; sleep 0.05; done
}

# stop_daemons: stops the daemons started so far and waits for them.
stop_daemons() {
  for p in "${daemons[@]}"; do kill "$p" 2>/dev/null || true; wait "$p" 2>/dev/null || true; done
  daemons=()
}

wants() { [[ " $CASES " == *" $1 "* ]]; }

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
  cmake -S "$DIR/$1" -B "$DIR/$1/b" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON \
    -DBUILD_TESTING=OFF -DBRAKK_BENCH=OFF >/dev/null
  ninja -C "$DIR/$1/b" -j "$JOBS" brakk zorcored >/dev/null
}
variant base "" "" ""
if wants alias; then
  variant reload platform/core/config_model.cpp "const bool again =" "const bool again = false &&"
fi
if wants list; then
  variant pool platform/core/config_model.cpp "return Pool().Take();" \
    "return ::operator new(sizeof(PortObj));"
fi
if wants edit || wants list; then
  variant huge platform/core/big_alloc.cpp "if (n < kBigBlock)" "if (true)"
fi
if wants edit; then
  variant crc platform/core/wire.cpp "if (HaveHardwareCrc())" "if (false)"
fi
if wants batch; then
  # Decoding the list first, as TreeSet did before: the batch's values are new or of
  # another length, so the value written in place (which this also turns off) is not used.
  variant overlay platform/core/data_tree.cpp "    DVSDataNode *n = FindNode(tree, name);" \
    "    if (tree->image && !TreeMaterialize(tree)) return ZOR_NO_MEMORY;
    DVSDataNode *n = FindNode(tree, name);"
fi
if wants share; then
  variant share zorcored/kernel.cpp "reply->shared = stateCache_;" \
    "reply->shared = stateCache_; stateCache_.reset();"
fi

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C build-bench -j "$JOBS" mkconfig >/dev/null
build-bench/bench/mkconfig "$DIR/big.db" 16 1024 8 >/dev/null
if wants batch; then
  build-bench/bench/mkconfig "$DIR/batch.db" 1 4096 8 >/dev/null
  for p in $(seq 0 4095); do echo "-v $((p % 4094 + 1)) -p $p dvs0"; done >"$DIR/vlan.batch"
fi
export ZORCORE_SOCKET=$DIR/none.sock

# The alias benchmark's daemons: one per build, each to be given the file's configuration.
if wants alias; then
  for v in base reload; do start_daemon "$v" "$DIR/$v-alias.sock"; done
fi

python3 - "$DIR" "$RUNS" "$CASES" <<'PY'
import os, shutil, socket, statistics, struct, subprocess, sys, time
d, runs, cases = sys.argv[1], int(sys.argv[2]), sys.argv[3].split()
sw = "64 76 73 33 00 00 00 00-00 00 00 00 00 00 00 00"  # derived from dvs3, alias dvs3
speed = ["-s", "com.corvane.common.port.speed=9000", "-p", "7"]
def brakk(v): return f"{d}/{v}/b/apps/net/dvs/brakk"
def env(kind, v):
    return dict(os.environ, ZORCORE_SOCKET=f"{d}/{v}-alias.sock") if kind == "alias" else None
def cmd(kind, v):
    f = f"{d}/{v}.db"
    if kind == "edit": return [brakk(v), "-f", f, "-n", *speed, sw]
    if kind == "alias": return [brakk(v), "-f", f, *speed, "dvs3"]
    if kind == "batch": return [brakk(v), "-f", f, "--batch", f"{d}/vlan.batch"]
    return [brakk(v), "-f", f, "-l"]
def kernel_state(sock):
    """The kernel's serialised state as zorcored sends it (OP_STATE_GET)."""
    s = socket.socket(socket.AF_UNIX)
    s.connect(sock)
    def exact(n):
        b = b""
        while len(b) < n:
            part = s.recv(n - len(b))
            if not part: sys.exit(f"{sock}: the daemon hung up")
            b += part
        return b
    def frame(): return exact(struct.unpack("<IHHII", exact(16))[4])
    frame()  # the greeting
    s.sendall(struct.pack("<IHHII", 0x4e48435a, 1, 2, 0, 0))
    return frame()
def setup(kind, v):
    shutil.copy(f"{d}/batch.db" if kind == "batch" else f"{d}/big.db", f"{d}/{v}.db")
    if kind != "alias": return
    # The edit once, so that the later ones leave the file's bytes as they are; then the
    # file into the kernel, which must hand the same bytes back or this measures nothing.
    subprocess.run(cmd(kind, v), env=env(kind, v), stdout=subprocess.DEVNULL, check=True)
    subprocess.run([brakk(v), "-f", f"{d}/{v}.db", "-S"], env=env(kind, v), check=True)
    if kernel_state(f"{d}/{v}-alias.sock") != open(f"{d}/{v}.db", "rb").read():
        sys.exit("alias: the kernel's state is not the file's bytes; the case measures nothing")
def compare(kind, variants):
    times = {v: [] for v in variants}
    for v in variants:
        setup(kind, v)
        for _ in range(3):
            subprocess.run(cmd(kind, v), env=env(kind, v), stdout=subprocess.DEVNULL, check=True)
    for _ in range(runs):
        for v in variants:
            if kind == "batch": setup(kind, v)  # a batch run leaves the file changed
            t = time.perf_counter()
            subprocess.run(cmd(kind, v), env=env(kind, v), stdout=subprocess.DEVNULL, check=True)
            times[v].append((time.perf_counter() - t) * 1e3)
    base = statistics.median(times["base"])
    for v in variants:
        m = statistics.median(times[v])
        label = "as built" if v == "base" else f"without {v}"
        print(f"{kind:5} {label:16} {m:8.2f} ms  {100 * (m - base) / base:+7.1f} %")
if "edit" in cases: compare("edit", ["base", "huge", "crc"])
if "alias" in cases: compare("alias", ["base", "reload"])
if "list" in cases: compare("list", ["base", "pool", "huge"])
if "batch" in cases: compare("batch", ["base", "overlay"])
PY
stop_daemons

# share: zorcored's peak memory after eight concurrent readers, with and without it.
if wants share; then
  for v in base share; do
    export ZORCORE_SOCKET=$DIR/$v.sock
    start_daemon "$v" "$ZORCORE_SOCKET"
    daemon=${daemons[-1]}
    "$DIR/$v/b/apps/net/dvs/brakk" -f "$DIR/big.db" -S
    readers=()
    for c in $(seq 1 8); do
      (for i in $(seq 1 10); do "$DIR/$v/b/apps/net/dvs/brakk" -l >/dev/null; done) &
      readers+=($!)
    done
    wait "${readers[@]}"
    label=$([ $v = base ] && echo "as built" || echo "without share")
    printf 'zorcored peak memory, %-13s %8d kB\n' "$label" "$(awk '/VmHWM/ {print $2}' /proc/$daemon/status)"
    stop_daemons
  done
fi
