#!/usr/bin/env bash
# Boots a machine under systemd, lets ufdd shut a port there, and checks at the port's far end what
# becomes of it: stopping ufdd opens it; restarting ufdd and shutting the machine down do not.
#   shutdown.sh BUILD_FOLDER
set -euo pipefail
export build
build=$(realpath "$1")
. "$(dirname "$0")/machine.sh"
enter "$build"

prepare() {
  DESTDIR=$1 cmake --install "$build" >/dev/null
  printf '%s\n' 'startup_hold = 0' '[[group]]' 'name = "rack"' 'monitor = ["u1"]' 'disable = ["d1"]' \
    >"$1/etc/ufdd.toml"
  chroot "$1" systemd-sysusers
}
boot

inside systemctl start ufdd || fail "ufdd does not start"
eventually lacksLink || fail "ufdd does not shut the port"

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
end poweroff
expectNoLink "the shutdown"
words | grep "host is shutting down" >/dev/null || fail "ufdd did not notice the shutdown"
echo "the machine was shut down, and the port stayed as it was"
