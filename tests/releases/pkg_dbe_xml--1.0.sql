\echo Use "CREATE EXTENSION pkg_dbe_xml" to load this file. \quit
-- Type raw: a string of bytes, shown as bytea is. Handles are values of it.

CREATE TYPE raw;

CREATE FUNCTION raw_in(cstring) RETURNS raw
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_out(raw) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_recv(internal) RETURNS raw
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_send(raw) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;

CREATE TYPE raw (
    INPUT = raw_in,
    OUTPUT = raw_out,
    RECEIVE = raw_recv,
    SEND = raw_send,
    INTERNALLENGTH = VARIABLE,
    ALIGNMENT = int4,
    STORAGE = extended
);
COMMENT ON TYPE raw IS 'string of bytes; names documents, nodes and parsers of the session';

CREATE CAST (raw AS bytea) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (bytea AS raw) WITHOUT FUNCTION AS ASSIGNMENT;

-- Comparison, byte by byte.

CREATE FUNCTION raw_eq(raw, raw) RETURNS boolean
    AS 'byteaeq' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_ne(raw, raw) RETURNS boolean
    AS 'byteane' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_lt(raw, raw) RETURNS boolean
    AS 'bytealt' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_le(raw, raw) RETURNS boolean
    AS 'byteale' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_gt(raw, raw) RETURNS boolean
    AS 'byteagt' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_ge(raw, raw) RETURNS boolean
    AS 'byteage' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_cmp(raw, raw) RETURNS integer
    AS 'byteacmp' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
CREATE FUNCTION raw_sortsupport(internal) RETURNS void
    AS 'bytea_sortsupport' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_hash(raw) RETURNS integer
    AS 'hashvarlena' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION raw_hash_extended(raw, bigint) RETURNS bigint
    AS 'hashvarlenaextended' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;

CREATE OPERATOR = (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_eq,
    COMMUTATOR = =, NEGATOR = <>, RESTRICT = eqsel, JOIN = eqjoinsel, HASHES, MERGES
);
CREATE OPERATOR <> (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_ne,
    COMMUTATOR = <>, NEGATOR = =, RESTRICT = neqsel, JOIN = neqjoinsel
);
CREATE OPERATOR < (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_lt,
    COMMUTATOR = >, NEGATOR = >=, RESTRICT = scalarltsel, JOIN = scalarltjoinsel
);
CREATE OPERATOR <= (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_le,
    COMMUTATOR = >=, NEGATOR = >, RESTRICT = scalarlesel, JOIN = scalarlejoinsel
);
CREATE OPERATOR > (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_gt,
    COMMUTATOR = <, NEGATOR = <=, RESTRICT = scalargtsel, JOIN = scalargtjoinsel
);
CREATE OPERATOR >= (
    LEFTARG = raw, RIGHTARG = raw, FUNCTION = raw_ge,
    COMMUTATOR = <=, NEGATOR = <, RESTRICT = scalargesel, JOIN = scalargejoinsel
);

CREATE OPERATOR CLASS raw_ops DEFAULT FOR TYPE raw USING btree AS
    OPERATOR 1 <, OPERATOR 2 <=, OPERATOR 3 =, OPERATOR 4 >=, OPERATOR 5 >,
    FUNCTION 1 raw_cmp(raw, raw),
    FUNCTION 2 raw_sortsupport(internal);
CREATE OPERATOR CLASS raw_ops DEFAULT FOR TYPE raw USING hash AS
    OPERATOR 1 =,
    FUNCTION 1 raw_hash(raw),
    FUNCTION 2 raw_hash_extended(raw, bigint);

COMMENT ON FUNCTION raw_in(cstring) IS 'reads raw from hexadecimal, as bytea is read';
COMMENT ON FUNCTION raw_out(raw) IS 'writes raw as bytea is written';
COMMENT ON FUNCTION raw_recv(internal) IS 'reads raw in binary form';
COMMENT ON FUNCTION raw_send(raw) IS 'writes raw in binary form';
COMMENT ON FUNCTION raw_eq(raw, raw) IS 'implementation of = operator';
COMMENT ON FUNCTION raw_ne(raw, raw) IS 'implementation of <> operator';
COMMENT ON FUNCTION raw_lt(raw, raw) IS 'implementation of < operator';
COMMENT ON FUNCTION raw_le(raw, raw) IS 'implementation of <= operator';
COMMENT ON FUNCTION raw_gt(raw, raw) IS 'implementation of > operator';
COMMENT ON FUNCTION raw_ge(raw, raw) IS 'implementation of >= operator';
COMMENT ON FUNCTION raw_cmp(raw, raw) IS 'less-equal-greater';
COMMENT ON FUNCTION raw_sortsupport(internal) IS 'sort support';
COMMENT ON FUNCTION raw_hash(raw) IS 'hash';
COMMENT ON FUNCTION raw_hash_extended(raw, bigint) IS 'hash with a seed';
COMMENT ON OPERATOR = (raw, raw) IS 'equal';
COMMENT ON OPERATOR <> (raw, raw) IS 'not equal';
COMMENT ON OPERATOR < (raw, raw) IS 'less than';
COMMENT ON OPERATOR <= (raw, raw) IS 'less than or equal';
COMMENT ON OPERATOR > (raw, raw) IS 'greater than';
COMMENT ON OPERATOR >= (raw, raw) IS 'greater than or equal';
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
-- Reading a tree: navigation, names and values, lists and maps, queries, search, diagnostics.

-- The document as a whole.

