#!/usr/bin/env bash
# manual_test.sh KESTREL MANUAL...: each manual names every option, value and command of the program's help,
# and no option that the program does not have.
set -euo pipefail

kestrel=$1
shift
failures=0

# What the help names: options; the words of "a|b|c"; commands.
help=$("$kestrel" --help)
options=$(grep -oE -- '--[a-z][a-z-]*' <<<"$help" | sort -u)
values=$(grep -oE '[A-Za-z0-9]+(\|[A-Za-z0-9]+)+' <<<"$help" | tr '|' '\n' | sort -u)
commands=$(sed -nE 's/^  kestrel ([a-z]+) .*/\1/p; s/^  kestrel ([a-z]+)$/\1/p' <<<"$help" | sort -u)

# tell WHAT WORDS: those that are left over.
tell() {
    [[ -z $2 ]] && return
    echo "$manual: $1: ${2//$'\n'/ }"
    failures=$((failures + 1))
}

for manual in "$@"; do
    text=$(sed 's/\\-/-/g' "$manual")
    # ffmpeg's and parallel's stand in sentences and examples; ours head a paragraph.
    own=$(grep -E '^\.(B|BR|BI) (")?--' <<<"$text" | grep -oE -- '--[a-z][a-zA-Z-]*' |
        grep -vE '^--(enable-libvmaf|option|openFolder)$' | sort -u)
    tell 'options that are missing' "$(comm -23 <(echo "$options") <(echo "$own"))"
    tell 'options that the program does not have' "$(comm -13 <(echo "$options") <(echo "$own"))"
    for word in $values $commands; do
        grep -qwF -- "$word" <<<"$text" || tell 'a word that is missing' "$word"
    done
done
[[ $failures -eq 0 ]] || exit 1
echo "$(wc -l <<<"$options") options, $(wc -l <<<"$values") values and $(wc -l <<<"$commands") commands stand in" \
    "every manual."
