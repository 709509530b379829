-- What every node has: its share of the documents, and the procedures that work on them there.

CREATE EXTENSION pkg_dbe_xml;

CREATE TABLE document (name text PRIMARY KEY, body text NOT NULL);

CREATE FUNCTION store_document(name text, body text) RETURNS boolean LANGUAGE sql AS $$
    INSERT INTO document VALUES (store_document.name, store_document.body) RETURNING true
$$;

CREATE FUNCTION read_document(name text) RETURNS text LANGUAGE sql AS $$
    SELECT body FROM document WHERE document.name = read_document.name
$$;

-- How many comments the documents of this node have in each language.
CREATE FUNCTION count_comments() RETURNS TABLE (node text, language text, comments bigint)
LANGUAGE plpgsql SET search_path FROM CURRENT AS $$
DECLARE
    scope xmldom.scope := xmldom.mark();
BEGIN
    RETURN QUERY
        SELECT current_setting('cluster_name'),
               coalesce(xmldom.get_attribute(comment, 'xml:lang'), 'none'), count(*)
        FROM document, xmldom.parse(body) AS doc, xmldom.descendants(doc, 'comment') AS comment
        GROUP BY 2;
    PERFORM xmldom.release(scope);
EXCEPTION WHEN OTHERS THEN
    PERFORM xmldom.release(scope);
    RAISE;
END
$$;

-- Writes into each document of a family who has looked at it.
CREATE FUNCTION mark_reviewed(family text, reviewer text)
    RETURNS TABLE (node text, changed bigint, bytes bigint)
LANGUAGE plpgsql SET search_path FROM CURRENT AS $$
DECLARE
    scope xmldom.scope := xmldom.mark();
    given document;
    doc xmldom.document;
    root xmldom.element;
BEGIN
    node := current_setting('cluster_name');
    changed := 0;
    bytes := 0;
    FOR given IN SELECT * FROM document WHERE starts_with(name, family || '/') LOOP
        doc := xmldom.parse(given.body);
        root := xmldom.set_attribute(xmldom.get_document_element(doc), 'reviewed-by', reviewer);
        UPDATE document SET body = xmldom.write_to_clob(doc) WHERE document.name = given.name
            RETURNING bytes + octet_length(body) INTO bytes;
        doc := xmldom.free_document(doc);
        changed := changed + 1;
    END LOOP;
    RETURN NEXT;
EXCEPTION WHEN OTHERS THEN
    PERFORM xmldom.release(scope);
    RAISE;
END
$$;

-- What not to do: a handle means something in the session that made it, and nowhere else.
CREATE FUNCTION open_document(name text) RETURNS xmldom.document LANGUAGE sql AS $$
    SELECT xmldom.parse(body) FROM document WHERE document.name = open_document.name
$$;

CREATE FUNCTION outline_on(node integer, doc xmldom.document) RETURNS text LANGUAGE sql AS $$
    SELECT xmldom.outline(doc)
$$;

-- What the session of this node that serves the proxy holds.
CREATE FUNCTION node_session() RETURNS TABLE (node text, documents integer, handles integer)
LANGUAGE sql AS $$
    SELECT current_setting('cluster_name'), documents, handles FROM xmldom.session
$$;

CREATE FUNCTION free_session() RETURNS integer LANGUAGE sql AS $$
    SELECT xmldom.free_all()
$$;
