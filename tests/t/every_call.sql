-- Calls of every function of the extension, made from the catalogue, so that one argument or one
-- service can fail in each. For the scripts beside.

-- What a call is made with: handles of one document, and what it can be written into.
create table held (document raw, element raw, element_node raw, attribute raw, text raw, text_node raw,
    list raw, map raw, other raw, parser raw, stream raw, fresh_stream raw, scope raw, large_object oid, markup xml, document_type raw,
    entity raw, instruction raw,
    below raw, tail raw, spaced raw, spaced_attribute raw);

create function hold() returns void language plpgsql as $$
declare
    document raw := xml_dom_new_document_clob('<!DOCTYPE r [<!NOTATION größe SYSTEM "größe">'
        '<!ENTITY größe SYSTEM "größe" NDATA größe>]><?größe größe?><r größe="größe"><b>größe</b><b/>größe</r>');
    element raw := xml_dom_get_document_element(document);
    parser raw := xmlparser_new_parser();
begin
    perform xmlparser_parse_clob(parser, '<p>größe</p>');
    truncate held;
    insert into held values (document, element, xml_dom_makenode(element), xml_dom_get_attribute_node(element, 'größe'),
        xml_dom_get_first_child(xml_dom_get_first_child(element)),
        xml_dom_create_text_node(document, 'größe'), xml_dom_get_child_nodes(element),
        xml_dom_get_attributes(xml_dom_makenode(element)), xml_dom_create_element(document, 'other'), parser,
        xmlparser.feed(xmlparser.open_stream('//größe'), '<f><größe>größe</größe><größe/>')::raw,
        xmlparser.open_stream('//größe')::raw, xmldom.mark(), lo_from_bytea(0, '<l/>'), '<a>größe</a>',
        xmldom.get_doctype(document::xmldom.document)::raw, xmldom.item(xmldom.get_entities(
            xmldom.get_doctype(document::xmldom.document)), 0)::raw,
        (select child from xmldom.children(document::xmldom.document) as child
            where xmldom.get_node_type(child) = 7)::raw, xml_dom_get_first_child(element),
        xml_dom_get_last_child(element),
        xmldom.create_element_ns(document::xmldom.document, 'p:e', 'urn:e')::raw,
        xmldom.create_attribute_ns(document::xmldom.document, 'p:a', 'urn:a')::raw);
end $$;

-- The document as it is written, what is registered of it, and the files of the directory "out".
create function state() returns text language sql as $$
    select xml_dom_write_to_clob_doc(document) || xml_dom_get_detail_doc_tree_info(document)
        || ' trees: ' || xml_dom_get_session_tree_num() || coalesce((
            select string_agg(file || ': ' || pg_read_file(path || '/' || file), ' ' order by file)
            from pg_directory, pg_ls_dir(path) as file where name = 'out'), '')
    from held
$$;

