-- The package xmldom, rows: columns out of trees

CREATE FUNCTION xmldom.rows(node xmldom.node, row_path text, columns text[],
        namespaces text[] DEFAULT NULL, on_error text DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmldom_rows' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 1000 ROWS 100;
COMMENT ON FUNCTION xmldom.rows(xmldom.node, text, text[], text[], text) IS
    'a row for each node of the row path, with a column for each path of columns, which starts at that node; the statement names and types the columns: AS t(id integer, name text). The paths are a list, or pairs of a column''s name and its path. Missing values are null, several are an error unless the column is an array. on_error, for values that do not convert, is error or null';
CREATE FUNCTION xmldom.rows_of_text(document text, row_path text, columns text[],
        namespaces text[] DEFAULT NULL, on_error text DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmldom_rows_of_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 100;
COMMENT ON FUNCTION xmldom.rows_of_text(text, text, text[], text[], text) IS
    'the rows of a text, which is parsed for this call alone; else as xmldom.rows';
CREATE FUNCTION xmldom.rows_of_text(document xml, row_path text, columns text[],
        namespaces text[] DEFAULT NULL, on_error text DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmldom_rows_of_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 100;
COMMENT ON FUNCTION xmldom.rows_of_text(xml, text, text[], text[], text) IS
    'the rows of an XML value, which is parsed for this call alone; else as xmldom.rows';

-- Rows out of streams: the same of documents of any length, record by record.

CREATE FUNCTION xmlparser.rows(source oid, record_path text, columns text[], namespaces text[] DEFAULT NULL,
        on_error text DEFAULT NULL, skip bigint DEFAULT 0, notice_every integer DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmlparser_rows_of_object' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 1000000 ROWS 100000;
COMMENT ON FUNCTION xmlparser.rows(oid, text, text[], text[], text, bigint, integer) IS
    'a row for each record of a large object, in the encoding that it names, with the memory of one record; columns, namespaces and on_error as in xmldom.rows; skip passes over the first records; notice_every sends a notice after each so many';
CREATE FUNCTION xmlparser.rows(source text, record_path text, columns text[], namespaces text[] DEFAULT NULL,
        on_error text DEFAULT NULL, skip bigint DEFAULT 0, notice_every integer DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmlparser_rows_of_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 1000;
COMMENT ON FUNCTION xmlparser.rows(text, text, text[], text[], text, bigint, integer) IS
    'the same of a text';
CREATE FUNCTION xmlparser.rows(source bytea, record_path text, columns text[], namespaces text[] DEFAULT NULL,
        on_error text DEFAULT NULL, skip bigint DEFAULT 0, notice_every integer DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmlparser_rows_of_bytes' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 1000;
COMMENT ON FUNCTION xmlparser.rows(bytea, text, text[], text[], text, bigint, integer) IS
    'the same of bytes, in the encoding that they name';
