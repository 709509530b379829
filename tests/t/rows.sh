# shellcheck shell=bash
# Rows out of trees and texts: they stop when they are told to, a parse that begins anew gives each row
# once, what a text takes of memory, other encodings, the same rows as the server's xmltable.
. "$(dirname "$0")/lib.sh"

sql "create table big as select '<a>' || repeat('<b c=\"1\"><d>x</d> </b>', 400000) || '</a>' as x" \
    "create function takes_time(text) returns boolean language plpgsql as 'begin perform pg_sleep(0.01); return true; end'" \
    'create domain slow as text check (takes_time(value))' >/dev/null
left='select documents, handles, nodes from xmldom.session'
peak="select (regexp_match(pg_read_file('/proc/self/status'), 'VmHWM:\s+(\d+)'))[1]::integer"

# stops NAME STATEMENT: the statement, which would run for minutes, ends by the timeout. What it reads
# depends on the number of the round: otherwise the server would read it once and join the rounds to it.
stops() { like "$1: ends as timed out" "$(tell 'set statement_timeout = 300' "$2" 'reset statement_timeout')" 57014; }
open_session
stops 'rows of a text' \
    "select count(c) from big, generate_series(1, 1000) as n, xmldom.rows_of_text(case when n > 0 then x end, '/a/b', array['@c']) as t(c int)"
stops 'rows of a text that is made a tree' \
    "select count(c) from big, generate_series(1, 1000) as n, xmldom.rows_of_text(case when n > 0 then x end, '//b', array['@c']) as t(c int)"
stops 'rows of a text that has none' \
    "select count(c) from big, generate_series(1, 1000) as n, xmldom.rows_of_text(case when n > 0 then x end, '/a/b/c/d', array['@c']) as t(c int)"
stops 'conversions that take time' \
    "select count(d) from big, xmldom.rows_of_text(x, '/a/b', array['d']) as t(d slow)"
is 'nothing is left of them' "$(tell "$left")" '0|0|0'
tell 'create temporary table held as select xmldom.parse(x) as tree from big' >/dev/null
before=$(tell "$left")
stops 'rows of a tree' \
    "select count(c) from held, generate_series(1, 1000) as n, xmldom.rows(case when n > 0 then tree end, '/a/b', array['@c']) as t(c int)"
stops 'rows by a path that asks more' \
    "select count(c) from held, generate_series(1, 1000) as n, xmldom.rows(case when n > 0 then tree end, '/a/b', array['count(preceding-sibling::b)']) as t(c int)"
stops 'conversions of a tree that take time' \
    "select count(d) from held, xmldom.rows(tree, '/a/b', array['d']) as t(d slow)"
is 'nothing but the tree is left' "$(tell "$left")" "$before"
is 'the session goes on' "$(tell "select count(c) from held, xmldom.rows(tree, '/a/b', array['@c']) as t(c int)")" 400000
tell 'select xmldom.free_all()' >/dev/null
close_session

# A request that ends nothing interrupts a parse, which begins anew.
background counting 'select pg_backend_pid()' 'select pg_sleep(0.5)' \
    "select n, (select count(*) || ' ' || sum(c) from big, xmldom.rows_of_text(x, '/a/b', array['@c']) as t(c int) where n > 0)
     from generate_series(1, 10) as n"
wait_for_statement counting 'from generate_series'
for ((i = 0; i < 40; i++)); do
    sql "select pg_log_backend_memory_contexts(pid) from pg_stat_activity where application_name = 'counting'" >/dev/null
done
is 'each row is given once, however often the parse begins' \
    "$(output_of counting | grep -c '|400000 400000$')" 10
like 'and the requests came in between' "$(grep -c 'logging memory contexts' "$SERVER_LOG")" '^[1-9]'

# What a text takes: not a tree of it.
xmltable_peak=$(sql "select count(c) from big, xmltable('/a/b' passing (x::xml) columns c int path '@c')" "$peak" | tail -n 1)
rows_peak=$(sql "select count(c) from big, xmldom.rows_of_text(x, '/a/b', array['@c']) as t(c int)" "$peak" | tail -n 1)
echo "# peak with xmltable $xmltable_peak kB, with rows_of_text $rows_peak kB"
at_most 'a third of what xmltable takes, kB' "$rows_peak" $((xmltable_peak / 3))
grown=$(sql "do \$\$ declare before integer; begin
        for i in 1 .. 60000 loop
            if i = 5000 then before := $(cut -d ' ' -f 2- <<<"$peak"); end if;
            begin
                perform * from xmldom.rows_of_text('<a><b>1</b><b>' || repeat('x', i % 3) || '</b></a>', '/a/b',
                    array['.', '..']) as t(b int, c text);
            exception when invalid_text_representation then null;
            end;
        end loop;
        raise notice 'grown by % kB', $(cut -d ' ' -f 2- <<<"$peak") - before;
    end \$\$" | sed -n 's/^NOTICE:.*grown by \(-\{0,1\}[0-9]*\) kB$/\1/p')
at_most 'sixty thousand calls, most of which fail, kB' "${grown:-no answer}" 2000

# The rows of xmltable are ours.
documents="(values ('<a><b c=\"1\"><d>x</d></b> <b/><b c=\"3\"><d/></b></a>'), ('<a/>'),
    ('<a><b c=\"4\"><d>&lt;<![CDATA[&]]>é</d><e>1</e></b><b><b c=\"5\"/><d> y </d></b></a>'),
    ('<!DOCTYPE a [<!ENTITY e \"ent\">]><a><b c=\"6\"><d>&e;</d></b></a>')) as documents(x)"
