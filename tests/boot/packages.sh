#!/usr/bin/env bash
# Installs the packages on a minimal machine under systemd, and checks at the far end of a port what
# becomes of it: a dead uplink shuts it; an upgrade, a crash and a wrong configuration leave it shut;
# removing the package opens it, even in the second in which ufdd is not there.
#   packages.sh FOLDER_OF_PACKAGES
set -euo pipefail
. "$(dirname "$0")/machine.sh"
needPackages "$1"
enter "$packages"
boot
ip link set u1-far up

isMeasured() {
  ip netns exec machine curl --silent http://127.0.0.1:9766/metrics | grep 'ufdd_port_held{device="d1"} 1'
}
isExplained() {
  inside journalctl --catalog --unit=ufdd UFD_GROUP=uplinks UFD_PORT=d1 | grep 'Subject: Port d1 is shut'
}
failedUnits() { inside systemctl list-units --failed --plain --no-legend 'ufdd*'; }

install || fail "the packages can't be installed"
units=$(inside dpkg --listfiles ufdd ufdd-metrics | grep '^/lib/systemd/system/.')
(($(wc -l <<<"$units") == 5)) || fail "the packages have other units: $units"
complaints=$(inside systemd-analyze --man=no verify $units 2>&1) && [[ -z $complaints ]] ||
  fail "systemd complains about units: $complaints"
[[ -z $(failedUnits) ]] || fail "without a configuration, the installation left failed units"
isActive && fail "ufdd runs without a configuration"

inside sed -e 's/"swp49", "swp50"/"u1"/; s/"swp.*"/"d1"/; s/min_links = 2/min_links = 1/' \
  /usr/share/doc/ufdd/examples/leaf.toml >"$scratch/ufdd.toml"
cat "$scratch/ufdd.toml" | inside sh -c 'cat >/etc/ufdd.toml'
inside ufdd --check /etc/ufdd.toml >>"$log" 2>&1 || fail "the example is not OK"
inside systemctl enable --now ufdd >>"$log" 2>&1 || fail "ufdd can't be enabled"
hasLink || fail "ufdd shut the port though its uplink is up"
for unit in ufdd ufdd-release ufdd-metrics ufdd-checks; do
  inside systemd-analyze security --threshold=15 --no-pager "$unit.service" >>"$log" 2>&1 ||
    fail "$unit.service as it is loaded leaves more than 1.5 open to an attacker"
done

printf '%s\n' '[[check]]' 'name = "flag"' 'uplinks = ["u1"]' 'kind = "command"' 'rise = 1' 'fall = 1' \
  'interval = 0.5' 'command = ["/usr/bin/test", "-e", "/etc/flag"]' | cat "$scratch/ufdd.toml" - |
  inside sh -c 'cat >/etc/ufdd.toml; touch /etc/flag'
inside systemctl reload ufdd || fail "a configuration with a check can't be loaded"
inside rm /etc/flag
eventually lacksLink || fail "a check that ufdd-checks.service runs does not shut the port"
inside touch /etc/flag
eventually hasLink || fail "a check that passes again does not open the port"
cat "$scratch/ufdd.toml" | inside sh -c 'cat >/etc/ufdd.toml'
inside systemctl reload ufdd || fail "a configuration without the check can't be loaded"

ip link set u1-far down
eventually lacksLink || fail "ufdd does not shut the port"
inside ufdctl show >>"$log" || fail "ufdctl does not show the status"
eventually isMeasured || fail "the metrics do not show that the port is shut"
inside sh -c 'mkdir -p /var/lib/prometheus/node-exporter
  zcat -f /usr/share/doc/ufdd-metrics/monitoring.md* |
    sed -n "/^    .Service/,/^    WantedBy/s/^    //p" >/etc/systemd/system/ufdd-textfile.service'
inside systemctl enable --now ufdd-textfile >>"$log" 2>&1 || fail "the unit of the documentation can't be enabled"
isWritten() { inside grep '^ufdd_port_held{device="d1"} 1' /var/lib/prometheus/node-exporter/ufdd.prom; }
eventually isWritten || fail "the unit of the documentation does not keep the file"
inside systemctl disable --now ufdd-textfile >>"$log" 2>&1
inside rm /etc/systemd/system/ufdd-textfile.service /var/lib/prometheus/node-exporter/ufdd.prom
eventually isExplained || fail "the journal does not explain the entry, or names no group and port in it"

watch
former=$(pid)
install || fail "the packages can't be upgraded"
eventually isRunningAgain || fail "the upgrade did not start ufdd again"
former=$(pid)
inside sh -c 'echo "nonsense = 1" >/etc/ufdd.toml'
inside systemctl reload ufdd >>"$log" 2>&1 && fail "a wrong configuration can be loaded"
cat "$scratch/ufdd.toml" | inside sh -c 'cat >/etc/ufdd.toml'
inside systemctl reload ufdd || fail "a right configuration can't be loaded"
send KILL
eventually isRunningAgain || fail "ufdd was not started again after its crash"
sleep .5
eventually isMeasured || fail "after the upgrade and the crash, the metrics do not show the port"
expectNoLink "the upgrade, the reload or the crash"
lacksLink || fail "the upgrade, the reload or the crash opened the port"

inside dpkg --remove ufdd-metrics >>"$log" 2>&1 || fail "the metrics' package can't be removed"
send KILL
inside dpkg --remove ufdd >>"$log" 2>&1 || fail "the package can't be removed"
hasLink || fail "removing the package did not open the port"
[[ -z $(failedUnits) ]] || fail "removing the package left failed units"
inside dpkg --purge ufdd-metrics ufdd libzet0.2 libuplinkfailuredetection0.2 >>"$log" 2>&1 ||
  fail "the packages can't be purged"
left=$(inside find /etc /run /usr /var -path /usr/local -prune -o \
  \( -iname '*ufdd*' -o -iname 'libzet*' -o -iname 'libUplinkFailure*' \) -print)
[[ -z $left ]] || fail "purging the packages left $left"
echo "installed, upgraded and purged, and the port was shut only while its uplink was down"
