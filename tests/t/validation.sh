# shellcheck shell=bash
# Validation by schemas in the database: other sessions, dumps, requests to stop, memory, what nobody
# else may load.
. "$(dirname "$0")/lib.sh"

sql 'create extension pkg_dbe_xml_validate' >/dev/null
schema='<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:element name="a"><xs:complexType><xs:sequence>
    <xs:element name="b" type="xs:int" maxOccurs="unbounded"/></xs:sequence></xs:complexType>KEY</xs:element></xs:schema>'
dates=${schema/xs:int/xs:date}
add() { echo "select xmlschema.add_schemas(array[array['$1', '$2']])"; }
sql "$(add a.xsd "${schema/KEY/}")" >/dev/null
is 'valid' "$(sql "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd'), xmlschema.is_valid('<a><b>x</b></a>', 'a.xsd')")" 't|f'

# What another session changes is seen by the next call, in the same transaction too.
for isolation in 'read committed' 'repeatable read'; do
    open_session
    tell "begin isolation level $isolation" >/dev/null
    is "$isolation: compiled" "$(tell "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')")" t
    sql "$(add a.xsd "${dates/KEY/}")" >/dev/null
    is "$isolation: another session changes it" "$(tell "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')")" f
    sql 'begin' "$(add a.xsd "${schema/KEY/}")" 'rollback' >/dev/null
    is "$isolation: and takes a change back" "$(tell "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')")" f
    sql "$(add a.xsd "${schema/KEY/}")" >/dev/null
    is "$isolation: and changes it again" "$(tell "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')")" t
    sql "select xmlschema.remove_schema('a.xsd')" >/dev/null
    like "$isolation: and removes it" "$(tell "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')")" 'ERROR:  XV001: there is no schema "a.xsd"'
    tell rollback >/dev/null
    close_session
    sql "$(add a.xsd "${schema/KEY/}")" >/dev/null
done

# A dump keeps the schemas, and they work where it is restored.
pg_dump -Fc -f "$work/dump" "$PGDATABASE"
sql 'create database restored_schemas template template0' >/dev/null
pg_restore -d restored_schemas "$work/dump" 2>"$work/restore.err"
is 'a dump is restored' "$(cat "$work/restore.err")" ''
is 'with its schemas' "$(PGDATABASE=restored_schemas sql "select count(*) from xmlschema.schemas" \
    "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')" "$(add b.xsd "${schema/KEY/}")" \
    "select xmlschema.is_valid('<a><b>x</b></a>', 'b.xsd')" | paste -sd' ')" '1 t 1 f'
sql 'drop database restored_schemas' >/dev/null

# Nothing of the library is loaded by who does not validate.
loaded="select count(*) from pg_catalog.pg_read_file('/proc/' || pg_backend_pid() || '/maps') as maps where maps ~ 'pkg_dbe_xml_validate'"
is 'loaded by the first call only' "$(sql "select xmldom.to_text(xmldom.parse('<a/>'))" "$loaded" \
    "select xmlschema.is_valid('<a/>', 'a.xsd')" "$loaded" | paste -sd' ')" '<a/> 0 f 1'

# A request to stop is served between two elements. The rounds would take hours.
key='<xs:key name="k"><xs:selector xpath="b"/><xs:field xpath="."/></xs:key>'
sql "$(add key.xsd "${schema/KEY/$key}")" >/dev/null
many="(select '<a>' || string_agg('<b>' || n || '</b>', '') || '</a>' from generate_series(1, 200000) as n)"
stopped=$(sql "create table many as select xmldom.parse($many) is not null as made, $many as text" \
    "select xmldom.parse(text)::raw as tree from many \\gset" "select xmlschema.is_valid('<a><b>1</b></a>', 'key.xsd')" \
    "set statement_timeout = '500ms'" '\timing on' "select count(xmlschema.is_valid(case when n > 0 then :'tree'::raw::xmldom.node end, 'key.xsd')) from generate_series(1, 100000) as n" '\timing off' \
    'reset statement_timeout' "select xmldom.to_text(:'tree'::raw::xmldom.node) = text from many")
