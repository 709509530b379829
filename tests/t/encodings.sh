# shellcheck shell=bash
# Databases in several encodings: text goes in and comes out in the encoding of the database, is
# UTF-8 within, and a character that the database does not have is the server's own error.
. "$(dirname "$0")/lib.sh"

# in_database ENCODING: makes a database of that encoding current.
in_database() {
    local name
    name=t_encodings_$(tr 'A-Z' 'a-z' <<<"$1")
    psql -X -q -d postgres \
        -c "create database $name template template0 encoding '$1' lc_collate 'C' lc_ctype 'C'" || exit 1
    export PGDATABASE=$name
    client -c 'create extension pkg_dbe_xml' || exit 1
}

round_trip() {
    sql "select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('$1'))"
}
# node_value TEXT: the value of the first child of the root.
node_value() {
    sql "select xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_get_first_child(
        xml_dom_new_document_clob('$1'))))"
}

in_database UTF8
like 'UTF8: names and text of three scripts' "$(round_trip '<größe einheit="č">日本 ☃</größe>')" \
    '<größe einheit="č">日本 ☃</größe>'
is 'UTF8: a value' "$(node_value '<a>日本 ☃ 𝄞</a>')" '日本 ☃ 𝄞'
is 'UTF8: a declared encoding does not decode twice' \
    "$(node_value '<?xml version="1.0" encoding="ISO-8859-1"?><a>größe</a>')" 'größe'
is 'UTF8: nor does one of two bytes' "$(node_value '<?xml version="1.0" encoding="UTF-16"?><a>größe</a>')" 'größe'
is 'UTF8: nor one that nobody knows' "$(node_value '<?xml version="1.0" encoding="x-none"?><a>größe</a>')" 'größe'

in_database LATIN1
is 'LATIN1: the database is LATIN1' "$(sql 'show server_encoding')" LATIN1
like 'LATIN1: names and text' "$(round_trip '<größe einheit="é">ÿ</größe>')" '<größe einheit="é">ÿ</größe>'
is 'LATIN1: the value has one byte to a letter' \
    "$(sql "select octet_length(xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_get_first_child(
        xml_dom_new_document_clob('<a>größe</a>')))))")" 5
is 'LATIN1: a character reference within' "$(node_value '<a>&#252;</a>')" 'ü'
like 'LATIN1: one beyond is the error of the server' "$(node_value '<a>&#9731;</a>')" '22P05'
like 'LATIN1: and the session goes on' \
    "$(sql "select xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_get_first_child(
        xml_dom_new_document_clob('<a>&#9731;</a>'))))" "select 1+1")" '^2$'
is 'LATIN1: a tag is found by its name' \
    "$(sql "select xml_dom_get_length(xml_dom_get_elements_by_tagname_document(
        xml_dom_new_document_clob('<a><ü/><u/><ü/></a>'), 'ü'))")" 2
is 'LATIN1: an attribute is set and read' \
    "$(sql "do \$\$ declare d raw := xml_dom_new_document_clob('<a/>'); e raw := xml_dom_get_document_element(d);
        begin perform xml_dom_set_attribute(e, 'grüße', 'é'); raise notice '%', xml_dom_get_attribute(e, 'grüße'); end \$\$" |
        grep -c 'NOTICE:.*: é$')" 1
like 'LATIN1: the error of a parse is shown in it' "$(round_trip '<größe></grüße>')" 'CONTEXT:.*größe'
is 'LATIN1: a declared UTF-8 does not decode twice' \
    "$(node_value '<?xml version="1.0" encoding="UTF-8"?><a>größe</a>')" 'größe'

in_database EUC_JP
is 'EUC_JP: a value' "$(node_value '<a>日本語テキスト</a>')" '日本語テキスト'
like 'EUC_JP: names' "$(round_trip '<文書 属性="値">本文</文書>')" '<文書 属性="値">本文</文書>'
is 'EUC_JP: the value has two bytes to a letter' \
    "$(sql "select octet_length(xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_get_first_child(
        xml_dom_new_document_clob('<a>日本語</a>')))))")" 6
like 'EUC_JP: a character beyond' "$(node_value '<a>&#9731;</a>')" '22P05'
is 'EUC_JP: an encoding declared as EUC-JP does not decode twice' \
    "$(node_value '<?xml version="1.0" encoding="EUC-JP"?><a>日本語</a>')" '日本語'
# Handles are bytes, not text: every byte value comes through.
is 'EUC_JP: a handle to set an attribute node' \
    "$(sql "do \$\$ declare d raw; e raw; t raw; same integer := 0;
        begin
            select xml_dom_new_document_clob('<a ' || string_agg(format('x%s=\"\"', i), ' ') || '/>')
                into d from generate_series(1, 300) as i;
            e := xml_dom_get_document_element(d);
            for i in 1..300 loop
                t := xml_dom_create_attribute(d, 'x' || i);
                if xml_dom_set_attribute_node(e, t) = t then same := same + 1; end if;
            end loop;
            raise notice 'set: %', same;
        end \$\$" | grep -c 'set: 300$')" 1

in_database SQL_ASCII
export PGCLIENTENCODING=SQL_ASCII
is 'SQL_ASCII: text is taken as UTF-8' "$(node_value '<a>größe</a>')" 'größe'
is 'SQL_ASCII: a character reference gives UTF-8' "$(node_value '<a>&#9731;</a>')" '☃'
like 'SQL_ASCII: bytes that are no UTF-8 are the error of the server' \
    "$(sql "select xml_dom_new_document_clob(E'<a>\\xff</a>')")" '22021'
done_testing
