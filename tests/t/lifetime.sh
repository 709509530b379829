# shellcheck shell=bash
# Documents and parsers that end with their transaction: every way in which a transaction can end,
# with what was alive before and after.
. "$(dirname "$0")/lib.sh"

version=$(sql 'show server_version_num' | cut -c1-2)
alive='select documents from xmldom.session'
joined() { tr '\n' ' ' | sed 's/ $//'; }
sql "alter database $PGDATABASE set pkg_dbe_xml.lifetime = 'transaction'" >/dev/null
sql "create function parse_and_raise(text) returns void language plpgsql as
    \$\$ begin perform xmldom.parse(\$1); raise 'raised'; end \$\$" \
    "create function parse_and_catch(text) returns integer language plpgsql as \$\$
    begin perform xmldom.parse('<outer/>');
        begin perform xmldom.parse(\$1); raise 'raised';
        exception when others then return (select documents from xmldom.session); end;
    end \$\$" \
    "create procedure parse_and_commit(rounds integer) language plpgsql as \$\$
    declare most integer := 0;
    begin
        for i in 1..rounds loop
            perform xmldom.parse('<a/>'), xmlparser.new_parser();
            most := greatest(most, (select documents from xmldom.session));
            if i % 2 = 0 then commit; else rollback; end if;
        end loop;
        raise notice 'most %, after %', most, (select documents from xmldom.session);
    end \$\$" \
    'create table fired (handle xmldom.document)' \
    "create function parse_at_end() returns trigger language plpgsql as \$\$
    begin
        raise notice 'fires among %', (select documents from xmldom.session);
        new.handle := xmldom.parse('<late/>');
        if new.handle is not null and tg_argv[0] = 'raise' then raise 'raised at the end'; end if;
        return null;
    end \$\$" >/dev/null

# --- events: alive before, alive after ----------------------------------------------------------