like 'a validation is stopped' "$stopped" 'ERROR:  57014'
like 'and leaves the tree as it was' "$stopped" '^t$'
is 'and catches it, and goes on' "$(sql "set statement_timeout = '500ms'" "do \$\$ begin
        perform xmlschema.is_valid(case when n > 0 then text end, 'key.xsd') from many, generate_series(1, 100000) as n;
    exception when query_canceled then raise notice 'stopped'; end \$\$" \
    "select xmlschema.is_valid('<a><b>1</b><b>1</b></a>', 'key.xsd')" | sed -n 's/^NOTICE:.*stopped/stopped/p; /^[tf]$/p' | paste -sd' ')" 'stopped f'

# Memory: more than a parse may take ends the statement, and more than the session may hold.
limits=$(sql 'set pkg_dbe_xml.parse_budget_base = 1024' 'set pkg_dbe_xml.parse_budget_factor = 1' \
    "select xmldom.parse('<a>' || repeat('<b>1</b>', 10) || '</a>')::raw as tree \\gset" \
    "select xmlschema.is_valid(:'tree'::raw::xmldom.node, 'a.xsd')" \
    "select xmlschema.is_valid('<a>' || repeat('<b>x</b>', 100000) || '</a>', 'a.xsd')")
like 'within the limits' "$limits" '^t$'
like 'beyond them' "$limits" 'ERROR:  (2200M|54000)'

# Patterns that are tried in every way: libxml2 gives up after ten million steps.
pattern='<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:element name="r"><xs:simpleType><xs:restriction base="xs:string">
    <xs:pattern value="(a|aa|a?a)*(a|b)*c"/></xs:restriction></xs:simpleType></xs:element></xs:schema>'
sql "$(add pattern.xsd "$pattern")" >/dev/null
is 'a pattern that backtracks ends in an error' "$(sqlstate_of "select xmlschema.is_valid('<r>' || repeat('a', 40) || '</r>', 'pattern.xsd')")" XX000
is 'the session goes on' "$(sql "select xmlschema.is_valid('<r>c</r>', 'pattern.xsd')")" t

# Handles that name nothing any more, and nothing of another session.
like 'a handle that is gone' "$(sql "select xmldom.parse('<a/>')::raw as tree \\gset" "select xmldom.free_all() \\g /dev/null" \
    "select xmlschema.is_valid(:'tree'::raw::xmldom.node, 'a.xsd')")" 'ERROR:  2200U'

# After DISCARD ALL no schema is kept, and the next call compiles it again.
is 'DISCARD ALL' "$(sql "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')" 'discard all' \
    "select xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd')" | paste -sd' ')" 't t'

# Thousands of calls, schemas and failures leave nothing.
grown=$(sql "do \$\$ declare before bigint; begin
    for round in 1 .. 2 loop
        before := (select (regexp_match(pg_read_file('/proc/self/status'), 'VmRSS:\s+(\d+)'))[1]::bigint);
        for number in 1 .. 1500 loop
            perform xmlschema.is_valid('<a><b>1</b></a>', 'a.xsd'), xmlschema.is_valid('<a><b>x</b></a>', 'a.xsd');
            if number % 30 = 0 then
                update xmlschema.schemas set text = text || ' ' where location = 'a.xsd';
            end if;
            begin
                perform xmlschema.assert_valid('<a/>', 'a.xsd');
            exception when others then null;
            end;
        end loop;
        raise notice 'grown by % kB', (select (regexp_match(pg_read_file('/proc/self/status'), 'VmRSS:\s+(\d+)'))[1]::bigint) - before;
    end loop; end \$\$" | sed -n 's/^NOTICE:.*grown by \(-\{0,1\}[0-9]*\) kB$/\1/p' | tail -n 1)
at_most '4,500 calls more, a third of which fail, kB' "${grown:-no answer}" 3000
done_testing
