# shellcheck shell=bash
# Streams on a server: they end with the transaction in whatever way it ends, a cancelled statement
# stops soon, and memory does not grow with the text.
. "$(dirname "$0")/lib.sh"

# Reads a document of so many records of which each has `size` bytes of text; their number. The
# pieces are cut where it comes.
sql "create function pieces(records integer, size integer) returns setof text language sql as \$\$
    select '<?xml version=\"1.0\"?><feed xmlns=\"urn:f\" xmlns:p=\"urn:p\"><head>h</head>'
    union all select string_agg(format('<entry id=\"%s\"><p:name>%s</p:name><v>&amp;%s</v></entry>', i, i,
        repeat('x', size)), E'\n') from generate_series(1, records) as i group by i / 500
    union all select '</feed>' \$\$" \
    "create function read_all(records integer, size integer) returns integer language plpgsql as \$\$
    declare
        stream xmlparser.stream := xmlparser.open_stream('/f:feed/f:entry', array['f', 'urn:f']);
        piece text;
        record xmldom.document;
        found integer := 0;
    begin
        for piece in select * from pieces(records, size) loop
            perform xmlparser.feed(stream, piece);
            loop
                record := xmlparser.next_record(stream);
                exit when record is null;
                found := found + 1;
                perform xmldom.free_document(record);
            end loop;
        end loop;
        if not xmlparser.is_complete(stream) then
            raise 'not complete';
        end if;
        perform xmlparser.close_stream(stream);
        return found;
    end \$\$" >/dev/null
peak="select (regexp_match(pg_read_file('/proc/self/status'), 'VmHWM:\s+(\d+)'))[1]::integer"

# Memory.
open_session
is 'a small document is read' "$(tell 'select read_all(1000, 100)')" 1000
before=$(tell "$peak")
is 'a large document is read' "$(tell 'select read_all(200000, 100)')" 200000
after=$(tell "$peak")
at_most 'peak memory grows by less than 16 MB, kB' "$((after - before))" 16384
is 'no document stays' "$(tell 'select documents from xmldom.session')" 0

# The end of the transaction.
open="select xmlparser.feed(xmlparser.open_stream('//r'), '<f><r/><r>') as stream \gset"
alive="select xmlparser.is_complete(:'stream')"
tell begin "$open" >/dev/null
is 'a stream is open within its transaction' "$(tell "$alive")" f
like 'it ends with COMMIT' "$(tell commit "$alive")" 2200X
like 'it ends with ROLLBACK' "$(tell begin "$open" rollback "$alive")" 2200X
like 'it ends with the statement that fails' "$(tell begin "$open" 'select 1/0' rollback "$alive" | tail -n +2)" 2200X
is 'it outlives a savepoint before it' "$(tell begin 'savepoint a' "$open" 'release a' "$alive")" f
like 'it ends with the savepoint that is rolled back' \
    "$(tell 'savepoint b' "$open" 'rollback to b' "$alive" rollback)" 2200X
like 'it ends with COMMIT in a procedure' "$(tell "do \$\$
    declare stream xmlparser.stream := xmlparser.open_stream('//r');
    begin commit; perform xmlparser.is_complete(stream); end \$\$")" 2200X
like 'it ends with PREPARE TRANSACTION, or with the refusal of it' \
    "$(tell begin "$open" "prepare transaction 'p'" "$alive" "rollback prepared 'p'")" 2200X
is 'the records stay' "$(tell begin "$open" "select xmlparser.next_record(:'stream') as record \gset" rollback \
    "select xmldom.to_text(:'record'::xmldom.document)")" '<r/>'
tell 'select xmldom.free_all()' >/dev/null

# Requests to stop.
tell "create temporary table large as select '<f><r>' || repeat('<a>t</a>', 4000000) as x" >/dev/null
begin=$(date +%s%N)
answer=$(tell "set statement_timeout = 300" \
    "select xmlparser.next_record(xmlparser.feed(xmlparser.open_stream('//r'), x)) from large, generate_series(1, 1000)" \
    'reset statement_timeout')
printf '# a record of 32 MB ended after %d ms\n' $((($(date +%s%N) - begin) / 1000000))
like 'a long record ends as timed out' "$answer" 57014
is 'the session goes on' "$(tell 'select read_all(1000, 10)')" 1000
close_session

# A backend that is told to end in the middle of a stream.
background reader 'select read_all(100000000, 100)'
wait_for_statement reader read_all
sql "select pg_terminate_backend(pid) from pg_stat_activity where application_name = 'reader'" >/dev/null
like 'a terminated backend ends' "$(output_of reader)" 57P01
is 'the server goes on' "$(sql 'select read_all(10, 10)')" 10
unlike 'no assertion failed, nothing crashed' "$(cat "$SERVER_LOG")" 'PANIC|was terminated by signal|TRAP'
done_testing
