#!/usr/bin/env bash
# Checks the sources of the manual pages against the programs of a build folder: that the pages have
# each key, range, command, option and message id of the programs, and no others; that the examples
# for the keys are valid; and that the pages are set without warnings.
#   manual.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
source=$1
bin=$2/bin
man=$source/docs/man
for tool in scdoc man; do
  command -v "$tool" >/dev/null || {
    echo "skipped: there is no $tool"
    exit 77
  }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
status=0
complain() {
  echo "$*"
  status=1
}
# same PAGE THINGS OF_THE_PROGRAM OF_THE_PAGE: two lists, a line each
same() {
  local one
  while read -r one; do complain "docs/man/$1.scd lacks one of the $2: $one"; done \
    < <(comm -23 <(sort -u <<<"$3") <(sort -u <<<"$4"))
  while read -r one; do complain "docs/man/$1.scd has one of the $2 that is none: $one"; done \
    < <(comm -13 <(sort -u <<<"$3") <(sort -u <<<"$4"))
}
# Prints the lines of a page from the heading to the next heading of its kind.
section() { awk -v "from=$2" '/^#[^#]/ { on = $0 == from } on' "$man/$1.scd"; }

# Says what is wrong with a configuration, read from standard input.
findings() {
  cat >"$scratch/ufdd.toml"
  "$bin/ufdd" --check "$scratch/ufdd.toml" 2>&1 || true
}
# keys IN SECTION FIRST_LINES: checks the keys that may follow these lines.
keys() {
  local page key line entry range to
  page=$(section ufdd.toml.5 "$2")
  same ufdd.toml.5 "keys in $1" "$(printf '%b%s\n' "$3" 'not_a_key_at_all_here = 1' | findings |
    sed -n "s/.*unknown key .* in $1; expected //p" | sed 's/, /\n/g')" \
    "$(sed -n 's/^\*\([a-z_]*\)\*$/\1/p' <<<"$page")"
  line=$(($(printf '%b' "$3" | wc -l) + 1))
  for key in $(sed -n 's/^\*\([a-z_]*\)\*$/\1/p' <<<"$page"); do
    entry=$(awk -v "key=*$key*" '/^[*]/ { on = $0 == key } on' <<<"$page" | sed 's/++$//')
    range=$(printf '%b%s = {}\n' "$3" "$key" | findings | grep "^[^ ]*:$line:" |
      sed "s/^[^ ]* expected //; s/^$key to be //; s/, $key = .*//; s/, not .*//")
    grep -qxF "	Range: $range" <<<"$entry" ||
      complain "docs/man/ufdd.toml.5.scd should have for $key: Range: $range"
    # A share is given in place of a number.
    # Each kind of check has keys of its own.
    case $1.$key in
      *_percent) to=shares ;;
      "a check.address") to=neighbour ;;
      "a check.command" | "a check.interval" | "a check.timeout") to=command ;;
      *) to=example ;;
    esac
    sed -n 's/^Example: //p' <<<"$entry" | sed -E 's/^\[\[(group|check)\]\]$//' >>"$scratch/$to.toml"
  done
}
keys "the file" "# KEYS OF THE FILE" ''
echo '[[group]]' >>"$scratch/example.toml"
keys "a group" "# KEYS OF A GROUP" '[[group]]\n'
echo -e "[[group]]\nname = 'shares'\nmonitor = [ 'uplink1' ]\ndisable = []" >>"$scratch/example.toml"
cat "$scratch/shares.toml" >>"$scratch/example.toml"
echo '[[check]]' >>"$scratch/example.toml"
keys "a check" "# KEYS OF A CHECK" '[[check]]\n'
for kind in neighbour command; do
  echo -e "[[check]]\nname = '$kind'\nkind = '$kind'\nuplinks = [ 'uplink1' ]"
  cat "$scratch/$kind.toml"
done >>"$scratch/example.toml"
"$bin/ufdd" --check "$scratch/example.toml" >"$scratch/findings" 2>&1 ||
  complain "the examples of docs/man/ufdd.toml.5.scd are wrong: $(cat "$scratch/findings")"
while read -r text; do
  grep -qrF -- "$text" "$source/agent" || complain "ufdd never says \"$text\" (docs/man/ufdd.toml.5.scd)"
done < <(section ufdd.toml.5 "# CHECKS" | grep '^\*' | grep -o '\*[^*]*\*' | tr -d '*')

optionsOf() { sed -nE 's/^ +(-[a-zA-Z0-9],)?(--[a-z-]+).*/\2/p' <<<"$1"; }
optionsOn() { grep -oE -- '\*--[a-z-]+\*' "$man/$1.scd" | tr -d '*'; }
help=$("$bin/ufdd" --help)
same ufdd.8 options "$(optionsOf "$help")" "$(optionsOn ufdd.8)"
help=$("$bin/ufdd-checks" --help)
same ufdd-checks.8 options "$(optionsOf "$help")" "$(optionsOn ufdd-checks.8)"
help=$("$bin/ufdctl" --help)
commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]\+\) .*/\1/p' <<<"$help")
same ufdctl.8 commands "$commands" \
  "$(section ufdctl.8 "# COMMANDS" | sed -nE 's/^\*([a-z][a-z-]*)\*.*/\1/p')"
for command in $commands; do help+=$'\n'$("$bin/ufdctl" "$command" --help); done
same ufdctl.8 options "$(optionsOf "$help")" "$(optionsOn ufdctl.8)"

idsIn() { grep -oE '\b[0-9a-f]{32}\b' "$1"; }
same ufdd.8 "message ids" "$(idsIn "$source/agent/base/JournalLog.cpp")" "$(idsIn "$man/ufdd.8.scd")"

for page in ufdd.8 ufdctl.8 ufdd-checks.8 ufdd.toml.5; do
  scdoc <"$man/$page.scd" >"$scratch/$page"
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings --local-file -Tutf8 -Z "$scratch/$page" 2>&1 >/dev/null)
  [[ -z $warnings ]] || complain "$warnings"
done
exit $status
