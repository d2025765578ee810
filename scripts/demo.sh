#!/usr/bin/env bash
# Builds brakk and zorcored and shows the tool's main job: a configuration
# file is initialised, given switches, ports and properties, edited and
# listed (file mode); then the same against the kernel stand-in zorcored
# (kernel mode), with a private socket and state directory.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
ninja -C build brakk zorcored >/dev/null

work=$(mktemp -d /tmp/brakk-demo.XXXXXX)
daemon=""
cleanup() {
  [ -n "$daemon" ] && kill "$daemon" 2>/dev/null && wait "$daemon" 2>/dev/null
  rm -rf "$work"
}
trap cleanup EXIT
brakk=$PWD/build/apps/net/dvs/brakk
cd "$work"

run() { # show the command, then run it
  printf '\n$ brakk %s\n' "$*"
  "$brakk" "$@" || printf '(exit status %d)\n' "$?"
}

echo "== file mode: ./dvs.db (no kernel module here, so alias lookups fall back to the name)"
export ZORCORE_SOCKET=$work/zorcore.sock
run -f ./dvs.db -i
run -f ./dvs.db -a dvs0 2>/dev/null
run -f ./dvs.db -a -C -P 2 --className vswitch dvs1 2>/dev/null
run -f ./dvs.db -A -p 7 dvs0 2>/dev/null
run -f ./dvs.db -s com.corvane.common.port.speed=9000 -p 7 dvs0 2>/dev/null
run -f ./dvs.db -s myKey=abc -p globalPropList dvs0 2>/dev/null
run -f ./dvs.db -M up,1000 -p 7 dvs0 2>/dev/null
run -f ./dvs.db --setVersion 10 dvs1 2>/dev/null
run -f ./dvs.db -l dvs0 2>/dev/null
run -f ./dvs.db -D -p 7 dvs0 2>/dev/null
run -f ./dvs.db -d dvs1 2>/dev/null
run -f ./dvs.db -l 2>/dev/null

if [ -x "$OLDPWD/build/zorcored/zorcored" ]; then
  echo
  echo "== kernel mode: zorcored on $ZORCORE_SOCKET"
  "$OLDPWD/build/zorcored/zorcored" --socket "$ZORCORE_SOCKET" --state-dir "$work/state" &
  daemon=$!
  for _ in $(seq 1 50); do [ -S "$ZORCORE_SOCKET" ] && break; sleep 0.1; done
  run -a dvs0
  run -A -p 1 dvs0
  run -s com.corvane.common.port.speed=10000 -p 1 dvs0
  run -r com.corvane.common.port.speed -p 1 dvs0
  run -l
  run -G
  run -f /etc/corvane/dvsdata.db -l
  run --cmdExec echo --cmdArg hello dvs0
  run --zornicIp lo
fi
