#!/usr/bin/env bash
# Checks that check-includes finds a wrong include in each room, and lets a right one pass.
#   check-includes.sh CHECK_INCLUDES
set -euo pipefail
check=$(realpath "$1")
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
cd "$tree"
mkdir cmake
printf '%s/B.h\n' adapters/attrlog host sm >cmake/PublicHeaders.txt

failures=0
expect() { # passes|fails FILE INCLUDE
  mkdir -p platform adapters model sm host agent "$(dirname "$2")"
  echo "#include \"$3\"" >"$2"
  result=fails
  said=$("$check" "$tree") && result=passes
  rm "$2"
  [[ $result == "$1" && ($result == passes || $said == "$2:1: "*) ]] || {
    echo "$2 with $3 $result; expected: $1. $said"
    failures=$((failures + 1))
  }
}

# ROOM RIGHT WRONG
tried=
while read -r room right wrong; do
  tried+="$room"$'\n'
  expect passes "$room/A.h" "$right/B.h"
  expect fails "$room/A.h" "$wrong/B.h"
done <<'END'
platform/zet          platform/zet          platform/zet/types
platform/zet/types    platform/zet          platform/zet/generic
platform/zet/generic  platform/zet/types    platform/zet/attrlog
platform/zet/attrlog  platform/zet          platform/zet/generic
platform/kelnet       platform/zet/attrlog  platform/interface
platform/interface    platform/kelnet       model
platform/errdisable   adapters/notify       platform/interface
adapters/notify       platform/zet/types    platform/interface
adapters/attrlog      model                 sm
adapters/reflect      sm                    adapters/attrlog
model                 platform/interface    sm
sm                    model                 adapters/attrlog
host                  model                 sm
agent/base            platform/zet          platform/kelnet
agent/kernel          agent/base            agent/detect
agent/reflected       adapters/attrlog      agent/base
agent/config          agent/kernel          agent/detect
agent/orders          agent/state           agent/detect
agent/detect          host                  agent/ports
agent/checks          agent/detect          agent/ports
agent/ports           agent/detect          agent/config
agent/state           adapters/attrlog      agent/base
agent/status          sm                    agent/detect
agent/control         agent/base            agent/state
agent/ctl             agent/status          agent/kernel
agent/runner          agent/control         agent/detect
agent/demo            agent/kernel          agent/detect
agent                 agent/ports           agent/ctl
END
rooms=$(sed -n 's/^\([a-z/]*[a-z]\) *:.*/\1/p' "$check" | sort -u)
untried=$(comm -23 <(echo "$rooms") <(sort <<<"$tried"))
[[ -n $rooms && -z $untried ]] || {
  echo "not tried:" $untried
  failures=$((failures + 1))
}
# A room below one that may be included, a source beside a header, and a room without a rule.
expect passes platform/zet/A.cpp platform/zet/types/B.h
expect fails platform/zet/A.cpp platform/kelnet/B.h
expect fails agent/detect/A.cpp agent/ports/B.h
expect fails agent/detect/A.cpp host/Detail.h
expect fails agent/new/A.h agent/new/B.h
exit $((failures > 0))
