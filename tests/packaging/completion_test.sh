#!/usr/bin/env bash
# completion_test.sh COMPLETION KESTREL: asks the completion as bash does when somebody presses Tab, and holds
# its options against the program's help. Status 77 where the bash-completion library is missing.
set -uo pipefail

completion=$1 kestrel=$2
library=/usr/share/bash-completion/bash_completion
[[ -r $library ]] || { echo "bash-completion is not installed"; exit 77; }

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/Meine Filme/Serien: Alte" "$folder/planung"
touch "$folder/Meine Filme/"{Film.mkv,Notiz.txt} "$folder/Meine Filme/Serien: Alte/Folge 1.avi" "$folder/Kurz.MP4" \
    "$folder/Text.txt"
cd "$folder" || exit 1

set +u # the library reads variables that bash leaves unset
# shellcheck disable=SC1090
. "$library"
# shellcheck disable=SC1090
. "$completion"
compopt() { :; } # there is no real completion to change

failures=0
failed() {
    echo "FAILED: $1"
    failures=$((failures + 1))
}

# expect WHAT LINE REPLY...: the cursor stands at the end of LINE; a line that ends in a blank begins a word.
expect() {
    local what=$1
    COMP_LINE=$2
    shift 2
    COMP_POINT=${#COMP_LINE}
    read_words "$COMP_LINE"
    COMPREPLY=()
    _kestrel kestrel "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    local got want
    got=$(printf '%s\n' "${COMPREPLY[@]}" | sort)
    want=$(printf '%s\n' "$@" | sort)
    [[ $got == "$want" ]] && return
    failed "$what: $COMP_LINE"
    diff <(echo "$got") <(echo "$want")
}

# Splits as readline does: at blanks, and "=" and ":" are words of their own, unless quoted.
read_words() {
    COMP_WORDS=()
    local line=$1 word='' i c quote='' begun=no
    for ((i = 0; i < ${#line}; i++)); do
        c=${line:i:1}
        if [[ $c == \\ ]]; then
            i=$((i + 1))
            word+=$c${line:i:1} begun=yes
        elif [[ -n $quote ]]; then
            word+=$c
            [[ $c == "$quote" ]] && quote=''
        elif [[ $c == [\ =:] ]]; then
            [[ $begun == yes ]] && COMP_WORDS+=("$word")
            [[ $c == ' ' ]] || COMP_WORDS+=("$c")
            word='' begun=no
        else
            [[ $c == [\"\'] ]] && quote=$c
            word+=$c begun=yes
        fi
    done
    # A value that has just begun after "=" is completed at the "=" itself.
    [[ $begun == no && $line == *[=:] ]] || COMP_WORDS+=("$word")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
}

commands=(plan convert measure clip score doctor)
codecs=(hevcX265 av1SVT keepVideo)

expect 'commands come first' 'kestrel ' "${commands[@]}" --help --version
expect 'a command is completed' 'kestrel co' convert
expect 'a command goes before a folder of that name' 'kestrel pl' plan
expect 'a folder is opened' 'kestrel Mei' 'Meine Filme'
expect 'plan wants a folder' 'kestrel plan ' 'Meine Filme' planung
expect 'clip wants a video or a folder' 'kestrel clip ' 'Kurz.MP4' 'Meine Filme' planung
expect 'score wants a video' 'kestrel score ' 'Kurz.MP4' 'Meine Filme' planung
expect 'score wants another video' 'kestrel score Kurz.MP4 ' 'Kurz.MP4' 'Meine Filme' planung
expect 'score has options of its own' 'kestrel score Kurz.MP4 Kurz.MP4 --' --every --json --length --start
expect 'doctor has no options' 'kestrel doctor --' ''
expect 'an unfinished option' 'kestrel plan planung --j' --json --jobs
expect 'clip has no selection' 'kestrel clip Kurz.MP4 --o' --output
expect 'only measure counts' 'kestrel measure planung --cou' --count
expect 'convert counts nothing' 'kestrel convert planung --cou' ''
expect 'values' 'kestrel plan planung --codec ' "${codecs[@]}"
expect 'values after =' 'kestrel plan planung --codec=' "${codecs[@]}"
expect 'unfinished values after =' 'kestrel plan planung --codec=a' av1SVT
expect 'values before the folder' 'kestrel plan --quality ma' maximal
expect 'a value is no folder' 'kestrel plan --quality high ' 'Meine Filme' planung
expect 'the last language of a list' 'kestrel plan planung --languages deu,en' deu,eng
expect 'a file is completed from its folder' 'kestrel convert Meine\ Filme --only ' - Film.mkv 'Serien: Alte/'
expect 'the folder may be quoted' 'kestrel convert "Meine Filme" --only F' Film.mkv
expect 'below a folder' 'kestrel convert Meine\ Filme --only Serien\:\ Alte/' 'Serien: Alte/Folge 1.avi'
# shellcheck disable=SC2016
expect 'nothing typed is run' 'kestrel convert $(touch${IFS}run) --only F' ''
[[ ! -e run ]] || failed 'the typed word was run'

# Every option of the help, and no other.
options() { grep -oE -- '--[a-z][a-z-]*' | sort -u; }
diff <("$kestrel" --help | options) <(options <"$completion") ||
    failed 'options of the help (<) and of the completion (>)'

[[ $failures -eq 0 ]] || exit 1
echo "The completion answers as expected."
