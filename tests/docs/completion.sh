#!/bin/bash
# The completion of the command line offers every subcommand and every option that --help names.
#   completion.sh COMPLETION DIRECTORY-OF-MCGW
set -eu
PATH=$2:$PATH
# shellcheck source=/dev/null
. "$1"

failures=0

# offered WORD...: what is offered for the last word, one a line.
offered() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _mcgw
    printf '%s\n' "${COMPREPLY[@]}"
}

# expect WANTED WORD...: WANTED is among what is offered.
expect() {
    local wanted=$1
    shift
    if ! offered "$@" | grep -qxF -e "$wanted"; then
        echo "not offered after '$*': $wanted" >&2
        failures=$((failures + 1))
    fi
}

subcommands=$(mcgw --help | sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z-]*\) .*/\1/p')
[ "$(wc -w <<<"$subcommands")" -ge 4 ]
for subcommand in $subcommands; do
    expect "$subcommand" mcgw "${subcommand:0:1}"
    options=$(mcgw "$subcommand" --help | grep -oE '^  (-[a-z],)?--[a-z-]+' | grep -oE -e '--[a-z-]+')
    for option in $options; do
        expect "$option" mcgw "$subcommand" "${option:0:4}"
    done
done
expect drop: mcgw dsp --fault d
expect 2 mcgw call --log-level ""

# What is typed already is kept to.
if offered mcgw ca | grep -qvE '^ca'; then
    echo "offered after 'mcgw ca': $(offered mcgw ca | tr '\n' ' ')" >&2
    failures=$((failures + 1))
fi
[ "$failures" -eq 0 ]
