# shellcheck shell=bash
# Handles as values: nested in calls, kept in variables, tables, arrays and composites; wrong,
# forged and stale ones.
. "$(dirname "$0")/lib.sh"

like 'nested calls' "$(sql "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<a/>'))")" '<a/>'
is 'three deep' "$(sql "select xml_dom_get_node_name(xml_dom_get_first_child(xml_dom_get_document_element(
    xml_dom_new_document_clob('<a><b/></a>'))))")" b
is 'a handle shows as 13 bytes' "$(sql "select length(xml_dom_new_document_empty()::bytea)")" 13
is 'the first handle of a session' "$(sql 'select xml_dom_new_document_empty()')" \
    '\x00000000000000000200000001'
is 'a handle typed in as a literal' "$(sql "select xml_dom_new_document_clob('<a/>') is not null" \
    "select xml_dom_get_node_name(xml_dom_get_document_element('\\x00000000000000000200000001'))" | tail -n 1)" a

is 'PL/pgSQL variables' "$(sql "do \$\$ declare d raw; n raw; begin
    d := xml_dom_new_document_clob('<a><b/><c/></a>');
    n := xml_dom_get_first_child(xml_dom_get_document_element(d));
    n := xml_dom_get_next_sibling(n);
    raise notice 'name %', xml_dom_get_node_name(n); end \$\$" | grep -c 'name c$')" 1

for storage in extended external plain main; do
    is "a table column, storage $storage: stored with a one-byte header and read" "$(sql \
        'create temporary table kept (id integer, h raw)' \
        "alter table kept alter h set storage $storage" \
        "insert into kept select i, xml_dom_new_document_clob('<d' || i || '/>') from generate_series(1, 3) i" \
        "select string_agg(xml_dom_get_node_name(xml_dom_get_document_element(h)), ' ' order by id) from kept")" \
        'd1 d2 d3'
done
is 'a stored handle takes 14 bytes' "$(sql 'create temporary table kept (h raw)' \
    "insert into kept select xml_dom_new_document_empty()" 'select pg_column_size(h) from kept')" 14
is 'a prepared parameter' "$(sql "prepare name(raw) as select xml_dom_get_node_name(xml_dom_get_document_element(\$1))" \
    "create temporary table kept as select xml_dom_new_document_clob('<p/>') as h" \
    "do \$\$ declare n text; begin execute 'select xml_dom_get_node_name(xml_dom_get_document_element(\$1))'
        into n using (select h from kept); raise notice 'name %', n; end \$\$" | grep -c 'name p$')" 1
is 'composite fields' "$(sql 'create type holder as (label text, h raw)' \
    'create temporary table kept (c holder)' \
    "insert into kept select row('x', xml_dom_new_document_clob('<c/>'))::holder" \
    'select (c).label, xml_dom_get_node_name(xml_dom_get_document_element((c).h)) from kept')" 'x|c'
is 'arrays' "$(sql "select xml_dom_get_node_name(xml_dom_get_document_element((array[
    xml_dom_new_document_clob('<one/>'), xml_dom_new_document_clob('<two/>')])[2]))")" two
is 'a function that passes a handle on' "$(sql \
    "create function root(d raw) returns raw language sql as 'select xml_dom_get_document_element(d)'" \
    "select xml_dom_get_node_name(root(xml_dom_new_document_clob('<f/>')))")" f
is 'handles compare and group' "$(sql "select count(distinct h) from (
    select xml_dom_new_document_empty() as h from generate_series(1, 5)) as made")" 5

# refused NAME HANDLE: a reading function must not know the handle.
refused() {
    is "$1" "$(sqlstate_of "select xml_dom_new_document_clob('<a/>')" "select xml_dom_get_node_name('$2'::raw)")" 2200U
}
refused 'an empty value' '\x'
refused 'one byte' '\x00'
refused 'ten bytes, which with a long header would count fourteen' '\x00000000000000000200'
refused 'twelve bytes' '\x000000000000000002000000'
refused 'fourteen bytes' '\x0000000000000000020000000101'
refused 'seventeen bytes' '\x0000000000000000020000000101010101'
refused 'another serial' '\x00000000000000000300000001'
refused 'another flag' '\x00000000000000000200000000'
refused 'an unknown document' '\x01000000000000000200000001'
refused 'an unknown node' '\x00000000010000000200000001'
refused 'the largest numbers' '\xffffffffffffffffffffffffff'
is 'a megabyte' "$(sqlstate_of "select xml_dom_get_node_name(repeat('ab', 500000)::bytea::raw)")" 2200U
is 'ten bytes stored with a long header' "$(sqlstate_of 'create temporary table kept (h raw)' \
    'alter table kept alter h set storage plain' "insert into kept values ('\\x00000000000000000200')" \
    'select xml_dom_get_node_name(h) from kept')" 2200U
