#!/usr/bin/env bash
# The example prints what docs/embedding.md says that it prints.
#   embed.sh EMBED
set -euo pipefail
diff <(sed -n '/^    \$ embed$/,/^$/s/^    //p' "$(dirname "$0")/../../docs/embedding.md" | tail -n +2) <("$1")
