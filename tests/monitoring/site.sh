# A site for a test of this folder that sources this file: a ufdd in a network namespace of the test's
# own, with uplinks u1 and u2 and ports d1 and d2. u1-far and so on are their far ends.
here=$(realpath "$(dirname "${BASH_SOURCE[0]}")")

skip() {
  echo "skipped: $*"
  exit 77
}
fail() {
  echo "failed: $*"
  tail -n 20 "$site"/*.log
  exit 1
}
# eventually SECONDS COMMAND...
eventually() {
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    ((SECONDS < end)) || return 1
    sleep .05
  done
}
need() {
  local tool
  for tool; do command -v "$tool" >/dev/null || skip "there is no $tool"; done
}

# enter ARGUMENTS...: begins the test, which is run again with these arguments in namespaces of its
# own. Everything inside ends with the test.
enter() {
  [[ -z ${UFD_SITE-} ]] || return 0
  ((EUID == 0)) && unshare --net true || skip "no network namespace can be made"
  export UFD_SITE=yes
  exec timeout --kill-after=1 120 unshare --net --pid --mount-proc --fork --kill-child "$0" "$@"
}

# The name of the group has what the format of the metrics must escape.
group='rack "1" \ a'
lay() {
  site=$(mktemp -d)
  trap 'rm -rf "$site"' EXIT
  ip link set lo up
  local cable
  for cable in u1 u2 d1 d2; do
    ip link add "$cable" type veth peer name "$cable-far"
    ip link set "$cable" up
    ip link set "$cable-far" up
  done
  printf '%s\n' 'startup_hold = 0' '[[group]]' "name = '$group'" 'monitor = ["u1", "u2"]' \
    'disable = ["d1", "d2"]' 'recovery_delay = 0' '[[check]]' 'name = "far"' 'uplinks = ["u1"]' \
    'kind = "reported"' 'rise = 1' 'ttl = 3600' >"$site/ufdd.toml"
  : >"$site/ufdd.log"
}
startUfdd() {
  "$build/bin/ufdd" --config "$site/ufdd.toml" --state-dir "$site" --socket "$site/status" \
    2>>"$site/ufdd.log" &
  ufdd=$!
  eventually 20 ufdctl show || fail "ufdd does not start"
  ufdctl report far up
}
stopUfdd() {
  kill "$ufdd"
  wait "$ufdd" || true
}
ufdctl() { "$build/bin/ufdctl" --socket "$site/status" "$@"; }
# Cuts both uplinks, or mends them.
cut() { for uplink in u1 u2; do ip link set "$uplink-far" down; done; }
mend() { for uplink in u1 u2; do ip link set "$uplink-far" up; done; }
# has FILE SAMPLE: a sample as the metrics have it
has() { grep -qxF -- "$2" "$1"; }
