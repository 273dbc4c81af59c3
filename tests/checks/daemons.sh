#!/usr/bin/env bash
# Runs the shipped checks against BIRD, FRR's bfdd and the kernel, in namespaces of its own.
#   daemons.sh SOURCE_FOLDER BUILD_FOLDER
# The daemons are unpacked below BUILD_FOLDER and not installed, since they would begin to route.
set -euo pipefail
source=$1
peers=$2/checks
skip() {
  echo "skipped: $*"
  exit 77
}

if [[ ${3:-} != inside ]]; then
  ((EUID == 0)) || skip "it takes root"
  for tool in shellcheck ping setpriv; do
    command -v $tool >/dev/null || skip "there is no $tool"
  done
  shellcheck "$source"/packaging/checks/*
  if [[ ! -e $peers/unpacked ]]; then
    mkdir -p "$peers"
    (cd "$peers" && apt-get -qq -o APT::Sandbox::User=root download bird2 frr) ||
      skip "bird2 and frr can't be fetched"
    for package in "$peers"/*.deb; do dpkg-deb -x "$package" "$peers"; done
    touch "$peers/unpacked"
  fi
  # All of it ends with the first process.
  exec unshare --mount --net --pid --fork --kill-child "$0" "$source" "$peers/.." inside
fi

mount -t proc proc /proc
mount -t tmpfs tmpfs /run
scratch=/run/scratch
mkdir -p $scratch/etc /run/bird /run/frr
{ cat /etc/passwd && echo frr:x:999:999::/:/bin/false; } >$scratch/etc/passwd
{ cat /etc/group && printf '%s\n' frr:x:999: frrvty:x:998:frr; } >$scratch/etc/group
mkdir $scratch/etc/frr
cp -r "$peers/etc/pam.d" $scratch/etc
touch $scratch/etc/frr/{vtysh,zebra}.conf
mount -t overlay -o "lowerdir=$scratch/etc:/etc" overlay /etc
mount -t overlay -o "lowerdir=$peers/usr:/usr" overlay /usr
chown 999:999 /run/frr
checks=$source/packaging/checks

ip link set lo up
ip netns add far
ip link add near type veth peer name near netns far
ip addr add 10.9.0.1/24 dev near
ip link set near up
ip -n far addr add 10.9.0.2/24 dev near
ip -n far link set near up
for side in 1 2; do
  cat >$scratch/bird$side.conf <<END
router id 10.9.0.$side;
protocol device {}
protocol bfd {
  interface "near" { interval 100 ms; idle tx interval 200 ms; multiplier 3; };
  neighbor 10.9.0.$((3 - side)) dev "near";
}
END
done

status=0
# expect STATUS PATTERN COMMAND...: the command must come to that within 20 s, in one line.
expect() {
  local wanted=$1 pattern=$2 output result end=$((SECONDS + 20))
  shift 2
  while :; do
    result=0
    output=$("$@" 2>&1) || result=$?
    [[ $result == "$wanted" && $output =~ $pattern && $output != *$'\n'* ]] && break
    if ((SECONDS > end)); then
      echo "$*: ends with $result, \"$output\", and not with $wanted, \"$pattern\""
      status=1
      return
    fi
    sleep 0.05
  done
  echo "${*##*/}: $result, $output"
}
# stays_unknown COMMAND...: the command must end with 2, each time in 2 s.
stays_unknown() {
  local result end=$((SECONDS + 2))
  while ((SECONDS <= end)); do
    result=0
    "$@" >/dev/null 2>&1 || result=$?
    [[ $result == 2 ]] || {
      echo "$*: ends with $result, and not with 2 all the time"
      status=1
      return
    }
    sleep 0.1
  done
}

ip netns exec far bird -f -c $scratch/bird2.conf -s /run/bird/far.ctl &
far=$!
begin_bird() {
  bird -f -c $scratch/bird1.conf -s /run/bird/bird.ctl &
  near=$!
}
begin_frr() {
  printf 'bfd\n peer 10.9.0.2 interface near\n  receive-interval 100\n  transmit-interval 100\n' \
    >$scratch/bfdd.conf
  /usr/lib/frr/bfdd -f $scratch/bfdd.conf &
  near=$!
}
/usr/lib/frr/zebra -f $scratch/etc/frr/zebra.conf &
for daemon in bird frr; do
  check=$checks/$daemon-bfd
  expect 2 "answer" "$check" 10.9.0.2
  "begin_$daemon"
  expect 0 "[Uu]p" "$check" 10.9.0.2
  expect 0 "[Uu]p" "$check" 10.9.0.2%near
  # As in the unit: a user without rights, in the daemon's group.
  [[ $daemon != frr ]] || expect 0 "up" setpriv --reuid=65534 --regid=65534 --groups=998 \
    --no-new-privs --bounding-set=-all,+net_raw "$check" 10.9.0.2
  expect 2 "no .*session" "$check" 10.9.0.3
  expect 2 "no .*session" "$check" 10.9.0.2%other
  # The far side dies, and its carrier stays. Here, no session is too young to count.
  kill -STOP $far
  began=${EPOCHREALTIME/./}
  expect 1 "([Dd]own|[Ii]nit)" "$check" 10.9.0.2 0
  echo "$daemon: seen after $(((${EPOCHREALTIME/./} - began) / 1000)) ms"
  # A daemon that is gone, or was restarted just now.
  kill -KILL $near
  wait $near || true
  expect 2 "answer" "$check" 10.9.0.2
  "begin_$daemon"
  expect 2 "(ago|old)" "$check" 10.9.0.2
  stays_unknown "$check" 10.9.0.2
  expect 1 "([Dd]own|[Ii]nit)" "$check" 10.9.0.2 1
  kill -CONT $far
  expect 0 "[Uu]p" "$check" 10.9.0.2
  kill -KILL $near
  wait $near || true
done

expect 0 "^answered in .* ms" $checks/ping 10.9.0.2 near
expect 1 "no answer from 10.9.0.3" $checks/ping 10.9.0.3
expect 2 "can't ask 10.99.0.1: .*unreachable" $checks/ping 10.99.0.1
# As in the unit: without a right to raw sockets.
bare=(setpriv --reuid=65534 --regid=65534 --clear-groups --no-new-privs --bounding-set=-all,+net_raw)
sysctl -qw net.ipv4.ping_group_range="1 0"
expect 2 "ping_group_range" "${bare[@]}" $checks/ping 10.9.0.2
sysctl -qw net.ipv4.ping_group_range="0 2147483647"
expect 0 "^answered in" "${bare[@]}" $checks/ping 10.9.0.2
exit $status
