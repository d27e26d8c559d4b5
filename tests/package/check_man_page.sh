#!/usr/bin/env bash
# check_man_page.sh TOOL MAN_PAGE
#
# The man page must carry the whole command line: every command that
# `TOOL --help` lists, with a section of its own, and every option of
# `TOOL --help` and of each `TOOL COMMAND --help`, as man shows the page.
set -euo pipefail
tool=$1
page=$2
if [[ ! -f $page ]]; then
    echo "FAIL: no man page at $page (help2man was missing when the build was configured:" \
        "scripts/install-deps.sh --tests installs it)"
    exit 1
fi
if ! command -v man >/dev/null; then
    echo "FAIL: man is not installed, so the page cannot be shown"
    exit 1
fi

shown=$(MANWIDTH=250 man --no-hyphenation --no-justification -l "$page" 2>&1)
failures=0
missing() {
    echo "FAIL: $1"
    failures=$((failures + 1))
}

options_of() {
    "$tool" "$@" --help | sed 's/^\(  -[^ ]*\), /\1,/' | sed -n 's/^  \(-[^ ]*\).*/\1/p' |
        tr ',' '\n' | sed '/^$/d'
}

commands=$("$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p')
if [[ $(wc -l <<<"$commands") -lt 16 ]]; then
    missing "--help lists fewer than 16 commands: $commands"
fi
for option in $(options_of); do
    grep -qF -e "$option" <<<"$shown" || missing "option $option of --help is not in the man page"
done
count=0
for command in $commands; do
    grep -qx "   $command" <<<"$shown" || missing "command $command has no section in the man page"
    grep -qF "Usage: vexa-datastore $command " <<<"$shown" ||
        missing "the usage of $command is not in the man page"
    for option in $(options_of "$command"); do
        grep -qF -e "$option" <<<"$shown" ||
            missing "option $option of $command --help is not in the man page"
        count=$((count + 1))
    done
done
for section in NAME SYNOPSIS OPTIONS COMMANDS CONFIGURATION ENVIRONMENT FILES "EXIT STATUS"; do
    grep -qx "$section" <<<"$shown" || missing "the man page has no $section section"
done

if ((failures > 0)); then
    echo "$failures man page check(s) failed"
    exit 1
fi
echo "the man page carries $(wc -w <<<"$commands") commands and $count command options"
