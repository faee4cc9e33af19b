#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# Installs what a purpose needs and the machine lacks (Debian and descendants):
#   setup.sh efi | run | tools | test | mfgline | coverage | memcheck | bench | lint | fuzz | all
set -eu

efi='g++ binutils cmake ninja-build make python3 gnu-efi'
run="$efi mtools qemu-system-x86 ovmf sbsigntool openssl"
json=nlohmann-json3-dev
tools="$efi $json libcli11-dev libctemplate-dev libpq-dev libsqlite3-dev"
host="libgtest-dev libgmock-dev mold $json python3-jsonschema ipmitool dmidecode pciutils"
test="$run $host $tools clang clang-format python3-junitparser"
# A database server and a browser, for what mfgline says to them.
mfgline="$tools postgresql chromium-headless-shell"
coverage="$efi $host gcovr"
memcheck="$efi $host valgrind"
bench="$run $host $tools valgrind jq sqlite3"
# clang-tidy parses every file as clang would build it, the host tests included.
lint="$efi $host $tools clang clang-tidy cppcheck flake8"
fuzz="$efi $host $tools clang libclang-rt-dev"

case "${1:-all}" in
  efi) packages=$efi ;;
  run) packages=$run ;;
  tools) packages=$tools ;;
  test) packages=$test ;;
  mfgline) packages=$mfgline ;;
  coverage) packages=$coverage ;;
  memcheck) packages=$memcheck ;;
  bench) packages=$bench ;;
  lint) packages=$lint ;;
  fuzz) packages=$fuzz ;;
  all) packages="$test $mfgline $coverage $memcheck $bench $lint $fuzz" ;;
  *)
    echo "usage: $0 [efi|run|tools|test|mfgline|coverage|memcheck|bench|lint|fuzz|all]" >&2
    exit 2
    ;;
esac

if ! command -v dpkg-query >/dev/null; then
  echo "setup: no Debian package system here; going on with what the machine has. Needed are the" >&2
  echo "       equivalents of: $packages" >&2
  exit 0
fi

missing=
for package in $packages; do
  case " $missing " in *" $package "*) continue ;; esac
  installed=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$installed" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
  if ! sudo -n true 2>/dev/null; then
    echo "setup: packages are missing, and this user may not install them. As root:" >&2
    echo "       apt-get update && apt-get install --no-install-recommends$missing" >&2
    exit 1
  fi
  as_root='sudo -n'
fi

echo "==> Installing Debian packages:$missing"
$as_root apt-get update -q </dev/null
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends $missing </dev/null
