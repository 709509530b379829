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
COMMENT ON COLUMN pkg_dbe_xml_memory.document IS 'handle of the document, null for the sum';
COMMENT ON COLUMN pkg_dbe_xml_memory.nodes IS 'nodes of its trees, the document, attributes and their texts included';
COMMENT ON COLUMN pkg_dbe_xml_memory.bytes IS 'memory of its trees and handles; of the sum also what the session keeps besides';
GRANT SELECT ON pkg_dbe_xml_memory TO PUBLIC;