for paths in '/a/b @c d' '//b @c d' '/a/b/d ../@c .' '/a/b count(*) string(d)' '/a/* number(@c)+1 concat(e,"é")'; do
    read -r rows first second <<<"$paths"
    is "the rows of $paths" \
        "$(sql "select t.* from $documents, xmldom.rows_of_text(x, '$rows', array['$first', '$second']) as t(c text, d text)")" \
        "$(sql "select t.* from $documents, xmltable('$rows' passing (x::xml) columns c text path '$first', d text path '$second') as t")"
done

# Nulls for values that do not convert, from PostgreSQL 16 on.
version=$(sql 'show server_version_num')
# nulls NAME CALL EXPECTED: three columns, of which a number and a date need not convert.
nulls() {
    local got expected=$3
    [ "$version" -ge 160000 ] || expected='ERROR:  0A000: this server cannot make nulls of values that do not convert'
    got=$(sql "select * from $2 as t(number int, name text, day date)")
    is "$1: nulls, or a server that says that it makes none" "$(sed '/^DETAIL/,$d' <<<"$got")" "$expected"
}
kept='<a><b>1<d>2026-11-22</d></b><b>one<d>no day</d></b><b>3<d>2026-02-30</d></b></a>'
columns="'/a/b', array['text()', 'text()', 'd'], on_error => 'null'"
rows=$'1|1|2026-11-22\n|one|\n3|3|'
nulls 'rows of a text' "xmldom.rows_of_text('$kept', $columns)" "$rows"
nulls 'rows of a text that is made a tree' "xmldom.rows_of_text('$kept', '//b', array['text()', 'text()', 'd'], on_error => 'null')" "$rows"
nulls 'rows of a tree' "xmldom.rows(xmldom.parse('$kept'), $columns)" "$rows"
nulls 'rows of a stream' "xmlparser.rows('$kept'::text, $columns)" "$rows"
# What is no failed conversion stays an error.
refused=$([ "$version" -ge 160000 ] && echo 57014 || echo 0A000)
open_session
like 'a conversion that is stopped makes no null' "$(tell 'set statement_timeout = 300' \
    "select count(d) from big, xmldom.rows_of_text(x, '/a/b', array['d'], on_error => 'null') as t(d slow)" \
    'reset statement_timeout')" "$refused"
is 'nothing is left of it' "$(tell "$left")" '0|0|0'
close_session
if [ "$version" -ge 160000 ]; then
    grown=$(sql "do \$\$ declare before integer; made integer; begin
            for i in 1 .. 20 loop
                if i = 5 then before := $(cut -d ' ' -f 2- <<<"$peak"); end if;
                select count(*) filter (where c is null) into made from xmldom.rows_of_text('<a>' || repeat('<b>x</b>', 20000)
                    || '</a>', '/a/b', array['.'], on_error => 'null') as t(c int);
                if made <> 20000 then raise exception 'only % nulls', made; end if;
            end loop;
            raise notice 'grown by % kB', $(cut -d ' ' -f 2- <<<"$peak") - before;
        end \$\$" | sed -n 's/^NOTICE:.*grown by \(-\{0,1\}[0-9]*\) kB$/\1/p')
    at_most 'four hundred thousand nulls, kB' "${grown:-no answer}" 2000
fi

# Another encoding: names, paths and values are shown in it.
sql "create database rows_latin1 encoding 'LATIN1' template template0 locale 'C'" >/dev/null
export PGDATABASE=rows_latin1
sql 'create extension pkg_dbe_xml' >/dev/null
is 'LATIN1: names, paths and values' \
    "$(sql "select t.* from xmldom.rows_of_text('<ä><ö ü=\"ß\">é</ö></ä>', '/ä/ö', array[['größe', '@ü'], ['wert', '.']])
        as t(wert text, größe text)")" 'é|ß'
like 'LATIN1: a value that does not convert' \
    "$(sql "select * from xmldom.rows_of_text('<ä><ö>é</ö></ä>', '/ä', array['ö']) as t(größe int)")" \
    '^CONTEXT:  row 1, column "größe", path "ö", value "é"'
like 'LATIN1: a character that it has not' \
    "$(sql "select * from xmldom.rows_of_text('<ä><ö>&#8364;</ö></ä>', '/ä', array['ö']) as t(größe text)")" \
    '^CONTEXT:  row 1, column "größe", path "ö"$'
like 'LATIN1: several nodes' \
    "$(sql "select * from xmldom.rows_of_text('<ä><ö/><ö/></ä>', '/ä', array['ö']) as t(größe text)")" \
    'the path of the column "größe" gives 2 nodes for one row'
export PGDATABASE=t_rows
sql 'drop database rows_latin1' >/dev/null
done_testing
