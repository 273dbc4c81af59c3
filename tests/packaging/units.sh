#!/usr/bin/env bash
# Checks the units of a build folder with systemd's own tools: that they are valid, and that they
# leave little open to an attacker.
#   units.sh BUILD_FOLDER
set -euo pipefail
build=$1
most=15 # The largest exposure, in tenths; an unprotected unit has nearly 100.

if ! command -v systemd-analyze >/dev/null; then
  echo "skipped: there is no systemd-analyze"
  exit 77
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
units="ufdd.service ufdd-release.service ufdd-metrics.service ufdd-checks.service"
for unit in $units; do
  # Runs the program from the build folder, whatever the prefix for the installation is.
  sed -E "s|^(ExecStart=)[^ ]*(/ufdd-checks\|/ufdd\|/ufdctl)|\1$build/bin\2|" "$build/packaging/$unit" >"$scratch/$unit"
  grep -q "^ExecStart=$build/bin/ufd" "$scratch/$unit"
done
cp "$(dirname "$0")/../../packaging/ufdd-metrics.socket" "$scratch"

# Runs the command for reloading as systemd does, with a check that ends with that status. It must end
# so as well, and send a signal or not.
reload() {
  printf '#!/bin/sh\n[ "$2" = /etc/ufdd.toml ] && exit %s\n' "$1" >"$scratch/ufdd"
  chmod +x "$scratch/ufdd"
  local command pid result=0
  command=$(sed -n "s|^ExecReload=/bin/sh -c '[^ ]*\(/ufdd .*\)'\$|$scratch\1|p" \
    "$build/packaging/ufdd.service" | sed 's/\$\$/$/g')
  sleep 60 &
  pid=$!
  # Until it is that program, it handles signals as this script does.
  until [[ $(</proc/$pid/comm) == sleep ]]; do :; done
  MAINPID=$pid /bin/sh -c "$command" || result=$?
  kill "$pid" 2>/dev/null || true
  # SIGHUP came before SIGTERM, or not at all.
  local end=0 signal=none
  wait "$pid" 2>/dev/null || end=$?
  ((end != 128 + 1)) || signal=sent
  [[ "$result $signal" == "$1 $2" ]] && return
  echo "ufdd.service: a reload whose check ends with $1 ends with $result, signal $signal"
  exit 1
}
reload 0 sent
reload 78 sent
reload 139 none

status=0
for unit in $units ufdd-metrics.socket; do
  complaints=$(SYSTEMD_UNIT_PATH=$scratch: systemd-analyze verify --man=no "$scratch/$unit" 2>&1) ||
    status=1
  # Ignores complaints about other units of this machine.
  if complaints=$(grep -F "$unit" <<<"$complaints"); then
    echo "$complaints"
    status=1
  fi
  [[ $unit == *.service ]] || continue
  exposure=$(systemd-analyze security --offline=yes "$scratch/$unit" --no-pager |
    sed -n 's/.*Overall exposure level for .*: \([0-9]*\)\.\([0-9]\).*/\1\2/p')
  echo "$unit: exposure ${exposure:0:-1}.${exposure: -1}"
  ((10#$exposure <= most)) || status=1
done
exit $status
