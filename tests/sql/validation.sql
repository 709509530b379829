-- Validation by schemas that live in the database.
\set VERBOSITY default
CREATE EXTENSION pkg_dbe_xml_validate;

-- A set of schemas in one call; locations are resolved against each other.
SELECT xmlschema.add_schemas(ARRAY[
    ARRAY['trade/order.xsd', '<?xml version="1.0" encoding="ISO-8859-1"?>
<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns:b="urn:basic" xmlns="urn:order" xmlns:o="urn:order"
        targetNamespace="urn:order" elementFormDefault="qualified">
    <xs:include schemaLocation="parts/items.xsd"/>
    <xs:import namespace="urn:basic" schemaLocation="../basic.xsd"/>
    <xs:element name="order">
        <xs:complexType>
            <xs:sequence>
                <xs:element name="total" type="b:amount"/>
                <xs:element name="item" type="item" maxOccurs="unbounded"/>
            </xs:sequence>
            <xs:attribute name="id" type="xs:ID"/>
        </xs:complexType>
        <xs:key name="numbers"><xs:selector xpath="o:item"/><xs:field xpath="@number"/></xs:key>
    </xs:element>
</xs:schema>'],
    ARRAY['trade/parts/items.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" xmlns="urn:order" targetNamespace="urn:order">
    <xs:complexType name="item">
        <xs:simpleContent>
            <xs:extension base="xs:string">
                <xs:attribute name="number" type="xs:int"/>
                <xs:attribute name="label" type="xs:ID"/>
            </xs:extension>
        </xs:simpleContent>
    </xs:complexType>
</xs:schema>'],
    ARRAY['basic.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" targetNamespace="urn:basic">
    <xs:simpleType name="amount">
        <xs:restriction base="xs:decimal"><xs:fractionDigits value="2"/></xs:restriction>
    </xs:simpleType>
</xs:schema>'],
    ARRAY['memo.rng', '<grammar xmlns="http://relaxng.org/ns/structure/1.0">
    <include href="memo-parts.rng"/><start><element name="memo"><ref name="body"/></element></start>
</grammar>'],
    ARRAY['memo-parts.rng', '<grammar xmlns="http://relaxng.org/ns/structure/1.0">
    <define name="body"><oneOrMore><element name="p"><text/></element></oneOrMore></define>
</grammar>'],
    ARRAY['list.dtd', '<!ENTITY % parts SYSTEM "parts.mod"> %parts; <!ELEMENT list (%entry;)*>'],
    ARRAY['parts.mod', '<!ENTITY % entry "entry"><!ELEMENT entry (#PCDATA)><!ATTLIST entry id ID #REQUIRED see IDREF #IMPLIED>']]);
SELECT location FROM xmlschema.schemas ORDER BY location COLLATE "C";

CREATE VIEW orders AS SELECT * FROM (VALUES
    (1, '<order xmlns="urn:order"><total>1.50</total><item number="1">x</item></order>'),
    (2, E'<order xmlns="urn:order">\n<total>1.505</total>\n<item number="1">x</item><item number="1"/>\n<thing/></order>'),
    (3, '<order xmlns="urn:order" id="a"><total>1</total><item number="1" label="a"/></order>'),
    (4, '<order xmlns="urn:order" id="a"><total>1</total><item number="1" label="b">a &amp; b</item></order>'),
    (5, '<other/>')) AS orders(number, text);

-- Texts, XML values and trees have the same complaints.
SELECT number, line, path, level, message FROM orders, xmlschema.validate(text, 'trade/order.xsd') ORDER BY number, line, path;
SELECT number, xmlschema.is_valid(text, 'trade/order.xsd'), xmlschema.is_valid(text::xml, 'trade/order.xsd'),
    xmlschema.is_valid(xmldom.parse(text), 'trade/order.xsd') FROM orders ORDER BY number;
SELECT count(*) FROM orders, LATERAL (SELECT xmldom.parse(text) AS tree) AS trees,
    LATERAL (SELECT line, path, message FROM xmlschema.validate(tree, 'trade/order.xsd')
             EXCEPT SELECT line, path, message FROM xmlschema.validate(text, 'trade/order.xsd')) AS differences;
-- At most so many.
SELECT count(*) FROM orders, xmlschema.validate(text, 'trade/order.xsd', 1) WHERE number = 2;

-- A tree stays what it is: no identifier is entered, nothing added.
SELECT xmldom.to_text(tree), xmlschema.is_valid(tree, 'trade/order.xsd'), xmldom.get_element_by_id(tree, 'a') IS NULL AS no_id,
    xmldom.to_text(tree) = text AS unchanged
    FROM (SELECT text, xmldom.parse(text) AS tree FROM orders WHERE number = 3) AS parsed;

-- An element is validated as if it stood alone, with the prefixes that are declared above it.
SELECT xmlschema.add_schemas(ARRAY[ARRAY['word.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema">
    <xs:element name="word" type="xs:QName"/></xs:schema>']]);
SELECT xmlschema.is_valid(xmldom.first_element_child(xmldom.get_document_element(xmldom.parse(text))), 'word.xsd')
    FROM (VALUES ('<a xmlns:p="urn:p"><word>p:x</word></a>'), ('<a><word>p:x</word></a>')) AS texts(text);

-- Relax NG and document type definitions.
SELECT xmlschema.is_valid('<memo><p>x</p><p/></memo>', 'memo.rng'), xmlschema.is_valid('<memo/>', 'memo.rng');
SELECT line, path, level FROM xmlschema.validate(E'<memo>\n<p>x</p>\n<q/></memo>', 'memo.rng');
SELECT line, path, level FROM xmlschema.validate(
    xmldom.first_element_child(xmldom.get_document_element(xmldom.parse(E'<a>\n<memo>\n<p>x</p>\n<q/></memo></a>'))), 'memo.rng');
SELECT xmlschema.is_valid('<list><entry id="a"/><entry id="b" see="a">x</entry></list>', 'list.dtd');
SELECT line, path, level FROM xmlschema.validate(E'<list>\n<entry id="a"/>\n<entry id="a" see="c"/>\n<p/></list>', 'list.dtd');

-- Nulls.
SELECT xmlschema.is_valid(null::xmldom.node, 'memo.rng'), xmlschema.is_valid(null::text, 'memo.rng');
SELECT count(*) FROM xmlschema.validate(null::text, 'memo.rng');
SELECT xmlschema.is_valid('<a/>', null);
SELECT xmlschema.assert_valid(null::text, 'memo.rng');
SELECT xmlschema.assert_valid(null::xmldom.node, 'memo.rng');
SELECT xmlschema.remove_schema(null), xmlschema.remove_schema('nothing');
SELECT xmlschema.add_schemas(null);
SELECT xmlschema.add_schemas('{}');
SELECT xmlschema.add_schemas(ARRAY['a', 'b']);
SELECT xmlschema.add_schemas(ARRAY[ARRAY['a', null]]);

-- What is no document, and no tree.
SELECT xmlschema.is_valid('<a>', 'memo.rng');
SELECT xmlschema.is_valid('\x0102'::raw::xmldom.node, 'memo.rng');
SELECT xmlschema.is_valid(xmldom.create_text_node(xmldom.parse('<a/>'), 'x'), 'memo.rng');

-- An error with the first complaints.
SELECT xmlschema.assert_valid(text, 'trade/order.xsd') FROM orders WHERE number = 1;
SELECT xmlschema.assert_valid(text, 'trade/order.xsd') FROM orders WHERE number = 2;

-- Schemas that cannot be used.
SELECT xmlschema.is_valid('<a/>', 'nothing.xsd');
SELECT xmlschema.add_schemas(ARRAY[ARRAY['broken.xsd', E'<xs:schema>\n<x']]);
SELECT xmlschema.add_schemas(ARRAY[ARRAY['good.rng', '<element name="a" xmlns="http://relaxng.org/ns/structure/1.0"><empty/></element>'],
    ARRAY['broken.xsd', '<a/>']]);
SELECT count(*) FROM xmlschema.schemas WHERE location = 'good.rng';
SELECT xmlschema.add_schemas(ARRAY[
    ARRAY['itself.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:include schemaLocation="itself.xsd"/></xs:schema>'],
    ARRAY['round.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:include schemaLocation="about.xsd"/><xs:element name="a"/></xs:schema>'],
    ARRAY['about.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:include schemaLocation="round.xsd"/></xs:schema>'],
    ARRAY['lost.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:import namespace="urn:x" schemaLocation="/etc/passwd"/></xs:schema>'],
    ARRAY['rules.xsd', E'<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema">\n<xs:element name="a" type="none"/></xs:schema>'],
    ARRAY['outer.xsd', '<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"><xs:include schemaLocation="rules.xsd"/></xs:schema>'],
    ARRAY['itself.rng', '<grammar xmlns="http://relaxng.org/ns/structure/1.0"><include href="itself.rng"/></grammar>']]);
SELECT xmlschema.is_valid('<a/>', 'itself.xsd');
SELECT xmlschema.is_valid('<a/>', 'round.xsd');
SELECT xmlschema.is_valid('<a/>', 'lost.xsd');
SELECT xmlschema.is_valid('<a/>', 'outer.xsd');
SELECT xmlschema.is_valid('<a/>', 'itself.rng');

-- Schemas are compiled once, and again when the table has changed, whoever changes it.
SELECT xmlschema.is_valid('<memo><p/></memo>', 'memo.rng');
BEGIN;
UPDATE xmlschema.schemas SET text = replace(text, '"p"', '"q"') WHERE location = 'memo-parts.rng';
SELECT xmlschema.is_valid('<memo><p/></memo>', 'memo.rng'), xmlschema.is_valid('<memo><q/></memo>', 'memo.rng');
ROLLBACK;
SELECT xmlschema.is_valid('<memo><p/></memo>', 'memo.rng');
BEGIN;
SAVEPOINT before;
SELECT xmlschema.remove_schema('memo-parts.rng');
SAVEPOINT after;
SELECT xmlschema.is_valid('<memo><p/></memo>', 'memo.rng');
ROLLBACK TO before;
SELECT xmlschema.is_valid('<memo><p/></memo>', 'memo.rng');
COMMIT;

-- Everybody may validate; schemas are for whom it is granted, and read by nobody else.
CREATE ROLE regress_reader;
CREATE ROLE regress_keeper;
GRANT EXECUTE ON FUNCTION xmlschema.add_schemas(text[]), xmlschema.remove_schema(text) TO regress_keeper;
SET ROLE regress_reader;
SELECT xmlschema.is_valid('<memo><p/></memo>', 'memo.rng');
SELECT count(*) FROM xmlschema.schemas;
SELECT xmlschema.add_schemas('{}');
SELECT xmlschema.remove_schema('memo.rng');
SET ROLE regress_keeper;
SELECT xmlschema.add_schemas(ARRAY[ARRAY['kept.rng', '<element name="a" xmlns="http://relaxng.org/ns/structure/1.0"><empty/></element>']]);
SELECT xmlschema.is_valid('<a/>', 'kept.rng'), xmlschema.remove_schema('kept.rng');
RESET ROLE;
DROP VIEW orders;
DROP EXTENSION pkg_dbe_xml_validate;
DROP ROLE regress_reader, regress_keeper;