-- An argument with which the function works.
create function good(function text, type text, name text) returns text language sql as $$
    select case
        when name = 'doctype' then 'null::xmldom.node'
        when function = 'set_xml_version' and type = 'text' then quote_literal('1.0')
        when function in ('remove_named_item_ns', 'set_id_attribute_ns') and name = 'uri' then 'null::text'
        when type = 'text' then
            case when name in ('charset', 'character_set', 'encoding') then quote_literal('UTF-8')
                when name = 'public_id' then quote_literal('size')
                when name = 'version' and function ~ '^canonical' then quote_literal('1.0')
                when name = 'blanks' then quote_literal('keep')
                when name = 'file' then quote_literal('out/größe.xml')
                when name in ('document', 'source') then quote_literal('<a>größe</a>')
                when name = 'path' then quote_literal('/tmp')
                when name = 'row_path' then quote_literal('descendant-or-self::*')
                when name = 'on_error' then quote_literal('error')
                when function ~ '^xml_directory_(grant|revoke)$' and name = 'name' then quote_literal('out')
                when name = 'role' then 'current_user::text'
                else quote_literal('größe') end
        when type = 'text[]' then case name when 'columns' then 'array[''.'']'
            when 'inclusive_prefixes' then 'array[''p'']' else 'null::text[]' end
        when type = 'xmldom.node[]' then '(select other from held)::xmldom.node'
        when type = 'xml' then '(select markup from held)'
        when type = 'boolean' then 'true'
        when type in ('integer', 'bigint') then '0'
        when type = 'oid' then '(select large_object from held)'
        when type = 'bytea' then quote_literal('<a/>') || '::bytea'
        when type = 'cstring' then '(select document::text from held)::cstring'
        else format('(select %I from held)::%s', case
                when function in ('before', 'after', 'replace_with') and name = 'node' then 'below'
                when function = 'set_prefix'
                    then case when type = 'xmldom.attr' then 'spaced_attribute' else 'spaced' end
                when name in ('old_child', 'reference')
                    then case when type = 'xmldom.text_node' then 'tail' else 'below' end
                when name = 'new_child'
                    then case when type = 'xmldom.text_node' then 'text_node' else 'other' end
                when name = 'node' and function ~ '_node_value$' then 'text'
                when function ~ '^as_(document|attr|text_node)$' then
                    case function when 'as_document' then 'document' when 'as_attr' then 'attribute' else 'text' end
                when name = 'node' and function ~ '(make_attr|get_name)$' then 'attribute'
                when name = 'text' or function ~ '_data$' and type <> 'xmldom.document'
                    or function in ('split_text', 'replace_whole_text')
                    or function = 'get_length' and name = 'node' then 'text'
                when name in ('entity', 'instruction', 'document_type') then name
                when function in ('get_public_id', 'get_system_id') then 'document_type'
                when name = 'stream' and function = 'feed' then 'fresh_stream'
                when name in ('document', 'element', 'attribute', 'list', 'map', 'parser', 'stream', 'scope',
                    'text_node') then name
                when name = 'attr' then 'attribute'
                when name = 'collection' then 'list'
                when name = 'child' then 'other'
                when name = 'handle' then 'document'
                else 'element_node' end, type)
        end
$$;

-- The functions with the types of their arguments, and arguments with which they work.
create view calls as
    select p.oid::regprocedure::text as call, p.oid::regproc::text as function, p.proretset as is_set,
        case when p.prorettype = 'record'::regtype and p.proallargtypes is null then ' as t(value text)' else '' end
            as columns,
        -- One node stands for several.
        array_agg(replace(format_type(argument.type, null), 'xmldom.node[]', 'xmldom.node')
            order by argument.position) as types,
        array_agg(good(p.proname, format_type(argument.type, null), p.proargnames[argument.position])
            order by argument.position) as arguments
    from pg_depend d
        join pg_proc p on p.oid = d.objid
        join pg_language l on l.oid = p.prolang
        cross join unnest(p.proargtypes::oid[]) with ordinality as argument(type, position)
    where d.classid = 'pg_proc'::regclass and d.deptype = 'e' and d.refclassid = 'pg_extension'::regclass
        and d.refobjid = (select oid from pg_extension where extname = 'pkg_dbe_xml')
        and l.lanname in ('c', 'sql') and p.proname !~ '^xml_directory_role_'
    group by p.oid;

-- What came of a call. When it failed: the state if it is another than before, and the memory.
create table outcomes (call text, fault text, code text, message text, state text, memory text);

-- Makes a call with the given arguments. `prepare` is run just before, `restore` just after.
create function attempt(made calls, fault text, prepare text, restore text) returns text
language plpgsql as $$
declare
    code text := '00000';
    message text := '';
    state_before text;
    memory_before text;
    state_after text;
    memory_after text;
begin
    perform xmldom.free_all(), hold();
    -- The first rows of a text leave a parser that the next ones use.
    perform count(*) from xmldom.rows_of_text('<a/>', '/a', array['.']) as t(a text);
    state_before := state();
    memory_before := xml_dom_get_memory_info();
    begin
        execute prepare;
        execute format(case when made.is_set then 'select count(*) from %s(%s)%s' else 'select %s(%s)' end,
            made.function, array_to_string(made.arguments, ', '), made.columns);
        execute restore;
    exception when others then
        get stacked diagnostics code = returned_sqlstate, message = message_text;
        execute restore;
        state_after := nullif(state(), state_before);
        memory_after := nullif(xml_dom_get_memory_info(), memory_before);
    end;
    insert into outcomes values (made.call, fault, code, message, state_after, memory_after);
    return code;
end $$;
