#!/usr/bin/env bash
# Checks that check-prose finds each idiom, in upper and lower case, and lets a plain sentence pass.
#   check-prose.sh CHECK_PROSE
set -euo pipefail
check=$(realpath "$1")
text=$(mktemp)
trap 'rm -f "$text"' EXIT

failures=0
while read -r line; do
  echo "// $line" >"$text"
  if said=$("$check" "$text") || [[ $said != "$text:1:// $line "* ]]; then
    echo "passes: $line"
    failures=1
  fi
done <<'END'
Be it a port
As ever, nothing comes
a port in the place of another
all links, as far as it goes
a group, of which nobody knows
a file of which nothing is left
a subject with observers, each of which adds the value
What is over is gone
has the listener told of it
has ufdd told of it
END
echo "// A port, instead of another. Each of which is shut. As every link." >"$text"
"$check" "$text" || failures=1
exit "$failures"
