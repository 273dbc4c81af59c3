#!/usr/bin/env bash
# Checks what the completions offer in each shell that is there, beside a ufdd that runs in a network
# namespace of the test's own.
#   completion.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
if [[ ${3-} != inside ]]; then
  ((EUID == 0)) && unshare --net true || {
    echo "skipped: no network namespace can be made"
    exit 77
  }
  exec unshare --net "$0" "$(realpath "$1")" "$(realpath "$2")" inside
fi
completions=$1/packaging/completions
export PATH=$2/bin:$PATH
scratch=$(mktemp -d)
trap 'kill "$ufdd" 2>/dev/null; wait; rm -rf "$scratch"' EXIT
socket=$scratch/status
printf '%s\n' '[[group]]' 'name = "rack 1"' 'monitor = ["u1"]' 'disable = ["d1", "d2"]' \
  '[[group]]' 'name = "row"' 'monitor = ["d1"]' 'disable = ["e1"]' >"$scratch/ufdd.toml"
mkdir "$scratch/state"
ufdd --config "$scratch/ufdd.toml" --state-dir "$scratch/state" --socket "$socket" 2>"$scratch/log" &
ufdd=$!
until grep -qs watching "$scratch/log"; do
  kill -0 "$ufdd" || { cat "$scratch/log"; exit 1; }
  sleep .02
done

# Each of these prints what the shell offers for the last of the words.
inBash() {
  bash -c '. "$0/ufdctl.bash"; COMP_WORDS=(ufdctl "$@"); COMP_CWORD=$#; _ufdctl
    printf "%s\n" "${COMPREPLY[@]}"' "$completions" "$@"
}
inZsh() {
  zsh -fc 'compadd() { shift; print -l -- "$@" }; _files() { print FILES }
    words=(ufdctl "$@") CURRENT=$(($# + 1)); source "$0/_ufdctl"' "$completions" "$@"
}
inFish() {
  local line
  printf -v line ' %q' "$@"
  fish --no-config -c 'source $argv[1]/ufdctl.fish; complete --do-complete "ufdctl$argv[2]"' \
    "$completions" "${line/%\'\'/}"
}
status=0
# offers EXPECTED WORD...: the offers for the last word, with commas between
offers() {
  local expected=$1 found shell
  shift
  for shell in Bash Zsh Fish; do
    command -v "${shell,}" >/dev/null || continue
    found=$("in$shell" "$@" | tr -d '\\' | sort | paste -sd,)
    [[ ${found/FILES/} == "$expected" ]] || {
      echo "$shell offers \"$found\" for \"ufdctl $*\", not \"$expected\""
      status=1
    }
  done
}
offers show sh
offers --socket show --so
offers "rack 1,row" --socket "$socket" show ""
offers "rack 1" --socket "$socket" show "ra"
offers "" --socket "$socket" show "rx"
offers d1,d2 --socket "$socket" explain d
offers up wait row u
offers "rack 1,row" --socket "$socket" disable row r
offers "d1,d2,e1,rack 1,row" --socket "$socket" down d1 ""
offers d1,u1 --socket "$socket" what-if --down d1,u
exit $status
