# Completes the commands, options, groups, links and ports of ufdctl.
function __ufdctl_complete
    set -l words (commandline --tokenize --current-process --cut-at-cursor)
    ufdctl complete $words[2..] (commandline --current-token --cut-at-cursor) 2>/dev/null
end
complete --command ufdctl --no-files --arguments '(__ufdctl_complete)'
complete --command ufdctl --long-option socket --require-parameter --force-files
