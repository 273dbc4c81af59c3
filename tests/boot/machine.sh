# Boots a machine under systemd, for a test of this folder that sources this file and defines
#   prepare ROOT   puts ufdd into the file system of the machine. Gets exported variables only.
# The machine has an uplink u1 and a port d1. Their far ends u1-far and d1-far, the neighbours, are in
# the network namespace of the test.
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")

skip() {
  echo "skipped: $*"
  exit 77
}
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

# enter ARGUMENTS...: begins the test, which is run again with these arguments in namespaces of its
# own. Everything inside ends with the test.
enter() {
  [[ -z ${UFD_CGROUP-} ]] || return 0
  ((EUID == 0)) || skip "only root can boot a machine"
  [[ -x /lib/systemd/systemd ]] || skip "there is no systemd"
  [[ -e /lib/systemd/system/dbus.service ]] || skip "there is no system bus"
  local cgroups
  cgroups=$(findmnt --noheadings --first-only --types cgroup2 --output TARGET) ||
    skip "there is no cgroup2 file system"
  export UFD_CGROUP=$cgroups/ufdd-boot-test.$$
  mkdir "$UFD_CGROUP" || skip "no cgroup can be made"
  trap 'find "$UFD_CGROUP" -depth -type d -exec rmdir {} +' EXIT
  unshare --net true || skip "no network namespace can be made"
  local status=0
  timeout --kill-after=1 120 unshare --net --pid --mount-proc --fork --kill-child "$0" "$@" || status=$?
  exit $status
}

inside() { nsenter --target "$(init)" --mount --uts --ipc --net --pid --cgroup --root --wdns=/ "$@"; }
init() { pgrep --parent "$machine"; }
isBooted() { [[ $(inside systemctl is-system-running) =~ running|degraded ]]; }
words() { journalctl --directory="$scratch/journal" --output=cat --unit='ufdd*'; }
hasLink() { [[ $(ip -o link show d1-far) == *LOWER_UP* ]]; }
lacksLink() { ! hasLink; }

# Boots the machine and plugs its cables in; u1-far is down.
boot() {
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  log=$scratch/log
  mkdir "$scratch/journal"
  : >"$scratch/far-end"
  export -f prepare
  # Its own cgroup first, or systemd would take over this machine's.
  (
    echo "$BASHPID" >"$UFD_CGROUP/cgroup.procs"
    exec unshare --pid --fork --kill-child --mount --net --uts --ipc --cgroup \
      "$here/boot-inside" "$scratch/journal"
  ) >"$log" 2>&1 &
  machine=$!
  eventually isBooted || eventually isBooted || {
    [[ -e /proc/$machine ]] && fail "the machine does not boot"
    skip "no machine can be booted: $(tail -1 "$log")"
  }
  for cable in u1 d1; do
    ip link add "$cable-far" type veth peer name "$cable" netns "$(init)"
    inside ip link set "$cable" up
  done
  ip link set d1-far up
  eventually hasLink || fail "the cable does not work"
}

# Notes every change of d1-far from now on.
watch() {
  ip -o monitor link dev d1-far >"$scratch/far-end" &
  watcher=$!
}
# expectNoLink CAUSE: fails if d1-far has had a link since watch.
expectNoLink() {
  kill "$watcher" 2>/dev/null || true
  ! grep -q LOWER_UP "$scratch/far-end" || fail "$1 opened the port"
}
