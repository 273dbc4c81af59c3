#!/usr/bin/env bash
# Makes an uplink flap 100 times a second in a network namespace of its own, and a port with it. Fails
# if ufdd grows by 1 MiB of memory or by a file descriptor.
#   soak.sh [SECONDS [UFDD]]   by default 600 s, with the ufdd of the release build
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ ${1:-} != --inside ]]; then
  if [[ -z ${2:-} ]]; then
    scripts/install-packages build
    { cmake --preset release && cmake --build --preset release --target ufdd; } >/dev/null
  fi
  unshare --net true 2>/dev/null || {
    echo "skipped: no network namespace can be made"
    exit 77
  }
  exec unshare --net -- "$0" --inside "${1:-600}" "${2:-build/bin/ufdd}"
fi
seconds=$2 ufdd=$3
most_kib=1024
warm_up=2

scratch=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait; rm -rf "$scratch"' EXIT

for name in u1 d1; do
  ip link add $name type veth peer name $name-far
  ip link set $name up
  ip link set $name-far up
done
printf '%s\n' '[[group]]' 'name = "a"' 'monitor = ["u1"]' 'disable = ["d1"]' 'recovery_delay = 0' >"$scratch/config"
"$ufdd" --config "$scratch/config" --state-dir "$scratch/state" --socket "$scratch/status" \
  2>"$scratch/log" &
pid=$!
pids+=("$pid")

# Uses one ip command for all changes, and pauses that start no process.
mkfifo "$scratch/commands" "$scratch/never"
ip -batch "$scratch/commands" &
pids+=($!)
exec {commands}>"$scratch/commands" {never}<>"$scratch/never"
pause() { read -r -t "$1" -u "$never" || true; }

now() { printf -v "$1" %s "${EPOCHREALTIME//[!0-9]/}"; }
# Flaps for so many seconds. Makes up for flaps that are late.
flap() {
  local begin at due
  now begin
  for ((flaps = 0; flaps < $1 * 100; ++flaps)); do
    echo 'link set u1-far down' >&"$commands"
    pause 0.004
    echo 'link set u1-far up' >&"$commands"
    now at
    due=$((begin + (flaps + 1) * 10000 - at))
    ((due <= 0)) || pause "$(printf '0.%06d' $due)"
  done
  # Waits until ufdd has come to rest.
  pause 1.5
}
resident() { awk '/^VmRSS/ { print $2 }' "/proc/$pid/status"; }
descriptors() { ls "/proc/$pid/fd" | wc -l; }

flap $warm_up
kib=$(resident) fds=$(descriptors)
flap "$seconds"
kib_after=$(resident) fds_after=$(descriptors)
kill -USR2 $pid
pause 0.2
kill $pid
status=0
wait $pid || status=$?
pids=("${pids[@]:1}")
shut=$(sed -n 's/.*, went down \([0-9]*\) times.*/\1/p' "$scratch/log" | tail -n 1)
echo "$seconds s, $flaps flaps; in all, the port was shut ${shut:-0} times in" \
  "$(((warm_up + seconds) * 100)) flaps"
echo "resident memory $kib -> $kib_after KiB, file descriptors $fds -> $fds_after"
if ((status != 0 || ${shut:-0} < flaps / 10 || kib_after - kib >= most_kib || fds_after != fds)); then
  tail -n 20 "$scratch/log" >&2
  echo "failed; ufdd ended with $status" >&2
  exit 1
fi
