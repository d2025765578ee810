#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds brakk and zorcored and shows the tool's main job as a user sees it,
# errors included: zorcored stands in for the host's switch module on a
# private socket; a configuration file is initialised, given switches, ports
# and properties, edited and listed (file mode), also many commands at once
# as one transaction (--batch); then the kernel's state is edited directly
# and copied to the configuration store (kernel mode).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh

echo "== building brakk and zorcored in build/ (Release; the first build takes a few minutes)"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
ninja -C build brakk zorcored
export PATH=$PWD/build/apps/net/dvs:$PWD/build/zorcored:$PATH

work=$(mktemp -d /tmp/brakk-demo.XXXXXX)
daemon=''
cleanup() {
  [ -n "$daemon" ] && kill "$daemon" 2>/dev/null && wait "$daemon" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
cd "$work"

# Shows a command as typed at a prompt (quoting the words that need it), runs
# it, and shows a failure's exit status.
run() {
  local word line='$'
  for word in "$@"; do
    if [[ $word =~ ^[A-Za-z0-9_./=:,+-]+$ ]]; then line+=" $word"; else line+=" '$word'"; fi
  done
  printf '\n%s\n' "$line"
  local status=0
  "$@" || status=$?
  [ "$status" -eq 0 ] || printf '[exit status %d]\n' "$status"
}

echo
echo "== the switch module: zorcored on a private socket and state directory"
export ZORCORE_SOCKET=$work/zorcore.sock
printf '\n$ zorcored --socket %s --state-dir %s &\n' "$ZORCORE_SOCKET" "$work/state"
zorcored --socket "$ZORCORE_SOCKET" --state-dir "$work/state" &
daemon=$!
for _ in $(seq 1 50); do [ -S "$ZORCORE_SOCKET" ] && break; sleep 0.1; done

echo
echo "== file mode: every command edits ./dvs.db"
run brakk -f ./dvs.db -i
run brakk -f ./dvs.db -a dvs0
run brakk -f ./dvs.db -a -C -P 2 --className vswitch dvs1
run brakk -f ./dvs.db -A -p 7 dvs0
run brakk -f ./dvs.db -s com.corvane.common.port.speed=9000 -p 7 dvs0
run brakk -f ./dvs.db -s myKey=abc -p globalPropList dvs0
run brakk -f ./dvs.db -v '100;t0;200-210' -p 7 dvs0
run brakk -f ./dvs.db -M up,1000 -p 7 dvs0
run brakk -f ./dvs.db -l dvs0
echo
echo "-- mistakes: a malformed VLAN, a port that does not exist, an unknown version"
run brakk -f ./dvs.db -v 100,5 -p 7 dvs0
run brakk -f ./dvs.db -D -p 8 dvs0
run brakk -f ./dvs.db --setVersion 3 dvs1
run brakk -f ./dvs.db -D -p 7 dvs0
run brakk -f ./dvs.db -d dvs1
run brakk -f ./dvs.db -l

echo
echo "== a batch: many commands in one transaction (one load, one save)"
cat >ports.batch <<'BATCH'
# two new ports with a VLAN each, a speed and a note (quotes keep a word whole)
-A -p 20 dvs0
-v 300 -p 20 dvs0
-s com.corvane.common.port.speed=25000 -p 20 dvs0
-A -p 21 dvs0
-v 400 -p 21 dvs0
-s "note=rack 4, row 2" -p 21 dvs0
BATCH
run cat ports.batch
run brakk -f ./dvs.db --batch ports.batch
run brakk -f ./dvs.db -l dvs0
echo
echo "-- a batch that fails half-way changes nothing: line 2 names a port that does not exist"
printf '%s\n' '-A -p 22 dvs0' '-v 500 -p 23 dvs0' '-A -p 24 dvs0' >broken.batch
run cat broken.batch
run sha256sum dvs.db
run brakk -f ./dvs.db --batch broken.batch
run sha256sum dvs.db

echo
echo "== kernel mode: every command acts on the switch module at once"
run brakk -f ./dvs.db -S
run brakk -A -p 1 dvs0
run brakk -s com.corvane.common.port.speed=10000 -p 1 dvs0
run brakk -r com.corvane.common.port.speed -p 1 dvs0
run brakk --cap 768 -p 1 dvs0
run brakk --getCap -p 1 dvs0
run brakk --cmdExec portcount dvs0
run brakk -l
run brakk -G
run brakk -f /etc/corvane/dvsdata.db -l
echo
echo "-- mistakes: a switch that does not exist, an uplink command in file mode"
run brakk -A -p 2 dvs9
run brakk -f ./dvs.db --getCap -p 7 dvs0
