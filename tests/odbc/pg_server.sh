#!/usr/bin/env bash
# A throwaway PostgreSQL 15 server for the ODBC tests, and the ODBC drivers
# and data sources that reach it, registered in a directory of their own
# (never in /etc).
#
#   pg_server.sh start STATE_DIR   initdb + start on a free loopback port; writes
#                                  STATE_DIR/odbcinst.ini, STATE_DIR/odbc.ini and
#                                  STATE_DIR/port
#   pg_server.sh stop STATE_DIR    stops the server and removes its data
#   pg_server.sh halt STATE_DIR    stops the server, keeping its data
#   pg_server.sh resume STATE_DIR  starts a halted server again on its port
#
# Data and socket live in a fresh directory under /tmp that the server's
# account can reach (the build tree may not be); STATE_DIR/server names it.
# Run as root, the server runs as the `postgres` account.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/server_account.sh"
drivers=/usr/lib/x86_64-linux-gnu/odbc
action=${1:?usage: pg_server.sh start|stop STATE_DIR}
state=${2:?usage: pg_server.sh start|stop STATE_DIR}

stop() {
  stop_server_named_in "$state/server"
}

# Starts the server of `dir` on `port`; false when it will not start.
launch() {
  local dir=$1 port=$2
  as_server "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 30 start \
    -o "-p $port -k $dir/socket -c listen_addresses=127.0.0.1 -c fsync=off \
        -c synchronous_commit=off -c full_page_writes=off -c max_connections=60" \
    >/dev/null 2>&1
}

register() {
  local port=$1 dir=$2
  export ODBCSYSINI=$state ODBCINI=$state/odbc.ini
  rm -f "$state/odbcinst.ini"
  : >"$state/odbc.ini"  # odbcinst adds data sources only to an existing file
  # Drivers by full path, so that nothing depends on /etc/odbcinst.ini.
  odbcinst -i -d -r >/dev/null <<INI
[PostgreSQL]
Description = PostgreSQL Unicode
Driver = $drivers/psqlodbcw.so

[SQLite3]
Description = SQLite 3
Driver = $drivers/libsqlite3odbc.so
INI
  # odbc_default_dsn, vexa_pg and vexa_tool reach one database each;
  # vexa_sqlite is an SQLite file beside the server's data.
  odbcinst -i -s -l -r >/dev/null <<INI
[odbc_default_dsn]
Driver = PostgreSQL
Servername = 127.0.0.1
Port = $port
Username = postgres
Database = vexa_default

[vexa_pg]
Driver = PostgreSQL
Servername = 127.0.0.1
Port = $port
Username = postgres
Database = postgres

[vexa_tool]
Driver = PostgreSQL
Servername = 127.0.0.1
Port = $port
Username = postgres
Database = vexa_tool

[vexa_sqlite]
Driver = SQLite3
Database = $dir/vexa_sqlite.db
INI
}

start() {
  mkdir -p "$state"
  stop
  local dir
  dir=$(mktemp -d /tmp/vexa-pg.XXXXXX)
  echo "$dir" >"$state/server"
  chmod 755 "$dir"
  mkdir "$dir/data" "$dir/socket"
  [ "$(id -u)" -ne 0 ] || chown postgres: "$dir" "$dir/data" "$dir/socket"
  as_server "$bin/initdb" -D "$dir/data" -U postgres -A trust -E UTF8 --locale=C.UTF-8 \
    --no-sync >"$dir/initdb.log" 2>&1 || { cat "$dir/initdb.log" >&2; exit 1; }
  # Trust for everyone but vexa_secret, who must give the password "right".
  { echo "host all vexa_secret 127.0.0.1/32 scram-sha-256"; cat "$dir/data/pg_hba.conf"; } \
    >"$dir/pg_hba.conf"
  cp "$dir/pg_hba.conf" "$dir/data/pg_hba.conf"
  local port tries
  for tries in 1 2 3 4 5 6 7 8 9 10; do
    port=$((20000 + RANDOM % 30000))
    if launch "$dir" "$port"; then
      echo "$port" >"$state/port"
      register "$port" "$dir"
      as_server "$bin/psql" -h "$dir/socket" -p "$port" -U postgres -q postgres >/dev/null <<SQL
CREATE DATABASE vexa_default;
CREATE DATABASE vexa_tool;
CREATE ROLE vexa_secret LOGIN PASSWORD 'right';
SQL
      echo "pg_server: PostgreSQL 15 on 127.0.0.1:$port, data in $dir"
      return 0
    fi
  done
  cat "$dir/server.log" >&2
  echo "pg_server: no PostgreSQL server would start" >&2
  exit 1
}

halt() {
  as_server "$bin/pg_ctl" -D "$(cat "$state/server")/data" -m fast -w stop >/dev/null
}

resume() {
  launch "$(cat "$state/server")" "$(cat "$state/port")"
}

case "$action" in
  start) start ;;
  stop) stop ;;
  halt) halt ;;
  resume) resume ;;
  *) echo "usage: pg_server.sh start|stop|halt|resume STATE_DIR" >&2; exit 2 ;;
esac
