-- The package xmlschema: validation by schemas that live in the database
\echo Use "CREATE EXTENSION pkg_dbe_xml_validate" to load this file. \quit

CREATE SCHEMA xmlschema;
COMMENT ON SCHEMA xmlschema IS
    'validation of documents and texts by XML Schema 1.0, Relax NG and document type definitions';
GRANT USAGE ON SCHEMA xmlschema TO PUBLIC;

-- Schemas.

CREATE TABLE xmlschema.schemas (
    location text COLLATE "C" PRIMARY KEY CHECK (location <> '' AND octet_length(location) <= 1024),
    text text NOT NULL,
    added_at timestamptz NOT NULL DEFAULT now()
);
COMMENT ON TABLE xmlschema.schemas IS
    'the schemas that documents are validated by, under the locations by which they refer to each other; a dump keeps them';
COMMENT ON COLUMN xmlschema.schemas.location IS
    'a relative or absolute URI; what a schema refers to is resolved against its own location';
COMMENT ON COLUMN xmlschema.schemas.text IS 'the schema itself';
COMMENT ON COLUMN xmlschema.schemas.added_at IS 'when this text was added';
SELECT pg_catalog.pg_extension_config_dump('xmlschema.schemas', '');
REVOKE ALL ON xmlschema.schemas FROM PUBLIC;

CREATE FUNCTION xmlschema.schemas_changed() RETURNS trigger
    AS 'MODULE_PATHNAME', 'xmlschema_schemas_changed' LANGUAGE C VOLATILE;
COMMENT ON FUNCTION xmlschema.schemas_changed() IS
    'the trigger of xmlschema.schemas: makes all sessions forget the schemas that they have compiled';
CREATE TRIGGER schemas_changed AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON xmlschema.schemas
    FOR EACH STATEMENT EXECUTE FUNCTION xmlschema.schemas_changed();
ALTER TABLE xmlschema.schemas ENABLE ALWAYS TRIGGER schemas_changed;
COMMENT ON TRIGGER schemas_changed ON xmlschema.schemas IS
    'has all sessions forget the schemas that they have compiled';

CREATE FUNCTION xmlschema.add_schemas(schemas text[]) RETURNS integer
    AS 'MODULE_PATHNAME', 'xmlschema_add_schemas' LANGUAGE C VOLATILE PARALLEL UNSAFE
    SECURITY DEFINER SET search_path = pg_catalog, pg_temp;
COMMENT ON FUNCTION xmlschema.add_schemas(text[]) IS
    'adds or replaces schemas, all or none of them; the array has two columns, location and text; returns their number. Only for roles with a grant';
REVOKE ALL ON FUNCTION xmlschema.add_schemas(text[]) FROM PUBLIC;

CREATE FUNCTION xmlschema.remove_schema(location text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlschema_remove_schema' LANGUAGE C VOLATILE PARALLEL UNSAFE
    SECURITY DEFINER SET search_path = pg_catalog, pg_temp;
COMMENT ON FUNCTION xmlschema.remove_schema(text) IS
    'removes a schema; false when there is none. Only for roles with a grant';
REVOKE ALL ON FUNCTION xmlschema.remove_schema(text) FROM PUBLIC;

-- Validation.

CREATE FUNCTION xmlschema.validate(node xmldom.node, location text, at_most integer DEFAULT 1000)
    RETURNS TABLE (line integer, path text, level text, message text)
    AS 'MODULE_PATHNAME', 'xmlschema_validate_node' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 10;
COMMENT ON FUNCTION xmlschema.validate(xmldom.node, text, integer) IS
    'a row for each rule of a schema that a document or an element, with all below it, breaks; no rows mean that it is valid. Stops after at_most rows';
CREATE FUNCTION xmlschema.validate(document text, location text, at_most integer DEFAULT 1000)
    RETURNS TABLE (line integer, path text, level text, message text)
    AS 'MODULE_PATHNAME', 'xmlschema_validate_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 20000 ROWS 10;
COMMENT ON FUNCTION xmlschema.validate(text, text, integer) IS
    'the same of a text, which is parsed for this call alone';
CREATE FUNCTION xmlschema.validate(document xml, location text, at_most integer DEFAULT 1000)
    RETURNS TABLE (line integer, path text, level text, message text)
    AS 'MODULE_PATHNAME', 'xmlschema_validate_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 20000 ROWS 10;
COMMENT ON FUNCTION xmlschema.validate(xml, text, integer) IS
    'the same of an XML value';

CREATE FUNCTION xmlschema.is_valid(node xmldom.node, location text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlschema_is_valid_node' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000;
COMMENT ON FUNCTION xmlschema.is_valid(xmldom.node, text) IS
    'whether a document or an element, with all below it, is valid by a schema';
CREATE FUNCTION xmlschema.is_valid(document text, location text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlschema_is_valid_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 20000;
COMMENT ON FUNCTION xmlschema.is_valid(text, text) IS
    'the same of a text; one that is no XML document is an error';
CREATE FUNCTION xmlschema.is_valid(document xml, location text) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlschema_is_valid_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 20000;
COMMENT ON FUNCTION xmlschema.is_valid(xml, text) IS
    'the same of an XML value';

CREATE FUNCTION xmlschema.assert_valid(node xmldom.node, location text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlschema_assert_valid_node' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000;
COMMENT ON FUNCTION xmlschema.assert_valid(xmldom.node, text) IS
    'an error, with the first complaints, unless a document or an element, with all below it, is valid by a schema';
CREATE FUNCTION xmlschema.assert_valid(document text, location text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlschema_assert_valid_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 20000;
COMMENT ON FUNCTION xmlschema.assert_valid(text, text) IS
    'the same of a text';
CREATE FUNCTION xmlschema.assert_valid(document xml, location text) RETURNS void
    AS 'MODULE_PATHNAME', 'xmlschema_assert_valid_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 20000;
COMMENT ON FUNCTION xmlschema.assert_valid(xml, text) IS
    'the same of an XML value';
