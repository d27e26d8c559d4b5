#!/usr/bin/env bash
# config_check.sh TOOL BUILD_ROOT NO_DESTROY_PLUGIN
#
# Runs `vexa-datastore config check` on the shipped configuration, on broken
# ones and without any, comparing its whole output and exit status, and makes
# sure that it never creates a datastore file.
set -uo pipefail
tool=$1
build=$(realpath "$2")
no_destroy=$(realpath "$3")
plugins=$build/datastore/quarn64

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
work=$(realpath "$work")
export HOME=$work/home
mkdir -p "$HOME"
unset VEXA_DATASTORE_CONFIG
failures=0
found="ELF shared object, exports create, destroy, vexa_plugin_interface_version"

# expect DESCRIPTION STATUS EXPECTED_STDOUT EXPECTED_STDERR ARGS...
expect() {
    local description=$1 status=$2 out=$3 err=$4
    shift 4
    "$tool" "$@" >"$work/out" 2>"$work/err"
    local actual=$?
    if [[ $actual != "$status" ]] ||
        ! diff -u <(printf '%s' "$out") "$work/out" ||
        ! diff -u <(printf '%s' "$err") "$work/err"; then
        echo "FAIL: $description (exit status $actual, expected $status)"
        failures=$((failures + 1))
    else
        echo "ok: $description"
    fi
}

# instance FILE NAME TYPE SOURCE_PARAMETERS: an instance file, its root on line 1.
instance() {
    printf '<configuration instance_name="%s" type="%s" source_types="data" source_parameters="%s"/>\n' \
        "$2" "$3" "$4" >"$work/$1"
}

# group FILE PLUGIN_DIR ENTRY...: a group document, entry i on line 2 + i, each
# ENTRY "PLUGIN_FILE INSTANCE_FILE".
group() {
    local file=$work/$1 dir=$2
    shift 2
    {
        echo '<datastores>'
        echo "  <group path=\"$dir\">"
        for entry in "$@"; do
            echo "    <entry config_path=\"$work\" config_file=\"${entry#* }\">${entry%% *}</entry>"
        done
        echo '  </group>'
        echo '</datastores>'
    } >"$file"
}

expect "the shipped group document" 0 \
    "vexa_default: sqlite3, plug-in $plugins/libsqlite.so ($found), source=\$HOME/.vexa/2021.4.0/vexa.db|read_only=false: ok
" "" --config "$build/etc/datastore/datastores.xml" config check

expect "no configuration at all: the default instance" 0 \
    "vexa_default: sqlite3, plug-in $plugins/libsqlite.so ($found), read_only=false|source=\"\$HOME/.vexa/2021.4.0/vexa.db\": ok
" "" config check

instance good.xml cluster sqlite3 "source=$work/cluster.db|read_only=true|synchronous=full"
instance central.xml central odbc "Driver=PostgreSQL;Server=db1|read_only=false|timeout=2.5"
instance limited.xml limited sqlite3 "timeout=0.5|source=$work/limited.db"
group sound.xml "$plugins" "libsqlite.so good.xml" "libodbc.so central.xml" "libsqlite.so limited.xml"
VEXA_DATASTORE_CONFIG=$work/sound.xml expect "a sound group document named by the variable" 0 \
    "cluster: sqlite3, plug-in $plugins/libsqlite.so ($found), source=$work/cluster.db|read_only=true|synchronous=full: ok
central: odbc, plug-in $plugins/libodbc.so ($found), Driver=PostgreSQL;Server=db1|read_only=false|timeout=2.5: ok
limited: sqlite3, plug-in $plugins/libsqlite.so ($found), timeout=0.5|source=$work/limited.db: ok
" "" config check

mkdir -p "$work/plugins"
echo "not a library" >"$work/plugins/libtext.so"
head -c 4096 "$plugins/libsqlite.so" >"$work/plugins/libcut.so"
instance misspelt.xml misspelt sqlite3 "sorce=$work/misspelt.db"
instance yes.xml yes sqlite3 "source=$work/yes.db|read_only=yes"
instance odbc_yes.xml odbc_yes odbc "central_dsn|read_ony=true"
instance soon.xml soon sqlite3 "source=$work/soon.db|timeout=soon"
instance bad_type.xml bad_type sqlite "source=$work/bad_type.db"
group faulty.xml "$plugins" "libsqlite.so good.xml" "libsqlite.so missing.xml" \
    "libsqlite.so bad_type.xml" "libnothing.so good.xml" "libsqlite.so misspelt.xml" \
    "libsqlite.so yes.xml" "libodbc.so odbc_yes.xml" "libsqlite.so soon.xml"
