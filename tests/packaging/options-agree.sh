#!/usr/bin/env bash
# The options a program lists in --help, the ones its man page explains and the ones the
# shell completions offer must be the same: a new option has to reach all of them.
#   options-agree.sh DATA_DIR KELVORA_CLI [KELVORA]
set -euo pipefail
data=$1 cli=$2 app=${3:-}
failed=0

sorted() { tr ' ' '\n' | grep . | sort -u | tr '\n' ' '; }
from_help() { "$1" --help | grep -oE '^  (-h, )?--[a-z-]+' | grep -oE -- '--[a-z-]+' | sorted; }
# The word after each .TP of a man page: where roff lists an option.
from_man() {
    awk 'previous == ".TP" { print } { previous = $0 }' "$1" | tr -d '\\' |
        grep -oE -- '--[a-z-]+' | sorted
}
from_words() { grep -oE -- '--[a-z][a-z-]*' "$1" | sorted; }
from_fish() { grep -oE -- '-l [a-z-]+' "$1" | sed 's/^-l /--/' | sorted; }

agree() {
    local what=$1 expected=$2 found=$3
    if [ "$expected" != "$found" ]; then
        echo "$what differs from --help:" >&2
        echo "  --help: $expected" >&2
        echo "  $what: $found" >&2
        failed=1
    fi
}

cli_options=$(from_help "$cli")
[ -n "$cli_options" ] || { echo "no options read from $cli --help" >&2; exit 1; }
agree "man/kelvora-cli.1" "$cli_options" "$(from_man "$data/man/kelvora-cli.1")"
agree "bash completion" "$cli_options" "$(from_words "$data/completions/kelvora-cli.bash")"
agree "zsh completion" "$cli_options" "$(from_words "$data/completions/_kelvora-cli")"
agree "fish completion" "$cli_options" "$(from_fish "$data/completions/kelvora-cli.fish")"
if [ -n "$app" ]; then
    agree "man/kelvora.1" "$(from_help "$app")" "$(from_man "$data/man/kelvora.1")"
fi
exit $failed
