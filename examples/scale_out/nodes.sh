# shellcheck shell=bash
# Three private servers as nodes and a fourth as the proxy, on sockets in a folder of their own.
# Sourced; used by ./run and by the tests.
#
#   start_nodes PLACE BINDIR    PLACE: an empty folder, its path at most 80 bytes; BINDIR: the
#                               folder of initdb and pg_ctl. Sets up nodes and proxy.
#   in_node NAME ARGUMENT...    psql in the database of node1, node2, node3 or proxy
#   stop_nodes                  stops whatever runs; the folder may be removed then

scale_out=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
node_names='node1 node2 node3 proxy'

# A server does not run as root.
as_server_user() {
    if [ "$(id -u)" -eq 0 ]; then
        (cd / && runuser -u postgres -- "$@") # which need not see the folder we are in
    else
        "$@"
    fi
}

# pg_ctl does not end before its server answers, nor the server with this script.
control() {
    local node=$1
    shift
    as_server_user "$nodes_bindir/pg_ctl" -s -D "$nodes_place/$node/data" \
        -l "$nodes_place/$node/log" "$@"
}

in_node() {
    local node=$1
    shift
    env -u PGPASSWORD -u PGPORT PGHOST="$nodes_place/$node" psql -X -q -U postgres -d documents "$@"
}

node_connection() { printf 'host=%s port=5432 dbname=documents' "$nodes_place/$1"; }

start_nodes() {
    nodes_place=$1
    nodes_bindir=$2
    local node starting=()
    [ "$(id -u)" -ne 0 ] || chown postgres "$nodes_place"
    as_server_user "$nodes_bindir/initdb" -A trust -U postgres -E UTF8 --locale=C --no-sync \
        -D "$nodes_place/empty" >"$nodes_place/initdb.log" || return
    for node in $node_names; do
        as_server_user mkdir "$nodes_place/$node" || return
        as_server_user cp -r "$nodes_place/empty" "$nodes_place/$node/data" || return
        as_server_user tee -a "$nodes_place/$node/data/postgresql.conf" >/dev/null <<CONF
cluster_name = '$node'
listen_addresses = ''
port = 5432
unix_socket_directories = '$nodes_place/$node'
shared_buffers = 16MB
max_connections = 20
fsync = off
CONF
        control "$node" -w start &
        starting+=($!)
    done
    wait "${starting[@]}" || return
    for node in $node_names; do
        in_node "$node" -d postgres -c 'CREATE DATABASE documents' || return
        [ "$node" = proxy ] ||
            in_node "$node" -v ON_ERROR_STOP=1 -f "$scale_out/node.sql" || return
    done
    in_node proxy -v ON_ERROR_STOP=1 -v user=postgres -v node1="$(node_connection node1)" \
        -v node2="$(node_connection node2)" -v node3="$(node_connection node3)" \
        -f "$scale_out/proxy.sql"
}

stop_nodes() {
    local node
    for node in $node_names; do
        [ ! -e "${nodes_place:?}/$node/data/postmaster.pid" ] || control "$node" -m immediate stop
    done
}
