# shellcheck shell=bash
# Documents that mean harm, on a real server: each ends in an error that names the setting, in
# bounded time and memory; nothing that a document names is opened.
#
# Prints a table of the documents with outcome, time and peak of memory.
. "$(dirname "$0")/lib.sh"

# Texts. `nested(INNERMOST, USE)`: entities in ten levels, each ten times the one before.
sql "create function numbered(before text, count integer, after text) returns text language sql as
        \$\$ select string_agg(before || i || after, '' order by i) from generate_series(1, count) as i \$\$" \
    "create function nested(innermost text, use text) returns text language sql as
        \$\$ select '<!DOCTYPE a [<!ENTITY e0 \"' || innermost || '\">' || string_agg('<!ENTITY e' || i || ' \"' ||
            repeat('&e' || i - 1 || ';', 10) || '\">', '' order by i) || ']>' || use from generate_series(1, 9) as i \$\$" \
    "create table documents (number serial, name text, body text, setting text)" \
    "insert into documents (name, body, setting) values
    ('nested entities in content', nested('xxxxxxxxxx', '<a>&e9;</a>'), 'parse_budget_base'),
    ('nested entities in an attribute', nested('xxxxxxxxxx', '<a b=\"&e9;\"/>'), 'parse_budget_base'),
    ('nested entities that hold elements', nested('<b/>', '<a>&e9;</a>'), 'parse_budget_base'),
    ('nested entities that hold nothing', nested('', '<a>&e9;</a>'), 'parse_budget_base'),
    ('one large entity, often', '<!DOCTYPE a [<!ENTITY e \"' || repeat('x', 20000) || '\">]><a>' || repeat('&e;', 6600) || '</a>', 'parse_budget_base'),
    ('the same in an attribute', '<!DOCTYPE a [<!ENTITY e \"' || repeat('x', 20000) || '\">]><a b=\"' || repeat('&e;', 6600) || '\"/>', 'parse_budget_base'),
    ('nested parameter entities', '<!DOCTYPE a [<!ENTITY % e0 \"<!-- -->\">' || (select string_agg('<!ENTITY % e' || i || ' \"' || repeat('&#37;e' || i - 1 || ';', 10) || '\">', '' order by i) from generate_series(1, 9) as i) || '%e9;]><a/>', 'parse_budget_base'),
    ('default values of 1,000 attributes', '<!DOCTYPE a [<!ATTLIST b ' || numbered('c', 1000, ' CDATA \"x\" ') || '>]><a>' || repeat('<b/>', 5000) || '</a>', 'parse_work'),
    ('60,000 declared attributes', '<!DOCTYPE a [<!ATTLIST a ' || numbered('c', 60000, ' CDATA \"x\" ') || '>]><a/>', 'max_attributes'),
    ('9,000 ID attributes', '<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a ' || numbered('c', 9000, ' ID #IMPLIED ') || '>]><a/>', 'parse_budget_base'),
    ('60,000 values of an attribute', '<!DOCTYPE a [<!ELEMENT a EMPTY><!ATTLIST a b (e' || numbered('|e', 60000, '') || ') #IMPLIED>]><a/>', 'parse_budget_base'),
    ('a model of 3,000 optional elements', '<!DOCTYPE a [<!ELEMENT a (e' || numbered(',e', 3000, '?') || ')>]><a/>', 'max_content_particles'),
    ('a mixed model of 6,000 elements', '<!DOCTYPE a [<!ELEMENT a (#PCDATA' || numbered('|e', 6000, '') || ')*>]><a/>', 'max_content_particles'),
    ('20 models of 500 optional elements', '<!DOCTYPE a [' || numbered('<!ELEMENT b', 20, ' (e' || numbered(',e', 499, '?') || ')>') || ']><a>' || numbered('<b', 20, '/>') || '</a>', 'parse_budget_base'),
    ('100,000 levels', repeat('<a>', 100000) || repeat('</a>', 100000), 'max_depth'),
    ('levels through entities', '<!DOCTYPE a [<!ENTITY e0 \"\">' || (select string_agg('<!ENTITY e' || i || ' \"' || repeat('<b>', 1500) || '&e' || i - 1 || ';' || repeat('</b>', 1500) || '\">', '' order by i) from generate_series(1, 50) as i) || ']><a>' || numbered('&e', 50, ';') || '</a>', 'max_depth'),
    ('64,000 attributes', '<a' || numbered(' b', 64000, '=\"\"') || '/>', 'max_attributes'),
    ('64,000 namespaces', '<a' || numbered(' xmlns:b', 64000, '=\"u\"') || '/>', 'max_attributes'),
    ('120,000 references in one text', '<!DOCTYPE a [<!ENTITY e \"' || repeat('x', 100) || '\">]><a>' || repeat('&e;', 120000) || '</a>', 'parse_budget_base'),
    ('a name of 20,000,000 letters', '<' || repeat('n', 20000000) || '/>', ''),
    ('an entity that holds itself', '<!DOCTYPE a [<!ENTITY e \"&f;\"><!ENTITY f \"&e;\">]><a>&e;</a>', '')" >/dev/null

