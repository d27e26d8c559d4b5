#!/usr/bin/env bash
# A throwaway pgbouncer in transaction pooling mode in front of a server
# that pg_server.sh started, and a data source that reaches it.
#
#   pgbouncer.sh start STATE_DIR POOL_SIZE   starts the pooler on a free loopback
#                                            port with at most POOL_SIZE server
#                                            connections; writes STATE_DIR/pooler
#                                            and STATE_DIR/pooler_port and adds
#                                            the data source vexa_pooled (database
#                                            vexa_pooled) to STATE_DIR/odbc.ini, set up
#                                            as a data source through a pooler must be
#   pgbouncer.sh stop STATE_DIR              stops the pooler and removes its files
#
# Configuration, authentication file and log live in a fresh directory under
# /tmp; run as root, the pooler runs as the `postgres` account.
set -euo pipefail

action=${1:?usage: pgbouncer.sh start STATE_DIR POOL_SIZE | stop STATE_DIR}
state=${2:?usage: pgbouncer.sh start STATE_DIR POOL_SIZE | stop STATE_DIR}

source "$(dirname "${BASH_SOURCE[0]}")/server_account.sh"

stop() {
  [ -f "$state/pooler" ] || return 0
  local dir pid
  dir=$(cat "$state/pooler")
  if [ -f "$dir/pgbouncer.pid" ]; then
    pid=$(cat "$dir/pgbouncer.pid")
    kill "$pid" 2>/dev/null || true
    for _ in $(seq 50); do
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.1
    done
  fi
  rm -rf "$dir"
  rm -f "$state/pooler" "$state/pooler_port"
}

# Writes the configuration of a pooler on `port` in `dir`.
configure() {
  local dir=$1 port=$2 pool_size=$3 server_port
  server_port=$(cat "$state/port")
  # Trust, as the server does; pgbouncer still admits only the users listed.
  echo '"postgres" ""' >"$dir/userlist.txt"
  cat >"$dir/pgbouncer.ini" <<INI
[databases]
* = host=127.0.0.1 port=$server_port

[pgbouncer]
listen_addr = 127.0.0.1
listen_port = $port
unix_socket_dir =
auth_type = trust
auth_file = $dir/userlist.txt
pool_mode = transaction
default_pool_size = $pool_size
max_db_connections = $pool_size
max_client_conn = 2000
logfile = $dir/pgbouncer.log
pidfile = $dir/pgbouncer.pid
admin_users = postgres
INI
}

start() {
  local pool_size=${1:?usage: pgbouncer.sh start STATE_DIR POOL_SIZE}
  [ -f "$state/port" ] || { echo "pgbouncer: no server in $state" >&2; exit 1; }
  stop
  local dir port
  dir=$(mktemp -d /tmp/vexa-pgbouncer.XXXXXX)
  echo "$dir" >"$state/pooler"
  chmod 755 "$dir"
  [ "$(id -u)" -ne 0 ] || chown postgres: "$dir"
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    port=$((20000 + RANDOM % 30000))
    configure "$dir" "$port" "$pool_size"
    [ "$(id -u)" -ne 0 ] || chown postgres: "$dir"/*
    if as_server pgbouncer -q -d "$dir/pgbouncer.ini" 2>>"$dir/start.log"; then
      # Up once it answers on its port.
      for _ in $(seq 50); do
        if pg_isready -q -h 127.0.0.1 -p "$port" -d pgbouncer; then
          echo "$port" >"$state/pooler_port"
          # No named prepared statements: the next transaction of a client
          # may run on a server connection that lacks them.
          ODBCSYSINI=$state ODBCINI=$state/odbc.ini odbcinst -i -s -l -r >/dev/null <<INI
[vexa_pooled]
Driver = PostgreSQL
Servername = 127.0.0.1
Port = $port
Username = postgres
Database = vexa_pooled
UseServerSidePrepare = 0
INI
          echo "pgbouncer: transaction pooling on 127.0.0.1:$port, $pool_size server connections"
          return 0
        fi
        sleep 0.1
      done
      kill "$(cat "$dir/pgbouncer.pid")" 2>/dev/null || true
    fi
  done
  cat "$dir/start.log" "$dir/pgbouncer.log" >&2 2>/dev/null || true
  echo "pgbouncer: no pooler would start" >&2
  exit 1
}

case "$action" in
  start) start "${3:-}" ;;
  stop) stop ;;
  *) echo "usage: pgbouncer.sh start STATE_DIR POOL_SIZE | stop STATE_DIR" >&2; exit 2 ;;
esac
