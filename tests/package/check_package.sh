#!/usr/bin/env bash
# check_package.sh BUILD_ROOT WORK_DIR CONSUMER_SOURCE
#
# Makes the Debian package from the build tree, installs it on this machine
# with apt-get, runs `vexa-datastore demo` from /usr/bin with a fresh HOME and
# a program built with `pkg-config vexa-datastore`, verifies the systemd
# units, then removes the package (only conffiles may stay) and purges it
# (nothing may stay). The package is purged on every exit, failed or not.
set -euo pipefail
build=$1
work=$2
consumer_source=$3
package=vexa-datastore

fail() {
    echo "FAIL: $*"
    exit 1
}
for program in dpkg dpkg-query dpkg-deb apt-get cpack pkg-config c++ systemd-analyze; do
    command -v "$program" >/dev/null ||
        fail "$program is missing: this test makes and installs a Debian package with dpkg and apt"
done
[[ $(id -u) -eq 0 ]] || fail "this test installs the package, so it must run as root"
status_of() { dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true; }
if [[ $(status_of) == *" installed" ]]; then
    fail "$package is installed already; this test installs and purges its own (apt-get purge $package)"
fi

rm -rf "$work"
mkdir -p "$work/home"
purge() {
    if [[ -n $(status_of) ]]; then
        DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq "$package" >/dev/null 2>&1 ||
            dpkg --purge "$package" >/dev/null 2>&1 || true
    fi
}
trap purge EXIT

echo "--- cpack"
cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1 ||
    { cat "$work/cpack.log"; fail "cpack failed"; }
debs=("$work"/${package}_*.deb)
[[ ${#debs[@]} -eq 1 && -f ${debs[0]} ]] || fail "expected one ${package}_*.deb in $work, found: ${debs[*]}"
deb=${debs[0]}
dpkg-deb --info "$deb"
depends=$(dpkg-deb --field "$deb" Depends)
suggests=$(dpkg-deb --field "$deb" Suggests)
for library in libxml2 libsqlite3-0 libodbc2; do
    [[ $depends == *"$library "* || $depends == *"$library" ]] ||
        fail "Depends does not name $library, whose library the package links: $depends"
done
for server in odbc-postgresql postgresql; do
    [[ $depends != *"$server"* ]] || fail "$server must be suggested, not required: $depends"
    [[ $suggests == *"$server"* ]] || fail "Suggests does not name $server: $suggests"
done
expected_conffiles=$'/etc/vexa-datastore/datastores.xml\n/etc/vexa-datastore/default_sqlite.xml'
conffiles=$(dpkg-deb --ctrl-tarfile "$deb" | tar -xOf - ./conffiles | sort)
[[ $conffiles == "$expected_conffiles" ]] || fail "conffiles are: $conffiles"

echo "--- apt-get install ./$(basename "$deb")"
(cd "$work" && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "./$(basename "$deb")") || fail "apt-get install failed"
[[ $(status_of) == "install ok installed" ]] || fail "after installation the status is: $(status_of)"
[[ $(readlink /usr/etc/datastore) == /etc/vexa-datastore ]] ||
    fail "/usr/etc/datastore is not a link to /etc/vexa-datastore"

echo "--- vexa-datastore demo"
[[ $(command -v vexa-datastore) == /usr/bin/vexa-datastore ]] || fail "vexa-datastore is not /usr/bin's"
demo=$(cd "$work" && HOME=$work/home /usr/bin/vexa-datastore demo) || fail "demo failed: $demo"
echo "$demo"
expected="stored 216 records in vexa_default (sqlite3 $work/home/.vexa/2021.4.0/vexa.db (read-write))"
[[ $(head -n 1 <<<"$demo") == "$expected" ]] || fail "demo's first line is not: $expected"

echo "--- a program built with pkg-config vexa-datastore"
# shellcheck disable=SC2046 # the flags are words
c++ -std=c++17 "$consumer_source" -o "$work/consumer" $(pkg-config --cflags --libs vexa-datastore) ||
    fail "building the consumer failed"
consumer=$(HOME=$work/home "$work/consumer") || fail "the consumer failed: $consumer"
echo "$consumer"
expected="vexa_default source=\$HOME/.vexa/2021.4.0/vexa.db|read_only=false /usr/datastore/quarn64/libsqlite.so"
[[ $consumer == "$expected" ]] || fail "the consumer printed not: $expected"

echo "--- man page, completion, systemd units"
[[ $(man -w vexa-datastore) == /usr/share/man/man1/vexa-datastore.1.gz ]] || fail "man -w vexa-datastore"
[[ -f /usr/share/bash-completion/completions/vexa-datastore ]] || fail "no bash completion installed"
units=(vexa-datastore-metrics.service vexa-datastore-metrics.timer
    vexa-datastore-report.service vexa-datastore-report.timer)
(cd /usr/lib/systemd/system && systemd-analyze verify "${units[@]}") ||
    fail "systemd-analyze verify failed on the installed units"
for timer in vexa-datastore-metrics.timer vexa-datastore-report.timer; do
    state=$(systemctl is-enabled "$timer" 2>/dev/null || true)
    [[ $state == disabled ]] || fail "$timer is '$state', not disabled"
done
if command -v systemd-sysusers >/dev/null; then
    getent passwd vexa-datastore >/dev/null || fail "the user vexa-datastore was not created"
fi

files=$(dpkg-query -L "$package")
# Paths that may remain: conffiles (until the purge) and directories that
# hold what is not the package's (its own files are checked one by one).
leftovers() {
    local keep_conffiles=$1 path
    while read -r path; do
        [[ -e $path || -L $path ]] || continue
        if [[ -d $path && ! -L $path ]]; then
            [[ -n $(ls -A "$path") ]] && continue
        elif [[ -n $keep_conffiles && $'\n'$expected_conffiles$'\n' == *$'\n'$path$'\n'* ]]; then
            continue
        fi
        echo "$path"
    done <<<"$files"
}

echo "--- apt-get remove"
DEBIAN_FRONTEND=noninteractive apt-get remove -y -qq "$package" || fail "apt-get remove failed"
[[ $(status_of) == "deinstall ok config-files" ]] || fail "after removal the status is: $(status_of)"
left=$(leftovers keep-conffiles)
[[ -z $left ]] || fail "left after removal: $left"
for conffile in $expected_conffiles; do
    [[ -f $conffile ]] || fail "removal took the conffile $conffile"
done

echo "--- apt-get purge"
DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq "$package" || fail "apt-get purge failed"
[[ -z $(status_of) || $(status_of) == "unknown ok not-installed" ]] ||
    fail "after the purge the status is: $(status_of)"
left=$(leftovers "")
[[ -z $left ]] || fail "left after the purge: $left"
echo "the package installed, ran, and was removed and purged cleanly"
