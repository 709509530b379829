# shellcheck shell=bash
# Arguments that the server cannot fetch: values out of line of which a piece is gone, compressed
# values that do not decompress. From every function the server's own report comes through, the trees
# and the memory of the session stay as they were, and the session goes on.
. "$(dirname "$0")/lib.sh"

place=$(mktemp -d /tmp/pkg_dbe_xml_damaged_XXXXXX)
trap 'rm -rf "$work" "$place"' EXIT
mkdir "$place/out" "$place/space"
chown -R "$(stat -c %U "$(sql 'show data_directory')")" "$place"
is 'the calls are prepared' "$(sql 'create extension pg_surgery' "\\i $(dirname "$0")/every_call.sql" \
    "select xml_directory_create('out', '$place/out')" "create tablespace damaged_space location '$place/space'")" ''

# Values out of line, of 26 pieces each; one piece is killed: the first, one between, the last.
is 'values lose a piece' "$(sql \
    "create table torn (fault integer, document text, markup xml, handle raw)" \
    "alter table torn alter document set storage external, alter markup set storage external,
        alter handle set storage external" \
    "insert into torn select fault, document, document::xml, decode(repeat('ab', 50000), 'hex')::raw
        from (values (0), (11), (25)) as pieces(fault),
            concat('<a>', repeat('x', 49993), '</a>') as document" \
    "do \$\$ declare
        toast regclass := (select reltoastrelid from pg_class where oid = 'torn'::regclass);
        killed tid[];
    begin
        -- The three values of a row were stored one behind the other.
        execute format('select array_agg(t.ctid) from %1\$s t join
            (select chunk_id, row_number() over (order by chunk_id) - 1 as place
                from %1\$s group by chunk_id) as values using (chunk_id)
            where chunk_seq = (array[0, 11, 25])[place / 3 + 1]', toast) into killed;
        assert array_length(killed, 1) = 9;
        perform heap_force_kill(toast, killed);
    end \$\$")" ''

# Compressed values within their rows: what follows their first bytes is overwritten. The server reads
# the file when the table moves to another tablespace, and not what it remembers; where pages have
# checksums, as from version 18 on, it takes them as they are then.
methods=$(sql "select string_agg(quote_literal(method), ', ')
    from pg_settings, unnest(enumvals) as method where name = 'default_toast_compression'")
sql 'create table garbled (fault text, document text, markup xml, handle raw) with (autovacuum_enabled = off)' \
    "do \$\$ declare method text; begin
        foreach method in array array[$methods] loop
            execute format('alter table garbled alter document set compression %1\$I,
                alter markup set compression %1\$I, alter handle set compression %1\$I', method);
            insert into garbled select method, document, document::xml, convert_to(document, 'UTF8')::raw
                from concat('<damaged>', repeat('x', 20000), '</damaged>') as document;
        end loop;
    end \$\$" 'select count(*) from garbled where length(document) > 0' checkpoint >/dev/null
file=$(sql 'show data_directory')/$(sql "select pg_relation_filepath('garbled')")
places=$(grep -abo '<damaged' "$file" | cut -d: -f1)
for at in $places; do
    head -c 30 /dev/zero | tr '\0' '\377' |
        dd of="$file" bs=1 seek=$((at + 9)) conv=notrunc status=none
done
is 'compressed values are overwritten, three of each method' "$(wc -w <<<"$places")" \
    "$((3 * $(sql 'select count(*) from garbled')))"
is 'the server reads them anew' "$(sql 'set client_min_messages = error' 'set ignore_checksum_failure = on' \
    'alter table garbled set tablespace damaged_space')" ''

# damage TABLE TYPE: one argument after the other is a damaged value, in every call that takes an
# argument of that type, a regular expression. The outcomes stay in their table.
damage() {
    sql 'truncate outcomes' "do \$\$ declare
        made calls;
        damaged calls;
        broken text;
    begin
        for made in select * from calls loop
            for place in 1 .. array_length(made.types, 1) loop
                continue when made.types[place] !~ '$2';
                for broken in select fault from $1 loop
                    damaged := made;
                    damaged.arguments[place] := format('(select %s from $1 where fault = %L)',
                        case made.types[place] when 'text' then 'document' when 'xml' then 'markup'
                            else 'handle::' || made.types[place] end, broken);
                    perform attempt(damaged, broken, 'select', 'select');
                end loop;
            end loop;
        end loop;
    end \$\$"
}
# reported NAME TABLE TYPE MESSAGE
reported() {
    is "$1: no session ends" "$(damage "$2" "$3")" ''
    echo "# $1: $(sql "select count(*) || ' calls of ' || count(distinct call) || ' functions' from outcomes")"
    is "$1: in every function that takes one" "$(sql 'select count(distinct call) from outcomes')" \
        "$(sql "select count(*) from calls where exists (select from unnest(types) as type where type ~ '$3')")"
    is "$1: the server's report each time" "$(sql "select distinct call, code, message from outcomes
        where code <> 'XX001' or message !~ '$4'")" ''
    # An element stays when its namespace is refused, and goes with its document.
    is "$1: the documents and handles are as they were" \
        "$(sql "select call, state from outcomes where state <> '' and call !~ 'create_element_ns'")" ''
    is "$1: and what they take" \
        "$(sql "select call, memory from outcomes where memory <> '' and call !~ 'create_element_ns'")" ''
    is "$1: nothing was written" "$(ls -A "$place/out")" ''
}
torn='^(missing|unexpected) chunk number '
garbled='^compressed (pglz|lz4) data is corrupt$'
reported 'text with a piece missing' torn '^(text|xml)$' "$torn"
reported 'handles with a piece missing' torn '^(raw|xml[a-z]*\.)' "$torn"
reported 'text that does not decompress' garbled '^(text|xml)$' "$garbled"
reported 'handles that do not decompress' garbled '^(raw|xml[a-z]*\.)' "$garbled"

# Without a block around the call: the transaction is rolled back, the trees stay.
open_session
tell 'select hold()' >/dev/null
before=$(tell 'select state()' 'select xml_dom_get_memory_info()')
for fault in 0 11 25; do
    document="(select document from torn where fault = $fault)"
    for call in "xml_dom_new_document_clob($document)" "xmldom.set_attribute((select element::xmldom.element from held), 'a', $document)" \
        "xml_dom_set_node_value(text, $document) from held" "xmlparser_parse_clob(parser, $document) from held"; do
        like "piece $fault, ${call%%(*}: reported" "$(tell "select $call")" 'ERROR:  XX001: (missing|unexpected) chunk number '
    done
done
is 'in a transaction, which is aborted' \
    "$(tell begin 'select xml_dom_set_node_value(text, torn.document) from held, torn where fault = 25' \
        'select xml_dom_write_to_buffer_doc(document) from held' | grep -oE 'ERROR:  [0-9A-Z]{5}')" \
    "$(printf 'ERROR:  XX001\nERROR:  25P02')"
tell rollback >/dev/null
is 'the document, the handles and the memory are as before' \
    "$(tell 'select state()' 'select xml_dom_get_memory_info()')" "$before"
like 'a value that is whole does' \
    "$(tell "select xml_dom_set_node_value(text, repeat('y', 50000)) from held" \
        'select length(xml_dom_write_to_clob_doc(document)) > 50000 from held')" '^t$'
is 'and all of it can be freed' "$(tell 'select xmldom.free_all() > 0' 'select count(*) from pkg_dbe_xml_memory where document is not null')" \
    "$(printf 't\n0')"
close_session
sql 'drop table garbled' 'drop tablespace damaged_space' >/dev/null
done_testing
