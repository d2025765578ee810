#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Debian package of brakk as a Debian build would (with the
# compiler and linker flags of dpkg-buildflags, hardening on), checks it
# with lintian (any error or warning fails), checks its systemd unit with
# systemd-analyze, and tries it the way an administrator would inside a
# throwaway root (an overlay of this machine's root in a private mount and
# process namespace, so nothing reaches the real system): installs it with
# dpkg, checks every file, the group corvane and the daemon's socket, runs
# brakk in kernel mode as a member of that group and as a user outside it,
# stops the daemon, purges the package and checks that nothing of it is
# left, on the files of the root as well as in its groups.
#
# usage: scripts/package-test.sh [BUILD_DIR]
#   BUILD_DIR defaults to build-package: a Release build without tests,
#   configured here with dpkg-buildflags' flags.
# Needs root (for the mount namespace and dpkg), lintian and no network.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-package}

if [ "$(id -u)" -ne 0 ] || ! command -v unshare >/dev/null || ! command -v dpkg >/dev/null; then
  echo "package-test: skipped: needs root, unshare and dpkg" >&2
  exit 77
fi
for tool in lintian dpkg-buildflags; do
  command -v "$tool" >/dev/null || { echo "package-test: $tool is missing (scripts/deps.sh installs it)" >&2; exit 1; }
done

work=$(mktemp -d /tmp/brakk-package.XXXXXX)
trap 'rm -rf "$work"' EXIT

echo "== building the package in $build"
# What a Debian build passes to the compiler and linker: optimisation,
# -D_FORTIFY_SOURCE, -fstack-protector-strong, relro and immediate binding.
flags() { DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get "$1"; }
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DBRAKK_BENCH=OFF \
  -DZORCORED_SYSTEMD=ON -DCMAKE_CXX_FLAGS="$(flags CPPFLAGS) $(flags CXXFLAGS)" \
  -DCMAKE_EXE_LINKER_FLAGS="$(flags LDFLAGS)" >"$work/cmake.log" 2>&1 || { cat "$work/cmake.log" >&2; exit 1; }
