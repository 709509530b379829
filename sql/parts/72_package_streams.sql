-- The package xmlparser, streams: records out of documents of any length, one by one

CREATE FUNCTION xmlparser.open_stream(record_path text, namespaces text[] DEFAULT NULL, inherit boolean DEFAULT false, skip bigint DEFAULT 0) RETURNS xmlparser.stream
    AS 'MODULE_PATHNAME', 'xmlparser_open_stream' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.open_stream(text, text[], boolean, bigint) IS
    'new stream, which gives the elements at a path of child steps as documents of their own; inherit copies xml:lang, xml:base and xml:space of outer elements; skip passes over the first records; it ends with the transaction';
CREATE FUNCTION xmlparser.feed(stream xmlparser.stream, piece text) RETURNS xmlparser.stream
    AS 'MODULE_PATHNAME', 'xmlparser_feed_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.feed(xmlparser.stream, text) IS
    'adds a piece of the text, cut anywhere; null adds nothing; returns the stream';
CREATE FUNCTION xmlparser.feed(stream xmlparser.stream, piece bytea) RETURNS xmlparser.stream
    AS 'MODULE_PATHNAME', 'xmlparser_feed_bytes' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.feed(xmlparser.stream, bytea) IS
    'the same of bytes, in the encoding that the document names; returns the stream';
CREATE FUNCTION xmlparser.next_record(stream xmlparser.stream) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmlparser_next_record' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.next_record(xmlparser.stream) IS
    'the next record as a document, which outlives the stream; null when what was fed holds no further one';
CREATE FUNCTION xmlparser.is_complete(stream xmlparser.stream) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmlparser_is_complete' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.is_complete(xmlparser.stream) IS
    'whether the document was fed to its end and all of its records were given out';
CREATE FUNCTION xmlparser.record_number(stream xmlparser.stream) RETURNS bigint
    AS 'MODULE_PATHNAME', 'xmlparser_record_number' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.record_number(xmlparser.stream) IS
    'number of the last record that was given out, counted from 1, skipped ones included';
CREATE FUNCTION xmlparser.close_stream(stream xmlparser.stream) RETURNS xmlparser.stream
    AS 'MODULE_PATHNAME', 'xmlparser_close_stream' LANGUAGE C VOLATILE STRICT PARALLEL UNSAFE;
COMMENT ON FUNCTION xmlparser.close_stream(xmlparser.stream) IS
    'ends the stream; its records stay; returns null';
