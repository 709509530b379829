-- The package xmldom, path queries: XPath 1.0 over a node and the tree that it stands in

CREATE FUNCTION xmldom.xpath(node xmldom.node, path text, namespaces text[] DEFAULT NULL, variables text[] DEFAULT NULL) RETURNS SETOF xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_xpath' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 100 ROWS 100;
COMMENT ON FUNCTION xmldom.xpath(xmldom.node, text, text[], text[]) IS
    'the nodes that an XPath 1.0 expression selects, in document order; namespaces and variables as pairs, array[array[name, value]]';
CREATE FUNCTION xmldom.xpath_first(node xmldom.node, path text, namespaces text[] DEFAULT NULL, variables text[] DEFAULT NULL) RETURNS xmldom.node
    AS 'MODULE_PATHNAME', 'xmldom_xpath_first' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 50;
COMMENT ON FUNCTION xmldom.xpath_first(xmldom.node, text, text[], text[]) IS
    'the first node in document order that an XPath 1.0 expression selects; null for none';
CREATE FUNCTION xmldom.xpath_text(node xmldom.node, path text, namespaces text[] DEFAULT NULL, variables text[] DEFAULT NULL) RETURNS text
    AS 'MODULE_PATHNAME', 'xmldom_xpath_text' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 50;
COMMENT ON FUNCTION xmldom.xpath_text(xmldom.node, text, text[], text[]) IS
    'value of an XPath 1.0 expression as string() gives it, of nodes the text of the first; null for no node';
CREATE FUNCTION xmldom.xpath_number(node xmldom.node, path text, namespaces text[] DEFAULT NULL, variables text[] DEFAULT NULL) RETURNS double precision
    AS 'MODULE_PATHNAME', 'xmldom_xpath_number' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 50;
COMMENT ON FUNCTION xmldom.xpath_number(xmldom.node, text, text[], text[]) IS
    'value of an XPath 1.0 expression as number() gives it, NaN for a text that is none; null for no node';
CREATE FUNCTION xmldom.xpath_exists(node xmldom.node, path text, namespaces text[] DEFAULT NULL, variables text[] DEFAULT NULL) RETURNS boolean
    AS 'MODULE_PATHNAME', 'xmldom_xpath_exists' LANGUAGE C VOLATILE PARALLEL UNSAFE COST 50;
COMMENT ON FUNCTION xmldom.xpath_exists(xmldom.node, text, text[], text[]) IS
    'whether an XPath 1.0 expression selects a node; of another value what boolean() gives';
