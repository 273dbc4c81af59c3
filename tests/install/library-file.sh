#!/usr/bin/env bash
# What the library file of the build in $1 says of itself: its name, what it needs, what it offers,
# and the names of its types in the section ".zet.type".
set -eu
library=$1/lib/libUplinkFailureDetection.so
fail() { echo "$library: $*" >&2; exit 1; }

dynamic=$(readelf -d --wide "$library")
# Of version 0.1.2: libUplinkFailureDetection.so.0.1; of version 1.2.3: libUplinkFailureDetection.so.1.
series=$(realpath "$library" | sed -E 's/.*[.]so[.](0[.][0-9]+|[1-9][0-9]*)[.].*/\1/')
grep -qF "Library soname: [libUplinkFailureDetection.so.$series]" <<<"$dynamic" ||
  fail "has another SONAME than libUplinkFailureDetection.so.$series"
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
for name in $needed; do
  case $name in
    libzet.so.*|libstdc++.so.*|libm.so.*|libgcc_s.so.*|libc.so.*|ld-linux*) ;;
    *) fail "needs $name" ;;
  esac
done
grep -qxF "libzet.so.$series" <<<"$needed" || fail "is not linked to libzet.so.$series"

symbols=$(nm -DC --defined-only "$library")
for name in UplinkFailureDetection::rootFactory UplinkFailureDetection::configFactory \
  UplinkFailureDetection::statusFactory \
  UplinkFailureDetection::Root::uplinkFailureDetectionSmIs; do
  grep -q " T $name(" <<<"$symbols" || fail "does not offer $name"
done
if hidden=$(grep -E ' [A-Za-z] (UplinkFailureDetection::\(anon|std::|typeinfo name|vtable for Reflect)' <<<"$symbols"); then
  fail "offers what is its own: $hidden"
fi

section=$(readelf -SW "$library" | grep -F ' .zet.type ') || fail "has no section .zet.type"
grep -qE ' WA +[0-9]+ +[0-9]+ +32$' <<<"$section" ||
  fail ".zet.type is not writable data on a 32-byte boundary: $section"
names=$(mktemp)
trap 'rm -f "$names"' EXIT
objcopy -O binary --only-section=.zet.type "$library" "$names"
# OFFSET NAME, as strings finds them.
found=$(strings -t d -n 8 "$names" | sed 's/^ *//')
expected=$(
  end=0
  for name in GroupConfig GroupLinkStatus GroupStatus Config Status UplinkFailureDetectionIntfSm \
    UplinkFailureDetectionGroupSm UplinkFailureDetectionSm Root; do
    full=UplinkFailureDetection::$name
    size=$((${#full} + 1))
    # From 32 bytes on a name starts on a boundary; a shorter one follows the one before.
    [ $size -lt 32 ] || end=$(((end + 31) / 32 * 32))
    echo "$end $full"
    end=$((end + size))
  done
)
[ "$found" = "$expected" ] || fail ".zet.type holds: $found"
echo "needs $(tr '\n' ' ' <<<"$needed")"
