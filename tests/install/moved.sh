#!/usr/bin/env bash
# Programs and libraries of the build in $1 find their libraries after the tree was moved, and never
# in the working directory.
set -euo pipefail
moved=$(mktemp -d)
trap 'rm -rf "$moved"' EXIT
cp -r "$1/bin" "$1/lib" "$moved"

for file in "$moved"/bin/* "$moved"/lib/*.so; do
  paths=$(readelf -d "$file" | sed -n 's/.*(RU\?N\?PATH).*\[\(.*\)\]/\1/p')
  [[ -z $paths || $paths =~ ^[$]ORIGIN[^:]*(:[$]ORIGIN[^:]*)*$ ]] || {
    echo "$file looks for libraries in: $paths" >&2
    exit 1
  }
done
for program in ufdd ufdctl; do
  [[ -x $moved/bin/$program ]] || continue
  libraries=$(ldd "$moved/bin/$program")
  grep -qF "$moved/bin/../lib/libzet" <<<"$libraries" || { echo "$libraries" >&2; exit 1; }
done