ninja -C "$build" brakk zorcored brakk_docs | tail -n 1
(cd "$build" && cpack -G DEB -B "$work/out" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log" >&2; exit 1; }
debs=("$work"/out/brakk_*.deb)
[ ${#debs[@]} -eq 1 ] && [ -f "${debs[0]}" ] || { echo "package-test: no package built" >&2; exit 1; }
echo "built $(basename "${debs[0]}")"

echo "== lintian"
# Errors and warnings fail; the informational tags are listed.
if ! lintian --fail-on error,warning --info --display-info "${debs[0]}" >"$work/lintian.log" 2>&1; then
  cat "$work/lintian.log" >&2
  echo "package-test: lintian found errors or warnings" >&2
  exit 1
fi
grep -E '^[EWIPX]: ' "$work/lintian.log" || true
echo "lintian: no error, no warning"

mkdir -p "$work/upper" "$work/overlay-work" "$work/root"
cp "${debs[0]}" "$work/brakk.deb"

# What runs inside the throwaway root.
cat >"$work/inside.sh" <<'INSIDE'
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
fail() { echo "package-test: $*" >&2; exit 1; }
deb=/tmp/pkg/brakk.deb
unit=/usr/lib/systemd/system/zorcored.service

# The package's paths, and which of them the system has already (/usr, ...).
mapfile -t paths < <(dpkg-deb --fsys-tarfile "$deb" | tar -t | sed 's|^\./|/|; s|/$||' | grep -v '^\.\?$')
before=()
for p in "${paths[@]}"; do [ -e "$p" ] && before+=("$p"); done
getent group corvane >/dev/null && fail "this system has a group corvane already"
cp /etc/group /tmp/pkg/group.before

echo "== dpkg -i"
dpkg -i "$deb" >/dev/null
dpkg-query -W -f='${Package} ${Version} ${Status}\n' brakk
for p in /usr/bin/brakk /usr/sbin/zorcored /usr/share/man/man1/brakk.1.gz /usr/share/man/man8/zorcored.8.gz \
  /usr/share/bash-completion/completions/brakk /usr/share/bash-completion/completions/zorcored \
  /usr/share/doc/brakk/copyright /usr/share/doc/brakk/changelog.gz "$unit"; do
  [ -e "$p" ] || fail "$p is not installed"
done
[ "$(command -v brakk)" = /usr/bin/brakk ] || fail "brakk is not on PATH"
gid=$(getent group corvane | cut -d: -f3)
[ -n "$gid" ] || fail "the package made no group corvane"
echo "group corvane: $gid"
zorcored --version
if command -v systemd-analyze >/dev/null; then
  systemd-analyze verify --man=no "$unit"
  echo "unit verified"
  exposure=$(systemd-analyze security --offline=true "$unit" 2>&1 | sed -n 's/.*Overall exposure level for [^:]*: \([0-9.]*\).*/\1/p')
  [ -n "$exposure" ] || fail "systemd-analyze security gave no exposure level"
  awk -v e="$exposure" 'BEGIN { exit !(e <= 2.0) }' || fail "the unit's exposure level is $exposure, above 2.0"
  echo "systemd-analyze security: exposure $exposure"
fi

echo "== brakk -T"
brakk -T | tail -n 1

echo "== zorcored started as its unit starts it"
exec_start=$(sed -n 's/^ExecStart=//p' "$unit")
[ -n "$exec_start" ] || fail "the unit has no ExecStart"
$exec_start &
daemon=$!
for _ in $(seq 1 100); do [ -S /run/corvane/zorcore.sock ] && break; sleep 0.05; done
[ -S /run/corvane/zorcore.sock ] || fail "no socket after zorcored started"
mode=$(stat -c '%a %U %G' /run/corvane/zorcore.sock)
[ "$mode" = "660 root corvane" ] || fail "the socket is $mode, not 660 root corvane"
echo "socket: $mode"
state=$(stat -c '%a %U' /var/lib/corvane)
[ "$state" = "700 root" ] || fail "the state directory is $state, not 700 root"
brakk -a dvs0
brakk -A -p 7 dvs0
brakk -s com.corvane.common.port.speed=9000 -p 7 dvs0
brakk -G
brakk -f /etc/corvane/dvsdata.db -l | grep -q 'port 7:' || fail "the store lacks port 7 after -G"
[ "$(stat -c '%a %U' /var/lib/corvane/dvsdata.db)" = "600 root" ] || fail "the store is not 600 root"
status=0
brakk -D -p 8 dvs0 2>/dev/null || status=$?
[ "$status" -eq 3 ] || fail "deleting a missing port ended with $status, not 3"

echo "== a member of corvane, and a user outside it"
member=(setpriv --reuid=65534 --regid=65534 --groups="$gid")
outsider=(setpriv --reuid=65534 --regid=65534 --clear-groups)
"${member[@]}" brakk -s com.corvane.common.port.mtu=1500 -p 7 dvs0 || fail "a member of corvane cannot edit the kernel"
"${member[@]}" brakk -l dvs0 | grep -q 'port 7:' || fail "a member of corvane cannot list the kernel"
echo "member: brakk -s and -l work"
status=0
"${outsider[@]}" brakk -l >/tmp/pkg/out 2>&1 || status=$?
expected="permission denied: cannot connect to zorcored at /run/corvane/zorcore.sock (kernel mode is for the socket's owner and group)
failed to get config data: Permission denied"
[ "$status" -eq 1 ] && [ "$(cat /tmp/pkg/out)" = "$expected" ] ||
  fail "a user outside corvane got status $status and: $(cat /tmp/pkg/out)"
echo "outsider: $(head -n 1 /tmp/pkg/out)"
"${outsider[@]}" ls /var/lib/corvane >/dev/null 2>&1 && fail "a user outside corvane can read the state directory"
"${member[@]}" ls /var/lib/corvane >/dev/null 2>&1 && fail "a member of corvane can read the state directory"

echo "== completion of the installed brakk"
reply=$(bash -c 'source /usr/share/bash-completion/completions/brakk
  COMP_WORDS=(brakk -p "" dvs0); COMP_CWORD=2; _brakk; echo "${COMPREPLY[*]}"')
[ "$reply" = "globalPropList hostPropList 7" ] || fail "completion of -p gave '$reply'"
echo "brakk -p <TAB> dvs0: $reply"

kill -TERM "$daemon"
wait "$daemon" || fail "zorcored ended with $? after SIGTERM"
# The daemon made /run/corvane here (under systemd the unit makes it).
[ ! -e /run/corvane ] || fail "/run/corvane outlived zorcored"
echo "zorcored stopped; /run/corvane removed"

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
getent group corvane >/dev/null && fail "the group corvane is left after purge"
cmp -s /etc/group /tmp/pkg/group.before || fail "/etc/group differs after purge"
echo "removed: ${#paths[@]} paths checked, the group is gone"
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

# Whatever the purged package left in the root's files: the overlay's upper
# layer holds every file written there (dpkg's own records and logs aside,
# the group files, compared above, and the lock file that the tools which
# edit them open).
leftover=$(cd "$work/upper" && find . -not -type d | sed 's|^\.||' |
  grep -Ev '^/(var/lib/dpkg|var/log|var/cache/(debconf|man))/|^/etc/((group|gshadow)-?|\.pwd\.lock)$' || true)
if [ -n "$leftover" ]; then
  echo "package-test: left after purge:" >&2
  echo "$leftover" >&2
  exit 1
fi
echo "== package test passed ($((SECONDS - start)) s in the throwaway root)"
