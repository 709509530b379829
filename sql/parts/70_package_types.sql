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
