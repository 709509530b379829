# shellcheck shell=bash
# Paths on a server: text in the encoding of the database, hostile paths that end in an error naming
# their limit, statements that stop, and nothing that stays behind.
. "$(dirname "$0")/lib.sh"

# asked ENCODING TEXT PATH: what xpath_text gives.
asked() { sql "select xmldom.xpath_text(xmldom.parse('$1'), '$2')"; }

in_database() {
    local name
    name=t_paths_$(tr 'A-Z' 'a-z' <<<"$1")
    psql -X -q -d postgres \
        -c "create database $name template template0 encoding '$1' lc_collate 'C' lc_ctype 'C'" || exit 1
    export PGDATABASE=$name
    client -c 'create extension pkg_dbe_xml' || exit 1
}

first_database=$PGDATABASE
for encoding in UTF8 LATIN1; do
    in_database $encoding
    is "$encoding: names and values" "$(asked '<größe é="ü">ÿ</größe>' 'concat(/größe, /größe/@é)')" 'ÿü'
    is "$encoding: length in characters" "$(asked '<a>größe</a>' 'string-length(/a)')" 5
    is "$encoding: substring" "$(asked '<a>größe</a>' 'substring(/a, 3, 2)')" 'öß'
    is "$encoding: translate" "$(asked '<a>größe</a>' 'translate(/a, "öß", "os")')" 'grose'
    is "$encoding: a literal" "$(asked '<a><b>ü</b><b>u</b></a>' 'count(//b[. = "ü"])')" 1
    is "$encoding: prefixes and variables" \
        "$(sql "select xmldom.xpath_text(xmldom.parse('<p:ä xmlns:p=\"urn:ö\">ü</p:ä>'), 'concat(/ß:ä, \$é)',
            array['ß', 'urn:ö'], array['é', 'è'])")" 'üè'
    like "$encoding: an unknown name is shown in it, the position in characters" \
        "$(asked '<a/>' '"üüü" = größe(1)')" '"größe" at character 9'
    is "$encoding: a column path" \
        "$(sql "select xmldom.get_text_content(n) from xmldom.xpath(xmldom.parse('<a><ü>é</ü></a>'), '//ü') as n")" é
done
like 'LATIN1: a character beyond is the error of the server' "$(asked '<a>&#9731;</a>' '/a')" 22P05
is 'LATIN1: and can be asked for by what does not leave' "$(asked '<a>&#9731;</a>' 'string-length(/a)')" 1

in_database EUC_JP
is 'EUC_JP: names and values' "$(asked '<文書 属性="値">本文</文書>' 'concat(/文書/@属性, /文書)')" 値本文
is 'EUC_JP: length in characters' "$(asked '<a>日本語</a>' 'string-length(/a)')" 3
is 'EUC_JP: contains' "$(asked '<a>日本語テキスト</a>' 'contains(/a, "語テ")')" true
like 'EUC_JP: where the error is, in characters' "$(asked '<a/>' '"日本" = )')" 'character 8'
export PGDATABASE=$first_database

# --- what does not end by itself soon
sql "create table long as select '<r>' || string_agg(format('<a n=\"%s\"><b>t%s</b></a>', i, i), '') || '</r>' as x
    from generate_series(1, 20000) as i" >/dev/null
open_session
tell 'create temporary table held as select xmldom.parse(x) as d from long' >/dev/null
stops() {
    local answer
    answer=$(tell "set statement_timeout = 300" \
        "select xmldom.xpath_text(d, '$2') from held, generate_series(1, 100000)" 'reset statement_timeout')
    like "$1: ends as timed out" "$answer" 57014
}
tell "set pkg_dbe_xml.max_path_work = 2147483647" >/dev/null
stops 'a join of a set with itself' 'count(//a[@n = //b])'
stops 'a square of predicates' 'count(//a[count(//a[count(//b) > 0]) > 0])'
stops 'long walks from each node' 'sum(//a[count(preceding::b) mod 2 = 0]/@n)'
stops 'sorting' 'count((//a | //b)[last()]/preceding::*)'
stops 'a search in a text for each node' 'count(//a[contains(/r, concat("t", @n, "x"))])'
stops 'translating' 'string-length(translate(/r, string(/r), "x"))'
is 'the document is whole afterwards' "$(tell "select xmldom.xpath_text(d, 'count(//*)') from held")" 40001
tell "reset pkg_dbe_xml.max_path_work" >/dev/null

like 'more work than the limit is an error that names it' \
    "$(tell 'set pkg_dbe_xml.max_path_work = 100000' "select xmldom.xpath_text(d, 'count(//a[count(preceding::b) > 3])') from held" \
        'reset pkg_dbe_xml.max_path_work')" '54000.*more work.*pkg_dbe_xml.max_path_work'
like 'more memory than the limit is an error that names it' \
    "$(tell 'set pkg_dbe_xml.max_path_memory = 64' "select count(n) from held, xmldom.xpath(d, '//a/@n | //b') as n" \
        'reset pkg_dbe_xml.max_path_memory')" '54000.*pkg_dbe_xml.max_path_memory'
like 'a million parentheses' "$(tell "select xmldom.xpath_text(d, repeat('(', 1000000)) from held")" 54001
like 'a path of more than a megabyte' "$(tell "select xmldom.xpath_text(d, repeat(' ', 1100000) || '1') from held")" 54000
is 'the session goes on' "$(tell "select xmldom.xpath_number(d, 'count(//b)') from held")" 20000

# --- nothing stays
bytes() {
    tell "select sum(total_bytes) from pg_backend_memory_contexts where name like 'pkg_dbe_xml%' or parent like 'pkg_dbe_xml%'"
}
ask="select count(xmldom.xpath_text(d, '//a[@n = ' || i || ']/b')), count(xmldom.xpath_first(d, '//a[' || i || ']'))
    from held, generate_series(1, 300) as i"
tell "$ask" >/dev/null
before=$(bytes)
tell "$ask" "$ask" >/dev/null
is 'asking again for nodes that have handles keeps nothing' "$(bytes)" "$before"
failing="do \$\$ declare t xmldom.document := (select d from held); begin
    for i in 1..300 loop
        begin perform xmldom.xpath_text(t, '//a[' || i || ' = nothing(]'); exception when others then null; end;
    end loop; end \$\$"
tell "$failing" >/dev/null
before=$(bytes)
tell "$failing" "$failing" >/dev/null
is 'paths that fail keep nothing' "$(bytes)" "$before"
close_session

done_testing