expect "a faulty group document: every entry, each fault with its place" 1 \
    "cluster: sqlite3, plug-in $plugins/libsqlite.so ($found), source=$work/cluster.db|read_only=true|synchronous=full: ok
$work/faulty.xml:4: libsqlite.so: Error opening datastore configuration (cannot read $work/missing.xml: No such file or directory)
$work/bad_type.xml:1: bad_type: Invalid value for attribute type sqlite
$work/faulty.xml:6: cluster: plug-in $plugins/libnothing.so: No such file or directory
$work/misspelt.xml:1: misspelt: unknown source key 'sorce'; did you mean 'source'?
$work/yes.xml:1: yes: read_only must be false or true, not \"yes\"
$work/odbc_yes.xml:1: odbc_yes: unknown source key 'read_ony'; did you mean 'read_only'?
$work/soon.xml:1: soon: timeout must be seconds such as 5 or 0.25, not \"soon\"
" "" config check --config "$work/faulty.xml"

group not_plugins.xml "$work/plugins" "libtext.so good.xml" "libcut.so good.xml"
expect "plug-in files that are no shared object or are cut short" 1 \
    "$work/not_plugins.xml:3: cluster: plug-in $work/plugins/libtext.so: not an ELF file
$work/not_plugins.xml:4: cluster: plug-in $work/plugins/libcut.so: truncated ELF file: the section header table beyond the end of the file (4096 bytes)
" "" --config "$work/not_plugins.xml" config check

group no_destroy.xml "$(dirname "$no_destroy")" "$(basename "$no_destroy") good.xml"
expect "a shared object without destroy" 1 \
    "$work/no_destroy.xml:3: cluster: plug-in $no_destroy: an ELF shared object that does not export destroy
" "" --config "$work/no_destroy.xml" config check

{
    echo '<datastores>'
    echo "  <group path=\"$plugins\">"
    echo "    <entry config_path=\"$work\" config_file=\"good.xml\">libsqlite.so</entry>"
    echo '    <entry config_file="">libsqlite.so</entry>'
    echo "    <entry config_path=\"$work\" config_file=\"good.xml\">libsqlite.so</entry>"
    echo '  </group>'
    echo '</datastores>'
} >"$work/stopped.xml"
expect "an entry that ends the library's walk" 1 \
    "cluster: sqlite3, plug-in $plugins/libsqlite.so ($found), source=$work/cluster.db|read_only=true|synchronous=full: ok
$work/stopped.xml:4: Invalid file attribute; loading reads no entry from here on
" "" --config "$work/stopped.xml" config check

printf '<datastores>\n  <group path="x">\n    <entry a="1" a="2">libsqlite.so</entry>\n  </group>\n</datastores>\n' >"$work/broken.xml"
"$tool" --config "$work/broken.xml" config check >"$work/out" 2>"$work/err"
status=$?
if [[ $status == 1 && ! -s $work/out ]] &&
    grep -q "^vexa-datastore: configuration file $work/broken.xml is not valid XML: $work/broken.xml:3: " "$work/err"; then
    echo "ok: a group document that is not XML, with the line"
else
    echo "FAIL: a group document that is not XML (exit status $status)"
    cat "$work/out" "$work/err"
    failures=$((failures + 1))
fi

printf '<configuration instance_name="x"\n' >"$work/cut.xml"
group cut_instance.xml "$plugins" "libsqlite.so cut.xml"
"$tool" --config "$work/cut_instance.xml" config check >"$work/out" 2>"$work/err"
status=$?
if [[ $status == 1 && ! -s $work/err ]] &&
    grep -q "^$work/cut_instance.xml:3: libsqlite.so: Error opening datastore configuration ($work/cut.xml:[0-9]*: " "$work/out"; then
    echo "ok: an instance file that is not XML"
else
    echo "FAIL: an instance file that is not XML (exit status $status)"
    cat "$work/out" "$work/err"
    failures=$((failures + 1))
fi

expect "a group document that is missing" 1 "" \
    "vexa-datastore: cannot read configuration file $work/absent.xml: No such file or directory
" config check --config "$work/absent.xml"

created=$(find "$work" -name '*.db*')
if [[ -z $created && ! -e $HOME/.vexa ]]; then
    echo "ok: no datastore file was created"
else
    echo "FAIL: config check created files: $created $(ls -d "$HOME/.vexa" 2>/dev/null)"
    failures=$((failures + 1))
fi

exit $((failures > 0))
