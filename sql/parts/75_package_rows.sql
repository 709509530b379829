-- The package xmldom, rows: columns out of trees

CREATE FUNCTION xmldom.rows(node xmldom.node, row_path text, columns text[],
        namespaces text[] DEFAULT NULL, on_error text DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmldom_rows' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 1000 ROWS 100;
COMMENT ON FUNCTION xmldom.rows(xmldom.node, text, text[], text[], text) IS
    'a row for each node of the row path, with a column for each column path, which starts at that node; the caller names and types the columns: AS t(id integer, name text). Missing values are null, several are an error unless the column is an array. on_error is error or null';
CREATE FUNCTION xmldom.rows_of_text(document text, row_path text, columns text[],
        namespaces text[] DEFAULT NULL, on_error text DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmldom_rows_of_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 100;
COMMENT ON FUNCTION xmldom.rows_of_text(text, text, text[], text[], text) IS
    'the same of a text, which is parsed for this call alone';
CREATE FUNCTION xmldom.rows_of_text(document xml, row_path text, columns text[],
        namespaces text[] DEFAULT NULL, on_error text DEFAULT NULL) RETURNS SETOF record
    AS 'MODULE_PATHNAME', 'xmldom_rows_of_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 10000 ROWS 100;
COMMENT ON FUNCTION xmldom.rows_of_text(xml, text, text[], text[], text) IS
    'the same of an XML value';
