-- The package xmldom, text in and out

-- From text to tree.

CREATE FUNCTION xmldom.parse(document text, blanks text DEFAULT 'keep') RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_parse_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.parse(text, text) IS
    'document of a text; blanks between elements are kept, or dropped by ''drop''';
CREATE FUNCTION xmldom.parse(document xml, blanks text DEFAULT 'keep') RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_parse_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.parse(xml, text) IS
    'document of an XML value';
CREATE FUNCTION xmldom.parse(document bytea, blanks text DEFAULT 'keep') RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_parse_bytes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.parse(bytea, text) IS
    'document of bytes, which say themselves how they are encoded: by a byte order mark or in the XML declaration';
CREATE FUNCTION xmldom.parse(large_object oid, blanks text DEFAULT 'keep') RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_parse_large_object' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.parse(oid, text) IS
    'document of the text that a large object holds';

-- From tree to text.

CREATE FUNCTION xmldom.to_text(node xmldom.node, indent integer DEFAULT 0, declaration boolean DEFAULT NULL) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_to_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.to_text(xmldom.node, integer, boolean) IS
    'node with all below it as a text that reads back as it is; with blanks for each level, with or without the XML declaration, which by default is there if it was';
CREATE FUNCTION xmldom.to_bytea(node xmldom.node, encoding text DEFAULT NULL, indent integer DEFAULT 0, declaration boolean DEFAULT NULL) RETURNS bytea
    AS 'MODULE_PATHNAME', 'xmldom_to_bytea' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.to_bytea(xmldom.node, text, integer, boolean) IS
    'the same as bytes in an encoding: by default in that of the document, else in UTF-8';
CREATE FUNCTION xmldom.to_large_object(node xmldom.node, large_object oid DEFAULT NULL, indent integer DEFAULT 0, declaration boolean DEFAULT NULL) RETURNS oid
    AS 'MODULE_PATHNAME', 'xmldom_to_large_object' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.to_large_object(xmldom.node, oid, integer, boolean) IS
    'the same in a large object, a new one for null; returns its number';
CREATE FUNCTION xmldom.to_xml(node xmldom.node) RETURNS xml
    AS 'MODULE_PATHNAME', 'xmldom_to_xml' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.to_xml(xmldom.node) IS
    'node with all below it as an XML value; null for null';

-- The canonical form, to be signed, digested or compared.

CREATE FUNCTION xmldom.canonical(node xmldom.node, exclusive boolean DEFAULT false, with_comments boolean DEFAULT false, inclusive_prefixes text[] DEFAULT NULL, version text DEFAULT '1.0') RETURNS bytea
    AS 'MODULE_PATHNAME', 'xmldom_canonical' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.canonical(xmldom.node, boolean, boolean, text[], text) IS
    'node with all below it in canonical form, the same bytes for trees that mean the same: Canonical XML ''1.0'' or ''1.1'', or Exclusive XML Canonicalization, which can treat some prefixes (''#default'': the default namespace) as the others do; with or without comments';
CREATE FUNCTION xmldom.canonical_to_large_object(node xmldom.node, large_object oid DEFAULT NULL, exclusive boolean DEFAULT false, with_comments boolean DEFAULT false, inclusive_prefixes text[] DEFAULT NULL, version text DEFAULT '1.0') RETURNS oid
    AS 'MODULE_PATHNAME', 'xmldom_canonical_to_large_object' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.canonical_to_large_object(xmldom.node, oid, boolean, boolean, text[], text) IS
    'the same in a large object, a new one for null; returns its number';

-- Casts.

CREATE CAST (xmldom.node AS xml) WITH FUNCTION xmldom.to_xml(xmldom.node);
COMMENT ON CAST (xmldom.node AS xml) IS 'what xmldom.to_xml gives';
CREATE FUNCTION xmldom.to_xml(document xmldom.document) RETURNS xml
    AS 'MODULE_PATHNAME', 'xmldom_to_xml' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.to_xml(xmldom.document) IS
    'document as an XML value; null for null';
CREATE CAST (xmldom.document AS xml) WITH FUNCTION xmldom.to_xml(xmldom.document);
COMMENT ON CAST (xmldom.document AS xml) IS 'what xmldom.to_xml gives';
CREATE FUNCTION xmldom.to_xml(element xmldom.element) RETURNS xml
    AS 'MODULE_PATHNAME', 'xmldom_to_xml' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.to_xml(xmldom.element) IS
    'element with all below it as an XML value; null for null';
CREATE CAST (xmldom.element AS xml) WITH FUNCTION xmldom.to_xml(xmldom.element);
COMMENT ON CAST (xmldom.element AS xml) IS 'what xmldom.to_xml gives';
