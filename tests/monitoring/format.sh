#!/usr/bin/env bash
# Has Prometheus' own checker and a strict parser read the metrics of a ufdd.
#   format.sh BUILD_FOLDER
set -euo pipefail
build=$(realpath "$1")
. "$(dirname "$0")/site.sh"
need promtool
/usr/bin/python3 -c 'import prometheus_client' 2>/dev/null || skip "there is no prometheus_client for Python"
enter "$build"
lay
startUfdd
cut
isDown() { ufdctl metrics | grep 'state="down"} 1'; }
eventually 20 isDown || fail "the group is not down"
ufdctl metrics >"$site/metrics"
promtool check metrics <"$site/metrics" || fail "promtool complains"
/usr/bin/python3 - "$site/metrics" "$group" <<'END' || fail "the parser reads something else"
import sys
from prometheus_client.parser import text_string_to_metric_families

path, group = sys.argv[1:]
families = {f.name: f for f in text_string_to_metric_families(open(path).read())}
series = [(s.name, *sorted(s.labels.items())) for f in families.values() for s in f.samples]
assert len(series) == len(set(series)), "a series is there twice"
for family in families.values():
    assert family.type in ("gauge", "counter", "histogram"), family
    assert family.documentation.endswith("."), family
    assert family.samples, f"{family.name} has no sample"
states = families["ufdd_group_state"].samples
assert {s.labels["group"] for s in states} == {group}, states
assert sum(s.value for s in states) == 1, states
buckets = [s.value for s in families["ufdd_reaction_seconds"].samples if s.name.endswith("_bucket")]
assert buckets == sorted(buckets) and buckets[-1] == 1 and len(buckets) == 14, buckets
assert families["ufdd_reaction_seconds"].samples[-2].value > 0
END
echo "$(grep -vc '^#' "$site/metrics") samples are read as they were written"
