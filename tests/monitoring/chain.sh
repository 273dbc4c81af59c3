#!/usr/bin/env bash
# Runs everything between an uplink and an operator for real: ufdd, both ways to read its metrics,
# node_exporter, Prometheus with our rules, Alertmanager with our example, and a webhook. Uplinks fail;
# the alert must reach the webhook within 20 s, and must be resolved after the repair.
#   chain.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
source=$(realpath "$1")
build=$(realpath "$2")
. "$(dirname "$0")/site.sh"
need prometheus prometheus-alertmanager prometheus-node-exporter amtool curl systemd-socket-activate /usr/bin/python3
enter "$source" "$build"
lay
export GOMAXPROCS=1

/usr/bin/python3 -u - >"$site/webhook.log" 2>&1 <<'END' &
import http.server, json, time

class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        message = json.loads(self.rfile.read(int(self.headers["content-length"])))
        for alert in message["alerts"]:
            labels = alert["labels"]
            print(alert["status"], labels["alertname"], labels["job"], labels.get("group"), sep="|")
        self.send_response(200)
        self.end_headers()
    def log_message(self, *_):
        pass

http.server.HTTPServer(("127.0.0.1", 9099), Handler).serve_forever()
END
startUfdd
mkdir "$site/text"
"$build/bin/ufdctl" --socket "$site/status" metrics --output "$site/text/ufdd.prom" 2>"$site/file.log" &
systemd-socket-activate --listen=127.0.0.1:9766 \
  "$build/bin/ufdctl" --socket "$site/status" metrics --listen 2>"$site/http.log" &
prometheus-node-exporter --collector.disable-defaults --collector.textfile \
  --collector.textfile.directory="$site/text" --web.listen-address=127.0.0.1:9100 2>"$site/exporter.log" &
# The example waits longer before it tells of a repair.
sed 's/group_interval: 1m/group_interval: 1s/' "$source/monitoring/alertmanager.example.yml" >"$site/alertmanager.yml"
prometheus-alertmanager --config.file="$site/alertmanager.yml" --storage.path="$site/alertmanager" \
  --cluster.listen-address= --web.listen-address=127.0.0.1:9093 2>"$site/alertmanager.log" &
cat >"$site/prometheus.yml" <<END
global: { scrape_interval: 1s, evaluation_interval: 1s }
rule_files: [ "$source/monitoring/ufdd.rules.yml" ]
alerting: { alertmanagers: [ { static_configs: [ { targets: [ "127.0.0.1:9093" ] } ] } ] }
scrape_configs:
  - { job_name: ufdd, static_configs: [ { targets: [ "127.0.0.1:9766" ] } ] }
  - { job_name: node, static_configs: [ { targets: [ "127.0.0.1:9100" ] } ] }
END
prometheus --config.file="$site/prometheus.yml" --storage.tsdb.path="$site/prometheus" \
  --web.listen-address=127.0.0.1:9090 2>"$site/prometheus.log" &

query() { curl --silent --get --data-urlencode "query=$1" http://127.0.0.1:9090/api/v1/query; }
# reads NUMBER QUERY: the query has that value
reads() { query "$2" | grep -qF ",\"$1\"]"; }
told() { grep -qxF "$1" "$site/webhook.log"; }

eventually 30 reads 2 'sum(ufdd_up)' || fail "Prometheus does not read the metrics in both ways"
eventually 20 reads 2 'sum(ufdd_group_state{state="up"})' || fail "Prometheus does not see the group up"
reads 0 'count(ALERTS) or vector(0)' || fail "there are alerts before anything has failed"
cut
began=$SECONDS
for job in ufdd node; do
  eventually 20 told "firing|UfddGroupDown|$job|$group" || fail "the alert from the job $job does not arrive"
done
alarm=$((SECONDS - began))
((alarm <= 20)) || fail "the alert took $alarm s"
"$here/dashboard.py" "$source" 127.0.0.1:9766 http://127.0.0.1:9090 || fail "a panel of the dashboard is empty"
! grep resolved "$site/webhook.log" || fail "the alert was resolved before the repair"
mend
began=$SECONDS
for job in ufdd node; do
  eventually 20 told "resolved|UfddGroupDown|$job|$group" || fail "the repair is not told for the job $job"
done
repair=$((SECONDS - began))

# amtool alert add adds an alert that somebody might send.
add() { amtool --alertmanager.url=http://127.0.0.1:9093 alert add "$@"; }
inhibited() { amtool --alertmanager.url=http://127.0.0.1:9093 alert query --inhibited --output=json "alertname=$1"; }
labels=(job=j instance=i group=g)
add UfddGroupFlapping "${labels[@]}" severity=warning
add UfddConfigRefused "${labels[@]:0:2}" severity=warning
add UfddPortNotHeld "${labels[@]:0:2}" severity=critical
add UfddGroupDown job=j instance=i group=other severity=critical
for alert in UfddGroupFlapping UfddConfigRefused UfddPortNotHeld UfddGroupDown; do
  [[ $(inhibited $alert) == "[]" ]] || fail "$alert is inhibited by nothing"
done
add UfddGroupDown "${labels[@]}" severity=critical
add UfddUnreachable "${labels[@]:0:2}" severity=critical
for alert in UfddGroupFlapping UfddConfigRefused; do
  eventually 5 eval "inhibited $alert | grep '$alert'" || fail "$alert is not inhibited"
done
for alert in UfddPortNotHeld UfddGroupDown; do
  [[ $(inhibited $alert) == "[]" ]] || fail "$alert is inhibited"
done
add UfddManyGroupsDown job=j severity=critical
eventually 5 eval "inhibited UfddGroupDown | grep UfddGroupDown" || fail "UfddGroupDown is not inhibited"
echo "the alert arrived after $alarm s, and its end $repair s after the repair"
