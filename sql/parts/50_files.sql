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
COMMENT ON CAST (xml_directory_role AS oid) IS 'number of the role';
COMMENT ON CAST (oid AS xml_directory_role) IS 'role of that number';

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
