# Reading trees in databases of several encodings: names and values come out in the encoding of the
# database, names to look for go in from it, and what the database cannot hold is the server's error.
. "$(dirname "$0")/lib.sh"

# in_database ENCODING WORD: makes a database of that encoding current; all its texts hold WORD.
in_database() {
    local name
    name=t_reading_$(tr 'A-Z' 'a-z' <<<"$1")
    encoding=$1
    word=$2
    PGDATABASE=postgres psql -X -q \
        -c "create database $name template template0 encoding '$1' lc_collate 'C' lc_ctype 'C'" || exit 1
    export PGDATABASE=$name
    client -c 'create extension pkg_dbe_xml' || exit 1
    document="xml_dom_new_document_clob('<$word xmlns:p=\"urn:$word\" $word=\"$word\" p:$word=\"in $word\"><p:$word>$word</p:$word><!--$word--></$word>')"
    element="xml_dom_get_document_element($document)"
    child="xml_dom_get_first_child($element)"
}
# reads NAME EXPRESSION EXPECTED
reads() { is "$encoding: $1" "$(sql "select $2")" "$3"; }

read_everything() {
    reads 'the database has that encoding' "current_setting('server_encoding')" "$encoding"
    reads 'tag name' "xml_dom_get_tagname($element)" "$word"
    reads 'local name' "xml_dom_get_localname($child)" "$word"
    reads 'node name with a prefix' "xml_dom_get_node_name($child)" "p:$word"
    reads 'value of a text' "xml_dom_get_node_value(xml_dom_get_first_child($child))" "$word"
    reads 'value of a comment' "xml_dom_get_node_value(xml_dom_get_last_child($element))" "$word"
    reads 'attribute' "xml_dom_get_attribute($element, '$word')" "$word"
    reads 'attribute in a namespace' "xml_dom_get_attribute_ns($element, '$word', 'urn:$word')" "in $word"
    reads 'attribute as a node' \
        "xml_dom_get_node_name(xml_dom_get_attribute_node($element, '$word', 'urn:$word'))" "p:$word"
    reads 'item of a map' "xml_dom_get_node_value(xml_dom_get_named_item(
        xml_dom_get_attributes(xml_dom_makenode($element)), '$word'))" "$word"
    reads 'children by name' \
        "xml_dom_get_length(xml_dom_get_children_by_tagname($element, '$word'))" 1
    reads 'children by name and namespace' \
        "xml_dom_get_length(xml_dom_get_children_by_tagname_ns($element, '$word', 'urn:$word'))" 1
    reads 'all elements by name' \
        "xml_dom_get_length(xml_dom_get_elements_by_tagname_document($document, '$word'))" 2
    reads 'another name finds nothing' \
        "xml_dom_get_length(xml_dom_get_elements_by_tagname_document($document, 'x$word'))" 0
}
# bytes EXPECTED: how long the word is in the database.
bytes() {
    reads 'length of the value in bytes' \
        "octet_length(xml_dom_get_node_value(xml_dom_get_first_child($child)))" "$1"
}
# refuses CHARACTER: a reference to a character that the database does not have.
refuses() {
    is "$encoding: a character beyond is the error of the server" \
        "$(sqlstate_of "select xml_dom_get_node_value(xml_dom_get_first_child(
            xml_dom_get_document_element(xml_dom_new_document_clob('<a>$1</a>'))))")" 22P05
    is "$encoding: and the session goes on" \
        "$(sql "select xml_dom_get_node_value(xml_dom_get_first_child(xml_dom_get_document_element(
            xml_dom_new_document_clob('<a>$1</a>'))))" "select 'alive'" | tail -n 1)" alive
}

in_database UTF8 'größe書'
read_everything
bytes 10

in_database LATIN1 'größe'
read_everything
bytes 5
refuses '&#9731;'
is 'LATIN1: the limit of a name counts its bytes' \
    "$(sqlstate_of "select xml_dom_set_charset($document, repeat('é', 60))" \
                   "select xml_dom_set_charset($document, repeat('x', 60))")" 22021
is 'LATIN1: one byte more is too long' \
    "$(sqlstate_of "select xml_dom_set_charset($document, repeat('é', 61))")" 53500

in_database WIN1252 'prœcis'
read_everything
bytes 6
refuses '&#26360;'

in_database EUC_JP '文書'
read_everything
bytes 4
refuses '&#9731;'

in_database SQL_ASCII 'größe'
export PGCLIENTENCODING=SQL_ASCII
read_everything
bytes 7
is 'SQL_ASCII: bytes that are no UTF-8 are the error of the server' \
    "$(sqlstate_of "select xml_dom_get_attribute(xml_dom_get_document_element(
        xml_dom_new_document_clob('<a/>')), E'\\xff')")" 22021
done_testing
