# Completes the commands, options, groups, links and ports of ufdctl.
_ufdctl() {
  local word
  COMPREPLY=()
  while IFS= read -r word; do
    printf -v word %q "$word"
    COMPREPLY+=("$word")
  done < <(ufdctl complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -o default -F _ufdctl ufdctl
