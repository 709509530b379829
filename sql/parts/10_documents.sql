-- Documents: made, released, and written as text.

CREATE FUNCTION xml_dom_new_document_empty() RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_empty' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_new_document_empty() IS
    'handle of a new document without any node';

CREATE FUNCTION xml_dom_new_document_clob(document text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_clob' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_new_document_clob(text) IS
    'handle of a new document parsed from a text';

CREATE FUNCTION xml_dom_new_document_xmltype(document xml) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_xmltype' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_new_document_xmltype(xml) IS
    'handle of a new document parsed from an XML value, null for null';

CREATE FUNCTION xml_dom_free_document(document raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_document(raw) IS
    'releases a document with every handle that belongs to it; does nothing for a document that is released already';

CREATE FUNCTION xml_dom_write_to_buffer_doc(document raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_buffer_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_buffer_doc(raw) IS
    'the document as indented text, below 1 GiB';

CREATE FUNCTION xml_dom_write_to_clob_doc(document raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_clob_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_clob_doc(raw) IS
    'the document as indented text';

CREATE FUNCTION xml_dom_write_to_buffer_node(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_buffer_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_buffer_node(raw) IS
    'an element, text or document as indented text, or the value of an attribute, below 1 GiB; null for an empty one';

CREATE FUNCTION xml_dom_write_to_clob_node(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_clob_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_clob_node(raw) IS
    'an element, text or document as indented text, or the value of an attribute; null for an empty one';
