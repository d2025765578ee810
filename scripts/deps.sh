#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the Debian packages that building and testing brakk need, when
# any of them is missing. Safe to run again: it installs nothing when all
# are present.
set -euo pipefail
# clang and libclang-rt-dev (libFuzzer and the sanitizer runtimes) build the fuzz targets;
# clang-format checks the code's layout; pkgconf and libsystemd-dev give zorcored its
# readiness for systemd; lintian, systemd (systemd-analyze) and adduser serve the
# package test. rapidjson-dev writes the --json documents; nlohmann-json3-dev and
# python3-jsonschema (for Debian's /usr/bin/python3) read and check them in the tests.
pkgs=(cmake ninja-build g++ dpkg-dev googletest libgtest-dev libgmock-dev libbenchmark-dev iproute2
      clang libclang-rt-dev clang-format pkgconf libsystemd-dev lintian systemd adduser
      rapidjson-dev nlohmann-json3-dev python3-jsonschema)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}" >&2
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}" >/dev/null
fi
