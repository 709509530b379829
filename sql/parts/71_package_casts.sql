-- Casts and comparison of the package layer's handles

-- From a node to what it is: the type of the node is looked at, the bytes of its own handle stay.

CREATE FUNCTION xmldom_internal.as_document(node xmldom.node) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_as_document' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom_internal.as_document(xmldom.node) IS
    'the same handle as a document; an error for other nodes';
CREATE FUNCTION xmldom_internal.as_element(node xmldom.node) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_as_element' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom_internal.as_element(xmldom.node) IS
    'the same handle as an element; an error for other nodes';
CREATE FUNCTION xmldom_internal.as_attr(node xmldom.node) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_as_attr' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom_internal.as_attr(xmldom.node) IS
    'the same handle as an attribute; an error for other nodes';
CREATE FUNCTION xmldom_internal.as_text_node(node xmldom.node) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_as_text_node' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom_internal.as_text_node(xmldom.node) IS
    'the same handle as a text or CDATA section; an error for other nodes';

CREATE CAST (xmldom.node AS xmldom.document)
    WITH FUNCTION xmldom_internal.as_document(xmldom.node) AS ASSIGNMENT;
CREATE CAST (xmldom.node AS xmldom.element)
    WITH FUNCTION xmldom_internal.as_element(xmldom.node) AS ASSIGNMENT;
CREATE CAST (xmldom.node AS xmldom.attr)
    WITH FUNCTION xmldom_internal.as_attr(xmldom.node) AS ASSIGNMENT;
CREATE CAST (xmldom.node AS xmldom.text_node)
    WITH FUNCTION xmldom_internal.as_text_node(xmldom.node) AS ASSIGNMENT;
COMMENT ON CAST (xmldom.node AS xmldom.document) IS 'the same handle; an error unless it names a document';
COMMENT ON CAST (xmldom.node AS xmldom.element) IS 'the same handle; an error unless it names an element';
COMMENT ON CAST (xmldom.node AS xmldom.attr) IS 'the same handle; an error unless it names an attribute';
COMMENT ON CAST (xmldom.node AS xmldom.text_node) IS
    'the same handle; an error unless it names a text or a CDATA section';

-- Equality, for joins, DISTINCT and GROUP BY, and an order, for indexes. Documents, elements,
-- attributes and texts are compared as nodes, so that they can be compared with each other. The
-- operators stand where the extension does, so that they are found without a schema.

DO $comparison$
DECLARE
    type_name text;
    prefix text; -- of its functions
    operation record;
BEGIN
    FOREACH type_name IN ARRAY ARRAY['xmldom.node', 'xmldom.node_list', 'xmldom.named_node_map',
        'xmlparser.parser', 'xmldom.scope']
    LOOP
        prefix := 'xmldom_internal.dom_' || pg_catalog.split_part(type_name, '.', 2);
        FOR operation IN SELECT * FROM (VALUES
            ('=', 'eq', '=', '<>', 'eq', 'HASHES, MERGES', 'equal'),
            ('<>', 'ne', '<>', '=', 'neq', NULL, 'not equal'),
            ('<', 'lt', '>', '>=', 'scalarlt', NULL, 'less than'),
            ('<=', 'le', '>=', '>', 'scalarle', NULL, 'less than or equal'),
            ('>', 'gt', '<', '<=', 'scalargt', NULL, 'greater than'),
            ('>=', 'ge', '<=', '<', 'scalarge', NULL, 'greater than or equal')
            ) AS operations (sign, name, commutator, negator, selectivity, more, description)
        LOOP
            EXECUTE pg_catalog.format('CREATE FUNCTION %1$s_%2$s(%3$s, %3$s) RETURNS boolean
                AS %4$L LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE',
                prefix, operation.name, type_name, 'bytea' || operation.name);
            EXECUTE pg_catalog.format('COMMENT ON FUNCTION %1$s_%2$s(%3$s, %3$s) IS %4$L',
                prefix, operation.name, type_name,
                'implementation of ' || operation.sign || ' operator');
            EXECUTE pg_catalog.format('CREATE OPERATOR %1$s (LEFTARG = %2$s, RIGHTARG = %2$s,
                FUNCTION = %3$s_%4$s, COMMUTATOR = %5$s, NEGATOR = %6$s,
                RESTRICT = %7$ssel, JOIN = %7$sjoinsel %8$s)',
                operation.sign, type_name, prefix, operation.name, operation.commutator,
                operation.negator, operation.selectivity, ', ' || operation.more);
            EXECUTE pg_catalog.format('COMMENT ON OPERATOR %1$s (%2$s, %2$s) IS %3$L',
                operation.sign, type_name, operation.description);
        END LOOP;
        EXECUTE pg_catalog.replace(pg_catalog.replace(pg_catalog.replace($statements$
            CREATE FUNCTION PREFIX_cmp(TYPE_NAME, TYPE_NAME) RETURNS integer
                AS 'byteacmp' LANGUAGE internal IMMUTABLE STRICT LEAKPROOF PARALLEL SAFE;
            CREATE FUNCTION PREFIX_hash(TYPE_NAME) RETURNS integer
                AS 'hashvarlena' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
            CREATE FUNCTION PREFIX_hash_extended(TYPE_NAME, bigint) RETURNS bigint
                AS 'hashvarlenaextended' LANGUAGE internal IMMUTABLE STRICT PARALLEL SAFE;
            COMMENT ON FUNCTION PREFIX_cmp(TYPE_NAME, TYPE_NAME) IS 'less-equal-greater';
            COMMENT ON FUNCTION PREFIX_hash(TYPE_NAME) IS 'hash';
            COMMENT ON FUNCTION PREFIX_hash_extended(TYPE_NAME, bigint) IS 'hash with a seed';
            CREATE OPERATOR CLASS SHORT_ops DEFAULT FOR TYPE TYPE_NAME USING btree AS
                OPERATOR 1 <, OPERATOR 2 <=, OPERATOR 3 =, OPERATOR 4 >=, OPERATOR 5 >,
                FUNCTION 1 PREFIX_cmp(TYPE_NAME, TYPE_NAME);
            CREATE OPERATOR CLASS SHORT_ops DEFAULT FOR TYPE TYPE_NAME USING hash AS
                OPERATOR 1 =,
                FUNCTION 1 PREFIX_hash(TYPE_NAME),
                FUNCTION 2 PREFIX_hash_extended(TYPE_NAME, bigint);
            COMMENT ON OPERATOR CLASS SHORT_ops USING btree IS 'an order of handles, for indexes';
            COMMENT ON OPERATOR FAMILY SHORT_ops USING btree IS 'an order of handles, for indexes';
            COMMENT ON OPERATOR CLASS SHORT_ops USING hash IS 'equality of handles';
            COMMENT ON OPERATOR FAMILY SHORT_ops USING hash IS 'equality of handles';
        $statements$, 'TYPE_NAME', type_name), 'PREFIX', prefix),
            'SHORT', 'dom_' || pg_catalog.split_part(type_name, '.', 2));
    END LOOP;
END
$comparison$;
