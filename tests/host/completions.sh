#!/bin/bash
# What the completion scripts offer, in each shell that is there: completions.sh SYMHOST SAMPLES
set -u
symhost=$(realpath "$1")
cd "$2"
PATH=$(dirname "$symhost"):$PATH
failed=0

# expect NAME OFFERED WORD...: among what is offered, one a line, is each word; none if it is -NONE-.
expect() {
    local name=$1 offered=$2 word
    shift 2
    for word in "$@"; do
        if [[ $word == -NONE- ]]; then
            [[ -z $offered ]] && continue
        elif grep -qxF -e "$word" <<<"$offered"; then
            continue
        fi
        printf '%s: not offered: %s, but:\n%s\n' "$name" "$word" "$offered"
        failed=1
    done
}

source <("$symhost" completions bash)
# in_bash WORD...: what is offered for the last word
in_bash() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _symhost 2>/dev/null
    printf '%s\n' "${COMPREPLY[@]}" | sed '/^$/d'
}
expect bash "$(in_bash symhost un)" units
expect bash "$(in_bash symhost completio)" -NONE-
expect bash "$(in_bash symhost help rat)" rate
expect bash "$(in_bash symhost --module x fi)" find
expect bash "$(in_bash symhost units stat)" station.axf station-be.axf
expect bash "$(in_bash symhost functions --un)" --unit
expect bash "$(in_bash symhost units --un)" -NONE-
expect bash "$(in_bash symhost units --color = al)" always
expect bash "$(in_bash symhost --convert n)" never
expect bash "$(in_bash symhost console station.axf --load sym)" symbols
expect bash "$(in_bash symhost find --regex station.axf clamp station_)" station_main
expect bash "$(in_bash symhost scopes none.axf station_)" -NONE-

if command -v fish >/dev/null; then
    in_fish() {
        fish --no-config -c "symhost completions fish | source; complete -C '$1'" | cut -f1
    }
    expect fish "$(in_fish 'symhost un')" units
    expect fish "$(in_fish 'symhost units --color al')" always
    expect fish "$(in_fish 'symhost functions --un')" --unit
    expect fish "$(in_fish 'symhost find station.axf station_')" station_main
    expect fish "$(in_fish 'symhost units stat')" station.axf
fi

if command -v zsh >/dev/null; then
    # Its completion needs a terminal and a person; this sees that what it is told is well-formed.
    symhost completions zsh | zsh -n || failed=1
    offered=$(zsh -f -c '
        _arguments() { print -rl -- "$@"; [[ $1 != -C ]] }
        state=words
        words=(functions)
        source =(symhost completions zsh | sed "s/local context state state_descr line/local line/")' 2>&1)
    expect zsh "$offered" '--color=[Colours in tables; auto, the default\: on a terminal]:auto|always|never:(auto always never)' \
        '*:FILE:_files'
fi
exit $failed
