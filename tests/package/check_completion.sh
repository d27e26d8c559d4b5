#!/usr/bin/env bash
# check_completion.sh TOOL COMPLETION_SCRIPT
#
# Drives the bash completion of vexa-datastore the way bash does: a bash
# subshell loads bash-completion and the script, then calls the function that
# `complete -p vexa-datastore` names with COMP_WORDS and COMP_CWORD set.
set -euo pipefail
tool=$1
completion=$2
bash_completion=/usr/share/bash-completion/bash_completion
if [[ ! -r $bash_completion ]]; then
    echo "FAIL: $bash_completion is missing (install bash-completion: scripts/install-deps.sh --tests)"
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home
mkdir -p "$HOME"
failures=0
# The names come from running the tool, which the completion gives two
# seconds by default; a sanitizer build on a busy machine may take longer.
# These checks are about the names; only the last one is about the limit.
export VEXA_COMPLETION_TIMEOUT=60

# Prints the completions, one a line, of the words given (the last one is the
# word being completed; "" for a new word).
complete_line() {
    bash --norc --noprofile -c '
        source "$1"
        source "$2"
        shift 2
        function=$(complete -p vexa-datastore | sed -n "s/.* -F \([^ ]*\) .*/\1/p")
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        COMP_LINE="$*"
        COMP_POINT=${#COMP_LINE}
        "$function" vexa-datastore "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
        printf "%s\n" "${COMPREPLY[@]}"' _ "$bash_completion" "$completion" "$@" | sed '/^$/d' | sort
}

# expect DESCRIPTION "EXPECTED (space separated, sorted)" WORDS...
expect() {
    local description=$1 expected=$2
    shift 2
    local actual
    actual=$(complete_line "$@" | tr '\n' ' ' | sed 's/ $//')
    if [[ $actual == "$expected" ]]; then
        echo "ok: $description"
    else
        echo "FAIL: $description"
        echo "  words:    $*"
        echo "  expected: $expected"
        echo "  actual:   $actual"
        failures=$((failures + 1))
    fi
}

# expect_includes DESCRIPTION "WORDS THAT MUST BE OFFERED" WORDS...
expect_includes() {
    local description=$1 wanted=$2 word missing=""
    shift 2
    local actual
    actual=" $(complete_line "$@" | tr '\n' ' ') "
    for word in $wanted; do
        [[ $actual == *" $word "* ]] || missing+=" $word"
    done
    if [[ -z $missing ]]; then
        echo "ok: $description"
    else
        echo "FAIL: $description: missing$missing"
        echo "  words:   $*"
        echo "  offered:$actual"
        failures=$((failures + 1))
    fi
}

# Commands and options, straight from --help.
commands=$("$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' | sort | tr '\n' ' ')
expect "every command of --help" "${commands% }" "$tool" ""
expect "a command's beginning" "latest load-sql" "$tool" l
expect "global options before the command" "--utc" "$tool" --u
expect_includes "a command's options and the global ones" \
    "-p --provider -H --host --help --config --format --wide --utc --sort -v --verbose" \
    "$tool" latest -
expect "options after a global option's value" "--html" "$tool" --format csv report --ht
expect "values of --format" "json jsonl" "$tool" --format j
expect "values of --sort" "time" "$tool" summary --sort ""
expect "no command names as a value of an option" "" "$tool" stale --older-than ""

# Names only from a datastore that exists: nothing is created to find them.
expect "no provider names without a datastore" "" "$tool" latest -p ""
if [[ -e $HOME/.vexa ]]; then
    echo "FAIL: completing provider names created $HOME/.vexa"
    failures=$((failures + 1))
fi

"$tool" demo --hosts 3 --providers 3 >/dev/null
expect "provider names" "cpu_load disk_usage uname" "$tool" latest -p ""
expect "provider names after a comma" "cpu_load,disk_usage" "$tool" summary --provider cpu_load,d
expect "host names" "node001 node002 node003" "$tool" select -H ""
expect "host names as the host command's arguments" "node001 node002 node003" "$tool" host node002 node00

# --config on the line names the datastores to ask.
other=$work/other
mkdir -p "$other"
cat >"$other/group.xml" <<XML
<datastores>
  <group path="datastore/quarn64">
    <entry config_path="$other" config_file="other.xml">libsqlite.so</entry>
  </group>
</datastores>
XML
cat >"$other/other.xml" <<XML
<configuration instance_name="other" type="sqlite3" source_types="data"
               source_parameters="source=$other/other.db|read_only=false"/>
XML
"$tool" --config "$other/group.xml" demo --hosts 5 --providers 2 >/dev/null
expect "host names of the datastores of --config" "node001 node002 node003 node004 node005" \
    "$tool" --config "$other/group.xml" latest -H node00

# A datastore that does not answer in time gives no names, quickly.
slow=$work/slow-vexa-datastore
cat >"$slow" <<SH
#!/bin/sh
case " \$* " in *" providers "*) exec sleep 30 ;; esac
exec "$tool" "\$@"
SH
chmod +x "$slow"
started=$SECONDS
VEXA_COMPLETION_TIMEOUT=1
expect "no names from a datastore that does not answer" "" "$slow" latest -p ""
if ((SECONDS - started > 10)); then
    echo "FAIL: completion waited $((SECONDS - started)) s for a datastore that does not answer"
    failures=$((failures + 1))
fi

if ((failures > 0)); then
    echo "$failures completion check(s) failed"
    exit 1
fi
echo "all completion checks passed"
