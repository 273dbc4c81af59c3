#!/usr/bin/env bash
# Runs the commands of docs/install.md on a minimal machine under systemd and on its neighbours, and
# checks that each succeeds and prints the lines that are shown.
#   first-steps.sh SOURCE_FOLDER [--print]     --print prints all that the commands print
set -euo pipefail
document=$(realpath "$1/docs/install.md")
. "$(dirname "$0")/machine.sh"
needPackages "$1/build/packages"
enter "$@"
print=${2-}

plug() {
  local port neighbour
  while read -r port neighbour; do
    ip netns add "$neighbour"
    cable "$port" leaf1 netns "$neighbour"
    ip -netns "$neighbour" link set leaf1 up
  done <<<$'uplink1 spine1\nuplink2 spine2\nserver1 host1\nmgmt0 operator'
}
boot
inside sh -c 'cp /packages/ufdd_* /packages/lib* /root'
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8

# Prints the lines of standard input, whatever the time, the columns and the driver's way to shut a port.
plain() {
  sed -E 's/([0-9-]+ )?[0-9:]{8}\.[0-9]+/TIME/g; s/[0-9]+ s\b/SECONDS/g; s/ +/ /g; s/^ //
    s/\((admin )?(proto)?down\)/(DOWN)/' | sort -u
}
# Runs `command` at `at`, if there is one. Waits until a command that only looks prints all that
# is shown.
run() {
  [[ -n $command ]] || return 0
  local on=(inside) missing end=$((SECONDS + 20))
  [[ $at == leaf1 ]] || on=(ip netns exec "$at")
  until
    "${on[@]}" bash -c "cd && $command" >"$scratch/printed" 2>&1 </dev/null ||
      fail "$at# $command: $(cat "$scratch/printed")"
    missing=$(comm -23 <(plain <<<"$shown") <(plain <"$scratch/printed"))
    [[ -z $missing ]]
  do
    [[ $command =~ show|journalctl|explain|carrier ]] && ((SECONDS < end)) ||
      fail "$at# $command"$'\n'"$(cat "$scratch/printed")"$'\n'"lacks:"$'\n'"$missing"
    sleep .2
  done
  [[ ${print-} != --print ]] || printf '    %s# %s\n%s\n' "$at" "$command" "$(sed 's/^/    /' "$scratch/printed")"
  ((++count))
}
SECONDS=0
count=0
command=
while IFS= read -r line; do
  if [[ $line =~ ^\ {4}([a-z0-9]+)#\ (.*) ]]; then
    run
    at=${BASH_REMATCH[1]} command=${BASH_REMATCH[2]} shown=
  elif [[ $line == '    '* ]]; then
    shown+=${line:4}$'\n'
  elif [[ -n $line ]]; then
    run
    command=
  fi
done <"$document"
run
((count > 0)) || fail "$document has no commands"
echo "$count commands do what $document shows, in $SECONDS s"
