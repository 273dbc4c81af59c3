#!/usr/bin/env bash
# Boots a machine with the packages, lets ufdd shut a port there, and checks at the port's far end what
# becomes of it: a ufdd that hangs is replaced, and a machine that is restarted with dead uplinks goes
# down, without the port being opened. After the boot, orders are gone, and ports are left as they are
# for startup_hold.
#   reboot.sh FOLDER_OF_PACKAGES
set -euo pipefail
. "$(dirname "$0")/machine.sh"
needPackages "$1"
enter "$packages"
hold=4
boot
ip link set u1-far up
install || fail "the packages can't be installed"
printf '%s\n' "startup_hold = $hold" '[[group]]' 'name = "rack"' 'recovery_delay = 0' 'monitor = ["u1"]' \
  'disable = ["d1"]' | inside sh -c 'cat >/etc/ufdd.toml'
inside systemctl enable --now ufdd >>"$log" 2>&1 || fail "ufdd can't be enabled"
hasLink || fail "ufdd shut the port though its uplink is up"
ip link set u1-far down
eventually lacksLink || fail "ufdd does not shut the port"

watch
former=$(pid)
send STOP
eventually isRunningAgain || fail "a ufdd that hangs is not replaced"
words | grep "Watchdog timeout" >/dev/null || fail "it was not the watchdog that replaced ufdd"
isHeld() { inside ufdctl metrics | grep '^ufdd_port_held{device="d1"} 1'; }
eventually isHeld || fail "the next ufdd does not hold the port"
inside ufdctl down d1 >>"$log" || fail "the port can't be ordered down"
end reboot
expectNoLink "the watchdog or the restart of the machine"
lacksLink || fail "the watchdog or the restart of the machine opened the port"

boot
isActive || fail "ufdd is enabled, and does not run after the boot"
hasLink || fail "the port is shut before startup_hold has ended"
eventually lacksLink || fail "the port is not shut once startup_hold has ended"
started=$(date -d "$(inside systemctl show --property=ActiveEnterTimestamp --value ufdd)" +%s)
waited=$(($(date +%s) - started))
((waited >= hold && waited <= hold + 2)) || fail "the port was shut $waited s after ufdd had started"
ip link set u1-far up
eventually hasLink || fail "the repair does not open the port: the order has survived the boot"
echo "a port stayed shut over a hang and a shutdown, and was shut $waited s after the boot"
