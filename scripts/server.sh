# Sourced by the scripts that run tests: a private PostgreSQL server that lives as long as they do.
# shellcheck shell=bash

# Where everything of one run lies; removed at its end. The server's own folder is its user's: no state folder of
# root's may lie in it.
scratch=$(mktemp -d)
server_folder="$scratch/server"
mkdir "$server_folder"
server_user=""
# shellcheck disable=SC2317  # called by the trap
stop() {
  if [ -f "$server_folder/data/postmaster.pid" ]; then
    as_server "$server_bin/pg_ctl" -D "$server_folder/data" -m immediate stop >/dev/null 2>&1 || true
  fi
  rm -rf "$scratch"
}
trap stop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The server refuses to run as root.
as_server() {
  if [ -n "$server_user" ]; then
    (cd / && runuser -u "$server_user" -- "$@")
  else
    "$@"
  fi
}

server_bin=$(printf '%s\n' /usr/lib/postgresql/*/bin | sort -V | tail -n 1)
if [ -x "$server_bin/initdb" ]; then
  if [ "$(id -u)" -eq 0 ]; then
    server_user=postgres
    chown "$server_user" "$server_folder"
    chmod 755 "$scratch" "$server_folder"
  fi
  as_server "$server_bin/initdb" -D "$server_folder/data" -U postgres -A trust -E UTF8 --locale=C.UTF-8 --no-sync >/dev/null
  as_server "$server_bin/pg_ctl" -D "$server_folder/data" -l "$server_folder/data/log" -w start \
    -o "-c listen_addresses= -c unix_socket_directories=$server_folder -c fsync=off -c max_connections=60" >/dev/null
  unset PGPORT PGSERVICE PGHOSTADDR
  export PGHOST="$server_folder"
  "$server_bin/createdb" -U postgres photo
else
  unset PGHOST
  echo "lumivault: no PostgreSQL server is installed; the tests on it are SKIPPED" >&2
fi

mkdir "$scratch/tmp"
[ -z "$server_user" ] || chmod 1777 "$scratch/tmp"
export TMPDIR="$scratch/tmp" XDG_STATE_HOME="$scratch/state" LC_ALL=C.UTF-8
unset LUMIVAULT_ROOT LUMIVAULT_PLUGIN
