# shellcheck shell=bash
# Connection pools: what a handle is worth when the next transaction may run in another session, and
# what the next client finds. With PgBouncer in its three modes.
. "$(dirname "$0")/lib.sh"

pool=$(mktemp -d /tmp/pkg_dbe_xml_pool_XXXXXX)
user=postgres
[ "$(id -u)" -eq 0 ] || user=$(id -un)
joined() { tr '\n' ' '; }
as_pool_user() { if [ "$(id -u)" -eq 0 ]; then runuser -u "$user" -- "$@"; else "$@"; fi; }
trap 'stop_pool; rm -rf "$work" "$pool"' EXIT
# The next pool takes the same socket, so this one's process must be gone first.
stop_pool() {
    local process
    process=$(cat "$pool/pid" 2>/dev/null) || return
    kill "$process" 2>/dev/null
    for ((i = 0; i < 200; i++)); do
        kill -0 "$process" 2>/dev/null || return
        sleep 0.05
    done
}

# start_pool MODE SESSIONS [LINE]: a pool in front of this database.
start_pool() {
    cat >"$pool/ini" <<INI
[databases]
$PGDATABASE = host=$PGHOST port=$PGPORT user=$PGUSER password=$PGPASSWORD
[pgbouncer]
listen_addr =
listen_port = 6432
unix_socket_dir = $pool
auth_type = any
pool_mode = $1
default_pool_size = $2
ignore_startup_parameters = extra_float_digits,options
logfile = $pool/log
pidfile = $pool/pid
${3:-}
INI
    chown -R "$user" "$pool"
    as_pool_user pgbouncer -q -d "$pool/ini" >"$work/pgbouncer" 2>&1 </dev/null ||
        fail "the pool starts: $1" "$(cat "$work/pgbouncer" "$pool/log")"
    for ((i = 0; i < 200; i++)); do
        ! through_pool pg_isready -q || return
        sleep 0.05
    done
    fail "the pool answers: $1" "$(cat "$pool/log")"
}
through_pool() { PGHOST=$pool PGPORT=6432 PGOPTIONS='' "$@"; }
client_of_pool() { through_pool sql "$@"; }

PATH=$PATH:/usr/sbin
if ! command -v pgbouncer >/dev/null; then
    fail 'pgbouncer is installed'
    exit
fi
sql 'create function price_of(source text) returns numeric language plpgsql as $$
declare
    scope xmldom.scope := xmldom.mark();
    price numeric;
begin
    price := xmldom.get_attribute(xmldom.get_document_element(xmldom.parse(source)), $a$price$a$);
    perform xmldom.release(scope);
    return price;
exception when others then
    perform xmldom.release(scope);
    raise;
end
$$'
price="select price_of('<item price=\"12.50\"/>')"
documents='select documents from xmldom.session'
name_of() { printf "select xmldom.get_tag_name(xmldom.get_document_element('%s'))" "$1"; }

# Handles are numbers of one session.
foreign=$(sql "select xmldom.parse('<one/>')")
like 'a handle of another session is refused' "$(sql "$(name_of "$foreign")")" 'ERROR:  2200U: this is no handle of this session'
is 'but for one that has the same number here' "$(sql "select xmldom.parse('<two/>') is not null" "$(name_of "$foreign")")" 't
two'

# Transaction pooling: every transaction may run in another session.
start_pool transaction 2
through_pool open_session
is 'transactions: a procedure that frees what it makes' "$(tell "$price")" 12.50
like 'and one that fails' "$(tell "select price_of('<item price=\"a lot\"/>')")" 'ERROR:  22P02'
is 'leave nothing behind' "$(tell "$documents")" 0
is 'a transaction that frees what it makes' "$(tell begin "select xmldom.parse('<a/>') as doc \\gset" "select xmldom.get_tag_name(xmldom.get_document_element(:'doc'))" \
    "select xmldom.free_document(:'doc') is null" commit "$documents" | joined)" 'a t 0 '
handle=$(tell "select xmldom.parse('<kept/>')")
through_pool background other begin 'select pg_sleep(60)' commit
wait_for_statement other pg_sleep && pass 'another client has the session' || fail 'another client has the session'
like 'a handle that was kept is refused there' "$(tell "$(name_of "$handle")")" 'ERROR:  2200U: this is no handle of this session'
sql "select pg_cancel_backend(pid) from pg_stat_activity where query ~ '^select pg_sleep'" >/dev/null
output_of other >/dev/null
is 'the document is still in the first session, for whoever comes' "$(client_of_pool "$documents" "$(name_of "$handle")" | joined)" '1 kept '
is 'free_all there' "$(client_of_pool 'select xmldom.free_all()' "$documents" | joined)" '1 0 '
close_session
stop_pool

