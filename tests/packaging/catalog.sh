#!/usr/bin/env bash
# Checks that journalctl reads the catalog, and that it explains each message id of ufdd and no other.
#   catalog.sh SOURCE_FOLDER
set -euo pipefail
source=$1
command -v journalctl >/dev/null || {
  echo "skipped: there is no journalctl"
  exit 77
}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/usr/lib/systemd/catalog"
cp "$source/packaging/ufdd.catalog" "$scratch/usr/lib/systemd/catalog"
journalctl --root="$scratch" --update-catalog
SYSTEMD_CATALOG=$scratch/var/lib/systemd/catalog/database journalctl --root="$scratch" --list-catalog >"$scratch/list"
diff <(grep -oE '\b[0-9a-f]{32}\b' "$source/agent/base/JournalLog.cpp" | sort) \
  <(grep -oE '^[0-9a-f]{32}\b' "$scratch/list" | sort) || {
  echo "the message ids of agent/base/JournalLog.cpp (<) and packaging/ufdd.catalog (>) differ"
  exit 1
}
