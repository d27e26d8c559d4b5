# Sourced by pg_server.sh, pg_standby.sh and pgbouncer.sh: the PostgreSQL 15
# programs, and how they run. Run as root, the servers and the pooler run as
# the `postgres` account, which initdb and pg_ctl require.

bin=/usr/lib/postgresql/15/bin

as_server() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u postgres -- "$@"
  else
    "$@"
  fi
}

# Stops at once the server whose directory the file $1 names (its data in
# DIR/data), then removes that directory and the file. Nothing to do when
# the file is missing.
stop_server_named_in() {
  local file=$1 dir
  [ -f "$file" ] || return 0
  dir=$(cat "$file")
  if [ -f "$dir/data/postmaster.pid" ]; then
    as_server "$bin/pg_ctl" -D "$dir/data" -m immediate -w stop >/dev/null 2>&1 || true
  fi
  rm -rf "$dir"
  rm -f "$file"
}
