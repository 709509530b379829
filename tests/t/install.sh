# shellcheck shell=bash
# Installing: into another schema, twice, by somebody without the right; dropping and coming back.
. "$(dirname "$0")/lib.sh"

nested="select xml_dom_write_to_buffer_doc(xml_dom_new_document_clob('<a/>'))"

like 'installed already' "$(sqlstate_of 'create extension pkg_dbe_xml')" '^42710$'
is 'it stays in its schema' "$(sqlstate_of 'create schema other' 'alter extension pkg_dbe_xml set schema other')" 0A000
is 'a role without the right' "$(sqlstate_of 'create database t_install_owned' 'create role t_install_owner' \
    'alter database t_install_owned owner to t_install_owner' '\c t_install_owned' 'set role t_install_owner' \
    'create extension pkg_dbe_xml')" 42501

# Dropping takes everything along; a session that holds documents goes on and comes back to them.
open_session
handle=$(tell "select xml_dom_new_document_clob('<kept/>')")
is 'dropped' "$(tell 'drop extension pkg_dbe_xml')" ''
is 'nothing of it is left' "$(tell "select count(*) from pg_proc where proname ~ '^(xml_dom_|xmlparser_|xml_directory_|raw_(in|out|eq)$)'" \
    "select count(*) from pg_class where relname = 'pg_directory'" "select count(*) from pg_type where typname = 'raw'" |
    tr '\n' ' ')" '0 0 0 '
like 'its functions are gone' "$(tell "$nested")" '42883'
is 'installed again' "$(tell 'create extension pkg_dbe_xml')" ''
like 'the documents of the session are still there' "$(tell "select xml_dom_write_to_buffer_doc('$handle')")" '<kept/>'
close_session

# A table that holds handles stands in the way of dropping.
is 'a column of type raw stands in the way' "$(sqlstate_of 'create table holds (h raw)' 'drop extension pkg_dbe_xml')" 2BP01

# In a schema that is not on the search path.
is 'installed into a schema of its own' "$(sqlstate_of 'drop table holds' 'drop extension pkg_dbe_xml' \
    'create schema own_place' 'create extension pkg_dbe_xml schema own_place')" 00000
like 'called by the full name' "$(sql "select own_place.xml_dom_write_to_buffer_doc(own_place.xml_dom_new_document_clob('<a/>'))")" '<a/>'
is 'not called otherwise' "$(sqlstate_of "$nested")" 42883
is 'compared, by the operator of the schema' "$(sql \
    "select own_place.xml_dom_new_document_empty() operator(own_place.<>) own_place.xml_dom_new_document_empty()")" t
like 'or through the search path' "$(sql 'set search_path = own_place' "$nested")" '<a/>'
is 'directory objects there' "$(sql 'create temporary table t as select 1' \
    "select own_place.xml_directory_create('t_install', '/tmp')" "select name, path from own_place.pg_directory" \
    "select own_place.xml_directory_drop('t_install')" 'select count(*) from own_place.pg_directory' | grep -v '^$' | tr '\n' ' ')" \
    't_install|/tmp 0 '

# Everyone may call the functions; handles are the session's.
like 'a role without any right' "$(sql 'create role t_install_user' 'grant usage on schema own_place to t_install_user' \
    'set role t_install_user' 'set search_path = own_place' "$nested")" '<a/>'
done_testing
