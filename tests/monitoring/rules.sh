#!/usr/bin/env bash
# Checks the alerts with Prometheus' own tools: that they are valid, that each has a firing and a silent
# case, and a runbook. Checks the dashboard as well.
#   rules.sh SOURCE_FOLDER
set -euo pipefail
source=$1
. "$(dirname "$0")/site.sh"
need promtool amtool /usr/bin/python3
status=0
complain() {
  echo "$*"
  status=1
}
rules=$source/monitoring/ufdd.rules.yml
promtool check rules --lint=all --lint-fatal "$rules" || status=1
promtool test rules "$here/rules.test.yml" || status=1
amtool check-config "$source/monitoring/alertmanager.example.yml" >/dev/null || status=1
alerts=$(sed -n 's/^ *- alert: //p' "$rules")
[[ -n $alerts ]] || complain "there are no alerts"
for alert in $alerts; do
  grep -q "alertname: $alert,.* exp_alerts: \[ \]" "$here/rules.test.yml" || complain "$alert has no silent case"
  grep -q -- "- alertname: $alert\$" "$here/rules.test.yml" || complain "$alert has no firing case"
  grep -qx "## $alert" "$source/docs/runbooks.md" || complain "docs/runbooks.md lacks $alert"
  grep -q "runbooks.md#${alert,,}\$" "$rules" || complain "$alert does not lead to its runbook"
done
for alert in $(sed -n 's/^## //p' "$source/docs/runbooks.md") \
  $(grep -oE 'Ufdd[A-Z][A-Za-z]+' "$source/monitoring/alertmanager.example.yml" | sort -u); do
  grep -qx "$alert" <<<"$alerts" || complain "there is no alert $alert"
done
"$here/dashboard.py" "$source" || status=1
exit $status
