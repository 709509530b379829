-- What the proxy has: where the nodes are, and for each procedure on which of them it runs.
-- The variables node1, node2 and node3 are connection strings.

CREATE EXTENSION plproxy;
CREATE EXTENSION pkg_dbe_xml; -- for the types of the handles only

-- Without modular_mapping the number of parts has to be a power of two.
CREATE SERVER documents FOREIGN DATA WRAPPER plproxy
    OPTIONS (modular_mapping '1', p0 :'node1', p1 :'node2', p2 :'node3');
CREATE USER MAPPING FOR CURRENT_USER SERVER documents OPTIONS (user :'user');

-- One document: on the node that has it, by its name.
CREATE FUNCTION store_document(name text, body text) RETURNS boolean LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON hashtext(name);
$$;
CREATE FUNCTION read_document(name text) RETURNS text LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON hashtext(name);
$$;
CREATE FUNCTION open_document(name text) RETURNS xmldom.document LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON hashtext(name);
$$;

-- All documents: on every node at once, each with its own; the rows are gathered.
CREATE FUNCTION count_comments() RETURNS TABLE (node text, language text, comments bigint)
LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON ALL;
$$;
CREATE FUNCTION mark_reviewed(family text, reviewer text)
    RETURNS TABLE (node text, changed bigint, bytes bigint)
LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON ALL;
$$;
CREATE FUNCTION node_session() RETURNS TABLE (node text, documents integer, handles integer)
LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON ALL;
$$;
CREATE FUNCTION free_session() RETURNS SETOF integer LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON ALL;
$$;

-- A part by its number.
CREATE FUNCTION outline_on(part integer, doc xmldom.document) RETURNS text LANGUAGE plproxy AS $$
    CLUSTER 'documents';
    RUN ON part;
$$;
