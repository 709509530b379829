-- The package xmldom: changing what nodes hold

CREATE FUNCTION xmldom.set_node_value(node xmldom.node, value text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_set_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.node, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction; returns the node';
CREATE FUNCTION xmldom.set_node_value(node xmldom.attr, value text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.attr, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction; returns the node';
CREATE FUNCTION xmldom.set_node_value(node xmldom.text_node, value text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_set_node_value' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_node_value(xmldom.text_node, text) IS
    'sets the value of an attribute, text, CDATA section, comment or processing instruction; returns the node';
CREATE FUNCTION xmldom.set_text_content(node xmldom.node, content text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_set_text_content' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_text_content(xmldom.node, text) IS
    'replaces all that is in a node by one text, by nothing when the text is null or empty; returns the node';
CREATE FUNCTION xmldom.set_text_content(node xmldom.element, content text) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_set_text_content' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_text_content(xmldom.element, text) IS
    'replaces all that is in a node by one text, by nothing when the text is null or empty; returns the node';
CREATE FUNCTION xmldom.set_text_content(node xmldom.attr, content text) RETURNS xmldom.attr
    AS 'MODULE_PATHNAME', 'xmldom_set_text_content' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_text_content(xmldom.attr, text) IS
    'replaces all that is in a node by one text, by nothing when the text is null or empty; returns the node';
CREATE FUNCTION xmldom.set_data(node xmldom.node, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_set_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_data(xmldom.node, text) IS
    'sets what a text, CDATA section, comment or processing instruction holds; returns the node';
CREATE FUNCTION xmldom.set_data(node xmldom.text_node, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_set_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.set_data(xmldom.text_node, text) IS
    'sets what a text, CDATA section, comment or processing instruction holds; returns the node';
CREATE FUNCTION xmldom.append_data(node xmldom.node, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_append_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_data(xmldom.node, text) IS
    'appends a text; returns the node';
CREATE FUNCTION xmldom.append_data(node xmldom.text_node, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_append_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.append_data(xmldom.text_node, text) IS
    'appends a text; returns the node';
CREATE FUNCTION xmldom.insert_data(node xmldom.node, at integer, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_insert_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.insert_data(xmldom.node, integer, text) IS
    'inserts a text in front of the character at an offset, counted from 0; returns the node';
CREATE FUNCTION xmldom.insert_data(node xmldom.text_node, at integer, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_insert_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.insert_data(xmldom.text_node, integer, text) IS
    'inserts a text in front of the character at an offset, counted from 0; returns the node';
CREATE FUNCTION xmldom.delete_data(node xmldom.node, at integer, count integer) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_delete_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.delete_data(xmldom.node, integer, integer) IS
    'deletes that many characters, from an offset on; returns the node';
CREATE FUNCTION xmldom.delete_data(node xmldom.text_node, at integer, count integer) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_delete_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.delete_data(xmldom.text_node, integer, integer) IS
    'deletes that many characters, from an offset on; returns the node';
CREATE FUNCTION xmldom.replace_data(node xmldom.node, at integer, count integer, data text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_replace_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_data(xmldom.node, integer, integer, text) IS
    'replaces that many characters, from an offset on, by a text; returns the node';
CREATE FUNCTION xmldom.replace_data(node xmldom.text_node, at integer, count integer, data text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_replace_data' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_data(xmldom.text_node, integer, integer, text) IS
    'replaces that many characters, from an offset on, by a text; returns the node';
CREATE FUNCTION xmldom.split_text(text xmldom.node, at integer) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_split_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.split_text(xmldom.node, integer) IS
    'splits a text or CDATA section in two; returns the new one, with what is behind the offset';
CREATE FUNCTION xmldom.split_text(text xmldom.text_node, at integer) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_split_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.split_text(xmldom.text_node, integer) IS
    'splits a text or CDATA section in two; returns the new one, with what is behind the offset';
CREATE FUNCTION xmldom.replace_whole_text(text xmldom.node, content text) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_replace_whole_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_whole_text(xmldom.node, text) IS
    'replaces a text and all texts beside it by one text; returns that text, null when the content is empty';
CREATE FUNCTION xmldom.replace_whole_text(text xmldom.text_node, content text) RETURNS xmldom.text_node
    AS 'MODULE_PATHNAME', 'xmldom_replace_whole_text' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.replace_whole_text(xmldom.text_node, text) IS
    'replaces a text and all texts beside it by one text; returns that text, null when the content is empty';
CREATE FUNCTION xmldom.normalize(node xmldom.node) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_normalize' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.normalize(xmldom.node) IS
    'joins neighbouring texts below a node and removes empty ones; returns the node';
CREATE FUNCTION xmldom.normalize(node xmldom.element) RETURNS xmldom.element
    AS 'MODULE_PATHNAME', 'xmldom_normalize' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.normalize(xmldom.element) IS
    'joins neighbouring texts below a node and removes empty ones; returns the node';
CREATE FUNCTION xmldom.normalize(node xmldom.document) RETURNS xmldom.document
    AS 'MODULE_PATHNAME', 'xmldom_normalize' LANGUAGE C VOLATILE PARALLEL UNSAFE;
COMMENT ON FUNCTION xmldom.normalize(xmldom.document) IS
    'joins neighbouring texts below a node and removes empty ones; returns the node';