# The same, and the pool resets the session after each transaction.
start_pool transaction 1 'server_reset_query_always = 1'
through_pool open_session
handle=$(tell "select xmldom.parse('<kept/>')")
like 'with DISCARD ALL after each: a handle that was kept' "$(tell "$(name_of "$handle")")" 'ERROR:  2200U: this is no handle of this session'
is 'nothing is left' "$(tell "$documents")" 0
is 'a transaction that frees nothing' "$(tell begin "select xmldom.parse('<a/>') as doc \\gset" "select xmldom.get_tag_name(xmldom.get_document_element(:'doc'))" commit "$documents" | joined)" 'a 0 '
close_session
stop_pool

# Statement pooling: every statement may.
start_pool statement 1
is 'statements: a procedure' "$(client_of_pool "$price")" 12.50
is 'calls within calls' "$(client_of_pool "select xmldom.get_tag_name(xmldom.get_document_element(xmldom.parse('<a/>')))" 'select xmldom.free_all()' | joined)" 'a 1 '
is 'a block' "$(client_of_pool "do \$\$ declare doc xmldom.document := xmldom.parse('<a/>');
    begin doc := xmldom.free_document(doc); end \$\$" "$documents")" 0
like 'transactions are refused by the pool' "$(client_of_pool begin)" 'transaction blocks not allowed'
stop_pool

# Session pooling: a client has a session to itself, and the pool resets it for the next one.
start_pool session 1
through_pool open_session
handle=$(tell "select xmldom.parse('<kept/>')")
is 'sessions: a handle lasts' "$(tell "$(name_of "$handle")")" kept
is 'beyond a rollback' "$(tell begin "$(name_of "$handle")" rollback "$(name_of "$handle")" | joined)" 'kept kept '
close_session
is 'the next client finds nothing' "$(client_of_pool "$documents")" 0
like 'under no name' "$(client_of_pool "$(name_of "$handle")")" 'ERROR:  2200U: this is no handle of this session'
stop_pool

# The same three modes where documents end with their transaction: nobody has to free anything.
sql "alter database $PGDATABASE set pkg_dbe_xml.lifetime = 'transaction'" >/dev/null
start_pool transaction 1
through_pool open_session
is 'lifetime, transactions: a handle lasts as long as its transaction' "$(tell begin "select xmldom.parse('<kept/>') as doc \\gset" \
    "$(name_of ":doc" | sed "s/':doc'/:'doc'/")" "$documents" commit "$documents" | joined)" 'kept 1 0 '
like 'and names nothing in the next one' "$(tell "$(name_of ":doc" | sed "s/':doc'/:'doc'/")")" 'ERROR:  2200U: this is no handle of this session'
like 'a statement that fails' "$(tell "select price_of('<item price=\"a lot\"/>'), xmldom.parse('<a/>')")" 'ERROR:  22P02'
is 'leaves nothing behind' "$(tell "$documents")" 0
like 'nor does one that is cancelled' "$(tell begin "select xmldom.parse('<a/>') is null" "set local statement_timeout = '20ms'" \
    'select pg_sleep(10)' rollback)" 'ERROR:  57014'
is 'which the next transaction shows' "$(tell "$documents")" 0
tell "set pkg_dbe_xml.lifetime = 'session'" "select xmldom.parse('<forgotten/>') is null" >/dev/null
is 'what a client has set stays in the session, as all settings do' "$(client_of_pool 'show pkg_dbe_xml.lifetime' "$documents" | joined)" 'session 1 '
close_session
stop_pool

start_pool statement 1
is 'lifetime, statements: calls within calls' "$(client_of_pool "select xmldom.get_tag_name(xmldom.get_document_element(xmldom.parse('<a/>')))" "$documents" | joined)" 'a 0 '
stop_pool

start_pool session 1
through_pool open_session
is 'lifetime, sessions: a handle ends with its transaction' "$(tell "select xmldom.parse('<kept/>') is null" "$documents" | joined)" 'f 0 '
is 'but for a client that wants more' "$(tell "set pkg_dbe_xml.lifetime = 'session'" "select xmldom.parse('<kept/>') is null" "$documents" | joined)" 'f 1 '
close_session
is 'the pool resets that for the next client' "$(client_of_pool 'show pkg_dbe_xml.lifetime' "$documents" | joined)" 'transaction 0 '
stop_pool
done_testing
