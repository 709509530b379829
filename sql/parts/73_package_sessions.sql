-- The package xmldom: what this session holds document by document, and what all sessions hold

CREATE FUNCTION xmldom.describe_documents() RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_describe_documents' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.describe_documents() IS
    'a line for each document of the session, what the view xmldom.documents shows; null when there is none';

CREATE VIEW xmldom.documents AS
    SELECT CAST(CAST(decode(fields[1], 'hex') AS raw) AS xmldom.document) AS document,
        to_timestamp(CAST(fields[2] AS double precision) / 1000) AS made,
        fields[3] AS lifetime,
        CAST(fields[4] AS bigint) AS nodes,
        CAST(fields[5] AS bigint) AS bytes
    FROM (
        SELECT string_to_array(line, ' ') AS fields
        FROM regexp_split_to_table(xmldom.describe_documents(), '\n') AS line
    ) AS lines;
COMMENT ON VIEW xmldom.documents IS
    'the documents of this session: when each was made, what it ends with, its nodes, and the bytes of tree and handles';
COMMENT ON COLUMN xmldom.documents.document IS 'handle of the document';
COMMENT ON COLUMN xmldom.documents.made IS 'when it was parsed or made';
COMMENT ON COLUMN xmldom.documents.lifetime IS 'what it ends with when nobody frees it: session or transaction';
COMMENT ON COLUMN xmldom.documents.nodes IS 'nodes of its trees, the document, attributes and their texts included';
COMMENT ON COLUMN xmldom.documents.bytes IS 'memory of its trees and handles';
GRANT SELECT ON xmldom.documents TO PUBLIC;

CREATE FUNCTION xmldom.describe_sessions() RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_describe_sessions' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.describe_sessions() IS
    'a line for each session of the server, what the view xmldom.sessions shows';
REVOKE EXECUTE ON FUNCTION xmldom.describe_sessions() FROM PUBLIC;
GRANT EXECUTE ON FUNCTION xmldom.describe_sessions() TO pg_monitor;

CREATE VIEW xmldom.sessions AS
    SELECT CAST(fields[1] AS integer) AS pid,
        CAST(fields[2] AS integer) AS documents,
        CAST(fields[3] AS integer) AS transaction_documents,
        CAST(fields[4] AS integer) AS parsers,
        CAST(fields[5] AS bigint) AS tree_bytes,
        CAST(fields[6] AS bigint) AS handle_bytes
    FROM (
        SELECT string_to_array(line, ' ') AS fields
        FROM regexp_split_to_table(xmldom.describe_sessions(), '\n') AS line
    ) AS lines;
COMMENT ON VIEW xmldom.sessions IS
    'what each session of the server holds, where pkg_dbe_xml is in shared_preload_libraries; for the role pg_monitor';
COMMENT ON COLUMN xmldom.sessions.pid IS 'number of the process, as in pg_stat_activity';
COMMENT ON COLUMN xmldom.sessions.documents IS 'open documents';
COMMENT ON COLUMN xmldom.sessions.transaction_documents IS 'those of them that end with their transaction';
COMMENT ON COLUMN xmldom.sessions.parsers IS 'parser objects';
COMMENT ON COLUMN xmldom.sessions.tree_bytes IS 'memory of trees';
COMMENT ON COLUMN xmldom.sessions.handle_bytes IS 'memory of handles';
GRANT SELECT ON xmldom.sessions TO pg_monitor;
