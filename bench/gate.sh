#!/usr/bin/env bash
# Measures how late ufdd reacts to carrier losses that the kernel holds back: "verify", which asks,
# against "events", which waits; and what the asking costs. Takes some 15 minutes, for the kernel
# has to come to rest before each trial.
#   gate.sh [TRIALS]   50 of each kind, unless told otherwise
set -euo pipefail
cd "$(dirname "$0")/.."

log=$(mktemp)
trap 'rm -f "$log"' EXIT
scripts/install-packages all
{ cmake --preset bench && cmake --build --preset bench --target gate_bench; } >"$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
build/bench/bin/gate_bench "$@"
