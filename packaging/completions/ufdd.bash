# Completes the options of ufdd, and the files behind them.
complete -F _longopt ufdd
