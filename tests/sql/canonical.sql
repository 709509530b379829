-- The canonical form: digests, the forms of documents and subtrees, large objects, what is refused.

\set SHOW_CONTEXT always

CREATE FUNCTION form(node xmldom.node, exclusive boolean DEFAULT false, with_comments boolean DEFAULT false,
    prefixes text[] DEFAULT NULL, version text DEFAULT '1.0') RETURNS text LANGUAGE sql
    AS $$ SELECT convert_from(xmldom.canonical(node, exclusive, with_comments, prefixes, version), 'UTF8') $$;

-- Documents that say the same have the same digest.
SELECT encode(sha256(xmldom.canonical(xmldom.parse(written))), 'hex') AS digest
FROM unnest(array['<a x="1" y="&lt;"><b/>c</a>', '<a  y=''&#60;'' x=''1''><b></b><![CDATA[c]]></a>',
    '<?xml version="1.0"?><!DOCTYPE a [<!ENTITY c "c">]><a y="&lt;" x="1"><b/>&c;</a>',
    '<a x="1" y="&lt;"><b/>d</a>']) AS written;
SELECT sha256(convert_to('<a x="1" y="&lt;"><b></b>c</a>', 'UTF8')) = sha256(xmldom.canonical(
    xmldom.parse('<a x="1" y="&lt;"><b/>c</a>'))) AS of_the_text;

-- The forms of a document.
SELECT d AS document FROM xmldom.parse('<!--before--><?p i?><r xmlns="urn:r" xmlns:p="urn:p" xml:lang="de" '
    || 'xml:base="http://h/a/"><e xml:base="b/" p:z="1" a="2"><p:c xmlns="" xmlns:p="urn:p"/><!--in--></e></r><!--after-->')
    AS d \gset
SELECT form(:'document'::raw::xmldom.document);
SELECT form(:'document'::raw::xmldom.document, with_comments => true);
SELECT form(:'document'::raw::xmldom.document, exclusive => true);
SELECT form(:'document'::raw::xmldom.document, version => '1.1') = form(:'document'::raw::xmldom.document) AS same;

-- And of an element in it.
SELECT e AS element FROM xmldom.xpath_first(:'document'::raw::xmldom.document, '/*/*') AS e \gset
SELECT form(:'element'::raw::xmldom.node);
SELECT form(:'element'::raw::xmldom.node, version => '1.1');
SELECT form(:'element'::raw::xmldom.node, true);
SELECT form(:'element'::raw::xmldom.node, true, false, array['p', '#default', 'unknown']);
SELECT form(:'element'::raw::xmldom.node::xmldom.element) = form(:'element'::raw::xmldom.node) AS same;

-- Large objects.
BEGIN;
SELECT xmldom.canonical_to_large_object(:'document'::raw::xmldom.document, exclusive => true) AS made \gset
SELECT lo_get(:made) = xmldom.canonical(:'document'::raw::xmldom.document, true) AS same;
SELECT xmldom.canonical_to_large_object(:'element'::raw::xmldom.node, :made, version => '1.1') = :made AS replaced;
SELECT lo_get(:made) = xmldom.canonical(:'element'::raw::xmldom.node, version => '1.1') AS same;
ROLLBACK;

-- What is refused.
SELECT xmldom.canonical(NULL);
SELECT xmldom.canonical(:'document'::raw::xmldom.document, version => '2');
SELECT xmldom.canonical(:'document'::raw::xmldom.document, true, version => '1.1');
SELECT xmldom.canonical(:'document'::raw::xmldom.document, inclusive_prefixes => array['p']);
SELECT xmldom.canonical(:'document'::raw::xmldom.document, true, inclusive_prefixes => array[array['p', 'q']]);
SELECT xmldom.canonical(:'document'::raw::xmldom.document, true, inclusive_prefixes => array['p', null]);
SELECT xmldom.canonical(:'document'::raw::xmldom.document, true, inclusive_prefixes => array['p:q']);
SELECT xmldom.canonical(xmldom.get_attribute_node(:'element'::raw::xmldom.node::xmldom.element, 'a'));
SELECT xmldom.canonical(xmldom.parse('<a><b xmlns:p="relative"/></a>'));
SELECT xmldom.canonical(xml_dom_new_document_empty()::xmldom.document);
SELECT xmldom.canonical_to_large_object(:'document'::raw::xmldom.document, 1);

SELECT xmldom.free_all() > 0 AS freed;
DROP FUNCTION form;
