# shellcheck shell=bash
# A session that makes the same change a million times, and keeps no handle, does not grow.
. "$(dirname "$0")/lib.sh"

rss="(regexp_match(pg_read_file('/proc/self/status'), 'VmRSS:\s+(\d+)'))[1]::integer"
rounds=1000000
limit=2000

# flat NAME BODY: the body runs for each i, with a document, its root, an attribute and a text.
# Results go to variables: an expression costs a tenth of a PERFORM.
flat() {
    local answer
    answer=$(sql "do \$\$ declare
            document raw := xml_dom_new_document_clob('<a x=\"1\">text</a>');
            root raw := xml_dom_get_document_element(document);
            attribute raw := xml_dom_get_attribute_node(root, 'x');
            content raw := xml_dom_get_first_child(root);
            declaring raw := xml_dom_get_document_element(xml_dom_new_document_clob(
                '<p:b xmlns:p=\"urn:p\"><p:c p:x=\"1\"/></p:b>'));
            made raw; held raw; result raw; done boolean; before integer;
        begin
            for i in 1..10000 loop $2 end loop;
            before := $rss;
            for i in 1..$rounds loop $2 end loop;
            raise notice 'grown by % kB', $rss - before;
        end \$\$" | sed -n 's/^NOTICE:.*grown by \(-\{0,1\}[0-9]*\) kB$/\1/p')
    at_most "a million times $1, kB" "${answer:-no answer}" "$limit"
}

flat 'setting one attribute' \
    "done := xml_dom_set_attribute(root, 'y', 'value ' || i) is null;"
flat 'setting one attribute in a namespace' \
    "done := xml_dom_set_attribute_ns(root, 'y', 'value ' || i, 'urn:y') is null;"
flat 'setting one value' \
    "done := xml_dom_set_node_value(attribute, 'value ' || i) is null;
     done := xml_dom_set_node_value(content, 'value ' || i) is null;"
flat 'listing the text of an attribute and setting its value' \
    "made := xml_dom_get_child_nodes(attribute);
     done := xml_dom_free_nodelist(made) is null;
     done := xml_dom_set_node_value(attribute, 'value ' || i) is null;"
flat 'setting a value whose text is named' \
    "made := xml_dom_get_first_child(attribute);
     done := xml_dom_set_node_value(attribute, 'value ' || i) is null;
     done := xml_dom_free_node(made) is null;"
flat 'making and releasing an element' \
    "made := xml_dom_create_element(document, 'b'); done := xml_dom_free_node(made) is null;"
flat 'appending an attribute that replaces another' \
    "made := xml_dom_create_attribute(document, 'y');
     result := xml_dom_append_child(root, made);
     done := xml_dom_free_node(made) is null;
     done := xml_dom_free_node(result) is null;"
flat 'appending a text that merges' \
    "result := xml_dom_append_child(root, xml_dom_create_text_node(document, ' more'));
     done := xml_dom_free_node(result) is null;
     done := xml_dom_set_node_value(content, 'text') is null;"
flat 'importing and releasing' \
    "done := xml_dom_free_node(xml_dom_import_node(document, root, true)) is null;"
flat 'importing a document and releasing it' \
    "done := xml_dom_free_node(xml_dom_import_node(document, document, true)) is null;"
flat 'taking something out of an element that declares its prefix' \
    "made := xml_dom_import_node(document, declaring, true);
     held := xml_dom_get_first_child(made);
     result := xml_dom_append_child(root, held);
     done := xml_dom_free_node(result) is null;
     done := xml_dom_free_node(made) is null;
     made := xml_dom_create_element(document, 'gone');
     result := xml_dom_append_child(made, held);
     done := xml_dom_free_node(result) is null;
     done := xml_dom_free_node(held) is null;
     done := xml_dom_free_node(made) is null;"
done_testing
