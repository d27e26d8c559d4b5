#!/usr/bin/env bash
# A throwaway streaming hot standby of a server that pg_server.sh started,
# made with pg_basebackup -R, and a data source that reaches it.
#
#   pg_standby.sh start STATE_DIR   copies the server of STATE_DIR and starts the
#                                   copy as its standby on a free loopback port;
#                                   writes STATE_DIR/standby and
#                                   STATE_DIR/standby_port and adds the data source
#                                   vexa_standby (database postgres) to
#                                   STATE_DIR/odbc.ini
#   pg_standby.sh stop STATE_DIR    stops the standby and removes its data
#
# Data and socket live in a fresh directory under /tmp; run as root, the
# standby runs as the `postgres` account.
set -euo pipefail

source "$(dirname "${BASH_SOURCE[0]}")/server_account.sh"
action=${1:?usage: pg_standby.sh start|stop STATE_DIR}
state=${2:?usage: pg_standby.sh start|stop STATE_DIR}

stop() {
  stop_server_named_in "$state/standby"
  rm -f "$state/standby_port"
}

start() {
  [ -f "$state/port" ] || { echo "pg_standby: no server in $state" >&2; exit 1; }
  stop
  local dir port
  dir=$(mktemp -d /tmp/vexa-pg-standby.XXXXXX)
  echo "$dir" >"$state/standby"
  chmod 755 "$dir"
  mkdir "$dir/socket"
  [ "$(id -u)" -ne 0 ] || chown postgres: "$dir" "$dir/socket"
  # -R writes standby.signal and the primary's address into the copy.
  as_server "$bin/pg_basebackup" -h 127.0.0.1 -p "$(cat "$state/port")" -U postgres \
    -D "$dir/data" -R -X stream -c fast --no-sync >"$dir/basebackup.log" 2>&1 ||
    { cat "$dir/basebackup.log" >&2; exit 1; }
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    port=$((20000 + RANDOM % 30000))
    if as_server "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 30 start \
      -o "-p $port -k $dir/socket -c listen_addresses=127.0.0.1 -c hot_standby=on \
          -c fsync=off -c max_connections=60" >/dev/null 2>&1; then
      echo "$port" >"$state/standby_port"
      ODBCSYSINI=$state ODBCINI=$state/odbc.ini odbcinst -i -s -l -r >/dev/null <<INI
[vexa_standby]
Driver = PostgreSQL
Servername = 127.0.0.1
Port = $port
Username = postgres
Database = postgres
INI
      echo "pg_standby: hot standby on 127.0.0.1:$port, data in $dir"
      return 0
    fi
  done
  cat "$dir/server.log" >&2
  echo "pg_standby: no standby would start" >&2
  exit 1
}

case "$action" in
  start) start ;;
  stop) stop ;;
  *) echo "usage: pg_standby.sh start|stop STATE_DIR" >&2; exit 2 ;;
esac
