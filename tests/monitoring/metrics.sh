#!/usr/bin/env bash
# Reads the metrics of a ufdd in each way that ufdctl offers, also while ufdd is away, and lets
# hostile clients try to keep others from reading them.
#   metrics.sh BUILD_FOLDER
set -euo pipefail
build=$(realpath "$1")
. "$(dirname "$0")/site.sh"
need /usr/bin/python3 curl systemd-socket-activate
enter "$build"
lay

once() { ufdctl metrics >"$site/once" 2>/dev/null; }
status=0
once || status=$?
((status == 4)) && has "$site/once" "ufdd_up 0" || fail "without ufdd, there is no ufdd_up 0"
(($(grep -vc '^#' "$site/once") == 1)) || fail "without ufdd, there is more than ufdd_up"

ufdctl metrics --output "$site/none/ufdd.prom" 2>"$site/none.log" && fail "no directory is no error"
grep -q "can't write .*none/ufdd.prom: No such file or directory; see whether" "$site/none.log" ||
  fail "the directory is not named"
ufdctl metrics --listen 2>"$site/none.log" && fail "no socket is no error"
grep -q "start ufdd-metrics.socket" "$site/none.log" || fail "the remedy is not named"

mkdir "$site/text"
text=$site/text/ufdd.prom
(umask 077 && exec "$build/bin/ufdctl" --socket "$site/status" metrics --output "$text") 2>"$site/file.log" &
systemd-socket-activate --listen=127.0.0.1:9766 \
  "$build/bin/ufdctl" --socket "$site/status" metrics --listen 2>"$site/http.log" &
get() { curl --silent --fail --max-time 20 http://127.0.0.1:9766/metrics >"$site/http"; }
isTold() { once; get && has "$site/once" "$1" && has "$site/http" "$1" && has "$text" "$1"; }
isAway() { get && has "$site/http" "ufdd_up 0" && has "$text" "ufdd_up 0"; }

eventually 20 isAway || fail "without ufdd, the file or the server lacks ufdd_up 0"
startUfdd
label='{group="rack \"1\" \\ a",state="down"}'
eventually 20 isTold "ufdd_group_state$label 0" || fail "the group is not told to be up"
cut
eventually 20 isTold "ufdd_group_state$label 1" || fail "the group is not told to be down"
for sample in 'ufdd_port_wanted_shut{device="d1"} 1' 'ufdd_port_held{device="d2"} 1' \
  'ufdd_port_actions_total{action="shut"} 2' 'ufdd_uplink_up{device="u1"} 0' \
  'ufdd_reaction_seconds_count{action="shut"} 1' 'ufdd_ownership_saved 1' \
  "ufdd_config_hash $(cksum <"$site/ufdd.toml" | sed 's, .*,,')"; do
  eventually 20 isTold "$sample" || fail "there is no $sample"
done
[[ $(stat -c %a "$text") == 644 ]] || fail "the collector may not read the file"
mend
eventually 20 isTold 'ufdd_port_actions_total{action="open"} 2' || fail "the opening is not counted"

# Changes all the time: the file must be a new one each second, and not more often.
began=$SECONDS
for ((i = 0; i < 60; ++i)); do
  ip link set u1-far $([[ $((i % 2)) == 0 ]] && echo up || echo down)
  stat -c %y "$text"
  sleep .05
done | sort -u >"$site/times"
took=$((SECONDS - began)) # 3 s, more on a busy machine.
written=$(wc -l <"$site/times")
((written <= took + 3 && written >= 3)) || fail "the file was written $written times in $took s"
[[ $(ls "$site/text") == ufdd.prom ]] || fail "more than the file is left: $(ls "$site/text")"

echo nonsense >>"$site/ufdd.toml"
kill -HUP "$ufdd"
eventually 20 isTold "ufdd_config_last_reload_successful 0" || fail "the refusal is not told"
sed -i '/nonsense/d' "$site/ufdd.toml"

"$here/clients.py" 9766 || fail "the server does not withstand its clients"
stopUfdd
eventually 20 isAway || fail "the file or the server does not tell that ufdd is away"
startUfdd
eventually 20 isTold "ufdd_up 1" || fail "the file or the server does not tell that ufdd is back"
echo "the metrics tell what ufdd does, and when it is away"