peak="(regexp_match(pg_read_file('/proc/self/status'), 'VmHWM:\s+(\d+)'))[1]::integer"
field() { sed -n "s/^$1: *//p" <<<"$answer" | head -n 1; }

# Parses a document in a session of its own, by STATEMENT (body is the text), and shows what came
# of it: sqlstate, message and context, milliseconds, kB more at the peak than before.
attempt() {
    answer=$(sql "do \$\$ declare before integer; begun timestamptz; body text; length integer; context text;
        begin
            select d.body, octet_length(d.body) into body, length from documents as d where number = $1;
            perform xml_dom_free_document(xml_dom_new_document_clob('<a/>'));
            before := $peak;
            begun := clock_timestamp();
            begin
                $2;
                raise notice E'answer\nsqlstate: 00000';
            exception when others then
                get stacked diagnostics context = pg_exception_context;
                raise notice E'answer\nsqlstate: %\nmessage: %\ncontext: %', sqlstate, sqlerrm, context;
            end;
            raise notice E'answer\nlength: %\nmilliseconds: %\npeak: %', length,
                round(extract(epoch from clock_timestamp() - begun) * 1000), $peak - before;
        end \$\$")
}

sql 'select number || chr(9) || name || chr(9) || setting from documents order by number' >"$work/list"
echo "# document                                  bytes  outcome  setting                     ms  peak MB"
while IFS=$'\t' read -r number name setting; do
    attempt "$number" 'perform xml_dom_new_document_clob(body)'
    printf '# %-38s %9d  %-7s  %-24s %5d  %7d\n' "$name" "$(field length)" "$(field sqlstate)" \
        "${setting:-(libxml2)}" "$(field milliseconds)" $(($(field peak) / 1024))
    is "$name: refused" "$(field sqlstate)" 2200M
    if [ -n "$setting" ]; then
        like "$name: the setting is named" "$(field context)" "pkg_dbe_xml\.$setting"
    else
        unlike "$name: no setting is named" "$(field context)" 'pkg_dbe_xml\.'
    fi
    # The budget, the text in the server's hands, and what libxml2 takes in one step.
    at_most "$name: memory, kB" "$(field peak)" $((2 * 65536 + 60 * 1024 + $(field length) / 1024 * 8))
done <"$work/list"

# Parser objects warn instead; the parser is left empty and can go on.
while IFS=$'\t' read -r number name setting; do
    [ "$setting" != '' ] || continue
    answer=$(sql 'select xmlparser_new_parser() as parser \gset' \
        "select xmlparser_parse_clob(:'parser', body) from documents where number = $number" \
        "select 'empty: ' || (xmlparser_get_doc(:'parser') is null)" \
        "select xmlparser_parse_clob(:'parser', '<ok/>')" \
        "select 'after: ' || xml_dom_write_to_buffer_doc(xmlparser_get_doc(:'parser'))" 2>&1)
    like "$name: a warning of the parser object names the setting" "$answer" "WARNING:.*pkg_dbe_xml\.$setting"
    is "$name: the parser is empty" "$(field empty)" true
    like "$name: the parser goes on" "$answer" '<ok/>'
done < <(sed -n '1,5p;8p;12p;15p;17p' "$work/list")

# The settings are obeyed, and only a superuser's.
deep='<a><a><a><a/></a></a></a>'
is 'a smaller depth refuses more' "$(sqlstate_of 'set pkg_dbe_xml.max_depth = 3' "select xml_dom_new_document_clob('$deep')")" 2200M
is 'a larger one refuses less' "$(sqlstate_of 'set pkg_dbe_xml.max_depth = 4' "select xml_dom_new_document_clob('$deep')")" 00000
is 'a smaller budget refuses more' "$(sqlstate_of 'set pkg_dbe_xml.parse_budget_base = 64' 'set pkg_dbe_xml.parse_budget_factor = 10' \
    "select xml_dom_new_document_clob('<a>' || repeat('<a/>x', 20000) || '</a>')")" 2200M
sql 'create role reader' >/dev/null
is 'nobody else may change them' "$(sqlstate_of "load 'pkg_dbe_xml'" 'set role reader' 'set pkg_dbe_xml.parse_budget_base = 1000000')" 42501
sql 'drop role reader' >/dev/null

# --- nothing outside the text --------------------------------------------------------------------
# A named pipe that nobody writes to: whoever opens it hangs.
pipe_folder=$(mktemp -d)
chmod 755 "$pipe_folder"
mkfifo "$pipe_folder/pipe"
chmod 644 "$pipe_folder/pipe"
sql 'create table names (name text)' "insert into names values ('$pipe_folder/pipe'), ('file://$pipe_folder/pipe'),
    ('file://localhost$pipe_folder/pipe'), ('../../../../../../..$pipe_folder/pipe'), ('http://localhost:9/x'),
    ('ftp://localhost:9/x'), ('//localhost/share/x'), ('relative.dtd')" \
    "create view requests as select replace(request, 'NAME', name) as body from names,
    unnest(array['<!DOCTYPE a SYSTEM \"NAME\"><a/>', '<!DOCTYPE a PUBLIC \"p\" \"NAME\" [<!ELEMENT a ANY>]><a/>',
    '<!DOCTYPE a [<!ENTITY e SYSTEM \"NAME\">]><a>&e;</a>', '<!DOCTYPE a [<!ENTITY e PUBLIC \"p\" \"NAME\">]><a>&e;&e;</a>',
    '<!DOCTYPE a [<!ENTITY % e SYSTEM \"NAME\">%e;]><a/>', '<?oasis-xml-catalog catalog=\"NAME\"?><!DOCTYPE a SYSTEM \"b\"><a/>',
    '<a xmlns:i=\"http://www.w3.org/2001/XInclude\"><i:include href=\"NAME\"/></a>',
    '<?xml-stylesheet href=\"NAME\"?><a xml:base=\"NAME\"/>']) as request" >/dev/null
everything="do \$\$ declare p raw; d raw; body text; number integer := 0; begin
        p := xmlparser_new_parser();
        for body in select r.body from requests as r loop
            d := xml_dom_new_document_clob(body);
            perform xml_dom_write_to_buffer_doc(d);
            perform xml_dom_free_document(d);
            perform xmlparser_parse_clob(p, body);
            d := xmlparser_get_doc(p);
            number := number + 1;
        end loop;
        raise notice 'parsed %', number;
    end \$\$"
like 'documents that name files parse, and open nothing' \
    "$(sql 'set statement_timeout = 30000' 'set client_min_messages = notice' "$everything" 2>&1)" 'parsed 64'

# The system calls of the backend meanwhile.
open_session
backend=$(tell 'select pg_backend_pid()')
tell "$everything" >/dev/null # the tables, and the library's first use
strace -f -qq -e trace=%file,%network -o "$work/calls" -p "$backend" &
tracer=$!
for _ in $(seq 100); do
    grep -q '^TracerPid:[[:space:]]*[1-9]' "/proc/$backend/status" && break
    sleep 0.1
done
like 'the backend is watched' "$(grep TracerPid "/proc/$backend/status")" '[1-9]'
tell "select pg_stat_file('PG_VERSION')" >/dev/null # seen, so that an empty record would be noticed
like 'the documents are parsed under watch' "$(tell "$everything")" 'parsed 64'
close_session
wait "$tracer" 2>/dev/null
like 'the record is live' "$(cat "$work/calls")" 'PG_VERSION'
is 'no name out of a document is opened, looked for or connected to' \
    "$(grep -E 'pipe|localhost|relative\.dtd|catalog\"|passwd|socket\(|connect\(|/etc/xml|/share/x' "$work/calls")" ''
rm -rf "$pipe_folder"
is 'the server goes on' "$(sql 'select 1')" 1
done_testing