printf '# %-46s %8s %8s\n' event before after
# event NAME BEFORE AFTER STATEMENT...: what a session has alive before the last statement, which
# is the event, and after it.
event() {
    local name=$1 before=$2 after=$3 last answer
    shift 3
    last=${!#}
    open_session
    tell "${@:1:$#-1}" >/dev/null
    answer="$(tell "$alive" | tail -n 1)"
    tell "$last" >"$work/event"
    answer="$answer $(tell 'rollback' "$alive" | tail -n 1)"
    close_session
    printf '# %-46s %8s %8s\n' "$name" "${answer% *}" "${answer#* }"
    is "$name: alive before and after" "$answer" "$before $after"
}
# The same where the transaction goes on after the event.
event_within() {
    local name=$1 before=$2 after=$3 answer
    shift 3
    open_session
    tell "${@:1:$#-1}" >/dev/null
    answer="$(tell "$alive") "
    tell "${!#}" >"$work/event"
    answer="$answer$(tell "$alive")"
    printf '# %-46s %8s %8s\n' "$name" "${answer% *}" "${answer#* }"
    is "$name: alive before and after" "$answer" "$before $after"
    is "$name: and nothing after the transaction" "$(tell rollback "$alive" | tail -n 1)" 0
    close_session
}
make="select xmldom.parse('<a/>') is not null"
make_kept='set pkg_dbe_xml.lifetime = session'
many='select count(xmldom.parse($$<a/>$$)) from generate_series(1, 50)'

event 'the end of a statement' 0 0 "$make"
event 'COMMIT' 52 0 begin "$make" "$make" "$many" commit
event 'COMMIT AND CHAIN' 1 0 begin "$make" 'commit and chain'
event 'ROLLBACK' 51 0 begin "$make" "$many" rollback
event 'COMMIT of a transaction that failed' 1 0 begin "$make" 'savepoint s' 'select 1/0' 'rollback to s' 'commit'
event 'an error' 1 0 begin "$make" 'select 1/0'
event 'an error of the same statement' 1 0 begin "$make" "select parse_and_raise('<b/>')"
event 'a text that does not parse' 1 0 begin "$make" "select xmldom.parse('<b>')"
event 'a cancel for lack of time' 1 0 begin "$make" "set local statement_timeout = '20ms'" \
    "select count(xmldom.parse('<a>' || repeat('<b/>', 1000) || '</a>')) from generate_series(1, 100000)"
event 'more than the session may hold' 1 0 begin "$make" "set local pkg_dbe_xml.max_session_memory = '2MB'" \
    "select count(xmldom.parse('<a>' || repeat('<b/>', 1000) || '</a>')) from generate_series(1, 100000)"
event 'ROLLBACK, documents of both kinds' 2 1 "$make_kept" "$make" begin 'set local pkg_dbe_xml.lifetime = transaction' "$make" rollback
event 'DISCARD ALL, documents of both kinds' 1 0 "$make_kept" "$make" 'reset pkg_dbe_xml.lifetime' 'discard all'
event_within 'ROLLBACK TO SAVEPOINT' 3 1 begin "$make" 'savepoint s' "$make" 'savepoint t' "$make" 'rollback to s'
event_within 'RELEASE SAVEPOINT' 3 3 begin "$make" 'savepoint s' "$make" "$make" 'release s'
event_within 'ROLLBACK TO SAVEPOINT after one within it' 4 1 begin "$make" 'savepoint s' "$make" 'savepoint t' \
    "$make" 'release t' "$make" 'rollback to s'
event_within 'an exception that is caught' 1 2 begin "$make" "select parse_and_catch('<b/>')"
is 'an exception that is caught: within it' "$(cat "$work/event")" 2
event_within 'a thousand exceptions that are caught' 1 1001 begin "$make" \
    "select count(parse_and_catch('<b/>')) from generate_series(1, 1000)"

# --- procedures, blocks, triggers, cursors ------------------------------------------------------

like 'a procedure that commits and rolls back in a loop' "$(sql 'call parse_and_commit(200)')" 'NOTICE:.* most 1, after 0'
is 'a block that commits' "$(sql "do \$\$
declare doc xmldom.document := xmldom.parse('<a><b/><b/><b/></a>'); each xmldom.element; seen integer := 0;
begin
    for each in select * from xmldom.descendants(doc, 'b') loop
        seen := seen + 1;
        commit;
        begin
            perform xmldom.get_tag_name(each);
            raise 'still there';
        exception when sqlstate '2200U' then null; end;
    end loop;
    if seen <> 3 then raise 'seen %', seen; end if;
end \$\$" "$alive")" 0
answer=$(sql 'create constraint trigger late after insert on fired deferrable initially deferred
    for each row execute function parse_at_end()' begin "$make" 'insert into fired values (null), (null)' commit "$alive")
is 'a deferred trigger finds the documents, and makes more' \
    "$(grep -oE 'fires among [0-9]+|^[0-9]+$' <<<"$answer" | joined)" 'fires among 1 fires among 2 0'
answer=$(sql 'drop trigger late on fired' "create constraint trigger late after insert on fired deferrable
    initially deferred for each row execute function parse_at_end('raise')" begin "$make" \
    'insert into fired values (null)' commit "$alive")
like 'a deferred trigger that fails' "$answer" 'ERROR:  P0001: raised at the end'
is 'a deferred trigger that fails: alive after' "$(tail -n 1 <<<"$answer")" 0

answer=$(sql begin "declare held cursor with hold for select xmldom.descendants(xmldom.parse('<a><b/><c/></a>'))" \
    'fetch 1 from held \gset' "select xmldom.get_tag_name(:'descendants')" commit "$alive" \
    "select xmldom.get_tag_name(:'descendants')" 'fetch 1 from held \gset' "select xmldom.get_tag_name(:'descendants')")
is 'a held cursor gives handles that name nothing' "$(grep -oE '^[a-c0-9]$|2200U' <<<"$answer" | joined)" 'a 0 2200U 2200U'
answer=$(sql 'create temporary table stored (doc xmldom.document)' begin "insert into stored values (xmldom.parse('<a/>'))" \
    'select xmldom.outline(doc) from stored' commit 'select xmldom.outline(doc) from stored')
like 'a handle in a table names nothing' "$answer" 'ERROR:  2200U'

# --- savepoints ---------------------------------------------------------------------------------

deep=10000
answer=$({
    echo "begin;"
    for ((i = 1; i <= deep; i++)); do
        printf "savepoint s%s;\nselect xmldom.parse('<a/>') is null \\\\g /dev/null\n" $i
    done
    echo "$alive; rollback to s$((deep / 2 + 1)); $alive; release s1; $alive; rollback; $alive;"
} | client 2>&1 | joined)
is "$deep savepoints within each other" "$answer" "$deep $((deep / 2)) $((deep / 2)) 0"
answer=$({
    echo "begin;"
    for ((i = 1; i <= deep; i++)); do
        printf "savepoint s;\nselect xmldom.parse('<a/>') is null \\\\g /dev/null\nrollback to s; release s;\n"
    done
    echo "$alive; commit; $alive;"
} | client 2>&1 | joined)
is "$deep savepoints one after the other" "$answer" '0 0'

# --- two lifetimes ------------------------------------------------------------------------------

sql "create function parse_for_long(text) returns xmldom.document language sql volatile
    set pkg_dbe_xml.lifetime = session as 'select xmldom.parse(\$1)'" >/dev/null
is 'two lifetimes in one expression: the imported node stays with its target' \
    "$(sql "select doc from parse_for_long('<long/>') as doc \\gset" \
        "select xmldom.get_tag_name(xmldom.append_child(xmldom.get_document_element(:'doc'),
            xmldom.import_node(:'doc', xmldom.get_document_element(xmldom.parse('<short/>')), true))::xmldom.element)" \
        "$alive" "select xmldom.outline(:'doc') ~ 'short'" | joined)" 'short 1 t'
is 'a scope goes on across the end of a transaction' \
    "$(sql 'select xmldom.mark() as scope \gset' "$make_kept" "$make" begin 'set local pkg_dbe_xml.lifetime = transaction' \
        "$make" commit "$alive" "select xmldom.release(:'scope')" "$alive" | joined)" 't t 1 1 0'
is 'an import into a document that goes' \
    "$(sql "$make_kept" "select xmldom.parse('<kept/>') as kept \\gset" begin 'set local pkg_dbe_xml.lifetime = transaction' \
        "select xmldom.parse('<gone/>') as gone \\gset" \
        "select xmldom.import_node(:'gone', xmldom.get_document_element(:'kept'), true) as copy \\gset" \
        "select xmldom.get_node_name(:'copy')" commit "select xmldom.get_node_name(xmldom.get_document_element(:'kept'))" \
        "select xmldom.get_node_name(:'copy')" 2>&1 | grep -oE '^kept$|2200U' | joined)" 'kept kept 2200U'

# --- the setting --------------------------------------------------------------------------------

sql 'create role lifetime_reader login' >/dev/null
is 'anybody may set it, before the library is loaded and after' \
    "$(PGOPTIONS='-c pkg_dbe_xml.lifetime=session' sql 'set role lifetime_reader' "$make" "$alive" \
        "set pkg_dbe_xml.lifetime = 'transaction'" "$make" "$alive" "show pkg_dbe_xml.lifetime" | joined)" 't 1 t 1 transaction'
like 'a value that there is not' "$(sql 'set pkg_dbe_xml.lifetime = forever' "$make" 'set pkg_dbe_xml.lifetime = forever')" \
    'ERROR:  22023: invalid value for parameter "pkg_dbe_xml.lifetime": "forever"'
like 'it is told with the values that there are' "$(sql "$make" 'set pkg_dbe_xml.lifetime = forever')" 'HINT:  Available values: session, transaction'
answer=$(PGOPTIONS='-c pkg_dbe_xml.lifetime=forever' sql "$make" 'show pkg_dbe_xml.lifetime' "$alive")
like 'one that the connection had is told' "$answer" 'WARNING:.*invalid value for parameter "pkg_dbe_xml.lifetime": "forever"'
is 'and leaves the default' "$(grep -E '^[a-z0-9]+$' <<<"$answer" | joined)" 't session 1'
sql 'drop role lifetime_reader' >/dev/null

# --- backends that are told to end --------------------------------------------------------------

export PGOPTIONS='-c log_min_messages=debug1'
freed='DEBUG:  pkg_dbe_xml: objects of the session freed'
big="xmldom.parse('<a>' || repeat('<b><c/></b>', 2000000) || '</a>')"
open_session
pid=$(tell 'select pg_backend_pid()')
tell begin "$make" 'savepoint s' "$make" >/dev/null
sql "select pg_terminate_backend($pid)" >/dev/null
logged "\[$pid\].*$freed"
like 'terminated within a transaction: it frees what it has' "$(grep -E "\[$pid\]" "$SERVER_LOG")" "$freed"
close_session
open_session
tell begin "$make" "set local idle_in_transaction_session_timeout = '50ms'" >/dev/null
sleep 0.5
like 'idle for too long within a transaction' "$(tell 'select 1')" '25P03|closed the connection|terminating connection'
close_session
background victim begin "$make" "select $big is not null from generate_series(1, 50)"
wait_for_statement victim 'repeat'
pid=$(sql "select pid from pg_stat_activity where application_name = 'victim'")
sleep 0.7
sql "select pg_terminate_backend($pid)" >/dev/null
like 'terminated within a call' "$(output_of victim)" '57P01'
unlike 'terminated within a call: nothing half made is touched' "$(grep -E "\[$pid\]" "$SERVER_LOG")" "$freed"
export PGOPTIONS=''

# --- large ones ---------------------------------------------------------------------------------

open_session
before=$(tell "$make" 'select bytes from xmldom.session' | tail -n 1)
tell begin "select $big is not null" >/dev/null
is 'a large tree' "$(tell 'select bytes > 200000000 from xmldom.session')" t
like 'its handles name nothing after the end' "$(tell "select $big as doc \\gset" commit "select xmldom.get_document_element(:'doc')")" 2200U
is 'and the next call frees it' "$(tell 'select bytes from xmldom.session')" "$before"
close_session

# --- two phases ---------------------------------------------------------------------------------

sql 'alter system set max_prepared_transactions = 2' >/dev/null
pg_ctlcluster "$version" regress restart || fail 'the server restarts'
event 'PREPARE TRANSACTION' 2 0 begin "$make" "$make" "prepare transaction 'p'"
is 'it was prepared' "$(sql 'select gid from pg_prepared_xacts' "rollback prepared 'p'")" p
event 'PREPARE TRANSACTION, savepoints within' 3 0 begin "$make" 'savepoint s' "$make" 'savepoint t' "$make" "prepare transaction 'q'"
event 'COMMIT PREPARED' 1 1 "$make_kept" "$make" "commit prepared 'q'"
sql 'alter system reset max_prepared_transactions' >/dev/null
pg_ctlcluster "$version" regress restart || fail 'the server restarts'
done_testing
