#!/usr/bin/env bash
# Boots a machine under systemd, lets ufdd shut a port there, and checks at the port's far end what
# becomes of it: stopping ufdd opens it; restarting ufdd and shutting the machine down do not.
#   shutdown.sh BUILD_FOLDER
set -euo pipefail
build=$(realpath "$1")
here=$(realpath "$(dirname "$0")")

skip() {
  echo "skipped: $*"
  exit 77
}
((EUID == 0)) || skip "only root can boot a machine"
[[ -x /lib/systemd/systemd ]] || skip "there is no systemd"
[[ -e /lib/systemd/system/dbus.service ]] || skip "there is no system bus"
cgroups=$(findmnt --noheadings --first-only --types cgroup2 --output TARGET) ||
  skip "there is no cgroup2 file system"

# The far ends of the machine's cables lie in a network namespace of this script's own.
if [[ ${2-} != inside ]]; then
  cgroup=$cgroups/ufdd-boot-test.$$
  mkdir "$cgroup" || skip "no cgroup can be made"
  trap 'find "$cgroup" -depth -type d -exec rmdir {} +' EXIT
  unshare --net true || skip "no network namespace can be made"
  # Ends everything inside when it ends.
  timeout --kill-after=1 120 unshare --net --pid --mount-proc --fork --kill-child "$0" "$build" inside \
    "$cgroup"
  exit
fi
cgroup=$3

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
log=$scratch/log
mkdir "$scratch/journal"
words() { journalctl --directory="$scratch/journal" --output=cat --unit='ufdd*'; }
fail() {
  echo "failed: $*"
  cat "$log"
  words
  cat "$scratch/far-end"
  exit 1
}
eventually() {
  local end=$((SECONDS + 30))
  until "$@" >/dev/null 2>&1; do
    ((SECONDS < end)) || return 1
    sleep .05
  done
}

printf '%s\n' 'startup_hold = 0' '[[group]]' 'name = "rack"' 'monitor = ["u1"]' 'disable = ["d1"]' \
  >"$scratch/ufdd.toml"
# Its own cgroup first, or systemd would take over this machine's.
(
  echo "$BASHPID" >"$cgroup/cgroup.procs"
  exec unshare --pid --fork --kill-child --mount --net --uts --ipc --cgroup \
    "$here/boot-inside" "$build" "$scratch/ufdd.toml" "$scratch/journal"
) >"$log" 2>&1 &
machine=$!
init() { pgrep --parent "$machine"; }
inside() { nsenter --target "$(init)" --mount --uts --ipc --net --pid --cgroup --root --wd=/ "$@"; }
isBooted() { [[ $(inside systemctl is-system-running) =~ running|degraded ]]; }
eventually isBooted || {
  [[ -e /proc/$machine ]] && fail "the machine does not boot"
  skip "no machine can be booted: $(tail -1 "$log")"
}

for cable in u1 d1; do
  ip link add "$cable-far" type veth peer name "$cable" netns "$(init)"
  inside ip link set "$cable" up
done
ip link set d1-far up
hasLink() { [[ $(ip -o link show d1-far) == *LOWER_UP* ]]; }
lacksLink() { ! hasLink; }
eventually hasLink || fail "the cable does not work"

inside systemctl start ufdd || fail "ufdd does not start"
eventually lacksLink || fail "ufdd does not shut the port"

watch() {
  ip -o monitor link dev d1-far >"$scratch/far-end" &
  watcher=$!
}
expectNoLink() {
  kill "$watcher" 2>/dev/null || true
  ! grep -q LOWER_UP "$scratch/far-end" || fail "$1 opened the port"
}

watch
inside systemctl restart ufdd || fail "ufdd does not restart"
sleep .5
expectNoLink "the restart"
lacksLink || fail "the restart opened the port"

inside systemctl stop ufdd || fail "ufdd does not stop"
hasLink || fail "stopping ufdd did not open the port"

inside systemctl start ufdd || fail "ufdd does not start again"
eventually lacksLink || fail "ufdd does not shut the port again"
watch
# Its connection may end before the answer comes.
inside systemctl poweroff 2>/dev/null || true
wait "$machine" || true
expectNoLink "the shutdown"
words | grep -q "host is shutting down" || fail "ufdd did not notice the shutdown"
echo "the machine was shut down, and the port stayed as it was"
