#!/usr/bin/env bash
# Lets Ansible put ufdd on a machine under systemd, by the role of the examples: a second run changes
# nothing, a wrong configuration never gets to its place, and a new one is in force when the run ends.
#   ansible.sh SOURCE_FOLDER
set -euo pipefail
export source
source=$(realpath "$1")
. "$(dirname "$0")/machine.sh"
[[ -n $(find "$source/build/packages" -name 'ufdd_*.deb' 2>/dev/null) ]] ||
  skip "there are no packages; scripts/package builds them"
[[ -x /usr/bin/ansible-playbook ]] || skip "there is no ansible-playbook"
enter "$source"

prepare() {
  cp -r "$source/examples/ansible" "$1/playbook"
  cp "$source"/build/packages/{ufdd,ufdd-metrics,libzet*,libuplinkfailuredetection0*}_*.deb "$1/playbook"
  rm -f "$1"/playbook/*-dbgsym_*
  printf '%s\n' '[leaves]' 'localhost ansible_connection=local ansible_python_interpreter=/usr/bin/python3' \
    >"$1/playbook/inventory.ini"
  {
    echo 'ufdd_packages:'
    for package in "$1"/playbook/{libzet,libuplink,ufdd_,ufdd-metrics}*.deb; do
      echo "  - /playbook/${package##*/}"
    done
    printf '%s\n' 'ufdd_settings: { startup_hold: 0 }' 'ufdd_groups:' \
      '  - { name: "rack \"1\"", monitor: [u1], disable: [d1], min_links: 1, recovery_delay: 0.5 }'
  } >"$1/playbook/group_vars/leaves.yml"
}
boot
ip link set u1-far up

# play ARGUMENTS...: fails if Ansible does
play() {
  inside env --ignore-environment HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    /usr/bin/ansible-playbook --inventory /playbook/inventory.ini "$@" /playbook/site.yml >"$scratch/play" 2>&1
}
stop() {
  cat "$scratch/play"
  fail "$@"
}
play || stop "the playbook fails"
grep -q 'changed=[1-9]' "$scratch/play" || stop "the first run changes nothing"
play || stop "the second run fails"
grep -q 'changed=0 ' "$scratch/play" || stop "the second run changes something"
inside systemctl --quiet is-enabled ufdd || fail "ufdd is not enabled"
hasLink || fail "ufdd shut the port though its uplink is up"
ip link set u1-far down
eventually lacksLink || fail "ufdd does not shut the port"

before=$(inside cksum /etc/ufdd.toml)
play --extra-vars '{"ufdd_settings": {"startup_hold": -1}}' && stop "a wrong configuration is accepted"
grep -q 'expected startup_hold to be a number of seconds' "$scratch/play" || stop "the error is not named"
[[ $(inside cksum /etc/ufdd.toml) == "$before" ]] || fail "the wrong configuration got to its place"
play --extra-vars '{"ufdd_settings": {"startup_hold": 0, "dry_run": true}}' || stop "a new configuration fails"
eventually hasLink || fail "the new configuration is not in force"
echo "the second of two runs changed nothing; a wrong configuration was refused, a new one is in force"