CREATE FUNCTION xml_dom_get_document_element(document raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_document_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_document_element(raw) IS
    'handle of the root element, null when there is none';

CREATE FUNCTION xml_dom_set_charset(document raw, charset text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_charset' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_charset(raw, text) IS
    'sets the character set in which the document is written to files; null means UTF-8';

CREATE FUNCTION xml_dom_set_doctype(document raw, name text, system_id text, public_id text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_doctype' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_doctype(raw, text, text, text) IS
    'sets the document type declaration; a null text is left out';

-- From a node to the next.

CREATE FUNCTION xml_dom_get_parent_node(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_parent_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_parent_node(raw) IS
    'handle of the parent; null for a document and for an attribute';

CREATE FUNCTION xml_dom_get_first_child(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_first_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_first_child(raw) IS
    'handle of the first child; of a document, the first element';

CREATE FUNCTION xml_dom_get_last_child(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_last_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_last_child(raw) IS
    'handle of the last child';

CREATE FUNCTION xml_dom_get_next_sibling(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_next_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_next_sibling(raw) IS
    'handle of the node after this one; null for an attribute';

CREATE FUNCTION xml_dom_get_child_nodes(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_child_nodes(raw) IS
    'list of the children; a blank text counts only where it is the only child';

CREATE FUNCTION xml_dom_has_child_nodes(node raw) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_has_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_has_child_nodes(raw) IS
    'whether the node has children; false for null and for an attribute, null for a released handle';

-- What a node is.

CREATE FUNCTION xml_dom_get_node_name(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_node_name(raw) IS
    'name of the node with its prefix; #text, #comment and so on for nodes that have none';

CREATE FUNCTION xml_dom_get_node_value(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_node_value(raw) IS
    'text of the node; null when it is empty, and for elements and documents';

CREATE FUNCTION xml_dom_get_node_type(node raw) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_type' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_node_type(raw) IS
    'number of the node type: 1 element, 2 attribute, 3 text, 4 CDATA section, 5 entity reference, 7 processing instruction, 8 comment, 9 document, 14 document type';

CREATE FUNCTION xml_dom_get_attributes(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_attributes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attributes(raw) IS
    'map of the attributes of a node; the handle of an element needs xml_dom_makenode first';

-- Elements and their attributes.

CREATE FUNCTION xml_dom_get_tagname(element raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_tagname(raw) IS
    'name of the element with its prefix';

CREATE FUNCTION xml_dom_get_localname(node raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_localname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_localname(raw) IS
    'name of an element, node or attribute without its prefix';

CREATE FUNCTION xml_dom_get_attribute(element raw, name text) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute(raw, text) IS
    'value of the attribute of that name, whatever its namespace; null when there is none';

CREATE FUNCTION xml_dom_get_attribute_ns(element raw, name text, namespace_uri text) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute_ns(raw, text, text) IS
    'value of the attribute of that name in that namespace; null when there is none';

CREATE FUNCTION xml_dom_get_attribute_node(element raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute_node(raw, text) IS
    'handle of the attribute of that name, whatever its namespace';

CREATE FUNCTION xml_dom_get_attribute_node(element raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_attribute_node(raw, text, text) IS
    'handle of the attribute of that name in that namespace; a null namespace means any';

-- Searching.

CREATE FUNCTION xml_dom_get_children_by_tagname(element raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_children_by_tagname(raw, text) IS
    'list of the children of that name';

CREATE FUNCTION xml_dom_get_children_by_tagname_ns(element raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_children_by_tagname_ns(raw, text, text) IS
    'list of the children of that name in that namespace';

CREATE FUNCTION xml_dom_get_elements_by_tagname_document(document raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_elements_by_tagname_document(raw, text) IS
    'list of all elements of that name, in document order; * means any name';

CREATE FUNCTION xml_dom_get_elements_by_tagname_element(element raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_elements_by_tagname_element(raw, text) IS
    'list of all elements of that name below the element, in document order; * means any name';

CREATE FUNCTION xml_dom_get_elements_by_tagname_ns(node raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_elements_by_tagname_ns(raw, text, text) IS
    'list of all elements of that name in that namespace below the document or element; * means any';

-- Lists and maps.

CREATE FUNCTION xml_dom_get_length(collection raw) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_length' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_length(raw) IS
    'number of members of a list or map; 0 for null';

CREATE FUNCTION xml_dom_item(collection raw, item_index integer) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_item(raw, integer) IS
    'member of a list, from 0; of a map the text of an attribute. Null beyond the end';

CREATE FUNCTION xml_dom_get_named_item(map raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_named_item(raw, text) IS
    'handle of the attribute of that name in a map';

CREATE FUNCTION xml_dom_get_named_item_ns(map raw, name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_get_named_item_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_named_item_ns(raw, text, text) IS
    'handle of the attribute of that name in a map, in that namespace or in none';

-- Handles.

CREATE FUNCTION xml_dom_makenode(handle raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_makenode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_makenode(raw) IS
    'handle as a node of what an attribute, document, element or text handle names';

CREATE FUNCTION xml_dom_make_element(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_make_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_make_element(raw) IS
    'handle as an element of what a node handle names; not for texts, documents and attributes';

CREATE FUNCTION xml_dom_is_null(handle raw) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_is_null(raw) IS
    'whether the handle is null, released, or an empty list';

-- What the session holds.

CREATE FUNCTION xml_dom_get_session_tree_num() RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_session_tree_num' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_session_tree_num() IS
    'number of handles in the session';

CREATE FUNCTION xml_dom_get_doc_trees_info() RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_doc_trees_info' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_doc_trees_info() IS
    'a line for each handle that names a document: its bytes, the number of nodes, the size when written';

CREATE FUNCTION xml_dom_get_detail_doc_tree_info(handle raw) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_detail_doc_tree_info' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_detail_doc_tree_info(raw) IS
    'number of elements, attributes and texts in a node, its following siblings and all below';
-- Changing a tree: making nodes, attributes, appending, importing, values, giving handles up.

-- New nodes. They belong to the document and stand in no tree until they are appended.

CREATE FUNCTION xml_dom_create_element(document raw, tag_name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_element(raw, text) IS
    'new element of the document';

CREATE FUNCTION xml_dom_create_element_ns(document raw, qualified_name text, namespace_uri text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_element_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_element_ns(raw, text, text) IS
    'new element with a default namespace of its own; none when the URI is null';

CREATE FUNCTION xml_dom_create_text_node(document raw, data text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_text_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_text_node(raw, text) IS
    'new text of the document';

CREATE FUNCTION xml_dom_create_attribute(document raw, name text) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_create_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_create_attribute(raw, text) IS
    'new attribute of the document, with an empty value';

-- Attributes.

CREATE FUNCTION xml_dom_set_attribute(element raw, name text, value text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_attribute(raw, text, text) IS
    'sets an attribute; a null value means the empty one';

CREATE FUNCTION xml_dom_set_attribute_ns(element raw, name text, value text, namespace_uri text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_attribute_ns(raw, text, text, text) IS
    'sets an attribute in a namespace, without declaring the namespace';

CREATE FUNCTION xml_dom_set_attribute_node(element raw, attribute raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_attribute_node(raw, raw) IS
    'puts an attribute in the place of one of its name; null when the element has none';

CREATE FUNCTION xml_dom_remove_attribute_node(element raw, attribute raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_remove_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_remove_attribute_node(raw, raw) IS
    'takes an attribute off its element; a copy that stands nowhere, null when the element has none of its name';

CREATE FUNCTION xml_dom_make_attr(node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_make_attr' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_make_attr(raw) IS
    'handle as an attribute of what a node handle names';

-- The tree.

CREATE FUNCTION xml_dom_append_child(parent raw, child raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_append_child(raw, raw) IS
    'moves a node behind the last child of another; the handle of the node, or of the text it was merged into';

CREATE FUNCTION xml_dom_import_node(document raw, node raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_import_node(raw, raw) IS
    'copy of a node and its attributes for the document, without what stands below';

CREATE FUNCTION xml_dom_import_node(document raw, node raw, deep boolean) RETURNS raw
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_import_node(raw, raw, boolean) IS
    'copy of a node for the document, with all that stands below it when deep is true';

CREATE FUNCTION xml_dom_set_node_value(node raw, value text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_set_node_value(raw, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction';

-- Handles that are given up stay known and name nothing. A node in a tree stays there.

CREATE FUNCTION xml_dom_free_node(node raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_node' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_node(raw) IS
    'gives a handle up; a node that stands in no tree and has no other handle goes out of use';

CREATE FUNCTION xml_dom_free_element(element raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_element' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_element(raw) IS
    'gives the handle of an element up, as xml_dom_free_node does';

CREATE FUNCTION xml_dom_free_nodelist(list raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_free_nodelist' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_free_nodelist(raw) IS
    'gives a list up; its members stay';
-- Parser objects.

CREATE FUNCTION xmlparser_new_parser() RETURNS raw
    AS 'MODULE_PATHNAME', 'xmlparser_new_parser' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_new_parser() IS
    'handle of a new parser, which validates';

CREATE FUNCTION xmlparser_parse_clob(parser raw, document text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_parse_clob' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_parse_clob(raw, text) IS
    'parses a text and keeps the document; a text that does not parse draws a warning and leaves none';

CREATE FUNCTION xmlparser_parse_buffer(parser raw, document text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_parse_buffer' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_parse_buffer(raw, text) IS
    'the same for a text of at most 32767 bytes';

CREATE FUNCTION xmlparser_get_doc(parser raw) RETURNS raw
    AS 'MODULE_PATHNAME', 'xmlparser_get_doc' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_get_doc(raw) IS
    'the document parsed last as a document handle, null when there is none';

CREATE FUNCTION xmlparser_set_validation_mode(parser raw, validate boolean) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_set_validation_mode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_set_validation_mode(raw, boolean) IS
    'whether later parses check documents against their document type; null means no';

CREATE FUNCTION xmlparser_get_validation_mode(parser raw) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlparser_get_validation_mode' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_get_validation_mode(raw) IS
    'whether parses check documents against their document type';

CREATE FUNCTION xmlparser_free_parser(parser raw) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlparser_free_parser' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser_free_parser(raw) IS
    'frees the parser; documents it has handed over stay';
-- Writing files, and the directory objects that say where and who.

-- A role in the table of directory objects: kept by its number, shown and dumped by its name.
-- Restored where the role is missing, it is nobody, instead of an error.
CREATE TYPE xml_directory_role;

CREATE FUNCTION xml_directory_role_in(cstring) RETURNS xml_directory_role
    AS 'MODULE_PATHNAME', 'xml_dom_directory_role_in' LANGUAGE C STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION xml_directory_role_out(xml_directory_role) RETURNS cstring
    AS 'MODULE_PATHNAME', 'xml_dom_directory_role_out' LANGUAGE C STABLE STRICT PARALLEL SAFE;

CREATE TYPE xml_directory_role (
    INPUT = xml_directory_role_in,
    OUTPUT = xml_directory_role_out,
    INTERNALLENGTH = 4,
    PASSEDBYVALUE,
    ALIGNMENT = int4
);
COMMENT ON TYPE xml_directory_role IS 'role that owns a directory object or may write into it';
COMMENT ON FUNCTION xml_directory_role_in(cstring) IS 'reads a role by its name';
COMMENT ON FUNCTION xml_directory_role_out(xml_directory_role) IS 'writes the name of a role';

CREATE CAST (xml_directory_role AS oid) WITHOUT FUNCTION;
CREATE CAST (oid AS xml_directory_role) WITHOUT FUNCTION;

-- Changed only by the functions below. The order of the columns is fixed: the library reads them by
-- number.
CREATE TABLE pg_directory (
    name text COLLATE "C" PRIMARY KEY CHECK (name <> ''),
    owner xml_directory_role,
    path text COLLATE "C" CHECK (path ^@ '/'),
    privileges xml_directory_role[] NOT NULL DEFAULT '{}'
);
COMMENT ON TABLE pg_directory IS 'directories of the server into which XML files may be written';
COMMENT ON COLUMN pg_directory.name IS 'name of the directory object, as file arguments begin with it';
COMMENT ON COLUMN pg_directory.owner IS 'role that made it, and may write into it';
COMMENT ON COLUMN pg_directory.path IS 'directory on the server';
COMMENT ON COLUMN pg_directory.privileges IS 'other roles that may write into it';
-- Everybody may look: whoever may dump the rest of the database can dump this, too.
REVOKE ALL ON pg_directory FROM PUBLIC;
GRANT SELECT ON pg_directory TO PUBLIC;
SELECT pg_catalog.pg_extension_config_dump('pg_directory', '');

CREATE FUNCTION xml_directory_create(name text, path text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_directory_create' LANGUAGE C VOLATILE PARALLEL UNSAFE
    SET search_path = pg_catalog, pg_temp;
COMMENT ON FUNCTION xml_directory_create(text, text) IS
    'makes a directory object; for superusers and members of pg_write_server_files';

CREATE FUNCTION xml_directory_drop(name text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_directory_drop' LANGUAGE C VOLATILE PARALLEL UNSAFE
    SET search_path = pg_catalog, pg_temp;
COMMENT ON FUNCTION xml_directory_drop(text) IS
    'drops a directory object; for superusers and members of pg_write_server_files';

CREATE FUNCTION xml_directory_grant(name text, role text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_directory_grant' LANGUAGE C VOLATILE PARALLEL UNSAFE
    SET search_path = pg_catalog, pg_temp;
COMMENT ON FUNCTION xml_directory_grant(text, text) IS
    'lets a role write into a directory; for superusers and members of pg_write_server_files';

CREATE FUNCTION xml_directory_revoke(name text, role text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_directory_revoke' LANGUAGE C VOLATILE PARALLEL UNSAFE
    SET search_path = pg_catalog, pg_temp;
COMMENT ON FUNCTION xml_directory_revoke(text, text) IS
    'takes that right away; for superusers and members of pg_write_server_files';

CREATE FUNCTION xml_dom_write_to_file_doc(document raw, file text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_file_doc(raw, text) IS
    'writes a document into DIRECTORY/NAME.xml, in its declared character set, else in UTF-8';

CREATE FUNCTION xml_dom_write_to_file_doc(document raw, file text, character_set text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_file_doc(raw, text, text) IS
    'the same in a character set; null means as with two arguments';

CREATE FUNCTION xml_dom_write_to_file_node(node raw, file text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_file_node(raw, text) IS
    'writes an element, text, document or the bare value of an attribute into DIRECTORY/NAME.xml';

CREATE FUNCTION xml_dom_write_to_file_node(node raw, file text, character_set text) RETURNS void
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_write_to_file_node(raw, text, text) IS
    'the same in a character set, which must not be null';
-- For administrators: what the trees of the session take of the process's memory.

CREATE FUNCTION xml_dom_get_memory_info() RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_memory_info' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xml_dom_get_memory_info() IS
    'a line for each document of the session: handle, nodes, bytes; a last line for all of it';

CREATE VIEW pkg_dbe_xml_memory AS
    SELECT CASE WHEN fields[1] <> 'all'
               THEN CAST(decode(fields[1], 'hex') AS raw) END AS document,
        CAST(fields[2] AS bigint) AS nodes,
        CAST(fields[3] AS bigint) AS bytes
    FROM (
        SELECT string_to_array(line, ' ') AS fields
        FROM regexp_split_to_table(xml_dom_get_memory_info(), '\n') AS line
    ) AS lines;
COMMENT ON VIEW pkg_dbe_xml_memory IS
    'memory behind each document of this session; without a document: all that is held for it';
GRANT SELECT ON pkg_dbe_xml_memory TO PUBLIC;
-- Types of the package layer: handles of the DOM under their own types.
--
-- The types hold what raw holds. What the DOM derives from a node is passed as one without any
-- cost; from a node to an element or attribute leads a cast that looks at the node.

CREATE SCHEMA xmldom;
COMMENT ON SCHEMA xmldom IS 'DOM for XML: documents, nodes, lists and maps as types, methods as functions';
GRANT USAGE ON SCHEMA xmldom TO PUBLIC;
CREATE SCHEMA xmlparser;
COMMENT ON SCHEMA xmlparser IS 'parser objects: one parser for many texts, with validation';
GRANT USAGE ON SCHEMA xmlparser TO PUBLIC;

CREATE TYPE xmldom.document;
CREATE FUNCTION dom_document_in(cstring) RETURNS xmldom.document
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_document_out(xmldom.document) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_document_recv(internal) RETURNS xmldom.document
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_document_send(xmldom.document) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.document (
    INPUT = dom_document_in, OUTPUT = dom_document_out, RECEIVE = dom_document_recv, SEND = dom_document_send, LIKE = raw
);
COMMENT ON TYPE xmldom.document IS 'handle of a document';
COMMENT ON FUNCTION dom_document_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_document_out(xmldom.document) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_document_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_document_send(xmldom.document) IS 'writes a handle in binary form';
CREATE CAST (xmldom.document AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.document) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.node;
CREATE FUNCTION dom_node_in(cstring) RETURNS xmldom.node
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_node_out(xmldom.node) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_node_recv(internal) RETURNS xmldom.node
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_node_send(xmldom.node) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.node (
    INPUT = dom_node_in, OUTPUT = dom_node_out, RECEIVE = dom_node_recv, SEND = dom_node_send, LIKE = raw
);
COMMENT ON TYPE xmldom.node IS 'handle of a node of any type';
COMMENT ON FUNCTION dom_node_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_node_out(xmldom.node) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_node_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_node_send(xmldom.node) IS 'writes a handle in binary form';
CREATE CAST (xmldom.node AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.node) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.element;
CREATE FUNCTION dom_element_in(cstring) RETURNS xmldom.element
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_element_out(xmldom.element) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_element_recv(internal) RETURNS xmldom.element
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_element_send(xmldom.element) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.element (
    INPUT = dom_element_in, OUTPUT = dom_element_out, RECEIVE = dom_element_recv, SEND = dom_element_send, LIKE = raw
);
COMMENT ON TYPE xmldom.element IS 'handle of an element';
COMMENT ON FUNCTION dom_element_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_element_out(xmldom.element) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_element_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_element_send(xmldom.element) IS 'writes a handle in binary form';
CREATE CAST (xmldom.element AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.element) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.attr;
CREATE FUNCTION dom_attr_in(cstring) RETURNS xmldom.attr
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_attr_out(xmldom.attr) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_attr_recv(internal) RETURNS xmldom.attr
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_attr_send(xmldom.attr) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.attr (
    INPUT = dom_attr_in, OUTPUT = dom_attr_out, RECEIVE = dom_attr_recv, SEND = dom_attr_send, LIKE = raw
);
COMMENT ON TYPE xmldom.attr IS 'handle of an attribute';
COMMENT ON FUNCTION dom_attr_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_attr_out(xmldom.attr) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_attr_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_attr_send(xmldom.attr) IS 'writes a handle in binary form';
CREATE CAST (xmldom.attr AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.attr) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.text_node;
CREATE FUNCTION dom_text_node_in(cstring) RETURNS xmldom.text_node
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_text_node_out(xmldom.text_node) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_text_node_recv(internal) RETURNS xmldom.text_node
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_text_node_send(xmldom.text_node) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.text_node (
    INPUT = dom_text_node_in, OUTPUT = dom_text_node_out, RECEIVE = dom_text_node_recv, SEND = dom_text_node_send, LIKE = raw
);
COMMENT ON TYPE xmldom.text_node IS 'handle of a text';
COMMENT ON FUNCTION dom_text_node_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_text_node_out(xmldom.text_node) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_text_node_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_text_node_send(xmldom.text_node) IS 'writes a handle in binary form';
CREATE CAST (xmldom.text_node AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.text_node) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.node_list;
CREATE FUNCTION dom_node_list_in(cstring) RETURNS xmldom.node_list
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_node_list_out(xmldom.node_list) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_node_list_recv(internal) RETURNS xmldom.node_list
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_node_list_send(xmldom.node_list) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.node_list (
    INPUT = dom_node_list_in, OUTPUT = dom_node_list_out, RECEIVE = dom_node_list_recv, SEND = dom_node_list_send, LIKE = raw
);
COMMENT ON TYPE xmldom.node_list IS 'handle of a list of nodes';
COMMENT ON FUNCTION dom_node_list_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_node_list_out(xmldom.node_list) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_node_list_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_node_list_send(xmldom.node_list) IS 'writes a handle in binary form';
CREATE CAST (xmldom.node_list AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.node_list) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.named_node_map;
CREATE FUNCTION dom_named_node_map_in(cstring) RETURNS xmldom.named_node_map
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_named_node_map_out(xmldom.named_node_map) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_named_node_map_recv(internal) RETURNS xmldom.named_node_map
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_named_node_map_send(xmldom.named_node_map) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.named_node_map (
    INPUT = dom_named_node_map_in, OUTPUT = dom_named_node_map_out, RECEIVE = dom_named_node_map_recv, SEND = dom_named_node_map_send, LIKE = raw
);
COMMENT ON TYPE xmldom.named_node_map IS 'handle of the attributes of a node';
COMMENT ON FUNCTION dom_named_node_map_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_named_node_map_out(xmldom.named_node_map) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_named_node_map_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_named_node_map_send(xmldom.named_node_map) IS 'writes a handle in binary form';
CREATE CAST (xmldom.named_node_map AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.named_node_map) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmlparser.parser;
CREATE FUNCTION dom_parser_in(cstring) RETURNS xmlparser.parser
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_parser_out(xmlparser.parser) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_parser_recv(internal) RETURNS xmlparser.parser
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_parser_send(xmlparser.parser) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmlparser.parser (
    INPUT = dom_parser_in, OUTPUT = dom_parser_out, RECEIVE = dom_parser_recv, SEND = dom_parser_send, LIKE = raw
);
COMMENT ON TYPE xmlparser.parser IS 'handle of a parser object';
COMMENT ON FUNCTION dom_parser_in(cstring) IS 'reads a handle as raw is read';
COMMENT ON FUNCTION dom_parser_out(xmlparser.parser) IS 'writes a handle as raw is written';
COMMENT ON FUNCTION dom_parser_recv(internal) IS 'reads a handle in binary form';
COMMENT ON FUNCTION dom_parser_send(xmlparser.parser) IS 'writes a handle in binary form';
CREATE CAST (xmlparser.parser AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmlparser.parser) WITHOUT FUNCTION AS ASSIGNMENT;

CREATE TYPE xmldom.scope;
CREATE FUNCTION dom_scope_in(cstring) RETURNS xmldom.scope
    AS 'byteain' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_scope_out(xmldom.scope) RETURNS cstring
    AS 'byteaout' LANGUAGE internal STABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_scope_recv(internal) RETURNS xmldom.scope
    AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE FUNCTION dom_scope_send(xmldom.scope) RETURNS bytea
    AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
CREATE TYPE xmldom.scope (
    INPUT = dom_scope_in, OUTPUT = dom_scope_out, RECEIVE = dom_scope_recv, SEND = dom_scope_send, LIKE = raw
);
COMMENT ON TYPE xmldom.scope IS 'time since which documents and parsers were made';
COMMENT ON FUNCTION dom_scope_in(cstring) IS 'reads a scope as raw is read';
COMMENT ON FUNCTION dom_scope_out(xmldom.scope) IS 'writes a scope as raw is written';
COMMENT ON FUNCTION dom_scope_recv(internal) IS 'reads a scope in binary form';
COMMENT ON FUNCTION dom_scope_send(xmldom.scope) IS 'writes a scope in binary form';
CREATE CAST (xmldom.scope AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
CREATE CAST (raw AS xmldom.scope) WITHOUT FUNCTION AS ASSIGNMENT;

-- What every node can do, these can: their handles are passed as they are.
CREATE CAST (xmldom.document AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
CREATE CAST (xmldom.element AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
CREATE CAST (xmldom.attr AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
CREATE CAST (xmldom.text_node AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
-- The package xmldom: the methods of the DOM

-- Documents.

CREATE FUNCTION xmldom.new_document() RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_empty' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.new_document() IS
    'new document without any node';
CREATE FUNCTION xmldom.parse(document text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_clob' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.parse(text) IS
    'new document parsed from a text';
CREATE FUNCTION xmldom.parse(document xml) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_new_document_xmltype' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.parse(xml) IS
    'new document parsed from an XML value, null for null';
CREATE FUNCTION xmldom.get_document_element(document xmldom.document) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_get_document_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_document_element(xmldom.document) IS
    'root element of a document';
CREATE FUNCTION xmldom.set_charset(document xmldom.document, character_set text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_set_charset_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_charset(xmldom.document, text) IS
    'sets the character set that the document declares, UTF-8 for null; the document';
CREATE FUNCTION xmldom.set_doctype(document xmldom.document, name text, system_id text, public_id text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_set_doctype_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_doctype(xmldom.document, text, text, text) IS
    'sets the document type declaration; the document';
CREATE FUNCTION xmldom.free_document(document xmldom.document) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_free_document_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_document(xmldom.document) IS
    'releases a document with every handle that belongs to it; null';

-- Casts of handles.

CREATE FUNCTION xmldom.make_node(document xmldom.document) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_makenode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.make_node(xmldom.document) IS
    'new handle as a node; the cast to xmldom.node needs none';
CREATE FUNCTION xmldom.make_node(element xmldom.element) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_makenode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.make_node(xmldom.element) IS
    'new handle as a node; the cast to xmldom.node needs none';
CREATE FUNCTION xmldom.make_node(attr xmldom.attr) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_makenode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.make_node(xmldom.attr) IS
    'new handle as a node; the cast to xmldom.node needs none';
CREATE FUNCTION xmldom.make_node(text_node xmldom.text_node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_makenode' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.make_node(xmldom.text_node) IS
    'new handle as a node; the cast to xmldom.node needs none';
CREATE FUNCTION xmldom.make_element(node xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_make_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.make_element(xmldom.node) IS
    'handle as an element of what a node handle names; an error for texts, documents and attributes';
CREATE FUNCTION xmldom.make_attr(node xmldom.node) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_make_attr' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.make_attr(xmldom.node) IS
    'handle as an attribute of what a node handle names; an error for other nodes';

CREATE CAST (xmldom.node AS xmldom.element)
    WITH FUNCTION xmldom.make_element(xmldom.node) AS ASSIGNMENT;
CREATE CAST (xmldom.node AS xmldom.attr)
    WITH FUNCTION xmldom.make_attr(xmldom.node) AS ASSIGNMENT;

CREATE FUNCTION xmldom.is_null(node xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_null(xmldom.node) IS
    'whether the handle is null or names nothing any more';
CREATE FUNCTION xmldom.is_null(list xmldom.node_list) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_null(xmldom.node_list) IS
    'whether the list is null, released or empty';
CREATE FUNCTION xmldom.is_null(map xmldom.named_node_map) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_is_null' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.is_null(xmldom.named_node_map) IS
    'whether the handle is null';

-- Walking the tree.

CREATE FUNCTION xmldom.get_parent_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_get_parent_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_parent_node(xmldom.node) IS
    'parent; null for attributes';
CREATE FUNCTION xmldom.get_first_child(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_get_first_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_first_child(xmldom.node) IS
    'first child; of a document the first element';
CREATE FUNCTION xmldom.get_last_child(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_get_last_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_last_child(xmldom.node) IS
    'last child';
CREATE FUNCTION xmldom.get_next_sibling(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_get_next_sibling' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_next_sibling(xmldom.node) IS
    'next sibling; null for attributes';
CREATE FUNCTION xmldom.get_child_nodes(node xmldom.node) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_child_nodes(xmldom.node) IS
    'list of the children, without blank texts between others';
CREATE FUNCTION xmldom.has_child_nodes(node xmldom.node) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xml_dom_has_child_nodes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.has_child_nodes(xmldom.node) IS
    'whether there is a child; false for attributes';

-- Reading nodes.

CREATE FUNCTION xmldom.get_node_name(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_name' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_node_name(xmldom.node) IS
    'name, with its prefix; #text, #document and so on for nodes without one';
CREATE FUNCTION xmldom.get_node_value(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_node_value(xmldom.node) IS
    'value of an attribute, text, CDATA section, comment or processing instruction; null when empty';
CREATE FUNCTION xmldom.get_node_type(node xmldom.node) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_node_type' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_node_type(xmldom.node) IS
    '1 element, 2 attribute, 3 text, 4 CDATA section, 7 processing instruction, 8 comment, 9 document, ...';
CREATE FUNCTION xmldom.get_local_name(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_localname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_local_name(xmldom.node) IS
    'name without prefix, of a node, element or attribute';
CREATE FUNCTION xmldom.get_tag_name(element xmldom.element) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_tag_name(xmldom.element) IS
    'name with prefix';

-- Finding elements.

CREATE FUNCTION xmldom.get_elements_by_tag_name(document xmldom.document, name text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_document' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_elements_by_tag_name(xmldom.document, text) IS
    'list of all elements of that name below, in document order; * means any name';
CREATE FUNCTION xmldom.get_elements_by_tag_name(element xmldom.element, name text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_elements_by_tag_name(xmldom.element, text) IS
    'list of all elements of that name below, in document order; * means any name';
CREATE FUNCTION xmldom.get_elements_by_tag_name_ns(document xmldom.document, name text, namespace_uri text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_elements_by_tag_name_ns(xmldom.document, text, text) IS
    'list of all elements of that name in that namespace below; * means any';
CREATE FUNCTION xmldom.get_elements_by_tag_name_ns(element xmldom.element, name text, namespace_uri text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_elements_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_elements_by_tag_name_ns(xmldom.element, text, text) IS
    'list of all elements of that name in that namespace below; * means any';
CREATE FUNCTION xmldom.get_children_by_tag_name(element xmldom.element, name text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_children_by_tag_name(xmldom.element, text) IS
    'list of the children of that name';
CREATE FUNCTION xmldom.get_children_by_tag_name_ns(element xmldom.element, name text, namespace_uri text) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_get_children_by_tagname_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_children_by_tag_name_ns(xmldom.element, text, text) IS
    'list of the children of that name in that namespace';

-- Attributes.

CREATE FUNCTION xmldom.get_attribute(element xmldom.element, name text) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute(xmldom.element, text) IS
    'value of an attribute, null when there is none';
CREATE FUNCTION xmldom.get_attribute_ns(element xmldom.element, name text, namespace_uri text) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute_ns(xmldom.element, text, text) IS
    'value of an attribute in a namespace';
CREATE FUNCTION xmldom.get_attribute_node(element xmldom.element, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute_node(xmldom.element, text) IS
    'attribute of that name';
CREATE FUNCTION xmldom.get_attribute_node(element xmldom.element, name text, namespace_uri text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_get_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attribute_node(xmldom.element, text, text) IS
    'attribute of that name in that namespace';
CREATE FUNCTION xmldom.set_attribute(element xmldom.element, name text, value text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute(xmldom.element, text, text) IS
    'sets an attribute, a null value means the empty one; the element';
CREATE FUNCTION xmldom.set_attribute_ns(element xmldom.element, name text, value text, namespace_uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_ns_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_ns(xmldom.element, text, text, text) IS
    'sets an attribute in a namespace, without declaring the namespace; the element';
CREATE FUNCTION xmldom.set_attribute_node(element xmldom.element, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_set_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_attribute_node(xmldom.element, xmldom.attr) IS
    'puts an attribute in the place of one of its name; null when the element has none';
CREATE FUNCTION xmldom.remove_attribute_node(element xmldom.element, attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_remove_attribute_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.remove_attribute_node(xmldom.element, xmldom.attr) IS
    'takes an attribute off its element; a copy that stands nowhere, null when the element has none of its name';
CREATE FUNCTION xmldom.get_attributes(node xmldom.node) RETURNS xmldom.named_node_map
    AS 'MODULE_PATHNAME', 'xml_dom_get_attributes_of_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_attributes(xmldom.node) IS
    'map of the attributes of an element, empty for other nodes';

-- Lists and maps.

CREATE FUNCTION xmldom.get_length(list xmldom.node_list) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_length' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_length(xmldom.node_list) IS
    'number of members; 0 for null';
CREATE FUNCTION xmldom.get_length(map xmldom.named_node_map) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_get_length' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_length(xmldom.named_node_map) IS
    'number of attributes; 0 for null';
CREATE FUNCTION xmldom.item(list xmldom.node_list, item_index integer) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.item(xmldom.node_list, integer) IS
    'member of a list, from 0; null beyond the end';
CREATE FUNCTION xmldom.item(map xmldom.named_node_map, item_index integer) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.item(xmldom.named_node_map, integer) IS
    'text of an attribute, from 0; null beyond the end and for an empty value';
CREATE FUNCTION xmldom.get_named_item(map xmldom.named_node_map, name text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_get_named_item' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_named_item(xmldom.named_node_map, text) IS
    'attribute of that name, as a node';
CREATE FUNCTION xmldom.get_named_item_ns(map xmldom.named_node_map, name text, namespace_uri text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_get_named_item_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.get_named_item_ns(xmldom.named_node_map, text, text) IS
    'attribute of that name, in that namespace or in none, as a node';

-- New nodes.

CREATE FUNCTION xmldom.create_element(document xmldom.document, tag_name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_create_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_element(xmldom.document, text) IS
    'new element of the document, in no tree yet';
CREATE FUNCTION xmldom.create_element_ns(document xmldom.document, qualified_name text, namespace_uri text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_create_element_ns' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_element_ns(xmldom.document, text, text) IS
    'new element with a default namespace of its own; none when the URI is null';
CREATE FUNCTION xmldom.create_text_node(document xmldom.document, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xml_dom_create_text_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_text_node(xmldom.document, text) IS
    'new text of the document, in no tree yet';
CREATE FUNCTION xmldom.create_attribute(document xmldom.document, name text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_create_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.create_attribute(xmldom.document, text) IS
    'new attribute of the document, with an empty value';

-- Changing the tree.

CREATE FUNCTION xmldom.append_child(parent xmldom.node, child xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_append_child' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.node) IS
    'moves a node behind the last child of another; the node, or the text it was merged into';
CREATE FUNCTION xmldom.append_child(parent xmldom.node, child xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_append_child_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_child(xmldom.node, xmldom.element) IS
    'moves an element behind the last child of a node; the element';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.node) IS
    'copy of a node and its attributes for the document, without what stands below';
CREATE FUNCTION xmldom.import_node(document xmldom.document, node xmldom.node, deep boolean) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_import_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.import_node(xmldom.document, xmldom.node, boolean) IS
    'copy of a node for the document, with all that stands below it when deep is true';
CREATE FUNCTION xmldom.set_node_value(node xmldom.node, value text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.node, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction; the node';
CREATE FUNCTION xmldom.set_node_value(attr xmldom.attr, value text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.attr, text) IS
    'sets the value of an attribute; the attribute';
CREATE FUNCTION xmldom.set_node_value(text_node xmldom.text_node, value text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xml_dom_set_node_value_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.text_node, text) IS
    'sets the value of a text; the text';

-- Writing.

CREATE FUNCTION xmldom.write_to_buffer(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_buffer_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_buffer(xmldom.document) IS
    'document as a text below 1 GiB, with declaration and indentation';
CREATE FUNCTION xmldom.write_to_buffer(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_buffer_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_buffer(xmldom.node) IS
    'node with all below it as a text below 1 GiB; of an attribute the value';
CREATE FUNCTION xmldom.write_to_clob(document xmldom.document) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_clob_doc' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_clob(xmldom.document) IS
    'document as a CLOB, with declaration and indentation';
CREATE FUNCTION xmldom.write_to_clob(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_clob_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_clob(xmldom.node) IS
    'node with all below it as a CLOB; of an attribute the value';
CREATE FUNCTION xmldom.write_to_file(document xmldom.document, file text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.document, text) IS
    'writes a document into DIRECTORY/NAME.xml; the document';
CREATE FUNCTION xmldom.write_to_file(document xmldom.document, file text, character_set text) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_doc_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.document, text, text) IS
    'the same in a character set; the document';
CREATE FUNCTION xmldom.write_to_file(node xmldom.node, file text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.node, text) IS
    'writes a node into DIRECTORY/NAME.xml; the node';
CREATE FUNCTION xmldom.write_to_file(node xmldom.node, file text, character_set text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_write_to_file_node_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.write_to_file(xmldom.node, text, text) IS
    'the same in a character set; the node';

-- Giving handles up.

CREATE FUNCTION xmldom.free_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_free_node_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_node(xmldom.node) IS
    'gives a handle up, the tree stays; null';
CREATE FUNCTION xmldom.free_node_list(list xmldom.node_list) RETURNS xmldom.node_list
    AS 'MODULE_PATHNAME', 'xml_dom_free_nodelist_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_node_list(xmldom.node_list) IS
    'gives a list up, its members stay; null';
CREATE FUNCTION xmldom.free_named_node_map(map xmldom.named_node_map) RETURNS xmldom.named_node_map
    AS 'MODULE_PATHNAME', 'xml_dom_free_node_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_named_node_map(xmldom.named_node_map) IS
    'gives a map up, the attributes stay; null';
-- The package xmlparser: parser objects

CREATE FUNCTION xmlparser.new_parser() RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_new_parser' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.new_parser() IS
    'new parser, which validates';
CREATE FUNCTION xmlparser.parse(parser xmlparser.parser, document text) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_parse_clob_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.parse(xmlparser.parser, text) IS
    'parses a text and keeps the document; a text that does not parse draws a warning and leaves none; the parser';
CREATE FUNCTION xmlparser.parse_buffer(parser xmlparser.parser, document text) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_parse_buffer_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.parse_buffer(xmlparser.parser, text) IS
    'the same for a text of at most 32767 bytes';
CREATE FUNCTION xmlparser.get_document(parser xmlparser.parser) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmlparser_get_doc' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.get_document(xmlparser.parser) IS
    'the document parsed last, null when there is none; it outlives the parser';
CREATE FUNCTION xmlparser.set_validation_mode(parser xmlparser.parser, validate boolean) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_set_validation_mode_returning' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.set_validation_mode(xmlparser.parser, boolean) IS
    'whether later parses check documents against their document type; null means no; the parser';
CREATE FUNCTION xmlparser.get_validation_mode(parser xmlparser.parser) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlparser_get_validation_mode' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.get_validation_mode(xmlparser.parser) IS
    'whether parses check documents against their document type';
CREATE FUNCTION xmlparser.free_parser(parser xmlparser.parser) RETURNS xmlparser.parser
    AS 'MODULE_PATHNAME', 'xmlparser_free_parser_returning' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.free_parser(xmlparser.parser) IS
    'frees the parser, documents it has handed over stay; null';
-- The package xmldom, sets and scopes: rows instead of loops, and what the session holds

-- Steps.

CREATE FUNCTION xmldom.first_node(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xml_dom_first_node' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_node(xmldom.node) IS
    'first child, of a document too whatever stands first; get_next_sibling goes on from there';
CREATE FUNCTION xmldom.first_attribute(element xmldom.element) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_first_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.first_attribute(xmldom.element) IS
    'first attribute of an element';
CREATE FUNCTION xmldom.next_attribute(attribute xmldom.attr) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xml_dom_next_attribute' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_attribute(xmldom.attr) IS
    'next attribute of the same element';
CREATE FUNCTION xmldom.next_element(node xmldom.node, top xmldom.node, name text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xml_dom_next_element' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.next_element(xmldom.node, xmldom.node, text) IS
    'next element of that name in document order below top; * means any name';

-- Sets.

CREATE FUNCTION xmldom.nodes(list xmldom.node_list) RETURNS SETOF xmldom.node
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 100
BEGIN ATOMIC
    SELECT xmldom.item(nodes.list, place)
        FROM pg_catalog.generate_series(0, xmldom.get_length(nodes.list) - 1) AS place;
END;
COMMENT ON FUNCTION xmldom.nodes(xmldom.node_list) IS
    'members of a list, in its order';
CREATE FUNCTION xmldom.children(node xmldom.node) RETURNS SETOF xmldom.node
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 100
BEGIN ATOMIC
    WITH RECURSIVE found (child) AS (
        SELECT xmldom.first_node(children.node)
        UNION ALL
        SELECT xmldom.get_next_sibling(child) FROM found WHERE child IS NOT NULL
    )
    SELECT child FROM found WHERE child IS NOT NULL;
END;
COMMENT ON FUNCTION xmldom.children(xmldom.node) IS
    'all children of a node, blank texts too';
CREATE FUNCTION xmldom.attributes(element xmldom.element) RETURNS SETOF xmldom.attr
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 10
BEGIN ATOMIC
    WITH RECURSIVE found (attribute) AS (
        SELECT xmldom.first_attribute(attributes.element)
        UNION ALL
        SELECT xmldom.next_attribute(attribute) FROM found WHERE attribute IS NOT NULL
    )
    SELECT attribute FROM found WHERE attribute IS NOT NULL;
END;
COMMENT ON FUNCTION xmldom.attributes(xmldom.element) IS
    'attributes of an element';
CREATE FUNCTION xmldom.descendants(node xmldom.node, name text) RETURNS SETOF xmldom.element
    LANGUAGE SQL VOLATILE PARALLEL UNSAFE ROWS 100
BEGIN ATOMIC
    WITH RECURSIVE found (element) AS (
        SELECT xmldom.next_element(descendants.node, descendants.node, descendants.name)
        UNION ALL
        SELECT xmldom.next_element(element, descendants.node, descendants.name)
            FROM found WHERE element IS NOT NULL
    )
    SELECT element FROM found WHERE element IS NOT NULL;
END;
COMMENT ON FUNCTION xmldom.descendants(xmldom.node, text) IS
    'elements of that name below a node, in document order; * means any name';
CREATE FUNCTION xmldom.outline(node xmldom.node) RETURNS text
    AS 'MODULE_PATHNAME', 'xml_dom_outline' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.outline(xmldom.node) IS
    'picture of a node and all below it, a line for each node; long texts are cut short';

-- Scopes.

CREATE FUNCTION xmldom.mark() RETURNS xmldom.scope
    AS 'MODULE_PATHNAME', 'xml_dom_mark_scope' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.mark() IS
    'scope that begins now, for release';
CREATE FUNCTION xmldom.release(scope xmldom.scope) RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_release_scope' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.release(xmldom.scope) IS
    'frees every document and parser made since the scope began; their number';
CREATE FUNCTION xmldom.free_all() RETURNS integer
    AS 'MODULE_PATHNAME', 'xml_dom_free_all' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.free_all() IS
    'frees every document and parser of the session; their number';

CREATE VIEW xmldom.session AS
    SELECT CAST(count(document) AS integer) AS documents,
        xml_dom_get_session_tree_num() AS handles,
        sum(nodes) FILTER (WHERE document IS NULL) AS nodes,
        sum(bytes) FILTER (WHERE document IS NULL) AS bytes
    FROM pkg_dbe_xml_memory;
COMMENT ON VIEW xmldom.session IS
    'what this session holds: documents, handles, nodes of its trees, bytes of memory';
GRANT SELECT ON xmldom.session TO PUBLIC;
