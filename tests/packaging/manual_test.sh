#!/usr/bin/env bash
# manual_test.sh KESTREL MANUAL...: each manual has a paragraph for every option and command of the program's help,
# headed by the option's values, and none for what the program does not have.
set -euo pipefail

kestrel=$1
shift
failures=0

# What the help names: options; "--option a|b|c"; commands.
help=$("$kestrel" --help)
options=$(grep -oE -- '--[a-z][a-z-]*' <<<"$help" | sort -u)
choices=$(grep -oE -- '--[a-z-]+ [A-Za-z0-9]+(\|[A-Za-z0-9]+)+' <<<"$help" | sort -u)
commands=$(sed -nE 's/^  kestrel ([a-z]+)( .*)?$/\1/p' <<<"$help" | sort -u)
[[ -n $options && -n $choices && -n $commands ]] || { echo "The help is not understood."; exit 1; }

# compare WHAT HELP MANUAL: two sorted lists.
compare() {
    diff <(echo "$2") <(echo "$3") && return
    echo "$manual: $1 of the help (<) and of the manual (>)"
    failures=$((failures + 1))
}

for manual in "$@"; do
    # The first line of each paragraph. Not told to users: --openFolder.
    heads=$(sed 's/\\-/-/g' "$manual" | grep -A 1 -x '\.TP' | grep '^\.B')
    compare options "$options" "$(grep -oE -- '--[a-z][a-zA-Z-]*' <<<"$heads" | grep -vx -- --openFolder | sort -u)"
    compare commands "$commands" "$(sed -nE 's/^\.BI? ([a-z]+).*/\1/p' <<<"$heads" | sort -u)"
    while IFS=' |' read -r option values; do
        compare "values of $option" "$(tr '|' '\n' <<<"$values" | sort)" \
            "$(sed -nE "s/^\.BR $option \" \" //p" <<<"$heads" | tr -d ' ' | tr '|' '\n' | sort)"
    done <<<"$choices"
done
[[ $failures -eq 0 ]] || exit 1
echo "$(wc -l <<<"$options") options, those with values among them, and $(wc -l <<<"$commands") commands head a" \
    "paragraph of every manual."
