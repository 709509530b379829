-- Types of the package layer: handles of the DOM under their own types.
--
-- The types hold what raw holds. They are alike, so they are made by a loop. What types are made of
-- stands in a schema of its own, which nobody calls.

CREATE SCHEMA xmldom;
COMMENT ON SCHEMA xmldom IS 'DOM for XML: documents, nodes, lists and maps as types, methods as functions';
GRANT USAGE ON SCHEMA xmldom TO PUBLIC;
CREATE SCHEMA xmlparser;
COMMENT ON SCHEMA xmlparser IS 'parser objects: one parser for many texts, with validation';
GRANT USAGE ON SCHEMA xmlparser TO PUBLIC;
CREATE SCHEMA xmldom_internal;
COMMENT ON SCHEMA xmldom_internal IS 'what the types of xmldom and xmlparser are made of';
GRANT USAGE ON SCHEMA xmldom_internal TO PUBLIC;

DO $types$
DECLARE
    type_name text;
    description text;
    prefix text; -- of its functions
BEGIN
    FOR type_name, description IN VALUES
        ('xmldom.document', 'handle of a document'),
        ('xmldom.node', 'handle of a node of any type'),
        ('xmldom.element', 'handle of an element'),
        ('xmldom.attr', 'handle of an attribute'),
        ('xmldom.text_node', 'handle of a text'),
        ('xmldom.node_list', 'handle of a list of nodes'),
        ('xmldom.named_node_map', 'handle of the attributes of a node'),
        ('xmlparser.parser', 'handle of a parser object'),
        ('xmlparser.stream', 'handle of a stream of records'),
        ('xmldom.scope', 'time since which documents and parsers were made')
    LOOP
        prefix := 'xmldom_internal.dom_' || pg_catalog.split_part(type_name, '.', 2);
        EXECUTE pg_catalog.replace(pg_catalog.replace(pg_catalog.replace($statements$
            CREATE TYPE TYPE_NAME;
            CREATE FUNCTION PREFIX_in(cstring) RETURNS TYPE_NAME
                AS 'MODULE_PATHNAME', 'xmldom_handle_in' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE;
            CREATE FUNCTION PREFIX_out(TYPE_NAME) RETURNS cstring
                AS 'MODULE_PATHNAME', 'xmldom_handle_out' LANGUAGE C IMMUTABLE STRICT PARALLEL SAFE;
            CREATE FUNCTION PREFIX_recv(internal) RETURNS TYPE_NAME
                AS 'bytearecv' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
            CREATE FUNCTION PREFIX_send(TYPE_NAME) RETURNS bytea
                AS 'byteasend' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
            CREATE TYPE TYPE_NAME (
                INPUT = PREFIX_in, OUTPUT = PREFIX_out, RECEIVE = PREFIX_recv, SEND = PREFIX_send,
                LIKE = raw
            );
            COMMENT ON TYPE TYPE_NAME IS 'DESCRIPTION';
            COMMENT ON FUNCTION PREFIX_in(cstring) IS 'reads a handle from hexadecimal digits';
            COMMENT ON FUNCTION PREFIX_out(TYPE_NAME) IS 'writes a handle in hexadecimal digits';
            COMMENT ON FUNCTION PREFIX_recv(internal) IS 'reads a handle in binary form';
            COMMENT ON FUNCTION PREFIX_send(TYPE_NAME) IS 'writes a handle in binary form';
            CREATE CAST (TYPE_NAME AS raw) WITHOUT FUNCTION AS ASSIGNMENT;
            CREATE CAST (raw AS TYPE_NAME) WITHOUT FUNCTION AS ASSIGNMENT;
            COMMENT ON CAST (TYPE_NAME AS raw) IS 'the same handle for the long-named functions';
            COMMENT ON CAST (raw AS TYPE_NAME) IS 'the same handle, which functions look at when it is passed';
        $statements$, 'TYPE_NAME', type_name), 'PREFIX', prefix), 'DESCRIPTION', description);
    END LOOP;
END
$types$;

-- What every node can do, these can: their handles are passed as they are.
CREATE CAST (xmldom.document AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
CREATE CAST (xmldom.element AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
CREATE CAST (xmldom.attr AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
CREATE CAST (xmldom.text_node AS xmldom.node) WITHOUT FUNCTION AS IMPLICIT;
COMMENT ON CAST (xmldom.document AS xmldom.node) IS 'the same handle: a document is a node';
COMMENT ON CAST (xmldom.element AS xmldom.node) IS 'the same handle: an element is a node';
COMMENT ON CAST (xmldom.attr AS xmldom.node) IS 'the same handle: an attribute is a node';
COMMENT ON CAST (xmldom.text_node AS xmldom.node) IS 'the same handle: a text is a node';
