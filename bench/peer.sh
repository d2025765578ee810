#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# peer.sh - side by side, in one run: one property edit, one port add, one
# listing and a VLAN on each of 4,096 ports in one transaction with brakk on a
# switch of 4,096 ports (file mode; the transaction is one --batch), against
# the peer: ovs-vsctl --no-wait on a standalone ovsdb-server (no ovs-vswitchd,
# no kernel module, Unix socket only) with 4,096 ports (the transaction is one
# invocation of 4,096 "set Port" commands). Prints the medians and the ratios.
#
# Needs Debian's openvswitch-switch, hyperfine (installed when missing; the
# package's services are kept from starting). Tunables (environment):
#   DIR=/tmp/brakkpeer  scratch dir, wiped and recreated
#   RUNS=30             timed runs per benchmark
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
DIR=${DIR:-/tmp/brakkpeer}
RUNS=${RUNS:-30}
case "$DIR" in /tmp/?*) ;; *) echo "DIR must be under /tmp" >&2; exit 1;; esac

scripts/deps.sh
if ! command -v ovs-vsctl >/dev/null || ! command -v hyperfine >/dev/null; then
  policy=/usr/sbin/policy-rc.d
  [ -e $policy ] || { printf '#!/bin/sh\nexit 101\n' > $policy; chmod +x $policy; added=1; }
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq openvswitch-switch hyperfine >/dev/null
  [ -z "${added:-}" ] || rm -f $policy
fi

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DBRAKK_STATIC=ON >/dev/null
ninja -C build-bench brakk mkconfig >/dev/null
BRAKK=$PWD/build-bench/apps/net/dvs/brakk

stop_server() {
  local pf="$DIR/ovsdb.pid"
  [ -f "$pf" ] && kill "$(cat "$pf")" 2>/dev/null || true
  rm -f "$pf"
}
[ -d "$DIR" ] && stop_server
rm -rf "$DIR"; mkdir -p "$DIR"
trap stop_server EXIT
export ZORCORE_SOCKET=$DIR/none.sock

# The peer: 4,096 ports on br0.
ovsdb-tool create "$DIR/conf.db" /usr/share/openvswitch/vswitch.ovsschema
ovsdb-server "$DIR/conf.db" --remote="punix:$DIR/db.sock" --pidfile="$DIR/ovsdb.pid" \
  --unixctl="$DIR/ctl" --detach --log-file="$DIR/log"
for _ in $(seq 1 50); do [ -S "$DIR/db.sock" ] && break; sleep 0.1; done
VS="ovs-vsctl --no-wait --db=unix:$DIR/db.sock"
$VS init
$VS add-br br0
for start in $(seq 0 256 3840); do
  cmd=()
  for i in $(seq "$start" $((start + 255))); do
    cmd+=(-- add-port br0 "p$i" -- set Interface "p$i" type=internal)
  done
  $VS "${cmd[@]}"
done

# brakk: one switch of 4,096 ports with 8 properties each.
F=$DIR/dvs.db
build-bench/bench/mkconfig "$F" 1 4096 8 >/dev/null
SW="64 76 73 30 00 00 00 00-00 00 00 00 00 00 00 00" # derived from dvs0
"$BRAKK" -f "$F" -n -A -p bench "$SW"
cp "$F" "$DIR/pristine.db"

# The transaction: a VLAN tag on every port, as one batch and as one peer invocation.
peer_tags=() peer_clear=()
for i in $(seq 0 4095); do
  v=$((i % 4094 + 1))
  echo "-v $v -p $i -n \"$SW\"" >>"$DIR/vlan.batch"
  peer_tags+=(-- set Port "p$i" "tag=$v")
  peer_clear+=(-- clear Port "p$i" tag)
done

. bench/common.sh

p_set=$(hf peer_set "$VS clear Port p5 tag" $VS set Port p5 tag=100)
p_add=$(hf peer_add "$VS --if-exists del-port br0 bench" \
  $VS add-port br0 bench -- set Interface bench type=internal)
p_list=$(hf peer_list "" $VS list Port)
b_set=$(hf brakk_set "" "$BRAKK" -f "$F" -n -s com.corvane.common.port.speed=9000 -p 5 "$SW")
b_add=$(hf brakk_add "$(printf '%q ' "$BRAKK" -f "$F" -n -D -p bench "$SW")" \
  "$BRAKK" -f "$F" -n -A -p bench "$SW")
b_list=$(hf brakk_list "" "$BRAKK" -f "$F" -l)
p_batch=$(hf peer_batch "$VS$(printf ' %q' "${peer_clear[@]}")" $VS "${peer_tags[@]}")
b_batch=$(hf brakk_batch "cp $DIR/pristine.db $F" "$BRAKK" -f "$F" --batch "$DIR/vlan.batch")

printf '%-8s %12s %12s %8s\n' command "brakk ms" "peer ms" "peer/brakk"
for row in "edit $b_set $p_set" "add $b_add $p_add" "list $b_list $p_list" \
  "vlan*4096 $b_batch $p_batch"; do
  set -- $row
  printf '%-8s %12s %12s %8.1fx\n' "$1" "$2" "$3" "$(awk -v a="$3" -v b="$2" 'BEGIN{print a/b}')"
done
echo "brakk: file mode, 1 switch x 4096 ports x 8 properties ($(stat -c %s "$F") bytes)"
echo "peer:  $(ovs-vsctl --version | head -1), ovsdb-server with 4096 ports, --no-wait"
