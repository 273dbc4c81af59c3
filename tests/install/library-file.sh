#!/usr/bin/env bash
# What the library file of the build in $1 says of itself: its name, what it needs, what it offers.
set -eu
library=$1/lib/libUplinkFailureDetection.so
fail() { echo "$library: $*" >&2; exit 1; }

dynamic=$(readelf -d --wide "$library")
grep -q 'Library soname: \[libUplinkFailureDetection\.so\.[0-9]*\]' <<<"$dynamic" ||
  fail "no SONAME"
needed=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<<"$dynamic")
for name in $needed; do
  case $name in
    libzet.so.*|libstdc++.so.*|libm.so.*|libgcc_s.so.*|libc.so.*|ld-linux*) ;;
    *) fail "needs $name" ;;
  esac
done
grep -q '^libzet\.so\.' <<<"$needed" || fail "is not linked to libzet"

symbols=$(nm -DC --defined-only "$library")
for name in UplinkFailureDetection::rootFactory UplinkFailureDetection::configFactory \
  UplinkFailureDetection::statusFactory \
  UplinkFailureDetection::Root::uplinkFailureDetectionSmIs; do
  grep -q " T $name(" <<<"$symbols" || fail "does not offer $name"
done
if hidden=$(grep -E ' [TW] UplinkFailureDetection::\(anonymous' <<<"$symbols"); then
  fail "offers what is its own: $hidden"
fi
echo "needs $(tr '\n' ' ' <<<"$needed")"
