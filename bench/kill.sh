#!/usr/bin/env bash
# Kills ufdd again and again with kill -9 while uplinks go down and up, then stalls it again and again
# while many more do. It runs in namespaces of its own, whose cables are subject to the kernel's delay
# of link messages, as those of a NIC are. After each kill and each stall, checks that exactly the
# ports of groups without an uplink are shut, and that a port which an operator set down is still so.
# After a stall, counts the transitions that a neighbour saw needlessly. At the end stops ufdd, and
# checks that nothing is left shut.
#   kill.sh [KILLS [STALLS [UFDD]]]   by default 1000 of each, with the ufdd of the release build
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ ${1:-} != --inside ]]; then
  if [[ -z ${3:-} ]]; then
    scripts/install-packages build
    { cmake --preset release && cmake --build --preset release --target ufdd; } >/dev/null
  fi
  unshare --net --mount true 2>/dev/null || {
    echo "skipped: no network namespace can be made"
    exit 77
  }
  exec unshare --net --mount -- "$0" --inside "${1:-1000}" "${2:-1000}" "${3:-build/bin/ufdd}"
fi
mount -t sysfs sysfs /sys
kills=$2 stalls=$3 ufdd=$4
groups=4
patience=15000 # Milliseconds until the ports must be as they should.

scratch=$(mktemp -d)
mkfifo "$scratch/never"
exec {never}<>"$scratch/never"
pause() { read -r -t "$1" -u "$never" || true; }

# The far ends of all cables are in namespaces that live as long as this process.
unshare --net --mount -- sh -c 'mount -t sysfs sysfs /sys && exec sleep infinity' &
far_pid=$!
ufdd_pid=
trap 'kill -KILL $ufdd_pid $far_pid 2>/dev/null; wait 2>/dev/null; rm -rf "$scratch"' EXIT
far() { nsenter --target $far_pid --net --mount -- "$@"; }
until far test -e /sys/class/net/lo 2>/dev/null && [[ $(far ls /sys/class/net) == lo ]]; do
  pause 0.05
done

index=100
# Gives both ends one index: the kernel then delays messages about the link, as about a NIC.
cable() {
  ip link add "$1" index $((++index)) type veth peer name "$1" index $index netns $far_pid
  ip link set "$1" up
  far ip link set "$1" up
}
cable operator
ip link set operator down
ports=()
echo 'startup_hold = 0' >"$scratch/config"
for ((g = 0; g < groups; ++g)); do
  for name in u$g v$g d$g; do cable $name; done
  ports+=(/sys/class/net/d$g)
  is_up[2 * g]=1 is_up[2 * g + 1]=1
  printf '%s\n' '[[group]]' "name = \"g$g\"" "monitor = [\"u$g\", \"v$g\"]" \
    "disable = [\"d$g\", \"operator\"]" 'recovery_delay = 0'
done >>"$scratch/config"

# Chooses so many uplinks at random, to be set down or up by change().
choose() {
  local count=$1 uplink names=(u v)
  for ((; count > 0; --count)); do
    uplink=$((RANDOM % (2 * groups)))
    is_up[uplink]=$((RANDOM % 2))
    echo "link set ${names[uplink % 2]}$((uplink / 2)) $( ((is_up[uplink])) && echo up || echo down)"
  done >"$scratch/changes"
}
change() { far ip -batch "$scratch/changes"; }
# Prints 1 or 0 for each port: as they should be, and as the neighbours see them.
expected() {
  for ((g = 0; g < groups; ++g)); do echo $((is_up[2 * g] | is_up[2 * g + 1])); done
}
seen() { far cat "${ports[@]/%//carrier}"; }
transitions() { far cat "${ports[@]/%//carrier_changes}"; }

start() {
  "$ufdd" --config "$scratch/config" --state-dir "$scratch/state" --socket "$scratch/status" \
    2>>"$scratch/log" &
  ufdd_pid=$!
}
fail() {
  echo "failed: $*; uplinks: ${is_up[*]}" >&2
  ip -br link >&2
  tail -n 30 "$scratch/log" >&2
  exit 1
}
# Waits until the ports are as they should be.
settle() {
  local end=$((${EPOCHREALTIME//[!0-9]/} / 1000 + patience))
  until [[ $(seen) == $(expected) ]]; do
    ((${EPOCHREALTIME//[!0-9]/} / 1000 < end)) || fail "$*: ports are $(seen | tr -d '\n')"
    pause 0.02
  done
  [[ $(</sys/class/net/operator/flags) == *[02468aceACE] ]] || fail "$*: opened the operator's port"
}

seconds=$SECONDS
for ((kill = 1; kill <= kills; ++kill)); do
  start
  settle "start $kill"
  choose 4
  change &
  changing=$!
  pause "$(printf '0.%03d' $((RANDOM % 30)))"
  # The shell would tell of the kill.
  { kill -KILL $ufdd_pid && wait $ufdd_pid; } 2>/dev/null || true
  wait $changing
  if ((RANDOM % 2)); then
    choose 2
    change
  fi
done
start
settle "start after the last kill"
echo "killed $kills times in $((SECONDS - seconds)) s"

seconds=$SECONDS needless=0
for ((stall = 1; stall <= stalls; ++stall)); do
  mapfile -t shut_before < <(expected)
  mapfile -t before < <(transitions)
  kill -STOP $ufdd_pid
  choose 60
  change
  kill -CONT $ufdd_pid
  settle "stall $stall"
  # Longer than it takes to undo an act.
  pause 0.1
  settle "stall $stall"
  mapfile -t shut_after < <(expected)
  mapfile -t after < <(transitions)
  for ((g = 0; g < groups; ++g)); do
    needless=$((needless + after[g] - before[g] - (shut_before[g] != shut_after[g])))
  done
done
echo "stalled $stalls times in $((SECONDS - seconds)) s; needless transitions of ports: $needless"

kill -TERM $ufdd_pid
wait $ufdd_pid || fail "ufdd ended with $?"
[[ $(seen | sort -u) == 1 ]] || fail "left shut: $(seen | tr -d '\n')"
grep -h 'error in ufdd' "$scratch/log" && fail "errors in the log"
echo "stopped; every port is open, but the one that the operator set down"
