#!/usr/bin/env bash
# Builds the Debian package of brakk and tries it the way an administrator
# would, inside a throwaway root (an overlay of this machine's root in a
# private mount and process namespace, so nothing reaches the real system):
# installs it with dpkg, checks that every file is in place, runs brakk -T,
# starts zorcored with the command line of its systemd unit and uses it in
# kernel mode, stops it with SIGTERM, then purges the package and checks
# that nothing of it is left.
#
# usage: scripts/package-test.sh [BUILD_DIR]
#   BUILD_DIR defaults to build-package (a Release build without tests);
#   scripts/test.sh passes its own Release build.
# Needs root (for the mount namespace and dpkg) and no network.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-package}

if [ "$(id -u)" -ne 0 ] || ! command -v unshare >/dev/null || ! command -v dpkg >/dev/null; then
  echo "package-test: skipped: needs root, unshare and dpkg" >&2
  exit 77
fi

work=$(mktemp -d /tmp/brakk-package.XXXXXX)
trap 'rm -rf "$work"' EXIT

echo "== building the package in $build"
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
    -DBRAKK_BENCH=OFF >/dev/null
fi
ninja -C "$build" brakk zorcored | tail -n 1
(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log" >&2; exit 1; }
debs=("$work"/out/brakk_*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || { echo "package-test: no package built" >&2; exit 1; }
echo "built $(basename "${debs[0]}")"

mkdir -p "$work/upper" "$work/overlay-work" "$work/root"
cp "${debs[0]}" "$work/brakk.deb"

# What runs inside the throwaway root.
cat >"$work/inside.sh" <<'INSIDE'
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
fail() { echo "package-test: $*" >&2; exit 1; }
deb=/tmp/pkg/brakk.deb

# The package's paths, and which of them the system has already (/usr, ...).
mapfile -t paths < <(dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./|/|; s|/$||' | grep -v '^\.\?$')
before=()
for p in "${paths[@]}"; do [ -e "$p" ] && before+=("$p"); done

echo "== dpkg -i"
dpkg -i "$deb" >/dev/null
dpkg-query -W -f='${Package} ${Version} ${Status}\n' brakk
for p in /usr/bin/brakk /usr/sbin/zorcored /usr/share/man/man1/brakk.1 /usr/share/man/man8/zorcored.8 \
  /usr/share/bash-completion/completions/brakk /usr/share/bash-completion/completions/zorcored \
  /usr/lib/systemd/system/zorcored.service; do
  [ -e "$p" ] || fail "$p is not installed"
done
[ "$(command -v brakk)" = /usr/bin/brakk ] || fail "brakk is not on PATH"
zorcored --version
if command -v systemd-analyze >/dev/null; then
  systemd-analyze verify --man=no /usr/lib/systemd/system/zorcored.service
  echo "unit verified"
fi

echo "== brakk -T"
brakk -T | tail -n 1

echo "== zorcored started as its unit starts it"
exec_start=$(sed -n 's/^ExecStart=//p' /usr/lib/systemd/system/zorcored.service)
[ -n "$exec_start" ] || fail "the unit has no ExecStart"
$exec_start
[ -S /run/corvane/zorcore.sock ] || fail "no socket after zorcored --detach returned"
brakk -a dvs0
brakk -A -p 7 dvs0
brakk -s com.corvane.common.port.speed=9000 -p 7 dvs0
brakk -l dvs0
brakk -G
brakk -f /etc/corvane/dvsdata.db -l | grep -q 'port 7:' || fail "the store lacks port 7 after -G"
status=0
brakk -D -p 8 dvs0 2>/dev/null || status=$?
[ "$status" -eq 3 ] || fail "deleting a missing port ended with $status, not 3"

echo "== completion of the installed brakk"
reply=$(bash -c 'source /usr/share/bash-completion/completions/brakk
  COMP_WORDS=(brakk -p "" dvs0); COMP_CWORD=2; _brakk; echo "${COMPREPLY[*]}"')
[ "$reply" = "globalPropList hostPropList 7" ] || fail "completion of -p gave '$reply'"
echo "brakk -p <TAB> dvs0: $reply"

# This root has its own process namespace, so the only zorcored in it is ours.
pid=''
for p in /proc/[0-9]*; do
  [ "$(readlink "$p/exe" 2>/dev/null)" = /usr/sbin/zorcored ] && pid=${p#/proc/}
done
[ -n "$pid" ] || fail "zorcored is not running"
kill -TERM "$pid"
for _ in $(seq 1 50); do [ -S /run/corvane/zorcore.sock ] || break; sleep 0.1; done
[ ! -S /run/corvane/zorcore.sock ] || fail "the socket outlived zorcored"

echo "== dpkg --purge"
dpkg --purge brakk >/dev/null
if dpkg-query -W -f='${Status}' brakk 2>/dev/null | grep -q 'ok installed'; then
  fail "brakk is still installed"
fi
for p in "${paths[@]}"; do
  was=no
  for q in "${before[@]}"; do [ "$p" = "$q" ] && was=yes; done
  if [ "$was" = no ] && [ -e "$p" ]; then fail "$p is left after purge"; fi
  if [ "$was" = yes ] && [ ! -e "$p" ]; then fail "$p was removed, but it was there before"; fi
done
[ ! -e /var/lib/corvane ] || fail "/var/lib/corvane is left after purge"
echo "removed: ${#paths[@]} paths checked"
INSIDE

echo "== in a throwaway root"
start=$SECONDS
unshare --mount --pid --fork --propagation private bash -euo pipefail -c '
  work=$1
  root=$work/root
  mount -t overlay overlay -o "lowerdir=/,upperdir=$work/upper,workdir=$work/overlay-work" "$root"
  mount --rbind /dev "$root/dev"
  mount -t proc proc "$root/proc"
  mount -t tmpfs tmpfs "$root/run"
  mount -t tmpfs tmpfs "$root/tmp"
  mkdir -p "$root/tmp/pkg"
  cp "$work/brakk.deb" "$work/inside.sh" "$root/tmp/pkg/"
  chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root /bin/bash /tmp/pkg/inside.sh
' package-test "$work"
echo "== package test passed ($((SECONDS - start)) s in the throwaway root)"
