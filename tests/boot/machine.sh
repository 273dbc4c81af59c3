# Boots a machine under systemd, for a test of this folder that sources this file and defines
#   prepare ROOT   puts ufdd into the file system of the machine. Gets exported variables only.
# The machine has an uplink u1 and a port d1, unless the test defines another `plug`. Their far ends
# u1-far and d1-far, the neighbours, are in the network namespace of the test. Set `system` to a root
# folder for a machine that is no copy of this one.
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")

skip() {
  echo "skipped: $*"
  exit 77
}
fail() {
  echo "failed: $*"
  cat "$log"
  words || true
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
  timeout --kill-after=1 280 unshare --net --pid --mount-proc --fork --kill-child "$0" "$@" || status=$?
  exit $status
}

inside() { nsenter --target "$(init)" --mount --uts --ipc --net --pid --cgroup --root --wdns=/ "$@"; }
init() { pgrep --parent "$machine"; }
hasEnded() { [[ ! -e /proc/$machine ]]; }
isBootedOrHasEnded() { hasEnded || [[ $(inside systemctl is-system-running) =~ running|degraded ]]; }
words() { journalctl --directory="$scratch/disk/journal" --output=cat --unit='ufdd*'; }
hasLink() { [[ $(ip -o link show d1-far) == *LOWER_UP* ]]; }
lacksLink() { ! hasLink; }

# needPackages FOLDER: has boot make a minimal Debian with the packages in /packages, and no network.
needPackages() {
  export packages
  packages=$(realpath "$1")
  [[ -n $(find "$packages" -name 'ufdd_*.deb' 2>/dev/null) ]] ||
    skip "there are no packages; scripts/package builds them"
  system=$("$here/../../scripts/clean-debian" --if-made 2>&1) || skip "$system"
  prepare() {
    mkdir "$1/packages"
    cp "$packages"/{ufdd,ufdd-metrics,libzet*,libuplinkfailuredetection0*}_*.deb "$1/packages"
    rm -f "$1"/packages/*-dbgsym_*
  }
}

install() { inside sh -c 'apt-get --quiet --yes --reinstall install /packages/*.deb' >>"$log" 2>&1; }
pid() { inside systemctl show --property=MainPID --value ufdd; }
send() { inside sh -c "kill -$1 $(pid)"; }
isActive() { inside systemctl --quiet is-active ufdd; }
# Returns true once another ufdd runs than `former`.
isRunningAgain() { [[ $(pid) != 0 && $(pid) != "$former" ]] && isActive; }

# cable NAME FAR [OPTION...]: connects the machine's interface NAME to FAR, which ip gets with OPTIONs.
cable() {
  ip link add "${@:2}" type veth peer name "$1" netns machine
  ip -netns machine link set "$1" up
}
plug() {
  cable u1 u1-far
  cable d1 d1-far
  ip link set d1-far up
  eventually hasLink || fail "the cable does not work"
}

# Boots the machine, with its cables plugged in and u1-far down. Called again after the machine has
# ended, boots it again: it keeps its disk, and its interfaces are new.
boot() {
  if [[ -z ${scratch-} ]]; then
    scratch=$(mktemp -d)
    trap 'umount --lazy "$scratch"; rm -rf "$scratch"' EXIT
    mount -t tmpfs -o size=1g tmpfs "$scratch"
    log=$scratch/log
    : >"$scratch/far-end"
    mkdir "$scratch/disk"
    export -f prepare
    # Names of network namespaces that no other process sees.
    mount -t tmpfs tmpfs /run
    boots=0
  else
    # The kernel would delete them later.
    ip -netns machine -brief link show type veth | cut -d@ -f1 | xargs -n1 ip -netns machine link delete
    ip netns delete machine
  fi
  ip netns add machine
  plug
  # Its own cgroup first, or systemd would take over this machine's.
  mkdir "$UFD_CGROUP/$((++boots))"
  (
    echo "$BASHPID" >"$UFD_CGROUP/$boots/cgroup.procs"
    exec nsenter --net=/run/netns/machine unshare --pid --fork --kill-child --mount --uts --ipc --cgroup \
      "$here/boot-inside" "${system:-/}" "$scratch/disk"
  ) >>"$log" 2>&1 &
  machine=$!
  eventually isBootedOrHasEnded || eventually isBootedOrHasEnded || fail "the machine does not boot"
  hasEnded || return 0
  ((boots == 1)) || fail "the machine does not boot again"
  skip "no machine can be booted: $(tail -1 "$log")"
}

# Ends the machine in the way that systemctl names.
end() {
  # Its connection may end before the answer comes.
  inside systemctl "$1" 2>/dev/null || true
  { wait "$machine" || true; } 2>/dev/null
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