is 'a compressed megabyte out of line' "$(sqlstate_of 'create temporary table kept (h raw)' \
    "insert into kept values (repeat('ab', 500000)::bytea)" 'select xml_dom_get_node_name(h) from kept')" 2200U
is 'a freed document' "$(sqlstate_of "create temporary table kept as select xml_dom_new_document_clob('<a/>') as h" \
    'select xml_dom_free_document(h) from kept' 'select xml_dom_get_node_name(h) from kept')" 2200U
is 'a handle of another session' "$(handle=$(sql "select xml_dom_new_document_clob('<a/>')")
    sqlstate_of "select xml_dom_write_to_buffer_doc('$handle')")" 2200U

# Every function that takes handles with every forged one in the place of each, four of them of a
# wrong size: what comes out, by function. Those that do not stand here refuse all as unknown, 2200U.
#   a parser's handle is looked up among the parsers (2200X) by its first four bytes
#   freeing what is unknown is no error
#   a file's name, which is none here, is checked before a handle of a node is looked up (22023)
cat >"$work/expected" <<'END'
xml_dom_free_document(raw) 2200U 2200U 2200U "" "" "" 2200U
xml_dom_write_to_file_node(raw,text) 2200U 2200U 2200U 22023 22023 22023 2200U
xml_dom_write_to_file_node(raw,text,text) 2200U 2200U 2200U 22023 22023 22023 2200U
xmlparser_free_parser(raw) 2200U 2200U 2200U null null null 2200U
xmlparser_get_doc(raw) 2200U 2200U 2200U 2200X 2200X 2200X 2200U
xmlparser_get_validation_mode(raw) 2200U 2200U 2200U 2200X 2200X 2200X 2200U
xmlparser_parse_buffer(raw,text) 2200U 2200U 2200U 2200X 2200X 2200X 2200U
xmlparser_parse_clob(raw,oid) 2200U 2200U 2200U 2200X 2200X 2200X 2200U
xmlparser_parse_clob(raw,text) 2200U 2200U 2200U 2200X 2200X 2200X 2200U
xmlparser_set_validation_mode(raw,boolean) 2200U 2200U 2200U 2200X 2200X 2200X 2200U
END
cat >"$work/forged.sql" <<'END'
create temporary table outcomes (function text, number bigint, outcome text);
do $$
declare
    made record;
    forged text;
    number integer;
    outcome text;
begin
    for made in
        select p.oid::regprocedure::text as function, p.oid::regproc::text as name, p.proargtypes::oid[] as types
        from pg_proc p join pg_depend d on d.objid = p.oid and d.classid = 'pg_proc'::regclass
            and d.deptype = 'e' and d.refclassid = 'pg_extension'::regclass
        where p.proname ~ '^(xml_dom_|xmlparser_)' and 'raw'::regtype = any (p.proargtypes)
    loop
        number := 0;
        foreach forged in array array['\x', '\x00', '\x00000000000000000200', '\xffffffffffffffffffffffffff',
            '\x00000000000000000300000001', '\x00000000ffffffff0200000001', '\x0000000000000000020000000101'] loop
            number := number + 1;
            begin
                execute format('select %s(%s)::text', made.name, (select string_agg(case
                    when type = 'raw'::regtype then quote_literal(forged) || '::raw'
                    when type = 'integer'::regtype then '1'
                    when type = 'boolean'::regtype then 'true'
                    when type = 'oid'::regtype then '0'
                    else quote_literal('<t/>') end, ', ' order by place)
                    from unnest(made.types) with ordinality as argument(type, place))) into outcome;
            exception when others then
                outcome := sqlstate;
            end;
            insert into outcomes values (made.function, number,
                case outcome when '' then '""' else coalesce(outcome, 'null') end);
        end loop;
    end loop;
end $$;
END
answer=$(sql "select xml_dom_new_document_clob('<a b=\"c\"><d/>e</a>') is not null" "\\i $work/forged.sql" \
    "\\o $work/outcomes" "select function || ' ' || string_agg(outcome, ' ' order by number) from outcomes
        group by function having bool_or(outcome <> '2200U') order by function collate \"C\"" '\o' \
    'select count(distinct function) >= 60 from outcomes' 'select xml_dom_get_session_tree_num()')
is 'every function with forged handles' "$(cat "$work/outcomes")" "$(cat "$work/expected")"
is 'all of them were called, and the session goes on with its one document' "$answer" $'t\nt\n1'
done_testing
